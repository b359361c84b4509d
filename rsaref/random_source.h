// The caller's random structure as the backend's source of random bytes.
#ifndef MC_RSAREF_RANDOM_SOURCE_H
#define MC_RSAREF_RANDOM_SOURCE_H

#include "rsaref/backend.h"
#include "rsaref/r_random.h"

namespace mc::rsaref {

inline Random FromRandomStruct(R_RANDOM_STRUCT *randomStruct) {
  return Random{[](void *source, unsigned char *out, unsigned len) noexcept {
                  return R_GenerateBytes(out, len, static_cast<R_RANDOM_STRUCT *>(source));
                },
                randomStruct};
}

}  // namespace mc::rsaref

#endif  // MC_RSAREF_RANDOM_SOURCE_H
