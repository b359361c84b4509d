/*
 * rsa.h -- RSA with PKCS #1 v1.5 padding.
 *
 * The modulus length k is (bits + 7) / 8 of the key record; outputs of the
 * encryptions are k bytes, inputs at most k - 11 bytes.
 */
#ifndef RSAREF_RSA_H
#define RSAREF_RSA_H

#include "rsaref.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Block type 2 with random padding, then the public operation; RE_LEN above k - 11 bytes. */
RSAREF_EXPORT int RSAPublicEncrypt(unsigned char *output, unsigned int *outputLen, unsigned char *input,
                                   unsigned int inputLen, R_RSA_PUBLIC_KEY *publicKey,
                                   R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;
/* Block type 1, then the private operation; RE_LEN above k - 11 bytes. */
RSAREF_EXPORT int RSAPrivateEncrypt(unsigned char *output, unsigned int *outputLen, unsigned char *input,
                                    unsigned int inputLen, R_RSA_PRIVATE_KEY *privateKey) RSAREF_NOEXCEPT;
/* Public operation, then strict block type 1 check; RE_LEN, RE_DATA. */
RSAREF_EXPORT int RSAPublicDecrypt(unsigned char *output, unsigned int *outputLen, unsigned char *input,
                                   unsigned int inputLen, R_RSA_PUBLIC_KEY *publicKey) RSAREF_NOEXCEPT;
/* Private operation, then block type 2 check; RE_LEN, RE_DATA. */
RSAREF_EXPORT int RSAPrivateDecrypt(unsigned char *output, unsigned int *outputLen, unsigned char *input,
                                    unsigned int inputLen, R_RSA_PRIVATE_KEY *privateKey) RSAREF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* RSAREF_RSA_H */
