// The typed value reads of the binary file reader.  Integers are read with
// the unlocked stdio calls: the library is used from one thread at a time,
// and the locked getc costs more than the rest of a 4-byte read.
#include <cstring>

#include "binfile/file_table.h"
#include "binfile/packed_double.h"
#include "binfile/reader.h"
#include "binfile/trace_binaire.h"

namespace {

using mc::kCompBinaire;

// Strings announced longer than this are checked against what is left of
// the file before their block is taken; shorter ones cost no system call.
constexpr uint32_t kLongueurSansControle = 4096;

uint16_t Rechercher(uint16_t usNum, Fichier **ppsFichier) noexcept {
  Fichier *psFichier = mc::FichierOuvert(usNum);
  if (psFichier == nullptr) return usRechercherFichier(usNum, ppsFichier);
  *ppsFichier = psFichier;
  return MC_OK;
}

// N bytes big-endian, all N read even past the end of the file; the value is
// stored only when none of them was the end.
template <int N>
uint16_t LireEntier(uint16_t usNum, uint32_t *pulValeur) noexcept {
  Fichier *psFichier = nullptr;
  const uint16_t usResultat = Rechercher(usNum, &psFichier);
  if (usResultat != MC_OK) return usResultat;
  if (pulValeur == nullptr) return MC_ERR_ARGUMENT;
  if (!mc::PositionLisible(psFichier)) return MC_ERR_FIN_FICHIER;
  FILE *pFlux = psFichier->pFlux;
  uint32_t valeur = 0;
#ifdef __GLIBC__
  // All N bytes in the stream's buffer: take them there, as getc_unlocked's
  // own macro does byte by byte.
  if (pFlux->_IO_read_end - pFlux->_IO_read_ptr >= N) {
    const auto *puc = reinterpret_cast<const unsigned char *>(pFlux->_IO_read_ptr);
    for (int i = 0; i < N; ++i) valeur = valeur << 8 | puc[i];
    pFlux->_IO_read_ptr += N;
    *pulValeur = valeur;
    return MC_OK;
  }
#endif
  bool fin = false;
  for (int i = 0; i < N; ++i) {
    const int c = getc_unlocked(pFlux);
    fin |= c == EOF;
    valeur = valeur << 8 | static_cast<uint32_t>(c & 0xFF);
  }
  if (fin) return MC_ERR_FIN_FICHIER;
  *pulValeur = valeur;
  return MC_OK;
}

template <int N, class T>
uint16_t LireEntierVers(uint16_t usNum, T *pValeur) noexcept {
  if (pValeur == nullptr) return MC_ERR_ARGUMENT;
  uint32_t valeur = 0;
  const uint16_t usResultat = LireEntier<N>(usNum, &valeur);
  if (usResultat == MC_OK) *pValeur = static_cast<T>(valeur);
  return usResultat;
}

}  // namespace

namespace mc {

uint16_t LireChamp(Fichier *psFichier, void *pv, uint32_t ulALire, uint32_t ulAnnonce) noexcept {
  const size_t lus = ulALire == 0 ? 0 : fread_unlocked(pv, 1, ulALire, psFichier->pFlux);
  if (lus == ulAnnonce) return MC_OK;
  MCT_ERREUR(kCompBinaire, "MC_usLireChampFixe : Fin de fichier lu %d a liree %d usCr %d", static_cast<int>(lus),
             static_cast<int>(ulAnnonce), kCodeFinFichier);
  return MC_ERR_FIN_FICHIER;
}

uint16_t Avancer(Fichier *psFichier, uint64_t ulOctets, uint32_t ulLongueur) noexcept {
  const long position = ftell(psFichier->pFlux);
  if (position < 0 || static_cast<uint64_t>(position) + ulOctets > ulLongueur) return MC_ERR_FIN_FICHIER;
  if (fseek(psFichier->pFlux, static_cast<long>(ulOctets), SEEK_CUR) != 0) return MC_ERR_FIN_FICHIER;
  return MC_OK;
}

}  // namespace mc

extern "C" {

MC_EXPORT uint16_t MC_usLireUnsignedChar(uint16_t usNumFichierBinaire, uint8_t *pucValeur) noexcept {
  return mc::Tracer("MC_usLireUnsignedChar", usNumFichierBinaire,
                    [&] { return LireEntierVers<1>(usNumFichierBinaire, pucValeur); });
}

MC_EXPORT uint16_t MC_usLireSignedChar(uint16_t usNumFichierBinaire, int8_t *pcValeur) noexcept {
  return mc::Tracer("MC_usLireSignedChar", usNumFichierBinaire,
                    [&] { return LireEntierVers<1>(usNumFichierBinaire, pcValeur); });
}

MC_EXPORT uint16_t MC_usLireUnsignedShort(uint16_t usNumFichierBinaire, uint16_t *pusValeur) noexcept {
  return mc::Tracer("MC_usLireUnsignedShort", usNumFichierBinaire,
                    [&] { return LireEntierVers<2>(usNumFichierBinaire, pusValeur); });
}

MC_EXPORT uint16_t MC_usLireSignedShort(uint16_t usNumFichierBinaire, int16_t *psValeur) noexcept {
  return mc::Tracer("MC_usLireSignedShort", usNumFichierBinaire,
                    [&] { return LireEntierVers<2>(usNumFichierBinaire, psValeur); });
}

MC_EXPORT uint16_t MC_usLireUnsignedLong(uint16_t usNumFichierBinaire, uint32_t *pulValeur) noexcept {
  return mc::Tracer("MC_usLireUnsignedLong", usNumFichierBinaire,
                    [&] { return LireEntier<4>(usNumFichierBinaire, pulValeur); });
}

MC_EXPORT uint16_t MC_usLireSignedLong(uint16_t usNumFichierBinaire, int32_t *plValeur) noexcept {
  return mc::Tracer("MC_usLireSignedLong", usNumFichierBinaire,
                    [&] { return LireEntierVers<4>(usNumFichierBinaire, plValeur); });
}

MC_EXPORT uint16_t MC_usLireDouble(uint16_t usNumFichierBinaire, double *pdValeur) noexcept {
  return mc::Tracer("MC_usLireDouble", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    const uint16_t usResultat = Rechercher(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (pdValeur == nullptr) return MC_ERR_ARGUMENT;
    if (!mc::PositionLisible(psFichier)) return MC_ERR_FIN_FICHIER;
    unsigned char aucCode[8];
    if (fread_unlocked(aucCode, 1, 8, psFichier->pFlux) != 8 || ferror_unlocked(psFichier->pFlux))
      return MC_ERR_FIN_FICHIER;
    *pdValeur = mc::DecoderDouble(aucCode);
    return MC_OK;
  });
}

MC_EXPORT uint16_t MC_usLireDate(uint16_t usNumFichierBinaire, uint16_t *pusAnnee, uint8_t *pucMois,
                                 uint8_t *pucJour) noexcept {
  return mc::Tracer("MC_usLireDate", usNumFichierBinaire, [&]() -> uint16_t {
    uint16_t usResultat = LireEntierVers<2>(usNumFichierBinaire, pusAnnee);
    if (usResultat == MC_OK) usResultat = LireEntierVers<1>(usNumFichierBinaire, pucMois);
    if (usResultat == MC_OK) usResultat = LireEntierVers<1>(usNumFichierBinaire, pucJour);
    return usResultat;
  });
}

MC_EXPORT uint16_t MC_usLireChampFixe(uint16_t usNumFichierBinaire, void *pvBuffer, uint32_t ulLongueur) noexcept {
  return mc::Tracer("MC_usLireChampFixe", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    const uint16_t usResultat = Rechercher(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (pvBuffer == nullptr && ulLongueur != 0) return MC_ERR_ARGUMENT;
    return mc::LireChamp(psFichier, pvBuffer, ulLongueur, ulLongueur);
  });
}

MC_EXPORT uint16_t MC_usLireChampUnicodeFixe(uint16_t usNumFichierBinaire, uint16_t *pusBuffer,
                                             uint32_t ulNombre) noexcept {
  return mc::Tracer("MC_usLireChampUnicodeFixe", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    const uint16_t usResultat = Rechercher(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (pusBuffer == nullptr && ulNombre != 0) return MC_ERR_ARGUMENT;
    const size_t lus = ulNombre == 0 ? 0 : fread_unlocked(pusBuffer, 2, ulNombre, psFichier->pFlux);
    // Kept: the count read is cut to 16 bits before the comparison, so 65536
    // units or more are never read successfully.
    const uint16_t usLus = static_cast<uint16_t>(lus);
    if (usLus == ulNombre) return MC_OK;
    MCT_ERREUR(kCompBinaire, "MC_usLireChampUnicodeFixe : Fin de fichier lu %d a liree %d usCr %d",
               static_cast<int>(usLus), static_cast<int>(ulNombre), mc::kCodeFinFichier);
    return MC_ERR_FIN_FICHIER;
  });
}

MC_EXPORT uint16_t MC_usLireChaineVariable(uint16_t usNumFichierBinaire, char **ppcChaine) noexcept {
  return mc::Tracer("MC_usLireChaineVariable", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    const uint16_t usResultat = Rechercher(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (ppcChaine == nullptr) return MC_ERR_ARGUMENT;
    *ppcChaine = nullptr;
    FILE *pFlux = psFichier->pFlux;
    int c = getc_unlocked(pFlux);
    if (c == EOF) return MC_ERR_FIN_FICHIER;
    uint32_t longueur = static_cast<uint32_t>(c);
    if (c > 0x80) {  // a lone 0x80 is taken as 128
      const uint32_t octets = static_cast<uint32_t>(c) & 0x7F;
      if (octets > 4) {
        MCT_ERREUR(kCompBinaire, "MC_usLireChaineVariable : Nombre d'octets pour coder la longueur (%u) > %d.",
                   octets, 4);
        return MC_ERR_ARGUMENT;
      }
      longueur = 0;
      for (uint32_t i = 0; i < octets; ++i) {
        c = getc_unlocked(pFlux);
        // A code cut by the end of the file is refused before anything is
        // taken, rather than read as a shorter length.
        if (c == EOF) return MC_ERR_FIN_FICHIER;
        longueur = longueur << 8 | static_cast<uint32_t>(c);
      }
    }
    // A hostile length is not allowed to take gigabytes: the block holds at
    // most what is left of the file, the read then fails with the end-of-file
    // status as it would have anyway.
    uint64_t aLire = longueur;
    if (longueur > kLongueurSansControle) {
      const long position = ftell(pFlux);
      uint32_t ulLongueurFichier = 0;
      if (position >= 0 && MC_usLongueurFichier(pFlux, &ulLongueurFichier) == MC_OK) {
        const uint64_t reste =
            ulLongueurFichier > static_cast<uint64_t>(position) ? ulLongueurFichier - static_cast<uint64_t>(position)
                                                                 : 0;
        if (aLire > reste) aLire = reste;
      }
    }
    if (aLire + 1 > UINT32_MAX) return MC_ERR_ALLOCATION;
    char *pcChaine = static_cast<char *>(MC_Allouer(static_cast<uint32_t>(aLire + 1)));
    *ppcChaine = pcChaine;  // the caller's from now on, whatever follows
    if (pcChaine == nullptr) return MC_ERR_ALLOCATION;
    const uint16_t usLecture = mc::LireChamp(psFichier, pcChaine, static_cast<uint32_t>(aLire), longueur);
    pcChaine[usLecture == MC_OK ? longueur : 0] = '\0';
    return usLecture;
  });
}

}  // extern "C"
