// Editing a structured zone in place: adding a group, adding a field, and
// overwriting or lengthening the current field, keeping the coding whole.
#include <algorithm>
#include <cstring>

#include "trace/trace.h"
#include "zone/coding.h"
#include "zone/navigation.h"
#include "zone/table.h"

namespace {

using mc::kCompZone;
using mc::zone::CoderEntete;
using mc::zone::CoderLongueur;
using mc::zone::ControlerZone;
using mc::zone::Genre;
using mc::zone::TailleLongueur;

// Overlapping-safe move of n bytes at offset a of the buffer up by k.
inline void Deplacer(unsigned char *buffer, uint64_t a, uint64_t n, uint64_t k) {
  if (n != 0) std::memmove(buffer + a + k, buffer + a, n);
}

inline uint16_t Refuser(uint16_t cr) {
  MCT_SORTIE(kCompZone, " cr = 0x%04X", cr);
  return cr;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usAjouterGroupe(uint16_t usNumZone, uint16_t usIdGroupe) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usAjouterGroupe : identifiant = %u", usIdGroupe);
  const uint64_t d = z->TailleDonnees;
  if (d + 3 > z->TailleBuffer) return Refuser(MC_ERR_DEPASSEMENT);
  const uint64_t p = mc::zone::FinGroupe(*z);
  // A cursor left on a group that runs past the data has no place to insert.
  if (p > d) return Refuser(MC_ERR_DONNEES);
  const auto pos = static_cast<uint32_t>(p);
  if (p < d) Deplacer(z->Buffer, p, d - p, 3);
  z->OffsetGroupe = pos;
  z->IdGroupe = usIdGroupe;
  z->LongueurGroupe = 0;
  z->TailleEnteteGroupe = CoderEntete(usIdGroupe, 0, pos, z->Buffer);
  ++z->CompteurGroupe;
  z->NumeroChamp = 0;
  z->OffsetChamp = pos + 3;
  z->LongueurChamp = 0;
  z->TailleLongueurChamp = 0;
  z->TailleDonnees += 3;
  MCT_SORTIE(kCompZone, "cr = 0x%04X, tailleDonnees = %u", MC_OK, z->TailleDonnees);
  return MC_OK;
}

MC_EXPORT uint16_t MC_usAjouterChamp(uint16_t usNumZone, const unsigned char *pucDonnees,
                                     uint32_t ulLongueur) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usAjouterChamp : donnees = 0x%p, longueur = %u", static_cast<const void *>(pucDonnees),
             ulLongueur);
  if (pucDonnees == nullptr && ulLongueur != 0) return Refuser(MC_ERR_ARGUMENT);
  if (z->IdGroupe == 0) return Refuser(MC_ERR_NON_TROUVE);
  const uint64_t s = uint64_t{ulLongueur} + TailleLongueur(ulLongueur);
  const uint64_t gl = uint64_t{z->LongueurGroupe} + s;
  const uint64_t dg = TailleLongueur(gl) - TailleLongueur(z->LongueurGroupe);
  const uint64_t d = z->TailleDonnees;
  if (d + s + dg > z->TailleBuffer) return Refuser(MC_ERR_DEPASSEMENT);
  const uint64_t p = mc::zone::FinChamp(*z);
  // A cursor left past the data, or a group length beyond 32 bits, comes
  // from inconsistent received data: nothing sensible to insert into.
  if (p > d || gl > UINT32_MAX) return Refuser(MC_ERR_DONNEES);
  const uint32_t g = z->OffsetGroupe;
  const uint32_t gh = z->TailleEnteteGroupe;
  z->OffsetChamp = static_cast<uint32_t>(p);
  if (p < d) Deplacer(z->Buffer, p, d - p, s + dg);
  if (dg != 0) {
    // The group's length needs more bytes: its fields before the insertion
    // point move up behind the longer header.
    Deplacer(z->Buffer, uint64_t{g} + gh, p - g - gh, dg);
    z->TailleEnteteGroupe += static_cast<uint32_t>(dg);
    z->OffsetChamp += static_cast<uint32_t>(dg);
  }
  z->LongueurGroupe = static_cast<uint32_t>(gl);
  CoderLongueur(z->LongueurGroupe, g + 2, z->Buffer);
  ++z->CompteurChamp;
  ++z->NumeroChamp;
  z->LongueurChamp = ulLongueur;
  z->TailleLongueurChamp = CoderLongueur(ulLongueur, z->OffsetChamp, z->Buffer);
  if (ulLongueur != 0)
    std::memcpy(z->Buffer + z->OffsetChamp + z->TailleLongueurChamp, pucDonnees, ulLongueur);
  z->TailleDonnees += static_cast<uint32_t>(s + dg);
  MCT_SORTIE(kCompZone, "cr = 0x%04X, tailleDonnees = %u", MC_OK, z->TailleDonnees);
  return MC_OK;
}

MC_EXPORT uint16_t MC_usModifierChamp(uint16_t usNumZone, const unsigned char *pucDonnees, uint32_t ulPosition,
                                      uint32_t ulLongueur, uint32_t ulAgrandissement) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usModifierChamp : donnees = 0x%p, longueur = %u", static_cast<const void *>(pucDonnees),
             ulLongueur);
  if (pucDonnees == nullptr && ulLongueur != 0) return Refuser(MC_ERR_ARGUMENT);
  if (z->NumeroChamp == 0) return Refuser(MC_ERR_NON_TROUVE);
  const uint64_t l = z->LongueurChamp;
  if (ulPosition > l) {
    MCT_ERREUR(kCompZone, " position > longueur du champ (%u).", z->LongueurChamp);
    return Refuser(MC_ERR_HORS_CHAMP);
  }
  // A cursor left on a field that runs past the data (received data) is not
  // written to.
  if (!mc::zone::ChampLisible(*z)) return Refuser(MC_ERR_DONNEES);
  const uint64_t n = uint64_t{ulPosition} + ulLongueur;
  if (n <= l) {
    // Never shrinks: the bytes after the written ones are kept.
    if (ulLongueur != 0)
      std::memcpy(z->Buffer + z->OffsetChamp + z->TailleLongueurChamp + ulPosition, pucDonnees, ulLongueur);
    MCT_SORTIE(kCompZone, "cr = 0x%04X", MC_OK);
    return MC_OK;
  }
  if (ulAgrandissement == 0) {
    MCT_ERREUR(kCompZone, "Agrandissement non autorise Position + Longueur > ZM[Zone]->LongueurChamp (%u).",
               z->LongueurChamp);
    return Refuser(MC_ERR_HORS_CHAMP);
  }
  const uint64_t f = z->OffsetChamp, h = z->TailleLongueurChamp;
  const uint64_t g = z->OffsetGroupe, gh = z->TailleEnteteGroupe;
  const uint64_t d = z->TailleDonnees;
  const uint64_t dh = TailleLongueur(n) - TailleLongueur(l);
  const uint64_t df = (n + TailleLongueur(n)) - (l + TailleLongueur(l));
  const uint64_t gl = uint64_t{z->LongueurGroupe} + df;
  const uint64_t dg = TailleLongueur(gl) - TailleLongueur(z->LongueurGroupe);
  // Beside the room for the result, every write below must stay in the
  // buffer: the header move reaches past the field's new end when its coded
  // length grows by more than the old field's size (an empty last field
  // lengthened to 255 bytes or more), and a field coded shorter than usual
  // (0x80 for 128) is rewritten one byte longer.
  const uint64_t finMax = std::max({dg + d + df, dg != 0 ? f + dh + df + dg : 0, f + dg + TailleLongueur(n) + n});
  if (finMax > z->TailleBuffer || gl > UINT32_MAX) return Refuser(MC_ERR_DEPASSEMENT);
  // The byte counts of the two moves are kept exactly as they have always
  // been: when the coded length grows (dh > 0) nothing shifts the old data
  // by dh, so the new length covers the old data's first dh bytes, and the
  // header move may overwrite bytes that follow the field.
  if (d > f) Deplacer(z->Buffer, f + h + l, d - f - h - l, (f + dg + h + dh + n) - (f + h + l));
  if (dg != 0) {
    Deplacer(z->Buffer, g + gh, f - g - gh + dh + df, dg);
    z->TailleEnteteGroupe += static_cast<uint32_t>(dg);
    z->OffsetChamp += static_cast<uint32_t>(dg);
  }
  z->LongueurGroupe = static_cast<uint32_t>(gl);
  CoderLongueur(z->LongueurGroupe, static_cast<uint32_t>(g + 2), z->Buffer);
  z->LongueurChamp = static_cast<uint32_t>(n);
  z->TailleLongueurChamp = CoderLongueur(z->LongueurChamp, z->OffsetChamp, z->Buffer);
  if (ulLongueur != 0)
    std::memcpy(z->Buffer + z->OffsetChamp + z->TailleLongueurChamp + ulPosition, pucDonnees, ulLongueur);
  z->TailleDonnees += static_cast<uint32_t>(df + dg);
  MCT_SORTIE(kCompZone, "cr = 0x%04X", MC_OK);
  return MC_OK;
}

}  // extern "C"
