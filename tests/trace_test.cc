// Trace log: file layout, levels and depth, kinds, byte dumps, registration.
#include <gtest/gtest.h>

#include <string>

#include "support/mc_test.h"

using mc::test::ReadFile;
using mc::test::TempDir;

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

TEST_F(TraceTest, WorkedExampleByteForByte) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 6, 2), 0);
  MC_TraceEcrire(1, 6, 2, "MC_bCompareChaine");
  MC_TraceEcrire(1, 6, 4, "bResultat = 0x%04x", 1);
  MC_TraceEcrire(1, 6, 3, "MC_bCompareChaine");
  MC_TraceEcrire(1, 3, 4, "not registered %d", 3);
  MC_TraceEcrire(1, 6, 5, "Date invalide");
  const unsigned char bytes[] = {0x0A, 0xFF};
  MC_TraceEcrireBinaire(1, 6, "T", bytes, 2);
  ASSERT_EQ(MC_usActiverTrace(nullptr, nullptr, 1, 6, 0), 0);
  EXPECT_EQ(ReadFile(path_),
            "### DEBUT TRACE ###\n"
            "{ MC_bCompareChaine\n"
            "  bResultat = 0x0001\n"
            "  MC_bCompareChaine\n"
            "}\n"
            "ERREUR : Date invalide\n"
            "T[0] = 0x0a\n"
            "T[1] = 0xff\n"
            "### FIN TRACE ###\n\n");
  EXPECT_EQ(fichier, nullptr);
  EXPECT_EQ(NbTracesActives, 0);
  EXPECT_EQ(indentation, 0);
}

TEST_F(TraceTest, KindsOneAndZeroAndAboveFive) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 6, 2), 0);
  MC_TraceEcrire(1, 6, 1, "bloc %s", "x");
  MC_TraceEcrire(1, 6, 6, "never");
  MC_TraceEcrire(1, 6, 0xFFFF, "never");
  MC_TraceEcrire(9, 9, 0, "stamp %d", 7);  // unregistered channel: still written
  MC_TraceEcrire(1, 6, 3, "exit at depth 0");
  EXPECT_EQ(indentation, 0);
  MC_usFermerTrace();
  const std::string text = ReadFile(path_);
  const std::string head = "### DEBUT TRACE ###\n{ bloc x\n}\n\n";
  ASSERT_EQ(text.compare(0, head.size(), head), 0) << text;
  // ctime form: "Www Mmm dd hh:mm:ss yyyy\n", then the message line.
  const std::string rest = text.substr(head.size());
  ASSERT_GE(rest.size(), 25u);
  EXPECT_EQ(rest[3], ' ');
  EXPECT_EQ(rest[24], '\n');
  EXPECT_EQ(rest.substr(25), "stamp 7\nexit at depth 0\n}\n### FIN TRACE ###\n\n");
}

TEST_F(TraceTest, LevelOneDepthAsymmetryOverTenNestedEntries) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 3, 1), 0);
  for (int i = 0; i < 10; ++i) MC_TraceEcrire(1, 3, 2, "f%d", i);
  EXPECT_EQ(indentation, 10);
  MC_TraceEcrire(1, 3, 4, "hidden info at depth 10");
  const unsigned char b = 1;
  MC_TraceEcrireBinaire(1, 3, "B", &b, 1);  // level 1: no dumps
  for (int i = 9; i >= 0; --i) MC_TraceEcrire(1, 3, 3, "f%d", i);
  EXPECT_EQ(indentation, 0);
  MC_usFermerTrace();
  std::string expected = "### DEBUT TRACE ###\n";
  for (int i = 0; i < 8; ++i) expected += std::string(2 * i, ' ') + "{ f" + std::to_string(i) + "\n";
  // Exits at depths 10, 9 and 8 are silent; f7's block never closes.
  for (int i = 6; i >= 0; --i) {
    expected += std::string(2 * (i + 1), ' ') + "f" + std::to_string(i) + "\n";
    expected += std::string(2 * i, ' ') + "}\n";
  }
  expected += "### FIN TRACE ###\n\n";
  EXPECT_EQ(ReadFile(path_), expected);
}

TEST_F(TraceTest, LevelZeroAndOddLevelsWriteOnlyErrors) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 6, 2), 0);
  ASSERT_EQ(MC_usAjouterTrace(1, 4, 0), 0);
  ASSERT_EQ(MC_usAjouterTrace(2, 4, 7), 0);  // stored as is, behaves as level 0
  for (uint16_t module : {1, 2}) {
    MC_TraceEcrire(module, 4, 1, "no");
    MC_TraceEcrire(module, 4, 2, "no");
    MC_TraceEcrire(module, 4, 3, "no");
    MC_TraceEcrire(module, 4, 4, "no");
    const unsigned char b = 1;
    MC_TraceEcrireBinaire(module, 4, "no", &b, 1);
    MC_TraceEcrire(module, 4, 5, "yes %u", module);
  }
  EXPECT_EQ(indentation, 0);
  MC_usFermerTrace();
  EXPECT_EQ(ReadFile(path_), "### DEBUT TRACE ###\nERREUR : yes 1\nERREUR : yes 2\n### FIN TRACE ###\n\n");
}

TEST_F(TraceTest, ActivationLevelsModesAndSecondFile) {
  // Level 0 with nothing open: nothing happens, no file.
  EXPECT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 1, 0), 0);
  EXPECT_FALSE(mc::test::FileExists(path_));
  for (const char *mode : {"r", "rb", "w+", "a+", "wt", "x", ""}) {
    EXPECT_EQ(MC_usActiverTrace(path_.c_str(), mode, 1, 1, 2), 0xF802) << mode;
  }
  EXPECT_EQ(MC_usActiverTrace(path_.c_str(), nullptr, 1, 1, 2), 0xF802);
  EXPECT_EQ(MC_usActiverTrace("", "w", 1, 1, 2), 0xF802);
  EXPECT_EQ(MC_usActiverTrace(nullptr, "w", 1, 1, 2), 0xF802);
  EXPECT_FALSE(mc::test::FileExists(path_));
  EXPECT_EQ(MC_usActiverTrace(dir_.file("no/such/dir").c_str(), "w", 1, 1, 2), 0xD201);
  EXPECT_EQ(MC_bTraceActive(), 0);

  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "wb", 1, 1, 200), 0);
  EXPECT_EQ(MC_bTraceActive(), 1);
  uint16_t index = 99;
  ASSERT_TRUE(MC_bRechercherTrace(1, 1, &index));
  EXPECT_EQ(index, 0);
  EXPECT_EQ(TracesActives[0].ucNiveau, 2);
  // Already open: the other name and mode are ignored, only the channel is added.
  const std::string other = dir_.file("other.log");
  EXPECT_EQ(MC_usActiverTrace(other.c_str(), "bogus", 7, 3, 1), 0);
  EXPECT_FALSE(mc::test::FileExists(other));
  EXPECT_EQ(NbTracesActives, 2);
  EXPECT_FALSE(MC_bRechercherTrace(7, 4, &index));
  EXPECT_EQ(index, 0);  // untouched when not found
  MC_usActiverTrace(nullptr, nullptr, 0, 0, 0);

  // Appending keeps the old content and adds a new header.
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "ab", 1, 1, 2), 0);
  MC_usFermerTrace();
  EXPECT_EQ(ReadFile(path_),
            "### DEBUT TRACE ###\n### FIN TRACE ###\n\n### DEBUT TRACE ###\n### FIN TRACE ###\n\n");
}

TEST_F(TraceTest, RegistrationLimits) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 1, 2), 0);
  EXPECT_EQ(MC_usAjouterTrace(1, 9, 2), 0xD000);
  EXPECT_EQ(MC_usAjouterTrace(1, 0, 2), 0xD000);
  EXPECT_EQ(NbTracesActives, 1);
  EXPECT_EQ(MC_usAjouterTrace(2, 9, 2), 0);
  EXPECT_EQ(MC_usAjouterTrace(1, 8, 2), 0);
  for (uint16_t c = 100; NbTracesActives < 100; ++c) ASSERT_EQ(MC_usAjouterTrace(5, c, 1), 0);
  const TraceActive last = TracesActives[99];
  EXPECT_EQ(MC_usAjouterTrace(6, 1, 2), 0xD202);
  EXPECT_EQ(NbTracesActives, 100);
  EXPECT_FALSE(MC_bRechercherTrace(6, 1, nullptr));
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

TEST_F(TraceTest, DisabledTraceWritesNothingAndBuildingBlocksAreGuarded) {
  MC_TraceEcrire(1, 1, 5, "nothing");
  const unsigned char b = 1;
  MC_TraceEcrireBinaire(1, 1, "B", &b, 1);
  MC_TraceDebutFonction();
  MC_TraceFinFonction();
  MC_TraceDebutLigne();
  MC_TraceFinLigne();
  EXPECT_EQ(indentation, 0);
  EXPECT_EQ(MC_usFermerTrace(), 0);
}

TEST_F(TraceTest, BinaryDumpIndentedAndCountZero) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 3, 500, 2), 0);
  MC_TraceEcrire(3, 500, 2, "f");
  const unsigned char bytes[] = {0x00, 0x7f};
  MC_TraceEcrireBinaire(3, 500, "buf", bytes, 0);
  MC_TraceEcrireBinaire(3, 500, "buf", bytes, 2);
  MC_TraceEcrire(3, 500, 3, "f");
  MC_usFermerTrace();
  EXPECT_EQ(ReadFile(path_),
            "### DEBUT TRACE ###\n{ f\n  buf[0] = 0x00\n  buf[1] = 0x7f\n  f\n}\n### FIN TRACE ###\n\n");
}

TEST_F(TraceTest, DepthWrapsAtEightBits) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 4, 4, 1), 0);
  indentation = 255;
  MC_TraceEcrire(4, 4, 2, "silent");  // level 1 beyond depth 7: counted only
  EXPECT_EQ(indentation, 0);
}

TEST_F(TraceTest, VaListVariantMatches) {
  ASSERT_EQ(MC_usActiverTrace(path_.c_str(), "w", 1, 2, 2), 0);
  auto wrapper = [](uint16_t kind, const char *fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    MC_TraceEcrire2(1, 2, kind, fmt, ap);
    va_end(ap);
  };
  wrapper(2, "g %d", 1);
  wrapper(4, "%s=%u", "x", 5u);
  wrapper(3, "g %d", 1);
  MC_usFermerTrace();
  EXPECT_EQ(ReadFile(path_), "### DEBUT TRACE ###\n{ g 1\n  x=5\n  g 1\n}\n### FIN TRACE ###\n\n");
}

}  // namespace
