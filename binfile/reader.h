// Internal helpers of the reader, shared by its files and open to the tools
// built on it.
#ifndef MC_BINFILE_READER_H
#define MC_BINFILE_READER_H

#include <cstdint>

#include "mc.h"

namespace mc {

// The "usCr" of the short-read trace lines: 0xF640 in decimal.
inline constexpr int kCodeFinFichier = 63040;

// Reads ulALire bytes into pv; unless exactly ulAnnonce were read, traces the
// fixed-field read's "Fin de fichier" line (bytes read, ulAnnonce) and
// returns 0xF640.  ulALire may be less than ulAnnonce when the caller knows
// the file cannot hold more.
uint16_t LireChamp(Fichier *psFichier, void *pv, uint32_t ulALire, uint32_t ulAnnonce) noexcept;

// Moves forward by ulOctets, refusing (0xF640, position unchanged) to go past
// ulLongueur, the length of the file.
uint16_t Avancer(Fichier *psFichier, uint64_t ulOctets, uint32_t ulLongueur) noexcept;

// The four characters of the CRC field, position unchanged; 0 or 0xF610.
uint16_t LireChampCRC(Fichier *psFichier, char acChamp[4]) noexcept;

// The CRC field's value, digit1 x 4096 + ... + digit4 kept to 16 bits; false
// when a character is not a hexadecimal digit (such a field matches nothing).
bool ValeurChampCRC(const char acChamp[4], uint16_t *pusValeur) noexcept;

}  // namespace mc

#endif  // MC_BINFILE_READER_H
