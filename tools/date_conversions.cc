// Date conversions between digit strings and numbers.
#include <cstdio>
#include <cstring>

#include "trace/trace.h"

namespace {

constexpr auto kComp = mc::kCompOutils;

uint8_t DeuxChiffres(const char *pc) { return static_cast<uint8_t>((pc[0] - '0') * 10 + (pc[1] - '0')); }

}  // namespace

extern "C" {

MC_EXPORT int32_t MC_bDateChaineANumerique(const char *pcDate, uint16_t *pusAnnee, uint8_t *pucMois,
                                           uint8_t *pucJour) noexcept {
  MCT_ENTREE(kComp, "MC_bDateChaineANumerique");
  int32_t b = 0;
  if (pcDate == nullptr || pusAnnee == nullptr || pucMois == nullptr || pucJour == nullptr) {
    MCT_ERREUR(kComp, "Date invalide");
  } else {
    *pusAnnee = 0;
    const uint16_t sLongueur = static_cast<uint16_t>(strlen(pcDate));
    if (MC_bEstDateChaineValide(pcDate) != 1) {
      MCT_ERREUR(kComp, "Date invalide");
    } else if (sLongueur == 6) {
      *pusAnnee = DeuxChiffres(pcDate);
      *pucMois = DeuxChiffres(pcDate + 2);
      *pucJour = DeuxChiffres(pcDate + 4);
      MCT_INFO(kComp, "Date valide");
      b = 1;
    } else if (sLongueur == 8 || sLongueur == 12) {
      // Kept for compatibility: each year digit goes to its own 16-bit cell,
      // from the year output on, and month and day are not written.  The
      // caller's year output must be the first of four consecutive cells.
      for (int k = 0; k < 4; ++k)
        pusAnnee[k] = static_cast<uint16_t>(pusAnnee[k] * 10 + (pcDate[k] - '0'));
      MCT_INFO(kComp, "Date valide");
      b = 1;
    } else {
      MCT_ERREUR(kComp, "Date invalide");
    }
  }
  MCT_INFO(kComp, "bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "MC_bDateChaineANumerique");
  return b;
}

MC_EXPORT int32_t MC_bDateNumeriqueAChaine(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour, uint8_t ucLongueur,
                                           char *pcDate) noexcept {
  MCT_ENTREE(kComp, "MC_bDateNumeriqueAChaine");
  // Kept for compatibility: an invalid date is written all the same.
  (void)MC_bEstDateNumeriqueValide(usAnnee, ucMois, ucJour);
  // The fields are printed over one another in a scratch buffer, each write
  // ending with a NUL that the next one overwrites.  A year of five digits is
  // cut by the month; for a four-digit year in the 6-character form the month
  // keeps the year's first two digits (2024 gives 20).
  char tampon[32];
  bool ecrit = false;
  if (pcDate != nullptr) {
    switch (ucLongueur) {
      case 8:
      case 12:
        snprintf(tampon, sizeof tampon, "%04i", int{usAnnee});
        snprintf(tampon + 4, sizeof tampon - 4, "%02i", int{ucMois});
        snprintf(tampon + 6, sizeof tampon - 6, "%02i", int{ucJour});
        if (ucLongueur == 12) snprintf(tampon + 8, sizeof tampon - 8, "%04i", 0);
        ecrit = true;
        break;
      case 6:
        snprintf(tampon, sizeof tampon, "%02i", int{usAnnee});
        snprintf(tampon + 2, sizeof tampon - 2, "%02i", int{ucMois});
        snprintf(tampon + 4, sizeof tampon - 4, "%02i", int{ucJour});
        ecrit = true;
        break;
      default:
        break;
    }
    // A day of three digits would run past the length plus its NUL: the
    // caller's buffer is not that large, so nothing is written.
    if (ecrit && strlen(tampon) > ucLongueur) ecrit = false;
    if (ecrit) memcpy(pcDate, tampon, size_t{ucLongueur} + 1);
  }
  if (ecrit)
    MCT_INFO(kComp, "Date valide");
  else
    MCT_ERREUR(kComp, "Date invalide");
  MCT_INFO(kComp, "bResultat = 0x%04x", ecrit ? 1u : 0u);
  MCT_SORTIE(kComp, "MC_bDateNumeriqueAChaine");
  return ecrit ? 1 : 0;
}

}  // extern "C"
