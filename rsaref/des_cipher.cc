// DES, DESX and triple DES in CBC mode through libcrypto's DES calls, which
// need no provider and give the toolkit's bytes.
#define OPENSSL_SUPPRESS_DEPRECATED 1
#include <openssl/crypto.h>
#include <openssl/des.h>

#include <cstring>

#include "rsaref/backend.h"

namespace mc::rsaref {
namespace {

static_assert(sizeof(DES_key_schedule) == 32 * sizeof(uint32_t), "a schedule fills the context's 32 words");

// The context's words may not be aligned or typed as libcrypto wants: copy.
class Schedule {
 public:
  explicit Schedule(const uint32_t words[32]) { std::memcpy(&schedule_, words, sizeof schedule_); }
  ~Schedule() { OPENSSL_cleanse(&schedule_, sizeof schedule_); }
  Schedule(const Schedule &) = delete;
  Schedule &operator=(const Schedule &) = delete;
  DES_key_schedule *get() { return &schedule_; }

 private:
  DES_key_schedule schedule_;
};

}  // namespace

void DesSchedule(uint32_t subkeys[32], const unsigned char key[8]) noexcept {
  DES_cblock block;
  std::memcpy(block, key, 8);
  DES_key_schedule schedule;
  DES_set_key_unchecked(&block, &schedule);  // parity bits are ignored
  std::memcpy(subkeys, &schedule, sizeof schedule);
  OPENSSL_cleanse(&schedule, sizeof schedule);
  OPENSSL_cleanse(block, sizeof block);
}

void DesCbc(const uint32_t subkeys[32], unsigned char iv[8], unsigned char *out, const unsigned char *in,
            unsigned len, bool encrypt) noexcept {
  Schedule schedule(subkeys);
  DES_cblock chain;
  std::memcpy(chain, iv, 8);
  DES_ncbc_encrypt(in, out, static_cast<long>(len), schedule.get(), &chain, encrypt ? DES_ENCRYPT : DES_DECRYPT);
  std::memcpy(iv, chain, 8);
}

void DesxCbc(const uint32_t subkeys[32], const unsigned char inputWhitener[8],
             const unsigned char outputWhitener[8], unsigned char iv[8], unsigned char *out,
             const unsigned char *in, unsigned len, bool encrypt) noexcept {
  Schedule schedule(subkeys);
  DES_cblock chain, inW, outW;
  std::memcpy(chain, iv, 8);
  std::memcpy(inW, inputWhitener, 8);
  std::memcpy(outW, outputWhitener, 8);
  DES_xcbc_encrypt(in, out, static_cast<long>(len), schedule.get(), &chain, &inW, &outW,
                   encrypt ? DES_ENCRYPT : DES_DECRYPT);
  std::memcpy(iv, chain, 8);
  OPENSSL_cleanse(inW, sizeof inW);
  OPENSSL_cleanse(outW, sizeof outW);
}

void Des3Cbc(const uint32_t subkeys[3][32], unsigned char iv[8], unsigned char *out, const unsigned char *in,
             unsigned len, bool encrypt) noexcept {
  Schedule k1(subkeys[0]), k2(subkeys[1]), k3(subkeys[2]);
  DES_cblock chain;
  std::memcpy(chain, iv, 8);
  DES_ede3_cbc_encrypt(in, out, static_cast<long>(len), k1.get(), k2.get(), k3.get(), &chain,
                       encrypt ? DES_ENCRYPT : DES_DECRYPT);
  std::memcpy(iv, chain, 8);
}

}  // namespace mc::rsaref
