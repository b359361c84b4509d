// The toolkit's digest contexts: MD2 or MD5 chosen at Init.
#include <cstring>

#include "mc.h"
#include "rsaref/rsaref.h"

extern "C" {

MC_EXPORT int R_DigestInit(R_DIGEST_CTX *context, int digestAlgorithm) noexcept {
  if (context == nullptr) return RE_DATA;
  switch (digestAlgorithm) {
    case DA_MD2: MD2Init(&context->context.md2); break;
    case DA_MD5: MD5Init(&context->context.md5); break;
    default: return RE_DIGEST_ALGORITHM;
  }
  context->digestAlgorithm = digestAlgorithm;
  return 0;
}

MC_EXPORT int R_DigestUpdate(R_DIGEST_CTX *context, unsigned char *partIn, unsigned int partInLen) noexcept {
  if (context == nullptr || (partIn == nullptr && partInLen != 0)) return RE_DATA;
  switch (context->digestAlgorithm) {
    case DA_MD2: MD2Update(&context->context.md2, partIn, partInLen); return 0;
    case DA_MD5: MD5Update(&context->context.md5, partIn, partInLen); return 0;
    default: return RE_DIGEST_ALGORITHM;
  }
}

// The context starts over with the same algorithm, ready for the next message.
MC_EXPORT int R_DigestFinal(R_DIGEST_CTX *context, unsigned char *digest, unsigned int *digestLen) noexcept {
  if (context == nullptr || digest == nullptr || digestLen == nullptr) return RE_DATA;
  switch (context->digestAlgorithm) {
    case DA_MD2: MD2Final(digest, &context->context.md2); break;
    case DA_MD5: MD5Final(digest, &context->context.md5); break;
    default: return RE_DIGEST_ALGORITHM;
  }
  *digestLen = 16;
  return R_DigestInit(context, context->digestAlgorithm);
}

MC_EXPORT int R_DigestBlock(unsigned char *digest, unsigned int *digestLen, unsigned char *block,
                            unsigned int blockLen, int digestAlgorithm) noexcept {
  R_DIGEST_CTX context;
  int status = R_DigestInit(&context, digestAlgorithm);
  if (status == 0) status = R_DigestUpdate(&context, block, blockLen);
  if (status == 0) status = R_DigestFinal(&context, digest, digestLen);
  std::memset(&context, 0, sizeof context);
  return status;
}

}  // extern "C"
