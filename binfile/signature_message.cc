// Signing and checking a message: RSASSA-PKCS1-v1_5 with MD5 through the
// toolkit's signature calls, one update with the whole message.  With a
// 1024-bit key every signature is 128 bytes.
#include <cstring>

#include "mc.h"
#include "rsaref/rsaref.h"
#include "trace/trace.h"

namespace {

using mc::kCompBinaire;

constexpr unsigned kLongueurSignature = 128;

uint16_t Signer(const unsigned char *pucMessage, uint32_t ulLongueur, R_RSA_PRIVATE_KEY *psCle,
                unsigned char *pucSignature) noexcept {
  if (pucSignature == nullptr) return 1;
  R_SIGNATURE_CTX sContexte;
  unsigned char aucSignature[MAX_SIGNATURE_LEN];
  unsigned int uiLongueurSignature = 0;
  // The toolkit takes the message as modifiable but never writes it.
  int iStatut = R_SignInit(&sContexte, DA_MD5);
  if (iStatut == 0) iStatut = R_SignUpdate(&sContexte, const_cast<unsigned char *>(pucMessage), ulLongueur);
  if (iStatut == 0) iStatut = R_SignFinal(&sContexte, aucSignature, &uiLongueurSignature, psCle);
  explicit_bzero(&sContexte, sizeof sContexte);
  if (iStatut != 0 || uiLongueurSignature != kLongueurSignature) {
    MCT_ERREUR(kCompBinaire, "signature impossible (statut 0x%04x, longueur %u)", static_cast<unsigned>(iStatut),
               uiLongueurSignature);
    return 1;
  }
  memcpy(pucSignature, aucSignature, kLongueurSignature);
  return MC_OK;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usCalculerSignatureMessage(const unsigned char *pucMessage, uint32_t ulLongueur,
                                                 R_RSA_PRIVATE_KEY sClePrivee, unsigned char *pucSignature) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usCalculerSignatureMessage : ulLongueur = %u", ulLongueur);
  const uint16_t usResultat = Signer(pucMessage, ulLongueur, &sClePrivee, pucSignature);
  // The key came by value: this copy is ours to wipe.
  explicit_bzero(&sClePrivee, sizeof sClePrivee);
  MCT_SORTIE(kCompBinaire, "MC_usCalculerSignatureMessage : Code retour = 0x%04x", usResultat);
  return usResultat;
}

MC_EXPORT uint16_t MC_usVerifierSignatureMessage(const unsigned char *pucMessage, uint32_t ulLongueur,
                                                 R_RSA_PUBLIC_KEY sClePublique,
                                                 const unsigned char *pucSignature) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usVerifierSignatureMessage : ulLongueur = %u", ulLongueur);
  R_SIGNATURE_CTX sContexte;
  int iStatut = R_VerifyInit(&sContexte, DA_MD5);
  if (iStatut == 0)
    iStatut = R_VerifyUpdate(&sContexte, const_cast<unsigned char *>(pucMessage), ulLongueur);
  if (iStatut == 0)
    iStatut = R_VerifyFinal(&sContexte, const_cast<unsigned char *>(pucSignature), kLongueurSignature,
                            &sClePublique);
  // The toolkit's codes all fit in 16 bits (0x04xx).
  const uint16_t usResultat = static_cast<uint16_t>(iStatut);
  MCT_SORTIE(kCompBinaire, "MC_usVerifierSignatureMessage : Code retour = 0x%04x", usResultat);
  return usResultat;
}

}  // extern "C"
