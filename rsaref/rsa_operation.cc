// Raw RSA operations on the toolkit's key records, done by libcrypto through
// EVP without padding (the padding is the toolkit's own).
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <cstring>
#include <memory>

#include "rsaref/backend.h"

namespace mc::rsaref {
namespace {

struct BnFree {
  void operator()(BIGNUM *b) const { BN_clear_free(b); }
};
using Bn = std::unique_ptr<BIGNUM, BnFree>;
struct PkeyFree {
  void operator()(EVP_PKEY *p) const { EVP_PKEY_free(p); }
};
struct PkeyCtxFree {
  void operator()(EVP_PKEY_CTX *c) const { EVP_PKEY_CTX_free(c); }
};
struct ParamBldFree {
  void operator()(OSSL_PARAM_BLD *b) const { OSSL_PARAM_BLD_free(b); }
};
struct ParamFree {
  void operator()(OSSL_PARAM *p) const { OSSL_PARAM_free(p); }
};
using Pkey = std::unique_ptr<EVP_PKEY, PkeyFree>;
using PkeyCtx = std::unique_ptr<EVP_PKEY_CTX, PkeyCtxFree>;

Bn FromBytes(const unsigned char *bytes, unsigned len) { return Bn(BN_bin2bn(bytes, static_cast<int>(len), nullptr)); }

bool AllZero(const unsigned char *bytes, unsigned len) {
  unsigned char any = 0;
  for (unsigned i = 0; i < len; ++i) any |= bytes[i];
  return any == 0;
}

// The modulus must be exactly k bytes long, and the input below it.
Outcome CheckSizes(const unsigned char *modulus, const unsigned char *in, unsigned k) {
  const unsigned char *n = modulus + MAX_RSA_MODULUS_LEN - k;
  if (k == 0 || k > MAX_RSA_MODULUS_LEN || !AllZero(modulus, MAX_RSA_MODULUS_LEN - k) || n[0] == 0) {
    return Outcome::kBadKey;
  }
  return std::memcmp(in, n, k) < 0 ? Outcome::kOk : Outcome::kDataTooLarge;
}

// Builds an EVP key from named numbers (big-endian byte strings).
struct Number {
  const char *name;
  const unsigned char *bytes;
  unsigned len;
};
template <size_t N>
Pkey MakeKey(const Number (&numbers)[N], size_t count, int selection) {
  std::unique_ptr<OSSL_PARAM_BLD, ParamBldFree> builder(OSSL_PARAM_BLD_new());
  if (!builder) return nullptr;
  Bn values[N];
  for (size_t i = 0; i < count; ++i) {
    values[i] = FromBytes(numbers[i].bytes, numbers[i].len);
    if (!values[i] || !OSSL_PARAM_BLD_push_BN(builder.get(), numbers[i].name, values[i].get())) return nullptr;
  }
  std::unique_ptr<OSSL_PARAM, ParamFree> params(OSSL_PARAM_BLD_to_param(builder.get()));
  PkeyCtx context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  EVP_PKEY *key = nullptr;
  if (!params || !context || EVP_PKEY_fromdata_init(context.get()) <= 0 ||
      EVP_PKEY_fromdata(context.get(), &key, selection, params.get()) <= 0) {
    return nullptr;
  }
  return Pkey(key);
}

Outcome Run(EVP_PKEY *key, bool privateOp, unsigned char *out, const unsigned char *in, unsigned k) {
  PkeyCtx context(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
  if (!context) return Outcome::kFailed;
  const int ready = privateOp ? EVP_PKEY_decrypt_init(context.get()) : EVP_PKEY_encrypt_init(context.get());
  if (ready <= 0 || EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING) <= 0) return Outcome::kBadKey;
  size_t outLen = k;
  const int done = privateOp ? EVP_PKEY_decrypt(context.get(), out, &outLen, in, k)
                             : EVP_PKEY_encrypt(context.get(), out, &outLen, in, k);
  if (done <= 0 || outLen != k) return Outcome::kBadKey;
  return Outcome::kOk;
}

}  // namespace

Outcome PublicOperation(unsigned char *out, const unsigned char *in, unsigned k,
                        const R_RSA_PUBLIC_KEY &key) noexcept {
  const Outcome sizes = CheckSizes(key.modulus, in, k);
  if (sizes != Outcome::kOk) return sizes;
  const Number numbers[] = {{OSSL_PKEY_PARAM_RSA_N, key.modulus, MAX_RSA_MODULUS_LEN},
                            {OSSL_PKEY_PARAM_RSA_E, key.exponent, MAX_RSA_MODULUS_LEN}};
  Pkey pkey = MakeKey(numbers, 2, EVP_PKEY_PUBLIC_KEY);
  if (!pkey) return Outcome::kBadKey;
  return Run(pkey.get(), false, out, in, k);
}

Outcome PrivateOperation(unsigned char *out, const unsigned char *in, unsigned k,
                         const R_RSA_PRIVATE_KEY &key) noexcept {
  const Outcome sizes = CheckSizes(key.modulus, in, k);
  if (sizes != Outcome::kOk) return sizes;
  const Number numbers[] = {
      {OSSL_PKEY_PARAM_RSA_N, key.modulus, MAX_RSA_MODULUS_LEN},
      {OSSL_PKEY_PARAM_RSA_E, key.publicExponent, MAX_RSA_MODULUS_LEN},
      {OSSL_PKEY_PARAM_RSA_D, key.exponent, MAX_RSA_MODULUS_LEN},
      {OSSL_PKEY_PARAM_RSA_FACTOR1, key.prime[0], MAX_RSA_PRIME_LEN},
      {OSSL_PKEY_PARAM_RSA_FACTOR2, key.prime[1], MAX_RSA_PRIME_LEN},
      {OSSL_PKEY_PARAM_RSA_EXPONENT1, key.primeExponent[0], MAX_RSA_PRIME_LEN},
      {OSSL_PKEY_PARAM_RSA_EXPONENT2, key.primeExponent[1], MAX_RSA_PRIME_LEN},
      {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, key.coefficient, MAX_RSA_PRIME_LEN}};
  // A record without its CRT values (some hosts fill only n, e and d) works
  // with the private exponent alone.
  bool crt = true;
  for (size_t i = 3; i < 8; ++i) crt = crt && !AllZero(numbers[i].bytes, numbers[i].len);
  Pkey pkey = MakeKey(numbers, crt ? 8 : 3, EVP_PKEY_KEYPAIR);
  if (!pkey) return Outcome::kBadKey;
  return Run(pkey.get(), true, out, in, k);
}

}  // namespace mc::rsaref
