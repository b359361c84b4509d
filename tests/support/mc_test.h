// Shared helpers of the test programs: temporary directories, whole-file
// reads and writes, and a trace file opened for the duration of a test.
#ifndef MC_TESTS_SUPPORT_MC_TEST_H
#define MC_TESTS_SUPPORT_MC_TEST_H

#include <string>
#include <vector>

#include "mc.h"

namespace mc::test {

// A fresh directory under $TMPDIR, removed with its content on destruction.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  const std::string &path() const { return path_; }
  std::string file(const std::string &name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// A temporary directory set as MC_PREFERENCES_DIR for the object's lifetime.
class PreferencesDir : public TempDir {
 public:
  PreferencesDir();
  ~PreferencesDir();
};

std::string ReadFile(const std::string &path);
std::vector<unsigned char> ReadBytes(const std::string &path);
void WriteFile(const std::string &path, const std::string &content);
bool FileExists(const std::string &path);

// Opens a trace file (mode "w") with the given channels of module 1 at level
// 2, and closes it on Text() or destruction.
class TraceCapture {
 public:
  explicit TraceCapture(std::initializer_list<uint16_t> components = {1, 2, 3, 4, 5, 6, 7});
  ~TraceCapture();
  // Closes the trace (if still open) and returns the whole file.
  std::string Text();
  // The lines between the header and the end lines, with the trace closed.
  std::vector<std::string> Lines();
  const std::string &path() const { return path_; }

 private:
  TempDir dir_;
  std::string path_;
  bool open_ = false;
};

}  // namespace mc::test

#endif  // MC_TESTS_SUPPORT_MC_TEST_H
