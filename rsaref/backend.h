// The work the toolkit hands to libcrypto.  The toolkit's digest and cipher
// records share names with OpenSSL's (MD5_CTX, DES_*), so the files that
// define the toolkit's names never see OpenSSL's headers and the files that
// call libcrypto never see the toolkit's: this header is all they share.
#ifndef MC_RSAREF_BACKEND_H
#define MC_RSAREF_BACKEND_H

#include <cstdint>

#include "mc.h"  // R_RSA_PUBLIC_KEY, R_RSA_PRIVATE_KEY

namespace mc::rsaref {

enum class Outcome {
  kOk,
  kDataTooLarge,  // the input is not below the modulus
  kBadKey,        // the key record cannot be used
  kFailed,        // libcrypto refused (memory, internal error)
};

// Raw RSA on k-byte big-endian numbers: out = in^e mod n.  The modulus must
// be exactly k bytes long.
Outcome PublicOperation(unsigned char *out, const unsigned char *in, unsigned k,
                        const R_RSA_PUBLIC_KEY &key) noexcept;
// out = in^d mod n, with the CRT values when the record carries them.
Outcome PrivateOperation(unsigned char *out, const unsigned char *in, unsigned k,
                         const R_RSA_PRIVATE_KEY &key) noexcept;

// A source of deterministic random bytes (the caller's random structure):
// returns 0 or the toolkit status to pass on.
struct Random {
  int (*draw)(void *source, unsigned char *out, unsigned len) noexcept;
  void *source;
  int Draw(unsigned char *out, unsigned len) const noexcept { return draw(source, out, len); }
};

// Fills a key pair of the given modulus length (public exponent 65537 when
// fermat4, else 3) from primes found in the random stream.  Returns 0, the
// random source's status, or -1 when libcrypto fails.
int GenerateKeyPair(R_RSA_PUBLIC_KEY *publicKey, R_RSA_PRIVATE_KEY *privateKey, unsigned bits,
                    bool fermat4, const Random &random) noexcept;

// Writes a prime p of primeBits bits with a prime q of subPrimeBits bits
// dividing p - 1, and a generator of the order-q subgroup, both big-endian on
// (primeBits + 7) / 8 bytes.  Returns 0, the random status, or -1.
int GenerateDhParams(unsigned char *prime, unsigned char *generator, unsigned primeBits,
                     unsigned subPrimeBits, const Random &random) noexcept;

// out (modLen bytes) = base^exponent mod modulus, all big-endian.
// kDataTooLarge when base is not below the modulus.
Outcome ModExpBytes(unsigned char *out, const unsigned char *base, unsigned baseLen,
                    const unsigned char *exponent, unsigned exponentLen, const unsigned char *modulus,
                    unsigned modLen) noexcept;

// DES in CBC mode by libcrypto.  A key schedule is kept in the 32 words the
// toolkit's contexts reserve for it; the chaining value is 8 bytes, updated
// in place; len is a multiple of 8.
void DesSchedule(uint32_t subkeys[32], const unsigned char key[8]) noexcept;
void DesCbc(const uint32_t subkeys[32], unsigned char iv[8], unsigned char *out, const unsigned char *in,
            unsigned len, bool encrypt) noexcept;
// DESX: the input whitener is XORed in before DES, the output whitener after.
void DesxCbc(const uint32_t subkeys[32], const unsigned char inputWhitener[8],
             const unsigned char outputWhitener[8], unsigned char iv[8], unsigned char *out,
             const unsigned char *in, unsigned len, bool encrypt) noexcept;
// Triple DES, encrypt-decrypt-encrypt with three schedules.
void Des3Cbc(const uint32_t subkeys[3][32], unsigned char iv[8], unsigned char *out, const unsigned char *in,
             unsigned len, bool encrypt) noexcept;

// Multi-precision operations on little-endian arrays of 32-bit digits.  On
// any failure (zero divisor, no inverse, memory) the results are set to 0.
void DigitsMult(uint32_t *a, const uint32_t *b, const uint32_t *c, unsigned digits) noexcept;
void DigitsDivMod(uint32_t *quotient, uint32_t *remainder, const uint32_t *c, unsigned cDigits,
                  const uint32_t *d, unsigned dDigits) noexcept;
void DigitsModMult(uint32_t *a, const uint32_t *b, const uint32_t *c, const uint32_t *d,
                   unsigned digits) noexcept;
void DigitsModExp(uint32_t *a, const uint32_t *b, const uint32_t *c, unsigned cDigits,
                  const uint32_t *d, unsigned dDigits) noexcept;
void DigitsModInv(uint32_t *a, const uint32_t *b, const uint32_t *c, unsigned digits) noexcept;
void DigitsGcd(uint32_t *a, const uint32_t *b, const uint32_t *c, unsigned digits) noexcept;

}  // namespace mc::rsaref

#endif  // MC_RSAREF_BACKEND_H
