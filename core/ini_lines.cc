// Line readers of the INI layer: read_line for the writer, and its variant
// read_lineSpecial that hands out a last line without LF once.
#include <cstdio>
#include <string>

#include "core/ini.h"
#include "mc.h"

namespace mc {

bool LireLigneIni(FILE *pstFichier, std::string &ligne) {
  ligne.clear();
  for (;;) {
    const int c = fgetc(pstFichier);
    // Kept for compatibility: the byte 0xFF reads as the end of the file.
    if (c == EOF || c == 0xFF) return false;
    if (c == '\n') return feof(pstFichier) == 0;
    ligne.push_back(static_cast<char>(c));
  }
}

}  // namespace mc

namespace {

// Copies at most kTailleTamponIni - 1 characters of a line into a caller's
// buffer, terminated or not as the reader decided.
void CopierLigne(const std::string &ligne, char *pcLigne, bool terminer) {
  const size_t n = ligne.size() < mc::kTailleTamponIni - 1 ? ligne.size() : mc::kTailleTamponIni - 1;
  ligne.copy(pcLigne, n);
  if (terminer) pcLigne[n] = '\0';
}

}  // namespace

extern "C" {

MC_EXPORT int32_t finficpourligne = 0;

MC_EXPORT int32_t read_line(FILE *pstFichier, char *pcLigne) noexcept {
  if (pstFichier == nullptr || pcLigne == nullptr) return 0;
  try {
    std::string ligne;
    const bool lue = mc::LireLigneIni(pstFichier, ligne);
    CopierLigne(ligne, pcLigne, lue);
    return lue ? 1 : 0;
  } catch (...) {
    return 0;
  }
}

MC_EXPORT int32_t read_lineSpecial(FILE *pstFichier, char *pcLigne) noexcept {
  if (pstFichier == nullptr || pcLigne == nullptr) return 0;
  size_t n = 0;
  for (;;) {
    const int c = fgetc(pstFichier);
    if (c == '\n') break;
    if (c == EOF || c == 0xFF) {
      // The first end (or 0xFF byte) closes the line and is kept in it, so a
      // last line without LF is still handed out; the next one ends reading.
      if (finficpourligne != 0) {
        finficpourligne = 0;
        return 0;
      }
      finficpourligne = 1;
      if (n < mc::kTailleTamponIni - 1) pcLigne[n++] = static_cast<char>(0xFF);
      break;
    }
    if (n < mc::kTailleTamponIni - 1) pcLigne[n++] = static_cast<char>(c);
  }
  pcLigne[n] = '\0';
  return 1;
}

}  // extern "C"
