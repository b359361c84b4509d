// Multi-precision products, divisions and modular arithmetic on the
// toolkit's digit arrays, done by libcrypto's BIGNUM.  Digit arrays are
// little-endian words; on this little-endian platform their bytes are the
// little-endian byte string libcrypto reads and writes directly.
#include <openssl/bn.h>

#include <bit>
#include <cstring>

#include "rsaref/bignum.h"

namespace mc::rsaref {
namespace {

static_assert(std::endian::native == std::endian::little, "digit arrays are read as little-endian bytes");

// Beyond this the arrays cannot come from the toolkit's callers (twice the
// largest modulus is 66 digits); the bound keeps byte counts within int.
constexpr unsigned kMaxDigits = 4096;

void Zero(uint32_t *a, unsigned digits) {
  if (a != nullptr && digits != 0) std::memset(a, 0, digits * sizeof(uint32_t));
}

Bn Read(const uint32_t *digits, unsigned count) {
  if (count == 0) return Bn(BN_new());  // zero
  return Bn(BN_lebin2bn(reinterpret_cast<const unsigned char *>(digits), static_cast<int>(count * 4), nullptr));
}

// Writes bn into count digits; false when it does not fit.
bool Write(uint32_t *digits, unsigned count, const BIGNUM *bn) {
  if (count == 0) return BN_is_zero(bn);
  return BN_bn2lebinpad(bn, reinterpret_cast<unsigned char *>(digits), static_cast<int>(count * 4)) ==
         static_cast<int>(count * 4);
}

bool Fits(unsigned a, unsigned b = 0) { return a <= kMaxDigits && b <= kMaxDigits; }

}  // namespace

void DigitsMult(uint32_t *a, const uint32_t *b, const uint32_t *c, unsigned digits) noexcept {
  if (!Fits(digits)) return Zero(a, 2 * digits);
  BnCtx ctx(BN_CTX_new());
  Bn x = Read(b, digits), y = Read(c, digits), r = NewBn();
  if (!ctx || !x || !y || !r || !BN_mul(r.get(), x.get(), y.get(), ctx.get()) || !Write(a, 2 * digits, r.get())) {
    Zero(a, 2 * digits);
  }
}

void DigitsDivMod(uint32_t *quotient, uint32_t *remainder, const uint32_t *c, unsigned cDigits, const uint32_t *d,
                  unsigned dDigits) noexcept {
  BnCtx ctx(BN_CTX_new());
  Bn x = Fits(cDigits, dDigits) ? Read(c, cDigits) : nullptr, y = Fits(cDigits, dDigits) ? Read(d, dDigits) : nullptr;
  Bn q = NewBn(), r = NewBn();
  const bool done = ctx && x && y && q && r && !BN_is_zero(y.get()) &&
                    BN_div(q.get(), r.get(), x.get(), y.get(), ctx.get()) &&
                    (quotient == nullptr || Write(quotient, cDigits, q.get())) &&
                    (remainder == nullptr || Write(remainder, dDigits, r.get()));
  if (!done) {
    if (quotient != nullptr) Zero(quotient, cDigits);
    Zero(remainder, dDigits);
  }
}

void DigitsModMult(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d, unsigned digits) noexcept {
  if (!Fits(digits)) return Zero(a, digits);
  BnCtx ctx(BN_CTX_new());
  Bn x = Read(b, digits), y = Read(c, digits), m = Read(d, digits), r = NewBn();
  if (!ctx || !x || !y || !m || !r || BN_is_zero(m.get()) ||
      !BN_mod_mul(r.get(), x.get(), y.get(), m.get(), ctx.get()) || !Write(a, digits, r.get())) {
    Zero(a, digits);
  }
}

void DigitsModExp(uint32_t *a, const uint32_t *b, const uint32_t *c, unsigned cDigits, const uint32_t *d,
                  unsigned dDigits) noexcept {
  if (!Fits(cDigits, dDigits)) return Zero(a, dDigits);
  BnCtx ctx(BN_CTX_new());
  Bn x = Read(b, dDigits), e = Read(c, cDigits), m = Read(d, dDigits), r = NewBn();
  if (!ctx || !x || !e || !m || !r || BN_is_zero(m.get()) ||
      !BN_mod_exp(r.get(), x.get(), e.get(), m.get(), ctx.get()) || !Write(a, dDigits, r.get())) {
    Zero(a, dDigits);
  }
}

void DigitsModInv(uint32_t *a, const uint32_t *b, const uint32_t *c, unsigned digits) noexcept {
  if (!Fits(digits)) return Zero(a, digits);
  BnCtx ctx(BN_CTX_new());
  Bn x = Read(b, digits), m = Read(c, digits), r = NewBn();
  if (!ctx || !x || !m || !r || BN_is_zero(m.get()) || !BN_mod_inverse(r.get(), x.get(), m.get(), ctx.get()) ||
      !Write(a, digits, r.get())) {
    Zero(a, digits);
  }
}

void DigitsGcd(uint32_t *a, const uint32_t *b, const uint32_t *c, unsigned digits) noexcept {
  if (!Fits(digits)) return Zero(a, digits);
  BnCtx ctx(BN_CTX_new());
  Bn x = Read(b, digits), y = Read(c, digits), r = NewBn();
  if (!ctx || !x || !y || !r || !BN_gcd(r.get(), x.get(), y.get(), ctx.get()) || !Write(a, digits, r.get())) {
    Zero(a, digits);
  }
}

}  // namespace mc::rsaref
