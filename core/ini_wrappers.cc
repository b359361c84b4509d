// The exported configuration calls: argument checks and traces over the INI
// file layer, and the shared file "tovel.ini".
#include "mc.h"
#include "trace/trace.h"

namespace {

constexpr const char *kFichierCommun = "tovel.ini";

// Reads a string with the empty string as default; 0 without reading when
// the section or the key is missing or there is no room.
uint32_t LireChaine(const char *pcSection, const char *pcCle, char *pcDestination, int32_t lTaille,
                    const char *pcFichier) {
  if (pcSection == nullptr || pcCle == nullptr || pcDestination == nullptr || lTaille <= 0) return 0;
  return GetIniString(pcSection, pcCle, "", pcDestination, lTaille, pcFichier);
}

int32_t LireLong(const char *pcSection, const char *pcCle, const char *pcFichier) {
  if (pcSection == nullptr) return -1;
  return GetIniInt(pcSection, pcCle, -1, pcFichier);
}

}  // namespace

extern "C" {

MC_EXPORT uint32_t MC_ulLireChaineIni(const char *pcSection, const char *pcCle, char *pcDestination,
                                      int32_t lTaille, const char *pcFichier) noexcept {
  MCT_ENTREE(mc::kCompNoyau, "MC_ulLireChaineIni");
  const uint32_t longueur = LireChaine(pcSection, pcCle, pcDestination, lTaille, pcFichier);
  MCT_INFO(mc::kCompNoyau, "MC_ulLireChaineIni / Longueur =0x%04x", longueur);
  MCT_SORTIE(mc::kCompNoyau, "MC_ulLireChaineIni");
  return longueur;
}

MC_EXPORT int32_t MC_lLireLongIni(const char *pcSection, const char *pcCle, const char *pcFichier) noexcept {
  MCT_ENTREE(mc::kCompNoyau, "MC_lLireLongIni");
  const int32_t valeur = LireLong(pcSection, pcCle, pcFichier);
  MCT_INFO(mc::kCompNoyau, "MC_lLireLongIni / lRetour =0x%04x", static_cast<unsigned>(valeur));
  MCT_SORTIE(mc::kCompNoyau, "MC_lLireLongIni");
  return valeur;
}

MC_EXPORT int32_t MC_bEcrireChaineIni(const char *pcSection, const char *pcCle, const char *pcValeur,
                                      const char *pcFichier) noexcept {
  MCT_ENTREE(mc::kCompNoyau, "MC_bEcrireChaineIni");
  const int32_t ecrit = WriteIniString(pcSection, pcCle, pcValeur, pcFichier);
  MCT_INFO(mc::kCompNoyau, "MC_bEcrireChaineIni / bRetour =0x%04x", static_cast<unsigned>(ecrit));
  MCT_SORTIE(mc::kCompNoyau, "MC_bEcrireChaineIni");
  return ecrit;
}

MC_EXPORT uint32_t MC_ulLireChaineTovel(const char *pcSection, const char *pcCle, char *pcDestination,
                                        int32_t lTaille) noexcept {
  MCT_ENTREE(mc::kCompNoyau, "MC_ulLireChaineTovel");
  const uint32_t longueur = LireChaine(pcSection, pcCle, pcDestination, lTaille, kFichierCommun);
  MCT_INFO(mc::kCompNoyau, "MC_ulLireChaineTovel / Longueur =0x%04x", longueur);
  MCT_SORTIE(mc::kCompNoyau, "MC_ulLireChaineTovel");
  return longueur;
}

MC_EXPORT int32_t MC_lLireLongTovel(const char *pcSection, const char *pcCle) noexcept {
  MCT_ENTREE(mc::kCompNoyau, "MC_lLireLongTovel");
  const int32_t valeur = LireLong(pcSection, pcCle, kFichierCommun);
  MCT_INFO(mc::kCompNoyau, "MC_lLireLongTovel / lRetour =0x%04x", static_cast<unsigned>(valeur));
  MCT_SORTIE(mc::kCompNoyau, "MC_lLireLongTovel");
  return valeur;
}

MC_EXPORT int32_t MC_bEcrireChaineTovel(const char *pcSection, const char *pcCle, const char *pcValeur) noexcept {
  MCT_ENTREE(mc::kCompNoyau, "MC_bEcrireChaineTovel");
  const int32_t ecrit = WriteIniString(pcSection, pcCle, pcValeur, kFichierCommun);
  MCT_INFO(mc::kCompNoyau, "MC_bEcrireChaineTovel / bRetour =0x%04x", static_cast<unsigned>(ecrit));
  MCT_SORTIE(mc::kCompNoyau, "MC_bEcrireChaineTovel");
  return ecrit;
}

}  // extern "C"
