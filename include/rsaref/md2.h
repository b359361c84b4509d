/*
 * md2.h -- MD2 message digest (RFC 1319 interface).
 */
#ifndef RSAREF_MD2_H
#define RSAREF_MD2_H

#include "global.h"

#ifdef __cplusplus
extern "C" {
#endif

/* MD2 context (52 bytes). */
typedef struct {
  unsigned char state[16];    /* state */
  unsigned char checksum[16]; /* checksum */
  unsigned int count;         /* number of bytes in buffer, modulo 16 */
  unsigned char buffer[16];   /* input buffer */
} MD2_CTX;

/* Starts a digest. */
RSAREF_EXPORT void MD2Init(MD2_CTX *context) RSAREF_NOEXCEPT;
/* Feeds inputLen bytes. */
RSAREF_EXPORT void MD2Update(MD2_CTX *context, unsigned char *input, unsigned int inputLen) RSAREF_NOEXCEPT;
/* Writes the 16-byte digest and zeroes the context. */
RSAREF_EXPORT void MD2Final(unsigned char digest[16], MD2_CTX *context) RSAREF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* RSAREF_MD2_H */
