// The CRC of a binary file: computed over the bytes from offset 4 to the
// end, and stored as four hexadecimal digits at offset 0.
#include <cstring>

#include "binfile/crc16.h"
#include "binfile/file_table.h"
#include "binfile/reader.h"
#include "binfile/trace_binaire.h"

namespace mc {

uint16_t LireChampCRC(Fichier *psFichier, char acChamp[4]) noexcept {
  FILE *pFlux = psFichier->pFlux;
  const long position = ftell(pFlux);
  if (position == -1 || fseek(pFlux, 0, SEEK_SET) != 0) return MC_ERR_FICHIER;
  const bool lu = fread(acChamp, 1, 4, pFlux) == 4;
  clearerr(pFlux);
  if (fseek(pFlux, position, SEEK_SET) != 0 || !lu) return MC_ERR_FICHIER;
  return MC_OK;
}

bool ValeurChampCRC(const char acChamp[4], uint16_t *pusValeur) noexcept {
  uint32_t valeur = 0;
  bool valide = true;
  for (int i = 0; i < 4; ++i) {
    const uint16_t chiffre = usConvertirHexa(acChamp[i]);
    valide = valide && chiffre != 0xFFFF;
    valeur = valeur * 16u + chiffre;
  }
  *pusValeur = static_cast<uint16_t>(valeur);
  return valide;
}

}  // namespace mc

extern "C" {

MC_EXPORT uint16_t usConvertirHexa(char cCaractere) noexcept {
  if (cCaractere >= '0' && cCaractere <= '9') return static_cast<uint16_t>(cCaractere - '0');
  if (cCaractere >= 'A' && cCaractere <= 'F') return static_cast<uint16_t>(cCaractere - 'A' + 10);
  if (cCaractere >= 'a' && cCaractere <= 'f') return static_cast<uint16_t>(cCaractere - 'a' + 10);
  return 0xFFFF;
}

MC_EXPORT uint16_t usLireCRC(uint16_t usNumFichierBinaire, uint16_t *pusCRC) noexcept {
  return mc::Tracer("usLireCRC", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = mc::FichierOuvert(usNumFichierBinaire);
    if (psFichier == nullptr) return MC_ERR_FICHIER;
    if (pusCRC == nullptr) return MC_ERR_ARGUMENT;
    char acChamp[4];
    const uint16_t usResultat = mc::LireChampCRC(psFichier, acChamp);
    if (usResultat == MC_OK) mc::ValeurChampCRC(acChamp, pusCRC);
    return usResultat;
  });
}

MC_EXPORT uint16_t usCalculerCRC16(uint16_t usNumFichierBinaire, uint16_t *pusCRC) noexcept {
  return mc::Tracer("usCalculerCRC16", usNumFichierBinaire, [&]() -> uint16_t {
    Fichier *psFichier = nullptr;
    const uint16_t usResultat = usRechercherFichier(usNumFichierBinaire, &psFichier);
    if (usResultat != MC_OK) return usResultat;
    if (pusCRC == nullptr) return MC_ERR_ARGUMENT;
    FILE *pFlux = psFichier->pFlux;
    const long position = ftell(pFlux);
    if (position == -1) return MC_ERR_FICHIER;
    if (fseek(pFlux, 4, SEEK_SET) != 0) return 1;
    // Blocks of 16 KiB: the engine's speed wants more than a few hundred
    // bytes per call, and a host thread's stack is not ours to spend.
    unsigned char aucBloc[16384];
    uint16_t usRegistre = 0;
    size_t lus;
    do {
      lus = fread_unlocked(aucBloc, 1, sizeof aucBloc, pFlux);
      usRegistre = mc::Crc16Continuer(usRegistre, aucBloc, lus);
    } while (lus == sizeof aucBloc);
    const bool erreur = ferror_unlocked(pFlux) != 0;
    clearerr_unlocked(pFlux);
    if (fseek(pFlux, position, SEEK_SET) != 0 || erreur) return MC_ERR_FICHIER;
    *pusCRC = mc::Crc16Resultat(usRegistre);
    MCT_INFO(mc::kCompBinaire, "CRC = %04X", *pusCRC);
    return MC_OK;
  });
}

}  // extern "C"
