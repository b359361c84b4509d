// Date and string tools: dates against the calendar, conversions and their kept quirks, character classes in two
// locales, reductions by format letter and their allocation counts, traces.
#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "core/memory.h"
#include "support/mc_test.h"

namespace {

template <typename... T>
using Table = std::initializer_list<std::tuple<T...>>;

std::string Format(const char *fmt, int a, int b, int c) {
  char tampon[64];
  snprintf(tampon, sizeof tampon, fmt, a, b, c);
  return tampon;
}

TEST(ToolsDates, ValidityMatchesCalendarOverWholeYears) {
  using namespace std::chrono;
  for (int annee : {0, 1, 4, 24, 99, 100, 400, 1900, 2000, 2023, 2024, 2100, 9996, 9999, 10000, 65535}) {
    for (int mois = 0; mois <= 13; ++mois) {
      for (int jour = 0; jour <= 32; ++jour) {
        // Independent rule: the proleptic Gregorian calendar, up to year 9999.
        const int32_t attendu =
            annee < 10000 && year_month_day{year{annee}, month(unsigned(mois)), day(unsigned(jour))}.ok();
        SCOPED_TRACE(Format("%d-%d-%d", annee, mois, jour));
        const auto us = static_cast<uint16_t>(annee);
        const auto m = static_cast<uint8_t>(mois), j = static_cast<uint8_t>(jour);
        ASSERT_EQ(MC_bEstDateNumeriqueValide(us, m, j), attendu);
        ASSERT_EQ(bOUTILSEstDateValide(us, m, j, 23, 59), attendu);
        ASSERT_EQ(bOUTILSEstDateValide(us, m, j, 24, 0) + bOUTILSEstDateValide(us, m, j, 0, 60), 0);
        if (annee < 10000) {
          const std::string s8 = Format("%04d%02d%02d", annee, mois, jour);
          ASSERT_EQ(bOUTILSEstDate8(s8.c_str()), attendu);
          ASSERT_EQ(MC_bEstDateChaineValide(s8.c_str()), attendu);
          ASSERT_EQ(MC_bEstDateChaineValide((s8 + "2359").c_str()), attendu);
          ASSERT_EQ(bOUTILSEstDate12((s8 + "0000").c_str()), attendu);
        }
        if (annee < 100) {  // two-digit years are the years 0 to 99 themselves
          const std::string s6 = Format("%02d%02d%02d", annee, mois, jour);
          ASSERT_EQ(bOUTILSEstDate6(s6.c_str()), attendu);
          ASSERT_EQ(MC_bEstDateChaineValide(s6.c_str()), attendu);
        }
      }
    }
  }
  const auto V = MC_bEstDateChaineValide;
  for (const auto &[f, date, attendu] : Table<int32_t (*)(const char *), const char *, int32_t>{
           {V, "202401312400", 0}, {V, "202401311260", 0}, {V, "2024A101", 0}, {V, "24022A", 0}, {V, " 40229", 0},
           {V, "2402\xb2\x39", 0}, {V, "-4022900", 0}, {V, "20241231235\xb9", 0},
           // Lengths other than 6, 8 and 12 are accepted, the empty string too.
           {V, "1234567", 1}, {V, "", 1}, {V, "ABCDEFG", 1}, {V, "9999999999999", 1},
           // The fixed-length checks stop at the NUL of a shorter string, and
           // read only their first characters.
           {bOUTILSEstDate6, "24022", 0}, {bOUTILSEstDate8, "2024022", 0}, {bOUTILSEstDate12, "20240229", 0},
           {bOUTILSEstDate6, "240229XYZ", 1}})
    EXPECT_EQ(f(date), attendu) << date;
}

TEST(ToolsDates, ConversionsBothWaysKeepTheirQuirks) {
  // Kept for compatibility: 8 and 12 characters put one year digit in each of four 16-bit cells (first zeroed,
  // then ten times the cell plus the digit) and leave month and day alone.  Refused: the year output is zeroed.
  const std::vector<int> cellules = {2, 10, 22, 34, 0xBEEF, 0xAA, 0xBB}, refus = {0, 1, 2, 3, 0xBEEF, 0xAA, 0xBB};
  for (const auto &[date, resultat, attendu] : Table<const char *, int, std::vector<int>>{
           {"240229", 1, {24, 1, 2, 3, 0xBEEF, 2, 29}}, {"20240229", 1, cellules}, {"202402291530", 1, cellules},
           {"1234567", 0, refus}, {"", 0, refus}, {"20241301", 0, refus}, {"2024A101", 0, refus},
           {"240230", 0, refus}}) {
    uint16_t c[5] = {7, 1, 2, 3, 0xBEEF};
    uint8_t mois = 0xAA, jour = 0xBB;
    EXPECT_EQ(MC_bDateChaineANumerique(date, c, &mois, &jour), resultat) << date;
    EXPECT_EQ(std::vector<int>({c[0], c[1], c[2], c[3], c[4], mois, jour}), attendu) << date;
  }
  // Numbers to text: the fields are written over one another.  Null: refused, nothing written.
  for (const auto &[annee, m, j, longueur, texte] : Table<uint16_t, uint8_t, uint8_t, uint8_t, const char *>{
           {2024, 2, 29, 8, "20240229"}, {2024, 2, 29, 12, "202402290000"}, {2024, 2, 29, 6, "200229"},
           {24, 2, 29, 6, "240229"}, {5, 1, 2, 6, "050102"}, {5, 1, 2, 8, "00050102"}, {2024, 2, 30, 8, "20240230"},
           // A fifth year digit is overwritten by the month.
           {10000, 2, 29, 8, "10000229"}, {65535, 12, 31, 12, "655312310000"}, {10000, 2, 29, 6, "100229"},
           // A three-digit month runs into the day's place; a three-digit day is
           // cut by the time in 12 characters and refused in 6 and 8.
           {2024, 100, 5, 8, "20241005"}, {2024, 2, 100, 12, "202402100000"}, {2024, 2, 100, 8, nullptr},
           {24, 2, 255, 6, nullptr}, {2024, 2, 29, 10, nullptr}}) {
    char tampon[16];
    memset(tampon, '#', sizeof tampon);
    SCOPED_TRACE(Format("%d %d %d", annee, m, j) + " " + std::to_string(longueur));
    EXPECT_EQ(MC_bDateNumeriqueAChaine(annee, m, j, longueur, tampon), texte ? 1 : 0);
    // Nothing written past the NUL, nothing at all when refused.
    const std::string ecrit = texte ? std::string(texte) + '\0' : "";
    EXPECT_EQ(std::string(tampon, sizeof tampon), ecrit + std::string(sizeof tampon - ecrit.size(), '#'));
  }
}

TEST(ToolsStrings, ClassesInTwoLocalesAndComparison) {
  for (const auto &[texte, numerique, alphanumerique, alphabetique] : Table<const char *, int, int, int>{
           {"", 1, 1, 1}, {"0123456789", 1, 1, 0}, {"ABC DEF", 0, 1, 1}, {"A1 B2", 0, 1, 0}, {"Abc", 0, 0, 0},
           {"A-1", 0, 0, 0}, {"\t", 0, 0, 0}, {"12 ", 0, 1, 0}, {"\xc9T\xc9", 0, 0, 0}, {"12\xb2", 0, 0, 0},
           {"AZ@[", 0, 0, 0}, {"  ", 0, 1, 1}}) {
    EXPECT_EQ(MC_bEstNumerique(texte), numerique) << texte;
    EXPECT_EQ(MC_bEstAlphaNumerique(texte), alphanumerique) << texte;
    EXPECT_EQ(MC_bEstAlphabetique(texte), alphabetique) << texte;
  }
  EXPECT_EQ(MC_bCompareChaine("abc", "ABC") + MC_bCompareChaine("", ""), 2);
  EXPECT_EQ(MC_bCompareChaine("abc", "abd") + MC_bCompareChaine("abc", "abc ") + MC_bCompareChaine(nullptr, "a"), 0);
  EXPECT_EQ(MC_bCompareChaine("a", nullptr) + MC_bCompareChaine(nullptr, nullptr), 0);
  // In a Unicode locale Latin-1 capitals are letters for the unsigned readers only.
  ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  EXPECT_EQ(MC_bEstAlphabetique("\xc9T\xc9 \xc0"), 1);
  EXPECT_EQ(MC_bEstAlphaNumerique("\xc9\x31\xde"), 1);
  EXPECT_EQ(MC_bEstAlphabetique("\xe9t\xe9"), 0);  // lower case is no letter
  EXPECT_EQ(MC_bEstAlphabetique("\xd7"), 0);       // multiplication sign
  EXPECT_EQ(MC_bEstNumerique("12\xb2"), 0);
  EXPECT_EQ(MC_bEstDateChaineValide("2402\xb2\x39"), 0);
  uint32_t longueur = 0;
  EXPECT_EQ(bChaineCtrlFormat("\xc9T  ", 4, 'L', &longueur), 1);
  EXPECT_EQ(longueur, 2u);
}

// One value through the three readers of a format letter: reduced in place,
// reduced in a copy (whose counted work block is never given back), checked.
// Field bytes need no NUL of their own (0042\xff).
TEST(ToolsStrings, ReduceAndCheckByFormatLetter) {
  const uint32_t R = 999;  // refused: the length is not stored
  for (const auto &[source, longueur, format, reduit, n_reduit, copie_attendue, n_copie, second, utile] :
       Table<const char *, uint32_t, char, const char *, uint32_t, const char *, uint32_t, uint32_t, uint32_t>{
           {"000120", 6, 'N', "120", 3, "000120", 6, 7, 6}, {"0000", 4, 'N', "0", 1, "0000", 4, 5, 4},
           {"00012", 3, 'N', "0", 1, "000", 3, 4, 3}, {"", 0, 'N', "", 0, "", 0, 1, 0},
           {"12a", 3, 'N', "12a", R, "12a", R, 0, R}, {"AB   ", 5, 'A', "AB", 2, "AB", 2, 3, 2},
           {"    ", 4, 'A', "", 0, "", 0, 1, 0}, {"A B  X", 4, 'L', "A B", 3, "A B", 3, 4, 3},
           {"AB C ", 5, 'L', "AB C", 4, "AB C", 4, 5, 4}, {"ab", 2, 'L', "ab", R, "ab", R, 0, R},
           {"abcdef", 2, 'L', "ab", R, "ab", R, 0, R}, {"0042\xff", 4, 'N', "42", 2, "0042", 4, 5, 4},
           // Other letters check nothing; the copy's work block is not cut.
           {"ABCDEF", 3, 'X', "ABC", 3, "ABC", 3, 4, 3}, {"a-b ", 4, 2, "a-b ", 4, "a-b ", 4, 5, 4},
           {"any\x01\xff", 5, 'x', "any\x01\xff", 5, "any\x01\xff", 5, 6, 5},
           // Only the check reads a 'D' value as a date, of any length.
           {"20240230", 8, 'D', "20240230", 8, "20240230", 8, 9, R}, {"0024", 4, 'D', "0024", 4, "0024", 4, 5, 4},
           {"240229XX", 6, 'D', "240229", 6, "240229", 6, 7, 6}, {"1234567", 7, 'D', "1234567", 7, "1234567", 7, 8, 7},
           {"2024022a", 8, 'D', "2024022a", R, "2024022a", R, 0, R},
           // In place, a text shorter than the length is taken up to its NUL.
           {"AB", 10, 'A', "AB", 2, nullptr, 0, 0, 0}, {"007", 10, 'N', "7", 1, nullptr, 0, 0, 0}}) {
    SCOPED_TRACE(std::string(source) + " " + format);
    char tampon[32];
    strcpy(tampon, source);
    uint32_t n = R;
    EXPECT_EQ(MC_bReduireChaine(tampon, longueur, format, &n), n_reduit != R);
    EXPECT_STREQ(tampon, reduit);
    EXPECT_EQ(n, n_reduit);
    if (copie_attendue == nullptr) continue;
    const uint32_t avant = ulMemAllouee;
    char *copie = nullptr;
    n = R;
    EXPECT_EQ(MC_bReduireChaineCtrl(source, &copie, longueur, format, &n), n_copie != R);
    EXPECT_STREQ(copie, copie_attendue);
    EXPECT_EQ(n, n_copie);
    MC_Liberer(copie);
    // The counted size of the work block, as MC_Allouer measures it.
    void *bloc = malloc(second);
    const size_t garde = second ? malloc_usable_size(bloc) : 0u;
    free(bloc);
    EXPECT_EQ(ulMemAllouee - avant, garde);
    n = R;
    EXPECT_EQ(bChaineCtrlFormat(source, longueur, format, &n), utile != R);
    EXPECT_EQ(n, utile);
    EXPECT_EQ(ulMemAllouee - avant, garde);  // the check keeps nothing
  }
  // Out of memory.  No copy: nothing handed out.  No work block: the result
  // stands, uncounted.  No check without its copy.
  uint32_t n = 0;
  mc::testing::FaireEchouerAllocation(1);
  char *copie = reinterpret_cast<char *>(&n);
  EXPECT_EQ(MC_bReduireChaineCtrl("AB ", &copie, 3, 'A', &n), 0);
  EXPECT_EQ(copie, nullptr);
  const uint32_t avant = ulMemAllouee;
  mc::testing::FaireEchouerAllocation(2);
  EXPECT_EQ(MC_bReduireChaineCtrl("AB ", &copie, 3, 'A', &n), 1);
  EXPECT_STREQ(copie, "AB");
  MC_Liberer(copie);
  EXPECT_EQ(ulMemAllouee, avant);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(bChaineCtrlFormat("12", 2, 'N', &n), 0);
}

TEST(ToolsStrings, NumberAndTextConversions) {
  // A number under its digit limit (null: refused, nothing written).
  for (const auto &[valeur, chiffres, texte] : Table<int32_t, uint32_t, const char *>{
           {99, 2, "99"}, {100, 2, nullptr}, {-5000, 2, "-5000"}, {0, 0, "0"}, {1, 0, nullptr},
           {999999999, 9, "999999999"}, {1000000000, 9, nullptr}, {INT32_MIN, 0, "-2147483648"},
           // 10^10 wraps to 1410065408: the largest values no longer fit.
           {1410065407, 10, "1410065407"}, {2147483647, 10, nullptr},
           // 10^12 wraps to a negative limit: only values below it pass.
           {0, 12, nullptr}, {-727379969, 12, "-727379969"},
           // From 32 digits on the limit is 0: every negative value and no other.
           {0, 32, nullptr}, {-1, 0xFFFFFFFFu, "-1"}}) {
    char tampon[16] = "untouched";
    EXPECT_EQ(MC_bLongAChaine(valeur, tampon, chiffres), texte ? 1 : 0) << valeur << " " << chiffres;
    EXPECT_STREQ(tampon, texte ? texte : "untouched") << valeur << " " << chiffres;
  }
  // Text to capitals, digits and spaces: the signed reader puts every high
  // byte in no class, even where the locale makes it a capital.
  ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  const std::string longue(300, 'q'), capitales = std::string(300, 'Q');
  for (const auto &[source, supprimer, attendu] : Table<const char *, uint32_t, std::string>{
           {"a-b1", 0, "A B1 "}, {"a-b1", 1, "AB1"}, {"\xc9t\xe9", 0, " T  "}, {"\xe9t\xc9", 1, "T"},
           {"Zz 09", 0, "ZZ 09 "}, {"Zz 09", 1, "ZZ 09"}, {"\t\n", 0, "   "}, {"!!", 1, ""},
           // A long text fills its block to the last byte (the sanitizers watch it).
           {longue.c_str(), 0, capitales + " "}}) {
    char *texte = nullptr;
    uint32_t longueur = 999;
    EXPECT_EQ(MC_bConvertirEtenduEnAlpha(source, &texte, &longueur, supprimer), 1) << source;
    ASSERT_NE(texte, nullptr);
    EXPECT_EQ(texte, attendu) << source;
    EXPECT_EQ(longueur, attendu.size()) << source;
    MC_Liberer(texte);
  }
  // An empty source is converted into the caller's buffer, which must exist.
  char tampon[4] = "###", *texte = tampon;
  uint32_t longueur = 0;
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("", &texte, &longueur, 0), 1);
  EXPECT_EQ(texte, tampon);
  EXPECT_EQ(std::string(tampon) + std::to_string(longueur), " 1");
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("", &texte, &longueur, 1), 1);
  EXPECT_EQ(std::string(tampon) + std::to_string(longueur), "0");
  texte = nullptr;
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("", &texte, &longueur, 0), 0);
  mc::testing::FaireEchouerAllocation(1);
  texte = tampon;
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("abc", &texte, &longueur, 0), 0);
  EXPECT_EQ(texte, nullptr);
}

TEST(ToolsTraces, KeepTheirKeptNames) {
  mc::test::TraceCapture trace({6});
  EXPECT_EQ(bOUTILSEstDate8("20240229") + bOUTILSEstDate12("202402010905") + MC_bEstDateChaineValide("1\xc9"), 3);
  EXPECT_EQ(MC_bEstDateNumeriqueValide(2023, 2, 29), 0);
  char texte[] = "AB ", tampon[16], *copie = nullptr;
  uint32_t n = 0;
  ASSERT_EQ(MC_bReduireChaineCtrl("ab", &copie, 2, 'X', &n) + bChaineCtrlFormat("1", 1, 'N', &n), 2);
  MC_Liberer(copie);
  ASSERT_EQ(MC_bReduireChaine(texte, 3, 'L', &n) + MC_bLongAChaine(7, tampon, 1), 2);
  std::string lignes;
  for (const std::string &l : trace.Lines()) lignes += l + "\n";
  const char *attendu =
      "{ bOUTILSEstDate8\n  date = 29/02/2024\n  { bOUTILSEstDateValide\n    date = 29/02/2024, 00:00\n"
      "    Date valide\n    bResultat = 0x0001\n    bOUTILSEstDateValide\n  }\n  bResultat = 0x0001\n"
      "  bOUTILSEstDate6\n}\n{ bOUTILSEstDate12\n  date = 1/2/2024\n  heure = 9:5\n  { bOUTILSEstDateValide\n"
      "    date = 01/02/2024, 09:05\n    Date valide\n    bResultat = 0x0001\n    bOUTILSEstDateValide\n  }\n"
      "  bResultat = 0x0001\n  bOUTILSEstDate12\n}\n{ MC_bEstDateChaineValide\n  sLongueurDate= 2\n  pcDate[i]= 49\n"
      "  pcDate[i]= 4294967241\n  MC_bEstDateChaineValide\n}\n{ MC_bEstDateNumeriqueValide\n  date = 29/02/2023\n"
      "  ERREUR : Date invalide\n  bResultat = 0x0000\n  MC_bEstDateNumeriqueValide\n}\n{ MC_bReduireChaineCtrl\n"
      "  MC_bReduireChaine:bResultat = 0x0001\n  MC_bReduireChaine\n}\n{ bReduireChaineCtrlFormat\n"
      "  { MC_bEstNumerique\n    chaine valide\n    bResultat = 0x0001\n    MC_bEstNumerique\n  }\n"
      "  MC_bEstNumerique:bResultat = 0x0001\n  bReduireChaineCtrlFormat:bResultat = 0x0001\n"
      "  bReduireChaineCtrlFormat\n}\n{ MC_bReduireChaine\n  { MC_bEstAlphabetique\n    bResultat = 0x0001\n"
      "    MC_bEstAlphabetique\n  }\n  MC_bEstAlphabetique:bResultat = 0x0001\n  MC_bReduireChaine:bResultat = 0x0001\n"
      "  MC_bReduireChaine\n}\n{ MC_usLongAChaine\n  usResultat = 0x0001\n  MC_usLongAChaine\n}\n";
  EXPECT_EQ(lignes, attendu);
}

TEST(ToolsStrings, NullArgumentsGiveFalse) {
  const uint32_t avant = ulMemAllouee;
  uint32_t n = 0;
  char *p = nullptr, tampon[16] = "x";
  uint16_t an = 0;
  uint8_t mo = 0, jo = 0;
  const int32_t resultats[] = {
      MC_bEstNumerique(nullptr), MC_bEstAlphaNumerique(nullptr), MC_bEstAlphabetique(nullptr),
      MC_bLongAChaine(1, nullptr, 3), MC_bReduireChaine(nullptr, 3, 'A', &n), MC_bReduireChaine(tampon, 1, 'A', 0),
      MC_bReduireChaineCtrl(nullptr, &p, 3, 'A', &n), MC_bReduireChaineCtrl("abc", nullptr, 3, 'A', &n),
      MC_bReduireChaineCtrl("abc", &p, 3, 'A', nullptr), bChaineCtrlFormat(nullptr, 3, 'A', &n),
      bChaineCtrlFormat("abc", 3, 'A', nullptr), MC_bConvertirEtenduEnAlpha(nullptr, &p, &n, 0),
      MC_bConvertirEtenduEnAlpha("a", nullptr, &n, 0), MC_bConvertirEtenduEnAlpha("a", &p, nullptr, 0),
      bOUTILSEstDate6(nullptr), bOUTILSEstDate8(nullptr), bOUTILSEstDate12(nullptr), MC_bEstDateChaineValide(nullptr),
      MC_bDateChaineANumerique(nullptr, &an, &mo, &jo), MC_bDateChaineANumerique("240229", nullptr, &mo, &jo),
      MC_bDateChaineANumerique("240229", &an, nullptr, &jo), MC_bDateNumeriqueAChaine(2024, 2, 29, 8, nullptr)};
  for (size_t i = 0; i < std::size(resultats); ++i) EXPECT_EQ(resultats[i], 0) << "call " << i;
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(ulMemAllouee, avant);
}

}  // namespace
