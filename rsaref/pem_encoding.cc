// Printable encoding: standard base64 (+ / and = padding), no line breaks,
// nothing written after the text (the callers' buffers are sized by
// ENCODED_CONTENT_LEN, which leaves no room for a terminator).
#include "mc.h"
#include "rsaref/rsaref.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Value of a base64 character, or -1.
int Value(unsigned char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

extern "C" {

MC_EXPORT int R_EncodePEMBlock(unsigned char *encodedBlock, unsigned int *encodedBlockLen, unsigned char *block,
                               unsigned int blockLen) noexcept {
  if (encodedBlockLen == nullptr || (blockLen != 0 && (encodedBlock == nullptr || block == nullptr))) {
    return RE_DATA;
  }
  unsigned out = 0;
  for (unsigned i = 0; i < blockLen; i += 3) {
    const unsigned n = blockLen - i < 3 ? blockLen - i : 3;
    const uint32_t group = uint32_t{block[i]} << 16 | (n > 1 ? uint32_t{block[i + 1]} << 8 : 0) |
                           (n > 2 ? uint32_t{block[i + 2]} : 0);
    encodedBlock[out++] = static_cast<unsigned char>(kAlphabet[(group >> 18) & 63]);
    encodedBlock[out++] = static_cast<unsigned char>(kAlphabet[(group >> 12) & 63]);
    encodedBlock[out++] = static_cast<unsigned char>(n > 1 ? kAlphabet[(group >> 6) & 63] : '=');
    encodedBlock[out++] = static_cast<unsigned char>(n > 2 ? kAlphabet[group & 63] : '=');
  }
  *encodedBlockLen = out;
  return 0;
}

MC_EXPORT int R_DecodePEMBlock(unsigned char *block, unsigned int *blockLen, unsigned char *encodedBlock,
                               unsigned int encodedBlockLen) noexcept {
  if (blockLen == nullptr || (encodedBlockLen != 0 && (block == nullptr || encodedBlock == nullptr))) {
    return RE_DATA;
  }
  if (encodedBlockLen % 4 != 0) return RE_ENCODING;
  unsigned out = 0;
  for (unsigned i = 0; i < encodedBlockLen; i += 4) {
    const bool last = i + 4 == encodedBlockLen;
    const unsigned char *q = encodedBlock + i;
    // '=' only at the end of the last group: "xx==" or "xxx=".
    const unsigned pad = (last && q[3] == '=') ? (q[2] == '=' ? 2 : 1) : 0;
    int v[4] = {Value(q[0]), Value(q[1]), 0, 0};
    for (unsigned j = 2; j < 4 - pad; ++j) v[j] = Value(q[j]);
    for (int x : v) {
      if (x < 0) return RE_ENCODING;
    }
    const uint32_t group = uint32_t(v[0]) << 18 | uint32_t(v[1]) << 12 | uint32_t(v[2]) << 6 | uint32_t(v[3]);
    block[out++] = static_cast<unsigned char>(group >> 16);
    if (pad < 2) block[out++] = static_cast<unsigned char>(group >> 8);
    if (pad < 1) block[out++] = static_cast<unsigned char>(group);
  }
  *blockLen = out;
  return 0;
}

}  // extern "C"
