// Closing a binary file: a written one is finished first (last table size,
// then CRC or signature), any one is closed and its number freed.
#include <cerrno>
#include <cstring>

#include "binfile/file_table.h"
#include "binfile/signature_hook.h"
#include "binfile/trace_binaire.h"

namespace {

using mc::kCompBinaire;

uint16_t Terminer(uint16_t usNum, Fichier *psFichier, const char *pcCheminClePrivee) noexcept {
  uint16_t usResultat = MC_OK;
  // The pending size is the process's, whichever file it belongs to: only one
  // file may have a table in progress at a time.
  if (lPositionTailleTable != 0) usResultat = MC_usEcrireTaille(usNum);
  if (usResultat != MC_OK) return usResultat;
  if (psFichier->usTypeControle == MC_CONTROLE_CRC) {
    uint16_t usCRC = 0;
    usResultat = usCalculerCRC16(usNum, &usCRC);
    if (usResultat != MC_OK) return usResultat;
    if (fseek(psFichier->pFlux, 0, SEEK_SET) != 0 || fprintf(psFichier->pFlux, "%04X", usCRC) != 4) {
      clearerr(psFichier->pFlux);
      MCT_ERREUR(kCompBinaire, "Probleme d'ecriture du CRC");
      return MC_ERR_FICHIER;
    }
    return MC_OK;
  }
  if (psFichier->usTypeControle == MC_CONTROLE_SIGNATURE)
    return mc::SignerFichierALaFermeture(usNum, pcCheminClePrivee);
  return MC_OK;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usLibererFichierBinaire(uint16_t usNumFichierBinaire,
                                              const char *pcCheminClePrivee) noexcept {
  return mc::Tracer("MC_usLibererFichierBinaire", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    uint16_t usResultat = usRechercherFichier(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (mc::EnEcriture(psFichier)) usResultat = Terminer(usNumFichierBinaire, psFichier, pcCheminClePrivee);
    MCT_INFO(kCompBinaire, "Fermeture du fichier");
    if (fclose(psFichier->pFlux) != 0) {
      MCT_ERREUR(kCompBinaire, "Probleme lors de la fermeture du fichier: %s", strerror(errno));
      usResultat = MC_ERR_FICHIER;
    }
    psFichier->pFlux = nullptr;  // closed once, whatever fclose said
    mc::LibererEnregistrement(psFichier);
    mc::LibererNumero(usNumFichierBinaire);
    return usResultat;
  });
}

}  // extern "C"
