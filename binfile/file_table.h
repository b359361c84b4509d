// Internal side of the binary files: the record the file table really holds,
// the untraced number look-up of the hot paths, and the helpers that create,
// open and close share.  Also the entry point for the tools built on the
// reader (the dictionary loader, the tables dump), which may read the state
// of an open file here.
#ifndef MC_BINFILE_FILE_TABLE_H
#define MC_BINFILE_FILE_TABLE_H

#include <cstdio>

#include "mc.h"

namespace mc {

// Bytes that the reader keeps off the end of the data for every control type
// but the CRC: the room of the signature trailer, even in files without one.
inline constexpr uint32_t kTailleBlocFinal = 128;

// What a slot of `fichiers` points at: the public record first, so that the
// slot and &fichier are the same address, then state of our own.
struct FichierInterne {
  Fichier fichier;
  // The stream's position could be told when it was opened.  A stream on a
  // regular file keeps that property, so the value reads, which must refuse a
  // stream whose position cannot be told, need not pay ftell's lock per call.
  bool bPositionSure;
};

inline FichierInterne *Interne(Fichier *psFichier) noexcept {
  return reinterpret_cast<FichierInterne *>(psFichier);
}

// The record of an open file number, or null for a number that is outside
// 1..100, free or only reserved.  No trace: callers fall back on
// usRechercherFichier to report the failure.
inline Fichier *FichierOuvert(uint16_t usNumFichierBinaire) noexcept {
  const unsigned indice = static_cast<unsigned>(usNumFichierBinaire) - 1u;
  if (indice >= MC_NB_FICHIERS_MAX) return nullptr;
  Fichier *psFichier = fichiers[indice];
  return psFichier == MC_FICHIER_RESERVE ? nullptr : psFichier;
}

inline bool EnEcriture(const Fichier *psFichier) noexcept {
  return psFichier->bEcriture == 1 && psFichier->bLecture == 0;
}

// The reads refuse a stream whose position cannot be told (a pipe, say).
inline bool PositionLisible(Fichier *psFichier) noexcept {
  return Interne(psFichier)->bPositionSure || ftell(psFichier->pFlux) != -1;
}

// A new record (counted memory) with copies of the directory and the name;
// null when memory is short.  Nothing else is set.
Fichier *CreerEnregistrement(const char *pcRepertoire, const char *pcNomFichier) noexcept;
// Frees the copies and the record; the stream is the caller's business.
void LibererEnregistrement(Fichier *psFichier) noexcept;
// Empties the slot of a number, whatever it holds.
void LibererNumero(uint16_t usNumFichierBinaire) noexcept;

}  // namespace mc

#endif  // MC_BINFILE_FILE_TABLE_H
