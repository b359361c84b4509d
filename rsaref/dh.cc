// Diffie-Hellman agreement.  Values are big-endian at the prime's length.
#include "mc.h"
#include "rsaref/random_source.h"
#include "rsaref/rsaref.h"

namespace {

// The parameters a caller passes: a prime of 1..128 bytes and a generator no longer.
bool Usable(const R_DH_PARAMS *params) {
  return params != nullptr && params->prime != nullptr && params->generator != nullptr && params->primeLen > 0 &&
         params->primeLen <= MAX_RSA_MODULUS_LEN && params->generatorLen <= MAX_RSA_MODULUS_LEN;
}

int StatusOf(mc::rsaref::Outcome outcome) { return outcome == mc::rsaref::Outcome::kOk ? 0 : RE_DATA; }

}  // namespace

extern "C" {

// The caller provides params->prime and params->generator, DH_PRIME_LEN(primeBits) bytes each.
MC_EXPORT int R_GenerateDHParams(R_DH_PARAMS *params, unsigned int primeBits, unsigned int subPrimeBits,
                                 R_RANDOM_STRUCT *randomStruct) noexcept {
  if (params == nullptr || params->prime == nullptr || params->generator == nullptr || randomStruct == nullptr) {
    return RE_DATA;
  }
  if (primeBits < MIN_RSA_MODULUS_BITS || primeBits > MAX_RSA_MODULUS_BITS || subPrimeBits < 2 ||
      subPrimeBits >= primeBits) {
    return RE_MODULUS_LEN;
  }
  const int status = mc::rsaref::GenerateDhParams(params->prime, params->generator, primeBits, subPrimeBits,
                                                  mc::rsaref::FromRandomStruct(randomStruct));
  if (status != 0) return status > 0 ? status : RE_DATA;
  params->primeLen = params->generatorLen = DH_PRIME_LEN(primeBits);
  return 0;
}

// The private value is the next privateValueLen bytes of the generator, as they come.
MC_EXPORT int R_SetupDHAgreement(unsigned char *publicValue, unsigned char *privateValue,
                                 unsigned int privateValueLen, R_DH_PARAMS *params,
                                 R_RANDOM_STRUCT *randomStruct) noexcept {
  if (publicValue == nullptr || privateValue == nullptr || !Usable(params) || randomStruct == nullptr ||
      privateValueLen == 0 || privateValueLen > MAX_RSA_MODULUS_LEN) {
    return RE_DATA;
  }
  const int status = R_GenerateBytes(privateValue, privateValueLen, randomStruct);
  if (status != 0) return status;
  return StatusOf(mc::rsaref::ModExpBytes(publicValue, params->generator, params->generatorLen, privateValue,
                                          privateValueLen, params->prime, params->primeLen));
}

MC_EXPORT int R_ComputeDHAgreedKey(unsigned char *agreedKey, unsigned char *otherPublicValue,
                                   unsigned char *privateValue, unsigned int privateValueLen,
                                   R_DH_PARAMS *params) noexcept {
  if (agreedKey == nullptr || otherPublicValue == nullptr || privateValue == nullptr || !Usable(params) ||
      privateValueLen == 0 || privateValueLen > MAX_RSA_MODULUS_LEN) {
    return RE_DATA;
  }
  return StatusOf(mc::rsaref::ModExpBytes(agreedKey, otherPublicValue, params->primeLen, privateValue,
                                          privateValueLen, params->prime, params->primeLen));
}

}  // extern "C"
