// Diffie-Hellman parameters from the toolkit's random stream, and the
// modular exponentiation of the agreement.
#include <openssl/bn.h>

#include "rsaref/bignum.h"

namespace mc::rsaref {
namespace {

// A prime of exactly bits bits (top bit set), searched upwards from a random start.
int FindPrime(Bn &q, unsigned bits, const Random &random, BN_CTX *ctx) {
  for (;;) {
    int status = DrawNumber(q, bits, 1, bits > 1, random);
    if (status != 0) return status;
    while (BN_num_bits(q.get()) == static_cast<int>(bits)) {
      const int prime = BN_check_prime(q.get(), ctx, nullptr);
      if (prime < 0) return -1;
      if (prime == 1) return 0;
      if (!BN_add_word(q.get(), bits > 1 ? 2 : 1)) return -1;
    }
  }
}

// Tries random p = 1 mod 2q of primeBits bits; false (with status 0) when
// none was found and q should be drawn again.
int FindPrimeWithSubprime(Bn &p, const BIGNUM *q, unsigned primeBits, const Random &random, BN_CTX *ctx,
                          bool &found) {
  found = false;
  Bn twoQ = NewBn(), r = NewBn(), previous = NewBn();
  if (!twoQ || !r || !previous || !BN_lshift1(twoQ.get(), q)) return -1;
  for (unsigned attempt = 0; attempt < 4 * primeBits; ++attempt) {
    int status = DrawNumber(p, primeBits, 1, false, random);
    if (status != 0) return status;
    // p = start - (start mod 2q) + 1, moved up into range if it fell out.
    if (!BN_mod(r.get(), p.get(), twoQ.get(), ctx) || !BN_sub(p.get(), p.get(), r.get()) ||
        !BN_add_word(p.get(), 1)) {
      return -1;
    }
    if (BN_num_bits(p.get()) < static_cast<int>(primeBits) && !BN_add(p.get(), p.get(), twoQ.get())) return -1;
    if (BN_num_bits(p.get()) != static_cast<int>(primeBits)) continue;
    if (attempt > 0 && BN_cmp(p.get(), previous.get()) == 0) return 0;  // q leaves a single candidate
    if (!BN_copy(previous.get(), p.get())) return -1;
    const int prime = BN_check_prime(p.get(), ctx, nullptr);
    if (prime < 0) return -1;
    if (prime == 1) {
      found = true;
      return 0;
    }
  }
  return 0;
}

}  // namespace

int GenerateDhParams(unsigned char *prime, unsigned char *generator, unsigned primeBits, unsigned subPrimeBits,
                     const Random &random) noexcept {
  BnCtx ctx(BN_CTX_new());
  Bn p, q, h, g = NewBn(), exponent = NewBn(), pMinus1 = NewBn();
  if (!ctx || !g || !exponent || !pMinus1) return -1;
  for (bool found = false; !found;) {
    int status = FindPrime(q, subPrimeBits, random, ctx.get());
    if (status == 0) status = FindPrimeWithSubprime(p, q.get(), primeBits, random, ctx.get(), found);
    if (status != 0) return status;
  }
  // g = h^((p-1)/q) mod p, of order q.
  if (!BN_sub(pMinus1.get(), p.get(), BN_value_one()) ||
      !BN_div(exponent.get(), nullptr, pMinus1.get(), q.get(), ctx.get())) {
    return -1;
  }
  do {
    int status = DrawNumber(h, primeBits, 0, false, random);
    if (status != 0) return status;
    if (!BN_mod(h.get(), h.get(), p.get(), ctx.get()) ||
        !BN_mod_exp(g.get(), h.get(), exponent.get(), p.get(), ctx.get())) {
      return -1;
    }
  } while (BN_is_zero(g.get()) || BN_is_one(g.get()));
  const unsigned len = (primeBits + 7) / 8;
  return ToBytes(p.get(), prime, len) && ToBytes(g.get(), generator, len) ? 0 : -1;
}

Outcome ModExpBytes(unsigned char *out, const unsigned char *base, unsigned baseLen, const unsigned char *exponent,
                    unsigned exponentLen, const unsigned char *modulus, unsigned modLen) noexcept {
  BnCtx ctx(BN_CTX_secure_new());
  Bn b(BN_bin2bn(base, static_cast<int>(baseLen), nullptr));
  Bn e(BN_secure_new());
  Bn m(BN_bin2bn(modulus, static_cast<int>(modLen), nullptr));
  Bn result(BN_secure_new());
  if (!ctx || !b || !e || !m || !result || !BN_bin2bn(exponent, static_cast<int>(exponentLen), e.get())) {
    return Outcome::kFailed;
  }
  if (BN_is_zero(m.get())) return Outcome::kBadKey;
  if (BN_cmp(b.get(), m.get()) >= 0) return Outcome::kDataTooLarge;
  // The exponent is a private value; the constant-time path needs an odd modulus.
  if (BN_is_odd(m.get())) BN_set_flags(e.get(), BN_FLG_CONSTTIME);
  if (!BN_mod_exp(result.get(), b.get(), e.get(), m.get(), ctx.get()) || !ToBytes(result.get(), out, modLen)) {
    return Outcome::kFailed;
  }
  return Outcome::kOk;
}

}  // namespace mc::rsaref
