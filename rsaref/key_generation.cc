// RSA key pairs from primes found in the toolkit's random stream.
// libcrypto's own key generation is not used: it draws from its own
// generator and refuses moduli under 512 bits, where the toolkit goes down
// to 508.
#include <openssl/bn.h>

#include <utility>

#include "rsaref/bignum.h"

namespace mc::rsaref {
namespace {

// A prime of exactly bits bits, top two bits set, with p - 1 prime to e:
// drawn at random, then searched upwards two by two.
int FindPrime(Bn &p, unsigned bits, BN_ULONG e, const Random &random, BN_CTX *ctx) {
  for (;;) {
    int status = DrawNumber(p, bits, 2, true, random);
    if (status != 0) return status;
    while (BN_num_bits(p.get()) == static_cast<int>(bits)) {
      const BN_ULONG residue = BN_mod_word(p.get(), e);
      if (residue == static_cast<BN_ULONG>(-1)) return -1;
      if (residue != 1) {  // e is prime: gcd(p - 1, e) = 1
        const int prime = BN_check_prime(p.get(), ctx, nullptr);
        if (prime < 0) return -1;
        if (prime == 1) return 0;
      }
      if (!BN_add_word(p.get(), 2)) return -1;
    }
  }
}

bool Put(const BIGNUM *bn, unsigned char *out, unsigned len) { return ToBytes(bn, out, len); }

}  // namespace

int GenerateKeyPair(R_RSA_PUBLIC_KEY *publicKey, R_RSA_PRIVATE_KEY *privateKey, unsigned bits, bool fermat4,
                    const Random &random) noexcept {
  const BN_ULONG e = fermat4 ? 65537 : 3;
  const unsigned pBits = (bits + 1) / 2;
  const unsigned qBits = bits - pBits;
  BnCtx ctx(BN_CTX_secure_new());
  Bn p, q;
  Bn n = NewBn(), exponent = NewBn(), d = NewBn(), dp = NewBn(), dq = NewBn(), qinv = NewBn(), p1 = NewBn(),
     q1 = NewBn(), phi = NewBn();
  if (!ctx || !n || !exponent || !d || !dp || !dq || !qinv || !p1 || !q1 || !phi) return -1;
  if (!BN_set_word(exponent.get(), e)) return -1;
  int status = FindPrime(p, pBits, e, random, ctx.get());
  do {
    if (status == 0) status = FindPrime(q, qBits, e, random, ctx.get());
  } while (status == 0 && BN_cmp(p.get(), q.get()) == 0);
  if (status != 0) return status;
  if (BN_cmp(p.get(), q.get()) < 0) std::swap(p, q);  // p > q
  // d = e^-1 mod (p-1)(q-1); the coefficient is q^-1 mod p.
  if (!BN_mul(n.get(), p.get(), q.get(), ctx.get()) || !BN_sub(p1.get(), p.get(), BN_value_one()) ||
      !BN_sub(q1.get(), q.get(), BN_value_one()) || !BN_mul(phi.get(), p1.get(), q1.get(), ctx.get()) ||
      !BN_mod_inverse(d.get(), exponent.get(), phi.get(), ctx.get()) ||
      !BN_mod(dp.get(), d.get(), p1.get(), ctx.get()) || !BN_mod(dq.get(), d.get(), q1.get(), ctx.get()) ||
      !BN_mod_inverse(qinv.get(), q.get(), p.get(), ctx.get()) || BN_num_bits(n.get()) != static_cast<int>(bits)) {
    return -1;
  }
  publicKey->bits = privateKey->bits = bits;
  if (!Put(n.get(), publicKey->modulus, MAX_RSA_MODULUS_LEN) ||
      !Put(exponent.get(), publicKey->exponent, MAX_RSA_MODULUS_LEN) ||
      !Put(n.get(), privateKey->modulus, MAX_RSA_MODULUS_LEN) ||
      !Put(exponent.get(), privateKey->publicExponent, MAX_RSA_MODULUS_LEN) ||
      !Put(d.get(), privateKey->exponent, MAX_RSA_MODULUS_LEN) ||
      !Put(p.get(), privateKey->prime[0], MAX_RSA_PRIME_LEN) || !Put(q.get(), privateKey->prime[1], MAX_RSA_PRIME_LEN) ||
      !Put(dp.get(), privateKey->primeExponent[0], MAX_RSA_PRIME_LEN) ||
      !Put(dq.get(), privateKey->primeExponent[1], MAX_RSA_PRIME_LEN) ||
      !Put(qinv.get(), privateKey->coefficient, MAX_RSA_PRIME_LEN)) {
    return -1;
  }
  return 0;
}

}  // namespace mc::rsaref
