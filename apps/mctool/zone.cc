// mctool zone decode | encode | check: coded messages (groups of fields) as
// a tree, from JSON, and against the dictionary of a tables file.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>

#include "common.h"

namespace mctool {

namespace {

using json = nlohmann::ordered_json;

struct DecodedField {
  uint32_t offset = 0;  // of its coded length
  std::span<const unsigned char> data;
};

struct DecodedGroup {
  uint32_t offset = 0;
  mc::GroupHeader header;
  std::vector<DecodedField> fields;
};

// The message as far as it could be read; error tells where it stopped.
struct Decoded {
  std::vector<DecodedGroup> groups;
  std::string error;
};

std::string Id(uint16_t id) {
  char s[8];
  std::snprintf(s, sizeof s, "0x%04X", static_cast<unsigned>(id));
  return s;
}

Decoded Decode(std::span<const unsigned char> bytes) {
  Decoded d;
  const auto size = static_cast<uint32_t>(bytes.size());
  uint32_t pos = 0;
  while (pos < size) {
    const std::string where = "group " + std::to_string(d.groups.size() + 1) + " at offset " + std::to_string(pos);
    DecodedGroup g;
    g.offset = pos;
    if (mc::decode_group_header(bytes, pos, g.header)) {
      d.error = where + ": header unreadable (" + std::to_string(size - pos) + " bytes left)";
      return d;
    }
    const uint32_t left = size - pos - g.header.header_size;
    if (g.header.length > left) {
      d.error = where + " (" + Id(g.header.id) + "): claims " + std::to_string(g.header.length) + " bytes, " +
                std::to_string(left) + " remain";
      return d;
    }
    const uint32_t end = pos + g.header.header_size + g.header.length;
    uint32_t at = pos + g.header.header_size;
    while (at < end) {
      const std::string fwhere = "field " + std::to_string(g.fields.size() + 1) + " of " + where + " (" +
                                 Id(g.header.id) + "), at offset " + std::to_string(at);
      uint32_t length = 0, codeSize = 0;
      if (mc::decode_length(bytes.first(end), at, length, codeSize)) {
        d.error = fwhere + ": length unreadable within its group";
        d.groups.push_back(std::move(g));
        return d;
      }
      if (length > end - at - codeSize) {
        d.error = fwhere + ": claims " + std::to_string(length) + " bytes, " + std::to_string(end - at - codeSize) +
                  " remain in its group";
        d.groups.push_back(std::move(g));
        return d;
      }
      g.fields.push_back({at, bytes.subspan(at + codeSize, length)});
      at += codeSize + length;
    }
    d.groups.push_back(std::move(g));
    pos = end;
  }
  return d;
}

// The message: hex on the command line, or the bytes of a file.
struct MessageInput {
  std::string hex;
  std::string file;
  std::vector<unsigned char> Bytes() const {
    if (!file.empty()) return ReadBytes(file);
    return ParseHex(hex, "message");
  }
};

void AddMessageOptions(CLI::App *cmd, MessageInput &in) {
  CLI::Option *hex = cmd->add_option("MESSAGE", in.hex, "Coded message in hex (blanks allowed between bytes)");
  CLI::Option *file = cmd->add_option("-f,--file", in.file, "Read the coded message from this file (raw bytes)");
  hex->excludes(file);
  file->excludes(hex);
}

void RequireMessage(const MessageInput &in) {
  if (in.hex.empty() && in.file.empty()) throw CLI::RequiredError("MESSAGE or --file");
}

void PrintTree(const Decoded &d, size_t size) {
  std::printf("%zu bytes, %zu group%s\n", size, d.groups.size(), d.groups.size() == 1 ? "" : "s");
  for (size_t i = 0; i < d.groups.size(); ++i) {
    const DecodedGroup &g = d.groups[i];
    std::printf("group %zu  %s  offset %u, header %u bytes, content %u bytes\n", i + 1, Id(g.header.id).c_str(),
                g.offset, g.header.header_size, g.header.length);
    for (size_t k = 0; k < g.fields.size(); ++k)
      std::printf("  field %zu  length %zu: %s\n", k + 1, g.fields[k].data.size(), Quoted(g.fields[k].data).c_str());
  }
}

json TreeToJson(const Decoded &d) {
  json groups = json::array();
  for (const DecodedGroup &g : d.groups) {
    json fields = json::array();
    for (const DecodedField &f : g.fields) fields.push_back(BytesToJson(f.data));
    groups.push_back(json{{"id", Id(g.header.id)}, {"fields", fields}});
  }
  return json{{"groups", groups}};
}

// ---- check ----

std::string FormatRule(int8_t format) {
  switch (format) {
    case 'A': return "format A (capitals, digits and spaces)";
    case 'L': return "format L (capitals and spaces)";
    case 'N': return "format N (digits)";
    case 'D': return "format D (digits forming a date YYMMDD, YYYYMMDD or YYYYMMDDhhmm)";
    default: return "a free format";
  }
}

// Says which rule field k of the message breaks, as the check applies them.
std::string Characters(uint32_t n) {
  return std::to_string(n) + (n == 1 ? " significant character" : " significant characters");
}

std::string ExplainField(const Decoded &d, unsigned k) {
  unsigned rank = 0;
  for (size_t n = 0; n < d.groups.size(); ++n) {
    const DecodedGroup &g = d.groups[n];
    if (k > rank + g.fields.size()) {
      rank += static_cast<unsigned>(g.fields.size());
      continue;
    }
    const size_t j = k - rank - 1;
    const std::span<const unsigned char> data = g.fields[j].data;
    const std::string where =
        "group " + std::to_string(n + 1) + " (" + Id(g.header.id) + "), field " + std::to_string(j + 1) + " " +
        Quoted(data);
    std::vector<TCHAMP> dico;
    if (mc::dictionary::fields(g.header.id, dico) || j >= dico.size()) return where;
    const TCHAMP &c = dico[j];
    static const char empty[1] = "";
    const char *text = data.empty() ? empty : reinterpret_cast<const char *>(data.data());
    uint32_t s = 0;
    if (bChaineCtrlFormat(text, static_cast<uint32_t>(data.size()), c.cFormat, &s) != 1)
      return where + ": not of " + FormatRule(c.cFormat);
    if (s != 0 && s < c.usLgMin)
      return where + ": " + Characters(s) + ", fewer than the minimum " +
             std::to_string(c.usLgMin);
    if (s != 0 && c.usLgMax != 0 && s > c.usLgMax)
      return where + ": " + Characters(s) + ", more than the maximum " +
             std::to_string(c.usLgMax);
    if (s == 0 && c.usLgMin != 0 && c.lPresence == 1)
      return where + ": empty, but mandatory (minimum length " + std::to_string(c.usLgMin) + ")";
    if (s != 0 && c.usNbValeurs != 0) {
      std::string allowed;
      for (unsigned v = 1; v <= c.usNbValeurs && v <= 255; ++v) {
        std::string value;
        if (mc::dictionary::value(g.header.id, static_cast<uint8_t>(j + 1), static_cast<uint8_t>(v), value)) break;
        allowed += (v > 1 ? " " : "") + Quoted(std::span(reinterpret_cast<const unsigned char *>(value.data()),
                                                        value.size()));
      }
      return where + ": not one of the allowed values " + allowed;
    }
    return where;
  }
  return "field " + std::to_string(k);
}

std::string Explain(const Decoded &d, uint16_t status) {
  const mc::FormatFault f = mc::format_fault(status);
  if (f.kind == mc::FormatFault::field) return ExplainField(d, f.rank);
  if (f.rank == 0 || f.rank > d.groups.size()) return {};
  const DecodedGroup &g = d.groups[f.rank - 1];
  const std::string where = "group " + std::to_string(f.rank) + " (" + Id(g.header.id) + ")";
  if (f.kind == mc::FormatFault::unknown_group) {
    std::vector<uint16_t> known;
    mc::dictionary::groups(known);
    if (std::find(known.begin(), known.end(), g.header.id) == known.end()) return where + ": not in the dictionary";
    return where + ": an allowed value of its fields could not be read from the dictionary";
  }
  if (f.kind == mc::FormatFault::wrong_fields) {
    std::vector<TCHAMP> dico;
    mc::dictionary::fields(g.header.id, dico);
    return where + ": holds " + std::to_string(g.fields.size()) + " field" + (g.fields.size() == 1 ? "" : "s") +
           ", the dictionary lists " + std::to_string(dico.size());
  }
  return {};
}

// Why the coding check refuses bytes that decode: the rules it adds.
std::string ExplainSyntax(const Decoded &d, size_t size) {
  if (!d.error.empty()) return d.error;
  if (size == 0) return "the message is empty";
  for (size_t n = 0; n < d.groups.size(); ++n)
    if (d.groups[n].header.length == 0)
      return "group " + std::to_string(n + 1) + " (" + Id(d.groups[n].header.id) + ") is empty (length 0)";
  return {};
}

// A preferences directory whose tovel.ini points the library at a copy of
// the tables file, so that MC_usInitLIB loads it.
class TablesSetup {
 public:
  explicit TablesSetup(const std::string &tables) {
    if (!std::filesystem::exists(tables)) Fail(tables + ": no such file");
    std::error_code ec;
    std::filesystem::copy_file(tables, dir_.path() + "/tablebin.kmt", ec);
    if (ec) Fail(tables + ": cannot copy: " + ec.message());
    const std::string ini = "[COMMUN]\nrepertoiretable=" + dir_.path() + "\nrepertoiretravail=" + dir_.path() + "\n";
    WriteBytes(dir_.path() + "/tovel.ini", std::span(reinterpret_cast<const unsigned char *>(ini.data()), ini.size()));
    env_.emplace("MC_PREFERENCES_DIR", dir_.path());
  }

 private:
  ScratchDir dir_;
  std::optional<ScopedEnv> env_;
};

}  // namespace

void AddZoneCommands(CLI::App &app) {
  CLI::App *zone = app.add_subcommand("zone", "Decode, encode and check coded messages");
  zone->require_subcommand(1);

  static MessageInput decodeIn;
  static bool decodeJson = false;
  CLI::App *decode = zone->add_subcommand("decode", "Print a coded message as a tree of groups and fields");
  AddMessageOptions(decode, decodeIn);
  decode->add_flag("--json", decodeJson, "Print the JSON description that 'zone encode' takes");
  decode->callback([] {
    RequireMessage(decodeIn);
    const std::vector<unsigned char> bytes = decodeIn.Bytes();
    const Decoded d = Decode(bytes);
    if (decodeJson && d.error.empty()) std::cout << TreeToJson(d).dump(2) << "\n";
    if (!decodeJson) PrintTree(d, bytes.size());
    if (!d.error.empty()) Fail("unreadable coding: " + d.error);
  });

  static std::string encodeIn, encodeOut;
  CLI::App *encode = zone->add_subcommand("encode", "Code a message described in JSON");
  encode->footer(
      "The JSON is {\"groups\": [{\"id\": \"0x0101\", \"fields\": [\"text\", {\"hex\": \"00FF\"}]}]}.\n"
      "The message is built in a zone of the library; its bytes go to --output, or\n"
      "in hex to the standard output.");
  encode->add_option("DESC.json", encodeIn, "Message description")->required();
  encode->add_option("-o,--output", encodeOut, "Write the coded bytes to this file");
  encode->callback([] {
    const json j = ParseJsonFile(encodeIn);
    struct Group {
      uint16_t id;
      std::vector<std::vector<unsigned char>> fields;
    };
    std::vector<Group> groups;
    uint64_t size = 0;
    try {
      if (!j.is_object() || !j.contains("groups") || !j["groups"].is_array())
        Fail("an object with a \"groups\" array expected");
      for (size_t i = 0; i < j["groups"].size(); ++i) {
        const json &jg = j["groups"][i];
        const std::string where = "groups[" + std::to_string(i) + "]";
        if (!jg.is_object() || !jg.contains("id")) Fail(where + ": an object with \"id\" expected");
        Group g{static_cast<uint16_t>(NumberFromJson(jg["id"], where + ".id", 0xFFFF)), {}};
        const json fields = jg.value("fields", json::array());
        if (!fields.is_array()) Fail(where + ".fields: an array expected");
        uint64_t content = 0;
        for (size_t k = 0; k < fields.size(); ++k) {
          g.fields.push_back(BytesFromJson(fields[k], where + ".fields[" + std::to_string(k) + "]"));
          content += mc::field_size(static_cast<uint32_t>(g.fields.back().size()));
        }
        if (content > UINT32_MAX / 2) Fail(where + ": too large");
        size += mc::group_size(static_cast<uint32_t>(content));
        groups.push_back(std::move(g));
      }
      if (size > UINT32_MAX / 2) Fail("message too large");
    } catch (const Failure &e) {
      Fail(encodeIn + ": " + e.what(), e.code());
    }
    mc::Zone z = mc::Zone::create(static_cast<uint32_t>(size));
    for (const Group &g : groups) {
      Require(z.add_group(g.id), "adding group " + Id(g.id));
      for (const auto &f : g.fields) Require(z.add_field(f), "adding a field to group " + Id(g.id));
    }
    if (encodeOut.empty())
      std::printf("%s\n", Hex(z.bytes()).c_str());
    else
      WriteBytes(encodeOut, z.bytes());
  });

  static MessageInput checkIn;
  static std::string checkTables;
  static bool syntaxOnly = false;
  CLI::App *check = zone->add_subcommand("check", "Check the coding of a message and its content against a dictionary");
  check->footer(
      "Without --tables the dictionary is the one the library is configured with\n"
      "(repertoiretable in section commun of tovel.ini, in $MC_PREFERENCES_DIR).\n"
      "Exit code 1 when the message fails a check.");
  AddMessageOptions(check, checkIn);
  check->add_option("--tables", checkTables, "Tables file holding the dictionary (tablebin.kmt)");
  check->add_flag("--syntax-only", syntaxOnly, "Check the coding only");
  check->callback([] {
    RequireMessage(checkIn);
    const std::vector<unsigned char> bytes = checkIn.Bytes();
    const Decoded d = Decode(bytes);
    mc::Zone z = mc::Zone::receive(bytes);
    const std::error_code syntax = z.check_syntax();
    if (syntax) {
      std::printf("syntax  %s\n", StatusText(syntax).c_str());
      const std::string why = ExplainSyntax(d, bytes.size());
      if (!why.empty()) std::printf("        %s\n", why.c_str());
      Fail("the message's coding is refused", kNegative);
    }
    std::printf("syntax  ok\n");
    if (syntaxOnly) return;
    std::optional<TablesSetup> setup;
    if (!checkTables.empty()) setup.emplace(checkTables);
    std::error_code ec;
    mc::Library lib(ec);
    if (!lib.initialised()) Fail("the dictionary could not be loaded: " + StatusText(ec));
    const std::error_code format = z.check_format();
    if (format) {
      std::printf("format  %s\n", StatusText(format).c_str());
      const std::string why = Explain(d, static_cast<uint16_t>(format.value()));
      if (!why.empty()) std::printf("        %s\n", why.c_str());
      Fail("the message's content is refused", kNegative);
    }
    std::printf("format  ok (%zu groups checked against the dictionary of tables version %s)\n", d.groups.size(),
                lib.tables_version().c_str());
  });
}

}  // namespace mctool
