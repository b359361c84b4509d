/*
 * rsaref.h -- the cryptographic toolkit interface: random numbers, digests,
 * signatures, envelopes, printable encoding, key generation and
 * Diffie-Hellman agreement.
 *
 * All state lives in the caller's records; the toolkit keeps nothing on the
 * heap between calls, so a caller wipes a context with R_memset and is done.
 * Functions returning int give 0 on success or one of the RE_ codes below.
 */
#ifndef RSAREF_RSAREF_H
#define RSAREF_RSAREF_H

#include "global.h"
#include "md2.h"
#include "md5.h"
#include "des.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Message-digest algorithms. */
#define DA_MD2 3
#define DA_MD5 5

/* Message-encryption algorithms. */
#define EA_DES_CBC 1
#define EA_DES_EDE2_CBC 2
#define EA_DES_EDE3_CBC 3
#define EA_DESX_CBC 4

/* RSA key lengths.  The key records are shared with mc.h. */
#define MIN_RSA_MODULUS_BITS 508
#include "../mc_rsa_keys.h"

/* Maximum lengths of encoded and encrypted content, as a function of the
   content length.  */
#define ENCODED_CONTENT_LEN(len) (4 * (len) / 3 + 3)
#define ENCRYPTED_CONTENT_LEN(len) ENCODED_CONTENT_LEN((len) + 8)
#define DECODED_CONTENT_LEN(len) (3 * (len) / 4 + 1)
#define DECRYPTED_CONTENT_LEN(len) (DECODED_CONTENT_LEN(len) - 1)

/* Maximum lengths of signatures, encrypted keys, encrypted signatures and
   digests. */
#define MAX_SIGNATURE_LEN MAX_RSA_MODULUS_LEN
#define MAX_PEM_SIGNATURE_LEN ENCODED_CONTENT_LEN(MAX_SIGNATURE_LEN)
#define MAX_ENCRYPTED_KEY_LEN MAX_RSA_MODULUS_LEN
#define MAX_PEM_ENCRYPTED_KEY_LEN ENCODED_CONTENT_LEN(MAX_ENCRYPTED_KEY_LEN)
#define MAX_PEM_ENCRYPTED_SIGNATURE_LEN ENCRYPTED_CONTENT_LEN(MAX_SIGNATURE_LEN)
#define MAX_DIGEST_LEN 16

/* Length in bytes of a Diffie-Hellman prime of the given bit length. */
#define DH_PRIME_LEN(bits) (((bits) + 7) / 8)

/* Error codes. */
#define RE_CONTENT_ENCODING 0x0400
#define RE_DATA 0x0401
#define RE_DIGEST_ALGORITHM 0x0402
#define RE_ENCODING 0x0403
#define RE_KEY 0x0404
#define RE_KEY_ENCODING 0x0405
#define RE_LEN 0x0406
#define RE_MODULUS_LEN 0x0407
#define RE_NEED_RANDOM 0x0408
#define RE_PRIVATE_KEY 0x0409
#define RE_PUBLIC_KEY 0x040a
#define RE_SIGNATURE 0x040b
#define RE_SIGNATURE_ENCODING 0x040c
#define RE_ENCRYPTION_ALGORITHM 0x040d

/* Random structure (40 bytes): a 128-bit state stirred with MD5. */
typedef struct {
  unsigned int bytesNeeded;     /* seed bytes still needed before output */
  unsigned char state[16];      /* big-endian 128-bit state */
  unsigned int outputAvailable; /* unused bytes left at the end of output */
  unsigned char output[16];     /* last output block */
} R_RANDOM_STRUCT;

/* RSA key-generation parameters. */
typedef struct {
  unsigned int bits; /* length of the modulus in bits */
  int useFermat4;    /* public exponent: non-zero 65537, zero 3 */
} R_RSA_PROTO_KEY;

/* Diffie-Hellman parameters: big-endian numbers in caller buffers. */
typedef struct {
  unsigned char *prime;
  unsigned int primeLen;
  unsigned char *generator;
  unsigned int generatorLen;
} R_DH_PARAMS;

/* Digest context (92 bytes). */
typedef struct {
  int digestAlgorithm;
  union {
    MD2_CTX md2;
    MD5_CTX md5;
  } context;
} R_DIGEST_CTX;

/* Signature context. */
typedef struct {
  R_DIGEST_CTX digestContext;
} R_SIGNATURE_CTX;

/* Envelope context (420 bytes). */
typedef struct {
  int encryptionAlgorithm;
  union {
    DES_CBC_CTX des;
    DES3_CBC_CTX des3;
    DESX_CBC_CTX desx;
  } cipherContext;
  unsigned char buffer[8]; /* pending input bytes */
  unsigned int bufferLen;
} R_ENVELOPE_CTX;

/* Random structures. */
/* Starts a random structure that needs 256 seed bytes; returns 0. */
RSAREF_EXPORT int R_RandomInit(R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;
/* Mixes len seed bytes into the structure; returns 0. */
RSAREF_EXPORT int R_RandomUpdate(R_RANDOM_STRUCT *randomStruct, unsigned char *block,
                                 unsigned int blockLen) RSAREF_NOEXCEPT;
/* Tells how many seed bytes are still needed; returns 0. */
RSAREF_EXPORT int R_GetRandomBytesNeeded(unsigned int *bytesNeeded,
                                         R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;
/* Zeroes the structure. */
RSAREF_EXPORT void R_RandomFinal(R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;

/* Digests. */
/* Starts a digest with DA_MD2 or DA_MD5; RE_DIGEST_ALGORITHM otherwise. */
RSAREF_EXPORT int R_DigestInit(R_DIGEST_CTX *context, int digestAlgorithm) RSAREF_NOEXCEPT;
/* Feeds partInLen bytes. */
RSAREF_EXPORT int R_DigestUpdate(R_DIGEST_CTX *context, unsigned char *partIn,
                                 unsigned int partInLen) RSAREF_NOEXCEPT;
/* Writes the 16-byte digest and its length; the context starts over. */
RSAREF_EXPORT int R_DigestFinal(R_DIGEST_CTX *context, unsigned char *digest,
                                unsigned int *digestLen) RSAREF_NOEXCEPT;
/* Digests one block. */
RSAREF_EXPORT int R_DigestBlock(unsigned char *digest, unsigned int *digestLen, unsigned char *block,
                                unsigned int blockLen, int digestAlgorithm) RSAREF_NOEXCEPT;

/* Signatures (PKCS #1 v1.5, block type 1, DER DigestInfo). */
/* Starts a signature with a digest algorithm. */
RSAREF_EXPORT int R_SignInit(R_SIGNATURE_CTX *context, int digestAlgorithm) RSAREF_NOEXCEPT;
/* Feeds partInLen bytes. */
RSAREF_EXPORT int R_SignUpdate(R_SIGNATURE_CTX *context, unsigned char *partIn,
                               unsigned int partInLen) RSAREF_NOEXCEPT;
/* Writes the signature (modulus length); RE_PRIVATE_KEY when the key fails. */
RSAREF_EXPORT int R_SignFinal(R_SIGNATURE_CTX *context, unsigned char *signature,
                              unsigned int *signatureLen, R_RSA_PRIVATE_KEY *privateKey) RSAREF_NOEXCEPT;
/* Starts a verification with a digest algorithm. */
RSAREF_EXPORT int R_VerifyInit(R_SIGNATURE_CTX *context, int digestAlgorithm) RSAREF_NOEXCEPT;
/* Feeds partInLen bytes. */
RSAREF_EXPORT int R_VerifyUpdate(R_SIGNATURE_CTX *context, unsigned char *partIn,
                                 unsigned int partInLen) RSAREF_NOEXCEPT;
/* 0 when the signature matches; RE_LEN, RE_PUBLIC_KEY or RE_SIGNATURE otherwise. */
RSAREF_EXPORT int R_VerifyFinal(R_SIGNATURE_CTX *context, unsigned char *signature,
                                unsigned int signatureLen, R_RSA_PUBLIC_KEY *publicKey) RSAREF_NOEXCEPT;
/* Signs one block. */
RSAREF_EXPORT int R_SignBlock(unsigned char *signature, unsigned int *signatureLen, unsigned char *block,
                              unsigned int blockLen, int digestAlgorithm,
                              R_RSA_PRIVATE_KEY *privateKey) RSAREF_NOEXCEPT;
/* Verifies the signature of one block. */
RSAREF_EXPORT int R_VerifyBlockSignature(unsigned char *block, unsigned int blockLen,
                                         unsigned char *signature, unsigned int signatureLen,
                                         int digestAlgorithm, R_RSA_PUBLIC_KEY *publicKey) RSAREF_NOEXCEPT;
/* Signs content and gives the signature in printable form; the content too when recode. */
RSAREF_EXPORT int R_SignPEMBlock(unsigned char *encodedContent, unsigned int *encodedContentLen,
                                 unsigned char *encodedSignature, unsigned int *encodedSignatureLen,
                                 unsigned char *content, unsigned int contentLen, int recode,
                                 int digestAlgorithm, R_RSA_PRIVATE_KEY *privateKey) RSAREF_NOEXCEPT;
/* Verifies a printable signature; decodes the content first when recode. */
RSAREF_EXPORT int R_VerifyPEMSignature(unsigned char *content, unsigned int *contentLen,
                                       unsigned char *encodedContent, unsigned int encodedContentLen,
                                       unsigned char *encodedSignature, unsigned int encodedSignatureLen,
                                       int recode, int digestAlgorithm,
                                       R_RSA_PUBLIC_KEY *publicKey) RSAREF_NOEXCEPT;

/* Envelopes. */
/* Draws a content key and IV, encrypts the key for each public key, starts encryption. */
RSAREF_EXPORT int R_SealInit(R_ENVELOPE_CTX *context, unsigned char **encryptedKeys,
                             unsigned int *encryptedKeyLens, unsigned char iv[8],
                             unsigned int publicKeyCount, R_RSA_PUBLIC_KEY **publicKeys,
                             int encryptionAlgorithm, R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;
/* Encrypts; writes a multiple of 8 bytes (at most partInLen + 7). */
RSAREF_EXPORT int R_SealUpdate(R_ENVELOPE_CTX *context, unsigned char *partOut, unsigned int *partOutLen,
                               unsigned char *partIn, unsigned int partInLen) RSAREF_NOEXCEPT;
/* Pads and writes the last 8 bytes; the context restarts at the original IV. */
RSAREF_EXPORT int R_SealFinal(R_ENVELOPE_CTX *context, unsigned char *partOut,
                              unsigned int *partOutLen) RSAREF_NOEXCEPT;
/* Recovers the content key with the private key and starts decryption. */
RSAREF_EXPORT int R_OpenInit(R_ENVELOPE_CTX *context, int encryptionAlgorithm, unsigned char *encryptedKey,
                             unsigned int encryptedKeyLen, unsigned char iv[8],
                             R_RSA_PRIVATE_KEY *privateKey) RSAREF_NOEXCEPT;
/* Decrypts; writes a multiple of 8 bytes (at most partInLen + 7), holding back the last block. */
RSAREF_EXPORT int R_OpenUpdate(R_ENVELOPE_CTX *context, unsigned char *partOut, unsigned int *partOutLen,
                               unsigned char *partIn, unsigned int partInLen) RSAREF_NOEXCEPT;
/* Writes the last 0 to 7 bytes; RE_KEY when the padding is wrong. */
RSAREF_EXPORT int R_OpenFinal(R_ENVELOPE_CTX *context, unsigned char *partOut,
                              unsigned int *partOutLen) RSAREF_NOEXCEPT;
/* Signs, then DES-CBC-seals content and signature; all outputs printable. */
RSAREF_EXPORT int R_SealPEMBlock(unsigned char *encryptedContent, unsigned int *encryptedContentLen,
                                 unsigned char *encryptedKey, unsigned int *encryptedKeyLen,
                                 unsigned char *encryptedSignature, unsigned int *encryptedSignatureLen,
                                 unsigned char iv[8], unsigned char *content, unsigned int contentLen,
                                 int digestAlgorithm, R_RSA_PUBLIC_KEY *publicKey,
                                 R_RSA_PRIVATE_KEY *privateKey, R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;
/* Opens what R_SealPEMBlock made and verifies the signature. */
RSAREF_EXPORT int R_OpenPEMBlock(unsigned char *content, unsigned int *contentLen,
                                 unsigned char *encryptedContent, unsigned int encryptedContentLen,
                                 unsigned char *encryptedKey, unsigned int encryptedKeyLen,
                                 unsigned char *encryptedSignature, unsigned int encryptedSignatureLen,
                                 unsigned char iv[8], int digestAlgorithm, R_RSA_PRIVATE_KEY *privateKey,
                                 R_RSA_PUBLIC_KEY *publicKey) RSAREF_NOEXCEPT;

/* Printable encoding (base64, no line breaks, no terminating NUL). */
/* Encodes blockLen bytes; writes ENCODED_CONTENT_LEN(blockLen) bytes at most. */
RSAREF_EXPORT int R_EncodePEMBlock(unsigned char *encodedBlock, unsigned int *encodedBlockLen,
                                   unsigned char *block, unsigned int blockLen) RSAREF_NOEXCEPT;
/* Decodes; RE_ENCODING when the text is not valid base64. */
RSAREF_EXPORT int R_DecodePEMBlock(unsigned char *block, unsigned int *blockLen,
                                   unsigned char *encodedBlock, unsigned int encodedBlockLen) RSAREF_NOEXCEPT;

/* Keys and Diffie-Hellman agreement. */
/* Generates an RSA key pair; RE_MODULUS_LEN outside 508..1024 bits. */
RSAREF_EXPORT int R_GeneratePEMKeys(R_RSA_PUBLIC_KEY *publicKey, R_RSA_PRIVATE_KEY *privateKey,
                                    R_RSA_PROTO_KEY *protoKey, R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;
/* Generates a prime, a subprime and a generator into the caller's buffers. */
RSAREF_EXPORT int R_GenerateDHParams(R_DH_PARAMS *params, unsigned int primeBits, unsigned int subPrimeBits,
                                     R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;
/* Draws a private value and computes the public value (prime length). */
RSAREF_EXPORT int R_SetupDHAgreement(unsigned char *publicValue, unsigned char *privateValue,
                                     unsigned int privateValueLen, R_DH_PARAMS *params,
                                     R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;
/* Computes the agreed key (prime length); RE_DATA when the other value is not below the prime. */
RSAREF_EXPORT int R_ComputeDHAgreedKey(unsigned char *agreedKey, unsigned char *otherPublicValue,
                                       unsigned char *privateValue, unsigned int privateValueLen,
                                       R_DH_PARAMS *params) RSAREF_NOEXCEPT;

/* Memory. */
/* Sets len bytes to value. */
RSAREF_EXPORT void R_memset(POINTER output, int value, unsigned int len) RSAREF_NOEXCEPT;
/* Copies len bytes. */
RSAREF_EXPORT void R_memcpy(POINTER output, POINTER input, unsigned int len) RSAREF_NOEXCEPT;
/* Compares len bytes; the difference of the first bytes that differ, or 0. */
RSAREF_EXPORT int R_memcmp(POINTER firstBlock, POINTER secondBlock, unsigned int len) RSAREF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* RSAREF_RSAREF_H */
