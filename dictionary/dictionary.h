// Internal side of the data dictionary: bounded look-ups over the three
// process-wide arrays, for the queries and the zone format check.  Every
// look-up checks its index against the loaded array (a null array counts as
// empty, whatever its count global says), so that indices taken from the
// tables file never lead outside the arrays.
#ifndef MC_DICTIONARY_DICTIONARY_H
#define MC_DICTIONARY_DICTIONARY_H

#include <cstdint>

#include "mc.h"

namespace mc::dico {

static_assert(sizeof(TGROUPE) == 6, "group record as in memory");
static_assert(sizeof(TCHAMP) == 20, "field record as in memory");

// Records of each array that may be read: 0 while the array is not loaded.
uint32_t NombreGroupes() noexcept;
uint32_t NombreChamps() noexcept;
uint32_t NombreValeurs() noexcept;

// The first group whose identifier is usIdGroupe, in table order; null when
// there is none.
const TGROUPE *TrouverGroupe(uint16_t usIdGroupe) noexcept;

// The field of rank usRang (from 0) of a group: index usIndPremierChamp +
// usRang, computed in 16 bits; null when that index lies outside the field
// array.  The rank is not checked against usNbChamps.
const TCHAMP *ChampDuGroupe(const TGROUPE &groupe, uint16_t usRang) noexcept;

// The allowed value of rank usRang (from 0) of a field: index
// usIndPremiereValeur + usRang, computed in 16 bits; null when that index lies
// outside the value array or its text was never read.  The rank is not
// checked against usNbValeurs.
const char *ValeurDuChamp(const TCHAMP &champ, uint16_t usRang) noexcept;

// Keeps a block of counted memory that the dictionary lets go of without
// freeing it (a replaced array, the value texts at a release, a result with
// nowhere to go).  Kept for compatibility: such blocks stay counted in
// ulMemAllouee; they are remembered here only so that they stay reachable.
void Abandonner(void *pvBloc) noexcept;

}  // namespace mc::dico

#endif  // MC_DICTIONARY_DICTIONARY_H
