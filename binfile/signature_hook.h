// The one place where the binary files meet the signatures (control type 2):
// the close of a written file signs it, the open of a read file verifies it.
// The signature subsystem owns signature_hook.cc and defines these two
// functions on top of MC_usEcrireSignatureFichier and
// MC_usVerifierSignatureFichier.
#ifndef MC_BINFILE_SIGNATURE_HOOK_H
#define MC_BINFILE_SIGNATURE_HOOK_H

#include <cstdint>

namespace mc {

// Called by MC_usLibererFichierBinaire for a written file of control type 2,
// after the last table size was patched and before the stream is closed:
// appends the 128-byte signature made with the private key file at
// pcCheminClePrivee (which may be null).  Its status is the close's status.
uint16_t SignerFichierALaFermeture(uint16_t usNumFichierBinaire, const char *pcCheminClePrivee) noexcept;

// Called by MC_usInitialiserFichierBinaire for control type 2 once the header
// is read and the name checked; the stream's position must be left as found.
// 0 when the signature holds; any other value makes the open fail with 0xF630.
uint16_t VerifierSignatureALOuverture(uint16_t usNumFichierBinaire) noexcept;

}  // namespace mc

#endif  // MC_BINFILE_SIGNATURE_HOOK_H
