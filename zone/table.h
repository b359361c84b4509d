// Internal side of the zone table: the zone check every operation starts with,
// and the cursor's end positions.  The zone checks and any other part of the
// library reach a zone's record through these.
#ifndef MC_ZONE_TABLE_H
#define MC_ZONE_TABLE_H

#include <cstdint>

#include "mc.h"

namespace mc::zone {

// The kind of zone an operation needs.
enum class Genre { kQuelconque, kStructuree, kNonStructuree };

// The zone check: the record of zone `numero`, or null with *cr set to
// 0xF807 (number above 99 or free entry) or 0xF811 (wrong kind).  Made before
// any trace, so it stays cheap on the walking paths.
inline ZoneMemoire *ControlerZone(uint16_t numero, Genre genre, uint16_t *cr) noexcept {
  ZoneMemoire *z = numero < MC_NB_ZONES_MAX ? ZM[numero] : nullptr;
  if (__builtin_expect(z == nullptr, 0)) {
    *cr = MC_ERR_NUMERO;
    return nullptr;
  }
  if (genre != Genre::kQuelconque && (z->Structuree != 0) != (genre == Genre::kStructuree)) {
    *cr = MC_ERR_INTERDIT;
    return nullptr;
  }
  *cr = MC_OK;
  return z;
}

// The record of zone `numero`, or null; no kind check.
inline ZoneMemoire *Zone(uint16_t numero) noexcept {
  return numero < MC_NB_ZONES_MAX ? ZM[numero] : nullptr;
}

// End positions of the cursor, in 64 bits: lengths read from received data
// may add up past 32 bits, and must then compare as past the data end rather
// than wrap back into it.
inline uint64_t FinGroupe(const ZoneMemoire &z) noexcept {
  return uint64_t{z.OffsetGroupe} + z.TailleEnteteGroupe + z.LongueurGroupe;
}
inline uint64_t FinChamp(const ZoneMemoire &z) noexcept {
  return uint64_t{z.OffsetChamp} + z.TailleLongueurChamp + z.LongueurChamp;
}
// The data end as far as it may be read: a zone made over a buffer that is
// not full is trusted for its data length only up to the buffer's size.
inline uint32_t FinDonnees(const ZoneMemoire &z) noexcept {
  return z.TailleDonnees < z.TailleBuffer ? z.TailleDonnees : z.TailleBuffer;
}

// Lowest free zone number, or false when all are in use (no trace).
bool NumeroLibre(uint16_t *numero) noexcept;

}  // namespace mc::zone

#endif  // MC_ZONE_TABLE_H
