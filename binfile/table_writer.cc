// Table headers of the writer, and the patch of a finished table's size.
#include "binfile/file_table.h"
#include "binfile/trace_binaire.h"

namespace {

using mc::kCompBinaire;

// Writes a 32-bit value big-endian at the current position, uncounted.
bool EcrireMot(FILE *pFlux, uint32_t ulValeur) noexcept {
  const unsigned char aucOctets[4] = {static_cast<unsigned char>(ulValeur >> 24),
                                      static_cast<unsigned char>(ulValeur >> 16),
                                      static_cast<unsigned char>(ulValeur >> 8), static_cast<unsigned char>(ulValeur)};
  if (fwrite(aucOctets, 1, 4, pFlux) == 4) return true;
  clearerr(pFlux);
  return false;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usEcrireEnteteTable(uint16_t usNumFichierBinaire, const EnteteTable *psEntete) noexcept {
  return mc::Tracer("MC_usEcrireEnteteTable", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    uint16_t usResultat = usRechercherFichier(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (!mc::EnEcriture(psFichier)) {
      MCT_ERREUR(kCompBinaire, "Le fichier n'est pas en ecriture");
      return MC_ERR_INTERDIT;
    }
    if (psEntete == nullptr) return MC_ERR_ARGUMENT;
    const uint16_t n = usNumFichierBinaire;
    usResultat = MC_usEcrireChampFixe(n, psEntete->acNomTable, 10);
    if (usResultat == MC_OK) {
      // The size word's position is kept once for the whole process.
      const long position = ftell(psFichier->pFlux);
      if (position <= 0 || position > INT32_MAX) {
        usResultat = MC_ERR_FICHIER;
      } else {
        lPositionTailleTable = static_cast<int32_t>(position);
      }
    }
    if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedLong(n, 0);
    if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedLong(n, psEntete->ulNombre);
    if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedLong(n, 0);
    for (int i = 0; i < 3; ++i)
      if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedChar(n, 0);
    // From here ulTaille counts the table's data, whatever happened above.
    psFichier->ulTaille = 0;
    return usResultat;
  });
}

MC_EXPORT uint16_t MC_usEcrireTaille(uint16_t usNumFichierBinaire) noexcept {
  // Kept: the entry line carries the table-header operation's name.
  MCT_ENTREE(kCompBinaire, "MC_usEcrireEnteteTable : usNumFichierBinaire = %d", usNumFichierBinaire);
  Fichier *psFichier = nullptr;
  uint16_t usResultat = usRechercherFichier(usNumFichierBinaire, &psFichier);
  if (usResultat == MC_OK) {
    if (!mc::EnEcriture(psFichier)) {
      MCT_ERREUR(kCompBinaire, "Le fichier n'est pas en ecriture");
      usResultat = MC_ERR_INTERDIT;
    } else if (lPositionTailleTable == 0) {
      MCT_ERREUR(kCompBinaire, "Pas d'entete de table de cree");
      usResultat = MC_ERR_INTERDIT;
    } else if (fseek(psFichier->pFlux, lPositionTailleTable, SEEK_SET) != 0) {
      MCT_ERREUR(kCompBinaire, "Probleme de positionnement dans le fichier");
      usResultat = MC_ERR_FICHIER;
    } else if (!EcrireMot(psFichier->pFlux, psFichier->ulTaille)) {
      usResultat = MC_ERR_FICHIER;
    } else {
      psFichier->ulTaille = 0;
      lPositionTailleTable = 0;
    }
    // In every case the writer goes on at the end of the file.
    if (fseek(psFichier->pFlux, 0, SEEK_END) != 0) {
      MCT_ERREUR(kCompBinaire, "Probleme de positionnement dans le fichier");
      usResultat = MC_ERR_FICHIER;
    }
  }
  MCT_SORTIE(kCompBinaire, "MC_usEcrireTaille : Code retour = 0x%04x", usResultat);
  return usResultat;
}

}  // extern "C"
