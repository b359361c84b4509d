// The content check of a structured zone against the data dictionary: known
// groups, the fields the dictionary lists, and each field's format, length,
// presence and allowed values.
#include <cstdlib>
#include <cstring>

#include "trace/trace.h"
#include "zone/navigation.h"
#include "zone/table.h"

namespace {

constexpr auto kComp = mc::kCompFormat;

// Kept for compatibility: some blocks of this check are never counted back,
// so every check that takes them leaves them in ulMemAllouee.  Only the count
// is kept: the memory itself goes back to the system, so that hosts checking
// many messages do not really run out of it.
void Delaisser(void *bloc) { free(bloc); }

// The traces of the field just reached (or of the cursor's field when the
// step failed): its number, its length and its bytes as text.  The copy is
// made only while tracing, and a failed copy only shortens the trace.
void TracerChamp(const ZoneMemoire &z, uint16_t cr) {
  if (__builtin_expect(fichier == nullptr, 1)) return;
  MCT_INFO(kComp, "MC_usAvancerChampSuivant= 0x%04x", static_cast<unsigned>(cr));
  MCT_INFO(kComp, "Numero du champ = %d, Taille du champ = %d", static_cast<int>(z.NumeroChamp),
           static_cast<int>(z.LongueurChamp));
  const bool lisible = z.NumeroChamp != 0 && mc::zone::ChampLisible(z);
  const uint32_t n = lisible ? z.LongueurChamp : 0;
  char *texte = static_cast<char *>(MC_Allouer(n + 1));
  if (texte != nullptr) {
    if (n != 0) memcpy(texte, z.Buffer + z.OffsetChamp + z.TailleLongueurChamp, n);
    texte[n] = '\0';
  }
  MCT_INFO(kComp, "Valeur du champ = %s", texte != nullptr ? texte : "");
  MC_Liberer(texte);
}

// How one listed field ended: it conforms; it fails a rule (its code still
// to be traced); it matches none of its allowed values (already traced); or
// an allowed value could not be fetched (already traced, the check stops
// where it stands).
enum class Issue { kConforme, kErreur, kValeurDifferente, kValeurNonLue };

// Checks the next field of the current group against its dictionary record.
// *cr gets the code of a failure: 0x9000 + k (k the field's rank in the
// zone), 0xA800 + n when the group has no more fields, 0xA000 + n when an
// allowed value cannot be fetched.
Issue ControlerChamp(uint16_t numero, ZoneMemoire &z, uint16_t idGroupe, uint16_t rangGroupe, const TCHAMP &regle,
                     uint8_t numeroRegle, uint16_t *cr) {
  uint16_t numeroChamp = 0;
  unsigned char *donnees = nullptr;
  uint32_t longueur = 0;
  const uint16_t avance = MC_usAvancerChampSuivant(numero, 1, &numeroChamp, &donnees, &longueur);
  TracerChamp(z, avance);
  if (avance == MC_ERR_NON_TROUVE) {
    *cr = static_cast<uint16_t>(MC_ERR_FORMAT_CHAMPS + rangGroupe);
    return Issue::kErreur;
  }
  if (avance != MC_OK) {
    *cr = avance;
    return Issue::kErreur;
  }
  // Fields of the groups before, skipped ones included: the group steps walk
  // every field, and the cursor counts them from the start position.
  const auto echec = static_cast<uint16_t>(MC_ERR_FORMAT_CHAMP + z.CompteurChamp);
  const char format = static_cast<char>(regle.cFormat);
  const char *source = reinterpret_cast<const char *>(donnees);

  uint32_t utile = 0;
  const int32_t conforme = bChaineCtrlFormat(source, longueur, format, &utile);
  MCT_INFO(kComp, "Controle du champ suivant son type : bRetour= 0x%04x (1/OK)", static_cast<unsigned>(conforme));
  if (conforme != 1) {
    *cr = echec;
    return Issue::kErreur;
  }
  if (utile != 0 ? (utile < regle.usLgMin || (regle.usLgMax != 0 && utile > regle.usLgMax))
                 : (regle.usLgMin != 0 && regle.lPresence == 1)) {
    *cr = echec;
    return Issue::kErreur;
  }
  if (utile == 0 || regle.usNbValeurs == 0) return Issue::kConforme;

  char *reduit = nullptr;
  uint32_t longueurReduite = 0;
  MC_bReduireChaineCtrl(source, &reduit, longueur, format, &longueurReduite);
  bool trouve = false;
  for (uint32_t v = 1; v <= regle.usNbValeurs && !trouve; ++v) {
    char *valeur = nullptr;
    // Both numbers go as single bytes, as the query takes them.
    const uint16_t lu = MC_usDonnerChampValeur(idGroupe, numeroRegle, static_cast<uint8_t>(v), &valeur);
    MCT_INFO(kComp, "MC_usDonnerChampValeur= 0x%04x", static_cast<unsigned>(lu));
    if (lu != MC_OK) {
      *cr = static_cast<uint16_t>(MC_ERR_FORMAT_GROUPE + rangGroupe);
      MCT_ERREUR(kComp, "ERREUR  groupe inconnu, usResultat= 0x%04x", static_cast<unsigned>(*cr));
      Delaisser(reduit);
      return Issue::kValeurNonLue;
    }
    trouve = MC_bCompareChaine(valeur, reduit) == 1;
    // Kept for compatibility: neither the fetched values nor the reduced
    // text are given back.
    Delaisser(valeur);
  }
  Delaisser(reduit);
  if (!trouve) {
    *cr = echec;
    MCT_ERREUR(kComp, "ERREUR valeur de champ, usResultat= 0x%04x", static_cast<unsigned>(*cr));
    return Issue::kValeurDifferente;
  }
  return Issue::kConforme;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usControlerFormatZoneMemoire(uint16_t usNumZone) noexcept {
  uint16_t cr;
  ZoneMemoire *z = mc::zone::ControlerZone(usNumZone, mc::zone::Genre::kStructuree, &cr);
  if (z == nullptr) return cr;
  MCT_ENTREE(kComp, "MC_usControlerFormatZoneMemoire");
  cr = MC_usControlerSyntaxeZoneMemoire(usNumZone);
  uint16_t *liste = nullptr;
  uint16_t nbGroupes = 0;
  if (cr == MC_OK) {
    mc::zone::PositionnerDebut(*z);
    cr = MC_usDonnerListeGroupes(&liste, &nbGroupes);
    MCT_INFO(kComp, " MC_usDonnerListeGroupes= 0x%04x", static_cast<unsigned>(cr));
  }
  uint16_t n = 0;
  while (cr == MC_OK) {
    ++n;
    uint16_t id = 0;
    cr = MC_usAvancerGroupeSuivant(usNumZone, 1, 1, &id);
    if (cr != MC_OK) {
      MCT_INFO(kComp, " MC_usAvancerGroupeSuivant= 0x%04x", static_cast<unsigned>(cr));
      break;
    }
    // Kept for compatibility: the text has no conversion.
    MCT_INFO(kComp, " Groupe = 0xd");

    bool connu = false;
    for (uint16_t i = 0; i < nbGroupes && !connu; ++i) connu = liste[i] == id;
    if (!connu) {
      cr = static_cast<uint16_t>(MC_ERR_FORMAT_GROUPE + n);
      MCT_ERREUR(kComp, "ERREUR groupe inconnu = 0x%d", static_cast<int>(id));
      MCT_ERREUR(kComp, "ERREUR usResultat= 0x%04x", static_cast<unsigned>(cr));
      // Kept for compatibility: the list is not given back here, and the
      // cursor stays on the group.
      Delaisser(liste);
      MCT_SORTIE(kComp, "FIN de la fonction MC_usControlerFormatZoneMemoire");
      return cr;
    }

    TCHAMP *regles = nullptr;
    uint16_t nbRegles = 0;
    cr = MC_usDonnerInformationChamp(id, &regles, &nbRegles);
    MCT_INFO(kComp, " MC_usDonnerInformationChamp= 0x%04x", static_cast<unsigned>(cr));
    if (cr != MC_OK) {
      MC_Liberer(liste);
      MCT_SORTIE(kComp, "FIN de la fonction MC_usControlerFormatZoneMemoire");
      return cr;
    }
    // A group the dictionary gives no fields for may hold any fields.
    for (uint16_t i = 0; i < nbRegles && cr == MC_OK; ++i) {
      const Issue issue = ControlerChamp(usNumZone, *z, id, n, regles[i], static_cast<uint8_t>(i + 1), &cr);
      if (issue == Issue::kValeurNonLue) {
        // Kept for compatibility, as for an unknown group.
        Delaisser(regles);
        Delaisser(liste);
        MCT_SORTIE(kComp, "FIN de la fonction MC_usControlerFormatZoneMemoire");
        return cr;
      }
      if (issue == Issue::kErreur) MCT_ERREUR(kComp, "ERREUR usResultat= 0x%04x", static_cast<unsigned>(cr));
    }
    if (cr == MC_OK && nbRegles != 0) {
      uint32_t fin = 0;
      MC_usFinGroupe(usNumZone, &fin);
      if (fin == 0) {
        cr = static_cast<uint16_t>(MC_ERR_FORMAT_CHAMPS + n);
        MCT_ERREUR(kComp, "ERREUR usResultat= 0x%04x", static_cast<unsigned>(cr));
      }
    }
    // Kept for compatibility: the field records are never given back.
    Delaisser(regles);
  }
  if (cr == MC_ERR_NON_TROUVE) cr = MC_OK;
  MC_Liberer(liste);
  mc::zone::PositionnerDebut(*z);
  MCT_INFO(kComp, "MC_usControlerFormatZoneMemoire:usResultat = 0x%04x", static_cast<unsigned>(cr));
  MCT_SORTIE(kComp, "FIN de la fonction MC_usControlerFormatZoneMemoire");
  return cr;
}

}  // extern "C"
