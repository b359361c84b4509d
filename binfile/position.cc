// Positions, lengths and raw stretches of an open binary file, shared by the
// writer and the reader.
#include <cstring>

#include "binfile/file_table.h"
#include "binfile/trace_binaire.h"

namespace {

using mc::kCompBinaire;

// These operations report an unknown number as a file error.
Fichier *FichierOuInconnu(uint16_t usNum) noexcept {
  Fichier *psFichier = mc::FichierOuvert(usNum);
  if (psFichier == nullptr) MCT_ERREUR(kCompBinaire, "numero de fichier inconnu : %d", usNum);
  return psFichier;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usPositionnerOffset(uint16_t usNumFichierBinaire, int32_t lOffset,
                                          uint16_t usOrigine) noexcept {
  return mc::Tracer("MC_usPositionnerOffset", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = FichierOuInconnu(usNumFichierBinaire);
    static const int origines[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (psFichier == nullptr || usOrigine > 2) return MC_ERR_FICHIER;
    return fseek(psFichier->pFlux, lOffset, origines[usOrigine]) == 0 ? MC_OK : MC_ERR_FICHIER;
  });
}

MC_EXPORT uint16_t MC_usLirePositionFichier(uint16_t usNumFichierBinaire, uint32_t *pulPosition) noexcept {
  return mc::Tracer("MC_usLirePositionFichier", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = FichierOuInconnu(usNumFichierBinaire);
    if (psFichier == nullptr) return MC_ERR_FICHIER;
    if (pulPosition == nullptr) return MC_ERR_ARGUMENT;
    const long position = ftell(psFichier->pFlux);
    if (position < 0 || position > static_cast<long>(UINT32_MAX)) return MC_ERR_FICHIER;
    *pulPosition = static_cast<uint32_t>(position);
    return MC_OK;
  });
}

MC_EXPORT uint16_t MC_usLongueurFichierBinaire(uint16_t usNumFichierBinaire, uint32_t *pulLongueur) noexcept {
  return mc::Tracer("MC_usLongueurFichierBinaire", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = FichierOuInconnu(usNumFichierBinaire);
    if (psFichier == nullptr) return MC_ERR_FICHIER;
    return MC_usLongueurFichier(psFichier->pFlux, pulLongueur);
  });
}

MC_EXPORT uint16_t usTailleDonnneeFichierBinaire(uint16_t usNumFichierBinaire, uint32_t *pulTaille) noexcept {
  return mc::Tracer("usTailleDonnneeFichierBinaire", usNumFichierBinaire, [&]() -> uint16_t {
    if (usNumFichierBinaire < 1 || usNumFichierBinaire > MC_NB_FICHIERS_MAX) {
      MCT_ERREUR(kCompBinaire, "usTailleDonnneeFichierBinaire : numero de fichier invalide");
      return MC_ERR_NUMERO;
    }
    Fichier *psFichier = mc::FichierOuvert(usNumFichierBinaire);
    if (psFichier == nullptr) {
      MCT_ERREUR(kCompBinaire, "usTailleDonnneeFichierBinaire : fichier non reserve");
      return MC_ERR_NUMERO;
    }
    if (pulTaille == nullptr) return MC_ERR_ARGUMENT;
    // Every control type but the CRC keeps the last 128 bytes off the data,
    // even a type-0 file that has no trailer: kept for compatibility.  A file
    // shorter than that has no data at all.
    uint32_t ulTaille = psFichier->ulTaille;
    if (psFichier->usTypeControle != MC_CONTROLE_CRC)
      ulTaille = ulTaille > mc::kTailleBlocFinal ? ulTaille - mc::kTailleBlocFinal : 0;
    *pulTaille = ulTaille;
    return MC_OK;
  });
}

MC_EXPORT uint16_t MC_usLireFichierBinaire(uint16_t usNumFichierBinaire, int32_t lOffset, uint32_t ulLongueur,
                                           unsigned char **ppucBuffer) noexcept {
  return mc::Tracer("MC_usLireFichierBinaire", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = FichierOuInconnu(usNumFichierBinaire);
    if (psFichier == nullptr) return MC_ERR_FICHIER;
    if (ppucBuffer == nullptr) return MC_ERR_ARGUMENT;
    FILE *pFlux = psFichier->pFlux;
    const long position = ftell(pFlux);
    if (position == -1) return MC_ERR_FICHIER;
    bool bMemoire = true;
    if (fseek(pFlux, lOffset, SEEK_SET) == 0) {
      unsigned char *pucBuffer = static_cast<unsigned char *>(MC_Allouer(ulLongueur));
      *ppucBuffer = pucBuffer;
      if (pucBuffer == nullptr) {
        bMemoire = false;
      } else {
        // The read's own outcome is not reported; bytes past the end of the
        // file are handed over as 0 rather than as stale memory.
        const size_t lus = fread(pucBuffer, 1, ulLongueur, pFlux);
        if (lus < ulLongueur) memset(pucBuffer + lus, 0, ulLongueur - lus);
        clearerr(pFlux);
      }
    }
    if (fseek(pFlux, position, SEEK_SET) != 0) return MC_ERR_FICHIER;
    // A null buffer with a success status would be a trap for the caller.
    return bMemoire ? MC_OK : MC_ERR_ALLOCATION;
  });
}

}  // extern "C"
