// Library core: counted memory, file helpers, configuration files and
// component version records.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/memory.h"
#include "core/preferences.h"
#include "support/dictionary_builder.h"
#include "support/mc_test.h"

using mc::test::ReadFile;
using mc::test::TempDir;
using mc::test::TraceCapture;

namespace {

TEST(CoreMemory, CountersRoundTripAndPeak) {
  const uint32_t before = ulMemAllouee;
  void *a = MC_Allouer(1000);
  ASSERT_NE(a, nullptr);
  const uint32_t realA = static_cast<uint32_t>(malloc_usable_size(a));
  EXPECT_GE(realA, 1000u);
  EXPECT_EQ(ulMemAllouee, before + realA);
  void *b = MC_Allouer(0);  // a zero-byte request still counts its real block
  const uint32_t realB = b ? static_cast<uint32_t>(malloc_usable_size(b)) : 0;
  EXPECT_EQ(ulMemAllouee, before + realA + realB);
  const uint32_t peak = ulMaxAlloue;
  EXPECT_GE(peak, before + realA + realB);
  MC_Liberer(a);
  MC_Liberer(b);
  EXPECT_EQ(ulMemAllouee, before);
  EXPECT_EQ(ulMaxAlloue, peak);
  MC_Liberer(nullptr);
  EXPECT_EQ(ulMemAllouee, before);
  EXPECT_EQ(ulMaxAlloue, peak);
}

TEST(CoreMemory, TraceLinesOfAllocationAndRelease) {
  TraceCapture trace({5});
  void *p = MC_Allouer(10);
  const unsigned real = static_cast<unsigned>(malloc_usable_size(p));
  const unsigned long total = ulMemAllouee;
  char address[32];
  snprintf(address, sizeof address, "%p", p);
  MC_Liberer(p);
  MC_Liberer(nullptr);  // no trace at all
  const auto lines = trace.Lines();
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[0], "{ Allocation de 10 (" + std::to_string(real) + ") a l'adresse " + address);
  EXPECT_EQ(lines[1], "  Taille Memoire cumulee = " + std::to_string(total));
  EXPECT_EQ(lines[2], "}");
  EXPECT_EQ(lines[3], "{ Liberation de " + std::to_string(real) + " octets a l'adresse " + address);
  EXPECT_EQ(lines[4], "  Taille Memoire cumulee = \t" + std::to_string(total - real));
  EXPECT_EQ(lines[5], "}");
}

TEST(CoreMemory, FailedAllocationWritesThreeLinesAndCountsNothing) {
  TraceCapture trace({5});
  const uint32_t before = ulMemAllouee;
  mc::testing::FaireEchouerAllocation(2);
  void *ok = MC_Allouer(4);
  ASSERT_NE(ok, nullptr);
  const uint32_t withOk = ulMemAllouee;
  const uint32_t peak = ulMaxAlloue;
  EXPECT_EQ(MC_Allouer(4), nullptr);
  EXPECT_EQ(ulMemAllouee, withOk);
  EXPECT_EQ(ulMaxAlloue, peak);
  MC_Liberer(ok);
  EXPECT_EQ(ulMemAllouee, before);
  void *again = MC_Allouer(4);  // the countdown fired once only
  EXPECT_NE(again, nullptr);
  MC_Liberer(again);
  const auto lines = trace.Lines();
  ASSERT_GE(lines.size(), 6u);
  char nil[32];
  snprintf(nil, sizeof nil, "%p", static_cast<void *>(nullptr));
  EXPECT_EQ(lines[3], std::string("{ Allocation de 4 (0) a l'adresse ") + nil);
  EXPECT_EQ(lines[4], "  ERREUR : MC_Allouer memoire insuffisante");
  EXPECT_EQ(lines[5], "  Taille Memoire cumulee = " + std::to_string(withOk));
  EXPECT_EQ(lines[6], "}");
}

TEST(CoreMemory, PersistentFailureAndCounting) {
  const unsigned long calls = mc::testing::NombreAllocations();
  mc::testing::FaireEchouerAllocation(1, true);
  EXPECT_EQ(MC_Allouer(1), nullptr);
  EXPECT_EQ(MC_Allouer(1), nullptr);
  mc::testing::FaireEchouerAllocation(0);
  void *p = MC_Allouer(1);
  EXPECT_NE(p, nullptr);
  MC_Liberer(p);
  EXPECT_EQ(mc::testing::NombreAllocations(), calls + 3);
}

TEST(CoreFiles, LengthOfStreamKeepsPosition) {
  TempDir dir;
  const std::string path = dir.file("f.bin");
  mc::test::WriteFile(path, "");
  FILE *f = fopen(path.c_str(), "rb+");
  ASSERT_NE(f, nullptr);
  uint32_t length = 99;
  EXPECT_EQ(MC_usLongueurFichier(f, &length), 0);
  EXPECT_EQ(length, 0u);
  fputs("hello world", f);
  fseek(f, 3, SEEK_SET);
  EXPECT_EQ(MC_usLongueurFichier(f, &length), 0);
  EXPECT_EQ(length, 11u);
  EXPECT_EQ(ftell(f), 3);
  fclose(f);
  // A stream that cannot tell its position (a pipe).
  FILE *p = popen("true", "r");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(MC_usLongueurFichier(p, &length), 0xF610);
  pclose(p);
  EXPECT_EQ(MC_usLongueurFichier(nullptr, &length), 0xF802);
}

TEST(CoreFiles, FullNameJoinsWithoutCheckingSlashes) {
  char *full = nullptr;
  ASSERT_EQ(MC_usCreerNomCompletFichier("/a/", "b", &full), 0);
  EXPECT_STREQ(full, "/a//b");
  MC_Liberer(full);
  const std::string longDir(300, 'd');  // beyond the old 256-byte working buffer
  ASSERT_EQ(MC_usCreerNomCompletFichier(longDir.c_str(), "n", &full), 0);
  EXPECT_EQ(std::string(full), longDir + "/n");
  MC_Liberer(full);
  mc::testing::FaireEchouerAllocation(1);
  full = reinterpret_cast<char *>(1);
  EXPECT_EQ(MC_usCreerNomCompletFichier("/a", "b", &full), 0xF801);
  EXPECT_EQ(full, nullptr);
  EXPECT_EQ(MC_usCreerNomCompletFichier(nullptr, "b", &full), 0xF802);
}

TEST(CoreFiles, VersionRecordNames) {
  const uint32_t before = ulMemAllouee;
  for (auto [component, expected] : {std::pair<int8_t, const char *>{1, "1.adm"}, {92, "92.adm"},
                                     {127, "127.adm"}, {-100, "-100.adm"}, {-1, "-1.adm"}}) {
    char *name = nullptr;
    ASSERT_EQ(usConstruireNomComplet(component, &name), 0);
    EXPECT_STREQ(name, expected);
    EXPECT_GE(malloc_usable_size(name), strlen(expected) + 1);
    MC_Liberer(name);
  }
  EXPECT_EQ(ulMemAllouee, before);
}

TEST(CoreFiles, HelpersTraceUnderComponentFour) {
  TempDir dir;
  TraceCapture trace({4});
  FILE *f = nullptr;
  const std::string missing = dir.file("missing");
  EXPECT_EQ(usOuvrirFichier(missing.c_str(), "rb", &f), 0xF610);
  char *name = nullptr;
  usConstruireNomComplet(3, &name);
  MC_Liberer(name);
  const auto lines = trace.Lines();
  ASSERT_EQ(lines.size(), 8u);
  EXPECT_EQ(lines[0], "{ usOuvrirFichier");
  EXPECT_EQ(lines[1], "  Fichier : " + missing + " mode ouverture rb");
  EXPECT_EQ(lines[2], "  ERREUR :  Probleme ouverture fichier");
  EXPECT_EQ(lines[3], "  usOuvrirFichier");
  EXPECT_EQ(lines[4], "}");
  EXPECT_EQ(lines[5], "{ usLireBufferFichier");
  EXPECT_EQ(lines[6], "  usLireBufferFichier");
  EXPECT_EQ(lines[7], "}");
}

TEST(CoreFiles, ReadBufferCountsAndErrors) {
  TempDir dir;
  const std::string path = dir.file("data");
  mc::test::WriteFile(path, "abcdef");
  FILE *f = nullptr;
  ASSERT_EQ(usOuvrirFichier(path.c_str(), "rb", &f), 0);
  char buffer[16] = {};
  uint32_t count = 16;
  EXPECT_EQ(usLireBufferFichier(f, buffer, &count), 0);  // short read at end: success
  EXPECT_EQ(count, 6u);
  EXPECT_STREQ(buffer, "abcdef");
  EXPECT_EQ(usFermerFichier(f), 0);
  ASSERT_EQ(usOuvrirFichier(path.c_str(), "wb", &f), 0);  // write-only: reading fails
  count = 4;
  EXPECT_EQ(usLireBufferFichier(f, buffer, &count), 0xF610);
  EXPECT_EQ(usFermerFichier(f), 0);
}

TEST(CoreFiles, DateTimeFormatting) {
  char text[64];
  uint32_t size = sizeof text;
  const uint32_t n = donneDateHeure(text, &size, "%Y-%m-%d");
  EXPECT_EQ(n, 10u);
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(text[4], '-');
  size = 5;  // does not fit
  EXPECT_EQ(donneDateHeure(text, &size, "%Y-%m-%d"), 0u);
  EXPECT_EQ(size, 0u);
}

}  // namespace

// ---------------------------------------------------------------------------
// Configuration files
// ---------------------------------------------------------------------------

namespace {

using mc::test::PreferencesDir;
using mc::test::WriteFile;

// Reads section/key of a file holding `content`, with "def" as default.
std::string Lire(const PreferencesDir &prefs, const std::string &content, const char *section,
                 const char *key, int32_t size = 255) {
  WriteFile(prefs.file("t.ini"), content);
  std::vector<char> dest(static_cast<size_t>(size) + 1, '\x7f');
  const uint32_t n = GetIniString(section, key, "def", dest.data(), size, "t.ini");
  EXPECT_EQ(n, strlen(dest.data())) << content;
  return std::string(dest.data());
}

TEST(CoreIniRead, ScannerMatchingRules) {
  PreferencesDir prefs;
  struct Row {
    const char *content, *section, *key, *expected;
  };
  const Row rows[] = {
      // Section names: blanks inside brackets count, case does not.
      {"[ commun ]\nkey=1\n", "commun", "key", "def"},
      {"[COMMUN]\nkey=1\n", "commun", "key", "1"},
      {"[commun]\nkey=1\n", "COMMUN", "key", "1"},
      {"[Commun]\nKeY=1\n", "commun", "kEy", "1"},
      // One-character names are never found.
      {"[a]\nkey=1\n", "a", "key", "def"},
      {"[ab]\nk=1\n", "ab", "k", "def"},
      // Blanks around "=": before it they belong to the key, after it they go.
      {"[ab]\nkey = value\n", "ab", "key", "def"},
      {"[ab]\nkey = value\n", "ab", "key ", "value"},
      {"[ab]\nkey=   value\n", "ab", "key", "value"},
      {"[ab]\nkey=\tvalue\n", "ab", "key", "\tvalue"},
      {"[ab]\nkey=value ; note  \n", "ab", "key", "value ; note  "},
      {"[ab]\nkey=\n", "ab", "key", ""},
      // Comments only where a line (or a scan step) starts.
      {"[ab]\n;key=1\n  #key=2\nkey=3\n", "ab", "key", "3"},
      // Entries outside any section, and in other sections, are not seen.
      {"key=1\n[ab]\n", "ab", "key", "def"},
      {"[cd]\nkey=1\n[ab]\nkey=2\n", "ab", "key", "2"},
      // First match in file order across every matching section.
      {"[ab]\nkey=1\n\n[AB]\nkey=2\n", "ab", "key", "1"},
      {"[ab]\nfoo=1\n[cd]\nkey=3\n[AB]\nkey=2\n", "ab", "key", "2"},
      // Line ends: LF, CR, CR LF.
      {"[ab]\rkey=1\rx=2", "ab", "key", "1"},
      {"[ab]\r\nkey=1\r\n", "ab", "key", "1"},
      // A line without "=" is stepped over two characters at a time.
      {"[cd]\nwxy[ef]\nkey=1\n", "cd", "key", "1"},
      {"[cd]\nwx[ef]\nkey=1\n", "cd", "key", "def"},
      {"[cd]\nw[ef]\nkey=1\n", "cd", "key", "1"},
      // After a key that does not match, the value is scanned as a line.
      {"[cd]\nother=key=7\n", "cd", "key", "7"},
      {"[cd]\nother=[xy]\nkey=1\n", "cd", "key", "def"},
      // Bytes from 0x80 up are skipped like blanks.
      {"[ab]\n\xe9key=1\n", "ab", "key", "1"},
      // Truncated files.
      {"[ab]\nkey=", "ab", "key", ""},
      {"[ab]\nkey", "ab", "key", "def"},
      {"[ab", "ab", "key", "def"},
      {"[", "ab", "key", "def"},
      {"", "ab", "key", "def"},
  };
  for (const Row &r : rows) EXPECT_EQ(Lire(prefs, r.content, r.section, r.key), r.expected) << r.content;
}

TEST(CoreIniRead, SizeLimitsDefaultsAndCuts) {
  PreferencesDir prefs;
  WriteFile(prefs.file("t.ini"), "[ab]\nkey=abcdef\n");
  // A value longer than the limit: size characters, then the NUL at [size].
  char dest[8];
  memset(dest, '#', sizeof dest);
  EXPECT_EQ(GetIniString("ab", "key", "", dest, 3, "t.ini"), 3u);
  EXPECT_EQ(std::string(dest, 5), std::string("abc\0#", 5));
  // A default longer than the size is cut to size - 1; one of exactly size
  // characters is copied whole.
  memset(dest, '#', sizeof dest);
  EXPECT_EQ(GetIniString("ab", "none", "wxyz", dest, 3, "t.ini"), 2u);
  EXPECT_EQ(std::string(dest, 4), std::string("wx\0#", 4));
  memset(dest, '#', sizeof dest);
  EXPECT_EQ(GetIniString("ab", "none", "wxy", dest, 3, "t.ini"), 3u);
  EXPECT_EQ(std::string(dest, 5), std::string("wxy\0#", 5));
  memset(dest, '#', sizeof dest);
  EXPECT_EQ(GetIniString("ab", "none", "wxy", dest, 0, "t.ini"), 0u);
  EXPECT_EQ(std::string(dest, 2), std::string("\0#", 2));
  // The exported reader: no reading for a zero or negative size or a null name.
  memset(dest, '#', sizeof dest);
  EXPECT_EQ(MC_ulLireChaineIni("ab", "key", dest, 0, "t.ini"), 0u);
  EXPECT_EQ(MC_ulLireChaineIni("ab", "key", dest, -1, "t.ini"), 0u);
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
}

TEST(CoreIniRead, Numbers) {
  PreferencesDir prefs;
  WriteFile(prefs.file("n.ini"), "[ab]\nn1=42\nn2= -7 \nn3=abc\nn4=12abc\nn5=99999999999\n");
  WriteFile(prefs.file("tovel.ini"), "[commun]\nniveau=3\n");
  EXPECT_EQ(GetIniInt("ab", "n1", 5, "n.ini"), 42);
  EXPECT_EQ(GetIniInt("ab", "n2", 5, "n.ini"), -7);
  EXPECT_EQ(GetIniInt("ab", "n3", 5, "n.ini"), 0);
  EXPECT_EQ(GetIniInt("ab", "n4", 5, "n.ini"), 12);
  EXPECT_EQ(GetIniInt("ab", "n5", 5, "n.ini"), static_cast<int32_t>(99999999999LL));
  EXPECT_EQ(GetIniInt("ab", "nx", 5, "n.ini"), 5);
  EXPECT_EQ(MC_lLireLongIni("ab", "n1", "n.ini"), 42);
  EXPECT_EQ(MC_lLireLongIni("ab", "nx", "n.ini"), -1);
  EXPECT_EQ(MC_lLireLongIni(nullptr, "n1", "n.ini"), -1);
  EXPECT_EQ(MC_lLireLongIni("ab", nullptr, "n.ini"), -1);
  EXPECT_EQ(MC_lLireLongTovel("commun", "niveau"), 3);
  EXPECT_EQ(MC_lLireLongTovel(nullptr, "niveau"), -1);
  int32_t value = 8;
  EXPECT_EQ(pkw_GetIniInfo("ab", "n1", &value, 'I', 4, "n.ini"), &value);
  EXPECT_EQ(value, 42);
  char text[8];
  EXPECT_EQ(pkw_GetIniInfo("ab", "n1", text, 'x', 7, "n.ini"), text);  // any other letter: string
  EXPECT_STREQ(text, "42");
}

TEST(CoreIniRead, HostileFilesAndLongNamesReturnDefaults) {
  PreferencesDir prefs;
  const std::string longName(300, 'k');
  const std::string exact255(255, 'k');
  for (const std::string &content : {std::string("\r\r\r\r"), std::string("[[[[[[[["), std::string("[ab]\n==\n=\n"),
                                     "[ab]\n" + std::string(2000000, 'x'), "[ab]\n" + std::string(2000000, '[')})
    EXPECT_EQ(Lire(prefs, content, "ab", "key"), "def");
  EXPECT_EQ(Lire(prefs, "[ab]key=1", "ab", "key"), "1");
  EXPECT_EQ(Lire(prefs, std::string("[ab]\0key=1\n", 11), "ab", "key"), "1");  // NUL skipped as a blank
  // A wanted name that does not fit the 256-byte buffers never matches, even
  // when the file holds it; 255 characters still do.
  EXPECT_EQ(Lire(prefs, "[" + longName + "]\nkey=1\n", longName.c_str(), "key"), "def");
  EXPECT_EQ(Lire(prefs, "[ab]\n" + longName + "=1\n", "ab", longName.c_str()), "def");
  EXPECT_EQ(Lire(prefs, "[" + exact255 + "]\n" + exact255 + "=1\n", exact255.c_str(), exact255.c_str()), "1");
  // A long value is cut at the caller's size.
  EXPECT_EQ(Lire(prefs, "[ab]\nkey=" + std::string(1000, 'v') + "\n", "ab", "key", 255), std::string(255, 'v'));
  // Binary junk over the characters the scanner reacts to.
  uint32_t seed = 12345;
  const char alphabet[] = "[]=;#\r\n \tabkeyKEY\0\xff\x80";
  for (int file = 0; file < 300; ++file) {
    std::string junk;
    for (int i = 0; i < 120; ++i) {
      seed = seed * 1103515245u + 12345u;
      junk.push_back(alphabet[(seed >> 16) % (sizeof alphabet - 1)]);
    }
    const std::string got = Lire(prefs, junk, "ab", "key", 16);
    EXPECT_LE(got.size(), 16u);
  }
  // A directory as the file.
  ASSERT_EQ(mkdir(prefs.file("d.ini").c_str(), 0700), 0);
  char dest[8] = "x";
  EXPECT_EQ(GetIniString("ab", "key", "def", dest, 7, "d.ini"), 3u);
  EXPECT_STREQ(dest, "def");
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
  WriteFile(prefs.file("tovel.ini"), "[commun]\nkey=prefs\n");
  WriteFile(elsewhere.file("tovel.ini"), "[commun]\nkey=elsewhere\n");
  char dest[16];
  EXPECT_EQ(MC_ulLireChaineTovel("commun", "key", dest, 15), 5u);
  EXPECT_STREQ(dest, "prefs");
  EXPECT_EQ(MC_ulLireChaineIni("commun", "key", dest, 15, elsewhere.file("tovel.ini").c_str()), 9u);
  EXPECT_STREQ(dest, "elsewhere");
  // A target outside the preferences directory is still rewritten through the
  // temporary file of the preferences directory, which does not stay.
  EXPECT_EQ(MC_bEcrireChaineIni("commun", "key2", "v", elsewhere.file("tovel.ini").c_str()), 1);
  EXPECT_EQ(ReadFile(elsewhere.file("tovel.ini")), "[commun]\nkey=elsewhere\n\n[COMMUN]\nkey2=v\n");
  EXPECT_FALSE(mc::test::FileExists(prefs.file("WriteIniTmp.txt")));

  // A missing preferences directory: defaults for the readers, 0 for the writers.
  setenv("MC_PREFERENCES_DIR", prefs.file("missing").c_str(), 1);
  strcpy(dest, "x");
  EXPECT_EQ(MC_ulLireChaineTovel("commun", "key", dest, 15), 0u);
  EXPECT_STREQ(dest, "");
  EXPECT_EQ(MC_lLireLongTovel("commun", "key"), -1);
  EXPECT_EQ(MC_bEcrireChaineTovel("commun", "key", "v"), 0);
  const std::string before = ReadFile(elsewhere.file("tovel.ini"));
  EXPECT_EQ(MC_bEcrireChaineIni("commun", "key", "v", elsewhere.file("tovel.ini").c_str()), 0);
  EXPECT_EQ(ReadFile(elsewhere.file("tovel.ini")), before);
}

// Writes commun/k1=v over a file holding `content`; returns the new content.
std::string Ecrire(const PreferencesDir &prefs, const std::string &content, const char *section = "commun",
                   const char *key = "k1", const char *value = "v") {
  WriteFile(prefs.file("w.ini"), content);
  EXPECT_EQ(MC_bEcrireChaineIni(section, key, value, "w.ini"), 1) << content;
  EXPECT_FALSE(mc::test::FileExists(prefs.file("WriteIniTmp.txt")));
  return ReadFile(prefs.file("w.ini"));
}

TEST(CoreIniWriter, RewritesEndStates) {
  PreferencesDir prefs;
  struct Row {
    std::string before, after;
  };
  const Row rows[] = {
      // Replaced in place; only the key's length is compared.
      {"[COMMUN]\nk1=old\nk2=2\n", "[COMMUN]\nk1=v\nk2=2\n"},
      {"[COMMUN]\nk1abc=1\nk2=2\n", "[COMMUN]\nk1=v\nk2=2\n"},
      {"[COMMUN]\nK1=1\n", "[COMMUN]\nK1=1\nk1=v\n"},
      // Inserted before the first empty line of the section.
      {"[COMMUN]\na1=1\n\n[X]\nk1=2\n", "[COMMUN]\na1=1\nk1=v\n\n[X]\nk1=2\n"},
      // Appended when the entries run to the end of the file.
      {"[COMMUN]\na1=1\n", "[COMMUN]\na1=1\nk1=v\n"},
      {"[COMMUN]\n", "[COMMUN]\nk1=v\n"},
      // With no empty line, the search runs on into the next section.
      {"[COMMUN]\na1=1\n[X]\nk1=2\n", "[COMMUN]\na1=1\n[X]\nk1=v\n"},
      // A missing section is appended after an empty line.
      {"[OTHER]\nx1=1\n", "[OTHER]\nx1=1\n\n[COMMUN]\nk1=v\n"},
      {"", "\n[COMMUN]\nk1=v\n"},
      // A last line without LF is lost, and so is everything from a 0xFF byte.
      {"[COMMUN]\na1=1\nlast=2", "[COMMUN]\na1=1\nk1=v\n"},
      {"[OTHER]\nlast=2", "[OTHER]\n\n[COMMUN]\nk1=v\n"},
      {"[COMMUN]\na1=1\nx\xffy\nz=1\n", "[COMMUN]\na1=1\nk1=v\n"},
      // CR stays in the lines, so "[COMMUN]\r" is another header.
      {"[COMMUN]\r\na1=1\r\n", "[COMMUN]\r\na1=1\r\n\n[COMMUN]\nk1=v\n"},
      // Lines longer than any working buffer are copied whole.
      {"[COMMUN]\n" + std::string(1000, 'x') + "\n\n", "[COMMUN]\n" + std::string(1000, 'x') + "\nk1=v\n\n"},
  };
  for (const Row &r : rows) EXPECT_EQ(Ecrire(prefs, r.before), r.after) << r.before;

  // A new file gets the header and the entry; the key keeps its spelling.
  ASSERT_EQ(MC_bEcrireChaineIni("Commun", "MyKey", "a b ; c", "new.ini"), 1);
  EXPECT_EQ(ReadFile(prefs.file("new.ini")), "[COMMUN]\nMyKey=a b ; c\n");
  char dest[16];
  EXPECT_EQ(MC_ulLireChaineIni("commun", "mykey", dest, 15, "new.ini"), 7u);
  EXPECT_STREQ(dest, "a b ; c");

  // A section spelt in lower case is not found: a second one is appended,
  // and the reader still sees the first.
  EXPECT_EQ(Ecrire(prefs, "[commun]\nk1=old\n", "commun", "k1", "new"),
            "[commun]\nk1=old\n\n[COMMUN]\nk1=new\n");
  EXPECT_EQ(MC_ulLireChaineIni("commun", "k1", dest, 15, "w.ini"), 3u);
  EXPECT_STREQ(dest, "old");

  // Names the reader could never match are refused; nothing changes.
  const std::string longName(256, 's');
  WriteFile(prefs.file("w.ini"), "[COMMUN]\n");
  EXPECT_EQ(MC_bEcrireChaineIni(longName.c_str(), "k1", "v", "w.ini"), 0);
  EXPECT_EQ(MC_bEcrireChaineIni("commun", longName.c_str(), "v", "w.ini"), 0);
  EXPECT_EQ(MC_bEcrireChaineIni(nullptr, "k1", "v", "w.ini"), 0);
  EXPECT_EQ(MC_bEcrireChaineIni("commun", "k1", nullptr, "w.ini"), 0);
  EXPECT_EQ(MC_bEcrireChaineIni("commun", "k1", "v", nullptr), 0);
  EXPECT_EQ(ReadFile(prefs.file("w.ini")), "[COMMUN]\n");

  // Round trip through the shared file.
  ASSERT_EQ(MC_bEcrireChaineTovel("commun", "repertoiretravail", "/tmp/w"), 1);
  ASSERT_EQ(MC_bEcrireChaineTovel("commun", "repertoiretable", "/tmp/t"), 1);
  ASSERT_EQ(MC_bEcrireChaineTovel("commun", "repertoiretravail", "/tmp/w2"), 1);
  EXPECT_EQ(ReadFile(prefs.file("tovel.ini")), "[COMMUN]\nrepertoiretravail=/tmp/w2\nrepertoiretable=/tmp/t\n");
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
  const std::vector<std::string> expected = {
      "{ MC_ulLireChaineIni",   "  MC_ulLireChaineIni / Longueur =0x0003",   "  MC_ulLireChaineIni",   "}",
      "{ MC_lLireLongIni",      "  MC_lLireLongIni / lRetour =0xffffffff",   "  MC_lLireLongIni",      "}",
      "{ MC_bEcrireChaineIni",  "  MC_bEcrireChaineIni / bRetour =0x0001",   "  MC_bEcrireChaineIni",  "}",
      "{ MC_ulLireChaineTovel", "  MC_ulLireChaineTovel / Longueur =0x0000", "  MC_ulLireChaineTovel", "}",
      "{ MC_lLireLongTovel",    "  MC_lLireLongTovel / lRetour =0x0000",     "  MC_lLireLongTovel",    "}",
      "{ MC_bEcrireChaineTovel", "  MC_bEcrireChaineTovel / bRetour =0x0001", "  MC_bEcrireChaineTovel", "}",
  };
  EXPECT_EQ(trace.Lines(), expected);
}

TEST(CoreIniLines, ReadLineAndSpecialVariant) {
  TempDir dir;
  const std::string path = dir.file("lines");
  WriteFile(path, "ab\r\n\ncd\n" + std::string(300, 'x') + "\nlast");
  FILE *f = fopen(path.c_str(), "rb");
  ASSERT_NE(f, nullptr);
  char line[256];
  EXPECT_EQ(read_line(f, line), 1);
  EXPECT_STREQ(line, "ab\r");
  EXPECT_EQ(read_line(f, line), 1);
  EXPECT_STREQ(line, "");
  EXPECT_EQ(read_line(f, line), 1);
  EXPECT_STREQ(line, "cd");
  EXPECT_EQ(read_line(f, line), 1);  // cut to the buffer, the rest of the line skipped
  EXPECT_EQ(std::string(line), std::string(255, 'x'));
  memset(line, '#', sizeof line);
  EXPECT_EQ(read_line(f, line), 0);  // last line without LF: not terminated
  EXPECT_EQ(std::string(line, 5), "last#");
  fclose(f);

  WriteFile(path, "a\xff" "b\nc\n");
  f = fopen(path.c_str(), "rb");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(read_line(f, line), 0);  // 0xFF ends the reading
  fclose(f);

  WriteFile(path, "ab\ncd");
  f = fopen(path.c_str(), "rb");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(finficpourligne, 0);
  EXPECT_EQ(read_lineSpecial(f, line), 1);
  EXPECT_STREQ(line, "ab");
  EXPECT_EQ(read_lineSpecial(f, line), 1);  // the end closes the last line, kept as 0xFF
  EXPECT_STREQ(line, "cd\xff");
  EXPECT_EQ(finficpourligne, 1);
  EXPECT_EQ(read_lineSpecial(f, line), 0);
  EXPECT_EQ(finficpourligne, 0);
  fclose(f);

  WriteFile(path, "a\xff" "b\n");
  f = fopen(path.c_str(), "rb");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(read_lineSpecial(f, line), 1);
  EXPECT_STREQ(line, "a\xff");
  EXPECT_EQ(read_lineSpecial(f, line), 1);
  EXPECT_STREQ(line, "b");
  EXPECT_EQ(read_lineSpecial(f, line), 0);  // the end of file clears the flag
  EXPECT_EQ(finficpourligne, 0);
  fclose(f);
  EXPECT_EQ(read_line(nullptr, line), 0);
  EXPECT_EQ(read_lineSpecial(nullptr, line), 0);
}

TEST(CoreIniLines, TextHelpers) {
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

}  // namespace

// ---------------------------------------------------------------------------
// Component version records
// ---------------------------------------------------------------------------

namespace {

// A preferences directory whose "tovel.ini" names a working directory.
struct WorkingDir {
  PreferencesDir prefs;
  TempDir work;
  explicit WorkingDir(const std::string &suffix = "") {
    WriteFile(prefs.file("tovel.ini"), "[commun]\nrepertoiretable=/t\nrepertoiretravail=" + work.path() + suffix +
                                           "\n");
  }
};

TEST(CoreVersion, WrittenAndReadBackByteForByte) {
  WorkingDir dir;
  const uint32_t before = ulMemAllouee;
  ASSERT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0);
  EXPECT_EQ(ReadFile(dir.work.file("92.adm")), "0103");
  uint8_t *content = nullptr;
  uint32_t length = 0;
  ASSERT_EQ(MC_usLireVersionComposant(92, &content, &length), 0);
  ASSERT_EQ(length, 4u);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(content), 4), "0103");
  MC_Liberer(content);
  // Replacing truncates; an empty version gives an empty record.
  ASSERT_EQ(MC_usEcrireVersionComposant(92, "7"), 0);
  EXPECT_EQ(ReadFile(dir.work.file("92.adm")), "7");
  ASSERT_EQ(MC_usEcrireVersionComposant(0, ""), 0);
  EXPECT_TRUE(mc::test::FileExists(dir.work.file("0.adm")));
  EXPECT_EQ(ReadFile(dir.work.file("0.adm")), "");
  length = 99;
  ASSERT_EQ(MC_usLireVersionComposant(0, &content, &length), 0);
  EXPECT_EQ(length, 0u);
  MC_Liberer(content);
  // Raw bytes come back as they are, line ends and NULs included.
  WriteFile(dir.work.file("127.adm"), std::string("a\0b\r\n", 5));
  ASSERT_EQ(MC_usLireVersionComposant(127, &content, &length), 0);
  ASSERT_EQ(length, 5u);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(content), 5), std::string("a\0b\r\n", 5));
  MC_Liberer(content);
  // Every block the calls took is given back.
  EXPECT_EQ(ulMemAllouee, before);
}

TEST(CoreVersion, TrailingSlashInWorkingDirectory) {
  WorkingDir dir("/");
  ASSERT_EQ(MC_usEcrireVersionComposant(93, "0104"), 0);
  EXPECT_EQ(ReadFile(dir.work.file("93.adm")), "0104");
}

TEST(CoreVersion, FailuresLeaveOutArgumentsAndFilesAlone) {
  PreferencesDir prefs;
  uint8_t *const marker = reinterpret_cast<uint8_t *>(0x10);
  uint8_t *content = marker;
  uint32_t length = 77;
  // No "tovel.ini", then an empty working directory.
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xF6F1);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0xF6F1);
  WriteFile(prefs.file("tovel.ini"), "[commun]\nrepertoiretravail=\n");
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xF6F1);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0xF6F1);
  char *work = nullptr;
  EXPECT_EQ(MC_usDonnerRepertoireTravail(&work), 0xF6F1);
  EXPECT_NE(work, nullptr);  // handed out even on failure
  MC_Liberer(work);
  // A working directory that does not exist: no record to read, none created.
  WriteFile(prefs.file("tovel.ini"), "[commun]\nrepertoiretravail=" + prefs.file("nowhere") + "\n");
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xF610);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0xF6F2);
  // A record never written.
  TempDir dirWork;
  WriteFile(prefs.file("tovel.ini"), "[commun]\nrepertoiretravail=" + dirWork.path() + "\n");
  EXPECT_EQ(MC_usLireVersionComposant(5, &content, &length), 0xF610);
  EXPECT_EQ(content, marker);
  EXPECT_EQ(length, 77u);
  // The working-directory block cannot be had: nothing is touched.
  mc::testing::FaireEchouerAllocation(1);
  work = reinterpret_cast<char *>(1);
  EXPECT_EQ(MC_usDonnerRepertoireTravail(&work), 0xFFFB);
  EXPECT_EQ(work, nullptr);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0xFFFB);
  EXPECT_FALSE(mc::test::FileExists(dirWork.file("92.adm")));
  WriteFile(dirWork.file("92.adm"), "0103");
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xFFFB);
  EXPECT_EQ(content, marker);
  // A failing join of directory and name.
  mc::testing::FaireEchouerAllocation(4);  // directory, its copy, the name, then the path
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xF801);
  mc::testing::FaireEchouerAllocation(4);
  EXPECT_EQ(MC_usEcrireVersionComposant(93, "0103"), 0xF6F2);
  EXPECT_FALSE(mc::test::FileExists(dirWork.file("93.adm")));
  EXPECT_EQ(content, marker);
  // Null arguments.
  EXPECT_EQ(MC_usDonnerRepertoireTravail(nullptr), 0xF802);
  EXPECT_EQ(MC_usLireVersionComposant(92, nullptr, &length), 0xF802);
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, nullptr), 0xF802);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, nullptr), 0xF802);
}

// The lines a call writes at its own depth: the blocks of the helpers it
// calls are left out.
std::vector<std::string> OwnLines(const std::vector<std::string> &lines) {
  std::vector<std::string> own;
  for (const std::string &l : lines)
    if (l.rfind("  ", 0) == 0 && l.rfind("    ", 0) != 0 && l.rfind("  {", 0) != 0 && l != "  }") own.push_back(l);
  return own;
}

TEST(CoreVersion, TraceLines) {
  WorkingDir dir;
  TraceCapture trace({4});
  ASSERT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0);
  uint8_t *content = nullptr;
  uint32_t length = 0;
  ASSERT_EQ(MC_usLireVersionComposant(92, &content, &length), 0);
  MC_Liberer(content);
  EXPECT_EQ(MC_usLireVersionComposant(9, &content, &length), 0xF610);
  const std::vector<std::string> expected = {
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
  EXPECT_EQ(OwnLines(trace.Lines()), expected);
}

TEST(CoreVersion, TraceLinesWithoutWorkingDirectory) {
  PreferencesDir prefs;
  TraceCapture trace({4});
  uint8_t *content = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(MC_usLireVersionComposant(92, &content, &length), 0xF6F1);
  EXPECT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0xF6F1);
  const std::vector<std::string> lines = trace.Lines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[0], "{ MC_usLireVersionComposant");
  EXPECT_EQ(lines[1], "  { MC_usDonnerRepertoireTravail");
  EXPECT_EQ(lines[2], "    ERREUR : ERREUR du repertoire de travail  (63217)");
  const std::vector<std::string> expected = {
      "  ERREUR : LECTURE DES COMPOSANTS Erreur sur le repertoire de travail =(63217)",
      "  Retour =(63217)",
      "  MC_usLireVersionComposant =(63217)",
      "  MC_usLireVersionComposant",
      "  MC_usDonnerRepertoireTravail /  usRetour =0xf6f1",
      "  Retour de recherche du repertoire de travail =(63217)",
      "  ECRITURE DES COMPOSANTS Retour de recherche du repertoire de travail =(63217)",
      "  Resultat fin fonction =(63217)",
      "  MC_usEcrireVersionComposant",
  };
  EXPECT_EQ(OwnLines(lines), expected);
}

}  // namespace

// ---------------------------------------------------------------------------
// Library lifecycle
// ---------------------------------------------------------------------------

namespace {

using mc::test::InstallationTables;

std::vector<mc::test::GroupeDico> PetitDictionnaire() { return {{0x0101, {{1, 1, 8, 'A', {"OUI"}}}}, {0x0202}}; }

// The lifecycle's own lines: the blocks of the allocator and of the
// configuration reads (their lines all begin with the reader's name), and the
// closing braces, are left out.
std::vector<std::string> LignesCycle(const std::vector<std::string> &lines) {
  std::vector<std::string> own;
  for (const std::string &l : lines) {
    const std::string t = l.substr(l.find_first_not_of(' '));
    if (t == "}" || t.find("Allocation de ") != std::string::npos || t.find("Liberation de ") != std::string::npos ||
        t.rfind("Taille Memoire cumulee", 0) == 0 || t.rfind("{ MC_ulLireChaine", 0) == 0 ||
        t.rfind("MC_ulLireChaine", 0) == 0)
      continue;
    own.push_back(l);
  }
  return own;
}

bool AucunFichierOuvert() {
  for (Fichier *f : fichiers)
    if (f != nullptr) return false;
  return true;
}

std::string Hex4(size_t n) {
  char b[8];
  snprintf(b, sizeof b, "%04zx", n);
  return b;
}

TEST(CoreLifecycle, FullCycleCountsAndHandsOutVersions) {
  InstallationTables inst;
  ASSERT_EQ(inst.Ecrire(PetitDictionnaire(), {"0107", "0001"}), 0);
  char *versionMC = nullptr, *versionTables = nullptr;
  ASSERT_EQ(MC_usInitLIB(&versionMC, &versionTables), 0);
  EXPECT_STREQ(versionMC, "0103");
  EXPECT_STREQ(versionTables, "0107");
  EXPECT_EQ(nbre_chargt_module, 1);
  EXPECT_EQ(ReadFile(inst.RepertoireTravail() + "/92.adm"), "0103");
  EXPECT_EQ(ReadFile(inst.RepertoireTravail() + "/93.adm"), "0107");
  EXPECT_EQ(g_ulNbTabGrp, 2u);
  EXPECT_EQ(g_ulNbTabChp, 1u);
  EXPECT_EQ(g_ulNbTabVal, 1u);
  EXPECT_TRUE(AucunFichierOuvert());
  // Later initialisations only count, even with null out arguments.
  char marque = 0;
  char *a = &marque, *b = &marque;
  EXPECT_EQ(MC_usInitLIB(&a, &b), 0);
  EXPECT_EQ(MC_usInitLIB(nullptr, nullptr), 0);
  EXPECT_EQ(a, &marque);
  EXPECT_EQ(b, &marque);
  EXPECT_EQ(nbre_chargt_module, 3);
  EXPECT_EQ(MC_usTermLIB(), 0);
  EXPECT_EQ(MC_usTermLIB(), 0);
  EXPECT_EQ(nbre_chargt_module, 1);
  EXPECT_NE(g_stTabGrp, nullptr);
  EXPECT_EQ(MC_usTermLIB(), 0);
  EXPECT_EQ(nbre_chargt_module, 0);
  EXPECT_EQ(g_stTabGrp, nullptr);
  EXPECT_EQ(g_stTabChp, nullptr);
  EXPECT_EQ(g_cTabVal, nullptr);
  EXPECT_EQ(g_ulNbTabGrp + g_ulNbTabChp + g_ulNbTabVal, 0u);
  MC_Liberer(versionMC);
  MC_Liberer(versionTables);
}

TEST(CoreLifecycle, TermWithoutInitWrapsTheCounter) {
  InstallationTables inst;
  ASSERT_EQ(inst.Ecrire(PetitDictionnaire()), 0);
  EXPECT_EQ(MC_usTermLIB(), 0);
  EXPECT_EQ(nbre_chargt_module, 65535);
  // The next initialisation only counts, back to 0: nothing is loaded.
  char *a = nullptr, *b = nullptr;
  EXPECT_EQ(MC_usInitLIB(&a, &b), 0);
  EXPECT_EQ(nbre_chargt_module, 0);
  EXPECT_EQ(a, nullptr);
  EXPECT_EQ(g_stTabGrp, nullptr);
}

TEST(CoreLifecycle, VersionRangeOfTheTablesFile) {
  struct Cas {
    const char *version, *lecteur;
    uint16_t statut;
  } const cas[] = {{"0103", "0103", 0xF620}, {"0104", "0103", 0},      {"0104", "0104", 0xF620},
                   {"9999", "0000", 0},      {"010:", "0103", 0},      {"0104", "01/9", 0}};
  for (const Cas &c : cas) {
    SCOPED_TRACE(std::string(c.version) + "/" + c.lecteur);
    InstallationTables inst;
    ASSERT_EQ(inst.Ecrire(PetitDictionnaire(), {c.version, c.lecteur}), 0);
    const uint32_t avant = ulMemAllouee;
    char *a = nullptr, *b = nullptr;
    TraceCapture trace({5});
    EXPECT_EQ(MC_usInitLIB(&a, &b), c.statut);
    const std::vector<std::string> lignes = LignesCycle(trace.Lines());
    EXPECT_TRUE(AucunFichierOuvert());
    if (c.statut == 0) {
      EXPECT_EQ(nbre_chargt_module, 1);
      EXPECT_EQ(ReadFile(inst.RepertoireTravail() + "/93.adm"), c.version);
      MC_Liberer(a);
      MC_Liberer(b);
      MC_usTermLIB();
    } else {
      // Refused: no exit line, nothing counted, written or kept.
      EXPECT_EQ(lignes.back(), "  controle de numeros de version,usResultat= 0xf620");
      EXPECT_EQ(nbre_chargt_module, 0);
      EXPECT_FALSE(mc::test::FileExists(inst.RepertoireTravail() + "/92.adm"));
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
  EXPECT_NE(texte.find("  erreur de chargement des tables : suppression des tables deja chargees\n"), std::string::npos);
  EXPECT_NE(texte.find("Suppression des tables = usGTSupprTables / usResultat = 0x0001\n"), std::string::npos);
  EXPECT_EQ(nbre_chargt_module, 0);
  EXPECT_EQ(g_stTabGrp, nullptr);
  EXPECT_EQ(ulMemAllouee, avant);
  EXPECT_TRUE(AucunFichierOuvert());
  EXPECT_FALSE(mc::test::FileExists(inst.RepertoireTravail() + "/92.adm"));
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
  EXPECT_EQ(g_ulNbTabGrp, 2u);
  EXPECT_NE(g_stTabGrp, nullptr);
  EXPECT_EQ(nbre_chargt_module, 0);
  EXPECT_EQ(a, nullptr);
  EXPECT_TRUE(AucunFichierOuvert());
  // The next attempt loads it again.  A record that cannot be written is
  // returned, yet the library counts as initialised.
  mc::test::WriteFile(inst.Preferences().file("tovel.ini"), "[commun]\nrepertoiretravail=" + inst.RepertoireTravail() +
                                                               "/absent\nrepertoiretable=" + inst.RepertoireTables() + "\n");
  TraceCapture trace({5});
  EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_VERSION_COMPOSANT);
  EXPECT_EQ(nbre_chargt_module, 1);
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
  for (unsigned long n = 1; n < 500; ++n) {
    SCOPED_TRACE(n);
    mc::testing::FaireEchouerAllocation(n);
    const uint16_t statut = MC_usInitLIB(&a, &b);
    mc::testing::FaireEchouerAllocation(0);
    EXPECT_TRUE(AucunFichierOuvert());
    if (n == 1) {
      EXPECT_EQ(statut, MC_ERR_INIT_ALLOCATION);
    }
    if (nbre_chargt_module == 0) {
      EXPECT_NE(statut, 0);
      continue;
    }
    // Counted: the failure, if any, was a version record's.
    MC_Liberer(a);
    MC_Liberer(b);
    MC_usTermLIB();
    if (statut == 0) break;
  }
  EXPECT_EQ(nbre_chargt_module, 0);
}

TEST(CoreLifecycle, TraceLines) {
  InstallationTables inst;
  ASSERT_EQ(inst.Ecrire(PetitDictionnaire()), 0);
  TraceCapture trace({5});
  char *a = nullptr, *b = nullptr;
  ASSERT_EQ(MC_usInitLIB(&a, &b), 0);
  ASSERT_EQ(MC_usInitLIB(&a, &b), 0);
  MC_usTermLIB();
  MC_usTermLIB();
  MC_Liberer(a);
  MC_Liberer(b);
  // The counting calls leave their blocks open: the depth grows.
  const std::vector<std::string> attendu = {
      "{ MC_usInitLIB",
      "  Nombre de modules ayant initialis\xe9 le MC = 0",
      "  MC_usInitLIB",
      "{ IAInitialisation",
      "  REPERTOIRE TRAVAIL :MC_ulLireChaineTovel:usLongueur=0x" + Hex4(inst.RepertoireTravail().size()),
      "  recuperation du repertoire de travail OK",
      "  REPERTOIRE TABLES:MC_ulLireChaineTovel:usLongueur=0x" + Hex4(inst.RepertoireTables().size()),
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
}

}  // namespace
