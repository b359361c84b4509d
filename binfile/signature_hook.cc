// Stand-in for the signatures until they exist: no file can be signed (the
// close reports what a missing private key gives, 0xF610, and closes the file
// unsigned) and no signature is taken as valid (the open refuses every file
// of control type 2 with 0xF630).  The signature subsystem replaces this file.
#include "binfile/signature_hook.h"

#include "trace/trace.h"

namespace mc {

uint16_t SignerFichierALaFermeture(uint16_t, const char *) noexcept {
  MCT_ERREUR(kCompBinaire, "Probleme lors de la lecture de la cle privee");
  return MC_ERR_FICHIER;
}

uint16_t VerifierSignatureALOuverture(uint16_t) noexcept { return MC_ERR_SIG_DIFFERENTE; }

}  // namespace mc
