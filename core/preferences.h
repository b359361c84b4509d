// Where configuration files live: the preferences directory, and the rule
// that turns an INI file name into a path.
#ifndef MC_CORE_PREFERENCES_H
#define MC_CORE_PREFERENCES_H

#include <string>

namespace mc {

// "/Library/Preferences", or the value of MC_PREFERENCES_DIR when that
// variable is set and not empty.  Read afresh at every call.
std::string RepertoirePreferences();

// A name holding a '/' anywhere is used as it stands; any other name is
// joined to the preferences directory as "%s%c%s" with '/', so a directory
// given with a trailing '/' yields a double slash.
std::string CheminIni(const char *pcNom);

}  // namespace mc

#endif  // MC_CORE_PREFERENCES_H
