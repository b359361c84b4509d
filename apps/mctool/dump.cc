// mctool dump: the header, tables, CRC and signature of any binary table
// file, and the bytes of one table.
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "common.h"

namespace mctool {

namespace {

constexpr uint32_t kTrailer = 128;

struct TableEntry {
  mc::TableHeader header;
  uint32_t offset = 0;       // of the table header
  uint32_t data_offset = 0;  // of its data
};

void HexDump(std::span<const unsigned char> bytes, uint32_t base) {
  for (size_t at = 0; at < bytes.size(); at += 16) {
    const auto line = bytes.subspan(at, std::min<size_t>(16, bytes.size() - at));
    std::string text;
    for (unsigned char c : line) text += c >= 0x20 && c <= 0x7E ? static_cast<char>(c) : '.';
    std::printf("  %08zx  %-47s  |%s|\n", base + at, Hex(line, true).c_str(), text.c_str());
  }
}

const char *ControlName(unsigned control) {
  switch (control) {
    case MC_CONTROLE_CRC: return "CRC-16";
    case MC_CONTROLE_SIGNATURE: return "signature";
    default: return "none";
  }
}

}  // namespace

void AddDumpCommand(CLI::App &app) {
  CLI::App *dump = app.add_subcommand("dump", "Show the header, tables, CRC and signature of a binary table file");
  dump->footer(
      "The control type is not stored in a file: it is taken as CRC when the CRC\n"
      "field is not \"0000\", as signature when the last 128 bytes verify, else as\n"
      "none; --control sets it (0 none, 1 CRC, 2 signature).");
  static std::string path, table;
  static int control = -1;
  dump->add_option("FILE", path, "Binary table file")->required();
  dump->add_option("--table", table, "Also print the bytes of this table, in hex");
  dump->add_option("--control", control, "Control type of the file")->check(CLI::Range(0, 2));
  dump->callback([] {
    if (!std::filesystem::exists(path)) Fail(path + ": no such file");
    const PathParts parts = SplitPath(path);
    std::error_code ec;
    mc::BinaryReader r(parts.directory, parts.name, MC_CONTROLE_AUCUN, ec);
    if (!r.is_open()) Require(ec, path);
    uint32_t length = 0;
    Require(r.length(length), path);
    std::printf("file        %s (%u bytes)\n", path.c_str(), length);
    if (ec == mc::errc::end_of_file) Fail(path + ": not a binary table file: its header is incomplete");
    const mc::FileHeader &h = r.header();
    std::printf("name        %s%s\n", h.name.c_str(),
                ec == mc::errc::file_name_mismatch ? "  (differs from the file's name: the library would refuse it)"
                                                   : "");
    std::printf("versions    %s (reader %s)\n", h.version.c_str(), h.reader_version.c_str());
    std::printf("fields      A \"%s\"  B \"%s\"  C \"%s\"  D \"%s\"\n", h.field_a.c_str(), h.field_b.c_str(),
                h.field_c.c_str(), h.field_d.c_str());
    std::printf("comment     %s\n", h.comment.c_str());

    std::vector<unsigned char> field;
    Require(r.read_at(0, 4, field), path);
    uint16_t stored = 0, computed = 0;
    Require(r.stored_crc(stored), path);
    Require(r.computed_crc(computed), path);
    const bool hex = std::all_of(field.begin(), field.end(), [](unsigned char c) { return usConvertirHexa(c) != 0xFFFF; });
    const bool noCrc = std::string(field.begin(), field.end()) == CRC16_FICTIF;
    std::printf("crc         stored %s, computed \"%04X\": %s\n", Quoted(field).c_str(), static_cast<unsigned>(computed),
                hex && stored == computed ? "matches" : noCrc ? "none stored" : "MISMATCH");
    const std::error_code sig = r.verify_signature();
    const unsigned type = control >= 0 ? static_cast<unsigned>(control)
                          : !sig       ? MC_CONTROLE_SIGNATURE
                          : !noCrc     ? MC_CONTROLE_CRC
                                       : MC_CONTROLE_AUCUN;
    std::printf("signature   %s\n", !sig                       ? "valid (built-in public key)"
                                   : type == MC_CONTROLE_CRC ? "none"
                                                             : ("does not verify: " + StatusText(sig)).c_str());
    std::printf("control     %u (%s)%s\n", type, ControlName(type), control >= 0 ? "" : ", guessed");
    std::string damage;
    if (type == MC_CONTROLE_CRC && !(hex && stored == computed)) damage = "CRC mismatch";
    if (type == MC_CONTROLE_SIGNATURE && sig) damage = "bad signature";
    const uint32_t end = type == MC_CONTROLE_SIGNATURE ? (length > kTrailer ? length - kTrailer : 0) : length;

    std::vector<TableEntry> tables;
    uint32_t pos = 0;
    Require(r.position(pos), path);
    std::printf("\n  %-11s  %10s  %10s  %10s\n", "table", "offset", "size", "records");
    while (pos < end) {
      TableEntry t;
      t.offset = pos;
      if (r.read_table_header(t.header) || r.position(t.data_offset) || t.data_offset > end ||
          t.header.size > end - t.data_offset) {
        std::printf("  %u bytes from offset %u do not form a table%s\n", end - pos, pos,
                    end - pos == kTrailer ? " (the size of a signature)" : "");
        if (damage.empty()) damage = "bytes after the last table";
        break;
      }
      std::printf("  %-11s  %10u  %10u  %10u\n", t.header.name.c_str(), t.offset, t.header.size, t.header.count);
      tables.push_back(t);
      pos = t.data_offset + t.header.size;
      Require(r.seek(static_cast<int32_t>(pos)), path);
    }
    if (type == MC_CONTROLE_SIGNATURE && length >= kTrailer)
      std::printf("  %-11s  %10u  %10u\n", "(signature)", length - kTrailer, kTrailer);

    if (!table.empty()) {
    const auto found = std::find_if(tables.begin(), tables.end(), [](const TableEntry &t) { return t.header.name == table; });
    if (found == tables.end()) Fail(path + ": no table \"" + table + "\"");
    std::vector<unsigned char> data;
    Require(r.read_at(static_cast<int32_t>(found->data_offset), found->header.size, data), path);
    std::printf("\ntable %s: %u bytes from offset %u\n", table.c_str(), found->header.size, found->data_offset);
    HexDump(data, found->data_offset);
    }
    if (!damage.empty()) Fail(path + ": " + damage, kNegative);
  });
}

}  // namespace mctool
