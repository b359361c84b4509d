// The preferences directory and the resolution of INI file names.
#include "core/preferences.h"

#include <cstdlib>
#include <cstring>

namespace mc {

namespace {
constexpr const char *kRepertoireDefaut = "/Library/Preferences";
}  // namespace

std::string RepertoirePreferences() {
  // An empty value counts as unset: joining names to "" would put the
  // configuration at the root of the file system.
  const char *valeur = getenv("MC_PREFERENCES_DIR");
  return (valeur != nullptr && valeur[0] != '\0') ? std::string(valeur) : std::string(kRepertoireDefaut);
}

std::string CheminIni(const char *pcNom) {
  if (strchr(pcNom, '/') != nullptr) return std::string(pcNom);
  std::string chemin = RepertoirePreferences();
  chemin += '/';
  chemin += pcNom;
  return chemin;
}

}  // namespace mc
