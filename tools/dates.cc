// Date checks: numeric dates and the digit strings YYMMDD, YYYYMMDD and
// YYYYMMDDhhmm.
#include <cstring>

#include "tools/char_classes.h"
#include "trace/trace.h"

namespace {

constexpr auto kComp = mc::kCompOutils;

bool EstBissextile(uint32_t annee) {
  if (annee % 400 == 0) return true;
  if (annee % 4 != 0) return false;
  return annee % 100 != 0;
}

bool EstJourMoisValide(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour) {
  if (usAnnee >= 10000) return false;
  if (ucMois < 1 || ucMois > 12) return false;
  static constexpr uint8_t kJours[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  uint8_t dernier = kJours[ucMois - 1];
  if (ucMois == 2 && EstBissextile(usAnnee)) dernier = 29;
  return ucJour >= 1 && ucJour <= dernier;
}

void TracerValidite(bool valide) {
  if (valide)
    MCT_INFO(kComp, "Date valide");
  else
    MCT_ERREUR(kComp, "Date invalide");
}

// True when the first n characters are all digits; stops at the first that
// is not, so a shorter string stops at its NUL.
bool NChiffres(const char *pc, int n) {
  for (int i = 0; i < n; ++i)
    if (!mc::outils::EstChiffre(static_cast<unsigned char>(pc[i]))) return false;
  return true;
}

unsigned Nombre(const char *pc, int n) {
  unsigned v = 0;
  for (int i = 0; i < n; ++i) v = v * 10 + static_cast<unsigned>(pc[i] - '0');
  return v;
}

}  // namespace

extern "C" {

MC_EXPORT int32_t bOUTILSEstDateValide(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour, uint8_t ucHeure,
                                       uint8_t ucMinute) noexcept {
  MCT_ENTREE(kComp, "bOUTILSEstDateValide");
  MCT_INFO(kComp, "date = %02u/%02u/%04u, %02u:%02u", unsigned{ucJour}, unsigned{ucMois}, unsigned{usAnnee},
           unsigned{ucHeure}, unsigned{ucMinute});
  const bool valide = EstJourMoisValide(usAnnee, ucMois, ucJour) && ucMinute <= 59 && ucHeure <= 23;
  TracerValidite(valide);
  MCT_INFO(kComp, "bResultat = 0x%04x", valide ? 1u : 0u);
  MCT_SORTIE(kComp, "bOUTILSEstDateValide");
  return valide ? 1 : 0;
}

MC_EXPORT int32_t MC_bEstDateNumeriqueValide(uint16_t usAnnee, uint8_t ucMois, uint8_t ucJour) noexcept {
  MCT_ENTREE(kComp, "MC_bEstDateNumeriqueValide");
  MCT_INFO(kComp, "date = %02u/%02u/%04u", unsigned{ucJour}, unsigned{ucMois}, unsigned{usAnnee});
  const bool valide = EstJourMoisValide(usAnnee, ucMois, ucJour);
  TracerValidite(valide);
  MCT_INFO(kComp, "bResultat = 0x%04x", valide ? 1u : 0u);
  MCT_SORTIE(kComp, "MC_bEstDateNumeriqueValide");
  return valide ? 1 : 0;
}

// The two-digit year is the year number itself (0 to 99): no century is added.
MC_EXPORT int32_t bOUTILSEstDate6(const char *pcDate) noexcept {
  MCT_ENTREE(kComp, "bOUTILSEstDate6");
  int32_t b = 0;
  if (pcDate != nullptr && NChiffres(pcDate, 6))
    b = bOUTILSEstDateValide(static_cast<uint16_t>(Nombre(pcDate, 2)), static_cast<uint8_t>(Nombre(pcDate + 2, 2)),
                             static_cast<uint8_t>(Nombre(pcDate + 4, 2)), 0, 0);
  MCT_INFO(kComp, "bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "bOUTILSEstDate6");
  return b;
}

MC_EXPORT int32_t bOUTILSEstDate8(const char *pcDate) noexcept {
  MCT_ENTREE(kComp, "bOUTILSEstDate8");
  int32_t b = 0;
  if (pcDate != nullptr && NChiffres(pcDate, 8)) {
    const unsigned annee = Nombre(pcDate, 4), mois = Nombre(pcDate + 4, 2), jour = Nombre(pcDate + 6, 2);
    MCT_INFO(kComp, "date = %02u/%02u/%04u", jour, mois, annee);
    b = bOUTILSEstDateValide(static_cast<uint16_t>(annee), static_cast<uint8_t>(mois), static_cast<uint8_t>(jour),
                             0, 0);
  }
  MCT_INFO(kComp, "bResultat = 0x%04x", static_cast<unsigned>(b));
  // Kept for compatibility: the exit line carries the 6-character check's name.
  MCT_SORTIE(kComp, "bOUTILSEstDate6");
  return b;
}

MC_EXPORT int32_t bOUTILSEstDate12(const char *pcDate) noexcept {
  MCT_ENTREE(kComp, "bOUTILSEstDate12");
  int32_t b = 0;
  if (pcDate != nullptr && NChiffres(pcDate, 12)) {
    const unsigned annee = Nombre(pcDate, 4), mois = Nombre(pcDate + 4, 2), jour = Nombre(pcDate + 6, 2);
    const unsigned heure = Nombre(pcDate + 8, 2), minute = Nombre(pcDate + 10, 2);
    MCT_INFO(kComp, "date = %u/%u/%u", jour, mois, annee);
    MCT_INFO(kComp, "heure = %u:%u", heure, minute);
    b = bOUTILSEstDateValide(static_cast<uint16_t>(annee), static_cast<uint8_t>(mois), static_cast<uint8_t>(jour),
                             static_cast<uint8_t>(heure), static_cast<uint8_t>(minute));
  }
  MCT_INFO(kComp, "bResultat = 0x%04x", static_cast<unsigned>(b));
  MCT_SORTIE(kComp, "bOUTILSEstDate12");
  return b;
}

// Kept for compatibility: a string of any length other than 6, 8 or 12 (the
// empty string included) is accepted, and the format check relies on it.
MC_EXPORT int32_t MC_bEstDateChaineValide(const char *pcDate) noexcept {
  MCT_ENTREE(kComp, "MC_bEstDateChaineValide");
  int32_t b = 0;
  if (pcDate != nullptr) {
    const uint16_t sLongueur = static_cast<uint16_t>(strlen(pcDate));
    MCT_INFO(kComp, "sLongueurDate= %u", unsigned{sLongueur});
    if (fichier != nullptr)
      for (uint16_t i = 0; i < sLongueur; ++i)
        MCT_INFO(kComp, "pcDate[i]= %u",
                 static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(pcDate[i]))));
    switch (sLongueur) {
      case 8: b = bOUTILSEstDate8(pcDate); break;
      case 12: b = bOUTILSEstDate12(pcDate); break;
      case 6: b = bOUTILSEstDate6(pcDate); break;
      default: b = 1; break;
    }
  }
  MCT_SORTIE(kComp, "MC_bEstDateChaineValide");
  return b;
}

}  // extern "C"
