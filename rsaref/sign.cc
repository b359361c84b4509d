// Signatures: PKCS #1 v1.5 block type 1 over the DER DigestInfo of an MD2 or
// MD5 digest.  The signature is as long as the modulus.
#include <cstring>

#include "mc.h"
#include "rsaref/digest_info.h"
#include "rsaref/rsa.h"
#include "rsaref/rsaref.h"

using mc::rsaref::kDigestInfoLen;
using mc::rsaref::MakeDigestInfo;

extern "C" {

MC_EXPORT int R_SignInit(R_SIGNATURE_CTX *context, int digestAlgorithm) noexcept {
  if (context == nullptr) return RE_DATA;
  return R_DigestInit(&context->digestContext, digestAlgorithm);
}

MC_EXPORT int R_SignUpdate(R_SIGNATURE_CTX *context, unsigned char *partIn, unsigned int partInLen) noexcept {
  if (context == nullptr) return RE_DATA;
  return R_DigestUpdate(&context->digestContext, partIn, partInLen);
}

MC_EXPORT int R_SignFinal(R_SIGNATURE_CTX *context, unsigned char *signature, unsigned int *signatureLen,
                          R_RSA_PRIVATE_KEY *privateKey) noexcept {
  if (context == nullptr || signature == nullptr || signatureLen == nullptr) return RE_DATA;
  unsigned char digest[MAX_DIGEST_LEN];
  unsigned int digestLen = 0;
  int status = R_DigestFinal(&context->digestContext, digest, &digestLen);
  if (status != 0) return status;
  unsigned char info[kDigestInfoLen];
  MakeDigestInfo(info, context->digestContext.digestAlgorithm, digest);
  if (privateKey == nullptr || RSAPrivateEncrypt(signature, signatureLen, info, kDigestInfoLen, privateKey) != 0) {
    status = RE_PRIVATE_KEY;
  }
  std::memset(digest, 0, sizeof digest);
  std::memset(info, 0, sizeof info);
  return status;
}

MC_EXPORT int R_VerifyInit(R_SIGNATURE_CTX *context, int digestAlgorithm) noexcept {
  return R_SignInit(context, digestAlgorithm);
}

MC_EXPORT int R_VerifyUpdate(R_SIGNATURE_CTX *context, unsigned char *partIn, unsigned int partInLen) noexcept {
  return R_SignUpdate(context, partIn, partInLen);
}

// The whole recovered block must be the expected DigestInfo, nothing more.
MC_EXPORT int R_VerifyFinal(R_SIGNATURE_CTX *context, unsigned char *signature, unsigned int signatureLen,
                            R_RSA_PUBLIC_KEY *publicKey) noexcept {
  if (context == nullptr) return RE_DATA;
  if (signatureLen > MAX_SIGNATURE_LEN) return RE_LEN;
  unsigned char digest[MAX_DIGEST_LEN];
  unsigned int digestLen = 0;
  int status = R_DigestFinal(&context->digestContext, digest, &digestLen);
  if (status != 0) return status;
  unsigned char expected[kDigestInfoLen];
  MakeDigestInfo(expected, context->digestContext.digestAlgorithm, digest);
  unsigned char recovered[MAX_SIGNATURE_LEN];
  unsigned int recoveredLen = 0;
  if (signature == nullptr || publicKey == nullptr ||
      RSAPublicDecrypt(recovered, &recoveredLen, signature, signatureLen, publicKey) != 0) {
    status = RE_PUBLIC_KEY;
  } else if (recoveredLen != kDigestInfoLen || std::memcmp(recovered, expected, kDigestInfoLen) != 0) {
    status = RE_SIGNATURE;
  }
  std::memset(digest, 0, sizeof digest);
  std::memset(recovered, 0, sizeof recovered);
  return status;
}

MC_EXPORT int R_SignBlock(unsigned char *signature, unsigned int *signatureLen, unsigned char *block,
                          unsigned int blockLen, int digestAlgorithm, R_RSA_PRIVATE_KEY *privateKey) noexcept {
  R_SIGNATURE_CTX context;
  int status = R_SignInit(&context, digestAlgorithm);
  if (status == 0) status = R_SignUpdate(&context, block, blockLen);
  if (status == 0) status = R_SignFinal(&context, signature, signatureLen, privateKey);
  std::memset(&context, 0, sizeof context);
  return status;
}

MC_EXPORT int R_VerifyBlockSignature(unsigned char *block, unsigned int blockLen, unsigned char *signature,
                                     unsigned int signatureLen, int digestAlgorithm,
                                     R_RSA_PUBLIC_KEY *publicKey) noexcept {
  R_SIGNATURE_CTX context;
  int status = R_VerifyInit(&context, digestAlgorithm);
  if (status == 0) status = R_VerifyUpdate(&context, block, blockLen);
  if (status == 0) status = R_VerifyFinal(&context, signature, signatureLen, publicKey);
  std::memset(&context, 0, sizeof context);
  return status;
}

}  // extern "C"
