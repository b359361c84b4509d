// RSA key-pair generation from the caller's random structure.
#include <cstring>

#include "mc.h"
#include "rsaref/random_source.h"
#include "rsaref/rsaref.h"

extern "C" {

MC_EXPORT int R_GeneratePEMKeys(R_RSA_PUBLIC_KEY *publicKey, R_RSA_PRIVATE_KEY *privateKey,
                                R_RSA_PROTO_KEY *protoKey, R_RANDOM_STRUCT *randomStruct) noexcept {
  if (publicKey == nullptr || privateKey == nullptr || protoKey == nullptr || randomStruct == nullptr) {
    return RE_DATA;
  }
  if (protoKey->bits < MIN_RSA_MODULUS_BITS || protoKey->bits > MAX_RSA_MODULUS_BITS) return RE_MODULUS_LEN;
  std::memset(publicKey, 0, sizeof *publicKey);
  std::memset(privateKey, 0, sizeof *privateKey);
  const int status = mc::rsaref::GenerateKeyPair(publicKey, privateKey, protoKey->bits, protoKey->useFermat4 != 0,
                                                  mc::rsaref::FromRandomStruct(randomStruct));
  if (status == 0) return 0;
  std::memset(privateKey, 0, sizeof *privateKey);
  return status > 0 ? status : RE_DATA;
}

}  // extern "C"
