// RSA with PKCS #1 v1.5 padding (block types 1 and 2) over the raw
// operations of the backend.  Decoding is strict: the whole block is checked,
// as a lax check of a block type 1 is forgeable with exponent 3.
#include <cstring>

#include "mc.h"
#include "rsaref/backend.h"
#include "rsaref/r_random.h"
#include "rsaref/rsa.h"

namespace {

using mc::rsaref::Outcome;

constexpr unsigned kMinPadding = 8;
constexpr unsigned kOverhead = kMinPadding + 3;  // 00, type, padding, 00

// Modulus length in bytes from a key's bit count; 0 when the records cannot hold it.
unsigned ModulusLen(uint32_t bits) { return bits == 0 || bits > MAX_RSA_MODULUS_BITS ? 0 : (bits + 7) / 8; }

int StatusOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kOk: return 0;
    case Outcome::kBadKey: return RE_LEN;
    default: return RE_DATA;
  }
}

// Places input (at most k bytes) right-aligned in a k-byte number.
void LeftPad(unsigned char *number, unsigned k, const unsigned char *input, unsigned inputLen) {
  std::memset(number, 0, k - inputLen);
  std::memcpy(number + k - inputLen, input, inputLen);
}

}  // namespace

extern "C" {

MC_EXPORT int RSAPublicEncrypt(unsigned char *output, unsigned int *outputLen, unsigned char *input,
                               unsigned int inputLen, R_RSA_PUBLIC_KEY *publicKey,
                               R_RANDOM_STRUCT *randomStruct) noexcept {
  if (output == nullptr || outputLen == nullptr || (input == nullptr && inputLen != 0) ||
      publicKey == nullptr || randomStruct == nullptr) {
    return RE_DATA;
  }
  const unsigned k = ModulusLen(publicKey->bits);
  if (k < kOverhead || inputLen > k - kOverhead) return RE_LEN;
  unsigned char block[MAX_RSA_MODULUS_LEN];
  block[0] = 0;
  block[1] = 2;
  const unsigned separator = k - inputLen - 1;
  // One byte at a time, a zero drawn again: the order of draws is part of the output.
  for (unsigned i = 2; i < separator; ++i) {
    do {
      const int status = R_GenerateBytes(&block[i], 1, randomStruct);
      if (status != 0) {
        std::memset(block, 0, sizeof block);
        return status;
      }
    } while (block[i] == 0);
  }
  block[separator] = 0;
  if (inputLen != 0) std::memcpy(block + separator + 1, input, inputLen);
  const int status = StatusOf(mc::rsaref::PublicOperation(output, block, k, *publicKey));
  std::memset(block, 0, sizeof block);
  if (status == 0) *outputLen = k;
  return status;
}

MC_EXPORT int RSAPrivateEncrypt(unsigned char *output, unsigned int *outputLen, unsigned char *input,
                                unsigned int inputLen, R_RSA_PRIVATE_KEY *privateKey) noexcept {
  if (output == nullptr || outputLen == nullptr || (input == nullptr && inputLen != 0) ||
      privateKey == nullptr) {
    return RE_DATA;
  }
  const unsigned k = ModulusLen(privateKey->bits);
  if (k < kOverhead || inputLen > k - kOverhead) return RE_LEN;
  unsigned char block[MAX_RSA_MODULUS_LEN];
  block[0] = 0;
  block[1] = 1;
  const unsigned separator = k - inputLen - 1;
  std::memset(block + 2, 0xff, separator - 2);
  block[separator] = 0;
  if (inputLen != 0) std::memcpy(block + separator + 1, input, inputLen);
  const int status = StatusOf(mc::rsaref::PrivateOperation(output, block, k, *privateKey));
  std::memset(block, 0, sizeof block);
  if (status == 0) *outputLen = k;
  return status;
}

MC_EXPORT int RSAPublicDecrypt(unsigned char *output, unsigned int *outputLen, unsigned char *input,
                               unsigned int inputLen, R_RSA_PUBLIC_KEY *publicKey) noexcept {
  if (output == nullptr || outputLen == nullptr || input == nullptr || publicKey == nullptr) return RE_DATA;
  const unsigned k = ModulusLen(publicKey->bits);
  if (k == 0 || inputLen > k) return RE_LEN;
  unsigned char number[MAX_RSA_MODULUS_LEN];
  unsigned char block[MAX_RSA_MODULUS_LEN];
  LeftPad(number, k, input, inputLen);
  int status = StatusOf(mc::rsaref::PublicOperation(block, number, k, *publicKey));
  if (status == 0) {
    // 00 01, then only FF bytes up to the 00 separator, at least eight of them.
    unsigned i = 2;
    while (i < k && block[i] == 0xff) ++i;
    if (k < kOverhead || block[0] != 0 || block[1] != 1 || i >= k || block[i] != 0 ||
        i - 2 < kMinPadding) {
      status = RE_DATA;
    } else {
      *outputLen = k - i - 1;
      std::memcpy(output, block + i + 1, *outputLen);
    }
  }
  std::memset(block, 0, sizeof block);
  return status;
}

MC_EXPORT int RSAPrivateDecrypt(unsigned char *output, unsigned int *outputLen, unsigned char *input,
                                unsigned int inputLen, R_RSA_PRIVATE_KEY *privateKey) noexcept {
  if (output == nullptr || outputLen == nullptr || input == nullptr || privateKey == nullptr) return RE_DATA;
  const unsigned k = ModulusLen(privateKey->bits);
  if (k == 0 || inputLen > k) return RE_LEN;
  unsigned char number[MAX_RSA_MODULUS_LEN];
  unsigned char block[MAX_RSA_MODULUS_LEN];
  LeftPad(number, k, input, inputLen);
  int status = StatusOf(mc::rsaref::PrivateOperation(block, number, k, *privateKey));
  if (status == 0) {
    // 00 02, then non-zero bytes up to the 00 separator, at least eight of them.
    unsigned i = 2;
    while (i < k && block[i] != 0) ++i;
    if (k < kOverhead || block[0] != 0 || block[1] != 2 || i >= k || i - 2 < kMinPadding) {
      status = RE_DATA;
    } else {
      *outputLen = k - i - 1;
      std::memcpy(output, block + i + 1, *outputLen);
    }
  }
  std::memset(block, 0, sizeof block);
  return status;
}

}  // extern "C"
