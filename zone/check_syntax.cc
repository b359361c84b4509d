// The coding check of a structured zone: a sequence of groups that exactly
// fills the data, each group exactly filled by its fields.
#include "trace/trace.h"
#include "zone/coding.h"
#include "zone/navigation.h"
#include "zone/table.h"

namespace {

constexpr auto kComp = mc::kCompSyntaxe;

// Walks the data group by group; the cursor ends on the last group, at its
// last field.  r is the data not yet accounted for by a group.
uint16_t Controler(uint16_t numero, ZoneMemoire &z) {
  uint64_t r = z.TailleDonnees;
  MCT_INFO(kComp, "Longueur des donnees d'entree (%lu)", static_cast<unsigned long>(r));
  // Kept for compatibility: set once a field of length 0 has been seen, and
  // printed by two messages where they name the field's coding size.
  unsigned indicateur = 0;
  do {
    // The next group's header, never read past the buffer even when the data
    // length claims more.
    const uint32_t finDonnees = mc::zone::FinDonnees(z);
    const uint64_t suivant = mc::zone::FinGroupe(z);
    const auto offset = static_cast<uint32_t>(suivant < finDonnees ? suivant : finDonnees);
    uint16_t id = 0;
    uint32_t lg = 0, hg = 0;
    if (mc::zone::DecoderEntete(z.Buffer, finDonnees, offset, &id, &lg, &hg) != MC_OK) return MC_ERR_DONNEES;
    MCT_INFO(kComp, "usIdGroupe = %u", static_cast<unsigned>(id));
    MCT_INFO(kComp, "stLongueurGroupe = %u, stNbOctetsLongueurGroupe = %u", lg, hg);
    if (lg == 0) {
      // Refused here although the editing functions can make such groups.
      MCT_ERREUR(kComp, "Groupe de longueur 0 => ERREUR");
      return MC_ERR_DONNEES;
    }
    if (hg > r) {
      MCT_ERREUR(kComp, "ulTailleDataIn (%lu) < stNbOctetsLongueurGroupe (%u) ", static_cast<unsigned long>(r), hg);
      return MC_ERR_DONNEES;
    }
    if (lg > r - hg) {
      MCT_ERREUR(kComp, "Longueur du groupe (%lu + %u) depasse la longueur des donnees d'entree restante (%lu)",
                 static_cast<unsigned long>(lg), hg, static_cast<unsigned long>(r));
      return MC_ERR_DONNEES;
    }
    r -= uint64_t{lg} + hg;
    MCT_INFO(kComp, "ulTailleDataIn = %lu", static_cast<unsigned long>(r));

    // Back to the start of the current group's fields, so that the group
    // step below walks (and counts) them all again.
    z.NumeroChamp = 0;
    z.OffsetChamp = z.OffsetGroupe + z.TailleEnteteGroupe;
    z.LongueurChamp = z.TailleLongueurChamp = 0;
    if (mc::zone::FinGroupe(z) > z.TailleDonnees) {
      MCT_ERREUR(kComp, " La taille du groupe (%u) d\xe9passe la taille des donn\xe9" "es.", z.LongueurGroupe);
      return MC_ERR_DONNEES;
    }
    const uint16_t cr = MC_usAvancerGroupeSuivant(numero, 1, 1, &id);
    if (cr != MC_OK) return cr;

    uint64_t g = lg;
    while (g != 0) {
      uint16_t numeroChamp;
      unsigned char *donnees;
      uint32_t longueur;
      if (MC_usAvancerChampSuivant(numero, 1, &numeroChamp, &donnees, &longueur) != MC_OK) {
        // A field running past its group ends here.
        MCT_ERREUR(kComp, "Impossible de lire la longueur du champ");
        return MC_ERR_DONNEES;
      }
      if (longueur == 0) indicateur = 1;
      if (z.TailleLongueurChamp > g) {
        MCT_ERREUR(kComp, "Lg du groupe (%lu) < Nombre d'octets pour lg champ  (%u) ", static_cast<unsigned long>(g),
                   indicateur);
        return MC_ERR_DONNEES;
      }
      if (longueur > g - z.TailleLongueurChamp) {
        MCT_ERREUR(kComp, "Longueur du champ (%lu + %u) depasse la longueur du groupe restante (%lu)",
                   static_cast<unsigned long>(longueur), indicateur, static_cast<unsigned long>(g));
        return MC_ERR_DONNEES;
      }
      g -= uint64_t{longueur} + z.TailleLongueurChamp;
      MCT_INFO(kComp, "stLongueurGroupe = %lu", static_cast<unsigned long>(g));
    }
  } while (r != 0);
  return MC_OK;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usControlerSyntaxeZoneMemoire(uint16_t usNumZone) noexcept {
  uint16_t cr;
  ZoneMemoire *z = mc::zone::ControlerZone(usNumZone, mc::zone::Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kComp, "MC_usControlerSyntaxeZoneMemoire");
  mc::zone::PositionnerDebut(*z);
  cr = Controler(usNumZone, *z);
  MCT_SORTIE(kComp, "MC_usControlerSyntaxeZoneMemoire usResultat = 0x%04x", static_cast<unsigned>(cr));
  return cr;
}

}  // extern "C"
