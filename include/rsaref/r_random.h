/*
 * r_random.h -- drawing bytes from a random structure.
 */
#ifndef RSAREF_R_RANDOM_H
#define RSAREF_R_RANDOM_H

#include "rsaref.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Writes blockLen pseudo-random bytes; RE_NEED_RANDOM while seed bytes are still needed. */
RSAREF_EXPORT int R_GenerateBytes(unsigned char *block, unsigned int blockLen,
                                  R_RANDOM_STRUCT *randomStruct) RSAREF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* RSAREF_R_RANDOM_H */
