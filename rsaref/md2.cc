// MD2 (RFC 1319) with the state in the caller's MD2_CTX.  The OpenSSL the
// library is built with carries no MD2, so it is written here.
#include <cstring>

#include "mc.h"
#include "rsaref/md2.h"

namespace {

// The permutation of 0..255 built from the digits of pi.
constexpr unsigned char kPiSubst[256] = {
    41, 46, 67, 201, 162, 216, 124, 1, 61, 54, 84, 161, 236, 240, 6, 19,
    98, 167, 5, 243, 192, 199, 115, 140, 152, 147, 43, 217, 188, 76, 130, 202,
    30, 155, 87, 60, 253, 212, 224, 22, 103, 66, 111, 24, 138, 23, 229, 18,
    190, 78, 196, 214, 218, 158, 222, 73, 160, 251, 245, 142, 187, 47, 238, 122,
    169, 104, 121, 145, 21, 178, 7, 63, 148, 194, 16, 137, 11, 34, 95, 33,
    128, 127, 93, 154, 90, 144, 50, 39, 53, 62, 204, 231, 191, 247, 151, 3,
    255, 25, 48, 179, 72, 165, 181, 209, 215, 94, 146, 42, 172, 86, 170, 198,
    79, 184, 56, 210, 150, 164, 125, 182, 118, 252, 107, 226, 156, 116, 4, 241,
    69, 157, 112, 89, 100, 113, 135, 32, 134, 91, 207, 101, 230, 45, 168, 2,
    27, 96, 37, 173, 174, 176, 185, 246, 28, 70, 97, 105, 52, 64, 126, 15,
    85, 71, 163, 35, 221, 81, 175, 58, 195, 92, 249, 206, 186, 197, 234, 38,
    44, 83, 13, 110, 133, 40, 132, 9, 211, 223, 205, 244, 65, 129, 77, 82,
    106, 220, 55, 200, 108, 193, 171, 250, 36, 225, 123, 8, 12, 189, 177, 74,
    120, 136, 149, 139, 227, 99, 232, 109, 233, 203, 213, 254, 59, 0, 29, 57,
    242, 239, 183, 14, 102, 88, 208, 228, 166, 119, 114, 248, 235, 117, 75, 10,
    49, 68, 80, 180, 143, 237, 31, 26, 219, 153, 141, 51, 159, 17, 131, 20,
};

// Mixes one 16-byte block into the state and the running checksum.
void Compress(unsigned char state[16], unsigned char checksum[16], const unsigned char block[16]) {
  unsigned char x[48];
  for (int i = 0; i < 16; ++i) {
    x[i] = state[i];
    x[16 + i] = block[i];
    x[32 + i] = static_cast<unsigned char>(state[i] ^ block[i]);
  }
  unsigned t = 0;
  for (unsigned round = 0; round < 18; ++round) {
    for (int k = 0; k < 48; ++k) t = x[k] ^= kPiSubst[t];
    t = (t + round) & 0xff;
  }
  std::memcpy(state, x, 16);
  unsigned char last = checksum[15];
  for (int i = 0; i < 16; ++i) last = checksum[i] ^= kPiSubst[block[i] ^ last];
  std::memset(x, 0, sizeof x);
}

}  // namespace

extern "C" {

MC_EXPORT void MD2Init(MD2_CTX *context) noexcept {
  if (context == nullptr) return;
  std::memset(context, 0, sizeof *context);
}

MC_EXPORT void MD2Update(MD2_CTX *context, unsigned char *input, unsigned int inputLen) noexcept {
  if (context == nullptr || inputLen == 0 || input == nullptr) return;
  // A count outside 0..15 can only come from a damaged context: start its block over.
  unsigned used = context->count % 16;
  unsigned offset = 0;
  if (used > 0) {
    const unsigned take = inputLen < 16 - used ? inputLen : 16 - used;
    std::memcpy(context->buffer + used, input, take);
    offset = take;
    used += take;
    if (used < 16) {
      context->count = used;
      return;
    }
    Compress(context->state, context->checksum, context->buffer);
  }
  for (; inputLen - offset >= 16; offset += 16) Compress(context->state, context->checksum, input + offset);
  std::memcpy(context->buffer, input + offset, inputLen - offset);
  context->count = inputLen - offset;
}

MC_EXPORT void MD2Final(unsigned char digest[16], MD2_CTX *context) noexcept {
  if (context == nullptr) return;
  unsigned char padding[16];
  const unsigned padLen = 16 - context->count % 16;
  std::memset(padding, static_cast<int>(padLen), padLen);
  MD2Update(context, padding, padLen);
  unsigned char checksum[16];
  std::memcpy(checksum, context->checksum, 16);
  MD2Update(context, checksum, 16);
  if (digest != nullptr) std::memcpy(digest, context->state, 16);
  std::memset(context, 0, sizeof *context);
}

}  // extern "C"
