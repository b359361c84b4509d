// Shared pieces of mctool: exit codes, failures, files, hex and JSON.
#ifndef MC_APPS_MCTOOL_COMMON_H
#define MC_APPS_MCTOOL_COMMON_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "mc.hpp"

namespace mctool {

// Exit codes, the same for every subcommand.
enum Exit : int {
  kOk = 0,
  kNegative = 1,  // the answer is no: bad signature, failed check, absent key
  kUsage = 2,     // the command line is wrong
  kInput = 3,     // an input is missing or unreadable, or the library failed
};

// A failure reported on stderr as "mctool: <message>", ending the command.
class Failure : public std::runtime_error {
 public:
  Failure(int code, const std::string &message) : std::runtime_error(message), code_(code) {}
  int code() const noexcept { return code_; }

 private:
  int code_;
};

[[noreturn]] void Fail(const std::string &message, int code = kInput);

// "0xF630 (CRC or signature mismatch ...)".
std::string StatusText(std::error_code ec);
std::string StatusText(uint16_t status);
// Fails with what and the status when ec is set.
void Require(std::error_code ec, const std::string &what);

// Whole files.
std::vector<unsigned char> ReadBytes(const std::string &path);
std::string ReadText(const std::string &path);
// Writes through a temporary file renamed over path.
void WriteBytes(const std::string &path, std::span<const unsigned char> bytes);

// Directory and name of a path, as the binary file calls take them.
struct PathParts {
  std::string directory;
  std::string name;
};
PathParts SplitPath(const std::string &path);

// Hex: "0A1B" from bytes; bytes from hex digits (blanks between pairs
// allowed), failing with a message that shows where it went wrong.
std::string Hex(std::span<const unsigned char> bytes, bool spaced = false);
std::vector<unsigned char> ParseHex(const std::string &text, const std::string &what);
// Text for a person: "ABC" when printable ASCII, else hex.
bool Printable(std::span<const unsigned char> bytes);
std::string Quoted(std::span<const unsigned char> bytes);

// Bytes in JSON: a string when printable ASCII, else {"hex": "..."}; and back.
nlohmann::ordered_json BytesToJson(std::span<const unsigned char> bytes);
std::vector<unsigned char> BytesFromJson(const nlohmann::ordered_json &j, const std::string &where);

nlohmann::ordered_json ParseJsonFile(const std::string &path);
// Reads an unsigned number (or a "0x..." string) within max.
uint32_t NumberFromJson(const nlohmann::ordered_json &j, const std::string &where, uint32_t max);

// A fresh directory removed with its content at destruction.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir &) = delete;
  ScratchDir &operator=(const ScratchDir &) = delete;
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

// Sets an environment variable for the object's life.
class ScopedEnv {
 public:
  ScopedEnv(const char *name, const std::string &value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv &) = delete;
  ScopedEnv &operator=(const ScopedEnv &) = delete;

 private:
  std::string name_;
  bool had_ = false;
  std::string old_;
};

// Subcommand groups, one file each.
void AddTablesCommands(CLI::App &app);
void AddDumpCommand(CLI::App &app);
void AddZoneCommands(CLI::App &app);
void AddSignatureCommands(CLI::App &app);
void AddIniCommands(CLI::App &app);

}  // namespace mctool

#endif  // MC_APPS_MCTOOL_COMMON_H
