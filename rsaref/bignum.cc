// Numbers drawn from the toolkit's random stream for key and parameter
// generation.
#include "rsaref/bignum.h"

#include <openssl/crypto.h>

#include <vector>

namespace mc::rsaref {

int DrawNumber(Bn &out, unsigned bits, unsigned top, bool odd, const Random &random) {
  unsigned char bytes[2 * MAX_RSA_MODULUS_LEN];
  const unsigned len = (bits + 7) / 8;
  if (bits == 0 || len > sizeof bytes) return -1;
  const int status = random.Draw(bytes, len);
  if (status != 0) return status;
  out.reset(BN_bin2bn(bytes, static_cast<int>(len), nullptr));
  OPENSSL_cleanse(bytes, sizeof bytes);
  if (!out) return -1;
  // Trim to the length, then fix the top bits so that products keep their length.
  if (bits % 8 != 0 && !BN_mask_bits(out.get(), static_cast<int>(bits))) return -1;
  for (unsigned i = 1; i <= top && i <= bits; ++i) {
    if (!BN_set_bit(out.get(), static_cast<int>(bits - i))) return -1;
  }
  if (odd && !BN_set_bit(out.get(), 0)) return -1;
  return 0;
}

}  // namespace mc::rsaref
