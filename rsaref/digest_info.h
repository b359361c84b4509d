// DER DigestInfo of an MD2 or MD5 digest, the content of a signature block.
#ifndef MC_RSAREF_DIGEST_INFO_H
#define MC_RSAREF_DIGEST_INFO_H

#include <cstring>

#include "rsaref/rsaref.h"

namespace mc::rsaref {

constexpr unsigned kDigestInfoLen = 34;

// Writes the 34-byte DigestInfo of a 16-byte digest; false for an unknown algorithm.
inline bool MakeDigestInfo(unsigned char info[kDigestInfoLen], int digestAlgorithm, const unsigned char digest[16]) {
  static const unsigned char kPrefix[18] = {0x30, 0x20, 0x30, 0x0c, 0x06, 0x08, 0x2a, 0x86, 0x48,
                                            0x86, 0xf7, 0x0d, 0x02, 0x00, 0x05, 0x00, 0x04, 0x10};
  if (digestAlgorithm != DA_MD2 && digestAlgorithm != DA_MD5) return false;
  std::memcpy(info, kPrefix, sizeof kPrefix);
  info[13] = static_cast<unsigned char>(digestAlgorithm == DA_MD2 ? 2 : 5);  // last arc of the OID
  std::memcpy(info + sizeof kPrefix, digest, 16);
  return true;
}

}  // namespace mc::rsaref

#endif  // MC_RSAREF_DIGEST_INFO_H
