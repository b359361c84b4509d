// Library core: counted memory and file helpers.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstring>
#include <string>

#include "core/memory.h"
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
