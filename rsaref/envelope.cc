// Envelopes: a content key and IV drawn from the random structure, the key
// RSA-encrypted for each recipient, the content encrypted in CBC mode with
// RFC 1423 padding (1 to 8 bytes, each holding the count).
#include <cstring>

#include "mc.h"
#include "rsaref/r_random.h"
#include "rsaref/rsa.h"
#include "rsaref/rsaref.h"

namespace {

// Content-key length of an algorithm; 0 when unknown.  DESX keys are the DES
// key, the input whitener and the output whitener; EDE2 keys are three DES
// keys whose third repeats the first.
unsigned KeyLen(int algorithm) {
  switch (algorithm) {
    case EA_DES_CBC: return 8;
    case EA_DES_EDE2_CBC:
    case EA_DES_EDE3_CBC:
    case EA_DESX_CBC: return 24;
    default: return 0;
  }
}

void CipherInit(R_ENVELOPE_CTX *context, int algorithm, unsigned char *key, unsigned char *iv, int encrypt) {
  context->encryptionAlgorithm = algorithm;
  switch (algorithm) {
    case EA_DES_CBC: DES_CBCInit(&context->cipherContext.des, key, iv, encrypt); break;
    case EA_DESX_CBC: DESX_CBCInit(&context->cipherContext.desx, key, iv, encrypt); break;
    default: DES3_CBCInit(&context->cipherContext.des3, key, iv, encrypt); break;
  }
  context->bufferLen = 0;
}

int CipherUpdate(R_ENVELOPE_CTX *context, unsigned char *out, unsigned char *in, unsigned len) {
  switch (context->encryptionAlgorithm) {
    case EA_DES_CBC: return DES_CBCUpdate(&context->cipherContext.des, out, in, len);
    case EA_DESX_CBC: return DESX_CBCUpdate(&context->cipherContext.desx, out, in, len);
    case EA_DES_EDE2_CBC:
    case EA_DES_EDE3_CBC: return DES3_CBCUpdate(&context->cipherContext.des3, out, in, len);
    default: return RE_ENCRYPTION_ALGORITHM;
  }
}

void CipherRestart(R_ENVELOPE_CTX *context) {
  switch (context->encryptionAlgorithm) {
    case EA_DES_CBC: DES_CBCRestart(&context->cipherContext.des); break;
    case EA_DESX_CBC: DESX_CBCRestart(&context->cipherContext.desx); break;
    default: DES3_CBCRestart(&context->cipherContext.des3); break;
  }
  context->bufferLen = 0;
}

bool Usable(const R_ENVELOPE_CTX *context) {
  return context != nullptr && KeyLen(context->encryptionAlgorithm) != 0 && context->bufferLen <= 8;
}

// Feeds input through the 8-byte buffer, encrypting or decrypting whole
// blocks; keeps the last 0..7 bytes in the buffer, or 1..8 when the last
// block is held back.
int Process(R_ENVELOPE_CTX *context, unsigned char *partOut, unsigned int *partOutLen, unsigned char *partIn,
            unsigned int partInLen, bool holdLastBlock) {
  *partOutLen = 0;
  const unsigned long long total = context->bufferLen + static_cast<unsigned long long>(partInLen);
  unsigned keep = static_cast<unsigned>(total % 8);
  if (holdLastBlock && keep == 0 && total != 0) keep = 8;
  if (total <= keep) {
    if (partInLen != 0) std::memcpy(context->buffer + context->bufferLen, partIn, partInLen);
    context->bufferLen += partInLen;
    return 0;
  }
  unsigned consumed = 0;
  unsigned produced = 0;
  if (context->bufferLen > 0) {
    consumed = 8 - context->bufferLen;
    std::memcpy(context->buffer + context->bufferLen, partIn, consumed);
    unsigned char block[8];
    const int status = CipherUpdate(context, block, context->buffer, 8);
    if (status != 0) return status;
    std::memcpy(partOut, block, 8);
    produced = 8;
  }
  const unsigned whole = partInLen - consumed - keep;  // a multiple of 8
  if (whole > 0) {
    const int status = CipherUpdate(context, partOut + produced, partIn + consumed, whole);
    if (status != 0) return status;
    produced += whole;
  }
  std::memcpy(context->buffer, partIn + consumed + whole, keep);
  context->bufferLen = keep;
  *partOutLen = produced;
  return 0;
}

}  // namespace

extern "C" {

MC_EXPORT int R_SealInit(R_ENVELOPE_CTX *context, unsigned char **encryptedKeys, unsigned int *encryptedKeyLens,
                         unsigned char iv[8], unsigned int publicKeyCount, R_RSA_PUBLIC_KEY **publicKeys,
                         int encryptionAlgorithm, R_RANDOM_STRUCT *randomStruct) noexcept {
  const unsigned keyLen = KeyLen(encryptionAlgorithm);
  if (keyLen == 0) return RE_ENCRYPTION_ALGORITHM;
  if (context == nullptr || iv == nullptr || randomStruct == nullptr ||
      (publicKeyCount != 0 && (encryptedKeys == nullptr || encryptedKeyLens == nullptr || publicKeys == nullptr))) {
    return RE_DATA;
  }
  // Key bytes first, then the IV, then the padding of each encrypted key:
  // the order of the draws is part of the output.
  unsigned char key[24];
  int status = R_GenerateBytes(key, keyLen, randomStruct);
  if (status == 0 && encryptionAlgorithm == EA_DES_EDE2_CBC) std::memcpy(key + 16, key, 8);
  if (status == 0) status = R_GenerateBytes(iv, 8, randomStruct);
  if (status == 0) CipherInit(context, encryptionAlgorithm, key, iv, 1);
  for (unsigned i = 0; status == 0 && i < publicKeyCount; ++i) {
    if (encryptedKeys[i] == nullptr || publicKeys[i] == nullptr ||
        RSAPublicEncrypt(encryptedKeys[i], &encryptedKeyLens[i], key, keyLen, publicKeys[i], randomStruct) != 0) {
      status = RE_PUBLIC_KEY;
    }
  }
  std::memset(key, 0, sizeof key);
  return status;
}

MC_EXPORT int R_SealUpdate(R_ENVELOPE_CTX *context, unsigned char *partOut, unsigned int *partOutLen,
                           unsigned char *partIn, unsigned int partInLen) noexcept {
  if (!Usable(context) || partOutLen == nullptr || (partInLen != 0 && (partIn == nullptr || partOut == nullptr))) {
    return RE_DATA;
  }
  return Process(context, partOut, partOutLen, partIn, partInLen, false);
}

MC_EXPORT int R_SealFinal(R_ENVELOPE_CTX *context, unsigned char *partOut, unsigned int *partOutLen) noexcept {
  if (!Usable(context) || partOut == nullptr || partOutLen == nullptr || context->bufferLen > 7) return RE_DATA;
  const unsigned padLen = 8 - context->bufferLen;
  std::memset(context->buffer + context->bufferLen, static_cast<int>(padLen), padLen);
  const int status = CipherUpdate(context, partOut, context->buffer, 8);
  *partOutLen = status == 0 ? 8 : 0;
  CipherRestart(context);
  return status;
}

MC_EXPORT int R_OpenInit(R_ENVELOPE_CTX *context, int encryptionAlgorithm, unsigned char *encryptedKey,
                         unsigned int encryptedKeyLen, unsigned char iv[8], R_RSA_PRIVATE_KEY *privateKey) noexcept {
  const unsigned keyLen = KeyLen(encryptionAlgorithm);
  if (keyLen == 0) return RE_ENCRYPTION_ALGORITHM;
  if (encryptedKeyLen > MAX_ENCRYPTED_KEY_LEN) return RE_LEN;
  if (context == nullptr || encryptedKey == nullptr || iv == nullptr) return RE_DATA;
  unsigned char key[MAX_ENCRYPTED_KEY_LEN];
  unsigned int recoveredLen = 0;
  int status = 0;
  if (privateKey == nullptr || RSAPrivateDecrypt(key, &recoveredLen, encryptedKey, encryptedKeyLen, privateKey) != 0) {
    status = RE_PRIVATE_KEY;
  } else if (recoveredLen != keyLen) {
    status = RE_KEY;  // a key of another algorithm
  } else {
    CipherInit(context, encryptionAlgorithm, key, iv, 0);
  }
  std::memset(key, 0, sizeof key);
  return status;
}

// The last block is held back until Final, which strips the padding.
MC_EXPORT int R_OpenUpdate(R_ENVELOPE_CTX *context, unsigned char *partOut, unsigned int *partOutLen,
                           unsigned char *partIn, unsigned int partInLen) noexcept {
  if (!Usable(context) || partOutLen == nullptr || (partInLen != 0 && (partIn == nullptr || partOut == nullptr))) {
    return RE_DATA;
  }
  return Process(context, partOut, partOutLen, partIn, partInLen, true);
}

MC_EXPORT int R_OpenFinal(R_ENVELOPE_CTX *context, unsigned char *partOut, unsigned int *partOutLen) noexcept {
  if (!Usable(context) || partOut == nullptr || partOutLen == nullptr) return RE_DATA;
  *partOutLen = 0;
  int status = context->bufferLen == 8 ? 0 : RE_KEY;  // the content was not whole blocks
  unsigned char block[8];
  if (status == 0) status = CipherUpdate(context, block, context->buffer, 8);
  if (status == 0) {
    const unsigned padLen = block[7];
    bool good = padLen >= 1 && padLen <= 8;
    for (unsigned i = 8 - (good ? padLen : 0); good && i < 8; ++i) good = block[i] == padLen;
    if (!good) {
      status = RE_KEY;
    } else {
      *partOutLen = 8 - padLen;
      std::memcpy(partOut, block, *partOutLen);
    }
  }
  std::memset(block, 0, sizeof block);
  CipherRestart(context);
  return status;
}

}  // extern "C"
