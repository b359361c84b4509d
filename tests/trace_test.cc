// Trace log: file layout, levels and depth, kinds, byte dumps, registration.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "support/mc_test.h"

using namespace mc::test;

namespace {

class TraceTest : public ::testing::Test {
 protected:
  void TearDown() override {
    if (fichier != nullptr) MC_usFermerTrace();
    MC_InitialiserTraces();
  }
  TempDir dir_;
  std::string path_ = dir_.file("trace.log");
};

TEST_F(TraceTest, WorkedExampleByteForByteThenKinds) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 6, 2), 0);
  MC_TraceEcrire(1, 6, 2, "MC_bCompareChaine");
  MC_TraceEcrire(1, 6, 4, "bResultat = 0x%04x", 1);
  MC_TraceEcrire(1, 6, 3, "MC_bCompareChaine");
  MC_TraceEcrire(1, 3, 4, "not registered %d", 3);
  MC_TraceEcrire(1, 6, 5, "Date invalide");
  const unsigned char bytes[] = {0x0A, 0xFF};
  MC_TraceEcrireBinaire(1, 6, "T", bytes, 2);
  // Kind 1 opens and closes a block at once; kinds above 5 write nothing;
  // kind 0 writes an empty line and the date in ctime form, on any channel.
  MC_TraceEcrire(1, 6, 1, "bloc %s", "x");
  for (uint16_t kind : {6, 0xFFFF}) MC_TraceEcrire(1, 6, kind, "never");
  MC_TraceEcrire(9, 9, 0, "stamp %d", 7);
  MC_TraceEcrire(1, 6, 3, "exit at depth 0");
  EXPECT_EQ(indentation, 0);
  ASSERT_EQ(MC_usActiverTrace(nullptr, nullptr, 1, 6, 0), 0);
  const std::string text = ReadFile(path_);
  EXPECT_TRUE(std::regex_match(
      text, std::regex("### DEBUT TRACE ###\n\\{ MC_bCompareChaine\n  bResultat = 0x0001\n  MC_bCompareChaine\n\\}\n"
                       "ERREUR : Date invalide\nT\\[0\\] = 0x0a\nT\\[1\\] = 0xff\n\\{ bloc x\n\\}\n\n[A-Z][a-z]{2} "
                       "[A-Z][a-z]{2} [ 1-3]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}\n"
                       "stamp 7\nexit at depth 0\n\\}\n### FIN TRACE ###\n\n")))
      << text;
}

TEST_F(TraceTest, LevelOneDepthAsymmetryAndWrap) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 3, 1), 0);
  for (int i = 0; i < 10; ++i) MC_TraceEcrire(1, 3, 2, "f%d", i);
  EXPECT_EQ(indentation, 10);
  MC_TraceEcrire(1, 3, 4, "hidden info at depth 10");
  MC_TraceEcrireBinaire(1, 3, "B", reinterpret_cast<const unsigned char *>("B"), 1);  // level 1: no dumps
  for (int i = 9; i >= 0; --i) MC_TraceEcrire(1, 3, 3, "f%d", i);
  EXPECT_EQ(indentation, 0);
  indentation = 255;
  MC_TraceEcrire(1, 3, 2, "silent");  // beyond depth 7: counted only, wrapping at 8 bits
  EXPECT_EQ(indentation, 0);
  MC_usFermerTrace();
  std::string expected = "### DEBUT TRACE ###\n";
  for (int i = 0; i < 8; ++i) expected += std::string(2 * i, ' ') + "{ f" + std::to_string(i) + "\n";
  // Exits at depths 10, 9 and 8 are silent; f7's block never closes.
  for (int i = 6; i >= 0; --i)
    expected += std::string(2 * (i + 1), ' ') + "f" + std::to_string(i) + "\n" + std::string(2 * i, ' ') + "}\n";
  EXPECT_EQ(ReadFile(path_), expected + "### FIN TRACE ###\n\n");
}

TEST_F(TraceTest, ActivationLevelsModesAndSecondFile) {
  // Disabled: nothing is written, the building blocks are guarded.
  MC_TraceEcrire(1, 1, 5, "nothing"), MC_TraceEcrireBinaire(1, 1, "B", reinterpret_cast<const unsigned char *>("B"), 1);
  MC_TraceDebutFonction(), MC_TraceFinFonction(), MC_TraceDebutLigne(), MC_TraceFinLigne();
  EXPECT_EQ(indentation, 0);
  EXPECT_EQ(MC_usFermerTrace(), 0);
  // Level 0 with nothing open: nothing happens, no file.
  EXPECT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 1, 0), 0);
  for (const char *mode : {"r", "rb", "w+", "a+", "wt", "x", "", static_cast<const char *>(nullptr)})
    EXPECT_EQ(MC_usActiverTrace(path_.c_str(), mode, 1, 1, 2), 0xF802) << mode;
  for (const char *path : {"", static_cast<const char *>(nullptr)})
    EXPECT_EQ(MC_usActiverTrace(path, "w", 1, 1, 2), 0xF802);
  EXPECT_FALSE(FileExists(path_));
  EXPECT_EQ(MC_usActiverTrace(dir_.file("no/such/dir").c_str(), "w", 1, 1, 2), 0xD201);
  EXPECT_EQ(MC_bTraceActive(), 0);
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "wb", 1, 1, 200), 0);
  EXPECT_EQ(MC_bTraceActive(), 1);
  EXPECT_EQ(TracesActives[0].ucNiveau, 2);
  // Already open: the other name and mode are ignored, only the channel is added.
  const std::string other = dir_.file("other.log");
  EXPECT_EQ(MC_usActiverTrace(other.c_str(), "bogus", 7, 3, 1), 0);
  EXPECT_FALSE(FileExists(other));
  EXPECT_EQ(NbTracesActives, 2);
  uint16_t index = 99;
  EXPECT_FALSE(MC_bRechercherTrace(7, 4, &index));
  EXPECT_EQ(index, 99);  // untouched when not found
  MC_usActiverTrace(nullptr, nullptr, 0, 0, 0);
  // Appending keeps the old content and adds a new header.
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "ab", 1, 1, 2), 0);
  MC_usFermerTrace();
  EXPECT_EQ(ReadFile(path_), "### DEBUT TRACE ###\n### FIN TRACE ###\n\n### DEBUT TRACE ###\n### FIN TRACE ###\n\n");
}

TEST_F(TraceTest, RegistrationLimits) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 1, 2), 0);
  for (uint16_t component : {9, 0}) EXPECT_EQ(MC_usAjouterTrace(1, component, 2), 0xD000);
  EXPECT_EQ(MC_usAjouterTrace(2, 9, 2) + MC_usAjouterTrace(1, 8, 2), 0);
  for (uint16_t c = 100; NbTracesActives < 100; ++c) ASSERT_EQ(MC_usAjouterTrace(5, c, 1), 0);
  const TraceActive last = TracesActives[99];
  EXPECT_EQ(MC_usAjouterTrace(6, 1, 2), 0xD202);
  EXPECT_EQ(NbTracesActives, 100);
  // A known channel still changes level when the table is full.
  EXPECT_EQ(MC_usAjouterTrace(last.usModule, last.usComposant, 2), 0);
  uint16_t index = 0;
  ASSERT_TRUE(MC_bRechercherTrace(last.usModule, last.usComposant, &index));
  EXPECT_EQ(index, 99);
  EXPECT_EQ(TracesActives[99].ucNiveau, 2);
  // Registration failing on activation leaves the file open.
  MC_usFermerTrace();
  EXPECT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 12, 2), 0xD000);
  EXPECT_EQ(MC_bTraceActive(), 1);
  EXPECT_EQ(NbTracesActives, 0);
}

TEST_F(TraceTest, ChannelLevelsVaListAndIndentedDump) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 2, 2), 0);
  ASSERT_EQ(MC_usAjouterTrace(1, 4, 0) + MC_usAjouterTrace(2, 4, 7), 0);  // 7 is stored as is, behaves as 0
  const unsigned char bytes[] = {0x00, 0x7f};
  for (uint16_t module : {1, 2}) {  // level 0: errors only
    for (uint16_t kind : {1, 2, 3, 4}) MC_TraceEcrire(module, 4, kind, "no");
    MC_TraceEcrireBinaire(module, 4, "no", bytes, 1);
    MC_TraceEcrire(module, 4, 5, "yes %u", module);
  }
  auto wrapper = [](uint16_t kind, const char *fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    MC_TraceEcrire2(1, 2, kind, fmt, ap);
    va_end(ap);
  };
  wrapper(2, "g %d", 1);
  wrapper(4, "%s=%u", "x", 5u);
  MC_TraceEcrireBinaire(1, 2, "buf", bytes, 0);
  MC_TraceEcrireBinaire(1, 2, "buf", bytes, 2);
  wrapper(3, "g %d", 1);
  MC_usFermerTrace();
  EXPECT_EQ(
      ReadFile(path_),
      "### DEBUT TRACE ###\nERREUR : yes 1\nERREUR : yes 2\n{ g 1\n  x=5\n  buf[0] = 0x00\n  buf[1] = 0x7f\n  g 1\n}\n"
      "### FIN TRACE ###\n\n");
}

}  // namespace
