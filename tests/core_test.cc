// Library core: counted memory, file helpers, configuration files, version records, start and stop.
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
using namespace mc::test;
using mc::testing::FaireEchouerAllocation;
using Lines = std::vector<std::string>;
using Codes = std::vector<long>;  // results of calls made in order, with the state they leave

std::string Adresse(const void *p) {
  char text[32];
  return std::string(text, snprintf(text, sizeof text, "%p", p));
}

std::string N(unsigned long n) { return std::to_string(n); }

// The lines that match `pattern` whole, each ended by LF.
std::string Garder(const Lines &lines, const char *pattern = ".*") {
  const std::regex re(pattern);
  std::string kept;
  for (const std::string &l : lines) kept += std::regex_match(l, re) ? l + "\n" : "";
  return kept;
}

TEST(CoreMemoryAndFiles, CountersTraceNamesDatesAndStreams) {
  TraceCapture trace({5});
  const uint32_t before = ulMemAllouee;
  void *p = MC_Allouer(1000);
  const uint32_t real = static_cast<uint32_t>(malloc_usable_size(p)), peak = ulMaxAlloue;
  const std::string address = Adresse(p);
  MC_Liberer(p);
  MC_Liberer(nullptr);  // neither counted nor traced
  FaireEchouerAllocation(1);
  EXPECT_EQ((Codes{MC_Allouer(4) == nullptr, peak >= before + real, ulMaxAlloue == peak, ulMemAllouee == before}),
            Codes(4, 1));
  EXPECT_EQ(Garder(trace.Lines()),
            "{ Allocation de 1000 (" + N(real) + ") a l'adresse " + address +
                "\n  Taille Memoire cumulee = " + N(before + real) + "\n}\n{ Liberation de " + N(real) +
                " octets a l'adresse " + address + "\n  Taille Memoire cumulee = \t" + N(before) +
                "\n}\n{ Allocation de 4 (0) a l'adresse " + Adresse(nullptr) +
                "\n  ERREUR : MC_Allouer memoire insuffisante\n  Taille Memoire cumulee = " + N(before) + "\n}\n");
  void *empty = MC_Allouer(0);  // a zero-byte request still counts its real block
  EXPECT_EQ(ulMemAllouee, before + malloc_usable_size(empty));
  MC_Liberer(empty);
  char *full = nullptr;
  const std::string longDir = std::string(300, 'd') + "/";  // beyond the old 256-byte buffer
  ASSERT_EQ(MC_usCreerNomCompletFichier(longDir.c_str(), "n", &full), 0);
  EXPECT_EQ(std::string(full), longDir + "/n");  // no test for a trailing slash
  MC_Liberer(full);
  EXPECT_EQ(MC_usCreerNomCompletFichier(nullptr, "b", &full), 0xF802);
  char text[64];
  uint32_t count = sizeof text, small = 5;  // the second does not fit
  EXPECT_EQ((Codes{donneDateHeure(text, &count, "%Y-%m-%d"), count, donneDateHeure(text, &small, "%Y-%m-%d"), small}),
            (Codes{10, 10, 0, 0}));
  TempDir dir;
  WriteFile(dir.file("data"), "abcdef");
  FILE *f = nullptr;
  ASSERT_EQ(usOuvrirFichier(dir.file("data").c_str(), "rb", &f), 0);
  fseek(f, 2, SEEK_SET);
  small = 16;  // the length keeps the position; a short read at the end succeeds
  EXPECT_EQ((Codes{MC_usLongueurFichier(f, &count), count, ftell(f), usLireBufferFichier(f, text, &small), small,
                   usFermerFichier(f)}),
            (Codes{0, 6, 2, 0, 4, 0}));
  EXPECT_EQ(std::string(text, 4), "cdef");
  ASSERT_EQ(usOuvrirFichier(dir.file("data").c_str(), "wb", &f), 0);  // now empty and write-only
  FILE *pipe = popen("true", "r");                                    // a stream that cannot tell its position
  EXPECT_EQ((Codes{usLireBufferFichier(f, text, &count), usFermerFichier(f), MC_usLongueurFichier(pipe, &count),
                   MC_usLongueurFichier(nullptr, &count)}),
            (Codes{0xF610, 0, 0xF610, 0xF802}));
  pclose(pipe);
}

// Each read until one returns 0 (at most 8): the line up to its NUL, or up to the first byte left alone ('#').
Lines ReadAll(std::string content, int32_t (*reader)(FILE *, char *)) {
  FILE *f = fmemopen(content.data(), content.size(), "rb");
  Lines reads;
  for (int i = 0, status = 1; status != 0 && i < 8; ++i) {
    char line[300];
    memset(line, '#', sizeof line);
    status = reader(f, line);
    const size_t end = static_cast<const char *>(memchr(line, '#', sizeof line)) - line;
    reads.push_back(memchr(line, '\0', end) ? std::string(line) : std::string(line, end + 1));
  }
  fclose(f);
  return reads;
}

TEST(CoreIniRead, ScannerRulesSizesNumbersArgumentsAndLines) {
  PreferencesDir prefs;
  const std::string k300(300, 'k'), k255(255, 'k'), x300(300, 'x'), x255(255, 'x');
  const std::tuple<std::string, std::string, std::string, std::string> rows[] = {
      {"[ commun ]\nkey=1\n", "commun", "key", "def"},  // blanks inside brackets count,
      {"[Commun]\nKeY=1\n", "cOMMUN", "kEy", "1"},      // case does not
      {"[a]\nkey=1\n", "a", "key", "def"},              // one-character names never match
      {"[ab]\nk=1\n", "ab", "k", "def"},
      {"[ab]\nkey = value\n", "ab", "key ", "value"},                 // blanks before "=" belong to the key,
      {"[ab]\nkey=\tvalue\n", "ab", "key", "\tvalue"},                // but not tabs
      {"[ab]\nkey=value ; note  \n", "ab", "key", "value ; note  "},  // nor a comment after the value
      {"[ab]\n;key=1\n  #key=2\nkey=3\n", "ab", "key", "3"},          // comments where a line (or a scan step) starts
      {"[ab]\nfoo=1\n[cd]\nkey=3\n[AB]\nkey=2\n", "ab", "key", "2"},  // other sections are not seen
      {"[ab]\rkey=1\rx=2", "ab", "key", "1"},                         // CR ends lines
      {"[cd]\nwxy[ef]\nkey=1\n", "cd", "key", "1"},  // a line without "=" is stepped over two characters at a time
      {"[cd]\nwx[ef]\nkey=1\n", "cd", "key", "def"},
      {"[cd]\nother=key=7\n", "cd", "key", "7"},  // the value after a key that does not match is scanned as a line
      {"[ab]\n\xe9key=1\n", "ab", "key", "1"},    // bytes from 0x80 up are skipped like blanks
      {"[ab]\n" + std::string(2000000, '['), "ab", "key", "def"},
      {"[" + k300 + "]\nkey=1\n", k300, "key", "def"},        // beyond the 256-byte buffers,
      {"[" + k255 + "]\n" + k255 + "=1\n", k255, k255, "1"},  // 255 characters still match
      {"[ab]\nkey=" + std::string(1000, 'v') + "\n", "ab", "key", std::string(255, 'v')}};  // cut at the size
  char dest[256 + 1];
  for (const auto &[content, section, key, expected] : rows) {
    WriteFile(prefs.file("t.ini"), content);
    memset(dest, '\x7f', sizeof dest);
    const uint32_t n = GetIniString(section.c_str(), key.c_str(), "def", dest, 255, "t.ini");
    EXPECT_EQ(dest + ("|" + N(n)), expected + "|" + N(expected.size())) << content.substr(0, 40);
  }
  WriteFile(prefs.file("t.ini"), "[ab]\nkey=abcdef\nn1=42\nn2= -7 \nn3=abc\nn4=12abc\nn5=99999999999\n");
  // A longer value: size characters and a NUL at [size]; a longer default: size - 1.
  const std::tuple<const char *, const char *, int32_t, uint32_t, std::string> sizes[] = {
      {"key", "", 3, 3, "abc\0#"s}, {"none", "wxyz", 3, 2, "wx\0#"s}, {"none", "wxy", 3, 3, "wxy\0#"s}};
  for (const auto &[key, def, size, length, bytes] : sizes) {
    memset(dest, '#', sizeof dest);
    const uint32_t n = GetIniString("ab", key, def, dest, size, "t.ini");
    EXPECT_EQ(N(n) + std::string(dest, bytes.size()), N(length) + bytes) << def;
  }
  // The exported reader: nothing without room or with a null name; a missing file empties the destination.
  EXPECT_EQ((Codes{MC_ulLireChaineIni("ab", "key", dest, 0, "t.ini"), MC_ulLireChaineIni(0, "key", dest, 4, "t.ini"),
                   MC_ulLireChaineIni("ab", 0, dest, 4, "t.ini"), MC_ulLireChaineIni("ab", "key", 0, 4, "t.ini"),
                   dest[0], MC_ulLireChaineIni("ab", "key", dest, 7, "missing.ini"), dest[0]}),
            (Codes{0, 0, 0, 0, 'w', 0, 0}));
  ASSERT_EQ(mkdir(prefs.file("d.ini").c_str(), 0700), 0);  // a directory as the file: the default
  EXPECT_EQ(N(GetIniString("ab", "key", "def", dest, 7, "d.ini")) + dest, "3def");
  const std::pair<const char *, int32_t> numbers[] = {
      {"n1", 42}, {"n2", -7}, {"n3", 0}, {"n4", 12}, {"n5", static_cast<int32_t>(99999999999LL)}, {"nx", 5}};
  for (auto [key, value] : numbers) EXPECT_EQ(GetIniInt("ab", key, 5, "t.ini"), value) << key;
  EXPECT_EQ((Codes{MC_lLireLongIni("ab", "nx", "t.ini"), MC_lLireLongIni(nullptr, "n1", "t.ini"),
                   MC_lLireLongIni("ab", nullptr, "t.ini"), MC_lLireLongTovel(nullptr, "niveau")}),
            Codes(4, -1));
  EXPECT_STREQ(static_cast<char *>(pkw_GetIniInfo("ab", "n1", dest, 'x', 7, "t.ini")), "42");  // not 'i'/'I': text
  // read_line: CR kept, a long line cut to the buffer, a last line without LF left unterminated.
  EXPECT_EQ(ReadAll("ab\r\n\ncd\n" + x300 + "\nlast", read_line), (Lines{"ab\r", "", "cd", x255, "last#"}));
  // read_lineSpecial: the first end (or 0xFF) closes the line and stays in it.
  EXPECT_EQ(ReadAll("ab\ncd", read_lineSpecial), (Lines{"ab", "cd\xff", "#"}));
  EXPECT_EQ(ReadAll("a\377b\n", read_lineSpecial), (Lines{"a\xff", "b", "#"}));
  EXPECT_EQ(finficpourligne, 0);
  char line[] = "aBc-1 [x]\xe9";
  EXPECT_EQ(pkw_uprstr(line) + std::string(pkw_uprstr(nullptr) ? "?" : ""), "ABC-1 [X]\xe9");
  EXPECT_EQ((Codes{pkw_GetLine("abc\r\nx"), pkw_GetLine("abc"), pkw_GetLine("\nabc"), pkw_GetLine(nullptr),
                   pkw_GetToken("ab=c", '='), pkw_GetToken("=c", '='), pkw_GetToken("abc\n=", '='),
                   pkw_GetToken("abc", '='), pkw_GetToken(nullptr, '=')}),
            (Codes{3, 3, 0, 0, 2, 0, 0, 0, 0}));  // a token at position 0 reads as absent
}

TEST(CoreIniWriter, RewritesPathsAndRefusals) {
  PreferencesDir prefs;
  const std::pair<std::string, std::string> rows[] = {
      {"[COMMUN]\nk1=old\nk2=2\n", "[COMMUN]\nk1=v\nk2=2\n"},                    // replaced in place,
      {"[COMMUN]\nk1abc=1\nk2=2\n", "[COMMUN]\nk1=v\nk2=2\n"},                   // comparing only the key's length
      {"[COMMUN]\nK1=1\n", "[COMMUN]\nK1=1\nk1=v\n"},                            // and case
      {"[COMMUN]\na1=1\n\n[X]\nk1=2\n", "[COMMUN]\na1=1\nk1=v\n\n[X]\nk1=2\n"},  // added before the first empty line
      {"[COMMUN]\na1=1\n[X]\nk1=2\n", "[COMMUN]\na1=1\n[X]\nk1=v\n"},      // the search runs on into the next section
      {"", "\n[COMMUN]\nk1=v\n"},                                          // a missing section is appended,
      {"[commun]\nk1=old\n", "[commun]\nk1=old\n\n[COMMUN]\nk1=v\n"},      // looked for in upper case only
      {"[COMMUN]\na1=1\nlast=2", "[COMMUN]\na1=1\nk1=v\n"},                // a last line without LF is lost,
      {"[COMMUN]\na1=1\nx\xffy\nz=1\n", "[COMMUN]\na1=1\nk1=v\n"},         // and everything from a 0xFF byte
      {"[COMMUN]\r\na1=1\r\n", "[COMMUN]\r\na1=1\r\n\n[COMMUN]\nk1=v\n"},  // "[COMMUN]\r" is another header
      {"[COMMUN]\n" + std::string(1000, 'x') + "\n\n", "[COMMUN]\n" + std::string(1000, 'x') + "\nk1=v\n\n"}};
  for (const auto &[before, after] : rows) {
    WriteFile(prefs.file("w.ini"), before);
    EXPECT_EQ(MC_bEcrireChaineIni("commun", "k1", "v", "w.ini"), 1) << before;
    EXPECT_EQ(ReadFile(prefs.file("w.ini")), after) << before;
  }
  ASSERT_EQ(MC_bEcrireChaineIni("Commun", "MyKey", "a b ; c", "new.ini"), 1);  // the key keeps its spelling
  const std::string l(256, 's');  // names the reader could never match are refused; nothing changes
  EXPECT_EQ(
      (Codes{MC_bEcrireChaineIni(l.c_str(), "k1", "v", "new.ini"),
             MC_bEcrireChaineIni("commun", l.c_str(), "v", "new.ini"),
             MC_bEcrireChaineIni(nullptr, "k1", "v", "new.ini"), MC_bEcrireChaineIni("commun", "k1", 0, "new.ini"),
             MC_bEcrireChaineIni("commun", "k1", "v", nullptr)}),
      Codes(5, 0));
  EXPECT_EQ(ReadFile(prefs.file("new.ini")), "[COMMUN]\nMyKey=a b ; c\n");
  // Other directories' files go through a temporary file in the preferences directory, which must exist.
  TempDir elsewhere;
  const std::string other = elsewhere.file("o.ini");
  EXPECT_EQ(MC_bEcrireChaineIni("commun", "k", "v", other.c_str()), 1);
  setenv("MC_PREFERENCES_DIR", prefs.file("missing").c_str(), 1);
  EXPECT_EQ(MC_bEcrireChaineTovel("commun", "k", "v") + MC_bEcrireChaineIni("commun", "k", "w", other.c_str()), 0);
  EXPECT_EQ(ReadFile(other), "[COMMUN]\nk=v\n");
  // Names with a '/' stand as they are; an empty variable means the default directory.
  setenv("MC_PREFERENCES_DIR", "", 1);
  EXPECT_EQ(mc::CheminIni("sub/x.ini") + " " + mc::CheminIni("t.ini"), "sub/x.ini /Library/Preferences/t.ini");
}

// The six wrappers trace their result each in its own format.
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

// A component's record as read back, or the status of a failed read.
std::string Relire(int8_t component) {
  uint8_t *content = nullptr;
  uint32_t length = 99;
  const uint16_t status = MC_usLireVersionComposant(component, &content, &length);
  if (status != 0 || content == nullptr) return "status " + N(status);
  const std::string record(reinterpret_cast<char *>(content), length);
  MC_Liberer(content);
  return record;
}

TEST(CoreVersion, RecordsByteForByteAndFailures) {
  PreferencesDir prefs;
  TempDir work;
  const auto SetWorkingDir = [&](const std::string &dir) {
    WriteFile(prefs.file("tovel.ini"), "[commun]\nrepertoiretable=/t\nrepertoiretravail=" + dir + "\n");
  };
  SetWorkingDir(work.path() + "/");  // a trailing slash is harmless
  const uint32_t before = ulMemAllouee;
  ASSERT_EQ((Codes{MC_usEcrireVersionComposant(92, "0103"), MC_usEcrireVersionComposant(92, "7"),  // truncated
                   MC_usEcrireVersionComposant(-100, "")}),
            Codes(3, 0));
  EXPECT_EQ(ReadFile(work.file("92.adm")) + "|" + ReadFile(work.file("-100.adm")) + "|" + Relire(-100), "7||");
  WriteFile(work.file("127.adm"), "a\0b\r\n"s);  // raw bytes come back as they are
  EXPECT_EQ(Relire(127), "a\0b\r\n"s);
  EXPECT_EQ(ulMemAllouee, before);
  uint8_t *content = reinterpret_cast<uint8_t *>(0x10);
  uint32_t length = 77;
  char *dir = reinterpret_cast<char *>(1);
  // Failures leave out arguments and files alone: no memory for the directory (1) or the path (4), unknown records.
  EXPECT_EQ((Codes{(FaireEchouerAllocation(1), MC_usDonnerRepertoireTravail(&dir)), dir == nullptr,
                   (FaireEchouerAllocation(1), MC_usEcrireVersionComposant(93, "0103")),
                   (FaireEchouerAllocation(1), MC_usLireVersionComposant(92, &content, &length)),
                   (FaireEchouerAllocation(4), MC_usLireVersionComposant(92, &content, &length)),
                   (FaireEchouerAllocation(4), MC_usEcrireVersionComposant(93, "0103")),
                   FileExists(work.file("93.adm")), MC_usLireVersionComposant(5, &content, &length),
                   MC_usDonnerRepertoireTravail(nullptr), MC_usLireVersionComposant(92, nullptr, &length),
                   MC_usLireVersionComposant(92, &content, nullptr), MC_usEcrireVersionComposant(92, nullptr)}),
            (Codes{0xFFFB, 1, 0xFFFB, 0xFFFB, 0xF801, 0xF6F2, 0, 0xF610, 0xF802, 0xF802, 0xF802, 0xF802}));
  SetWorkingDir(work.file("nowhere"));
  EXPECT_EQ((Codes{MC_usLireVersionComposant(92, &content, &length), MC_usEcrireVersionComposant(92, "0103"),
                   content == reinterpret_cast<uint8_t *>(0x10), length}),
            (Codes{0xF610, 0xF6F2, 1, 77}));
  SetWorkingDir("");  // empty here; the trace below has none at all
  EXPECT_EQ((Codes{MC_usEcrireVersionComposant(92, "0103"), MC_usDonnerRepertoireTravail(&dir), dir != nullptr}),
            (Codes{0xF6F1, 0xF6F1, 1}));  // the directory is handed out even on failure
  MC_Liberer(dir);
  std::remove(prefs.file("tovel.ini").c_str());
  TraceCapture trace({4});
  EXPECT_EQ(Relire(92), "status 63217");
  SetWorkingDir(work.path());
  ASSERT_EQ(MC_usEcrireVersionComposant(92, "0103"), 0);
  EXPECT_EQ(Relire(9), "status 62992");
  // Kept as they were: the working directory's error, the writer's indented line, a missing record.
  const std::string text = Garder(trace.Lines());
  for (const char *kept : {"{ MC_usLireVersionComposant\n  { MC_usDonnerRepertoireTravail\n"
                           "    ERREUR : ERREUR du repertoire de travail  (63217)\n",
                           "\n   ECRITURE DES COMPOSANTS MC_usCreerNomCompletFichier =0x0000\n",
                           "\n  ERREUR : LECTURE DES COMPOSANTS Retour ERREUR =(62992)\n  Retour =(62992)\n"})
    EXPECT_NE(text.find(kept), std::string::npos) << kept;
}

std::vector<GroupeDico> PetitDictionnaire() { return {{0x0101, {{1, 1, 8, 'A', {"OUI"}}}}, {0x0202}}; }

// The lifecycle's own lines, without the allocator's and configuration reads' blocks and closing braces.
std::string LignesCycle(const Lines &lines) {
  return Garder(lines, "(?! *(\\}$|\\{ (Allocation|Liberation) de |Taille Memoire cumulee|(\\{ )?MC_ulLireChaine)).*");
}

// Modules counted, then for each table its records, or "-" when not held.
std::string Etat() {
  const auto table = [](const void *p, uint32_t n) { return p ? N(n) : n ? "-" + N(n) : std::string("-"); };
  std::string etat = "modules=" + N(nbre_chargt_module) + " tables=" + table(g_stTabGrp, g_ulNbTabGrp) + "/" +
                     table(g_stTabChp, g_ulNbTabChp) + "/" + table(g_cTabVal, g_ulNbTabVal);
  for (Fichier *f : fichiers) etat += f ? " ouvert" : "";
  return etat;
}

void Terminer(char *a, char *b) { MC_Liberer(a), MC_Liberer(b), MC_usTermLIB(); }

// The tables' version and the oldest library that reads them, compared character by character.
TEST(CoreLifecycle, CycleCountsTracesAndVersionRange) {
  const std::tuple<const char *, const char *, uint16_t> cas[] = {
      {"0104", "0103", 0}, {"0104", "0104", 0xF620}, {"010:", "0103", 0}, {"0104", "01/9", 0}};
  for (auto [version, lecteur, statut] : cas) {
    SCOPED_TRACE(std::string(version) + "/" + lecteur);
    InstallationTables inst;
    ASSERT_EQ(inst.Ecrire(PetitDictionnaire(), {version, lecteur}), 0);
    TraceCapture trace({5});
    char *a = nullptr, *b = nullptr;
    EXPECT_EQ(MC_usInitLIB(&a, &b), statut);
    const std::string travail = inst.RepertoireTravail();
    EXPECT_EQ(FileExists(travail + "/92.adm") ? ReadFile(travail + "/93.adm") : "-", statut ? "-" : version);
    if (statut != 0) {  // refused before anything is counted or written, without an exit line
      EXPECT_TRUE(a == nullptr &&
                  LignesCycle(trace.Lines()).ends_with("\n  controle de numeros de version,usResultat= 0xf620\n"));
      continue;
    }
    EXPECT_EQ(std::string(a) + b, "0103"s + version);
    char marque = 0, *m = &marque;  // later initialisations only count, whatever their out arguments
    EXPECT_EQ((Codes{MC_usInitLIB(&m, nullptr), m == &marque}), (Codes{0, 1}));
    EXPECT_EQ((Lines{Etat(), (MC_usTermLIB(), Etat()), (Terminer(a, b), Etat())}),
              (Lines{"modules=2 tables=2/1/1", "modules=1 tables=2/1/1", "modules=0 tables=-/-/-"}));
    const std::string text = LignesCycle(trace.Lines());  // the counting calls leave their blocks open
    EXPECT_NE(text.find("  IAInitialisation\n{ MC_usInitLIB\n  Nombre de modules ayant initialis\xe9 le MC = 1\n"
                        "  MC_usInitLIB\n{ IAInitialisation\n  { MC_usTermLIB\n    { MC_usTermLIB\n       0\n"
                        "      { usIADecharger\n        { Suppression des tables /usGTSupprTables\n"),
              std::string::npos)
        << text;
  }
  // One termination too many wraps the counter; the next initialisation only counts, back to 0.
  char *a = nullptr;
  EXPECT_EQ((Codes{MC_usTermLIB(), nbre_chargt_module, MC_usInitLIB(&a, &a), a == nullptr}), (Codes{0, 65535, 0, 1}));
  EXPECT_EQ(Etat(), "modules=0 tables=-/-/-");
}

TEST(CoreLifecycle, ForeignTableConfigurationAndFilesMissingOrOutOfMemory) {
  char *a = nullptr, *b = nullptr;
  {
    InstallationTables inst(false, true);
    EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_REP_TABLE);
  }
  {
    InstallationTables inst;  // no tablebin.kmt
    EXPECT_EQ((Codes{MC_usInitLIB(&a, &b), MC_usInitLIB(nullptr, &b)}), (Codes{MC_ERR_FICHIER, MC_ERR_ARGUMENT}));
    // A foreign table where the values should be: the tables loaded are released again.
    const auto t = TablesDictionnaire(PetitDictionnaire());
    ASSERT_EQ(inst.EcrireTables({t[0], t[1], {"TAUTRE", 0, {}}}), 0);
    const uint32_t avant = ulMemAllouee;
    EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_FIN_FICHIER);
    EXPECT_EQ(Etat() + (ulMemAllouee == avant ? "" : " leak"), "modules=0 tables=-/-/-");
    EXPECT_FALSE(FileExists(inst.RepertoireTravail() + "/92.adm"));
  }
  InstallationTables inst(true, false);
  ASSERT_EQ(inst.Ecrire(PetitDictionnaire()), 0);
  EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_REP_TRAVAIL);
  EXPECT_EQ(Etat() + (a ? " a" : ""), "modules=0 tables=2/1/1");  // reported after loading: not counted
  // The next attempt loads it again; a record that cannot be written is returned, yet counted.
  const std::string ini = inst.Preferences().file("tovel.ini"), absent = inst.RepertoireTravail() + "/absent";
  WriteFile(ini, ReadFile(ini) + "repertoiretravail=" + absent + "\n");
  EXPECT_EQ(MC_usInitLIB(&a, &b), MC_ERR_VERSION_COMPOSANT);
  EXPECT_EQ(Etat() + " " + (a ? a : "-") + (b ? b : "-"), "modules=1 tables=2/1/1 01030104");
  Terminer(a, b);
  // Every allocation in turn fails: returned unless counted (then it was a version record's), no file left open.
  ASSERT_EQ(mkdir(absent.c_str(), 0700), 0);
  EXPECT_EQ((FaireEchouerAllocation(1), MC_usInitLIB(&a, &b)), MC_ERR_INIT_ALLOCATION);
  uint16_t statut = 1;
  for (unsigned long n = 2; statut != 0 && n < 500; ++n) {
    FaireEchouerAllocation(n);
    statut = MC_usInitLIB(&a, &b);
    FaireEchouerAllocation(0);
    EXPECT_EQ(Etat().find("ouvert"), std::string::npos) << n;
    EXPECT_TRUE(nbre_chargt_module != 0 || statut != 0) << n;
    if (nbre_chargt_module != 0) Terminer(a, b);
  }
  EXPECT_EQ((Codes{statut, nbre_chargt_module}), (Codes{0, 0}));
}

}  // namespace
