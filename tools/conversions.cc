// Conversions offered to host modules: a number to text under a digit limit,
// and a free text to capitals, digits and spaces.
#include <cstdio>
#include <cstring>

#include "tools/char_classes.h"
#include "trace/trace.h"

namespace {

constexpr auto kComp = mc::kCompOutils;

// 10 to the power e in 32-bit arithmetic, wrapping as repeated
// multiplications by 10 would (10 digits and more give wrapped limits).
uint32_t PuissanceDeDix(uint32_t e) {
  uint32_t resultat = 1, base = 10;
  while (e != 0) {
    if (e & 1u) resultat *= base;
    base *= base;
    e >>= 1;
  }
  return resultat;
}

}  // namespace

extern "C" {

MC_EXPORT int32_t MC_bLongAChaine(int32_t lValeur, char *pcTexte, uint32_t ulChiffres) noexcept {
  // Kept for compatibility: the trace names a status function.
  MCT_ENTREE(kComp, "MC_usLongAChaine");
  int32_t b = 0;
  // Compared as signed numbers: a negative value always passes, and a
  // wrapped limit may turn negative and refuse every positive value.
  if (pcTexte != nullptr && lValeur < static_cast<int32_t>(PuissanceDeDix(ulChiffres))) {
    sprintf(pcTexte, "%d", lValeur);
    b = 1;
  }
  MCT_INFO(kComp, "usResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "MC_usLongAChaine");
  return b;
}

MC_EXPORT int32_t MC_bConvertirEtenduEnAlpha(const char *pcSource, char **ppcTexte, uint32_t *pulLongueur,
                                             uint32_t ulSupprimerAutres) noexcept {
  MCT_ENTREE(kComp, "MC_bConvertirEtenduEnAlpha");
  int32_t b = 0;
  if (pcSource != nullptr && ppcTexte != nullptr && pulLongueur != nullptr) {
    const uint16_t n = static_cast<uint16_t>(strlen(pcSource));
    char *texte = *ppcTexte;
    if (n != 0) {
      // With the flag at 0 the byte after the last character becomes a
      // trailing space: n + 1 characters and the NUL.
      texte = static_cast<char *>(MC_Allouer(uint32_t{n} + (ulSupprimerAutres != 0 ? 1u : 2u)));
      *ppcTexte = texte;
    }
    if (texte != nullptr) {
      uint32_t j = 0;
      // n characters and then the byte that follows them, each read as a
      // signed value: no byte at or above 0x80 is in any class.
      for (uint32_t i = 0; i <= n; ++i) {
        const auto c = static_cast<signed char>(pcSource[i]);
        if (mc::outils::EstEspace(c) || mc::outils::EstMajusculeSigne(c) || mc::outils::EstChiffre(c))
          texte[j++] = static_cast<char>(c);
        else if (mc::outils::EstMinusculeSigne(c))
          texte[j++] = static_cast<char>(c - 'a' + 'A');
        else if (ulSupprimerAutres == 0)
          texte[j++] = ' ';
      }
      texte[j] = '\0';
      *pulLongueur = j;
      // Format byte 2 is no format letter: nothing is checked or cut.
      b = MC_bReduireChaine(texte, j, 2, pulLongueur);
      *pulLongueur = static_cast<uint32_t>(strlen(texte));
    }
  }
  MCT_INFO(kComp, "bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "MC_bConvertirEtenduEnAlpha");
  return b;
}

}  // extern "C"
