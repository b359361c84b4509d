// Loading and release of the three dictionary arrays.  A loader reads its
// table from the current position of the open tables file; the table's size
// word is not used, the record count is.
#include <cstdio>
#include <cstring>

#include "binfile/file_table.h"
#include "dictionary/dictionary.h"
#include "trace/trace.h"

namespace {

using mc::kCompBinaire;

// The fewest bytes a record takes in the file: 3 x 2 for a group;
// 4 + 2 + 2 + 1 + 4 + 2 + 2 for a field; a one-byte length code for a value.
constexpr uint64_t kDisqueGroupe = 6;
constexpr uint64_t kDisqueChamp = 17;
constexpr uint64_t kDisqueValeur = 1;

// Refuses a record count that cannot be a real table, before anything is
// allocated: ulNombre records of at least ulTailleDisque bytes each must fit
// between the current position and the end of the file, and their array of
// ulTailleMemoire bytes each must be a size MC_Allouer can take.  0xF640 (the
// status the reads would have ended with) or 0xF807 for a file that is not
// open for reading.
uint16_t ControlerNombre(uint16_t usNumFichierBinaire, uint32_t ulNombre, uint64_t ulTailleDisque,
                         uint64_t ulTailleMemoire) noexcept {
  if (ulNombre == 0) return MC_OK;
  Fichier *psFichier = mc::FichierOuvert(usNumFichierBinaire);
  if (psFichier == nullptr || psFichier->pFlux == nullptr || psFichier->bLecture != 1) return MC_ERR_NUMERO;
  const long position = ftell(psFichier->pFlux);
  if (position < 0) return MC_ERR_FIN_FICHIER;
  const uint64_t pos = static_cast<uint64_t>(position);
  const uint64_t reste = pos < psFichier->ulTaille ? psFichier->ulTaille - pos : 0;
  if (ulNombre * ulTailleDisque > reste || ulNombre * ulTailleMemoire > UINT32_MAX) return MC_ERR_FIN_FICHIER;
  return MC_OK;
}

// Takes a zeroed array of ulNombre records for *ppArray.  The array it
// replaces is let go of without being freed (kept for compatibility); on
// failure the array is null and the count keeps its former value.
template <typename T>
uint16_t AllouerTableau(T **ppTableau, uint32_t *pulNombreGlobal, uint32_t ulNombre) noexcept {
  const uint32_t taille = static_cast<uint32_t>(ulNombre * sizeof(T));
  void *bloc = MC_Allouer(taille);
  mc::dico::Abandonner(*ppTableau);
  *ppTableau = static_cast<T *>(bloc);
  if (bloc == nullptr) return MC_ERR_ALLOCATION;
  // Records a failed read never reached must not be taken for data.
  memset(bloc, 0, taille);
  *pulNombreGlobal = ulNombre;
  return MC_OK;
}

// The release shared by the three arrays: 0, or 1 when nothing was loaded.
template <typename T>
uint16_t LibererTableau(T **ppTableau, uint32_t *pulNombreGlobal) noexcept {
  uint16_t usResultat = MC_ERR_NON_CHARGE;
  if (*ppTableau != nullptr) {
    MC_Liberer(*ppTableau);
    *ppTableau = nullptr;
    usResultat = MC_OK;
  }
  // A failed load can leave a count behind a null array.
  *pulNombreGlobal = 0;
  return usResultat;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t usInitTabGroupe(uint16_t usNumFichierBinaire, uint32_t ulTaille, uint32_t ulNombre) noexcept {
  (void)ulTaille;
  MCT_ENTREE(kCompBinaire, "usGTInitTabGrp");
  uint16_t usResultat = ControlerNombre(usNumFichierBinaire, ulNombre, kDisqueGroupe, sizeof(TGROUPE));
  if (usResultat == MC_OK) usResultat = AllouerTableau(&g_stTabGrp, &g_ulNbTabGrp, ulNombre);
  MCT_INFO(kCompBinaire, "g_stTabGrp = %p, g_ulNbTabGrp = %hu", static_cast<void *>(g_stTabGrp),
           static_cast<unsigned short>(g_ulNbTabGrp));
  for (uint32_t i = 0; i < ulNombre && usResultat == MC_OK; ++i) {
    TGROUPE &groupe = g_stTabGrp[i];
    usResultat = MC_usLireUnsignedShort(usNumFichierBinaire, &groupe.usIdGroupe);
    usResultat |= MC_usLireUnsignedShort(usNumFichierBinaire, &groupe.usIndPremierChamp);
    usResultat |= MC_usLireUnsignedShort(usNumFichierBinaire, &groupe.usNbChamps);
  }
  MCT_INFO(kCompBinaire, "usResultat = 0x%04x", usResultat);
  MCT_SORTIE(kCompBinaire, "usGTInitTabGrp");
  return usResultat;
}

MC_EXPORT uint16_t usInitTabChamp(uint16_t usNumFichierBinaire, uint32_t ulTaille, uint32_t ulNombre) noexcept {
  (void)ulTaille;
  MCT_ENTREE(kCompBinaire, "usGTInitTabChp");
  uint16_t usResultat = ControlerNombre(usNumFichierBinaire, ulNombre, kDisqueChamp, sizeof(TCHAMP));
  if (usResultat == MC_OK) usResultat = AllouerTableau(&g_stTabChp, &g_ulNbTabChp, ulNombre);
  MCT_INFO(kCompBinaire, "g_stTabChp = %p, g_ulNbTabChp = %hu", static_cast<void *>(g_stTabChp),
           static_cast<unsigned short>(g_ulNbTabChp));
  for (uint32_t i = 0; i < ulNombre && usResultat == MC_OK; ++i) {
    TCHAMP &champ = g_stTabChp[i];
    usResultat = MC_usLireSignedLong(usNumFichierBinaire, &champ.lPresence);
    usResultat |= MC_usLireUnsignedShort(usNumFichierBinaire, &champ.usLgMin);
    usResultat |= MC_usLireUnsignedShort(usNumFichierBinaire, &champ.usLgMax);
    usResultat |= MC_usLireSignedChar(usNumFichierBinaire, &champ.cFormat);
    usResultat |= MC_usLireSignedLong(usNumFichierBinaire, &champ.lReserve);
    usResultat |= MC_usLireUnsignedShort(usNumFichierBinaire, &champ.usIndPremiereValeur);
    usResultat |= MC_usLireUnsignedShort(usNumFichierBinaire, &champ.usNbValeurs);
  }
  MCT_INFO(kCompBinaire, "usResultat = 0x%04x", usResultat);
  MCT_SORTIE(kCompBinaire, "usGTInitTabChp");
  return usResultat;
}

MC_EXPORT uint16_t usInitTabValeur(uint16_t usNumFichierBinaire, uint32_t ulTaille, uint32_t ulNombre) noexcept {
  (void)ulTaille;
  MCT_ENTREE(kCompBinaire, "usGTInitTabValeur");
  uint16_t usResultat = ControlerNombre(usNumFichierBinaire, ulNombre, kDisqueValeur, sizeof(char *));
  if (usResultat == MC_OK) usResultat = AllouerTableau(&g_cTabVal, &g_ulNbTabVal, ulNombre);
  MCT_INFO(kCompBinaire, "g_cTabVal = %p, g_ulNbTabVal = %hu", static_cast<void *>(g_cTabVal),
           static_cast<unsigned short>(g_ulNbTabVal));
  // The text of a failed read stays in its slot: the array owns it from then on.
  for (uint32_t i = 0; i < ulNombre && usResultat == MC_OK; ++i)
    usResultat = MC_usLireChaineVariable(usNumFichierBinaire, &g_cTabVal[i]);
  MCT_INFO(kCompBinaire, "usResultat = 0x%04x", usResultat);
  MCT_SORTIE(kCompBinaire, "usGTInitTabValeur");
  return usResultat;
}

MC_EXPORT uint16_t usSupprTabGroupe(void) noexcept {
  MCT_ENTREE(kCompBinaire, "usGTSupprTabGrp");
  const uint16_t usResultat = LibererTableau(&g_stTabGrp, &g_ulNbTabGrp);
  MCT_INFO(kCompBinaire, "usResultat = 0x%04x", usResultat);
  MCT_SORTIE(kCompBinaire, "usGTSupprTabGrp");
  return usResultat;
}

// The exit names of the next two differ from their entry names: kept so.
MC_EXPORT uint16_t usSupprTabChamp(void) noexcept {
  MCT_ENTREE(kCompBinaire, "usGTSupprTabChp");
  const uint16_t usResultat = LibererTableau(&g_stTabChp, &g_ulNbTabChp);
  MCT_INFO(kCompBinaire, "usResultat = 0x%04x", usResultat);
  MCT_SORTIE(kCompBinaire, "usSupprTabChamp");
  return usResultat;
}

MC_EXPORT uint16_t usSupprTabValeur(void) noexcept {
  MCT_ENTREE(kCompBinaire, "usGTSupprTabValeur");
  // Kept for compatibility: only the array of pointers is freed; the texts
  // stay allocated and counted.
  for (uint32_t i = 0; i < mc::dico::NombreValeurs(); ++i) mc::dico::Abandonner(g_cTabVal[i]);
  const uint16_t usResultat = LibererTableau(&g_cTabVal, &g_ulNbTabVal);
  MCT_INFO(kCompBinaire, "usResultat = 0x%04x", usResultat);
  MCT_SORTIE(kCompBinaire, "usSupprTabValeur");
  return usResultat;
}

}  // extern "C"
