/*
 * mc_rsa_keys.h -- the RSA key records, laid out as in the RSAREF 2.0
 * toolkit.  Shared by mc.h and by the toolkit's own <rsaref.h>, so that a
 * host may include both, in either order.
 */
#include <stdint.h>

#ifndef MC_RSA_KEY_RECORDS
#define MC_RSA_KEY_RECORDS
#define MAX_RSA_MODULUS_BITS 1024
#define MAX_RSA_MODULUS_LEN ((MAX_RSA_MODULUS_BITS + 7) / 8)
#define MAX_RSA_PRIME_BITS ((MAX_RSA_MODULUS_BITS + 1) / 2)
#define MAX_RSA_PRIME_LEN ((MAX_RSA_PRIME_BITS + 7) / 8)
/* Public key: big-endian numbers, right-aligned in their arrays (260 bytes). */
typedef struct {
  uint32_t bits;                                 /* length of the modulus in bits */
  unsigned char modulus[MAX_RSA_MODULUS_LEN];    /* modulus */
  unsigned char exponent[MAX_RSA_MODULUS_LEN];   /* public exponent */
} R_RSA_PUBLIC_KEY;
/* Private key with its CRT values (708 bytes). */
typedef struct {
  uint32_t bits;                                      /* length of the modulus in bits */
  unsigned char modulus[MAX_RSA_MODULUS_LEN];         /* modulus */
  unsigned char publicExponent[MAX_RSA_MODULUS_LEN];  /* public exponent */
  unsigned char exponent[MAX_RSA_MODULUS_LEN];        /* private exponent */
  unsigned char prime[2][MAX_RSA_PRIME_LEN];          /* prime factors p, q */
  unsigned char primeExponent[2][MAX_RSA_PRIME_LEN];  /* d mod (p-1), d mod (q-1) */
  unsigned char coefficient[MAX_RSA_PRIME_LEN];       /* q^-1 mod p */
} R_RSA_PRIVATE_KEY;
#endif /* MC_RSA_KEY_RECORDS */
