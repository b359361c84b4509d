// libcrypto big numbers for the backend files: owning handles and numbers
// drawn from the toolkit's random stream.  Never included next to the
// toolkit's headers (see backend.h).
#ifndef MC_RSAREF_BIGNUM_H
#define MC_RSAREF_BIGNUM_H

#include <openssl/bn.h>

#include <memory>

#include "rsaref/backend.h"

namespace mc::rsaref {

struct BnFree {
  void operator()(BIGNUM *b) const { BN_clear_free(b); }
};
struct BnCtxFree {
  void operator()(BN_CTX *c) const { BN_CTX_free(c); }
};
using Bn = std::unique_ptr<BIGNUM, BnFree>;
using BnCtx = std::unique_ptr<BN_CTX, BnCtxFree>;

inline Bn NewBn() { return Bn(BN_new()); }

// Draws a bits-long number from the random stream, with its top `top` bits
// (1 or 2) and, when odd, its lowest bit set.  Returns 0, the random
// status, or -1 when libcrypto fails.
int DrawNumber(Bn &out, unsigned bits, unsigned top, bool odd, const Random &random);

// Writes a non-negative number big-endian on exactly len bytes; false when it does not fit.
inline bool ToBytes(const BIGNUM *bn, unsigned char *out, unsigned len) {
  return BN_bn2binpad(bn, out, static_cast<int>(len)) == static_cast<int>(len);
}

}  // namespace mc::rsaref

#endif  // MC_RSAREF_BIGNUM_H
