#include "dictionary_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace mctool {

namespace {

using json = nlohmann::ordered_json;

constexpr const char *kGroupes = "TGROUPE";
constexpr const char *kChamps = "TCHAMP";
constexpr const char *kValeurs = "TVALEUR";
// Bytes a record takes in the file: groups and fields are fixed, a value
// takes at least its one-byte length code.
constexpr uint32_t kTailleGroupe = 6;
constexpr uint32_t kTailleChamp = 17;

void Put16(std::vector<unsigned char> &d, uint16_t v) {
  d.push_back(static_cast<unsigned char>(v >> 8));
  d.push_back(static_cast<unsigned char>(v));
}

void Put32(std::vector<unsigned char> &d, uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) d.push_back(static_cast<unsigned char>(v >> shift));
}

// The bytes the writer makes of the records: used to make sure records read
// back stand for exactly the bytes of the file.
std::vector<unsigned char> Encode(const Table &t) {
  std::vector<unsigned char> d;
  if (const auto *g = std::get_if<std::vector<GroupRecord>>(&t.content)) {
    for (const GroupRecord &r : *g) {
      Put16(d, r.id);
      Put16(d, r.first_field);
      Put16(d, r.field_count);
    }
  } else if (const auto *f = std::get_if<std::vector<FieldRecord>>(&t.content)) {
    for (const FieldRecord &r : *f) {
      Put32(d, static_cast<uint32_t>(r.presence));
      Put16(d, r.min);
      Put16(d, r.max);
      d.push_back(static_cast<unsigned char>(r.format));
      Put32(d, static_cast<uint32_t>(r.reserve));
      Put16(d, r.first_value);
      Put16(d, r.value_count);
    }
  } else if (const auto *v = std::get_if<std::vector<ValueRecord>>(&t.content)) {
    for (const ValueRecord &r : *v) {
      unsigned char code[5];
      const uint32_t n = stCoderLongueur(static_cast<uint32_t>(r.size()), code);
      d.insert(d.end(), code, code + n);
      d.insert(d.end(), r.begin(), r.end());
    }
  } else {
    d = std::get<RawTable>(t.content).data;
  }
  return d;
}

uint32_t Count(const Table &t) {
  return std::visit(
      [](const auto &c) -> uint32_t {
        if constexpr (std::is_same_v<std::decay_t<decltype(c)>, RawTable>)
          return c.count;
        else
          return static_cast<uint32_t>(c.size());
      },
      t.content);
}

// Reads the records of a dictionary table from the reader's position; false
// when they cannot be read as such.
bool ReadRecords(mc::BinaryReader &r, const std::string &name, const mc::TableHeader &th, Table &t) {
  if (name == kGroupes) {
    if (static_cast<uint64_t>(th.count) * kTailleGroupe != th.size) return false;
    std::vector<GroupRecord> g(th.count);
    for (GroupRecord &x : g)
      if (r.read_u16(x.id) || r.read_u16(x.first_field) || r.read_u16(x.field_count)) return false;
    t.content = std::move(g);
    return true;
  }
  if (name == kChamps) {
    if (static_cast<uint64_t>(th.count) * kTailleChamp != th.size) return false;
    std::vector<FieldRecord> f(th.count);
    for (FieldRecord &x : f)
      if (r.read_i32(x.presence) || r.read_u16(x.min) || r.read_u16(x.max) || r.read_i8(x.format) ||
          r.read_i32(x.reserve) || r.read_u16(x.first_value) || r.read_u16(x.value_count))
        return false;
    t.content = std::move(f);
    return true;
  }
  if (name == kValeurs) {
    if (th.count > th.size) return false;
    std::vector<ValueRecord> v(th.count);
    for (ValueRecord &x : v) {
      std::string s;
      if (r.read_string(s)) return false;
      x.assign(s.begin(), s.end());
    }
    t.content = std::move(v);
    return true;
  }
  return false;
}

// ---- JSON ----

std::string Hex4(uint16_t v) {
  char s[8];
  std::snprintf(s, sizeof s, "0x%04X", static_cast<unsigned>(v));
  return s;
}

json FormatToJson(int8_t f) {
  const auto c = static_cast<unsigned char>(f);
  if (c >= 0x21 && c <= 0x7E) return std::string(1, static_cast<char>(c));
  return static_cast<int>(c);
}

int8_t FormatFromJson(const json &j, const std::string &where) {
  if (j.is_string() && j.get_ref<const std::string &>().size() == 1)
    return static_cast<int8_t>(j.get_ref<const std::string &>()[0]);
  if (j.is_number_unsigned()) return static_cast<int8_t>(NumberFromJson(j, where, 255));
  Fail(where + ": a format letter (\"A\", \"L\", \"N\", \"D\", or any other for free text) expected");
}

json HeaderToJson(const mc::FileHeader &h) {
  return json{{"name", h.name},       {"version", h.version},
              {"field_a", h.field_a}, {"field_b", h.field_b},
              {"reader_version", h.reader_version}, {"field_c", h.field_c},
              {"field_d", h.field_d}, {"comment", h.comment}};
}

std::string Text(const json &j, const char *key, const std::string &where, const std::string &fallback) {
  if (!j.contains(key)) return fallback;
  if (!j[key].is_string()) Fail(where + "." + key + ": a string expected");
  return j[key].get<std::string>();
}

// A text field of the header: exactly width characters once padded with
// spaces; a longer one would be cut on disk.
std::string Padded(const json &j, const char *key, size_t width, const std::string &fallback) {
  std::string s = Text(j, key, "header", fallback);
  if (s.size() > width) Fail("header." + std::string(key) + ": \"" + s + "\" is longer than " + std::to_string(width));
  s.resize(width, ' ');
  return s;
}

std::string Version(const json &j, const char *key, const std::string &fallback) {
  const std::string s = Text(j, key, "header", fallback);
  if (s.size() != 4 || s.find_first_not_of("0123456789") != std::string::npos)
    Fail("header." + std::string(key) + ": \"" + s + "\" is not 4 decimal digits");
  return s;
}

void OnlyKeys(const json &j, const std::string &where, std::initializer_list<const char *> keys) {
  if (!j.is_object()) Fail(where + ": an object expected");
  for (const auto &[key, value] : j.items()) {
    bool found = false;
    for (const char *k : keys) found = found || key == k;
    if (!found) Fail(where + ": unknown key \"" + key + "\"");
  }
}

mc::FileHeader HeaderFromJson(const json &j) {
  OnlyKeys(j, "header", {"name", "version", "field_a", "field_b", "reader_version", "field_c", "field_d", "comment"});
  mc::FileHeader h;
  h.name = Text(j, "name", "header", "tablebin.kmt");
  if (h.name.empty() || h.name.size() > 12)
    Fail("header.name: \"" + h.name + "\" must hold 1 to 12 characters (a longer name could not be opened again)");
  h.version = Version(j, "version", "0104");
  h.reader_version = Version(j, "reader_version", "0103");
  h.field_a = Padded(j, "field_a", 5, "");
  h.field_b = Padded(j, "field_b", 8, "");
  h.field_c = Padded(j, "field_c", 5, "");
  h.field_d = Padded(j, "field_d", 10, "");
  h.comment = Text(j, "comment", "header", "");
  // An empty comment is read back one byte off: the reader would stand
  // inside the first table.
  if (h.comment.empty()) Fail("header.comment: must hold at least one character");
  if (h.comment.size() > MC_LONGUEUR_COMMENTAIRE_MAX)
    Fail("header.comment: longer than " + std::to_string(MC_LONGUEUR_COMMENTAIRE_MAX) + " characters");
  if (h.comment.find('\r') != std::string::npos || h.comment.find('\0') != std::string::npos)
    Fail("header.comment: must not hold a CR or a NUL");
  return h;
}

const json &Member(const json &j, const char *key, const std::string &where) {
  if (!j.contains(key)) Fail(where + ": \"" + key + "\" missing");
  return j[key];
}

const json &Array(const json &j, const std::string &where) {
  if (!j.is_array()) Fail(where + ": an array expected");
  return j;
}

int32_t PresenceFromJson(const json &j, const std::string &where) {
  if (j.is_boolean()) return j.get<bool>() ? 1 : 0;
  if (j.is_number_integer()) {
    const int64_t v = j.get<int64_t>();
    if (v >= INT32_MIN && v <= INT32_MAX) return static_cast<int32_t>(v);
  }
  Fail(where + ": presence is 1 (mandatory), 0, or true/false");
}

int32_t Int32FromJson(const json &j, const std::string &where) {
  if (j.is_number_integer()) {
    const int64_t v = j.get<int64_t>();
    if (v >= INT32_MIN && v <= INT32_MAX) return static_cast<int32_t>(v);
  }
  Fail(where + ": a 32-bit integer expected");
}

FieldRecord FieldFromJson(const json &j, const std::string &where) {
  FieldRecord f;
  f.presence = j.contains("presence") ? PresenceFromJson(j["presence"], where + ".presence") : 0;
  f.min = static_cast<uint16_t>(j.contains("min") ? NumberFromJson(j["min"], where + ".min", 0xFFFF) : 0);
  f.max = static_cast<uint16_t>(j.contains("max") ? NumberFromJson(j["max"], where + ".max", 0xFFFF) : 0);
  f.format = FormatFromJson(Member(j, "format", where), where + ".format");
  f.reserve = j.contains("reserve") ? Int32FromJson(j["reserve"], where + ".reserve") : 0;
  if (f.max != 0 && f.min > f.max)
    Fail(where + ": min " + std::to_string(f.min) + " is above max " + std::to_string(f.max));
  return f;
}

json FieldToJson(const FieldRecord &f) {
  json j{{"presence", f.presence}, {"min", f.min}, {"max", f.max}, {"format", FormatToJson(f.format)}};
  if (f.reserve != 0) j["reserve"] = f.reserve;
  return j;
}

uint16_t Index(size_t n, const std::string &what) {
  if (n > 0xFFFF) Fail("too many " + what + " (more than 65535)");
  return static_cast<uint16_t>(n);
}

// {"groups": [...]}: each group's fields and each field's values in order.
DictionaryFile GroupsFromJson(const json &groups) {
  std::vector<GroupRecord> g;
  std::vector<FieldRecord> f;
  std::vector<ValueRecord> v;
  Array(groups, "groups");
  for (size_t i = 0; i < groups.size(); ++i) {
    const std::string where = "groups[" + std::to_string(i) + "]";
    const json &jg = groups[i];
    OnlyKeys(jg, where, {"id", "fields"});
    GroupRecord gr;
    gr.id = static_cast<uint16_t>(NumberFromJson(Member(jg, "id", where), where + ".id", 0xFFFF));
    gr.first_field = Index(f.size(), "fields");
    const json &fields = jg.contains("fields") ? Array(jg["fields"], where + ".fields") : json::array();
    for (size_t k = 0; k < fields.size(); ++k) {
      const std::string fw = where + ".fields[" + std::to_string(k) + "]";
      OnlyKeys(fields[k], fw, {"presence", "min", "max", "format", "reserve", "values"});
      FieldRecord fr = FieldFromJson(fields[k], fw);
      fr.first_value = Index(v.size(), "values");
      const json &values = fields[k].contains("values") ? Array(fields[k]["values"], fw + ".values") : json::array();
      for (size_t n = 0; n < values.size(); ++n)
        v.push_back(BytesFromJson(values[n], fw + ".values[" + std::to_string(n) + "]"));
      fr.value_count = Index(values.size(), "values in a field");
      Index(v.size(), "values");
      f.push_back(fr);
    }
    gr.field_count = Index(fields.size(), "fields in a group");
    Index(f.size(), "fields");
    g.push_back(gr);
  }
  DictionaryFile d;
  d.tables.push_back({kGroupes, std::move(g)});
  d.tables.push_back({kChamps, std::move(f)});
  d.tables.push_back({kValeurs, std::move(v)});
  return d;
}

// {"tables": [...]}: the tables as they stand in the file.
DictionaryFile TablesFromJson(const json &tables) {
  DictionaryFile d;
  Array(tables, "tables");
  for (size_t i = 0; i < tables.size(); ++i) {
    const std::string where = "tables[" + std::to_string(i) + "]";
    const json &jt = tables[i];
    OnlyKeys(jt, where, {"name", "records", "count", "hex"});
    Table t;
    t.name = Text(jt, "name", where, "");
    if (t.name.empty() || t.name.size() > 10) Fail(where + ".name: 1 to 10 characters expected");
    if (jt.contains("records")) {
      if (jt.contains("count") || jt.contains("hex")) Fail(where + ": either \"records\" or \"count\" and \"hex\"");
      const json &records = Array(jt["records"], where + ".records");
      if (t.name == kGroupes) {
        std::vector<GroupRecord> g;
        for (size_t k = 0; k < records.size(); ++k) {
          const std::string rw = where + ".records[" + std::to_string(k) + "]";
          OnlyKeys(records[k], rw, {"id", "first_field", "field_count"});
          g.push_back({static_cast<uint16_t>(NumberFromJson(Member(records[k], "id", rw), rw + ".id", 0xFFFF)),
                       static_cast<uint16_t>(
                           NumberFromJson(Member(records[k], "first_field", rw), rw + ".first_field", 0xFFFF)),
                       static_cast<uint16_t>(
                           NumberFromJson(Member(records[k], "field_count", rw), rw + ".field_count", 0xFFFF))});
        }
        t.content = std::move(g);
      } else if (t.name == kChamps) {
        std::vector<FieldRecord> f;
        for (size_t k = 0; k < records.size(); ++k) {
          const std::string rw = where + ".records[" + std::to_string(k) + "]";
          OnlyKeys(records[k], rw, {"presence", "min", "max", "format", "reserve", "first_value", "value_count"});
          FieldRecord fr = FieldFromJson(records[k], rw);
          fr.first_value = static_cast<uint16_t>(
              NumberFromJson(Member(records[k], "first_value", rw), rw + ".first_value", 0xFFFF));
          fr.value_count = static_cast<uint16_t>(
              NumberFromJson(Member(records[k], "value_count", rw), rw + ".value_count", 0xFFFF));
          f.push_back(fr);
        }
        t.content = std::move(f);
      } else if (t.name == kValeurs) {
        std::vector<ValueRecord> v;
        for (size_t k = 0; k < records.size(); ++k)
          v.push_back(BytesFromJson(records[k], where + ".records[" + std::to_string(k) + "]"));
        t.content = std::move(v);
      } else {
        Fail(where + ": records are known only for TGROUPE, TCHAMP and TVALEUR; give \"count\" and \"hex\"");
      }
    } else {
      RawTable raw;
      raw.count = NumberFromJson(Member(jt, "count", where), where + ".count", UINT32_MAX);
      raw.data = ParseHex(Text(jt, "hex", where, ""), where + ".hex");
      t.content = std::move(raw);
    }
    d.tables.push_back(std::move(t));
  }
  return d;
}

// Whether the tables are the three of a dictionary in order, each group's
// fields and each field's values following those of the one before.
bool Nested(const DictionaryFile &d) {
  if (d.tables.size() != 3 || d.tables[0].name != kGroupes || d.tables[1].name != kChamps ||
      d.tables[2].name != kValeurs)
    return false;
  const DictionaryView v = View(d);
  if (v.groups == nullptr || v.fields == nullptr || v.values == nullptr) return false;
  size_t field = 0, value = 0;
  for (const GroupRecord &g : *v.groups) {
    if (g.first_field != field) return false;
    field += g.field_count;
  }
  if (field != v.fields->size()) return false;
  for (const FieldRecord &f : *v.fields) {
    if (f.first_value != value) return false;
    value += f.value_count;
  }
  return value == v.values->size();
}

}  // namespace

DictionaryView View(const DictionaryFile &dico) {
  DictionaryView v;
  for (const Table &t : dico.tables) {
    if (t.name == kGroupes && v.groups == nullptr) v.groups = std::get_if<std::vector<GroupRecord>>(&t.content);
    if (t.name == kChamps && v.fields == nullptr) v.fields = std::get_if<std::vector<FieldRecord>>(&t.content);
    if (t.name == kValeurs && v.values == nullptr) v.values = std::get_if<std::vector<ValueRecord>>(&t.content);
  }
  return v;
}

DictionaryFile ReadDictionaryFile(const std::string &path) {
  if (!std::filesystem::exists(path)) Fail(path + ": no such file");
  const PathParts parts = SplitPath(path);
  std::error_code ec;
  // Opened without control so that a renamed file can still be shown; the
  // CRC is compared below.
  mc::BinaryReader r(parts.directory, parts.name, MC_CONTROLE_AUCUN, ec);
  if (ec && ec != mc::errc::file_name_mismatch) {
    if (ec == mc::errc::end_of_file) Fail(path + ": not a binary table file: its header is incomplete");
    Require(ec, path);
  }
  DictionaryFile d;
  d.header = r.header();
  uint16_t stored = 0, computed = 0;
  Require(r.stored_crc(stored), path + ": reading the CRC");
  Require(r.computed_crc(computed), path + ": computing the CRC");
  std::vector<unsigned char> field;
  Require(r.read_at(0, 4, field), path);
  const bool hex = std::all_of(field.begin(), field.end(), [](unsigned char c) { return usConvertirHexa(c) != 0xFFFF; });
  if (!hex || stored != computed) {
    char text[8];
    std::snprintf(text, sizeof text, "%04X", static_cast<unsigned>(computed));
    Fail(path + ": CRC mismatch (stored " + Quoted(field) + ", computed \"" + text +
         "\"): the file is damaged or truncated");
  }
  uint32_t length = 0, pos = 0;
  Require(r.length(length), path);
  Require(r.position(pos), path);
  while (pos < length) {
    mc::TableHeader th;
    if (r.read_table_header(th)) Fail(path + ": the table header at offset " + std::to_string(pos) + " is incomplete");
    uint32_t start = 0;
    Require(r.position(start), path);
    if (th.size > length - std::min(start, length))
      Fail(path + ": table " + th.name + " at offset " + std::to_string(pos) + " holds " + std::to_string(th.size) +
           " bytes, past the end of the file");
    RawTable raw{th.count, {}};
    Require(r.read_at(static_cast<int32_t>(start), th.size, raw.data), path);
    Table t{th.name, raw};
    // Records stand for the table only when they make exactly its bytes.
    Table typed{th.name, RawTable{}};
    if (ReadRecords(r, th.name, th, typed) && Encode(typed) == raw.data) t = std::move(typed);
    pos = start + th.size;
    Require(r.seek(static_cast<int32_t>(pos)), path);
    d.tables.push_back(std::move(t));
  }
  return d;
}

void WriteDictionaryFile(const DictionaryFile &dico, const std::string &path) {
  const PathParts parts = SplitPath(path);
  // Written under a temporary name, then renamed: a failed build leaves any
  // older file in place.  The name inside is the header's.
  const std::string tmpName = parts.name + ".mctool-tmp";
  const std::string tmpPath = parts.directory + "/" + tmpName;
  std::error_code ec;
  {
    mc::BinaryWriter w(parts.directory, tmpName, MC_CONTROLE_CRC, dico.header, ec);
    Require(ec, path + ": cannot create");
    auto check = [&](std::error_code e, const Table &t) {
      if (e) {
        w.close();
        std::remove(tmpPath.c_str());
        Require(e, path + ": writing table " + t.name);
      }
    };
    for (const Table &t : dico.tables) {
      check(w.begin_table(t.name, Count(t)), t);
      if (const auto *g = std::get_if<std::vector<GroupRecord>>(&t.content)) {
        for (const GroupRecord &r : *g) {
          check(w.write_u16(r.id), t);
          check(w.write_u16(r.first_field), t);
          check(w.write_u16(r.field_count), t);
        }
      } else if (const auto *f = std::get_if<std::vector<FieldRecord>>(&t.content)) {
        for (const FieldRecord &r : *f) {
          check(w.write_i32(r.presence), t);
          check(w.write_u16(r.min), t);
          check(w.write_u16(r.max), t);
          check(w.write_i8(r.format), t);
          check(w.write_i32(r.reserve), t);
          check(w.write_u16(r.first_value), t);
          check(w.write_u16(r.value_count), t);
        }
      } else if (const auto *v = std::get_if<std::vector<ValueRecord>>(&t.content)) {
        for (const ValueRecord &r : *v) {
          if (std::find(r.begin(), r.end(), 0) == r.end()) {
            check(w.write_string(std::string(r.begin(), r.end())), t);
          } else {
            // The string writer stops at a NUL: code the length, then the bytes.
            unsigned char code[5];
            const uint32_t n = stCoderLongueur(static_cast<uint32_t>(r.size()), code);
            check(w.write_bytes(std::span(code, n)), t);
            check(w.write_bytes(r), t);
          }
        }
      } else {
        const RawTable &raw = std::get<RawTable>(t.content);
        if (!raw.data.empty()) check(w.write_bytes(raw.data), t);
      }
      check(w.end_table(), t);
    }
    ec = w.close();
  }
  if (ec) {
    std::remove(tmpPath.c_str());
    Require(ec, path + ": finishing the file");
  }
  if (std::rename(tmpPath.c_str(), path.c_str()) != 0) {
    std::remove(tmpPath.c_str());
    Fail(path + ": cannot replace: " + std::strerror(errno));
  }
}

json DictionaryToJson(const DictionaryFile &dico) {
  json j{{"header", HeaderToJson(dico.header)}};
  if (Nested(dico)) {
    const DictionaryView v = View(dico);
    json groups = json::array();
    for (const GroupRecord &g : *v.groups) {
      json fields = json::array();
      for (uint16_t k = 0; k < g.field_count; ++k) {
        const FieldRecord &f = (*v.fields)[g.first_field + k];
        json jf = FieldToJson(f);
        if (f.value_count != 0) {
          json values = json::array();
          for (uint16_t n = 0; n < f.value_count; ++n) values.push_back(BytesToJson((*v.values)[f.first_value + n]));
          jf["values"] = values;
        }
        fields.push_back(jf);
      }
      groups.push_back(json{{"id", Hex4(g.id)}, {"fields", fields}});
    }
    j["groups"] = groups;
    return j;
  }
  json tables = json::array();
  for (const Table &t : dico.tables) {
    json jt{{"name", t.name}};
    if (const auto *g = std::get_if<std::vector<GroupRecord>>(&t.content)) {
      json records = json::array();
      for (const GroupRecord &r : *g)
        records.push_back({{"id", Hex4(r.id)}, {"first_field", r.first_field}, {"field_count", r.field_count}});
      jt["records"] = records;
    } else if (const auto *f = std::get_if<std::vector<FieldRecord>>(&t.content)) {
      json records = json::array();
      for (const FieldRecord &r : *f) {
        json jf = FieldToJson(r);
        jf["first_value"] = r.first_value;
        jf["value_count"] = r.value_count;
        records.push_back(jf);
      }
      jt["records"] = records;
    } else if (const auto *v = std::get_if<std::vector<ValueRecord>>(&t.content)) {
      json records = json::array();
      for (const ValueRecord &r : *v) records.push_back(BytesToJson(r));
      jt["records"] = records;
    } else {
      const RawTable &raw = std::get<RawTable>(t.content);
      jt["count"] = raw.count;
      jt["hex"] = Hex(raw.data);
    }
    tables.push_back(jt);
  }
  j["tables"] = tables;
  return j;
}

DictionaryFile DictionaryFromJson(const json &j, const std::string &source) {
  try {
    if (!j.is_object()) Fail("the top level must be an object with \"header\" and \"groups\" (or \"tables\")");
    OnlyKeys(j, "top level", {"header", "groups", "tables"});
    if (j.contains("groups") == j.contains("tables")) Fail("give either \"groups\" or \"tables\"");
    DictionaryFile d = j.contains("groups") ? GroupsFromJson(j["groups"]) : TablesFromJson(j["tables"]);
    d.header = HeaderFromJson(j.contains("header") ? j["header"] : json::object());
    return d;
  } catch (const Failure &e) {
    Fail(source + ": " + e.what(), e.code());
  }
}

}  // namespace mctool
