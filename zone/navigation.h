// Internal side of zone navigation: single cursor steps on a record that has
// passed the zone check.  The zone checks walk zones with these (or with the
// exported calls, which add the zone check and the entry and exit traces).
#ifndef MC_ZONE_NAVIGATION_H
#define MC_ZONE_NAVIGATION_H

#include <cstdint>

#include "mc.h"

namespace mc::zone {

// Puts the cursor at the start: every cursor member and both counters at 0.
void PositionnerDebut(ZoneMemoire &z) noexcept;

// Enters the next group (with the field walk first when `parcoursChamps`),
// as MC_usAvancerGroupeSuivant does for one group, error traces included:
// 0, 0xF805 (end of zone, nothing changed), 0xF810 (header unreadable,
// nothing changed; or group past the data end, cursor left on it).
uint16_t AvancerUnGroupe(ZoneMemoire &z, uint32_t parcoursChamps, uint16_t *identifiant) noexcept;

// Enters the next field of the current group, as MC_usAvancerChampSuivant
// does for one field: 0, 0xF805 (end of the group, nothing changed; or field
// past its group, cursor left on it), 0xF810 (length unreadable, nothing
// changed; or field past the data end, cursor left on it).  On success the
// field lies inside the buffer.  `longueur` gets the decoded length whenever
// the decoding succeeded.
uint16_t AvancerUnChamp(ZoneMemoire &z, uint16_t *numero, unsigned char **donnees, uint32_t *longueur) noexcept;

// True when the current field lies inside the data, so that its bytes may be
// read or written (a cursor left on a field or group that runs past the data
// end fails this).
bool ChampLisible(const ZoneMemoire &z) noexcept;

}  // namespace mc::zone

#endif  // MC_ZONE_NAVIGATION_H
