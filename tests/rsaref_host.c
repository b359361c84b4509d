/* A C host written against the cryptographic toolkit's own headers, included
   the way such hosts always did ("global.h" first), linked with libmc.so.
   rsaref_host_md5.c defines an MD5Init of its own, as other system
   libraries do: the library must keep using its own. */
#include <stdio.h>
#include <string.h>

#include "global.h"
#include "rsaref.h"
#include "des.h"

static int failures = 0;
#define CHECK(cond)                                                          \
  do {                                                                       \
    if (!(cond)) {                                                           \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                            \
    }                                                                        \
  } while (0)

extern int host_md5_init_calls;

int main(void) {
  static const unsigned char abc_md5[16] = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                                            0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
  unsigned char abc[3] = {'a', 'b', 'c'};
  unsigned char digest[MAX_DIGEST_LEN];
  unsigned int digestLen = 0;
  R_RANDOM_STRUCT randomStruct;
  unsigned char seed[256];
  R_RSA_PROTO_KEY protoKey;
  R_RSA_PUBLIC_KEY publicKey;
  R_RSA_PRIVATE_KEY privateKey;
  unsigned char signature[MAX_SIGNATURE_LEN];
  unsigned int signatureLen = 0;
  DES_CBC_CTX des;
  unsigned char key[8] = {1, 2, 3, 4, 5, 6, 7, 8}, iv[8] = {0};
  unsigned char data[16] = "sixteen bytes!!", sealed[16], opened[16];

  CHECK(R_DigestBlock(digest, &digestLen, abc, 3, DA_MD5) == 0);
  CHECK(digestLen == 16 && memcmp(digest, abc_md5, 16) == 0);
  CHECK(host_md5_init_calls == 0);

  CHECK(R_RandomInit(&randomStruct) == 0);
  R_memset(seed, 0x5a, sizeof seed);
  CHECK(R_RandomUpdate(&randomStruct, seed, sizeof seed) == 0);
  protoKey.bits = 512;
  protoKey.useFermat4 = 1;
  CHECK(R_GeneratePEMKeys(&publicKey, &privateKey, &protoKey, &randomStruct) == 0);
  CHECK(R_SignBlock(signature, &signatureLen, abc, 3, DA_MD5, &privateKey) == 0);
  CHECK(signatureLen == 64);
  CHECK(R_VerifyBlockSignature(abc, 3, signature, signatureLen, DA_MD5, &publicKey) == 0);
  abc[0] = 'x';
  CHECK(R_VerifyBlockSignature(abc, 3, signature, signatureLen, DA_MD5, &publicKey) == RE_SIGNATURE);
  R_RandomFinal(&randomStruct);

  DES_CBCInit(&des, key, iv, 1);
  CHECK(DES_CBCUpdate(&des, sealed, data, 16) == 0);
  DES_CBCInit(&des, key, iv, 0);
  CHECK(DES_CBCUpdate(&des, opened, sealed, 16) == 0);
  CHECK(R_memcmp(opened, data, 16) == 0);
  R_memset((POINTER)&des, 0, sizeof des);

  if (failures == 0) printf("toolkit host: all checks passed\n");
  return failures == 0 ? 0 : 1;
}
