// The two key sources of the signatures: the private key file of the signers
// and the public key built into the library.
#include <cstdio>
#include <cstring>

#include "binfile/public_key.h"
#include "mc.h"
#include "trace/trace.h"

namespace mc {

void RemplirClePublique(R_RSA_PUBLIC_KEY *psCle) noexcept {
  psCle->bits = MAX_RSA_MODULUS_BITS;
  for (unsigned i = 0; i < MAX_RSA_MODULUS_LEN; ++i) {
    psCle->modulus[i] = static_cast<unsigned char>(MODULUS[i] & 0xFFu);
    psCle->exponent[i] = static_cast<unsigned char>(EXPONENT[i] & 0xFFu);
  }
}

}  // namespace mc

namespace {

using mc::kCompBinaire;

// The binary fields after the bit count.
constexpr size_t kOctetsFichierCle = 3 * MAX_RSA_MODULUS_LEN + 5 * MAX_RSA_PRIME_LEN;
static_assert(kOctetsFichierCle == 704);

// The key file: the bit count as decimal text, then at once the eight binary
// fields of the record.  Short reads are not detected (kept for
// compatibility): a short file gives a key that signs nothing, since the
// record was cleared first.
uint16_t LireCle(const char *pcChemin, R_RSA_PRIVATE_KEY *psCle) noexcept {
  if (psCle == nullptr) return MC_ERR_ARGUMENT;
  memset(psCle, 0, sizeof *psCle);
  if (pcChemin == nullptr) return MC_ERR_FICHIER;
  FILE *pFlux = fopen(pcChemin, "rb");
  if (pFlux == nullptr) {
    MCT_ERREUR(kCompBinaire, "MC_usLireClePrivee : ouverture impossible du fichier %s", pcChemin);
    return MC_ERR_FICHIER;
  }
  // The stream buffers the key bytes in a block of ours, wiped once the
  // stream is closed, rather than in one that stdio would free uncleared.
  unsigned char aucTampon[1024];
  setvbuf(pFlux, reinterpret_cast<char *>(aucTampon), _IOFBF, sizeof aucTampon);
  int iBits = 0;
  if (fscanf(pFlux, "%d", &iBits) != 1) iBits = 0;
  psCle->bits = static_cast<uint32_t>(iBits);
  unsigned char *const apucChamps[] = {psCle->modulus,          psCle->publicExponent,   psCle->exponent,
                                       psCle->prime[0],         psCle->prime[1],         psCle->primeExponent[0],
                                       psCle->primeExponent[1], psCle->coefficient};
  const size_t aulTailles[] = {MAX_RSA_MODULUS_LEN, MAX_RSA_MODULUS_LEN, MAX_RSA_MODULUS_LEN, MAX_RSA_PRIME_LEN,
                               MAX_RSA_PRIME_LEN,   MAX_RSA_PRIME_LEN,   MAX_RSA_PRIME_LEN,   MAX_RSA_PRIME_LEN};
  size_t ulLus = 0;
  for (size_t i = 0; i < 8; ++i) ulLus += fread(apucChamps[i], 1, aulTailles[i], pFlux);
  if (ulLus != kOctetsFichierCle)
    MCT_ERREUR(kCompBinaire, "MC_usLireClePrivee : cle incomplete (%zu octets sur %zu)", ulLus, kOctetsFichierCle);
  const int iFermeture = fclose(pFlux);
  explicit_bzero(aucTampon, sizeof aucTampon);
  if (iFermeture != 0) {
    MCT_ERREUR(kCompBinaire, "MC_usLireClePrivee : fermeture impossible du fichier %s", pcChemin);
    return MC_ERR_FICHIER;
  }
  return MC_OK;
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usLireClePrivee(const char *pcChemin, R_RSA_PRIVATE_KEY *psClePrivee) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_usLireClePrivee");
  const uint16_t usResultat = LireCle(pcChemin, psClePrivee);
  MCT_SORTIE(kCompBinaire, "MC_usLireClePrivee : Code retour = 0x%04x", usResultat);
  return usResultat;
}

MC_EXPORT R_RSA_PUBLIC_KEY *MC_LireClePublique(void) noexcept {
  MCT_ENTREE(kCompBinaire, "MC_LireClePublique");
  auto *psCle = static_cast<R_RSA_PUBLIC_KEY *>(MC_Allouer(sizeof(R_RSA_PUBLIC_KEY)));
  if (psCle != nullptr) mc::RemplirClePublique(psCle);
  MCT_SORTIE(kCompBinaire, "MC_LireClePublique : Cle = %p", static_cast<void *>(psCle));
  return psCle;
}

}  // extern "C"
