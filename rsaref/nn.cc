// Natural numbers as little-endian arrays of 32-bit digits.  Results may
// share storage with operands: the word-by-word operations read each digit
// before writing it, and the others convert their operands before writing.
#include <cstring>

#include "mc.h"
#include "rsaref/backend.h"
#include "rsaref/nn.h"

extern "C" {

MC_EXPORT void NN_Decode(NN_DIGIT *a, unsigned int digits, unsigned char *b, unsigned int len) noexcept {
  if (a == nullptr || (b == nullptr && len != 0)) return;
  // From the last byte of b: digit i takes bytes len-1-4i down to len-4-4i.
  for (unsigned i = 0; i < digits; ++i) {
    NN_DIGIT t = 0;
    for (unsigned j = 0; j < 4; ++j) {
      const unsigned long long back = 4ull * i + j;
      if (back < len) t |= NN_DIGIT{b[len - 1 - back]} << (8 * j);
    }
    a[i] = t;
  }
}

MC_EXPORT void NN_Encode(unsigned char *a, unsigned int len, NN_DIGIT *b, unsigned int digits) noexcept {
  if (a == nullptr || (b == nullptr && digits != 0)) return;
  for (unsigned k = 0; k < len; ++k) {
    const unsigned long long back = k;  // byte k from the end
    const unsigned long long digit = back / 4;
    a[len - 1 - k] = digit < digits ? static_cast<unsigned char>(b[digit] >> (8 * (back % 4))) : 0;
  }
}

MC_EXPORT void NN_Assign(NN_DIGIT *a, NN_DIGIT *b, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr || digits == 0) return;
  std::memmove(a, b, digits * sizeof(NN_DIGIT));
}

MC_EXPORT void NN_AssignZero(NN_DIGIT *a, unsigned int digits) noexcept {
  if (a == nullptr || digits == 0) return;
  std::memset(a, 0, digits * sizeof(NN_DIGIT));
}

MC_EXPORT void NN_Assign2Exp(NN_DIGIT *a, unsigned int b, unsigned int digits) noexcept {
  NN_AssignZero(a, digits);
  if (a == nullptr || b / NN_DIGIT_BITS >= digits) return;  // 2^b does not fit: 0
  a[b / NN_DIGIT_BITS] = NN_DIGIT{1} << (b % NN_DIGIT_BITS);
}

MC_EXPORT NN_DIGIT NN_Add(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr || c == nullptr) return 0;
  uint64_t carry = 0;
  for (unsigned i = 0; i < digits; ++i) {
    carry += uint64_t{b[i]} + c[i];
    a[i] = static_cast<NN_DIGIT>(carry);
    carry >>= 32;
  }
  return static_cast<NN_DIGIT>(carry);
}

MC_EXPORT NN_DIGIT NN_Sub(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr || c == nullptr) return 0;
  NN_DIGIT borrow = 0;
  for (unsigned i = 0; i < digits; ++i) {
    const uint64_t subtrahend = uint64_t{c[i]} + borrow;
    borrow = b[i] < subtrahend ? 1 : 0;
    a[i] = static_cast<NN_DIGIT>(b[i] - subtrahend);
  }
  return borrow;
}

MC_EXPORT void NN_Mult(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr || c == nullptr) return;
  mc::rsaref::DigitsMult(a, b, c, digits);
}

MC_EXPORT void NN_Div(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int cDigits, NN_DIGIT *d,
                      unsigned int dDigits) noexcept {
  if (a == nullptr || b == nullptr || c == nullptr || d == nullptr) return;
  mc::rsaref::DigitsDivMod(a, b, c, cDigits, d, dDigits);
}

MC_EXPORT NN_DIGIT NN_LShift(NN_DIGIT *a, NN_DIGIT *b, unsigned int c, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr || c >= NN_DIGIT_BITS) return 0;
  NN_DIGIT carry = 0;
  for (unsigned i = 0; i < digits; ++i) {
    const NN_DIGIT bi = b[i];
    a[i] = (bi << c) | carry;
    carry = c != 0 ? bi >> (NN_DIGIT_BITS - c) : 0;
  }
  return carry;
}

MC_EXPORT NN_DIGIT NN_RShift(NN_DIGIT *a, NN_DIGIT *b, unsigned int c, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr || c >= NN_DIGIT_BITS) return 0;
  NN_DIGIT carry = 0;
  for (unsigned i = digits; i-- > 0;) {
    const NN_DIGIT bi = b[i];
    a[i] = (bi >> c) | carry;
    carry = c != 0 ? bi << (NN_DIGIT_BITS - c) : 0;
  }
  return carry;
}

MC_EXPORT void NN_Mod(NN_DIGIT *a, NN_DIGIT *b, unsigned int bDigits, NN_DIGIT *c, unsigned int cDigits) noexcept {
  if (a == nullptr || b == nullptr || c == nullptr) return;
  mc::rsaref::DigitsDivMod(nullptr, a, b, bDigits, c, cDigits);
}

MC_EXPORT void NN_ModMult(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, NN_DIGIT *d, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr || c == nullptr || d == nullptr) return;
  mc::rsaref::DigitsModMult(a, b, c, d, digits);
}

MC_EXPORT void NN_ModExp(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int cDigits, NN_DIGIT *d,
                         unsigned int dDigits) noexcept {
  if (a == nullptr || b == nullptr || c == nullptr || d == nullptr) return;
  mc::rsaref::DigitsModExp(a, b, c, cDigits, d, dDigits);
}

MC_EXPORT void NN_ModInv(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr || c == nullptr) return;
  mc::rsaref::DigitsModInv(a, b, c, digits);
}

MC_EXPORT void NN_Gcd(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr || c == nullptr) return;
  mc::rsaref::DigitsGcd(a, b, c, digits);
}

MC_EXPORT int NN_Cmp(NN_DIGIT *a, NN_DIGIT *b, unsigned int digits) noexcept {
  if (a == nullptr || b == nullptr) return 0;
  for (unsigned i = digits; i-- > 0;) {
    if (a[i] != b[i]) return a[i] > b[i] ? 1 : -1;
  }
  return 0;
}

MC_EXPORT int NN_Zero(NN_DIGIT *a, unsigned int digits) noexcept {
  if (a == nullptr) return 1;
  for (unsigned i = 0; i < digits; ++i) {
    if (a[i] != 0) return 0;
  }
  return 1;
}

MC_EXPORT unsigned int NN_Bits(NN_DIGIT *a, unsigned int digits) noexcept {
  const unsigned used = NN_Digits(a, digits);
  if (used == 0) return 0;
  unsigned bits = 0;
  for (NN_DIGIT top = a[used - 1]; top != 0; top >>= 1) ++bits;
  return (used - 1) * NN_DIGIT_BITS + bits;
}

MC_EXPORT unsigned int NN_Digits(NN_DIGIT *a, unsigned int digits) noexcept {
  if (a == nullptr) return 0;
  while (digits > 0 && a[digits - 1] == 0) --digits;
  return digits;
}

}  // extern "C"
