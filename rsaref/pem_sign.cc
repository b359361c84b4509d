// Signatures in printable form: the signature base64-encoded, the content
// too when the caller asks for it to be recoded.
#include <cstring>

#include "mc.h"
#include "rsaref/rsaref.h"

extern "C" {

MC_EXPORT int R_SignPEMBlock(unsigned char *encodedContent, unsigned int *encodedContentLen,
                             unsigned char *encodedSignature, unsigned int *encodedSignatureLen,
                             unsigned char *content, unsigned int contentLen, int recode, int digestAlgorithm,
                             R_RSA_PRIVATE_KEY *privateKey) noexcept {
  unsigned char signature[MAX_SIGNATURE_LEN];
  unsigned int signatureLen = 0;
  int status = R_SignBlock(signature, &signatureLen, content, contentLen, digestAlgorithm, privateKey);
  if (status == 0 && recode) status = R_EncodePEMBlock(encodedContent, encodedContentLen, content, contentLen);
  if (status == 0) status = R_EncodePEMBlock(encodedSignature, encodedSignatureLen, signature, signatureLen);
  std::memset(signature, 0, sizeof signature);
  return status;
}

// Without recode the encoded content is the content itself: it is verified
// as it is, and only its length is reported.
MC_EXPORT int R_VerifyPEMSignature(unsigned char *content, unsigned int *contentLen, unsigned char *encodedContent,
                                   unsigned int encodedContentLen, unsigned char *encodedSignature,
                                   unsigned int encodedSignatureLen, int recode, int digestAlgorithm,
                                   R_RSA_PUBLIC_KEY *publicKey) noexcept {
  if (contentLen == nullptr) return RE_DATA;
  if (encodedSignatureLen > MAX_PEM_SIGNATURE_LEN) return RE_SIGNATURE_ENCODING;
  if (recode) {
    if (R_DecodePEMBlock(content, contentLen, encodedContent, encodedContentLen) != 0) return RE_CONTENT_ENCODING;
  } else {
    content = encodedContent;
    *contentLen = encodedContentLen;
  }
  unsigned char signature[MAX_SIGNATURE_LEN + 2];  // 173 characters decode to 129 bytes at most
  unsigned int signatureLen = 0;
  if (R_DecodePEMBlock(signature, &signatureLen, encodedSignature, encodedSignatureLen) != 0) {
    return RE_SIGNATURE_ENCODING;
  }
  return R_VerifyBlockSignature(content, *contentLen, signature, signatureLen, digestAlgorithm, publicKey);
}

}  // extern "C"
