// The public key built into the library, with which every signed binary file
// is checked.  Its tables are generated at build time from the PEM public key
// given to CMake (MC_PUBLIC_KEY_PEM): an issuer of signed files builds the
// library with its own key.
#ifndef MC_BINFILE_PUBLIC_KEY_H
#define MC_BINFILE_PUBLIC_KEY_H

#include <cstdint>

#include "mc.h"

namespace mc {

// Entry i holds byte i of the big-endian number, one byte value per 16-bit
// entry (kept for compatibility with the historical form of the tables).
extern const uint16_t MODULUS[MAX_RSA_MODULUS_LEN];
extern const uint16_t EXPONENT[MAX_RSA_MODULUS_LEN];

// Fills a public key record from the tables: 1024 bits, the low byte of each
// entry.
void RemplirClePublique(R_RSA_PUBLIC_KEY *psCle) noexcept;

}  // namespace mc

#endif  // MC_BINFILE_PUBLIC_KEY_H
