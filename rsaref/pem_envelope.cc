// Sealed messages in printable form: the content signed, then the content
// and the signature DES-CBC-encrypted under one content key (the signature
// from the original IV again), and the three results base64-encoded.
//
// The content is streamed through in pieces of 24 bytes, a length that is
// both whole base64 groups and whole DES blocks, so that no buffer as long as
// the content is needed.
#include <cstring>

#include "mc.h"
#include "rsaref/rsaref.h"

namespace {

constexpr unsigned kPiece = 24;                  // bytes: whole groups of 3 and blocks of 8
constexpr unsigned kEncodedPiece = kPiece / 3 * 4;  // 32 characters

// Seals input and appends the base64 of the ciphertext at out (+*outLen).
int SealAndEncode(R_ENVELOPE_CTX *context, unsigned char *input, unsigned inputLen, unsigned char *out,
                  unsigned int *outLen) {
  unsigned char pending[2 * kPiece + 16];
  unsigned pendingLen = 0;
  unsigned written = 0;
  int status = 0;
  // Encodes the whole pieces of pending (all of it when last).
  auto flush = [&](bool last) {
    const unsigned n = last ? pendingLen : pendingLen / kPiece * kPiece;
    unsigned int encodedLen = 0;
    R_EncodePEMBlock(out + written, &encodedLen, pending, n);
    written += encodedLen;
    std::memmove(pending, pending + n, pendingLen - n);
    pendingLen -= n;
  };
  for (unsigned at = 0; status == 0 && at < inputLen; at += kPiece) {
    const unsigned n = inputLen - at < kPiece ? inputLen - at : kPiece;
    unsigned int producedLen = 0;
    status = R_SealUpdate(context, pending + pendingLen, &producedLen, input + at, n);
    pendingLen += producedLen;
    flush(false);
  }
  if (status == 0) {
    unsigned int producedLen = 0;
    status = R_SealFinal(context, pending + pendingLen, &producedLen);
    pendingLen += producedLen;
    flush(true);
  }
  std::memset(pending, 0, sizeof pending);
  *outLen = written;
  return status;
}

// RE_CONTENT_ENCODING unless text is base64 whose padding, if any, ends it.
int CheckEncoding(unsigned char *text, unsigned textLen) {
  if (textLen % 4 != 0) return RE_CONTENT_ENCODING;
  unsigned char scratch[kPiece];
  int status = 0;
  for (unsigned at = 0; status == 0 && at < textLen; at += kEncodedPiece) {
    const unsigned n = textLen - at < kEncodedPiece ? textLen - at : kEncodedPiece;
    unsigned int decodedLen = 0;
    if (R_DecodePEMBlock(scratch, &decodedLen, text + at, n) != 0 ||
        (at + n < textLen && decodedLen != kPiece)) {
      status = RE_CONTENT_ENCODING;
    }
  }
  std::memset(scratch, 0, sizeof scratch);
  return status;
}

// Decodes checked base64 text and opens it into out.
int DecodeAndOpen(R_ENVELOPE_CTX *context, unsigned char *text, unsigned textLen, unsigned char *out,
                  unsigned int *outLen) {
  unsigned char piece[kPiece];
  unsigned written = 0;
  int status = 0;
  for (unsigned at = 0; status == 0 && at < textLen; at += kEncodedPiece) {
    const unsigned n = textLen - at < kEncodedPiece ? textLen - at : kEncodedPiece;
    unsigned int decodedLen = 0;
    unsigned int producedLen = 0;
    status = R_DecodePEMBlock(piece, &decodedLen, text + at, n);
    if (status == 0) status = R_OpenUpdate(context, out + written, &producedLen, piece, decodedLen);
    written += producedLen;
  }
  if (status == 0) {
    unsigned int producedLen = 0;
    status = R_OpenFinal(context, out + written, &producedLen);
    written += producedLen;
  }
  std::memset(piece, 0, sizeof piece);
  *outLen = written;
  return status;
}

}  // namespace

extern "C" {

MC_EXPORT int R_SealPEMBlock(unsigned char *encryptedContent, unsigned int *encryptedContentLen,
                             unsigned char *encryptedKey, unsigned int *encryptedKeyLen,
                             unsigned char *encryptedSignature, unsigned int *encryptedSignatureLen,
                             unsigned char iv[8], unsigned char *content, unsigned int contentLen,
                             int digestAlgorithm, R_RSA_PUBLIC_KEY *publicKey, R_RSA_PRIVATE_KEY *privateKey,
                             R_RANDOM_STRUCT *randomStruct) noexcept {
  if (encryptedContent == nullptr || encryptedContentLen == nullptr || encryptedKey == nullptr ||
      encryptedKeyLen == nullptr || encryptedSignature == nullptr || encryptedSignatureLen == nullptr ||
      (content == nullptr && contentLen != 0)) {
    return RE_DATA;
  }
  unsigned char signature[MAX_SIGNATURE_LEN];
  unsigned int signatureLen = 0;
  int status = R_SignBlock(signature, &signatureLen, content, contentLen, digestAlgorithm, privateKey);
  R_ENVELOPE_CTX context;
  unsigned char key[MAX_ENCRYPTED_KEY_LEN];
  unsigned char *keys[1] = {key};
  unsigned int keyLen = 0;
  R_RSA_PUBLIC_KEY *publicKeys[1] = {publicKey};
  if (status == 0) status = R_SealInit(&context, keys, &keyLen, iv, 1, publicKeys, EA_DES_CBC, randomStruct);
  if (status == 0) status = R_EncodePEMBlock(encryptedKey, encryptedKeyLen, key, keyLen);
  if (status == 0) status = SealAndEncode(&context, content, contentLen, encryptedContent, encryptedContentLen);
  // The seal restarted at the original IV: the signature goes the same way.
  if (status == 0) {
    status = SealAndEncode(&context, signature, signatureLen, encryptedSignature, encryptedSignatureLen);
  }
  std::memset(&context, 0, sizeof context);
  std::memset(signature, 0, sizeof signature);
  return status;
}

MC_EXPORT int R_OpenPEMBlock(unsigned char *content, unsigned int *contentLen, unsigned char *encryptedContent,
                             unsigned int encryptedContentLen, unsigned char *encryptedKey,
                             unsigned int encryptedKeyLen, unsigned char *encryptedSignature,
                             unsigned int encryptedSignatureLen, unsigned char iv[8], int digestAlgorithm,
                             R_RSA_PRIVATE_KEY *privateKey, R_RSA_PUBLIC_KEY *publicKey) noexcept {
  if (content == nullptr || contentLen == nullptr || (encryptedContent == nullptr && encryptedContentLen != 0)) {
    return RE_DATA;
  }
  unsigned char key[MAX_ENCRYPTED_KEY_LEN + 2];
  unsigned int keyLen = 0;
  if (encryptedKeyLen > MAX_PEM_ENCRYPTED_KEY_LEN ||
      R_DecodePEMBlock(key, &keyLen, encryptedKey, encryptedKeyLen) != 0) {
    return RE_KEY_ENCODING;
  }
  // 184 characters decode to 138 bytes at most.
  unsigned char sealedSignature[MAX_SIGNATURE_LEN + 16];
  unsigned int sealedSignatureLen = 0;
  if (encryptedSignatureLen > MAX_PEM_ENCRYPTED_SIGNATURE_LEN ||
      R_DecodePEMBlock(sealedSignature, &sealedSignatureLen, encryptedSignature, encryptedSignatureLen) != 0) {
    return RE_SIGNATURE_ENCODING;
  }
  int status = CheckEncoding(encryptedContent, encryptedContentLen);
  R_ENVELOPE_CTX context;
  if (status == 0) status = R_OpenInit(&context, EA_DES_CBC, key, keyLen, iv, privateKey);
  if (status == 0) status = DecodeAndOpen(&context, encryptedContent, encryptedContentLen, content, contentLen);
  unsigned char signature[MAX_SIGNATURE_LEN + 16];
  unsigned int signatureLen = 0;
  if (status == 0) {
    unsigned int tailLen = 0;
    status = R_OpenUpdate(&context, signature, &signatureLen, sealedSignature, sealedSignatureLen);
    if (status == 0) status = R_OpenFinal(&context, signature + signatureLen, &tailLen);
    signatureLen += tailLen;
  }
  if (status == 0) {
    status = R_VerifyBlockSignature(content, *contentLen, signature, signatureLen, digestAlgorithm, publicKey);
  }
  std::memset(&context, 0, sizeof context);
  std::memset(key, 0, sizeof key);
  std::memset(signature, 0, sizeof signature);
  return status;
}

}  // extern "C"
