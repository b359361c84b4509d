// Offset access to unstructured zones, and resizing of any zone.
#include <cstring>

#include "trace/trace.h"
#include "zone/table.h"

namespace {

using mc::kCompZone;
using mc::zone::ControlerZone;
using mc::zone::Genre;

// Kept for compatibility: reads and writes are bounded by the allocated
// size, not by the data length, so never-written bytes read as they are.
inline bool Depasse(const ZoneMemoire &z, uint32_t offset, uint32_t longueur) {
  return uint64_t{offset} + longueur > z.TailleBuffer;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usLireZoneMemoire(uint16_t usNumZone, uint32_t ulOffset, unsigned char **ppucDestination,
                                        uint32_t ulLongueur) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kNonStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usLireZoneMemoire");
  if (ppucDestination == nullptr || (ulLongueur != 0 && *ppucDestination == nullptr)) {
    cr = MC_ERR_ARGUMENT;
  } else if (Depasse(*z, ulOffset, ulLongueur)) {
    cr = MC_ERR_DEPASSEMENT;
  } else if (ulLongueur != 0) {
    std::memcpy(*ppucDestination, z->Buffer + ulOffset, ulLongueur);
  }
  if (cr == MC_OK)
    MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  else
    MCT_SORTIE(kCompZone, " cr = 0x%04X", cr);
  return cr;
}

MC_EXPORT uint16_t MC_usEcrireZoneMemoire(uint16_t usNumZone, uint32_t ulOffset, const unsigned char *pucSource,
                                          uint32_t ulLongueur) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kNonStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usEcrireZoneMemoire");
  if (pucSource == nullptr && ulLongueur != 0) {
    cr = MC_ERR_ARGUMENT;
  } else if (Depasse(*z, ulOffset, ulLongueur)) {
    cr = MC_ERR_DEPASSEMENT;
  } else {
    if (ulLongueur != 0) std::memcpy(z->Buffer + ulOffset, pucSource, ulLongueur);
    // Raised, never lowered: a gap left before the offset keeps its bytes.
    if (ulOffset + ulLongueur > z->TailleDonnees) z->TailleDonnees = ulOffset + ulLongueur;
  }
  if (cr == MC_OK)
    MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  else
    MCT_SORTIE(kCompZone, " cr = 0x%04X", cr);
  return cr;
}

MC_EXPORT uint16_t MC_usRedimensionner(uint16_t usNumZone, uint32_t ulNouvelleTaille) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kQuelconque, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usRedimensionner : taille = %u", ulNouvelleTaille);
  // Compared with the allocated size, though the message speaks of the data:
  // kept, so that a zone never shrinks.
  if (ulNouvelleTaille < z->TailleBuffer) {
    MCT_ERREUR(kCompZone, "Nouvelle taille (%u) inferieure a la taille des donnees (%u).", ulNouvelleTaille,
               z->TailleBuffer);
    MCT_SORTIE(kCompZone, "cr = 0x%04X", MC_ERR_ALLOCATION);
    return MC_ERR_ALLOCATION;
  }
  auto *nouveau = static_cast<unsigned char *>(MC_Allouer(ulNouvelleTaille));
  if (nouveau == nullptr) {
    MCT_SORTIE(kCompZone, "cr = 0x%04X", MC_ERR_ALLOCATION);
    return MC_ERR_ALLOCATION;
  }
  uint32_t donnees = 0;
  unsigned char *ancien = nullptr;
  MC_pucLireBuffer(usNumZone, &donnees, &ancien);
  // The data length of a zone made over a part-filled buffer is not trusted
  // beyond the old buffer's size.
  const uint32_t copie = mc::zone::FinDonnees(*z);
  if (copie != 0) std::memcpy(nouveau, ancien, copie);
  // Freed through the allocator even when a caller gave it to an
  // initialising function; the new block is taken back by the caller
  // (MC_pucLireBuffer, then MC_Liberer) like a created zone's.
  MC_Liberer(ancien);
  z->Buffer = nouveau;
  z->TailleBuffer = ulNouvelleTaille;
  MCT_SORTIE(kCompZone, "cr = 0x%04X", MC_OK);
  return MC_OK;
}

}  // extern "C"
