// Small text helpers of the INI layer, exported for the host modules.
#include <cctype>

#include "mc.h"

extern "C" {

MC_EXPORT int32_t pkw_GetLine(const char *pcTexte) noexcept {
  if (pcTexte == nullptr) return 0;
  int32_t n = 0;
  while (pcTexte[n] != '\0' && pcTexte[n] != '\r' && pcTexte[n] != '\n') ++n;
  return n;
}

MC_EXPORT int32_t pkw_GetToken(const char *pcTexte, char cCaractere) noexcept {
  if (pcTexte == nullptr) return 0;
  // Kept for compatibility: "absent" and "at position 0" both give 0.
  for (int32_t i = 0; pcTexte[i] != '\0' && pcTexte[i] != '\r' && pcTexte[i] != '\n'; ++i) {
    if (pcTexte[i] == cCaractere) return i;
  }
  return 0;
}

MC_EXPORT char *pkw_uprstr(char *pcTexte) noexcept {
  if (pcTexte == nullptr) return nullptr;
  for (char *p = pcTexte; *p != '\0'; ++p) *p = static_cast<char>(toupper(static_cast<unsigned char>(*p)));
  return pcTexte;
}

}  // extern "C"
