// Internal side of the length and group-header coding: the size rule and the
// bounded decoders that every zone walk and check uses.
#ifndef MC_ZONE_CODING_H
#define MC_ZONE_CODING_H

#include <cstdint>

#include "mc.h"
#include "trace/trace.h"

namespace mc::zone {

// Bytes the coding of a length takes.  The limits are one below what the
// shorter form could carry (254, 65534, 16777214): kept for compatibility
// with data already exchanged.  Taking 64 bits lets the editors size results
// that would not fit 32 bits (always 5: they are refused by the room check).
constexpr uint32_t TailleLongueur(uint64_t longueur) noexcept {
  return longueur <= 0x7Fu       ? 1u
         : longueur <= 0xFEu     ? 2u
         : longueur <= 0xFFFEu   ? 3u
         : longueur <= 0xFFFFFEu ? 4u
                                 : 5u;
}

// The complete decoder, with its traces; see DecoderLongueur.
uint16_t DecoderLongueurTrace(const unsigned char *buffer, uint32_t taille, uint32_t offset,
                              uint32_t *longueur, uint32_t *nbOctets) noexcept;

// Reads a coded length at `offset` of a buffer whose first `taille` bytes may
// be read.  Lenient on purpose: 0x00..0x80 alone is the length itself (0x80 is
// 128), 0x81..0x84 announce 1..4 value bytes taken as they stand (non-minimal
// forms accepted), 0x85 and up are refused.  Never reads at or past `taille`:
// an offset there is 0xF810 with the "Buffer trop petit" message (count 0).
// On failure *nbOctets holds the announced count.  The common one-byte case
// with tracing off stays inline: it is the inner step of every walk.
inline uint16_t DecoderLongueur(const unsigned char *buffer, uint32_t taille, uint32_t offset,
                                uint32_t *longueur, uint32_t *nbOctets) noexcept {
  if (__builtin_expect(fichier == nullptr, 1) && offset < taille && buffer[offset] <= 0x80u) {
    *longueur = buffer[offset];
    *nbOctets = 1;
    return MC_OK;
  }
  return DecoderLongueurTrace(buffer, taille, offset, longueur, nbOctets);
}

// Reads a group header at `offset` (identifier, content length, header size
// = length coding + 2), never outside the first `taille` bytes.  Fewer than
// three bytes left is 0xF810 even when two would hold the identifier.
uint16_t DecoderEntete(const unsigned char *buffer, uint32_t taille, uint32_t offset, uint16_t *identifiant,
                       uint32_t *longueur, uint32_t *tailleEntete) noexcept;

// Writes a coded length / a group header at `offset`, with the traces of the
// exported coders; the caller has made room.  Return the bytes written.
uint32_t CoderLongueur(uint32_t longueur, uint32_t offset, unsigned char *buffer) noexcept;
uint32_t CoderEntete(uint16_t identifiant, uint32_t longueur, uint32_t offset, unsigned char *buffer) noexcept;

}  // namespace mc::zone

#endif  // MC_ZONE_CODING_H
