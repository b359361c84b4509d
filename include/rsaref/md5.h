/*
 * md5.h -- MD5 message digest (RFC 1321 interface).
 */
#ifndef RSAREF_MD5_H
#define RSAREF_MD5_H

#include "global.h"

#ifdef __cplusplus
extern "C" {
#endif

/* MD5 context (88 bytes). */
typedef struct {
  UINT4 state[4];           /* state (ABCD) */
  UINT4 count[2];           /* number of bits, modulo 2^64 (low word first) */
  unsigned char buffer[64]; /* input buffer */
} MD5_CTX;

/* Starts a digest. */
RSAREF_EXPORT void MD5Init(MD5_CTX *context) RSAREF_NOEXCEPT;
/* Feeds inputLen bytes. */
RSAREF_EXPORT void MD5Update(MD5_CTX *context, unsigned char *input, unsigned int inputLen) RSAREF_NOEXCEPT;
/* Writes the 16-byte digest and zeroes the context. */
RSAREF_EXPORT void MD5Final(unsigned char digest[16], MD5_CTX *context) RSAREF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* RSAREF_MD5_H */
