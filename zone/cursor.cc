// Cursor moves: to the start, group by group, field by field, to the end.
#include <algorithm>
#include <cstring>

#include "trace/trace.h"
#include "zone/coding.h"
#include "zone/navigation.h"
#include "zone/table.h"

namespace mc::zone {

void PositionnerDebut(ZoneMemoire &z) noexcept {
  z.OffsetChamp = z.OffsetGroupe = 0;
  z.TailleLongueurChamp = z.LongueurChamp = z.LongueurGroupe = z.TailleEnteteGroupe = 0;
  z.IdGroupe = z.NumeroChamp = z.CompteurGroupe = z.CompteurChamp = 0;
}

bool ChampLisible(const ZoneMemoire &z) noexcept { return FinChamp(z) <= FinDonnees(z); }

uint16_t AvancerUnChamp(ZoneMemoire &z, uint16_t *numero, unsigned char **donnees, uint32_t *longueur) noexcept {
  const uint64_t finChamp = FinChamp(z);
  if (finChamp >= FinGroupe(z)) {
    MCT_ERREUR(kCompZone, " Fin du groupe atteinte.");
    return MC_ERR_NON_TROUVE;
  }
  // The group end bounds the walk, the data end bounds the reading: a group
  // that ran past the data may hold a field offset at or past its end, where
  // the decoder reports the buffer too small instead of reading.
  const uint32_t finDonnees = FinDonnees(z);
  const uint32_t offset = finChamp < finDonnees ? static_cast<uint32_t>(finChamp) : finDonnees;
  uint32_t lg = 0, nb = 0;
  const uint16_t cr = DecoderLongueur(z.Buffer, finDonnees, offset, &lg, &nb);
  if (cr != MC_OK) return cr;
  *longueur = lg;
  z.OffsetChamp = offset;
  ++z.NumeroChamp;
  ++z.CompteurChamp;
  z.LongueurChamp = lg;
  z.TailleLongueurChamp = nb;
  if (FinChamp(z) > FinGroupe(z)) {
    MCT_ERREUR(kCompZone, " Fin du groupe atteinte.");
    return MC_ERR_NON_TROUVE;
  }
  if (FinChamp(z) > finDonnees) {
    MCT_ERREUR(kCompZone, " Longueur du champ (%u) au-dela de la fin des donnees.", lg);
    return MC_ERR_DONNEES;
  }
  *numero = z.NumeroChamp;
  *donnees = z.Buffer + z.OffsetChamp + z.TailleLongueurChamp;
  MCT_INFO(kCompZone, "offsetChamp  = %u, longueurChamp  = %u, tailleLongueurChamp = %u", z.OffsetChamp,
           z.LongueurChamp, z.TailleLongueurChamp);
  return MC_OK;
}

uint16_t AvancerUnGroupe(ZoneMemoire &z, uint32_t parcoursChamps, uint16_t *identifiant) noexcept {
  const uint32_t finDonnees = FinDonnees(z);
  const uint64_t finGroupe = FinGroupe(z);
  if (finGroupe >= finDonnees) {
    MCT_ERREUR(kCompZone, " Fin de la zone atteinte.");
    return MC_ERR_NON_TROUVE;
  }
  if (parcoursChamps != 0) {
    // Only to count the fields; its errors are ignored.
    uint16_t numero;
    unsigned char *donnees;
    uint32_t longueur;
    while (FinChamp(z) < FinGroupe(z) && AvancerUnChamp(z, &numero, &donnees, &longueur) == MC_OK) {
    }
  }
  const auto offset = static_cast<uint32_t>(finGroupe);
  uint16_t id = 0;
  uint32_t lg = 0, nb = 0;
  const uint16_t cr = DecoderEntete(z.Buffer, finDonnees, offset, &id, &lg, &nb);
  if (cr != MC_OK) return cr;
  z.OffsetGroupe = offset;
  ++z.CompteurGroupe;
  z.IdGroupe = id;
  z.LongueurGroupe = lg;
  z.TailleEnteteGroupe = nb;
  z.OffsetChamp = offset + nb;
  z.NumeroChamp = 0;
  z.LongueurChamp = 0;
  z.TailleLongueurChamp = 0;
  if (FinGroupe(z) > finDonnees) {
    // The only message of the zones with accented letters, in ISO 8859-1.
    MCT_ERREUR(kCompZone, " La taille du groupe (%u) d\xe9passe la taille des donn\xe9" "es.", z.LongueurGroupe);
    return MC_ERR_DONNEES;
  }
  *identifiant = id;
  MCT_INFO(kCompZone, "offsetGroupe = %u, longueurGroupe = %u, tailleEnteteGroupe  = %u", z.OffsetGroupe,
           z.LongueurGroupe, z.TailleEnteteGroupe);
  MCT_INFO(kCompZone, "offsetChamp = %u, longueurChamp = %u, tailleLongueurChamp  = %u", z.OffsetChamp,
           z.LongueurChamp, z.TailleLongueurChamp);
  return MC_OK;
}

}  // namespace mc::zone

namespace {

using mc::kCompZone;
using mc::zone::ControlerZone;
using mc::zone::Genre;

// The common step of a walk, with tracing off: a one-byte length whose field
// ends inside its group and the data.  Commits only when all of that holds;
// anything else (end of group, long forms, bad data) goes the full way, which
// finds the same state untouched.
inline bool ChampSimple(ZoneMemoire &z, uint16_t *numero, unsigned char **donnees, uint32_t *longueur) {
  const uint64_t debut = mc::zone::FinChamp(z);
  const uint64_t borne = std::min<uint64_t>(mc::zone::FinGroupe(z), mc::zone::FinDonnees(z));
  if (debut >= borne) return false;
  const unsigned char lg = z.Buffer[debut];
  if (lg > 0x80u || debut + 1 + lg > borne) return false;
  z.OffsetChamp = static_cast<uint32_t>(debut);
  z.TailleLongueurChamp = 1;
  z.LongueurChamp = lg;
  ++z.NumeroChamp;
  ++z.CompteurChamp;
  *numero = z.NumeroChamp;
  *donnees = z.Buffer + debut + 1;
  *longueur = lg;
  return true;
}

// Everything but the common step, kept out of line so that the walking
// path stays small.
__attribute__((noinline)) uint16_t AvancerChamps(ZoneMemoire &z, uint16_t nombre, uint16_t *numero,
                                                 unsigned char **donnees, uint32_t *longueur) {
  MCT_ENTREE(kCompZone, "MC_usAvancerChampSuivant");
  uint16_t cr = MC_OK;
  const unsigned pas = nombre == 0 ? 1u : nombre;
  for (unsigned i = 0; i < pas && cr == MC_OK; ++i) cr = mc::zone::AvancerUnChamp(z, numero, donnees, longueur);
  MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  return cr;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usPositionnerDebut(uint16_t usNumZone) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usPositionnerDebut");
  mc::zone::PositionnerDebut(*z);
  MCT_SORTIE(kCompZone, "MC_usPositionnerDebut");
  return MC_OK;
}

MC_EXPORT uint16_t MC_usAvancerGroupeSuivant(uint16_t usNumZone, uint16_t usNombre, uint32_t ulParcoursChamps,
                                             uint16_t *pusIdGroupe) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  if (pusIdGroupe == nullptr) return MC_ERR_ARGUMENT;
  MCT_ENTREE(kCompZone, "MC_usAvancergroupeSuivant");
  const unsigned pas = usNombre == 0 ? 1u : usNombre;
  for (unsigned i = 0; i < pas && cr == MC_OK; ++i) cr = mc::zone::AvancerUnGroupe(*z, ulParcoursChamps, pusIdGroupe);
  MCT_SORTIE(kCompZone, "cr = 0x%04X", cr);
  return cr;
}

MC_EXPORT uint16_t MC_usAvancerChampSuivant(uint16_t usNumZone, uint16_t usNombre, uint16_t *pusNumeroChamp,
                                            unsigned char **ppucDonnees, uint32_t *pulLongueur) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  if (pusNumeroChamp == nullptr || ppucDonnees == nullptr || pulLongueur == nullptr) return MC_ERR_ARGUMENT;
  if (__builtin_expect(fichier == nullptr, 1) && usNombre <= 1 &&
      ChampSimple(*z, pusNumeroChamp, ppucDonnees, pulLongueur))
    return MC_OK;
  return AvancerChamps(*z, usNombre, pusNumeroChamp, ppucDonnees, pulLongueur);
}

MC_EXPORT uint16_t MC_usPositionnerFin(uint16_t usNumZone, uint32_t ulParcoursChamps) noexcept {
  uint16_t cr;
  ZoneMemoire *z = ControlerZone(usNumZone, Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kCompZone, "MC_usPositionnerFin");
  // Kept as it has always run: the first pass stops on the last group, later
  // passes only on an empty last group, so the walk normally ends on the
  // advance that reaches the end of the zone.  Either way the cursor is then
  // on the last group.
  uint16_t id;
  for (bool premier = true; cr == MC_OK; premier = false) {
    const uint64_t fin = premier ? mc::zone::FinGroupe(*z) : mc::zone::FinChamp(*z);
    if (fin >= mc::zone::FinDonnees(*z)) break;
    cr = MC_usAvancerGroupeSuivant(usNumZone, 1, ulParcoursChamps, &id);
  }
  uint16_t numero;
  unsigned char *donnees;
  uint32_t longueur;
  cr = MC_OK;
  while (cr == MC_OK && mc::zone::FinChamp(*z) < mc::zone::FinGroupe(*z))
    cr = MC_usAvancerChampSuivant(usNumZone, 1, &numero, &donnees, &longueur);
  MCT_SORTIE(kCompZone, "MC_usPositionnerFin");
  return MC_OK;
}

}  // extern "C"
