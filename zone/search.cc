// Searches: a group by identifier and occurrence, a field of such a group,
// and the next group with its occurrence number.
#include "trace/trace.h"
#include "zone/coding.h"
#include "zone/navigation.h"
#include "zone/table.h"

namespace {

using mc::kCompZone;
using mc::zone::ControlerZone;
using mc::zone::Genre;

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usRechercherGroupeSuivant(uint16_t usNumZone, uint16_t usIdGroupe, uint16_t usOccurrence,
                                                uint32_t ulParcoursChamps) noexcept {
  // No zone check here: each advance makes it.
  MCT_ENTREE(kCompZone, "MC_usRechercherGroupeSuivant");
  uint16_t cr = MC_OK;
  // Occurrence k is the first group usIdGroupe after occurrence k - 1.  The
  // identifier found starts at 0, so identifier 0 is found without moving,
  // at every occurrence: no need to count them (a group 0 met by
  // MC_usLireGroupeSuivant asks for all 65535 in turn).
  const unsigned occurrences = usIdGroupe == 0 ? 0u : usOccurrence == 0 ? 1u : usOccurrence;
  for (unsigned k = 1; k <= occurrences && cr == MC_OK; ++k) {
    uint16_t trouve = 0;
    while (trouve != usIdGroupe) {
      cr = MC_usAvancerGroupeSuivant(usNumZone, 1, ulParcoursChamps, &trouve);
      if (cr == MC_ERR_NON_TROUVE && k >= 2) cr = MC_ERR_OCCURRENCE;
      if (cr != MC_OK) break;
    }
  }
  MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  return cr;
}

MC_EXPORT uint16_t MC_usRechercherGroupe(uint16_t usNumZone, uint16_t usIdGroupe, uint16_t usOccurrence,
                                         uint32_t ulParcoursChamps) noexcept {
  if (usOccurrence == 0) return MC_ERR_ARGUMENT;
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usRechercherGroupe");
  mc::zone::PositionnerDebut(*z);
  cr = MC_usRechercherGroupeSuivant(usNumZone, usIdGroupe, usOccurrence, ulParcoursChamps);
  MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  return cr;
}

MC_EXPORT uint16_t MC_usRechercherChamp(uint16_t usNumZone, uint16_t usIdGroupe, uint16_t usOccurrenceGroupe,
                                        uint16_t usNumeroChamp, uint32_t ulParcoursChamps,
                                        unsigned char **ppucDonnees, uint32_t *pulLongueur) noexcept {
  uint16_t cr;
  // Only the number itself: the search checks the kind of zone.
  if (ControlerZone(usNumZone, Genre::kQuelconque, &cr) == nullptr) return cr;
  if (usOccurrenceGroupe == 0 || usNumeroChamp == 0 || ppucDonnees == nullptr || pulLongueur == nullptr)
    return MC_ERR_ARGUMENT;
  MCT_ENTREE(kCompZone, "MC_usRechercherChamp: identifiant = %u, occurrenceGroupe = %u, numero = %u", usIdGroupe,
             usOccurrenceGroupe, usNumeroChamp);
  cr = MC_usRechercherGroupe(usNumZone, usIdGroupe, usOccurrenceGroupe, ulParcoursChamps);
  if (cr != MC_OK) {
    MCT_SORTIE(kCompZone, " cr = 0x%04X", cr);
    return cr;
  }
  uint16_t numero = 0;
  unsigned char *donnees = nullptr;
  uint32_t longueur = 0;
  cr = MC_usAvancerChampSuivant(usNumZone, usNumeroChamp, &numero, &donnees, &longueur);
  if (cr == MC_OK) {
    *ppucDonnees = donnees;
    *pulLongueur = longueur;
  }
  MCT_SORTIE(kCompZone, "cr = 0x%04X, donnees = 0x%p, longueur = %u", cr, static_cast<void *>(donnees), longueur);
  return cr;
}

MC_EXPORT uint16_t MC_usLireGroupeSuivant(uint16_t usNumZone, uint32_t ulParcoursChamps, uint16_t *pusIdGroupe,
                                          uint16_t *pusOccurrence) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  if (pusIdGroupe == nullptr || pusOccurrence == nullptr) return MC_ERR_ARGUMENT;
  MCT_ENTREE(kCompZone, "MC_usLireGroupeSuivant");
  const uint32_t finDonnees = mc::zone::FinDonnees(*z);
  const uint64_t suivant = mc::zone::FinGroupe(*z);
  if (suivant >= finDonnees) {
    MCT_ERREUR(kCompZone, " Fin des donnees atteinte.");
    MCT_SORTIE(kCompZone, " cr = 0x%04X", MC_ERR_NON_TROUVE);
    return MC_ERR_NON_TROUVE;
  }
  uint16_t id = 0;
  uint32_t longueur = 0, entete = 0;
  cr = mc::zone::DecoderEntete(z->Buffer, finDonnees, static_cast<uint32_t>(suivant), &id, &longueur, &entete);
  if (cr != MC_OK) {
    MCT_SORTIE(kCompZone, " cr = 0x%04X", cr);
    return cr;
  }
  // The occurrence is found by searching from the start once per earlier
  // group with that identifier, until the search lands on the next group.
  // Kept as it has always run: from the start position no search runs, the
  // cursor stays there and the occurrence is 0.
  mc::zone::PositionnerDebut(*z);
  uint16_t occurrence = 1;
  uint16_t recherche = MC_OK;
  while (suivant > z->OffsetGroupe && recherche == MC_OK) {
    recherche = MC_usRechercherGroupe(usNumZone, id, occurrence, ulParcoursChamps);
    ++occurrence;
  }
  *pusIdGroupe = id;
  *pusOccurrence = static_cast<uint16_t>(occurrence - 1);
  MCT_SORTIE(kCompZone, "cr = 0x%04X", MC_OK);
  return MC_OK;
}

}  // extern "C"
