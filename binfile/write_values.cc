// The typed value writes of the binary file writer.  Each keeps its own way
// of counting the table's data bytes (ulTaille) and of checking the mode:
// the differences are the file format's history and are kept.
#include <cstring>

#include "binfile/file_table.h"
#include "binfile/packed_double.h"
#include "binfile/trace_binaire.h"

namespace {

using mc::kCompBinaire;

// The record of a number, or the status: 0xF807 (traced by the look-up),
// then 0xF811 for a file not in writing when the operation checks the mode.
uint16_t FichierAEcrire(uint16_t usNum, bool bControleMode, Fichier **ppsFichier) noexcept {
  Fichier *psFichier = mc::FichierOuvert(usNum);
  if (psFichier == nullptr) return usRechercherFichier(usNum, ppsFichier);
  if (bControleMode && !mc::EnEcriture(psFichier)) {
    MCT_ERREUR(kCompBinaire, "Le fichier n'est pas en ecriture");
    return MC_ERR_INTERDIT;
  }
  *ppsFichier = psFichier;
  return MC_OK;
}

// Byte by byte, stopping at the first that does not go out.  The stream's
// error flag is cleared again: the status has told the caller, and the reads
// that follow judge only their own outcome.
uint16_t EcrireOctets(FILE *pFlux, const unsigned char *puc, size_t n) noexcept {
  for (size_t i = 0; i < n; ++i) {
    if (putc_unlocked(puc[i], pFlux) != puc[i]) {
      clearerr_unlocked(pFlux);
      return MC_ERR_FICHIER;
    }
  }
  return MC_OK;
}

uint16_t EcrireBloc(FILE *pFlux, const void *pv, size_t n) noexcept {
  if (n == 0 || fwrite_unlocked(pv, 1, n, pFlux) == n) return MC_OK;
  clearerr_unlocked(pFlux);
  return MC_ERR_FICHIER;
}

// The byte is counted before it is written.
uint16_t EcrireOctetCompte(uint16_t usNum, uint8_t ucValeur) noexcept {
  Fichier *psFichier = nullptr;
  uint16_t usResultat = FichierAEcrire(usNum, true, &psFichier);
  if (usResultat != MC_OK) return usResultat;
  psFichier->ulTaille += 1;
  return EcrireOctets(psFichier->pFlux, &ucValeur, 1);
}

// Big-endian integers: counted whether or not the write succeeds.
template <int N>
uint16_t EcrireEntier(uint16_t usNum, uint32_t ulValeur) noexcept {
  Fichier *psFichier = nullptr;
  uint16_t usResultat = FichierAEcrire(usNum, true, &psFichier);
  if (usResultat != MC_OK) return usResultat;
  unsigned char aucOctets[N];
  for (int i = 0; i < N; ++i) aucOctets[i] = static_cast<unsigned char>(ulValeur >> (8 * (N - 1 - i)));
  psFichier->ulTaille += N;
  return EcrireOctets(psFichier->pFlux, aucOctets, N);
}

}  // namespace

extern "C" {

MC_EXPORT uint16_t MC_usEcrireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t ucValeur) noexcept {
  return mc::Tracer("MC_usEcrireUnsignedChar", usNumFichierBinaire,
                    [&] { return EcrireOctetCompte(usNumFichierBinaire, ucValeur); });
}

MC_EXPORT uint16_t MC_usEcrireSignedChar(uint16_t usNumFichierBinaire, int8_t cValeur) noexcept {
  return mc::Tracer("MC_usEcrireSignedChar", usNumFichierBinaire,
                    [&] { return EcrireOctetCompte(usNumFichierBinaire, static_cast<uint8_t>(cValeur)); });
}

MC_EXPORT uint16_t MC_usEcrireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t usValeur) noexcept {
  return mc::Tracer("MC_usEcrireUnsignedShort", usNumFichierBinaire,
                    [&] { return EcrireEntier<2>(usNumFichierBinaire, usValeur); });
}

MC_EXPORT uint16_t MC_usEcrireSignedShort(uint16_t usNumFichierBinaire, int16_t sValeur) noexcept {
  return mc::Tracer("MC_usEcrireSignedShort", usNumFichierBinaire,
                    [&] { return EcrireEntier<2>(usNumFichierBinaire, static_cast<uint16_t>(sValeur)); });
}

MC_EXPORT uint16_t MC_usEcrireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t ulValeur) noexcept {
  return mc::Tracer("MC_usEcrireUnsignedLong", usNumFichierBinaire,
                    [&] { return EcrireEntier<4>(usNumFichierBinaire, ulValeur); });
}

MC_EXPORT uint16_t MC_usEcrireSignedLong(uint16_t usNumFichierBinaire, int32_t lValeur) noexcept {
  return mc::Tracer("MC_usEcrireSignedLong", usNumFichierBinaire,
                    [&] { return EcrireEntier<4>(usNumFichierBinaire, static_cast<uint32_t>(lValeur)); });
}

MC_EXPORT uint16_t MC_usEcrireDouble(uint16_t usNumFichierBinaire, double dValeur) noexcept {
  return mc::Tracer("MC_usEcrireDouble", usNumFichierBinaire, [&]() -> uint16_t {
    // Kept from the first writers: the double alone has no mode check, so on
    // a file opened for reading it is attempted (and the stream refuses it).
    Fichier *psFichier = nullptr;
    uint16_t usResultat = FichierAEcrire(usNumFichierBinaire, false, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    unsigned char aucCode[8];
    if (!mc::CoderDouble(dValeur, aucCode)) {
      MCT_ERREUR(kCompBinaire, "MC_usEcrireDouble : valeur trop grande (plus de 14 chiffres avant la virgule)");
      return MC_ERR_FICHIER;
    }
    psFichier->ulTaille += 8;
    return EcrireOctets(psFichier->pFlux, aucCode, sizeof aucCode);
  });
}

MC_EXPORT uint16_t MC_usEcrireDate(uint16_t usNumFichierBinaire, uint16_t usAnnee, uint8_t ucMois,
                                   uint8_t ucJour) noexcept {
  return mc::Tracer("MC_usEcrireDate", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    uint16_t usResultat = FichierAEcrire(usNumFichierBinaire, true, &psFichier);
    if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedShort(usNumFichierBinaire, usAnnee);
    if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedChar(usNumFichierBinaire, ucMois);
    if (usResultat == MC_OK) usResultat = MC_usEcrireUnsignedChar(usNumFichierBinaire, ucJour);
    return usResultat;
  });
}

MC_EXPORT uint16_t MC_usEcrireChampFixe(uint16_t usNumFichierBinaire, const void *pvDonnees,
                                        uint32_t ulLongueur) noexcept {
  return mc::Tracer("MC_usEcrireChampFixe", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    uint16_t usResultat = FichierAEcrire(usNumFichierBinaire, true, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (pvDonnees == nullptr && ulLongueur != 0) return MC_ERR_ARGUMENT;
    usResultat = EcrireBloc(psFichier->pFlux, pvDonnees, ulLongueur);
    if (usResultat == MC_OK) psFichier->ulTaille += ulLongueur;
    return usResultat;
  });
}

MC_EXPORT uint16_t MC_usEcrireChampUnicodeFixe(uint16_t usNumFichierBinaire, const uint16_t *pusDonnees,
                                               uint32_t ulNombre) noexcept {
  return mc::Tracer("MC_usEcrireChampUnicodeFixe", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    uint16_t usResultat = FichierAEcrire(usNumFichierBinaire, true, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (pusDonnees == nullptr && ulNombre != 0) return MC_ERR_ARGUMENT;
    // The units go out as they lie in memory (little-endian here).
    usResultat = EcrireBloc(psFichier->pFlux, pusDonnees, size_t{ulNombre} * 2);
    if (usResultat == MC_OK) psFichier->ulTaille += 2 * ulNombre;
    return usResultat;
  });
}

MC_EXPORT uint16_t MC_usEcrireChaineVariable(uint16_t usNumFichierBinaire, const char *pcChaine) noexcept {
  return mc::Tracer("MC_usEcrireChaineVariable", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    uint16_t usResultat = FichierAEcrire(usNumFichierBinaire, true, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (pcChaine == nullptr) {
      const unsigned char ucVide = 0;  // reads back as an empty string
      return MC_usEcrireChampFixe(usNumFichierBinaire, &ucVide, 1);
    }
    const size_t longueur = strlen(pcChaine);
    if (longueur > UINT32_MAX) return MC_ERR_ARGUMENT;
    unsigned char aucCode[5];
    const uint32_t ulOctets = stCoderLongueur(static_cast<uint32_t>(longueur), aucCode);
    usResultat = MC_usEcrireChampFixe(usNumFichierBinaire, aucCode, ulOctets);
    if (usResultat == MC_OK)
      usResultat = MC_usEcrireChampFixe(usNumFichierBinaire, pcChaine, static_cast<uint32_t>(longueur));
    return usResultat;
  });
}

}  // extern "C"
