// mc.hpp -- a thin C++20 layer over the C interface of libmc (mc.h).
//
// Header-only, with no behaviour of its own: every call goes straight to the
// C function it names.  What it adds is ownership and types:
//
//  - status codes as std::error_code in mc::status_category(), whose
//    messages say what each code means; mc::errc names the codes for
//    comparisons (ec == mc::errc::not_found);
//  - owners that give back what they hold when they go out of scope: the
//    library initialisation (Library), a memory zone (Zone), a binary file
//    being written (BinaryWriter) or read (BinaryReader), a trace session
//    (TraceSession), and blocks handed out by the library (Block<T>);
//  - spans and strings instead of pointer and length pairs.
//
// Calls that can fail come in two forms, as in std::filesystem: one that
// stores a std::error_code, and one that throws std::system_error.
// The threading rule of the library holds: one thread at a time.
#ifndef MC_HPP
#define MC_HPP

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "mc.h"

namespace mc {

// ----------------------------------------------------------------------
// Status codes
// ----------------------------------------------------------------------

// The library's status codes by name.  The codes built from positions of
// the zone format check (0x9000 + k, 0xA000 + n, 0xA800 + n) are reached with
// the helpers below.
enum class errc : uint16_t {
  not_loaded = MC_ERR_NON_CHARGE,
  signature_length = MC_ERR_SIG_LONGUEUR,
  signature_public_key = MC_ERR_SIG_CLE_PUBLIQUE,
  signature_mismatch = MC_ERR_SIG_DIFFERENTE,
  trace_component = MC_ERR_TRACE_COMPOSANT,
  trace_open = MC_ERR_TRACE_OUVERTURE,
  trace_full = MC_ERR_TRACE_PLEIN,
  file_error = MC_ERR_FICHIER,
  tables_version = MC_ERR_VERSION,
  control_mismatch = MC_ERR_CONTROLE,
  end_of_file = MC_ERR_FIN_FICHIER,
  file_name_mismatch = MC_ERR_NOM_FICHIER,
  no_tables_directory = MC_ERR_REP_TABLE,
  no_working_directory = MC_ERR_REP_TRAVAIL,
  version_record = MC_ERR_VERSION_COMPOSANT,
  null_number = MC_ERR_NUMERO_NUL,
  allocation = MC_ERR_ALLOCATION,
  bad_argument = MC_ERR_ARGUMENT,
  beyond_buffer = MC_ERR_DEPASSEMENT,
  not_found = MC_ERR_NON_TROUVE,
  too_few_occurrences = MC_ERR_OCCURRENCE,
  bad_number = MC_ERR_NUMERO,
  no_file_number = MC_ERR_PLUS_DE_FICHIER,
  bad_data = MC_ERR_DONNEES,
  not_allowed = MC_ERR_INTERDIT,
  init_allocation = MC_ERR_INIT_ALLOCATION,
  outside_field = MC_ERR_HORS_CHAMP,
  seek_back = MC_ERR_REPOSITIONNEMENT,
};

// What a zone format check status points at: kind and rank (from 1).
struct FormatFault {
  enum Kind { none, field, unknown_group, wrong_fields } kind = none;
  unsigned rank = 0;
};

// Splits a status into the fault of the zone format check it codes, if any.
inline FormatFault format_fault(uint16_t status) noexcept {
  if (status >= MC_ERR_FORMAT_CHAMP && status < MC_ERR_FORMAT_GROUPE)
    return {FormatFault::field, static_cast<unsigned>(status - MC_ERR_FORMAT_CHAMP)};
  if (status >= MC_ERR_FORMAT_GROUPE && status < MC_ERR_FORMAT_CHAMPS)
    return {FormatFault::unknown_group, static_cast<unsigned>(status - MC_ERR_FORMAT_GROUPE)};
  if (status >= MC_ERR_FORMAT_CHAMPS && status < MC_ERR_FORMAT_CHAMPS + 0x800u)
    return {FormatFault::wrong_fields, static_cast<unsigned>(status - MC_ERR_FORMAT_CHAMPS)};
  return {};
}

namespace detail {

inline const char *fixed_message(uint16_t status) noexcept {
  switch (status) {
    case MC_OK: return "success";
    case MC_ERR_NON_CHARGE:
      return "dictionary table not loaded, CRC computation could not seek, or message signature not made";
    case 0x0401u: return "signature verification: no message to check";
    case MC_ERR_SIG_LONGUEUR: return "signature verification: bad signature length";
    case MC_ERR_SIG_CLE_PUBLIQUE: return "signature verification: public-key operation failed";
    case MC_ERR_SIG_DIFFERENTE: return "signature verification: signature does not match";
    case MC_ERR_TRACE_COMPOSANT: return "trace channel with module 1 and a component outside 1 to 8";
    case MC_ERR_TRACE_OUVERTURE: return "trace file cannot be opened";
    case MC_ERR_TRACE_PLEIN: return "table of trace channels full";
    case MC_ERR_FICHIER: return "file error (open, read, write, seek, tell or close), double too large, or key file "
                                "unreadable";
    case MC_ERR_VERSION: return "tables file version outside the accepted range";
    case MC_ERR_CONTROLE: return "CRC or signature mismatch when the binary file was opened";
    case MC_ERR_FIN_FICHIER: return "end of file or read error, or unknown table in the tables file";
    case MC_ERR_NOM_FICHIER: return "name in the binary file's header differs from the name opened";
    case MC_ERR_REP_TABLE: return "tables directory not configured";
    case MC_ERR_REP_TRAVAIL: return "working directory not configured";
    case MC_ERR_VERSION_COMPOSANT: return "version record could not be created";
    case MC_ERR_NUMERO_NUL: return "null number pointer or header record given to the open";
    case MC_ERR_ALLOCATION: return "allocation failed, no free zone, zone size below the allocated size, or no place "
                                   "given for a result";
    case MC_ERR_ARGUMENT: return "bad argument";
    case MC_ERR_DEPASSEMENT: return "operation would go beyond the zone's buffer (nothing changed)";
    case MC_ERR_NON_TROUVE: return "not found or end reached";
    case MC_ERR_OCCURRENCE: return "group found, but fewer occurrences than asked";
    case MC_ERR_NUMERO: return "zone or file number invalid or not in use";
    case MC_ERR_PLUS_DE_FICHIER: return "all 100 file numbers in use";
    case MC_ERR_DONNEES: return "coded zone data unreadable or inconsistent";
    case MC_ERR_INTERDIT: return "operation not allowed here";
    case MC_ERR_INIT_ALLOCATION: return "allocation of an initialisation or working-directory buffer failed";
    case MC_ERR_HORS_CHAMP: return "position or length outside the current field, or lengthening refused";
    case MC_ERR_REPOSITIONNEMENT: return "a seek back to a saved position failed, or closing the trace failed";
    default: return nullptr;
  }
}

class StatusCategory final : public std::error_category {
 public:
  const char *name() const noexcept override { return "mc"; }
  std::string message(int value) const override {
    const auto status = static_cast<uint16_t>(value);
    if (const char *text = fixed_message(status)) return text;
    const FormatFault f = format_fault(status);
    switch (f.kind) {
      case FormatFault::field:
        return "zone format check: field " + std::to_string(f.rank) +
               " fails its format, length, presence or value rule";
      case FormatFault::unknown_group:
        return "zone format check: group " + std::to_string(f.rank) +
               " is not in the dictionary, or an allowed value of its fields could not be fetched";
      case FormatFault::wrong_fields:
        return "zone format check: group " + std::to_string(f.rank) + " holds fewer or more fields than the dictionary lists";
      case FormatFault::none: break;
    }
    char text[32];
    std::snprintf(text, sizeof text, "unknown status 0x%04X", static_cast<unsigned>(status));
    return text;
  }
};

}  // namespace detail

// The category of the library's status codes.
inline const std::error_category &status_category() noexcept {
  static const detail::StatusCategory category;
  return category;
}

// A status as an error code: 0 gives the empty (false) error code.
inline std::error_code make_status(uint16_t status) noexcept {
  return status == MC_OK ? std::error_code() : std::error_code(status, status_category());
}

inline std::error_code make_error_code(errc e) noexcept { return {static_cast<int>(e), status_category()}; }

// Throws std::system_error for a non-zero status; what names the call.
inline void check(uint16_t status, const char *what) {
  if (status != MC_OK) throw std::system_error(make_status(status), what);
}

}  // namespace mc

template <>
struct std::is_error_code_enum<mc::errc> : std::true_type {};

namespace mc {

// ----------------------------------------------------------------------
// Counted memory
// ----------------------------------------------------------------------

struct Release {
  void operator()(void *block) const noexcept { MC_Liberer(block); }
};
// A block handed out by the library (MC_Allouer), given back with MC_Liberer.
template <typename T>
using Block = std::unique_ptr<T, Release>;

// Bytes held through MC_Allouer now, and the peak.
inline uint32_t memory_held() noexcept { return ulMemAllouee; }
inline uint32_t memory_peak() noexcept { return ulMaxAlloue; }

// ----------------------------------------------------------------------
// Library initialisation
// ----------------------------------------------------------------------

// One module's use of the library: MC_usInitLIB at construction and, when
// the library counted it, MC_usTermLIB at destruction.  A first
// initialisation whose version records could not be written still counts
// (the status is kept in status()); the versions are then known.
class Library {
 public:
  explicit Library(std::error_code &ec) noexcept { ec = start(); }
  Library() {
    const std::error_code ec = start();
    if (ec && !counted_) throw std::system_error(ec, "MC_usInitLIB");
  }
  ~Library() {
    if (counted_) MC_usTermLIB();
  }
  Library(const Library &) = delete;
  Library &operator=(const Library &) = delete;

  // Whether the library counts this use (MC_usTermLIB will be called).
  bool initialised() const noexcept { return counted_; }
  // Status of MC_usInitLIB.
  std::error_code status() const noexcept { return status_; }
  // Versions of the library and of the tables file: set by the first
  // initialisation of the process, empty for later ones.
  const std::string &library_version() const noexcept { return library_version_; }
  const std::string &tables_version() const noexcept { return tables_version_; }

 private:
  std::error_code start() noexcept {
    char *mc = nullptr;
    char *tables = nullptr;
    const uint16_t before = nbre_chargt_module;
    status_ = make_status(MC_usInitLIB(&mc, &tables));
    counted_ = nbre_chargt_module != before;
    try {
      if (mc != nullptr) library_version_ = mc;
      if (tables != nullptr) tables_version_ = tables;
    } catch (...) {
    }
    MC_Liberer(mc);
    MC_Liberer(tables);
    return status_;
  }
  bool counted_ = false;
  std::error_code status_;
  std::string library_version_;
  std::string tables_version_;
};

// ----------------------------------------------------------------------
// Trace session
// ----------------------------------------------------------------------

struct TraceChannel {
  uint16_t module;
  uint16_t component;
  uint8_t level;  // 0 errors only, 1 summary, 2 full
};

// A trace file open for the object's life, with its channels; closed (level
// 0) at destruction.  Only one trace file is open at a time in a process.
class TraceSession {
 public:
  TraceSession(const std::string &path, std::initializer_list<TraceChannel> channels, std::error_code &ec,
               const char *mode = "w") noexcept {
    ec = open(path, channels, mode);
  }
  TraceSession(const std::string &path, std::initializer_list<TraceChannel> channels, const char *mode = "w") {
    const std::error_code ec = open(path, channels, mode);
    if (ec) throw std::system_error(ec, "MC_usActiverTrace");
  }
  ~TraceSession() { close(); }
  TraceSession(const TraceSession &) = delete;
  TraceSession &operator=(const TraceSession &) = delete;

  // Adds a channel or changes its level.
  std::error_code add(TraceChannel c) noexcept {
    return make_status(MC_usAjouterTrace(c.module, c.component, c.level));
  }
  // Closes the trace file now.
  std::error_code close() noexcept {
    if (!open_) return {};
    open_ = false;
    return make_status(MC_usActiverTrace(nullptr, nullptr, 0, 0, 0));
  }
  const std::string &path() const noexcept { return path_; }

 private:
  std::error_code open(const std::string &path, std::initializer_list<TraceChannel> channels,
                       const char *mode) noexcept {
    try {
      path_ = path;
    } catch (...) {
      return errc::allocation;
    }
    for (const TraceChannel &c : channels) {
      const uint16_t s = MC_usActiverTrace(path.c_str(), mode, c.module, c.component, c.level == 0 ? 1 : c.level);
      if (s != MC_OK) {
        close();
        return make_status(s);
      }
      open_ = true;
      // The level 0 of a channel is set once the file is open (level 0 on a
      // closed trace does nothing, on an open one closes it).
      if (c.level == 0) MC_usAjouterTrace(c.module, c.component, 0);
    }
    return {};
  }
  std::string path_;
  bool open_ = false;
};

// ----------------------------------------------------------------------
// Memory zones
// ----------------------------------------------------------------------

// A decoded group header: identifier, content length and header size.
struct GroupHeader {
  uint16_t id = 0;
  uint32_t length = 0;
  uint32_t header_size = 0;
};

// Decodes the group header at offset of bytes.
inline std::error_code decode_group_header(std::span<const unsigned char> bytes, uint32_t offset,
                                           GroupHeader &out) noexcept {
  return make_status(MC_usDecoderEnteteGroupe(bytes.data(), static_cast<uint32_t>(bytes.size()), offset, &out.id,
                                              &out.length, &out.header_size));
}

// Decodes a coded length at offset of bytes: the length and its byte count.
inline std::error_code decode_length(std::span<const unsigned char> bytes, uint32_t offset, uint32_t &length,
                                     uint32_t &size) noexcept {
  return make_status(
      MC_stDecoderLongueur(bytes.data(), static_cast<uint32_t>(bytes.size()), offset, &length, &size));
}

// Sizes of the coding: of a field of n data bytes, of a group whose content
// is n bytes.
inline uint32_t field_size(uint32_t n) noexcept { return MC_stCalculerTailleChamp(n); }
inline uint32_t group_size(uint32_t n) noexcept { return MC_stCalculerTailleGroupe2(n); }

// A field reached by the cursor: its number in its group and its bytes
// (inside the zone's buffer: valid until the zone is next edited).
struct FieldView {
  uint16_t number = 0;
  std::span<const unsigned char> data;
  std::string_view text() const noexcept { return {reinterpret_cast<const char *>(data.data()), data.size()}; }
};

// A structured zone with its own buffer, freed with it.  The buffer is
// taken with MC_Allouer, so that a resize (which gives the old buffer back
// with MC_Liberer) stays within the rules.
class Zone {
 public:
  // A new empty zone with room for size bytes.
  static Zone create(uint32_t size, std::error_code &ec) noexcept {
    Zone z;
    uint16_t number = 0;
    ec = make_status(MC_usCreerZoneMemoire(size, 1, &number));
    if (!ec) z.number_ = number;
    return z;
  }
  static Zone create(uint32_t size) {
    std::error_code ec;
    Zone z = create(size, ec);
    if (ec) throw std::system_error(ec, "MC_usCreerZoneMemoire");
    return z;
  }
  // A zone holding a copy of received coded bytes, with room for extra more.
  static Zone receive(std::span<const unsigned char> bytes, std::error_code &ec, uint32_t extra = 0) noexcept {
    Zone z;
    const uint64_t size = static_cast<uint64_t>(bytes.size()) + extra;
    if (size > UINT32_MAX) {
      ec = errc::bad_argument;
      return z;
    }
    auto *buffer = static_cast<unsigned char *>(MC_Allouer(size == 0 ? 1u : static_cast<uint32_t>(size)));
    if (buffer == nullptr) {
      ec = errc::allocation;
      return z;
    }
    if (!bytes.empty()) std::memcpy(buffer, bytes.data(), bytes.size());
    uint16_t number = 0;
    ec = make_status(MC_usInitialiserZoneMemoireNonPlein(buffer, size == 0 ? 1u : static_cast<uint32_t>(size),
                                                         static_cast<uint32_t>(bytes.size()), &number, 1));
    if (ec) {
      MC_Liberer(buffer);
      return z;
    }
    z.number_ = number;
    return z;
  }
  static Zone receive(std::span<const unsigned char> bytes, uint32_t extra = 0) {
    std::error_code ec;
    Zone z = receive(bytes, ec, extra);
    if (ec) throw std::system_error(ec, "MC_usInitialiserZoneMemoireNonPlein");
    return z;
  }

  Zone() noexcept = default;
  Zone(Zone &&other) noexcept : number_(std::exchange(other.number_, kNone)) {}
  Zone &operator=(Zone &&other) noexcept {
    if (this != &other) {
      reset();
      number_ = std::exchange(other.number_, kNone);
    }
    return *this;
  }
  ~Zone() { reset(); }

  explicit operator bool() const noexcept { return number_ != kNone; }
  uint16_t number() const noexcept { return number_; }

  // Frees the zone and its buffer.
  void reset() noexcept {
    if (number_ == kNone) return;
    unsigned char *buffer = nullptr;
    uint32_t size = 0;
    MC_pucLireBuffer(number_, &size, &buffer);
    MC_usLibererZoneMemoire(number_);
    MC_Liberer(buffer);
    number_ = kNone;
  }

  // The coded bytes held (valid until the zone is next edited).
  std::span<const unsigned char> bytes() const noexcept {
    unsigned char *buffer = nullptr;
    uint32_t size = 0;
    if (number_ == kNone || MC_pucLireBuffer(number_, &size, &buffer) != MC_OK) return {};
    return {buffer, size};
  }
  std::vector<unsigned char> copy() const {
    const auto b = bytes();
    return {b.begin(), b.end()};
  }
  // The cursor and sizes, as the library keeps them.
  const ZoneMemoire *record() const noexcept { return number_ == kNone ? nullptr : ZM[number_]; }

  std::error_code resize(uint32_t size) noexcept { return make_status(MC_usRedimensionner(number_, size)); }

  // Editing: a group after the current one, a field after the current field.
  std::error_code add_group(uint16_t id) noexcept { return make_status(MC_usAjouterGroupe(number_, id)); }
  std::error_code add_field(std::span<const unsigned char> data) noexcept {
    return make_status(MC_usAjouterChamp(number_, data.data(), static_cast<uint32_t>(data.size())));
  }
  std::error_code add_field(std::string_view text) noexcept {
    return add_field(std::span(reinterpret_cast<const unsigned char *>(text.data()), text.size()));
  }
  std::error_code modify_field(std::span<const unsigned char> data, uint32_t position, bool lengthen) noexcept {
    return make_status(
        MC_usModifierChamp(number_, data.data(), position, static_cast<uint32_t>(data.size()), lengthen ? 1 : 0));
  }

  // Navigation.
  std::error_code rewind() noexcept { return make_status(MC_usPositionnerDebut(number_)); }
  // Moves to the next group (from the start position: the first) and
  // stores its identifier; errc::not_found at the end.  walk_fields steps
  // over the fields left in the current group first, counting them.
  std::error_code next_group(uint16_t &id, bool walk_fields = true) noexcept {
    return make_status(MC_usAvancerGroupeSuivant(number_, 1, walk_fields ? 1 : 0, &id));
  }
  // Moves to the next field of the current group.
  std::error_code next_field(FieldView &field) noexcept {
    unsigned char *data = nullptr;
    uint32_t length = 0;
    const uint16_t s = MC_usAvancerChampSuivant(number_, 1, &field.number, &data, &length);
    if (s == MC_OK) field.data = {data, length};
    return make_status(s);
  }
  // Field number of the occurrence-th group id (all from 1).
  std::error_code find_field(uint16_t id, uint16_t occurrence, uint16_t number, FieldView &field) noexcept {
    unsigned char *data = nullptr;
    uint32_t length = 0;
    const uint16_t s = MC_usRechercherChamp(number_, id, occurrence, number, 1, &data, &length);
    if (s == MC_OK) field = {number, {data, length}};
    return make_status(s);
  }
  std::error_code find_group(uint16_t id, uint16_t occurrence = 1) noexcept {
    return make_status(MC_usRechercherGroupe(number_, id, occurrence, 1));
  }

  // The checks: coding, then coding and content against the dictionary.
  std::error_code check_syntax() noexcept { return make_status(MC_usControlerSyntaxeZoneMemoire(number_)); }
  std::error_code check_format() noexcept { return make_status(MC_usControlerFormatZoneMemoire(number_)); }

 private:
  static constexpr uint16_t kNone = 0xFFFF;
  uint16_t number_ = kNone;
};

// ----------------------------------------------------------------------
// Binary table files
// ----------------------------------------------------------------------

// The text header of a binary file, as strings.
struct FileHeader {
  std::string name;
  std::string version;
  std::string field_a;
  std::string field_b;
  std::string reader_version;
  std::string field_c;
  std::string field_d;
  std::string comment;

  // Fields longer than their place are cut, as the writer would.
  EnteteFichierBinaire record() const noexcept {
    EnteteFichierBinaire r;
    std::memset(&r, 0, sizeof r);
    put(r.acNomFichier, name);
    put(r.acVersion, version);
    put(r.acChampA, field_a);
    put(r.acChampB, field_b);
    put(r.acVersionLecteur, reader_version);
    put(r.acChampC, field_c);
    put(r.acChampD, field_d);
    put(r.acCommentaire, comment);
    return r;
  }
  static FileHeader from(const EnteteFichierBinaire &r) {
    return {r.acNomFichier,      r.acVersion, r.acChampA,    r.acChampB, r.acVersionLecteur,
            r.acChampC,          r.acChampD,  r.acCommentaire};
  }

 private:
  template <size_t N>
  static void put(char (&to)[N], const std::string &from) noexcept {
    std::memcpy(to, from.data(), from.size() < N - 1 ? from.size() : N - 1);
  }
};

// A table header: name, data size and record count.
struct TableHeader {
  std::string name;
  uint32_t size = 0;
  uint32_t count = 0;
};

// A binary file being written; finished (last table size, CRC or signature)
// and closed by close() or at destruction.
class BinaryWriter {
 public:
  BinaryWriter(const std::string &directory, const std::string &name, uint16_t control, const FileHeader &header,
               std::error_code &ec, std::string private_key = {}) noexcept {
    try {
      key_ = std::move(private_key);
    } catch (...) {
    }
    const EnteteFichierBinaire r = header.record();
    ec = make_status(MC_usCreerFichierBinaire(directory.c_str(), name.c_str(), control, &r, &number_));
  }
  ~BinaryWriter() { close(); }
  BinaryWriter(const BinaryWriter &) = delete;
  BinaryWriter &operator=(const BinaryWriter &) = delete;

  uint16_t number() const noexcept { return number_; }

  // Starts a table (its name space-padded to 10 bytes) of count records.
  std::error_code begin_table(std::string_view name, uint32_t count) noexcept {
    EnteteTable t;
    std::memset(&t, 0, sizeof t);
    std::memset(t.acNomTable, ' ', 10);
    std::memcpy(t.acNomTable, name.data(), name.size() < 10 ? name.size() : 10);
    t.ulNombre = count;
    return make_status(MC_usEcrireEnteteTable(number_, &t));
  }
  // Patches the size of the table in progress.
  std::error_code end_table() noexcept { return make_status(MC_usEcrireTaille(number_)); }

  std::error_code write_u8(uint8_t v) noexcept { return make_status(MC_usEcrireUnsignedChar(number_, v)); }
  std::error_code write_i8(int8_t v) noexcept { return make_status(MC_usEcrireSignedChar(number_, v)); }
  std::error_code write_u16(uint16_t v) noexcept { return make_status(MC_usEcrireUnsignedShort(number_, v)); }
  std::error_code write_i16(int16_t v) noexcept { return make_status(MC_usEcrireSignedShort(number_, v)); }
  std::error_code write_u32(uint32_t v) noexcept { return make_status(MC_usEcrireUnsignedLong(number_, v)); }
  std::error_code write_i32(int32_t v) noexcept { return make_status(MC_usEcrireSignedLong(number_, v)); }
  std::error_code write_double(double v) noexcept { return make_status(MC_usEcrireDouble(number_, v)); }
  std::error_code write_bytes(std::span<const unsigned char> data) noexcept {
    return make_status(MC_usEcrireChampFixe(number_, data.data(), static_cast<uint32_t>(data.size())));
  }
  // A variable string (length code and characters); it ends at a NUL.
  std::error_code write_string(const std::string &text) noexcept {
    return make_status(MC_usEcrireChaineVariable(number_, text.c_str()));
  }

  // Finishes and closes the file; the first call's status, then nothing.
  std::error_code close() noexcept {
    if (number_ == 0) return {};
    const uint16_t s = MC_usLibererFichierBinaire(number_, key_.empty() ? nullptr : key_.c_str());
    number_ = 0;
    return make_status(s);
  }

 private:
  uint16_t number_ = 0;
  std::string key_;
};

// A binary file open for reading, closed at destruction.  The open checks
// the name in the header and the control; after a failed check (end of
// file, name, CRC or signature) the file stays open, so it can still be
// looked at: is_open() tells.
class BinaryReader {
 public:
  BinaryReader(const std::string &directory, const std::string &name, uint16_t control,
               std::error_code &ec) noexcept {
    ec = open(directory, name, control);
  }
  BinaryReader(const std::string &directory, const std::string &name, uint16_t control) {
    const std::error_code ec = open(directory, name, control);
    if (ec) {
      close();
      throw std::system_error(ec, "MC_usInitialiserFichierBinaire");
    }
  }
  ~BinaryReader() { close(); }
  BinaryReader(const BinaryReader &) = delete;
  BinaryReader &operator=(const BinaryReader &) = delete;

  bool is_open() const noexcept { return number_ != 0; }
  uint16_t number() const noexcept { return number_; }
  const FileHeader &header() const noexcept { return header_; }

  std::error_code position(uint32_t &at) const noexcept { return make_status(MC_usLirePositionFichier(number_, &at)); }
  std::error_code seek(int32_t offset, uint16_t origin = 0) noexcept {
    return make_status(MC_usPositionnerOffset(number_, offset, origin));
  }
  std::error_code length(uint32_t &n) const noexcept { return make_status(MC_usLongueurFichierBinaire(number_, &n)); }
  // Where the data ends (the length less the trailer, unless CRC control).
  std::error_code data_end(uint32_t &n) const noexcept {
    return make_status(usTailleDonnneeFichierBinaire(number_, &n));
  }

  std::error_code read_table_header(TableHeader &t) { return table(MC_usLireEnteteTable(number_, &raw_), t); }
  std::error_code find_table(const std::string &name, TableHeader &t) {
    return table(MC_usRechercherTable(number_, name.c_str(), &raw_), t);
  }

  std::error_code read_u8(uint8_t &v) noexcept { return make_status(MC_usLireUnsignedChar(number_, &v)); }
  std::error_code read_i8(int8_t &v) noexcept { return make_status(MC_usLireSignedChar(number_, &v)); }
  std::error_code read_u16(uint16_t &v) noexcept { return make_status(MC_usLireUnsignedShort(number_, &v)); }
  std::error_code read_i16(int16_t &v) noexcept { return make_status(MC_usLireSignedShort(number_, &v)); }
  std::error_code read_u32(uint32_t &v) noexcept { return make_status(MC_usLireUnsignedLong(number_, &v)); }
  std::error_code read_i32(int32_t &v) noexcept { return make_status(MC_usLireSignedLong(number_, &v)); }
  std::error_code read_double(double &v) noexcept { return make_status(MC_usLireDouble(number_, &v)); }
  std::error_code read_bytes(std::span<unsigned char> to) noexcept {
    return make_status(MC_usLireChampFixe(number_, to.data(), static_cast<uint32_t>(to.size())));
  }
  std::error_code read_string(std::string &text) {
    char *block = nullptr;
    const uint16_t s = MC_usLireChaineVariable(number_, &block);
    Block<char> owner(block);
    if (s == MC_OK && block != nullptr) text = block;
    return make_status(s);
  }
  // n bytes from offset (bytes past the end read as 0), position unchanged.
  std::error_code read_at(int32_t offset, uint32_t n, std::vector<unsigned char> &to) {
    unsigned char *block = nullptr;
    const uint16_t s = MC_usLireFichierBinaire(number_, offset, n, &block);
    Block<unsigned char> owner(block);
    if (s == MC_OK && block != nullptr) to.assign(block, block + n);
    return make_status(s);
  }

  // The CRC stored at offset 0 and the one computed over the file.
  std::error_code stored_crc(uint16_t &crc) const noexcept { return make_status(usLireCRC(number_, &crc)); }
  std::error_code computed_crc(uint16_t &crc) const noexcept { return make_status(usCalculerCRC16(number_, &crc)); }
  // Checks the file's last 128 bytes as its signature.
  std::error_code verify_signature() const noexcept { return make_status(MC_usVerifierSignatureFichier(number_)); }

  std::error_code close() noexcept {
    if (number_ == 0) return {};
    const uint16_t s = MC_usLibererFichierBinaire(number_, nullptr);
    number_ = 0;
    return make_status(s);
  }

 private:
  std::error_code open(const std::string &directory, const std::string &name, uint16_t control) noexcept {
    EnteteFichierBinaire r;
    std::memset(&r, 0, sizeof r);
    const uint16_t s = MC_usInitialiserFichierBinaire(directory.c_str(), name.c_str(), control, &number_, &r);
    try {
      header_ = FileHeader::from(r);
    } catch (...) {
    }
    return make_status(s);
  }
  std::error_code table(uint16_t s, TableHeader &t) {
    if (s == MC_OK) {
      t.name = raw_.acNomTable;
      t.size = raw_.ulTaille;
      t.count = raw_.ulNombre;
    }
    return make_status(s);
  }
  uint16_t number_ = 0;
  FileHeader header_;
  EnteteTable raw_{};
};

// ----------------------------------------------------------------------
// Signatures
// ----------------------------------------------------------------------

using Signature = std::array<unsigned char, 128>;

// A private key read from a key file, wiped at destruction.
class PrivateKey {
 public:
  PrivateKey(const std::string &path, std::error_code &ec) noexcept {
    ec = make_status(MC_usLireClePrivee(path.c_str(), &key_));
  }
  ~PrivateKey() { explicit_bzero(&key_, sizeof key_); }
  PrivateKey(const PrivateKey &) = delete;
  PrivateKey &operator=(const PrivateKey &) = delete;
  const R_RSA_PRIVATE_KEY &record() const noexcept { return key_; }

 private:
  R_RSA_PRIVATE_KEY key_{};
};

// Signs a message.
inline std::error_code sign(std::span<const unsigned char> message, const PrivateKey &key, Signature &out) noexcept {
  return make_status(
      MC_usCalculerSignatureMessage(message.data(), static_cast<uint32_t>(message.size()), key.record(), out.data()));
}

// Checks a message's signature with the public key built into the library.
inline std::error_code verify(std::span<const unsigned char> message, const Signature &signature) noexcept {
  Block<R_RSA_PUBLIC_KEY> key(MC_LireClePublique());
  if (!key) return errc::allocation;
  return make_status(MC_usVerifierSignatureMessage(message.data(), static_cast<uint32_t>(message.size()), *key,
                                                   signature.data()));
}

// ----------------------------------------------------------------------
// Configuration files
// ----------------------------------------------------------------------

namespace ini {

// The value of section/key of an INI file (a name without '/' is looked up
// in the preferences directory), or nothing when the key is absent.
inline std::optional<std::string> read(const std::string &file, const std::string &section, const std::string &key) {
  char value[1024];
  const uint32_t n = MC_ulLireChaineIni(section.c_str(), key.c_str(), value, sizeof value - 1, file.c_str());
  // An empty value and an absent key both read as "": the number reader
  // tells them apart (atoi of "" is 0, an absent key gives -1).
  if (n == 0 && MC_lLireLongIni(section.c_str(), key.c_str(), file.c_str()) == -1) return std::nullopt;
  return std::string(value, n);
}

// Writes section/key=value; false when nothing could be written.
inline bool write(const std::string &file, const std::string &section, const std::string &key,
                  const std::string &value) noexcept {
  return MC_bEcrireChaineIni(section.c_str(), key.c_str(), value.c_str(), file.c_str()) == 1;
}

}  // namespace ini

// ----------------------------------------------------------------------
// Data dictionary
// ----------------------------------------------------------------------

namespace dictionary {

// Identifiers of the known groups, in table order.
inline std::error_code groups(std::vector<uint16_t> &out) {
  uint16_t *list = nullptr;
  uint16_t n = 0;
  const uint16_t s = MC_usDonnerListeGroupes(&list, &n);
  Block<uint16_t> owner(list);
  if (s == MC_OK) out.assign(list, list + (list == nullptr ? 0 : n));
  return make_status(s);
}

// Field descriptions of a group, in field order.
inline std::error_code fields(uint16_t group, std::vector<TCHAMP> &out) {
  TCHAMP *records = nullptr;
  uint16_t n = 0;
  const uint16_t s = MC_usDonnerInformationChamp(group, &records, &n);
  Block<TCHAMP> owner(records);
  if (s == MC_OK) out.assign(records, records + (records == nullptr ? 0 : n));
  return make_status(s);
}

// Allowed value number value (from 1) of field number field (from 1).
inline std::error_code value(uint16_t group, uint8_t field, uint8_t value, std::string &out) {
  char *text = nullptr;
  const uint16_t s = MC_usDonnerChampValeur(group, field, value, &text);
  Block<char> owner(text);
  if (s == MC_OK && text != nullptr) out = text;
  return make_status(s);
}

}  // namespace dictionary

}  // namespace mc

#endif  // MC_HPP
