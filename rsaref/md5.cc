// MD5 (RFC 1321) with the state in the caller's MD5_CTX.  libcrypto only
// offers MD5 behind a heap context (EVP) or a record of another layout, so the
// compression function is written here.
#include <cstring>

#include "mc.h"
#include "rsaref/md5.h"

namespace {

constexpr uint32_t kSine[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

constexpr unsigned kShift[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

inline uint32_t Rotl(uint32_t x, unsigned n) { return (x << n) | (x >> (32 - n)); }

void Compress(uint32_t state[4], const unsigned char block[64]) {
  uint32_t x[16];
  for (int i = 0; i < 16; ++i) {
    x[i] = uint32_t{block[4 * i]} | uint32_t{block[4 * i + 1]} << 8 | uint32_t{block[4 * i + 2]} << 16 |
           uint32_t{block[4 * i + 3]} << 24;
  }
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (unsigned i = 0; i < 64; ++i) {
    const unsigned round = i / 16;
    uint32_t f;
    unsigned g;
    switch (round) {
      case 0: f = (b & c) | (~b & d); g = i; break;
      case 1: f = (b & d) | (c & ~d); g = (5 * i + 1) % 16; break;
      case 2: f = b ^ c ^ d; g = (3 * i + 5) % 16; break;
      default: f = c ^ (b | ~d); g = (7 * i) % 16; break;
    }
    const uint32_t rotated = b + Rotl(a + f + kSine[i] + x[g], kShift[round][i % 4]);
    a = d;
    d = c;
    c = b;
    b = rotated;
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
  std::memset(x, 0, sizeof x);
}

void Encode32(unsigned char *out, const uint32_t *in, unsigned words) {
  for (unsigned i = 0; i < words; ++i) {
    out[4 * i] = static_cast<unsigned char>(in[i]);
    out[4 * i + 1] = static_cast<unsigned char>(in[i] >> 8);
    out[4 * i + 2] = static_cast<unsigned char>(in[i] >> 16);
    out[4 * i + 3] = static_cast<unsigned char>(in[i] >> 24);
  }
}

}  // namespace

extern "C" {

MC_EXPORT void MD5Init(MD5_CTX *context) noexcept {
  if (context == nullptr) return;
  context->count[0] = context->count[1] = 0;
  context->state[0] = 0x67452301;
  context->state[1] = 0xefcdab89;
  context->state[2] = 0x98badcfe;
  context->state[3] = 0x10325476;
  std::memset(context->buffer, 0, sizeof context->buffer);
}

MC_EXPORT void MD5Update(MD5_CTX *context, unsigned char *input, unsigned int inputLen) noexcept {
  if (context == nullptr || inputLen == 0 || input == nullptr) return;
  unsigned used = (context->count[0] >> 3) & 0x3f;
  const uint32_t bits = static_cast<uint32_t>(inputLen) << 3;
  context->count[0] += bits;
  if (context->count[0] < bits) ++context->count[1];
  context->count[1] += static_cast<uint32_t>(inputLen) >> 29;

  unsigned offset = 0;
  if (used > 0) {
    const unsigned take = inputLen < 64 - used ? inputLen : 64 - used;
    std::memcpy(context->buffer + used, input, take);
    offset = take;
    used += take;
    if (used < 64) return;
    Compress(context->state, context->buffer);
  }
  for (; inputLen - offset >= 64; offset += 64) Compress(context->state, input + offset);
  std::memcpy(context->buffer, input + offset, inputLen - offset);
}

MC_EXPORT void MD5Final(unsigned char digest[16], MD5_CTX *context) noexcept {
  if (context == nullptr) return;
  unsigned char length[8];
  Encode32(length, context->count, 2);
  static const unsigned char kPadding[64] = {0x80};
  const unsigned used = (context->count[0] >> 3) & 0x3f;
  MD5Update(context, const_cast<unsigned char *>(kPadding), used < 56 ? 56 - used : 120 - used);
  MD5Update(context, length, 8);
  if (digest != nullptr) Encode32(digest, context->state, 4);
  std::memset(context, 0, sizeof *context);
}

}  // extern "C"
