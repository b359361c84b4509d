// The toolkit's random generator.  It is deterministic and must stay so, byte
// for byte: content keys, IVs, padding and Diffie-Hellman values are all drawn
// from it, and hosts replay seeds.  The state is a 128-bit big-endian number
// stirred with MD5; each output block is MD5 of the state.
#include <cstring>

#include "mc.h"
#include "rsaref/md5.h"
#include "rsaref/r_random.h"

namespace {

constexpr unsigned kSeedBytesNeeded = 256;

void Md5(unsigned char digest[16], const unsigned char *block, unsigned len) {
  MD5_CTX context;
  MD5Init(&context);
  MD5Update(&context, const_cast<unsigned char *>(block), len);
  MD5Final(digest, &context);
}

// Kept as the generator always stepped: from the last byte towards the first,
// each byte is incremented, and the walk stops after a byte whose old value
// was non-zero (not a plain +1 with carry).
void StepState(unsigned char state[16]) {
  for (int i = 15; i >= 0; --i) {
    if (state[i]++ != 0) break;
  }
}

}  // namespace

extern "C" {

MC_EXPORT int R_RandomInit(R_RANDOM_STRUCT *randomStruct) noexcept {
  if (randomStruct == nullptr) return RE_DATA;
  std::memset(randomStruct, 0, sizeof *randomStruct);
  randomStruct->bytesNeeded = kSeedBytesNeeded;
  return 0;
}

MC_EXPORT int R_RandomUpdate(R_RANDOM_STRUCT *randomStruct, unsigned char *block,
                             unsigned int blockLen) noexcept {
  if (randomStruct == nullptr || (block == nullptr && blockLen != 0)) return RE_DATA;
  unsigned char digest[16];
  Md5(digest, block, blockLen);
  unsigned carry = 0;
  for (int i = 15; i >= 0; --i) {
    carry += unsigned{randomStruct->state[i]} + digest[i];
    randomStruct->state[i] = static_cast<unsigned char>(carry);
    carry >>= 8;
  }
  std::memset(digest, 0, sizeof digest);
  randomStruct->bytesNeeded = blockLen < randomStruct->bytesNeeded ? randomStruct->bytesNeeded - blockLen : 0;
  return 0;
}

MC_EXPORT int R_GetRandomBytesNeeded(unsigned int *bytesNeeded, R_RANDOM_STRUCT *randomStruct) noexcept {
  if (bytesNeeded == nullptr || randomStruct == nullptr) return RE_DATA;
  *bytesNeeded = randomStruct->bytesNeeded;
  return 0;
}

MC_EXPORT void R_RandomFinal(R_RANDOM_STRUCT *randomStruct) noexcept {
  if (randomStruct != nullptr) std::memset(randomStruct, 0, sizeof *randomStruct);
}

MC_EXPORT int R_GenerateBytes(unsigned char *block, unsigned int blockLen, R_RANDOM_STRUCT *randomStruct) noexcept {
  if (randomStruct == nullptr || (block == nullptr && blockLen != 0)) return RE_DATA;
  if (randomStruct->bytesNeeded != 0) return RE_NEED_RANDOM;
  // A damaged count could index outside the output block.
  unsigned available = randomStruct->outputAvailable <= 16 ? randomStruct->outputAvailable : 0;
  while (blockLen > available) {
    if (available != 0) std::memcpy(block, randomStruct->output + 16 - available, available);
    block += available;
    blockLen -= available;
    Md5(randomStruct->output, randomStruct->state, 16);
    available = 16;
    StepState(randomStruct->state);
  }
  if (blockLen != 0) std::memcpy(block, randomStruct->output + 16 - available, blockLen);
  randomStruct->outputAvailable = available - blockLen;
  return 0;
}

}  // extern "C"
