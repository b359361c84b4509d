/*
 * nn.h -- natural numbers as arrays of 32-bit digits, least significant
 * digit first.  Byte strings are big-endian.  Results may share storage
 * with operands.  Arrays hold at most MAX_NN_DIGITS digits (products and
 * dividends twice that).
 */
#ifndef RSAREF_NN_H
#define RSAREF_NN_H

#include "rsaref.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef UINT4 NN_DIGIT;
typedef UINT2 NN_HALF_DIGIT;

#define NN_DIGIT_BITS 32
#define NN_HALF_DIGIT_BITS 16
#define NN_DIGIT_LEN (NN_DIGIT_BITS / 8)
#define MAX_NN_DIGITS ((MAX_RSA_MODULUS_LEN + NN_DIGIT_LEN - 1) / NN_DIGIT_LEN + 1)
#define MAX_NN_DIGIT 0xffffffff
#define MAX_NN_HALF_DIGIT 0xffff

#define LOW_HALF(x) ((x) & MAX_NN_HALF_DIGIT)
#define HIGH_HALF(x) (((x) >> NN_HALF_DIGIT_BITS) & MAX_NN_HALF_DIGIT)
#define TO_HIGH_HALF(x) (((NN_DIGIT)(x)) << NN_HALF_DIGIT_BITS)
#define DIGIT_MSB(x) (unsigned int)(((x) >> (NN_DIGIT_BITS - 1)) & 1)
#define DIGIT_2MSB(x) (unsigned int)(((x) >> (NN_DIGIT_BITS - 2)) & 3)

#define NN_ASSIGN_DIGIT(a, b, digits) \
  {                                   \
    NN_AssignZero(a, digits);         \
    a[0] = b;                         \
  }
#define NN_EQUAL(a, b, digits) (!NN_Cmp(a, b, digits))
#define NN_EVEN(a, digits) (((digits) == 0) || !(a[0] & 1))

/* a = the number in the big-endian bytes b (len bytes); bytes beyond the digits are dropped. */
RSAREF_EXPORT void NN_Decode(NN_DIGIT *a, unsigned int digits, unsigned char *b,
                             unsigned int len) RSAREF_NOEXCEPT;
/* Writes b into len big-endian bytes at a; digits beyond len bytes are dropped. */
RSAREF_EXPORT void NN_Encode(unsigned char *a, unsigned int len, NN_DIGIT *b,
                             unsigned int digits) RSAREF_NOEXCEPT;
/* a = b. */
RSAREF_EXPORT void NN_Assign(NN_DIGIT *a, NN_DIGIT *b, unsigned int digits) RSAREF_NOEXCEPT;
/* a = 0. */
RSAREF_EXPORT void NN_AssignZero(NN_DIGIT *a, unsigned int digits) RSAREF_NOEXCEPT;
/* a = 2^b (0 when 2^b does not fit). */
RSAREF_EXPORT void NN_Assign2Exp(NN_DIGIT *a, unsigned int b, unsigned int digits) RSAREF_NOEXCEPT;
/* a = b + c; returns the carry. */
RSAREF_EXPORT NN_DIGIT NN_Add(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) RSAREF_NOEXCEPT;
/* a = b - c; returns the borrow. */
RSAREF_EXPORT NN_DIGIT NN_Sub(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) RSAREF_NOEXCEPT;
/* a = b * c; a has 2 * digits digits. */
RSAREF_EXPORT void NN_Mult(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) RSAREF_NOEXCEPT;
/* a = c / d (cDigits digits), b = c mod d (dDigits digits); both 0 when d is 0. */
RSAREF_EXPORT void NN_Div(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int cDigits, NN_DIGIT *d,
                          unsigned int dDigits) RSAREF_NOEXCEPT;
/* a = b << c (c below 32); returns the bits shifted out. */
RSAREF_EXPORT NN_DIGIT NN_LShift(NN_DIGIT *a, NN_DIGIT *b, unsigned int c,
                                 unsigned int digits) RSAREF_NOEXCEPT;
/* a = b >> c (c below 32); returns the bits shifted out, at the top of the digit. */
RSAREF_EXPORT NN_DIGIT NN_RShift(NN_DIGIT *a, NN_DIGIT *b, unsigned int c,
                                 unsigned int digits) RSAREF_NOEXCEPT;
/* a = b mod c (cDigits digits). */
RSAREF_EXPORT void NN_Mod(NN_DIGIT *a, NN_DIGIT *b, unsigned int bDigits, NN_DIGIT *c,
                          unsigned int cDigits) RSAREF_NOEXCEPT;
/* a = b * c mod d. */
RSAREF_EXPORT void NN_ModMult(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, NN_DIGIT *d,
                              unsigned int digits) RSAREF_NOEXCEPT;
/* a = b^c mod d (a and b have dDigits digits, c has cDigits). */
RSAREF_EXPORT void NN_ModExp(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int cDigits, NN_DIGIT *d,
                             unsigned int dDigits) RSAREF_NOEXCEPT;
/* a = b^-1 mod c (0 when there is no inverse). */
RSAREF_EXPORT void NN_ModInv(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) RSAREF_NOEXCEPT;
/* a = gcd(b, c). */
RSAREF_EXPORT void NN_Gcd(NN_DIGIT *a, NN_DIGIT *b, NN_DIGIT *c, unsigned int digits) RSAREF_NOEXCEPT;
/* Sign of a - b: -1, 0 or 1. */
RSAREF_EXPORT int NN_Cmp(NN_DIGIT *a, NN_DIGIT *b, unsigned int digits) RSAREF_NOEXCEPT;
/* 1 when a is 0, else 0. */
RSAREF_EXPORT int NN_Zero(NN_DIGIT *a, unsigned int digits) RSAREF_NOEXCEPT;
/* Number of significant bits of a. */
RSAREF_EXPORT unsigned int NN_Bits(NN_DIGIT *a, unsigned int digits) RSAREF_NOEXCEPT;
/* Number of significant digits of a. */
RSAREF_EXPORT unsigned int NN_Digits(NN_DIGIT *a, unsigned int digits) RSAREF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* RSAREF_NN_H */
