// The exported queries on the dictionary: the list of group identifiers, a
// group's field records, and one allowed value of a field.  Every result is a
// new block of counted memory that belongs to the caller.
#include <cstring>

#include "dictionary/dictionary.h"
#include "trace/trace.h"

namespace {

using mc::kCompBinaire;

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usDonnerListeGroupes(uint16_t **ppusListe, uint16_t *pusNombre) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usDonnerListeGroupes");
  const uint32_t nombre = mc::dico::NombreGroupes();
  // Fits: the loader bounded the array's own size, three times larger.
  uint16_t *liste = static_cast<uint16_t *>(MC_Allouer(nombre * static_cast<uint32_t>(sizeof(uint16_t))));
  uint16_t usResultat = MC_OK;
  if (liste == nullptr || ppusListe == nullptr || pusNombre == nullptr) {
    MCT_ERREUR(kCompBinaire, "MC_usDonnerListeGroupes=ERREUR ALLOCATION MEMOIRE  ");
    // Kept for compatibility: the list built for a missing argument is not
    // given back.
    mc::dico::Abandonner(liste);
    usResultat = MC_ERR_ALLOCATION;
  } else {
    for (uint32_t i = 0; i < nombre; ++i) liste[i] = g_stTabGrp[i].usIdGroupe;
    *pusNombre = static_cast<uint16_t>(nombre);
    *ppusListe = liste;
  }
  MCT_SORTIE(kCompBinaire, "MC_usDonnerListeGroupes");
  return usResultat;
}

MC_EXPORT uint16_t MC_usDonnerInformationChamp(uint16_t usIdGroupe, TCHAMP **ppsChamps, uint16_t *pusNombre) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usDonnerInformationChamp");
  uint16_t usResultat = MC_OK;
  const TGROUPE *groupe = mc::dico::TrouverGroupe(usIdGroupe);
  if (groupe == nullptr) {
    MCT_ERREUR(kCompBinaire, "MC_usDonnerInformationChamp=ERREUR GROUPE CHAMP ABSENT ");
    usResultat = MC_ERR_NON_TROUVE;
  } else {
    const uint16_t nombre = groupe->usNbChamps;
    TCHAMP *champs = static_cast<TCHAMP *>(MC_Allouer(nombre * static_cast<uint32_t>(sizeof(TCHAMP))));
    if (champs == nullptr || ppsChamps == nullptr || pusNombre == nullptr) {
      MCT_ERREUR(kCompBinaire, "MC_usDonnerInformationChamp  =ERREUR ALLOCATION MEMOIRE");
      // Kept for compatibility, as for the list of groups.
      mc::dico::Abandonner(champs);
      usResultat = MC_ERR_ALLOCATION;
    } else {
      for (uint16_t i = 0; i < nombre && usResultat == MC_OK; ++i) {
        const TCHAMP *champ = mc::dico::ChampDuGroupe(*groupe, i);
        if (champ == nullptr)
          usResultat = MC_ERR_NON_TROUVE;  // the group's fields run outside the loaded array
        else
          champs[i] = *champ;
      }
      if (usResultat == MC_OK) {
        *pusNombre = nombre;
        *ppsChamps = champs;
      } else {
        MCT_ERREUR(kCompBinaire, "MC_usDonnerInformationChamp=ERREUR GROUPE CHAMP ABSENT ");
        MC_Liberer(champs);
      }
    }
  }
  MCT_SORTIE(kCompBinaire, "MC_usDonnerInformationChamp");
  return usResultat;
}

MC_EXPORT uint16_t MC_usDonnerChampValeur(uint16_t usIdGroupe, uint8_t ucNumChamp, uint8_t ucNumValeur,
                                          char **ppcValeur) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usDonnerChampValeur");
  // Neither number is checked against the group's counts; both count from
  // 1, so 0 reaches the record before the first, in 16-bit index arithmetic.
  const TGROUPE *groupe = mc::dico::TrouverGroupe(usIdGroupe);
  const TCHAMP *champ =
      groupe != nullptr ? mc::dico::ChampDuGroupe(*groupe, static_cast<uint16_t>(ucNumChamp - 1)) : nullptr;
  const char *valeur =
      champ != nullptr ? mc::dico::ValeurDuChamp(*champ, static_cast<uint16_t>(ucNumValeur - 1)) : nullptr;
  uint16_t usResultat = MC_OK;
  if (valeur == nullptr) {
    usResultat = MC_ERR_NON_TROUVE;
    MCT_ERREUR(kCompBinaire, "usResultat = 0x%04x", usResultat);
  } else {
    const size_t longueur = strlen(valeur) + 1;
    char *copie = ppcValeur != nullptr ? static_cast<char *>(MC_Allouer(static_cast<uint32_t>(longueur))) : nullptr;
    if (copie == nullptr) {
      usResultat = MC_ERR_ALLOCATION;
    } else {
      memcpy(copie, valeur, longueur);
      *ppcValeur = copie;
    }
    MCT_INFO(kCompBinaire, "MC_usDonnerChampValeur usResultat = 0x%04x", usResultat);
  }
  MCT_SORTIE(kCompBinaire, "MC_usDonnerChampValeur");
  return usResultat;
}

}  // extern "C"
