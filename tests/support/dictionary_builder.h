// Tables files for the tests, written with the library's own writer from a
// compact description of a dictionary, and the directory layout that
// MC_usInitLIB expects ("tovel.ini" naming the tables and working
// directories).
#ifndef MC_TESTS_SUPPORT_DICTIONARY_BUILDER_H
#define MC_TESTS_SUPPORT_DICTIONARY_BUILDER_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/mc_test.h"

namespace mc::test {

// One field of a group.  Its allowed values follow those of the fields
// before it in TVALEUR; the overrides replace the computed index and count
// in the file (to describe hostile tables).
struct ChampDico {
  ChampDico(int32_t presence_ = 0, uint16_t min_ = 0, uint16_t max_ = 0, char format_ = 'X',
            std::vector<std::string> valeurs_ = {})
      : presence(presence_), min(min_), max(max_), format(format_), valeurs(std::move(valeurs_)) {}
  int32_t presence;
  uint16_t min;
  uint16_t max;
  char format;
  std::vector<std::string> valeurs;
  int32_t reserve = 0;
  std::optional<uint16_t> premiereValeur;
  std::optional<uint16_t> nbValeurs;
};

// One group.  Its fields follow those of the groups before it in TCHAMP;
// the overrides replace the computed index and count in the file.
struct GroupeDico {
  GroupeDico(uint16_t id_ = 0, std::vector<ChampDico> champs_ = {}) : id(id_), champs(std::move(champs_)) {}
  uint16_t id;
  std::vector<ChampDico> champs;
  std::optional<uint16_t> premierChamp;
  std::optional<uint16_t> nbChamps;
};

// One table as written: its name, the record count of its header and its
// data bytes (records already coded big-endian, value strings with their
// length codes).
struct TableBrute {
  std::string nom;
  uint32_t nombre = 0;
  std::vector<unsigned char> donnees;
};

// The three tables of a dictionary, coded as the loaders read them.
TableBrute TableGroupes(const std::vector<GroupeDico> &groupes);
TableBrute TableChamps(const std::vector<GroupeDico> &groupes);
TableBrute TableValeurs(const std::vector<GroupeDico> &groupes);
// TGROUPE, TCHAMP, TVALEUR in that order.
std::vector<TableBrute> TablesDictionnaire(const std::vector<GroupeDico> &groupes);

// Versions of the file header (4 characters each).
struct VersionsFichier {
  std::string version = "0104";
  std::string versionLecteur = "0103";
};

// Writes the tables under CRC control into directory/name, its header
// naming the file; the status of the first failing writer call, else 0.
uint16_t EcrireFichierTables(const std::string &repertoire, const std::vector<TableBrute> &tables,
                             const VersionsFichier &versions = {}, const std::string &nom = "tablebin.kmt");

// A preferences directory (MC_PREFERENCES_DIR) whose "tovel.ini" names a
// tables directory and a working directory, each a fresh temporary
// directory, either of which may be left out of the file.
class InstallationTables {
 public:
  explicit InstallationTables(bool avecRepertoireTables = true, bool avecRepertoireTravail = true);
  const std::string &RepertoireTables() const { return tables_.path(); }
  const std::string &RepertoireTravail() const { return travail_.path(); }
  const PreferencesDir &Preferences() const { return preferences_; }
  // Writes "tablebin.kmt" into the tables directory.
  uint16_t Ecrire(const std::vector<GroupeDico> &groupes, const VersionsFichier &versions = {}) const;
  uint16_t EcrireTables(const std::vector<TableBrute> &tables, const VersionsFichier &versions = {}) const;

 private:
  PreferencesDir preferences_;
  TempDir tables_;
  TempDir travail_;
};

}  // namespace mc::test

#endif  // MC_TESTS_SUPPORT_DICTIONARY_BUILDER_H
