// Class checks of whole strings, and the case-blind comparison of names.
#include <strings.h>

#include <cstring>

#include "tools/char_classes.h"
#include "trace/trace.h"

namespace {

constexpr auto kComp = mc::kCompOutils;

// 1 when every byte of the string passes, the empty string included.
template <typename Classe>
int32_t Tous(const char *pc, Classe classe) {
  const size_t n = strlen(pc);
  for (size_t i = 0; i < n; ++i)
    if (!classe(pc[i])) return 0;
  return 1;
}

}  // namespace

extern "C" {

MC_EXPORT int32_t MC_bCompareChaine(const char *pcChaine1, const char *pcChaine2) noexcept {
  MCT_ENTREE(kComp, "MC_bCompareChaine");
  const int32_t b = (pcChaine1 != nullptr && pcChaine2 != nullptr && strcasecmp(pcChaine1, pcChaine2) == 0) ? 1 : 0;
  MCT_INFO(kComp, "bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "MC_bCompareChaine");
  return b;
}

// Bytes are read as signed values: none at or above 0x80 is a digit.
MC_EXPORT int32_t MC_bEstNumerique(const char *pcChaine) noexcept {
  MCT_ENTREE(kComp, "MC_bEstNumerique");
  const int32_t b = pcChaine == nullptr ? 0 : Tous(pcChaine, [](char c) {
    return mc::outils::EstChiffre(static_cast<signed char>(c));
  });
  if (b == 1)
    MCT_INFO(kComp, "chaine valide");
  else
    MCT_ERREUR(kComp, "chaine invalide");
  MCT_INFO(kComp, "bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "MC_bEstNumerique");
  return b;
}

// Bytes are read as unsigned values, so the accented capitals of the current
// locale pass.
MC_EXPORT int32_t MC_bEstAlphaNumerique(const char *pcChaine) noexcept {
  MCT_ENTREE(kComp, "MC_bEstAlphaNumerique");
  const int32_t b = pcChaine == nullptr ? 0 : Tous(pcChaine, [](char c) {
    const auto u = static_cast<unsigned char>(c);
    return mc::outils::EstChiffre(u) || mc::outils::EstMajuscule(u) || mc::outils::EstEspace(u);
  });
  MCT_INFO(kComp, "bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "MC_bEstAlphaNumerique");
  return b;
}

MC_EXPORT int32_t MC_bEstAlphabetique(const char *pcChaine) noexcept {
  MCT_ENTREE(kComp, "MC_bEstAlphabetique");
  const int32_t b = pcChaine == nullptr ? 0 : Tous(pcChaine, [](char c) {
    const auto u = static_cast<unsigned char>(c);
    return mc::outils::EstMajuscule(u) || mc::outils::EstEspace(u);
  });
  MCT_INFO(kComp, "bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "MC_bEstAlphabetique");
  return b;
}

}  // extern "C"
