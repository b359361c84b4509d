// mctool tables build | show: the tables file of the dictionary from JSON,
// and back to a readable table or to JSON.
#include <cstdio>
#include <iostream>

#include "common.h"
#include "dictionary_file.h"

namespace mctool {

namespace {

std::string FormatName(int8_t format) {
  const auto c = static_cast<unsigned char>(format);
  std::string letter = c >= 0x21 && c <= 0x7E ? std::string(1, static_cast<char>(c)) : "0x" + Hex(std::span(&c, 1));
  switch (c) {
    case 'A': return letter + " capitals, digits, spaces";
    case 'L': return letter + " capitals, spaces";
    case 'N': return letter + " digits";
    case 'D': return letter + " date";
    default: return letter + " free";
  }
}

void PrintField(size_t number, const FieldRecord &f, const std::vector<ValueRecord> *values) {
  std::string allowed;
  if (f.value_count == 0) {
    allowed = "any";
  } else {
    for (uint32_t n = 0; n < f.value_count; ++n) {
      const size_t at = static_cast<size_t>(f.first_value) + n;
      if (values == nullptr || at >= values->size()) {
        allowed += (n ? " " : "") + std::string("(value ") + std::to_string(at) + " missing from TVALEUR)";
        break;
      }
      allowed += (n ? " " : "") + Quoted((*values)[at]);
    }
  }
  const char *presence = f.presence == 1 ? "mandatory" : "optional";
  std::printf("  %-5zu  %-9s  %5u  %5u  %-27s  %s\n", number, presence, static_cast<unsigned>(f.min),
              static_cast<unsigned>(f.max), FormatName(f.format).c_str(), allowed.c_str());
  if (f.presence != 0 && f.presence != 1) std::printf("         (presence value %d)\n", static_cast<int>(f.presence));
}

void PrintDictionary(const DictionaryFile &d) {
  const mc::FileHeader &h = d.header;
  std::printf("file      %s\n", h.name.c_str());
  std::printf("versions  %s (reader %s)\n", h.version.c_str(), h.reader_version.c_str());
  std::printf("fields    A \"%s\"  B \"%s\"  C \"%s\"  D \"%s\"\n", h.field_a.c_str(), h.field_b.c_str(),
              h.field_c.c_str(), h.field_d.c_str());
  std::printf("comment   %s\n", h.comment.c_str());
  std::printf("tables   ");
  for (const Table &t : d.tables) {
    const auto *raw = std::get_if<RawTable>(&t.content);
    if (raw != nullptr)
      std::printf(" %s (%u records, %zu bytes, not read as records)", t.name.c_str(), raw->count, raw->data.size());
    else
      std::printf(" %s (%zu records)", t.name.c_str(),
                  std::visit([](const auto &c) -> size_t {
                    if constexpr (std::is_same_v<std::decay_t<decltype(c)>, RawTable>)
                      return c.count;
                    else
                      return c.size();
                  }, t.content));
  }
  std::printf("\n");
  const DictionaryView v = View(d);
  if (v.groups == nullptr) return;
  for (const GroupRecord &g : *v.groups) {
    std::printf("\ngroup 0x%04X: %u field%s\n", static_cast<unsigned>(g.id), static_cast<unsigned>(g.field_count),
                g.field_count == 1 ? "" : "s");
    if (g.field_count == 0) continue;
    std::printf("  %-5s  %-9s  %5s  %5s  %-27s  %s\n", "field", "presence", "min", "max", "format", "values");
    for (uint32_t k = 0; k < g.field_count; ++k) {
      const size_t at = static_cast<size_t>(g.first_field) + k;
      if (v.fields == nullptr || at >= v.fields->size()) {
        std::printf("  %-5u  (record %zu missing from TCHAMP)\n", k + 1, at);
        break;
      }
      PrintField(k + 1, (*v.fields)[at], v.values);
    }
  }
}

}  // namespace

void AddTablesCommands(CLI::App &app) {
  CLI::App *tables = app.add_subcommand("tables", "Build a tables file from JSON, or show one");
  tables->require_subcommand(1);

  CLI::App *build = tables->add_subcommand("build", "Compile a dictionary described in JSON into a tables file");
  build->footer(
      "The JSON holds \"header\" (name, version, reader_version, field_a..field_d, comment)\n"
      "and \"groups\": [{\"id\": \"0x0101\", \"fields\": [{\"presence\": 1, \"min\": 1,\n"
      "\"max\": 8, \"format\": \"N\", \"values\": [\"1\", \"2\"]}]}] (or \"tables\", as\n"
      "'tables show --json' prints files whose layout is not the usual one).\n"
      "The file is written with the library's writer under CRC control.");
  static std::string buildInput, buildOutput;
  build->add_option("DICT.json", buildInput, "Dictionary description")->required();
  build->add_option("-o,--output", buildOutput, "Tables file to write")->required();
  build->callback([] {
    const DictionaryFile d = DictionaryFromJson(ParseJsonFile(buildInput), buildInput);
    WriteDictionaryFile(d, buildOutput);
    const std::string written = SplitPath(buildOutput).name;
    if (written != d.header.name)
      std::fprintf(stderr,
                   "mctool: note: the header names the file \"%s\"; the library opens it only under that name\n",
                   d.header.name.c_str());
    const DictionaryView v = View(d);
    std::printf("%s: %zu groups, %zu fields, %zu values\n", buildOutput.c_str(),
                v.groups ? v.groups->size() : size_t{0}, v.fields ? v.fields->size() : size_t{0},
                v.values ? v.values->size() : size_t{0});
  });

  CLI::App *show = tables->add_subcommand("show", "Print a tables file as a readable table, or as JSON");
  static std::string showInput;
  static bool showJson = false;
  show->add_option("FILE", showInput, "Tables file (tablebin.kmt)")->required();
  show->add_flag("--json", showJson, "Print JSON that 'tables build' turns into the identical file");
  show->callback([] {
    const DictionaryFile d = ReadDictionaryFile(showInput);
    if (showJson)
      std::cout << DictionaryToJson(d).dump(2) << "\n";
    else
      PrintDictionary(d);
  });
}

}  // namespace mctool
