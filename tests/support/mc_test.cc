#include "support/mc_test.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace mc::test {

TempDir::TempDir() {
  const char *base = getenv("TMPDIR");
  std::string tmpl = std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/mc-test-XXXXXX";
  std::vector<char> buf(tmpl.begin(), tmpl.end());
  buf.push_back('\0');
  if (mkdtemp(buf.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
  path_ = buf.data();
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

PreferencesDir::PreferencesDir() { setenv("MC_PREFERENCES_DIR", path().c_str(), 1); }
PreferencesDir::~PreferencesDir() { unsetenv("MC_PREFERENCES_DIR"); }

std::string ReadFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

std::vector<unsigned char> ReadBytes(const std::string &path) {
  const std::string s = ReadFile(path);
  return std::vector<unsigned char>(s.begin(), s.end());
}

void WriteFile(const std::string &path, const std::string &content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

bool FileExists(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

TraceCapture::TraceCapture(std::initializer_list<uint16_t> components) : path_(dir_.file("trace.txt")) {
  for (uint16_t c : components) {
    const uint16_t status = MC_usActiverTrace(path_.c_str(), "w", 1, c, 2);
    EXPECT_EQ(status, 0u) << "component " << c;
  }
  open_ = true;
}

TraceCapture::~TraceCapture() {
  if (open_ && fichier != nullptr) MC_usActiverTrace(nullptr, nullptr, 1, 1, 0);
}

std::string TraceCapture::Text() {
  if (open_ && fichier != nullptr) MC_usActiverTrace(nullptr, nullptr, 1, 1, 0);
  open_ = false;
  return ReadFile(path_);
}

std::vector<std::string> TraceCapture::Lines() {
  std::vector<std::string> lines;
  std::istringstream in(Text());
  std::string line;
  while (std::getline(in, line)) lines.push_back(line);
  // Drop "### DEBUT TRACE ###", "### FIN TRACE ###" and the empty last line.
  if (!lines.empty() && lines.front() == "### DEBUT TRACE ###") lines.erase(lines.begin());
  while (!lines.empty() && (lines.back().empty() || lines.back() == "### FIN TRACE ###")) lines.pop_back();
  return lines;
}

}  // namespace mc::test
