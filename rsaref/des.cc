// The toolkit's DES, DESX and triple-DES CBC contexts.  The chaining values
// are kept in the contexts as big-endian word pairs, as the toolkit always
// kept them; the ciphers themselves run in the backend.
#include "mc.h"
#include "rsaref/backend.h"
#include "rsaref/des.h"
#include "rsaref/rsaref.h"

namespace {

void ToWords(UINT4 words[2], const unsigned char bytes[8]) {
  for (int w = 0; w < 2; ++w) {
    words[w] = UINT4{bytes[4 * w]} << 24 | UINT4{bytes[4 * w + 1]} << 16 | UINT4{bytes[4 * w + 2]} << 8 |
               UINT4{bytes[4 * w + 3]};
  }
}

void ToBytes(unsigned char bytes[8], const UINT4 words[2]) {
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(words[i / 4] >> (24 - 8 * (i % 4)));
}

// Runs one CBC pass with the chaining value of the context.
template <typename Context, typename Cipher>
int Update(Context *context, unsigned char *output, unsigned char *input, unsigned int len, Cipher cipher) {
  if (len % 8 != 0) return RE_LEN;
  if (len == 0) return 0;
  if (context == nullptr || output == nullptr || input == nullptr) return RE_DATA;
  unsigned char iv[8];
  ToBytes(iv, context->iv);
  cipher(iv, output, input, len, context->encrypt != 0);
  ToWords(context->iv, iv);
  return 0;
}

}  // namespace

extern "C" {

MC_EXPORT void DES_CBCInit(DES_CBC_CTX *context, unsigned char *key, unsigned char *iv, int encrypt) noexcept {
  if (context == nullptr || key == nullptr || iv == nullptr) return;
  mc::rsaref::DesSchedule(context->subkeys, key);
  ToWords(context->iv, iv);
  ToWords(context->originalIV, iv);
  context->encrypt = encrypt;
}

MC_EXPORT int DES_CBCUpdate(DES_CBC_CTX *context, unsigned char *output, unsigned char *input,
                            unsigned int len) noexcept {
  return Update(context, output, input, len,
                [context](unsigned char *iv, unsigned char *out, const unsigned char *in, unsigned n, bool enc) {
                  mc::rsaref::DesCbc(context->subkeys, iv, out, in, n, enc);
                });
}

MC_EXPORT void DES_CBCRestart(DES_CBC_CTX *context) noexcept {
  if (context == nullptr) return;
  context->iv[0] = context->originalIV[0];
  context->iv[1] = context->originalIV[1];
}

MC_EXPORT void DESX_CBCInit(DESX_CBC_CTX *context, unsigned char *key, unsigned char *iv, int encrypt) noexcept {
  if (context == nullptr || key == nullptr || iv == nullptr) return;
  mc::rsaref::DesSchedule(context->subkeys, key);
  ToWords(context->inputWhitener, key + 8);
  ToWords(context->outputWhitener, key + 16);
  ToWords(context->iv, iv);
  ToWords(context->originalIV, iv);
  context->encrypt = encrypt;
}

MC_EXPORT int DESX_CBCUpdate(DESX_CBC_CTX *context, unsigned char *output, unsigned char *input,
                             unsigned int len) noexcept {
  return Update(context, output, input, len,
                [context](unsigned char *iv, unsigned char *out, const unsigned char *in, unsigned n, bool enc) {
                  unsigned char inW[8], outW[8];
                  ToBytes(inW, context->inputWhitener);
                  ToBytes(outW, context->outputWhitener);
                  mc::rsaref::DesxCbc(context->subkeys, inW, outW, iv, out, in, n, enc);
                  R_memset(inW, 0, sizeof inW);
                  R_memset(outW, 0, sizeof outW);
                });
}

MC_EXPORT void DESX_CBCRestart(DESX_CBC_CTX *context) noexcept {
  if (context == nullptr) return;
  context->iv[0] = context->originalIV[0];
  context->iv[1] = context->originalIV[1];
}

MC_EXPORT void DES3_CBCInit(DES3_CBC_CTX *context, unsigned char *key, unsigned char *iv, int encrypt) noexcept {
  if (context == nullptr || key == nullptr || iv == nullptr) return;
  for (int i = 0; i < 3; ++i) mc::rsaref::DesSchedule(context->subkeys[i], key + 8 * i);
  ToWords(context->iv, iv);
  ToWords(context->originalIV, iv);
  context->encrypt = encrypt;
}

MC_EXPORT int DES3_CBCUpdate(DES3_CBC_CTX *context, unsigned char *output, unsigned char *input,
                             unsigned int len) noexcept {
  return Update(context, output, input, len,
                [context](unsigned char *iv, unsigned char *out, const unsigned char *in, unsigned n, bool enc) {
                  mc::rsaref::Des3Cbc(context->subkeys, iv, out, in, n, enc);
                });
}

MC_EXPORT void DES3_CBCRestart(DES3_CBC_CTX *context) noexcept {
  if (context == nullptr) return;
  context->iv[0] = context->originalIV[0];
  context->iv[1] = context->originalIV[1];
}

}  // extern "C"
