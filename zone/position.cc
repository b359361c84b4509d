// Reading the cursor: end tests, counters, and a pointer into the current
// field.
#include "trace/trace.h"
#include "zone/navigation.h"
#include "zone/table.h"

namespace {

using mc::kCompZone;
using mc::zone::ControlerZone;
using mc::zone::Genre;

// The three end tests share their frame; they write no error traces.
template <typename Test>
uint16_t Fin(uint16_t numero, uint32_t *pbFin, const char *nom, Test test) {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(numero, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  if (pbFin == nullptr) return MC_ERR_ARGUMENT;
  MCT_ENTREE(kCompZone, "%s", nom);
  *pbFin = test(*z) ? 1u : 0u;
  MCT_SORTIE(kCompZone, "bFin = %u", *pbFin);
  return MC_OK;
}

template <typename Lecture>
uint16_t Compteur(uint16_t numero, uint16_t *pusCompteur, const char *nom, Lecture lecture) {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(numero, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  if (pusCompteur == nullptr) return MC_ERR_ARGUMENT;
  MCT_ENTREE(kCompZone, "%s", nom);
  *pusCompteur = lecture(*z);
  MCT_SORTIE(kCompZone, "compteur = %u", *pusCompteur);
  return MC_OK;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usFinDonnees(uint16_t usNumZone, uint32_t *pbFin) noexcept {
  return Fin(usNumZone, pbFin, "MC_usFinDonnees",
             [](const ZoneMemoire &z) { return mc::zone::FinChamp(z) >= mc::zone::FinDonnees(z); });
}

MC_EXPORT uint16_t MC_usFinZone(uint16_t usNumZone, uint32_t *pbFin) noexcept {
  return Fin(usNumZone, pbFin, "MC_usFinZone",
             [](const ZoneMemoire &z) { return mc::zone::FinGroupe(z) >= mc::zone::FinDonnees(z); });
}

MC_EXPORT uint16_t MC_usFinGroupe(uint16_t usNumZone, uint32_t *pbFin) noexcept {
  return Fin(usNumZone, pbFin, "MC_usFinGroupe",
             [](const ZoneMemoire &z) { return mc::zone::FinChamp(z) >= mc::zone::FinGroupe(z); });
}

MC_EXPORT uint16_t MC_usLireCompteurGroupe(uint16_t usNumZone, uint16_t *pusCompteur) noexcept {
  return Compteur(usNumZone, pusCompteur, "MC_usLireCompteurGroupe",
                  [](const ZoneMemoire &z) { return z.CompteurGroupe; });
}

MC_EXPORT uint16_t MC_usLireCompteurChamp(uint16_t usNumZone, uint16_t *pusCompteur) noexcept {
  return Compteur(usNumZone, pusCompteur, "MC_usLireCompteurChamp",
                  [](const ZoneMemoire &z) { return z.CompteurChamp; });
}

MC_EXPORT uint16_t MC_usExtraireChamp(uint16_t usNumZone, unsigned char **ppucDonnees, uint32_t ulPosition,
                                      uint32_t ulLongueur) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  if (ppucDonnees == nullptr) return MC_ERR_ARGUMENT;
  MCT_ENTREE(kCompZone, "MC_usExtraireChamp : donnees = 0x%p, pos = %u", static_cast<void *>(ppucDonnees),
             ulPosition);
  if (z->NumeroChamp == 0) {
    cr = MC_ERR_NON_TROUVE;
  } else if (ulPosition > z->LongueurChamp) {
    MCT_ERREUR(kCompZone, " position  > longueur du champ (%u).", z->LongueurChamp);
    cr = MC_ERR_HORS_CHAMP;
  } else if (uint64_t{ulPosition} + ulLongueur > z->LongueurChamp) {
    MCT_ERREUR(kCompZone, " position + Longueur > longueur du champ (%u).", z->LongueurChamp);
    cr = MC_ERR_HORS_CHAMP;
  } else if (!mc::zone::ChampLisible(*z)) {
    // A cursor left on a field that runs past the data: nothing to hand out.
    MCT_ERREUR(kCompZone, " Longueur du champ (%u) au-dela de la fin des donnees.", z->LongueurChamp);
    cr = MC_ERR_DONNEES;
  } else {
    *ppucDonnees = z->Buffer + z->OffsetChamp + z->TailleLongueurChamp + ulPosition;
  }
  MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  return cr;
}

}  // extern "C"
