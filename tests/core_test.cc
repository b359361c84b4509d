// Library core: counted memory, file helpers, configuration files, component
// version records and the library's start and stop.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>

#include <cstring>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "core/memory.h"
#include "core/preferences.h"
#include "support/dictionary_builder.h"
#include "support/mc_test.h"

namespace {

using namespace std::string_literals;
using mc::test::FileExists;
using mc::test::InstallationTables;
using mc::test::PreferencesDir;
using mc::test::ReadFile;
using mc::test::TempDir;
using mc::test::TraceCapture;
using mc::test::WriteFile;
using mc::testing::FaireEchouerAllocation;
using Lines = std::vector<std::string>;

template <typename T>
std::string Format(const char *format, T value) {
  char text[32];
  snprintf(text, sizeof text, format, value);
  return text;
}

std::string N(unsigned long n) { return std::to_string(n); }

// The lines that match `pattern` whole.
Lines Garder(const Lines &lines, const char *pattern) {
  const std::regex re(pattern);
  Lines kept;
  for (const std::string &l : lines)
    if (std::regex_match(l, re)) kept.push_back(l);
  return kept;
}

TEST(CoreMemory, CountersPeakAndTraceLines) {
  const uint32_t before = ulMemAllouee;
  void *empty = MC_Allouer(0);  // a zero-byte request still counts its real block
  EXPECT_EQ(ulMemAllouee, before + malloc_usable_size(empty));
  MC_Liberer(empty);
  TraceCapture trace({5});
  const uint32_t start = ulMemAllouee;
  void *p = MC_Allouer(1000);
  const uint32_t real = static_cast<uint32_t>(malloc_usable_size(p)), peak = ulMaxAlloue;
  EXPECT_GE(real, 1000u);
  EXPECT_GE(peak, start + real);
  const std::string address = Format("%p", p);
  MC_Liberer(p);
  MC_Liberer(nullptr);  // neither counted nor traced
  EXPECT_EQ(ulMemAllouee, start);
  EXPECT_EQ(ulMaxAlloue, peak);
  const Lines expected = {"{ Allocation de 1000 (" + N(real) + ") a l'adresse " + address,
                          "  Taille Memoire cumulee = " + N(start + real),
                          "}",
                          "{ Liberation de " + N(real) + " octets a l'adresse " + address,
                          "  Taille Memoire cumulee = \t" + N(start),
                          "}"};
  EXPECT_EQ(trace.Lines(), expected);
}

TEST(CoreMemory, InjectedFailuresTraceAndCountNothing) {
  TraceCapture trace({5});
  const unsigned long calls = mc::testing::NombreAllocations();
  const uint32_t before = ulMemAllouee;
  FaireEchouerAllocation(1, true);
  EXPECT_EQ(MC_Allouer(4), nullptr);
  EXPECT_EQ(MC_Allouer(4), nullptr);
  FaireEchouerAllocation(2);  // replaces the persistent failure
  void *ok = MC_Allouer(4);
  ASSERT_NE(ok, nullptr);
  const uint32_t withOk = ulMemAllouee, peak = ulMaxAlloue;
  EXPECT_EQ(MC_Allouer(4), nullptr);
  EXPECT_EQ(ulMemAllouee, withOk);
  EXPECT_EQ(ulMaxAlloue, peak);
  MC_Liberer(ok);
  EXPECT_EQ(ulMemAllouee, before);
  void *again = MC_Allouer(4);  // the countdown fired once only
  EXPECT_NE(again, nullptr);
  MC_Liberer(again);
  EXPECT_EQ(mc::testing::NombreAllocations(), calls + 5);
  const Lines lines = trace.Lines();
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 4),
            (Lines{"{ Allocation de 4 (0) a l'adresse " + Format("%p", static_cast<void *>(nullptr)),
                   "  ERREUR : MC_Allouer memoire insuffisante", "  Taille Memoire cumulee = " + N(before), "}"}));
}

TEST(CoreFiles, NamesJoinedAndBuilt) {
  const uint32_t before = ulMemAllouee;
  char *full = nullptr;
  ASSERT_EQ(MC_usCreerNomCompletFichier("/a/", "b", &full), 0);
  EXPECT_STREQ(full, "/a//b");  // no test for a trailing slash
  MC_Liberer(full);
  const std::string longDir(300, 'd');  // beyond the old 256-byte working buffer
  ASSERT_EQ(MC_usCreerNomCompletFichier(longDir.c_str(), "n", &full), 0);
  EXPECT_EQ(std::string(full), longDir + "/n");
  MC_Liberer(full);
  FaireEchouerAllocation(1);
  full = reinterpret_cast<char *>(1);
  EXPECT_EQ(MC_usCreerNomCompletFichier("/a", "b", &full), 0xF801);
  EXPECT_EQ(full, nullptr);
  EXPECT_EQ(MC_usCreerNomCompletFichier(nullptr, "b", &full), 0xF802);
  const std::pair<int8_t, const char *> records[] = {
      {1, "1.adm"}, {92, "92.adm"}, {127, "127.adm"}, {-100, "-100.adm"}, {-1, "-1.adm"}};
  for (auto [component, expected] : records) {
    char *name = nullptr;
    ASSERT_EQ(usConstruireNomComplet(component, &name), 0);
    EXPECT_STREQ(name, expected);
    MC_Liberer(name);
  }
  EXPECT_EQ(ulMemAllouee, before);
}

TEST(CoreFiles, StreamHelpersAndTheirTrace) {
  TempDir dir;
  const std::string path = dir.file("data"), missing = dir.file("missing");
  FILE *f = nullptr;
  {
    TraceCapture trace({4});
    EXPECT_EQ(usOuvrirFichier(missing.c_str(), "rb", &f), 0xF610);
    char *name = nullptr;
    usConstruireNomComplet(3, &name);  // kept: traced under the read helper's name
    MC_Liberer(name);
    const Lines expected = {"{ usOuvrirFichier",
                            "  Fichier : " + missing + " mode ouverture rb",
                            "  ERREUR :  Probleme ouverture fichier",
                            "  usOuvrirFichier",
                            "}",
                            "{ usLireBufferFichier",
                            "  usLireBufferFichier",
                            "}"};
    EXPECT_EQ(trace.Lines(), expected);
  }
  WriteFile(path, "abcdef");
  ASSERT_EQ(usOuvrirFichier(path.c_str(), "rb", &f), 0);
  fseek(f, 2, SEEK_SET);
  uint32_t count = 99;
  EXPECT_EQ(MC_usLongueurFichier(f, &count), 0);
  EXPECT_EQ(count, 6u);
  EXPECT_EQ(ftell(f), 2);  // the position is kept
  char buffer[16] = {};
  count = 16;
  EXPECT_EQ(usLireBufferFichier(f, buffer, &count), 0);  // short read at end: success
  EXPECT_EQ(count, 4u);
  EXPECT_STREQ(buffer, "cdef");
  EXPECT_EQ(usFermerFichier(f), 0);
  ASSERT_EQ(usOuvrirFichier(path.c_str(), "wb", &f), 0);  // now empty and write-only
  EXPECT_EQ(MC_usLongueurFichier(f, &count), 0);
  EXPECT_EQ(count, 0u);
  count = 4;
  EXPECT_EQ(usLireBufferFichier(f, buffer, &count), 0xF610);
  EXPECT_EQ(usFermerFichier(f), 0);
  FILE *pipe = popen("true", "r");  // a stream that cannot tell its position
  ASSERT_NE(pipe, nullptr);
  EXPECT_EQ(MC_usLongueurFichier(pipe, &count), 0xF610);
  pclose(pipe);
  EXPECT_EQ(MC_usLongueurFichier(nullptr, &count), 0xF802);
}

TEST(CoreFiles, DateTimeFormatting) {
  char text[64];
  uint32_t size = sizeof text;
  EXPECT_EQ(donneDateHeure(text, &size, "%Y-%m-%d"), 10u);
  EXPECT_EQ(size, 10u);
  size = 5;  // does not fit
  EXPECT_EQ(donneDateHeure(text, &size, "%Y-%m-%d"), 0u);
  EXPECT_EQ(size, 0u);
}

// Configuration files.

// Reads section/key of a file holding `content`, with "def" as default.
std::string Lire(const PreferencesDir &prefs, const std::string &content, const std::string &section,
                 const std::string &key) {
  WriteFile(prefs.file("t.ini"), content);
  char dest[256 + 1];
  memset(dest, '\x7f', sizeof dest);
  const uint32_t n = GetIniString(section.c_str(), key.c_str(), "def", dest, 255, "t.ini");
  EXPECT_EQ(n, strlen(dest)) << content.substr(0, 40);
  return dest;
}

TEST(CoreIniRead, ScannerMatchingRules) {
  PreferencesDir prefs;
  const std::string k300(300, 'k'), k255(255, 'k');
  const std::tuple<std::string, std::string, std::string, std::string> rows[] = {
      {"[ commun ]\nkey=1\n", "commun", "key", "def"},  // blanks inside brackets count,
      {"[Commun]\nKeY=1\n", "cOMMUN", "kEy", "1"},      // case does not
      {"[a]\nkey=1\n", "a", "key", "def"},              // one-character names are never found
      {"[ab]\nk=1\n", "ab", "k", "def"},
      {"[ab]\nkey = value\n", "ab", "key", "def"},                    // blanks before "=" belong to the key,
      {"[ab]\nkey = value\n", "ab", "key ", "value"},                 // those after it go,
      {"[ab]\nkey=\tvalue\n", "ab", "key", "\tvalue"},                // but not tabs
      {"[ab]\nkey=value ; note  \n", "ab", "key", "value ; note  "},  // nor a comment after the value
      {"[ab]\n;key=1\n  #key=2\nkey=3\n", "ab", "key", "3"},          // comments where a line (or a scan step) starts
      {"key=1\n[ab]\n", "ab", "key", "def"},                          // entries outside any section,
      {"[cd]\nkey=1\n[ab]\nkey=2\n", "ab", "key", "2"},               // or in other sections, are not seen
      {"[ab]\nkey=1\n\n[AB]\nkey=2\n", "ab", "key", "1"},             // first match in file order, across sections
      {"[ab]\nfoo=1\n[cd]\nkey=3\n[AB]\nkey=2\n", "ab", "key", "2"},
      {"[ab]\rkey=1\rx=2", "ab", "key", "1"},  // CR and CR LF end lines
      {"[ab]\r\nkey=1\r\n", "ab", "key", "1"},
      {"[cd]\nwxy[ef]\nkey=1\n", "cd", "key", "1"},  // a line without "=" is stepped over two characters at a time
      {"[cd]\nwx[ef]\nkey=1\n", "cd", "key", "def"},
      {"[cd]\nw[ef]\nkey=1\n", "cd", "key", "1"},
      {"[cd]\nother=key=7\n", "cd", "key", "7"},  // the value after a key that does not match is scanned as a line
      {"[cd]\nother=[xy]\nkey=1\n", "cd", "key", "def"},
      {"[ab]\n\xe9key=1\n", "ab", "key", "1"},  // bytes from 0x80 up, and NUL, are skipped like blanks
      {"[ab]\0key=1\n"s, "ab", "key", "1"},
      {"[ab]key=1", "ab", "key", "1"},
      {"[ab]\nkey=", "ab", "key", ""},  // empty values, truncated and hostile files
      {"[ab]\nkey", "ab", "key", "def"},
      {"[", "ab", "key", "def"},
      {"", "ab", "key", "def"},
      {"\r\r\r\r", "ab", "key", "def"},
      {"[[[[[[[[", "ab", "key", "def"},
      {"[ab]\n==\n=\n", "ab", "key", "def"},
      {"[ab]\n" + std::string(2000000, 'x'), "ab", "key", "def"},
      {"[ab]\n" + std::string(2000000, '['), "ab", "key", "def"},
      {"[" + k300 + "]\nkey=1\n", k300, "key", "def"},  // names beyond the 256-byte buffers never match,
      {"[ab]\n" + k300 + "=1\n", "ab", k300, "def"},
      {"[" + k255 + "]\n" + k255 + "=1\n", k255, k255, "1"},                               // 255 characters still do
      {"[ab]\nkey=" + std::string(1000, 'v') + "\n", "ab", "key", std::string(255, 'v')},  // cut at the size
  };
  for (const auto &[content, section, key, expected] : rows)
    EXPECT_EQ(Lire(prefs, content, section, key), expected) << content.substr(0, 40);
}

TEST(CoreIniRead, SizesNumbersAndArguments) {
  PreferencesDir prefs;
  WriteFile(prefs.file("t.ini"), "[ab]\nkey=abcdef\nn1=42\nn2= -7 \nn3=abc\nn4=12abc\nn5=99999999999\n");
  // A value longer than the limit: size characters, then the NUL at [size].  A
  // default longer than the size is cut to size - 1; one of exactly size
  // characters is copied whole.
  const std::tuple<const char *, const char *, int32_t, uint32_t, std::string> rows[] = {
      {"key", "", 3, 3, "abc\0#"s},
      {"none", "wxyz", 3, 2, "wx\0#"s},
      {"none", "wxy", 3, 3, "wxy\0#"s},
      {"none", "wxy", 0, 0, "\0#"s}};
  char dest[8];
  for (const auto &[key, def, size, length, bytes] : rows) {
    memset(dest, '#', sizeof dest);
    EXPECT_EQ(GetIniString("ab", key, def, dest, size, "t.ini"), length) << def;
    EXPECT_EQ(std::string(dest, bytes.size()), bytes) << def;
  }
  // The exported reader: no reading without room or with a null name.
  memset(dest, '#', sizeof dest);
  EXPECT_EQ(MC_ulLireChaineIni("ab", "key", dest, 0, "t.ini"), 0u);
  EXPECT_EQ(MC_ulLireChaineIni(nullptr, "key", dest, 4, "t.ini"), 0u);
  EXPECT_EQ(MC_ulLireChaineIni("ab", nullptr, dest, 4, "t.ini"), 0u);
  EXPECT_EQ(MC_ulLireChaineIni("ab", "key", nullptr, 4, "t.ini"), 0u);
  EXPECT_EQ(dest[0], '#');
  EXPECT_EQ(MC_ulLireChaineIni("ab", "key", dest, 7, "t.ini"), 6u);
  EXPECT_STREQ(dest, "abcdef");
  // A missing key or file empties the destination.
  EXPECT_EQ(MC_ulLireChaineIni("ab", "none", dest, 7, "t.ini"), 0u);
  EXPECT_STREQ(dest, "");
  strcpy(dest, "old");
  EXPECT_EQ(MC_ulLireChaineIni("ab", "key", dest, 7, "missing.ini"), 0u);
  EXPECT_STREQ(dest, "");
  EXPECT_EQ(pkw_GetIniInfo("ab", "key", nullptr, 's', 4, "t.ini"), nullptr);
  ASSERT_EQ(mkdir(prefs.file("d.ini").c_str(), 0700), 0);  // a directory as the file: the default
  EXPECT_EQ(GetIniString("ab", "key", "def", dest, 7, "d.ini"), 3u);
  EXPECT_STREQ(dest, "def");

  const std::pair<const char *, int32_t> numbers[] = {
      {"n1", 42}, {"n2", -7}, {"n3", 0}, {"n4", 12}, {"n5", static_cast<int32_t>(99999999999LL)}, {"nx", 5}};
  for (auto [key, value] : numbers) EXPECT_EQ(GetIniInt("ab", key, 5, "t.ini"), value) << key;
  EXPECT_EQ(MC_lLireLongIni("ab", "n1", "t.ini"), 42);
  EXPECT_EQ(MC_lLireLongIni("ab", "nx", "t.ini"), -1);
  EXPECT_EQ(MC_lLireLongIni(nullptr, "n1", "t.ini"), -1);
  EXPECT_EQ(MC_lLireLongIni("ab", nullptr, "t.ini"), -1);
  WriteFile(prefs.file("tovel.ini"), "[commun]\nniveau=3\n");
  EXPECT_EQ(MC_lLireLongTovel("commun", "niveau"), 3);
  EXPECT_EQ(MC_lLireLongTovel(nullptr, "niveau"), -1);
  int32_t value = 8;
  EXPECT_EQ(pkw_GetIniInfo("ab", "n1", &value, 'I', 4, "t.ini"), &value);
  EXPECT_EQ(value, 42);
  EXPECT_EQ(pkw_GetIniInfo("ab", "n1", dest, 'x', 7, "t.ini"), dest);  // any other letter: string
  EXPECT_STREQ(dest, "42");
}

TEST(CoreIniPaths, PreferencesDirectoryOverride) {
  unsetenv("MC_PREFERENCES_DIR");
  EXPECT_EQ(mc::RepertoirePreferences(), "/Library/Preferences");
  EXPECT_EQ(mc::CheminIni("tovel.ini"), "/Library/Preferences/tovel.ini");
  setenv("MC_PREFERENCES_DIR", "", 1);
  EXPECT_EQ(mc::RepertoirePreferences(), "/Library/Preferences");
  setenv("MC_PREFERENCES_DIR", "/p/", 1);
  EXPECT_EQ(mc::CheminIni("tovel.ini"), "/p//tovel.ini");
  EXPECT_EQ(mc::CheminIni("sub/x.ini"), "sub/x.ini");  // any '/' keeps the name as it stands

  PreferencesDir prefs;
  TempDir elsewhere;
  const std::string other = elsewhere.file("tovel.ini");
  WriteFile(other, "[commun]\nkey=elsewhere\n");
  // A target outside the preferences directory is still rewritten through the
  // temporary file of the preferences directory, which does not stay.
  EXPECT_EQ(MC_bEcrireChaineIni("commun", "key2", "v", other.c_str()), 1);
  EXPECT_EQ(ReadFile(other), "[commun]\nkey=elsewhere\n\n[COMMUN]\nkey2=v\n");
  EXPECT_FALSE(FileExists(prefs.file("WriteIniTmp.txt")));
  // A missing preferences directory: the writers give 0 and change nothing.
  setenv("MC_PREFERENCES_DIR", prefs.file("missing").c_str(), 1);
  EXPECT_EQ(MC_bEcrireChaineTovel("commun", "key", "v"), 0);
  EXPECT_EQ(MC_bEcrireChaineIni("commun", "key", "w", other.c_str()), 0);
  EXPECT_EQ(ReadFile(other), "[commun]\nkey=elsewhere\n\n[COMMUN]\nkey2=v\n");
}

TEST(CoreIniWriter, RewritesEndStates) {
  PreferencesDir prefs;
  const std::pair<std::string, std::string> rows[] = {
      {"[COMMUN]\nk1=old\nk2=2\n", "[COMMUN]\nk1=v\nk2=2\n"},   // replaced in place,
      {"[COMMUN]\nk1abc=1\nk2=2\n", "[COMMUN]\nk1=v\nk2=2\n"},  // comparing only the key's length
      {"[COMMUN]\nK1=1\n", "[COMMUN]\nK1=1\nk1=v\n"},
      {"[COMMUN]\na1=1\n\n[X]\nk1=2\n", "[COMMUN]\na1=1\nk1=v\n\n[X]\nk1=2\n"},  // before the first empty line
      {"[COMMUN]\na1=1\n", "[COMMUN]\na1=1\nk1=v\n"},                            // or at the end
      {"[COMMUN]\n", "[COMMUN]\nk1=v\n"},
      {"[COMMUN]\na1=1\n[X]\nk1=2\n", "[COMMUN]\na1=1\n[X]\nk1=v\n"},  // the search runs on into the next section
      {"[OTHER]\nx1=1\n", "[OTHER]\nx1=1\n\n[COMMUN]\nk1=v\n"},        // a missing section is appended,
      {"", "\n[COMMUN]\nk1=v\n"},
      {"[commun]\nk1=old\n", "[commun]\nk1=old\n\n[COMMUN]\nk1=v\n"},  // looked for in upper case only
      {"[COMMUN]\na1=1\nlast=2", "[COMMUN]\na1=1\nk1=v\n"},            // a last line without LF is lost,
      {"[OTHER]\nlast=2", "[OTHER]\n\n[COMMUN]\nk1=v\n"},
      {"[COMMUN]\na1=1\nx\xffy\nz=1\n", "[COMMUN]\na1=1\nk1=v\n"},         // and everything from a 0xFF byte
      {"[COMMUN]\r\na1=1\r\n", "[COMMUN]\r\na1=1\r\n\n[COMMUN]\nk1=v\n"},  // "[COMMUN]\r" is another header
      {"[COMMUN]\n" + std::string(1000, 'x') + "\n\n", "[COMMUN]\n" + std::string(1000, 'x') + "\nk1=v\n\n"},
  };
  for (const auto &[before, after] : rows) {
    WriteFile(prefs.file("w.ini"), before);
    EXPECT_EQ(MC_bEcrireChaineIni("commun", "k1", "v", "w.ini"), 1) << before;
    EXPECT_EQ(ReadFile(prefs.file("w.ini")), after) << before;
    EXPECT_FALSE(FileExists(prefs.file("WriteIniTmp.txt")));
  }
  // A new file gets the header and the entry; the key keeps its spelling.
  ASSERT_EQ(MC_bEcrireChaineIni("Commun", "MyKey", "a b ; c", "new.ini"), 1);
  EXPECT_EQ(ReadFile(prefs.file("new.ini")), "[COMMUN]\nMyKey=a b ; c\n");
  // Names the reader could never match are refused; nothing changes.
  const std::string longName(256, 's');
  WriteFile(prefs.file("w.ini"), "[COMMUN]\n");
  EXPECT_EQ(MC_bEcrireChaineIni(longName.c_str(), "k1", "v", "w.ini"), 0);
  EXPECT_EQ(MC_bEcrireChaineIni("commun", longName.c_str(), "v", "w.ini"), 0);
  EXPECT_EQ(MC_bEcrireChaineIni(nullptr, "k1", "v", "w.ini"), 0);
  EXPECT_EQ(MC_bEcrireChaineIni("commun", "k1", nullptr, "w.ini"), 0);
  EXPECT_EQ(MC_bEcrireChaineIni("commun", "k1", "v", nullptr), 0);
  EXPECT_EQ(ReadFile(prefs.file("w.ini")), "[COMMUN]\n");
}

TEST(CoreIniWrappers, TraceLines) {
  PreferencesDir prefs;
  WriteFile(prefs.file("tovel.ini"), "[commun]\nkey=abc\n");
  TraceCapture trace({5});
  char dest[8];
  MC_ulLireChaineIni("commun", "key", dest, 7, "tovel.ini");
  MC_lLireLongIni("commun", "none", "tovel.ini");
  MC_bEcrireChaineIni("commun", "k", "v", "x.ini");
  MC_ulLireChaineTovel("commun", "key", dest, 0);
  MC_lLireLongTovel("commun", "key");
  MC_bEcrireChaineTovel("commun", "k", "v");
  const Lines expected = {
      "{ MC_ulLireChaineIni",    "  MC_ulLireChaineIni / Longueur =0x0003",   "  MC_ulLireChaineIni",    "}",
      "{ MC_lLireLongIni",       "  MC_lLireLongIni / lRetour =0xffffffff",   "  MC_lLireLongIni",       "}",
      "{ MC_bEcrireChaineIni",   "  MC_bEcrireChaineIni / bRetour =0x0001",   "  MC_bEcrireChaineIni",   "}",
      "{ MC_ulLireChaineTovel",  "  MC_ulLireChaineTovel / Longueur =0x0000", "  MC_ulLireChaineTovel",  "}",
      "{ MC_lLireLongTovel",     "  MC_lLireLongTovel / lRetour =0x0000",     "  MC_lLireLongTovel",     "}",
      "{ MC_bEcrireChaineTovel", "  MC_bEcrireChaineTovel / bRetour =0x0001", "  MC_bEcrireChaineTovel", "}",
  };
  EXPECT_EQ(trace.Lines(), expected);
}

// Every read of `content` up to the one that returns 0 (at most 8): the line
// up to its NUL, or, when the reader left it unterminated, up to the first
// byte it did not touch, shown as '#'.
Lines ReadAll(const TempDir &dir, const std::string &content, int32_t (*reader)(FILE *, char *)) {
  WriteFile(dir.file("lines"), content);
  FILE *f = fopen(dir.file("lines").c_str(), "rb");
  Lines reads;
  char line[300];
  for (int i = 0; f != nullptr && i < 8; ++i) {
    memset(line, '#', sizeof line);
    const int32_t status = reader(f, line);
    const size_t end = static_cast<const char *>(memchr(line, '#', sizeof line)) - line;
    reads.push_back(memchr(line, '\0', end) ? std::string(line) : std::string(line, end + 1));
    if (status == 0) break;
  }
  if (f != nullptr) fclose(f);
  return reads;
}

TEST(CoreIniLines, ReadersAndTextHelpers) {
  TempDir dir;
  const std::string x300(300, 'x'), x255(255, 'x');
  // read_line: CR kept, a long line cut to the buffer (its rest skipped), a
  // last line without LF left unterminated, 0xFF read as the end.
  EXPECT_EQ(ReadAll(dir, "ab\r\n\ncd\n" + x300 + "\nlast", read_line), (Lines{"ab\r", "", "cd", x255, "last#"}));
  EXPECT_EQ(ReadAll(dir, "a\377b\nc\n", read_line), Lines{"a#"});
  // read_lineSpecial: the first end (or 0xFF) closes the line and stays in it.
  EXPECT_EQ(finficpourligne, 0);
  EXPECT_EQ(ReadAll(dir, "ab\ncd", read_lineSpecial), (Lines{"ab", "cd\xff", "#"}));
  EXPECT_EQ(finficpourligne, 0);
  EXPECT_EQ(ReadAll(dir, "a\377b\n", read_lineSpecial), (Lines{"a\xff", "b", "#"}));
  EXPECT_EQ(finficpourligne, 0);
  char line[256];
  EXPECT_EQ(read_line(nullptr, line), 0);
  EXPECT_EQ(read_lineSpecial(nullptr, line), 0);

  EXPECT_EQ(pkw_GetLine("abc\r\nx"), 3);
  EXPECT_EQ(pkw_GetLine("abc"), 3);
  EXPECT_EQ(pkw_GetLine("\nabc"), 0);
  EXPECT_EQ(pkw_GetToken("ab=c", '='), 2);
  EXPECT_EQ(pkw_GetToken("=c", '='), 0);  // at position 0: reads as absent
  EXPECT_EQ(pkw_GetToken("abc\n=", '='), 0);
  EXPECT_EQ(pkw_GetToken("abc", '='), 0);
  char text[] = "aBc-1 [x]\xe9";
  EXPECT_EQ(pkw_uprstr(text), text);
  EXPECT_STREQ(text, "ABC-1 [X]\xe9");
  EXPECT_EQ(pkw_GetLine(nullptr), 0);
  EXPECT_EQ(pkw_GetToken(nullptr, '='), 0);
  EXPECT_EQ(pkw_uprstr(nullptr), nullptr);
}

// Component version records.

void SetWorkingDir(const PreferencesDir &prefs, const std::string &dir) {
  WriteFile(prefs.file("tovel.ini"), "[commun]\nrepertoiretable=/t\nrepertoiretravail=" + dir + "\n");
}

// A component's record as read back, or the status of a failed read.
std::string Relire(int8_t component) {
  uint8_t *content = nullptr;
  uint32_t length = 99;
  const uint16_t status = MC_usLireVersionComposant(component, &content, &length);
  if (status != 0 || content == nullptr) return Format("status %04x", status);
  const std::string record(reinterpret_cast<char *>(content), length);
  MC_Liberer(content);
  return record;
}

TEST(CoreVersion, WrittenAndReadBackByteForByte) {
  PreferencesDir prefs;
  TempDir work;
  SetWorkingDir(prefs, work.path() + "/");  // a trailing slash is harmless
  const uint32_t before = ulMemAllouee;
  ASSERT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0);
  EXPECT_EQ(ReadFile(work.file("92.adm")), "0103");
  EXPECT_EQ(Relire(92), "0103");
  // Replacing truncates; an empty version gives an empty record.
  ASSERT_EQ(MC_usEcrireVersionComposant(92, "7"), 0);
  EXPECT_EQ(ReadFile(work.file("92.adm")), "7");
  ASSERT_EQ(MC_usEcrireVersionComposant(0, ""), 0);
  EXPECT_TRUE(FileExists(work.file("0.adm")));
  EXPECT_EQ(Relire(0), "");
  // Raw bytes come back as they are, line ends and NULs included.
  WriteFile(work.file("127.adm"), "a\0b\r\n"s);
  EXPECT_EQ(Relire(127), "a\0b\r\n"s);
  EXPECT_EQ(ulMemAllouee, before);
}

TEST(CoreVersion, FailuresLeaveOutArgumentsAndFilesAlone) {
  PreferencesDir prefs;
  uint8_t *const marker = reinterpret_cast<uint8_t *>(0x10);
  uint8_t *content = marker;
  uint32_t length = 77;
  // An empty working directory (the trace test has none at all).
  SetWorkingDir(prefs, "");
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xF6F1);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0xF6F1);
  char *work = nullptr;
  EXPECT_EQ(MC_usDonnerRepertoireTravail(&work), 0xF6F1);
  EXPECT_NE(work, nullptr);  // handed out even on failure
  MC_Liberer(work);
  // A working directory that does not exist: no record to read, none created.
  TempDir dirWork;
  SetWorkingDir(prefs, dirWork.file("nowhere"));
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xF610);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0xF6F2);
  // A record never written.
  SetWorkingDir(prefs, dirWork.path());
  EXPECT_EQ(MC_usLireVersionComposant(5, &content, &length), 0xF610);
  EXPECT_EQ(length, 77u);
  // The working-directory block cannot be had: nothing is touched.
  FaireEchouerAllocation(1);
  work = reinterpret_cast<char *>(1);
  EXPECT_EQ(MC_usDonnerRepertoireTravail(&work), 0xFFFB);
  EXPECT_EQ(work, nullptr);
  FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0xFFFB);
  EXPECT_FALSE(FileExists(dirWork.file("92.adm")));
  WriteFile(dirWork.file("92.adm"), "0103");
  FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xFFFB);
  // A failing join: the blocks are the directory, its copy, the name, the path.
  FaireEchouerAllocation(4);
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xF801);
  FaireEchouerAllocation(4);
  EXPECT_EQ(MC_usEcrireVersionComposant(93, "0103"), 0xF6F2);
  EXPECT_FALSE(FileExists(dirWork.file("93.adm")));
  EXPECT_EQ(content, marker);
  EXPECT_EQ(MC_usDonnerRepertoireTravail(nullptr), 0xF802);
  EXPECT_EQ(MC_usLireVersionComposant(92, nullptr, &length), 0xF802);
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, nullptr), 0xF802);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, nullptr), 0xF802);
}

TEST(CoreVersion, TraceLines) {
  PreferencesDir prefs;
  TempDir work;
  TraceCapture trace({4});
  EXPECT_EQ(Relire(92), "status f6f1");
  EXPECT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0xF6F1);
  SetWorkingDir(prefs, work.path());
  ASSERT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0);
  EXPECT_EQ(Relire(92), "0103");
  EXPECT_EQ(Relire(9), "status f610");
  const Lines lines = trace.Lines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 3),
            (Lines{"{ MC_usLireVersionComposant", "  { MC_usDonnerRepertoireTravail",
                   "    ERREUR : ERREUR du repertoire de travail  (63217)"}));
  // Below, the lines each call writes at its own depth, without its helpers' blocks.
  const Lines expected = {
      "  ERREUR : LECTURE DES COMPOSANTS Erreur sur le repertoire de travail =(63217)",
      "  Retour =(63217)",
      "  MC_usLireVersionComposant =(63217)",
      "  MC_usLireVersionComposant",
      "  MC_usDonnerRepertoireTravail /  usRetour =0xf6f1",
      "  Retour de recherche du repertoire de travail =(63217)",
      "  ECRITURE DES COMPOSANTS Retour de recherche du repertoire de travail =(63217)",
      "  Resultat fin fonction =(63217)",
      "  MC_usEcrireVersionComposant",
      "  MC_usDonnerRepertoireTravail /  usRetour =0x0000",
      "  Repertoire Travail OK",
      "  ECRITURE DES COMPOSANTS Retour de recherche du repertoire de travail =(0)",
      "  ECRITURE DES COMPOSANTS: usConstruireNomComplet =0x0000",
      "   ECRITURE DES COMPOSANTS MC_usCreerNomCompletFichier =0x0000",
      "  Resultat fin fonction =(0)",
      "  MC_usEcrireVersionComposant",
      "  LECTURE DES COMPOSANTS: usConstruireNomComplet =0x0000",
      "  LECTURE DES COMPOSANTS MC_usCreerNomCompletFichier =0x0000",
      "  Retour =(0)",
      "  Retour =(0)",
      "  MC_usLireVersionComposant =(0)",
      "  MC_usLireVersionComposant",
      "  LECTURE DES COMPOSANTS: usConstruireNomComplet =0x0000",
      "  LECTURE DES COMPOSANTS MC_usCreerNomCompletFichier =0x0000",
      "  ERREUR : LECTURE DES COMPOSANTS Retour ERREUR =(62992)",
      "  Retour =(62992)",
      "  MC_usLireVersionComposant =(62992)",
      "  MC_usLireVersionComposant",
  };
  EXPECT_EQ(Garder(lines, "  (?!  |\\{|\\}$).*"), expected);
}

// Library lifecycle.

std::vector<mc::test::GroupeDico> PetitDictionnaire() { return {{0x0101, {{1, 1, 8, 'A', {"OUI"}}}}, {0x0202}}; }

// The lifecycle's own lines: the blocks of the allocator and of the
// configuration reads, and the closing braces, are left out.
Lines LignesCycle(const Lines &lines) {
  return Garder(lines, "(?! *(\\}$|\\{ (Allocation|Liberation) de |Taille Memoire cumulee|(\\{ )?MC_ulLireChaine)).*");
}

// Modules counted, then for each table its records, "-" for one not held
// (with its count when that is not 0), and the files left open.
std::string Etat() {
  const auto table = [](const void *p, uint32_t n) { return p ? N(n) : n ? "-" + N(n) : std::string("-"); };
  std::string etat = "modules=" + N(nbre_chargt_module) + " tables=" + table(g_stTabGrp, g_ulNbTabGrp) + "/" +
                     table(g_stTabChp, g_ulNbTabChp) + "/" + table(g_cTabVal, g_ulNbTabVal);
  for (Fichier *f : fichiers)
    if (f != nullptr) etat += " ouvert";
  return etat;
}

TEST(CoreLifecycle, FullCycleCountsTracesAndHandsOutVersions) {
  InstallationTables inst;
  ASSERT_EQ(inst.Ecrire(PetitDictionnaire(), {"0107", "0001"}), 0);
  TraceCapture trace({5});
  char *versionMC = nullptr, *versionTables = nullptr;
  ASSERT_EQ(MC_usInitLIB(&versionMC, &versionTables), 0);
  EXPECT_STREQ(versionMC, "0103");
  EXPECT_STREQ(versionTables, "0107");
  EXPECT_EQ(ReadFile(inst.RepertoireTravail() + "/92.adm"), "0103");
  EXPECT_EQ(ReadFile(inst.RepertoireTravail() + "/93.adm"), "0107");
  EXPECT_EQ(Etat(), "modules=1 tables=2/1/1");
  // Later initialisations only count, whatever their out arguments.
  char marque = 0, *a = &marque;
  EXPECT_EQ(MC_usInitLIB(&a, nullptr), 0);
  EXPECT_EQ(a, &marque);
  EXPECT_EQ(Etat(), "modules=2 tables=2/1/1");
  EXPECT_EQ(MC_usTermLIB(), 0);
  EXPECT_EQ(Etat(), "modules=1 tables=2/1/1");
  EXPECT_EQ(MC_usTermLIB(), 0);
  EXPECT_EQ(Etat(), "modules=0 tables=-/-/-");
  MC_Liberer(versionMC);
  MC_Liberer(versionTables);
  // The counting calls leave their blocks open: the depth grows.
  const Lines attendu = {
      "{ MC_usInitLIB",
      "  Nombre de modules ayant initialis\xe9 le MC = 0",
      "  MC_usInitLIB",
      "{ IAInitialisation",
      "  REPERTOIRE TRAVAIL :MC_ulLireChaineTovel:usLongueur=0x" + Format("%04zx", inst.RepertoireTravail().size()),
      "  recuperation du repertoire de travail OK",
      "  REPERTOIRE TABLES:MC_ulLireChaineTovel:usLongueur=0x" + Format("%04zx", inst.RepertoireTables().size()),
      "  recuperation du repertoire des tables externes OK",
      "  MC_usInitialiserFichierBinaire:initialisation des tables externes / usResultat=0x0000",
      "  controle de numeros de version,usResultat= 0x0000",
      "  MC_usLireEnteteTable:usResultat= 0x0000",
      "  MC_usLireEnteteTable:usResultat= 0x0000",
      "  MC_usLireEnteteTable:usResultat= 0x0000",
      "  ecriture des fichiers .adm composants",
      "  ecriture du fichier .adm, composant MC :usResultat= 0x0000",
      "  ecriture du fichier .adm, composant Fichier Tables :usResultat= 0x0000",
      "  Sortie : numero de version MC",
      "  Sortie : numero de version du Fichier de tables",
      "  IAInitialisation",
      "{ MC_usInitLIB",
      "  Nombre de modules ayant initialis\xe9 le MC = 1",
      "  MC_usInitLIB",
      "{ IAInitialisation",
      "  { MC_usTermLIB",
      "    { MC_usTermLIB",
      "       0",
      "      { usIADecharger",
      "        { Suppression des tables /usGTSupprTables",
      "          suppression de la table TGROUPE, usResultat=0x0000",
      "          suppression de la table TCHAMP, usResultat=0x0000",
      "          suppression de la table TVALEUR, usResultat=0x0000",
      "          Suppression des tables = usGTSupprTables / usResultat = 0x0000",
      "        usIADecharger",
  };
  EXPECT_EQ(LignesCycle(trace.Lines()), attendu);
  // One termination too many wraps the counter; the next initialisation only
  // counts, back to 0: nothing is loaded.
  EXPECT_EQ(MC_usTermLIB(), 0);
  EXPECT_EQ(nbre_chargt_module, 65535);
  a = nullptr;
  EXPECT_EQ(MC_usInitLIB(&a, &a), 0);
  EXPECT_EQ(a, nullptr);
  EXPECT_EQ(Etat(), "modules=0 tables=-/-/-");
}

TEST(CoreLifecycle, VersionRangeOfTheTablesFile) {
  const std::tuple<const char *, const char *, uint16_t> cas[] = {{"0103", "0103", 0xF620}, {"0104", "0103", 0},
                                                                  {"0104", "0104", 0xF620}, {"9999", "0000", 0},
                                                                  {"010:", "0103", 0},      {"0104", "01/9", 0}};
  for (auto [version, lecteur, statut] : cas) {
    SCOPED_TRACE(std::string(version) + "/" + lecteur);
    InstallationTables inst;
    ASSERT_EQ(inst.Ecrire(PetitDictionnaire(), {version, lecteur}), 0);
    const uint32_t avant = ulMemAllouee;
    char *a = nullptr, *b = nullptr;
    TraceCapture trace({5});
    EXPECT_EQ(MC_usInitLIB(&a, &b), statut);
    const Lines lignes = LignesCycle(trace.Lines());
    if (statut == 0) {
      EXPECT_EQ(Etat(), "modules=1 tables=2/1/1");
      EXPECT_EQ(ReadFile(inst.RepertoireTravail() + "/93.adm"), version);
      MC_Liberer(a);
      MC_Liberer(b);
      MC_usTermLIB();
    } else {
      // Refused: no exit line, nothing counted, written or kept.
      EXPECT_EQ(lignes.back(), "  controle de numeros de version,usResultat= 0xf620");
      EXPECT_EQ(Etat(), "modules=0 tables=-/-/-");
      EXPECT_FALSE(FileExists(inst.RepertoireTravail() + "/92.adm"));
      EXPECT_EQ(a, nullptr);
      EXPECT_EQ(ulMemAllouee, avant);
    }
  }
}

TEST(CoreLifecycle, TablesInFileOrderAndForeignTable) {
  {
    InstallationTables inst;
    const auto t = mc::test::TablesDictionnaire(PetitDictionnaire());
    ASSERT_EQ(inst.EcrireTables({t[2], t[0], t[1]}), 0);
    char *a = nullptr, *b = nullptr;
    ASSERT_EQ(MC_usInitLIB(&a, &b), 0);
    char *valeur = nullptr;
    EXPECT_EQ(MC_usDonnerChampValeur(0x0101, 1, 1, &valeur), 0);
    EXPECT_STREQ(valeur, "OUI");
    MC_Liberer(valeur);
    MC_Liberer(a);
    MC_Liberer(b);
    MC_usTermLIB();
  }
  InstallationTables inst;
  const auto t = mc::test::TablesDictionnaire(PetitDictionnaire());
  ASSERT_EQ(inst.EcrireTables({t[0], t[1], {"TAUTRE", 0, {}}}), 0);
  const uint32_t avant = ulMemAllouee;
  TraceCapture trace({5});
  char *a = nullptr, *b = nullptr;
  EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_FIN_FICHIER);
  // The two tables loaded are released again: only the values were missing.
  const std::string texte = trace.Text();
  EXPECT_NE(texte.find("  erreur de chargement des tables : suppression des tables deja chargees\n"),
            std::string::npos);
  EXPECT_NE(texte.find("Suppression des tables = usGTSupprTables / usResultat = 0x0001\n"), std::string::npos);
  EXPECT_EQ(Etat(), "modules=0 tables=-/-/-");
  EXPECT_EQ(ulMemAllouee, avant);
  EXPECT_FALSE(FileExists(inst.RepertoireTravail() + "/92.adm"));
}

TEST(CoreLifecycle, ConfigurationAndTablesFileMissing) {
  char *a = nullptr, *b = nullptr;
  {
    InstallationTables inst(false, true);
    const uint32_t avant = ulMemAllouee;
    EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_REP_TABLE);
    EXPECT_EQ(ulMemAllouee, avant);
  }
  {
    InstallationTables inst;  // no tablebin.kmt
    EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_FICHIER);
  }
  InstallationTables inst(true, false);
  ASSERT_EQ(inst.Ecrire(PetitDictionnaire()), 0);
  EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_REP_TRAVAIL);
  // Reported after loading: the dictionary stays, the library is not counted.
  EXPECT_EQ(Etat(), "modules=0 tables=2/1/1");
  EXPECT_EQ(a, nullptr);
  // The next attempt loads it again.  A record that cannot be written is
  // returned, yet the library counts as initialised.
  WriteFile(inst.Preferences().file("tovel.ini"), "[commun]\nrepertoiretravail=" + inst.RepertoireTravail() +
                                                      "/absent\nrepertoiretable=" + inst.RepertoireTables() + "\n");
  TraceCapture trace({5});
  EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_VERSION_COMPOSANT);
  EXPECT_EQ(Etat(), "modules=1 tables=2/1/1");
  EXPECT_STREQ(a, "0103");
  EXPECT_STREQ(b, "0104");
  const std::string texte = trace.Text();
  EXPECT_NE(texte.find("  ecriture du fichier .adm, composant MC :usResultat= 0xf6f2\n"), std::string::npos);
  EXPECT_EQ(texte.find("composant Fichier Tables"), std::string::npos);
  MC_Liberer(a);
  MC_Liberer(b);
  MC_usTermLIB();
}

TEST(CoreLifecycle, AllocationFailuresAndNullArguments) {
  InstallationTables inst;
  ASSERT_EQ(inst.Ecrire(PetitDictionnaire()), 0);
  char *a = nullptr, *b = nullptr;
  EXPECT_EQ(MC_usInitLIB(nullptr, &b), MC_ERR_ARGUMENT);
  EXPECT_EQ(nbre_chargt_module, 0);
  FaireEchouerAllocation(1);
  uint16_t statut = MC_usInitLIB(&a, &b);
  EXPECT_EQ(statut, MC_ERR_INIT_ALLOCATION);
  for (unsigned long n = 2; statut != 0 && n < 500; ++n) {
    SCOPED_TRACE(n);
    FaireEchouerAllocation(n);
    statut = MC_usInitLIB(&a, &b);
    FaireEchouerAllocation(0);
    EXPECT_EQ(Etat().find("ouvert"), std::string::npos);
    if (nbre_chargt_module == 0) {
      EXPECT_NE(statut, 0);
    } else {  // counted: the failure, if any, was a version record's
      MC_Liberer(a);
      MC_Liberer(b);
      MC_usTermLIB();
    }
  }
  EXPECT_EQ(statut, 0);
  EXPECT_EQ(nbre_chargt_module, 0);
}

}  // namespace
