// A tables file held in memory: its header and its tables, the three tables
// of the dictionary as records, any other table (or a dictionary table
// whose bytes are not plain records) as raw bytes.  Read with the library's
// reader, written with its writer under CRC control, and turned to and from
// JSON.
#ifndef MC_APPS_MCTOOL_DICTIONARY_FILE_H
#define MC_APPS_MCTOOL_DICTIONARY_FILE_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "common.h"

namespace mctool {

struct GroupRecord {
  uint16_t id = 0;
  uint16_t first_field = 0;
  uint16_t field_count = 0;
  bool operator==(const GroupRecord &) const = default;
};

struct FieldRecord {
  int32_t presence = 0;
  uint16_t min = 0;
  uint16_t max = 0;
  int8_t format = 'X';
  int32_t reserve = 0;
  uint16_t first_value = 0;
  uint16_t value_count = 0;
  bool operator==(const FieldRecord &) const = default;
};

using ValueRecord = std::vector<unsigned char>;

struct RawTable {
  uint32_t count = 0;
  std::vector<unsigned char> data;
};

struct Table {
  std::string name;
  std::variant<std::vector<GroupRecord>, std::vector<FieldRecord>, std::vector<ValueRecord>, RawTable> content;
};

struct DictionaryFile {
  mc::FileHeader header;
  std::vector<Table> tables;
};

// Reads a tables file (CRC checked); fails with a message.
DictionaryFile ReadDictionaryFile(const std::string &path);
// Writes it under CRC control to path (the header's name is the caller's).
void WriteDictionaryFile(const DictionaryFile &dico, const std::string &path);

// JSON: {"header": {...}, "groups": [...]} when the tables are TGROUPE,
// TCHAMP, TVALEUR with each group's fields and each field's values in
// order; otherwise {"header": {...}, "tables": [...]}.
nlohmann::ordered_json DictionaryToJson(const DictionaryFile &dico);
DictionaryFile DictionaryFromJson(const nlohmann::ordered_json &j, const std::string &source);

// The groups of a dictionary file, when its three tables are present:
// pointers into dico, null when absent.
struct DictionaryView {
  const std::vector<GroupRecord> *groups = nullptr;
  const std::vector<FieldRecord> *fields = nullptr;
  const std::vector<ValueRecord> *values = nullptr;
};
DictionaryView View(const DictionaryFile &dico);

}  // namespace mctool

#endif  // MC_APPS_MCTOOL_DICTIONARY_FILE_H
