// Signing a binary file at close and checking it at open.  The signed part is
// the file from offset 4 (the CRC field stays "0000" and is not signed) to
// the end of the last table; the 128-byte signature follows it.
#include <cstdint>
#include <cstring>

#include "binfile/public_key.h"
#include "mc.h"
#include "trace/trace.h"

namespace {

using mc::kCompBinaire;

constexpr uint32_t kDebutSigne = 4;
constexpr uint32_t kLongueurSignature = 128;

uint16_t Signer(uint16_t usNum, const char *pcCheminClePrivee) noexcept {
  R_RSA_PRIVATE_KEY sCle;
  uint16_t usResultat = MC_usLireClePrivee(pcCheminClePrivee, &sCle);
  if (usResultat != MC_OK) {
    explicit_bzero(&sCle, sizeof sCle);
    MCT_ERREUR(kCompBinaire, "Probleme lors de la lecture de la cle privee");
    return usResultat;
  }
  uint32_t ulLongueur = 0;
  usResultat = MC_usLongueurFichierBinaire(usNum, &ulLongueur);
  // The offsets of the stream are signed 32-bit.
  if (usResultat == MC_OK && (ulLongueur < kDebutSigne || ulLongueur > INT32_MAX)) usResultat = MC_ERR_FICHIER;
  unsigned char *pucMessage = nullptr;
  if (usResultat == MC_OK)
    usResultat = MC_usLireFichierBinaire(usNum, kDebutSigne, ulLongueur - kDebutSigne, &pucMessage);
  unsigned char aucSignature[kLongueurSignature];
  if (usResultat == MC_OK &&
      MC_usCalculerSignatureMessage(pucMessage, ulLongueur - kDebutSigne, sCle, aucSignature) != MC_OK)
    usResultat = 1;
  explicit_bzero(&sCle, sizeof sCle);
  if (usResultat == MC_OK) usResultat = MC_usPositionnerOffset(usNum, static_cast<int32_t>(ulLongueur), 0);
  if (usResultat == MC_OK && MC_usEcrireChampFixe(usNum, aucSignature, kLongueurSignature) != MC_OK)
    usResultat = MC_ERR_FICHIER;
  MC_Liberer(pucMessage);
  return usResultat;
}

uint16_t Verifier(uint16_t usNum) noexcept {
  auto *psCle = static_cast<R_RSA_PUBLIC_KEY *>(MC_Allouer(sizeof(R_RSA_PUBLIC_KEY)));
  if (psCle == nullptr) return MC_ERR_FICHIER;
  mc::RemplirClePublique(psCle);
  uint32_t ulLongueur = 0;
  uint16_t usResultat = MC_usLongueurFichierBinaire(usNum, &ulLongueur);
  // Too short to hold the CRC field and a signature: nothing was signed.
  if (usResultat == MC_OK && ulLongueur < kDebutSigne + kLongueurSignature) usResultat = MC_ERR_SIG_LONGUEUR;
  if (usResultat == MC_OK && ulLongueur > INT32_MAX) usResultat = MC_ERR_FICHIER;
  const uint32_t ulLongueurMessage = ulLongueur - kDebutSigne - kLongueurSignature;
  unsigned char *pucMessage = nullptr;
  unsigned char *pucSignature = nullptr;
  if (usResultat == MC_OK) usResultat = MC_usLireFichierBinaire(usNum, kDebutSigne, ulLongueurMessage, &pucMessage);
  if (usResultat == MC_OK)
    usResultat = MC_usLireFichierBinaire(usNum, static_cast<int32_t>(ulLongueur - kLongueurSignature),
                                         kLongueurSignature, &pucSignature);
  if (usResultat == MC_OK)
    usResultat = MC_usVerifierSignatureMessage(pucMessage, ulLongueurMessage, *psCle, pucSignature);
  MC_Liberer(pucSignature);
  MC_Liberer(pucMessage);
  MC_Liberer(psCle);
  return usResultat;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usEcrireSignatureFichier(uint16_t usNumFichierBinaire, const char *pcCheminClePrivee) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usEcrireSignatureFichier : NumFichier = %d", static_cast<int>(usNumFichierBinaire));
  const uint16_t usResultat = Signer(usNumFichierBinaire, pcCheminClePrivee);
  MCT_SORTIE(kCompBinaire, "MC_usEcrireSignatureFichier : Code retour = 0x%04x", static_cast<unsigned>(usResultat));
  return usResultat;
}

MC_EXPORT uint16_t MC_usVerifierSignatureFichier(uint16_t usNumFichierBinaire) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usVerifierSignatureFichier : NumFichier = %d", static_cast<int>(usNumFichierBinaire));
  const uint16_t usResultat = Verifier(usNumFichierBinaire);
  MCT_SORTIE(kCompBinaire, "MC_usVerifierSignatureFichier : Code retour = 0x%04x", static_cast<unsigned>(usResultat));
  return usResultat;
}

}  // extern "C"
