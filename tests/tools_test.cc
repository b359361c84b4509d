// Date and string tools: date validity against the calendar, conversions and
// their kept quirks, character classes in two locales, reductions by format
// letter, allocation counts, number and text conversions, traces.
#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/memory.h"
#include "support/mc_test.h"

using mc::test::TraceCapture;

namespace {

// Independent calendar rule: the proleptic Gregorian calendar of <chrono>,
// bounded to the years the library accepts.
bool CalendrierValide(int annee, unsigned mois, unsigned jour) {
  using namespace std::chrono;
  return annee < 10000 && year_month_day{year{annee}, month{mois}, day{jour}}.ok();
}

std::string Format(const char *fmt, int a, int b, int c) {
  char tampon[64];
  snprintf(tampon, sizeof tampon, fmt, a, b, c);
  return tampon;
}

// The counted size of a block of n bytes, as MC_Allouer measures it.
uint32_t TailleBloc(size_t n) {
  void *p = malloc(n);
  const auto taille = static_cast<uint32_t>(malloc_usable_size(p));
  free(p);
  return taille;
}

// Restores the C locale when a test switches LC_CTYPE.
struct LocaleUtf8 {
  LocaleUtf8() { ok = setlocale(LC_CTYPE, "C.UTF-8") != nullptr; }
  ~LocaleUtf8() { setlocale(LC_CTYPE, "C"); }
  bool ok;
};

TEST(ToolsDates, ValidityMatchesCalendarOverWholeYears) {
  for (int annee : {0, 1, 4, 24, 99, 100, 400, 1900, 2000, 2023, 2024, 2100, 9996, 9999, 10000, 65535}) {
    for (unsigned mois = 0; mois <= 13; ++mois) {
      for (unsigned jour = 0; jour <= 32; ++jour) {
        const int32_t attendu = CalendrierValide(annee, mois, jour) ? 1 : 0;
        SCOPED_TRACE(Format("%d-%d-%d", annee, static_cast<int>(mois), static_cast<int>(jour)));
        const auto us = static_cast<uint16_t>(annee);
        const auto m = static_cast<uint8_t>(mois), j = static_cast<uint8_t>(jour);
        ASSERT_EQ(MC_bEstDateNumeriqueValide(us, m, j), attendu);
        ASSERT_EQ(bOUTILSEstDateValide(us, m, j, 23, 59), attendu);
        ASSERT_EQ(bOUTILSEstDateValide(us, m, j, 24, 0), 0);
        ASSERT_EQ(bOUTILSEstDateValide(us, m, j, 0, 60), 0);
        if (annee < 10000 && mois < 100 && jour < 100) {
          const std::string s8 = Format("%04d%02d%02d", annee, mois, jour);
          ASSERT_EQ(bOUTILSEstDate8(s8.c_str()), attendu);
          ASSERT_EQ(MC_bEstDateChaineValide(s8.c_str()), attendu);
          ASSERT_EQ(MC_bEstDateChaineValide((s8 + "2359").c_str()), attendu);
          ASSERT_EQ(bOUTILSEstDate12((s8 + "0000").c_str()), attendu);
        }
        if (annee < 100) {
          // Two-digit years are the years 0 to 99 themselves.
          const std::string s6 = Format("%02d%02d%02d", annee, mois, jour);
          ASSERT_EQ(bOUTILSEstDate6(s6.c_str()), attendu);
          ASSERT_EQ(MC_bEstDateChaineValide(s6.c_str()), attendu);
        }
      }
    }
  }
  EXPECT_EQ(MC_bEstDateChaineValide("000229"), 1);  // year 0 is a leap year
  EXPECT_EQ(MC_bEstDateChaineValide("010229"), 0);
}

TEST(ToolsDates, StringFormsAtBoundsAndWithNonDigits) {
  struct Cas {
    const char *date;
    int32_t attendu;
  };
  const Cas cas[] = {
      {"202412312359", 1}, {"202401310000", 1}, {"202401312400", 0}, {"202401311260", 0},
      {"20241301", 0},     {"20240100", 0},     {"2024A101", 0},     {"20240229", 1},
      {"19000229", 0},     {"20000229", 1},     {"240229", 1},       {"24022A", 0},
      {" 40229", 0},       {"2402\xb2" "9", 0},  {"-4022900", 0},     {"20241231235\xb9", 0},
      // Lengths other than 6, 8 and 12 are accepted, the empty string too.
      {"1234567", 1},      {"", 1},             {"ABCDEFG", 1},      {"9999999999999", 1},
  };
  for (const Cas &c : cas) EXPECT_EQ(MC_bEstDateChaineValide(c.date), c.attendu) << c.date;
  // The fixed-length checks stop at the NUL of a shorter string.
  EXPECT_EQ(bOUTILSEstDate6("24022"), 0);
  EXPECT_EQ(bOUTILSEstDate8("2024022"), 0);
  EXPECT_EQ(bOUTILSEstDate12("20240229"), 0);
  // Only the first characters are read.
  EXPECT_EQ(bOUTILSEstDate6("240229XYZ"), 1);
  LocaleUtf8 utf8;
  ASSERT_TRUE(utf8.ok);
  EXPECT_EQ(MC_bEstDateChaineValide("2402\xb2" "9"), 0);
}

TEST(ToolsDates, StringToNumbersKeepsTheFourCellConversion) {
  uint16_t annee = 7;
  uint8_t mois = 0, jour = 0;
  EXPECT_EQ(MC_bDateChaineANumerique("240229", &annee, &mois, &jour), 1);
  EXPECT_EQ(annee, 24);
  EXPECT_EQ(mois, 2);
  EXPECT_EQ(jour, 29);

  // 8 and 12 characters: one 16-bit cell per year digit, month and day untouched.
  for (const char *date : {"20240229", "202402291530"}) {
    uint16_t cellules[5] = {7, 1, 2, 3, 0xBEEF};
    mois = 0xAA;
    jour = 0xBB;
    EXPECT_EQ(MC_bDateChaineANumerique(date, cellules, &mois, &jour), 1) << date;
    EXPECT_EQ(cellules[0], 2);
    EXPECT_EQ(cellules[1], 10 + 0);
    EXPECT_EQ(cellules[2], 20 + 2);
    EXPECT_EQ(cellules[3], 30 + 4);
    EXPECT_EQ(cellules[4], 0xBEEF);
    EXPECT_EQ(mois, 0xAA);
    EXPECT_EQ(jour, 0xBB);
  }

  // Refused: the year output is zeroed, month and day left alone.
  for (const char *date : {"1234567", "", "20241301", "2024A101", "240230"}) {
    annee = 99;
    mois = 0xAA;
    jour = 0xBB;
    EXPECT_EQ(MC_bDateChaineANumerique(date, &annee, &mois, &jour), 0) << date;
    EXPECT_EQ(annee, 0);
    EXPECT_EQ(mois, 0xAA);
    EXPECT_EQ(jour, 0xBB);
  }
}

TEST(ToolsDates, NumbersToStringOverwritesFieldByField) {
  struct Cas {
    uint16_t annee;
    uint8_t mois, jour, longueur;
    int32_t resultat;
    const char *texte;
  };
  const Cas cas[] = {
      {2024, 2, 29, 8, 1, "20240229"},   {2024, 2, 29, 12, 1, "202402290000"},
      {2024, 2, 29, 6, 1, "200229"},     {24, 2, 29, 6, 1, "240229"},
      {5, 1, 2, 6, 1, "050102"},         {5, 1, 2, 8, 1, "00050102"},
      {2024, 2, 30, 8, 1, "20240230"},   {0, 0, 0, 8, 1, "00000000"},
      // A fifth year digit is overwritten by the month.
      {10000, 2, 29, 8, 1, "10000229"},  {65535, 12, 31, 12, 1, "655312310000"},
      {10000, 2, 29, 6, 1, "100229"},
      // A three-digit month runs into the day's place; a three-digit day is
      // cut by the time in 12 characters and refused in 6 and 8.
      {2024, 100, 5, 8, 1, "20241005"},  {2024, 2, 100, 12, 1, "202402100000"},
      {2024, 2, 100, 8, 0, nullptr},     {24, 2, 255, 6, 0, nullptr},
      {2024, 2, 29, 10, 0, nullptr},     {2024, 2, 29, 0, 0, nullptr},
  };
  for (const Cas &c : cas) {
    char tampon[16];
    memset(tampon, '#', sizeof tampon);
    EXPECT_EQ(MC_bDateNumeriqueAChaine(c.annee, c.mois, c.jour, c.longueur, tampon), c.resultat)
        << c.annee << " " << int{c.mois} << " " << int{c.jour} << " " << int{c.longueur};
    if (c.texte != nullptr) {
      EXPECT_STREQ(tampon, c.texte);
      EXPECT_EQ(tampon[c.longueur + 1], '#');  // nothing past the NUL
    } else {
      EXPECT_EQ(std::string(tampon, sizeof tampon), std::string(sizeof tampon, '#'));
    }
  }
}

TEST(ToolsDates, TracesKeepTheirNames) {
  TraceCapture trace({6});
  EXPECT_EQ(bOUTILSEstDate8("20240229"), 1);
  EXPECT_EQ(bOUTILSEstDate12("202402010905"), 1);
  EXPECT_EQ(MC_bEstDateChaineValide("1\xc9"), 1);
  EXPECT_EQ(MC_bEstDateNumeriqueValide(2023, 2, 29), 0);
  const std::vector<std::string> attendu = {
      "{ bOUTILSEstDate8",
      "  date = 29/02/2024",
      "  { bOUTILSEstDateValide",
      "    date = 29/02/2024, 00:00",
      "    Date valide",
      "    bResultat = 0x0001",
      "    bOUTILSEstDateValide",
      "  }",
      "  bResultat = 0x0001",
      "  bOUTILSEstDate6",
      "}",
      "{ bOUTILSEstDate12",
      "  date = 1/2/2024",
      "  heure = 9:5",
      "  { bOUTILSEstDateValide",
      "    date = 01/02/2024, 09:05",
      "    Date valide",
      "    bResultat = 0x0001",
      "    bOUTILSEstDateValide",
      "  }",
      "  bResultat = 0x0001",
      "  bOUTILSEstDate12",
      "}",
      "{ MC_bEstDateChaineValide",
      "  sLongueurDate= 2",
      "  pcDate[i]= 49",
      "  pcDate[i]= 4294967241",
      "  MC_bEstDateChaineValide",
      "}",
      "{ MC_bEstDateNumeriqueValide",
      "  date = 29/02/2023",
      "  ERREUR : Date invalide",
      "  bResultat = 0x0000",
      "  MC_bEstDateNumeriqueValide",
      "}",
  };
  EXPECT_EQ(trace.Lines(), attendu);
}

TEST(ToolsStrings, ClassesInTheCLocale) {
  struct Cas {
    const char *texte;
    int32_t numerique, alphanumerique, alphabetique;
  };
  const Cas cas[] = {
      {"", 1, 1, 1},          {"0123456789", 1, 1, 0}, {"ABC DEF", 0, 1, 1}, {"A1 B2", 0, 1, 0},
      {"Abc", 0, 0, 0},       {"A-1", 0, 0, 0},        {"\t", 0, 0, 0},      {"12 ", 0, 1, 0},
      {"\xc9T\xc9", 0, 0, 0}, {"12\xb2", 0, 0, 0},     {"AZ@[", 0, 0, 0},    {"  ", 0, 1, 1},
  };
  for (const Cas &c : cas) {
    EXPECT_EQ(MC_bEstNumerique(c.texte), c.numerique) << c.texte;
    EXPECT_EQ(MC_bEstAlphaNumerique(c.texte), c.alphanumerique) << c.texte;
    EXPECT_EQ(MC_bEstAlphabetique(c.texte), c.alphabetique) << c.texte;
  }
}

TEST(ToolsStrings, HighBytesFollowTheCurrentLocale) {
  LocaleUtf8 utf8;
  ASSERT_TRUE(utf8.ok);
  // Latin-1 capitals are letters for the unsigned readers only.
  EXPECT_EQ(MC_bEstAlphabetique("\xc9T\xc9 \xc0"), 1);
  EXPECT_EQ(MC_bEstAlphaNumerique("\xc9" "1\xde"), 1);
  EXPECT_EQ(MC_bEstAlphabetique("\xe9t\xe9"), 0);  // lower case is no letter
  EXPECT_EQ(MC_bEstAlphabetique("\xd7"), 0);       // multiplication sign
  EXPECT_EQ(MC_bEstNumerique("12\xb2"), 0);
  // The signed reader puts every high byte in no class, capital or not.
  char *texte = nullptr;
  uint32_t longueur = 0;
  ASSERT_EQ(MC_bConvertirEtenduEnAlpha("\xc9t\xe9", &texte, &longueur, 0), 1);
  EXPECT_STREQ(texte, " T  ");
  EXPECT_EQ(longueur, 4u);
  MC_Liberer(texte);
  uint32_t utile = 0;
  EXPECT_EQ(bChaineCtrlFormat("\xc9T  ", 4, 'L', &utile), 1);
  EXPECT_EQ(utile, 2u);
}

TEST(ToolsStrings, CompareIgnoresCaseAndRefusesNull) {
  EXPECT_EQ(MC_bCompareChaine("abc", "ABC"), 1);
  EXPECT_EQ(MC_bCompareChaine("", ""), 1);
  EXPECT_EQ(MC_bCompareChaine("abc", "abd"), 0);
  EXPECT_EQ(MC_bCompareChaine("abc", "abc "), 0);
  EXPECT_EQ(MC_bCompareChaine(nullptr, "abc"), 0);
  EXPECT_EQ(MC_bCompareChaine("abc", nullptr), 0);
  EXPECT_EQ(MC_bCompareChaine(nullptr, nullptr), 0);
}

TEST(ToolsStrings, ReduceInPlaceByFormatLetter) {
  struct Cas {
    const char *texte;
    uint32_t longueur;
    char format;
    int32_t resultat;
    const char *apres;
    uint32_t nouvelle;  // 999: not stored
  };
  const Cas cas[] = {
      {"000120", 6, 'N', 1, "120", 3},   {"0000", 4, 'N', 1, "0", 1},      {"0", 1, 'N', 1, "0", 1},
      {"00012", 3, 'N', 1, "0", 1},      {"1200", 4, 'N', 1, "1200", 4},   {"", 0, 'N', 1, "", 0},
      {"12a", 3, 'N', 0, "12a", 999},    {"AB   ", 5, 'A', 1, "AB", 2},    {"   ", 3, 'A', 1, "", 0},
      {"A B ", 4, 'L', 1, "A B", 3},     {"ab", 2, 'L', 0, "ab", 999},     {"abcdef", 2, 'L', 0, "ab", 999},
      {"ABCDEF", 3, 'X', 1, "ABC", 3},   {"a-b ", 4, 2, 1, "a-b ", 4},     {"20240230", 8, 'D', 1, "20240230", 8},
      {"0024", 4, 'D', 1, "0024", 4},    {"2024-02", 7, 'D', 0, "2024-02", 999},
      // A text shorter than the length is taken up to its NUL.
      {"AB", 10, 'A', 1, "AB", 2},       {"007", 10, 'N', 1, "7", 1},
  };
  for (const Cas &c : cas) {
    char tampon[32];
    memset(tampon, '#', sizeof tampon);
    strcpy(tampon, c.texte);
    uint32_t nouvelle = 999;
    EXPECT_EQ(MC_bReduireChaine(tampon, c.longueur, c.format, &nouvelle), c.resultat) << c.texte << " " << c.format;
    EXPECT_STREQ(tampon, c.apres) << c.texte << " " << c.format;
    EXPECT_EQ(nouvelle, c.nouvelle) << c.texte << " " << c.format;
  }
}

TEST(ToolsStrings, ReduceACopyLeavesItsWorkBlockCounted) {
  struct Cas {
    const char *source;
    uint32_t longueur;
    char format;
    int32_t resultat;
    const char *copie;
    uint32_t nouvelle;      // 999: not stored
    uint32_t taille_second; // bytes asked for the work block, 0 when none
  };
  const Cas cas[] = {
      {"000120", 6, 'N', 1, "000120", 6, 7}, {"AB   ", 5, 'A', 1, "AB", 2, 3},  {"A B  X", 4, 'L', 1, "A B", 3, 4},
      {"20240230", 8, 'D', 1, "20240230", 8, 9}, {"ab", 2, 'L', 0, "ab", 999, 0}, {"1-2", 3, 'N', 0, "1-2", 999, 0},
      {"any value", 3, 'z', 1, "any", 3, 4}, {"", 0, 'A', 1, "", 0, 1},
  };
  for (const Cas &c : cas) {
    const uint32_t avant = ulMemAllouee;
    char *copie = nullptr;
    uint32_t nouvelle = 999;
    EXPECT_EQ(MC_bReduireChaineCtrl(c.source, &copie, c.longueur, c.format, &nouvelle), c.resultat) << c.source;
    ASSERT_NE(copie, nullptr);
    EXPECT_STREQ(copie, c.copie) << c.source;
    EXPECT_EQ(nouvelle, c.nouvelle) << c.source;
    MC_Liberer(copie);
    EXPECT_EQ(ulMemAllouee - avant, c.taille_second ? TailleBloc(c.taille_second) : 0u) << c.source;
  }
  // Field bytes need no NUL of their own; the source is not changed.
  const char octets[4] = {'0', '0', '4', '2'};
  char *copie = nullptr;
  uint32_t nouvelle = 0;
  EXPECT_EQ(MC_bReduireChaineCtrl(octets, &copie, 4, 'N', &nouvelle), 1);
  EXPECT_STREQ(copie, "0042");
  EXPECT_EQ(octets[0], '0');
  MC_Liberer(copie);

  // No copy: nothing handed out.  No work block: the result stands, uncounted.
  mc::testing::FaireEchouerAllocation(1);
  copie = reinterpret_cast<char *>(&nouvelle);
  EXPECT_EQ(MC_bReduireChaineCtrl("AB ", &copie, 3, 'A', &nouvelle), 0);
  EXPECT_EQ(copie, nullptr);
  const uint32_t avant = ulMemAllouee;
  mc::testing::FaireEchouerAllocation(2);
  EXPECT_EQ(MC_bReduireChaineCtrl("AB ", &copie, 3, 'A', &nouvelle), 1);
  EXPECT_STREQ(copie, "AB");
  MC_Liberer(copie);
  EXPECT_EQ(ulMemAllouee, avant);
}

TEST(ToolsStrings, CheckAValueWithoutChangingIt) {
  struct Cas {
    const char *source;
    uint32_t longueur;
    char format;
    int32_t resultat;
    uint32_t utile;  // 999: not stored
  };
  const Cas cas[] = {
      {"20240230", 8, 'D', 0, 999}, {"20240229", 8, 'D', 1, 8},  {"1234567", 7, 'D', 1, 7},
      {"2024022a", 8, 'D', 0, 999}, {"240229XX", 6, 'D', 1, 6},  {"00012", 5, 'N', 1, 5},
      {"0001 ", 5, 'N', 0, 999},    {"AB  ", 4, 'A', 1, 2},      {"    ", 4, 'A', 1, 0},
      {"A1", 2, 'L', 0, 999},       {"AB C ", 5, 'L', 1, 4},     {"any\x01\xff", 5, 'x', 1, 5},
      {"", 0, 'D', 1, 0},
  };
  const uint32_t avant = ulMemAllouee;
  for (const Cas &c : cas) {
    uint32_t utile = 999;
    EXPECT_EQ(bChaineCtrlFormat(c.source, c.longueur, c.format, &utile), c.resultat) << c.source;
    EXPECT_EQ(utile, c.utile) << c.source;
  }
  const char octets[4] = {'1', '2', '3', '4'};
  uint32_t utile = 0;
  EXPECT_EQ(bChaineCtrlFormat(octets, 4, 'N', &utile), 1);
  EXPECT_EQ(utile, 4u);
  EXPECT_EQ(ulMemAllouee, avant);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(bChaineCtrlFormat("12", 2, 'N', &utile), 0);
}

TEST(ToolsStrings, ReductionTracesCarryTheirKeptNames) {
  TraceCapture trace({6});
  char texte[] = "AB ";
  uint32_t n = 0;
  char *copie = nullptr;
  ASSERT_EQ(MC_bReduireChaineCtrl("ab", &copie, 2, 'X', &n), 1);
  ASSERT_EQ(bChaineCtrlFormat("1", 1, 'N', &n), 1);
  ASSERT_EQ(MC_bReduireChaine(texte, 3, 'L', &n), 1);
  const std::vector<std::string> lignes = trace.Lines();
  MC_Liberer(copie);
  const std::vector<std::string> attendu = {
      "{ MC_bReduireChaineCtrl",
      "  MC_bReduireChaine:bResultat = 0x0001",
      "  MC_bReduireChaine",
      "}",
      "{ bReduireChaineCtrlFormat",
      "  { MC_bEstNumerique",
      "    chaine valide",
      "    bResultat = 0x0001",
      "    MC_bEstNumerique",
      "  }",
      "  MC_bEstNumerique:bResultat = 0x0001",
      "  bReduireChaineCtrlFormat:bResultat = 0x0001",
      "  bReduireChaineCtrlFormat",
      "}",
      "{ MC_bReduireChaine",
      "  { MC_bEstAlphabetique",
      "    bResultat = 0x0001",
      "    MC_bEstAlphabetique",
      "  }",
      "  MC_bEstAlphabetique:bResultat = 0x0001",
      "  MC_bReduireChaine:bResultat = 0x0001",
      "  MC_bReduireChaine",
      "}",
  };
  EXPECT_EQ(lignes, attendu);
}

TEST(ToolsStrings, NumberToTextUnderItsDigitLimit) {
  struct Cas {
    int32_t valeur;
    uint32_t chiffres;
    const char *texte;  // null: refused, nothing written
  };
  const Cas cas[] = {
      {99, 2, "99"},
      {100, 2, nullptr},
      {-5000, 2, "-5000"},
      {0, 0, "0"},
      {1, 0, nullptr},
      {999999999, 9, "999999999"},
      {1000000000, 9, nullptr},
      // 10^10 wraps to 1410065408: the largest values no longer fit.
      {1410065407, 10, "1410065407"},
      {2147483647, 10, nullptr},
      // 10^12 wraps to a negative limit: only values below it pass.
      {0, 12, nullptr},
      {-727379969, 12, "-727379969"},
      // From 32 digits on the limit is 0: every negative value and no other.
      {0, 32, nullptr},
      {-1, 0xFFFFFFFFu, "-1"},
      {INT32_MIN, 0, "-2147483648"},
  };
  for (const Cas &c : cas) {
    char tampon[16] = "untouched";
    EXPECT_EQ(MC_bLongAChaine(c.valeur, tampon, c.chiffres), c.texte ? 1 : 0) << c.valeur << " " << c.chiffres;
    EXPECT_STREQ(tampon, c.texte ? c.texte : "untouched") << c.valeur << " " << c.chiffres;
  }
  TraceCapture trace({6});
  char tampon[16];
  MC_bLongAChaine(7, tampon, 1);
  EXPECT_EQ(trace.Lines(),
            (std::vector<std::string>{"{ MC_usLongAChaine", "  usResultat = 0x0001", "  MC_usLongAChaine", "}"}));
}

TEST(ToolsStrings, ConvertToCapitalsWithBothFlags) {
  struct Cas {
    const char *source;
    uint32_t supprimer;
    const char *texte;
  };
  const Cas cas[] = {
      {"a-b1", 0, "A B1 "},   {"a-b1", 1, "AB1"},        {"\xe9t\xc9", 0, " T  "}, {"\xe9t\xc9", 1, "T"},
      {"Zz 09", 0, "ZZ 09 "}, {"Zz 09", 1, "ZZ 09"},     {"\t\n", 0, "   "},     {"!!", 1, ""},
  };
  for (const Cas &c : cas) {
    char *texte = nullptr;
    uint32_t longueur = 999;
    EXPECT_EQ(MC_bConvertirEtenduEnAlpha(c.source, &texte, &longueur, c.supprimer), 1) << c.source;
    ASSERT_NE(texte, nullptr);
    EXPECT_STREQ(texte, c.texte) << c.source;
    EXPECT_EQ(longueur, strlen(c.texte)) << c.source;
    MC_Liberer(texte);
  }
  // A long text fills its block to the last byte (the sanitizers watch it).
  const std::string longue(300, 'q');
  char *texte = nullptr;
  uint32_t longueur = 0;
  ASSERT_EQ(MC_bConvertirEtenduEnAlpha(longue.c_str(), &texte, &longueur, 0), 1);
  EXPECT_EQ(std::string(texte), std::string(300, 'Q') + " ");
  EXPECT_EQ(longueur, 301u);
  MC_Liberer(texte);

  // An empty source is converted into the caller's buffer.
  char tampon[4] = "###";
  texte = tampon;
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("", &texte, &longueur, 0), 1);
  EXPECT_EQ(texte, tampon);
  EXPECT_STREQ(tampon, " ");
  EXPECT_EQ(longueur, 1u);
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("", &texte, &longueur, 1), 1);
  EXPECT_STREQ(tampon, "");
  EXPECT_EQ(longueur, 0u);
  texte = nullptr;
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("", &texte, &longueur, 0), 0);

  mc::testing::FaireEchouerAllocation(1);
  texte = tampon;
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("abc", &texte, &longueur, 0), 0);
  EXPECT_EQ(texte, nullptr);
}

TEST(ToolsStrings, NullArgumentsGiveFalse) {
  const uint32_t avant = ulMemAllouee;
  uint32_t n = 0;
  char *p = nullptr;
  char tampon[16] = "x";
  uint16_t annee = 0;
  uint8_t mois = 0, jour = 0;
  EXPECT_EQ(MC_bEstNumerique(nullptr), 0);
  EXPECT_EQ(MC_bEstAlphaNumerique(nullptr), 0);
  EXPECT_EQ(MC_bEstAlphabetique(nullptr), 0);
  EXPECT_EQ(MC_bLongAChaine(1, nullptr, 3), 0);
  EXPECT_EQ(MC_bReduireChaine(nullptr, 3, 'A', &n), 0);
  EXPECT_EQ(MC_bReduireChaine(tampon, 1, 'A', nullptr), 0);
  EXPECT_EQ(MC_bReduireChaineCtrl(nullptr, &p, 3, 'A', &n), 0);
  EXPECT_EQ(MC_bReduireChaineCtrl("abc", nullptr, 3, 'A', &n), 0);
  EXPECT_EQ(MC_bReduireChaineCtrl("abc", &p, 3, 'A', nullptr), 0);
  EXPECT_EQ(bChaineCtrlFormat(nullptr, 3, 'A', &n), 0);
  EXPECT_EQ(bChaineCtrlFormat("abc", 3, 'A', nullptr), 0);
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha(nullptr, &p, &n, 0), 0);
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("a", nullptr, &n, 0), 0);
  EXPECT_EQ(MC_bConvertirEtenduEnAlpha("a", &p, nullptr, 0), 0);
  EXPECT_EQ(bOUTILSEstDate6(nullptr), 0);
  EXPECT_EQ(bOUTILSEstDate8(nullptr), 0);
  EXPECT_EQ(bOUTILSEstDate12(nullptr), 0);
  EXPECT_EQ(MC_bEstDateChaineValide(nullptr), 0);
  EXPECT_EQ(MC_bDateChaineANumerique(nullptr, &annee, &mois, &jour), 0);
  EXPECT_EQ(MC_bDateChaineANumerique("240229", nullptr, &mois, &jour), 0);
  EXPECT_EQ(MC_bDateChaineANumerique("240229", &annee, nullptr, &jour), 0);
  EXPECT_EQ(MC_bDateNumeriqueAChaine(2024, 2, 29, 8, nullptr), 0);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(ulMemAllouee, avant);
}

}  // namespace
