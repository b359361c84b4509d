// Control type 2 in the writer's close and the reader's open.
#include "binfile/signature_hook.h"

#include "mc.h"

namespace mc {

uint16_t SignerFichierALaFermeture(uint16_t usNumFichierBinaire, const char *pcCheminClePrivee) noexcept {
  return MC_usEcrireSignatureFichier(usNumFichierBinaire, pcCheminClePrivee);
}

// The raw-stretch reads restore the stream's position, so the open finds the
// stream on the first table again.
uint16_t VerifierSignatureALOuverture(uint16_t usNumFichierBinaire) noexcept {
  return MC_usVerifierSignatureFichier(usNumFichierBinaire);
}

}  // namespace mc
