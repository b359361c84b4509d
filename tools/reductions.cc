// Checks of a value against its format letter, and its reduction: trailing
// spaces of 'A' and 'L' values, leading zeros of 'N' values.
#include <cstdlib>
#include <cstring>

#include "trace/trace.h"

namespace {

constexpr auto kComp = mc::kCompOutils;

uint32_t EspacesFinaux(const char *pc, uint32_t n) {
  uint32_t k = 0;
  while (k < n && pc[n - 1 - k] == ' ') ++k;
  return k;
}

// Checks the NUL-terminated value pcValeur (n bytes before its terminator, or
// fewer when it holds a NUL) against the format letter, tracing the check's
// result under the name of the check.  On success stores in *pulUtile n less
// the trailing spaces for 'A' and 'L', n otherwise.  For 'D' the value must
// also pass the date check when bDate is set.
int32_t ControlerFormat(const char *pcValeur, uint32_t n, char cFormat, bool bDate, uint32_t *pulUtile) {
  int32_t b = 1;
  uint32_t utile = n;
  switch (cFormat) {
    case 'A':
      b = MC_bEstAlphaNumerique(pcValeur);
      MCT_INFO(kComp, "MC_bEstAlphaNumerique:bResultat = 0x%04x", static_cast<unsigned>(b));
      utile = n - EspacesFinaux(pcValeur, n);
      break;
    case 'L':
      b = MC_bEstAlphabetique(pcValeur);
      MCT_INFO(kComp, "MC_bEstAlphabetique:bResultat = 0x%04x", static_cast<unsigned>(b));
      utile = n - EspacesFinaux(pcValeur, n);
      break;
    case 'N':
      b = MC_bEstNumerique(pcValeur);
      MCT_INFO(kComp, "MC_bEstNumerique:bResultat = 0x%04x", static_cast<unsigned>(b));
      break;
    case 'D':
      b = MC_bEstNumerique(pcValeur);
      // Kept for compatibility: a digit string of a length other than 6, 8
      // or 12 passes the date check.
      if (bDate && b == 1) b = MC_bEstDateChaineValide(pcValeur);
      MCT_INFO(kComp, "MC_bEstNumerique:bResultat = 0x%04x", static_cast<unsigned>(b));
      break;
    default:
      break;
  }
  if (b == 1) *pulUtile = utile;
  return b;
}

// A NUL-terminated copy of n bytes in a counted block, or null.
char *Copier(const char *pcSource, uint32_t n) {
  if (n == UINT32_MAX) return nullptr;
  auto *copie = static_cast<char *>(MC_Allouer(n + 1));
  if (copie == nullptr) return nullptr;
  memcpy(copie, pcSource, n);
  copie[n] = '\0';
  return copie;
}

}  // namespace

extern "C" {

MC_EXPORT int32_t MC_bReduireChaine(char *pcTexte, uint32_t ulLongueur, char cFormat,
                                    uint32_t *pulNouvelleLongueur) noexcept {
  MCT_ENTREE(kComp, "MC_bReduireChaine");
  int32_t b = 0;
  // The text is first cut to the given length; a text that ends sooner is
  // taken up to its NUL.
  const uint32_t n = (pcTexte == nullptr) ? 0 : static_cast<uint32_t>(strnlen(pcTexte, ulLongueur));
  char *copie = (pcTexte == nullptr || pulNouvelleLongueur == nullptr) ? nullptr : Copier(pcTexte, n);
  if (copie != nullptr) {
    memcpy(pcTexte, copie, size_t{n} + 1);
    uint32_t nouvelle = n;
    b = ControlerFormat(copie, n, cFormat, false, &nouvelle);
    if (b == 1) {
      size_t debut = 0;
      if (cFormat == 'N') {
        // One character always stays: 0000 becomes 0.
        while (nouvelle > 1 && copie[debut] == '0') {
          ++debut;
          --nouvelle;
        }
      }
      *pulNouvelleLongueur = nouvelle;
      memcpy(pcTexte, copie + debut, nouvelle);
      pcTexte[nouvelle] = '\0';
    }
    MC_Liberer(copie);
  }
  MCT_INFO(kComp, "MC_bReduireChaine:bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "MC_bReduireChaine");
  return b;
}

MC_EXPORT int32_t MC_bReduireChaineCtrl(const char *pcSource, char **ppcCopie, uint32_t ulLongueur, char cFormat,
                                        uint32_t *pulNouvelleLongueur) noexcept {
  MCT_ENTREE(kComp, "MC_bReduireChaineCtrl");
  int32_t b = 0;
  if (pcSource != nullptr && ppcCopie != nullptr && pulNouvelleLongueur != nullptr) {
    char *copie = Copier(pcSource, ulLongueur);
    // Handed out at once: it stays the caller's even when the check fails.
    *ppcCopie = copie;
    if (copie != nullptr) {
      uint32_t nouvelle = ulLongueur;
      b = ControlerFormat(copie, ulLongueur, cFormat, false, &nouvelle);
      if (b == 1) {
        *pulNouvelleLongueur = nouvelle;
        const bool bCoupe = cFormat == 'A' || cFormat == 'L';
        // Kept for compatibility: the cut goes through a second counted
        // block that is never given back, so every successful call leaves it
        // in the allocation total.  Only the count is kept: the memory itself
        // goes back to the system, so hosts that check many values do not
        // really leak.
        auto *second = static_cast<char *>(MC_Allouer((bCoupe ? nouvelle : ulLongueur) + 1));
        if (second != nullptr) {
          memcpy(second, copie, nouvelle);
          second[nouvelle] = '\0';
          strcpy(copie, second);
          free(second);
        } else {
          copie[nouvelle] = '\0';
        }
      }
    }
  }
  // Kept for compatibility: result and exit lines carry the in-place
  // function's name.
  MCT_INFO(kComp, "MC_bReduireChaine:bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "MC_bReduireChaine");
  return b;
}

MC_EXPORT int32_t bChaineCtrlFormat(const char *pcSource, uint32_t ulLongueur, char cFormat,
                                    uint32_t *pulLongueurUtile) noexcept {
  MCT_ENTREE(kComp, "bReduireChaineCtrlFormat");
  int32_t b = 0;
  if (pcSource != nullptr && pulLongueurUtile != nullptr) {
    char *copie = Copier(pcSource, ulLongueur);
    if (copie != nullptr) {
      b = ControlerFormat(copie, ulLongueur, cFormat, true, pulLongueurUtile);
      MC_Liberer(copie);
    }
  }
  MCT_INFO(kComp, "bReduireChaineCtrlFormat:bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "bReduireChaineCtrlFormat");
  return b;
}

}  // extern "C"
