/*
 * des.h -- DES, DESX and triple-DES in CBC mode.
 *
 * The contexts hold the whole cipher state; the key schedules are opaque.
 * The IVs are kept as two big-endian 32-bit words.
 */
#ifndef RSAREF_DES_H
#define RSAREF_DES_H

#include "global.h"

#ifdef __cplusplus
extern "C" {
#endif

/* DES-CBC context (148 bytes). */
typedef struct {
  UINT4 subkeys[32];   /* key schedule */
  UINT4 iv[2];         /* current chaining value */
  UINT4 originalIV[2]; /* chaining value given to Init, for Restart */
  int encrypt;         /* non-zero: encrypt, zero: decrypt */
} DES_CBC_CTX;

/* DESX-CBC context (164 bytes). */
typedef struct {
  UINT4 subkeys[32];
  UINT4 iv[2];
  UINT4 inputWhitener[2];
  UINT4 outputWhitener[2];
  UINT4 originalIV[2];
  int encrypt;
} DESX_CBC_CTX;

/* Triple-DES (encrypt-decrypt-encrypt) CBC context (404 bytes). */
typedef struct {
  UINT4 subkeys[3][32];
  UINT4 iv[2];
  UINT4 originalIV[2];
  int encrypt;
} DES3_CBC_CTX;

/* Sets up DES-CBC with an 8-byte key (parity ignored) and an 8-byte IV. */
RSAREF_EXPORT void DES_CBCInit(DES_CBC_CTX *context, unsigned char *key, unsigned char *iv,
                               int encrypt) RSAREF_NOEXCEPT;
/* Processes len bytes; returns RE_LEN unless len is a multiple of 8, else 0. */
RSAREF_EXPORT int DES_CBCUpdate(DES_CBC_CTX *context, unsigned char *output, unsigned char *input,
                                unsigned int len) RSAREF_NOEXCEPT;
/* Goes back to the IV given to Init. */
RSAREF_EXPORT void DES_CBCRestart(DES_CBC_CTX *context) RSAREF_NOEXCEPT;

/* Sets up DESX-CBC with a 24-byte key: DES key, input whitener, output whitener. */
RSAREF_EXPORT void DESX_CBCInit(DESX_CBC_CTX *context, unsigned char *key, unsigned char *iv,
                                int encrypt) RSAREF_NOEXCEPT;
/* Processes len bytes; returns RE_LEN unless len is a multiple of 8, else 0. */
RSAREF_EXPORT int DESX_CBCUpdate(DESX_CBC_CTX *context, unsigned char *output, unsigned char *input,
                                 unsigned int len) RSAREF_NOEXCEPT;
/* Goes back to the IV given to Init. */
RSAREF_EXPORT void DESX_CBCRestart(DESX_CBC_CTX *context) RSAREF_NOEXCEPT;

/* Sets up triple-DES-CBC with a 24-byte key K1, K2, K3. */
RSAREF_EXPORT void DES3_CBCInit(DES3_CBC_CTX *context, unsigned char *key, unsigned char *iv,
                                int encrypt) RSAREF_NOEXCEPT;
/* Processes len bytes; returns RE_LEN unless len is a multiple of 8, else 0. */
RSAREF_EXPORT int DES3_CBCUpdate(DES3_CBC_CTX *context, unsigned char *output, unsigned char *input,
                                 unsigned int len) RSAREF_NOEXCEPT;
/* Goes back to the IV given to Init. */
RSAREF_EXPORT void DES3_CBCRestart(DES3_CBC_CTX *context) RSAREF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* RSAREF_DES_H */
