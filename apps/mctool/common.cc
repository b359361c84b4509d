#include "common.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace mctool {

void Fail(const std::string &message, int code) { throw Failure(code, message); }

std::string StatusText(uint16_t status) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%04X", static_cast<unsigned>(status));
  return std::string(code) + " (" + mc::make_status(status).message() + ")";
}

std::string StatusText(std::error_code ec) {
  if (ec.category() == mc::status_category()) return StatusText(static_cast<uint16_t>(ec.value()));
  return ec.message();
}

void Require(std::error_code ec, const std::string &what) {
  if (ec) Fail(what + ": " + StatusText(ec));
}

std::vector<unsigned char> ReadBytes(const std::string &path) {
  std::error_code ec;
  if (std::filesystem::is_directory(path, ec)) Fail(path + ": is a directory");
  std::ifstream in(path, std::ios::binary);
  if (!in) Fail(path + ": cannot open: " + std::strerror(errno));
  std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) Fail(path + ": read error");
  return bytes;
}

std::string ReadText(const std::string &path) {
  const std::vector<unsigned char> b = ReadBytes(path);
  return {b.begin(), b.end()};
}

void WriteBytes(const std::string &path, std::span<const unsigned char> bytes) {
  const std::string tmp = path + ".mctool-tmp";
  FILE *out = std::fopen(tmp.c_str(), "wb");
  if (out == nullptr) Fail(path + ": cannot write: " + std::strerror(errno));
  const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
  if (std::fclose(out) != 0 || !ok) {
    std::remove(tmp.c_str());
    Fail(path + ": write error");
  }
  if (std::rename(tmp.c_str(), path.c_str()) != 0) {
    std::remove(tmp.c_str());
    Fail(path + ": cannot replace: " + std::strerror(errno));
  }
}

PathParts SplitPath(const std::string &path) {
  const std::filesystem::path p(path);
  std::string dir = p.parent_path().string();
  if (dir.empty()) dir = ".";
  return {dir, p.filename().string()};
}

std::string Hex(std::span<const unsigned char> bytes, bool spaced) {
  static const char digits[] = "0123456789ABCDEF";
  std::string s;
  s.reserve(bytes.size() * 3);
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (spaced && i != 0) s += ' ';
    s += digits[bytes[i] >> 4];
    s += digits[bytes[i] & 15];
  }
  return s;
}

std::vector<unsigned char> ParseHex(const std::string &text, const std::string &what) {
  std::vector<unsigned char> bytes;
  int high = -1;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ':') {
      if (high >= 0) Fail(what + ": not hex: a lone digit before position " + std::to_string(i + 1));
      continue;
    }
    const uint16_t v = usConvertirHexa(c);
    if (v == 0xFFFF)
      Fail(what + ": not hex: '" + std::string(1, c) + "' at position " + std::to_string(i + 1) +
           " (hex digits 0-9, A-F expected)");
    if (high < 0) {
      high = v;
    } else {
      bytes.push_back(static_cast<unsigned char>(high * 16 + v));
      high = -1;
    }
  }
  if (high >= 0) Fail(what + ": not hex: odd number of digits");
  return bytes;
}

bool Printable(std::span<const unsigned char> bytes) {
  for (unsigned char c : bytes)
    if (c < 0x20 || c > 0x7E) return false;
  return true;
}

std::string Quoted(std::span<const unsigned char> bytes) {
  if (Printable(bytes)) return "\"" + std::string(bytes.begin(), bytes.end()) + "\"";
  return "hex " + Hex(bytes, true);
}

nlohmann::ordered_json BytesToJson(std::span<const unsigned char> bytes) {
  if (Printable(bytes)) return std::string(bytes.begin(), bytes.end());
  return nlohmann::ordered_json{{"hex", Hex(bytes)}};
}

std::vector<unsigned char> BytesFromJson(const nlohmann::ordered_json &j, const std::string &where) {
  if (j.is_string()) {
    const std::string &s = j.get_ref<const std::string &>();
    return {s.begin(), s.end()};
  }
  if (j.is_object() && j.size() == 1 && j.contains("hex") && j["hex"].is_string())
    return ParseHex(j["hex"].get<std::string>(), where);
  Fail(where + ": a string or {\"hex\": \"...\"} expected");
}

nlohmann::ordered_json ParseJsonFile(const std::string &path) {
  const std::string text = ReadText(path);
  try {
    return nlohmann::ordered_json::parse(text);
  } catch (const nlohmann::ordered_json::parse_error &e) {
    // The parser's own text names the line and column.
    std::string what = e.what();
    const size_t at = what.find("parse error");
    Fail(path + ": malformed JSON: " + (at == std::string::npos ? what : what.substr(at)));
  }
}

uint32_t NumberFromJson(const nlohmann::ordered_json &j, const std::string &where, uint32_t max) {
  uint64_t v = 0;
  if (j.is_number_unsigned()) {
    v = j.get<uint64_t>();
  } else if (j.is_string()) {
    const std::string s = j.get<std::string>();
    char *end = nullptr;
    errno = 0;
    v = std::strtoull(s.c_str(), &end, 0);
    if (s.empty() || *end != '\0' || errno != 0 || s[0] == '-') Fail(where + ": not a number: \"" + s + "\"");
  } else {
    Fail(where + ": a number expected");
  }
  if (v > max) Fail(where + ": " + std::to_string(v) + " is above " + std::to_string(max));
  return static_cast<uint32_t>(v);
}

ScratchDir::ScratchDir() {
  const char *base = std::getenv("TMPDIR");
  std::string tmpl = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/mctool-XXXXXX";
  if (mkdtemp(tmpl.data()) == nullptr) Fail("cannot make a temporary directory: " + std::string(std::strerror(errno)));
  path_ = tmpl;
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

ScopedEnv::ScopedEnv(const char *name, const std::string &value) : name_(name) {
  if (const char *old = std::getenv(name)) {
    had_ = true;
    old_ = old;
  }
  setenv(name, value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
  if (had_)
    setenv(name_.c_str(), old_.c_str(), 1);
  else
    unsetenv(name_.c_str());
}

}  // namespace mctool
