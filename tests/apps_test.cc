// The C++ layer (mc.hpp) and the mctool command, run from the build tree on
// temporary files.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "mc.hpp"
#include "support/dictionary_builder.h"
#include "support/mc_test.h"

namespace {

using mc::test::ChampDico;
using mc::test::GroupeDico;
using mc::test::ReadBytes;
using mc::test::ReadFile;
using mc::test::TempDir;
using mc::test::WriteFile;

// ---- the C++ layer ----

TEST(CppLayer, StatusCategoryNamesEveryKindOfCode) {
  EXPECT_FALSE(mc::make_status(0));
  const std::error_code crc = mc::make_status(0xF630);
  EXPECT_STREQ(crc.category().name(), "mc");
  EXPECT_EQ(crc.message(), "CRC or signature mismatch when the binary file was opened");
  EXPECT_TRUE(crc == mc::errc::control_mismatch);
  EXPECT_FALSE(crc == mc::errc::end_of_file);
  EXPECT_EQ(mc::make_status(0x040B).message(), "signature verification: signature does not match");
  EXPECT_EQ(mc::make_status(0x9003).message(),
            "zone format check: field 3 fails its format, length, presence or value rule");
  EXPECT_EQ(mc::make_status(0xA002).message(),
            "zone format check: group 2 is not in the dictionary, or an allowed value of its fields could not be "
            "fetched");
  EXPECT_EQ(mc::make_status(0xA801).message(),
            "zone format check: group 1 holds fewer or more fields than the dictionary lists");
  EXPECT_EQ(mc::make_status(0x1234).message(), "unknown status 0x1234");
  // Every named code has a message of its own.
  for (uint16_t s : {0x0001, 0xD000, 0xD201, 0xF610, 0xF620, 0xF640, 0xF660, 0xF680, 0xF6F1, 0xF800, 0xF801, 0xF802,
                     0xF804, 0xF805, 0xF806, 0xF807, 0xF80A, 0xF810, 0xF811, 0xFFFB, 0xFFFE, 0xFFFF})
    EXPECT_NE(mc::make_status(s).message().rfind("unknown status", 0), 0u) << std::hex << s;
  const mc::FormatFault f = mc::format_fault(0xA7FF);
  EXPECT_EQ(f.kind, mc::FormatFault::unknown_group);
  EXPECT_EQ(f.rank, 0x7FFu);
  EXPECT_EQ(mc::format_fault(0xF810).kind, mc::FormatFault::none);
  try {
    mc::check(0xF807, "MC_usFoo");
    FAIL() << "no exception";
  } catch (const std::system_error &e) {
    EXPECT_EQ(e.code(), mc::errc::bad_number);
  }
}

TEST(CppLayer, OwnersGiveBackEverythingTheyHold) {
  TempDir dir;
  const uint32_t held = ulMemAllouee;
  {
    mc::TraceSession trace(dir.file("t.log"), {{1, 3, 2}, {1, 7, 0}});
    EXPECT_EQ(MC_bTraceActive(), 1);
    mc::Zone z = mc::Zone::create(4);
    ASSERT_FALSE(z.add_group(0x0102));
    // Full: nothing changes until the zone is enlarged, which the owner follows.
    EXPECT_EQ(z.add_field(std::string_view("AB")), mc::errc::beyond_buffer);
    ASSERT_FALSE(z.resize(16));
    ASSERT_FALSE(z.add_field(std::string_view("AB")));
    const std::vector<unsigned char> coded = z.copy();
    EXPECT_EQ(coded, (std::vector<unsigned char>{0x01, 0x02, 0x03, 0x02, 'A', 'B'}));
    mc::Zone moved = std::move(z);
    EXPECT_FALSE(z);

    mc::Zone r = mc::Zone::receive(coded);
    uint16_t id = 0;
    mc::FieldView f;
    ASSERT_FALSE(r.next_group(id));
    ASSERT_FALSE(r.next_field(f));
    EXPECT_EQ(id, 0x0102);
    EXPECT_EQ(f.text(), "AB");
    EXPECT_EQ(r.next_field(f), mc::errc::not_found);
    EXPECT_FALSE(r.check_syntax());

    mc::FileHeader h{"f.bin", "0001", "AAAAA", "BBBBBBBB", "0001", "CCCCC", "DDDDDDDDDD", "comment"};
    std::error_code ec;
    {
      mc::BinaryWriter w(dir.path(), "f.bin", MC_CONTROLE_CRC, h, ec);
      ASSERT_FALSE(ec);
      EXPECT_FALSE(w.begin_table("T1", 1));
      EXPECT_FALSE(w.write_string("hello"));
    }
    mc::BinaryReader rd(dir.path(), "f.bin", MC_CONTROLE_CRC, ec);
    ASSERT_FALSE(ec);
    EXPECT_EQ(rd.header().comment, "comment");
    mc::TableHeader t;
    ASSERT_FALSE(rd.find_table("T1", t));
    std::string s;
    EXPECT_FALSE(rd.read_string(s));
    EXPECT_EQ(s, "hello");
    // A failed check leaves the file open: the owner still closes it.
    mc::BinaryReader renamed(dir.path(), "f.bin", MC_CONTROLE_CRC, ec);
    ASSERT_TRUE(renamed.is_open());
    std::rename(dir.file("f.bin").c_str(), dir.file("g.bin").c_str());
    mc::BinaryReader wrongName(dir.path(), "g.bin", MC_CONTROLE_CRC, ec);
    EXPECT_EQ(ec, mc::errc::file_name_mismatch);
    EXPECT_TRUE(wrongName.is_open());
    EXPECT_THROW(mc::BinaryReader(dir.path(), "g.bin", MC_CONTROLE_CRC), std::system_error);
  }
  EXPECT_EQ(ulMemAllouee, held);
  EXPECT_EQ(MC_bTraceActive(), 0);
  for (ZoneMemoire *z : ZM) EXPECT_EQ(z, nullptr);
  for (Fichier *f : fichiers) EXPECT_EQ(f, nullptr);
}

TEST(CppLayer, LibraryCountsOneUseAndDictionaryQueries) {
  mc::test::InstallationTables install;
  ASSERT_EQ(install.Ecrire({GroupeDico(0x0101, {ChampDico(1, 1, 3, 'A', {"EUR", "USD"})})}), 0);
  {
    mc::Library lib;
    EXPECT_TRUE(lib.initialised());
    EXPECT_EQ(lib.library_version(), "0103");
    EXPECT_EQ(lib.tables_version(), "0104");
    {
      mc::Library second;
      EXPECT_EQ(nbre_chargt_module, 2);
      EXPECT_EQ(second.tables_version(), "");
    }
    std::vector<uint16_t> groups;
    ASSERT_FALSE(mc::dictionary::groups(groups));
    EXPECT_EQ(groups, std::vector<uint16_t>{0x0101});
    std::string value;
    ASSERT_FALSE(mc::dictionary::value(0x0101, 1, 2, value));
    EXPECT_EQ(value, "USD");
    std::vector<TCHAMP> fields;
    EXPECT_EQ(mc::dictionary::fields(0x0999, fields), mc::errc::not_found);
  }
  EXPECT_EQ(nbre_chargt_module, 0);
  EXPECT_EQ(g_stTabGrp, nullptr);

  // A failed start is not counted, and the destructor does not stop.
  mc::test::InstallationTables noTables(false, true);
  std::error_code ec;
  mc::Library failed(ec);
  EXPECT_EQ(ec, mc::errc::no_tables_directory);
  EXPECT_FALSE(failed.initialised());
  EXPECT_THROW(mc::Library(), std::system_error);
  EXPECT_EQ(nbre_chargt_module, 0);
}

// ---- mctool ----

struct Result {
  int code = -1;
  std::string out;
  std::string err;
};

class Mctool : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::string(MCTOOL_PATH).empty()) GTEST_SKIP() << "mctool not built (MC_BUILD_APPS=OFF)";
  }
  // Runs mctool with args (shell words) in the temporary directory.
  Result Run(const std::string &args) {
    const std::string cmd = "cd '" + dir_.path() + "' && '" MCTOOL_PATH "' " + args + " >out.txt 2>err.txt";
    const int status = std::system(cmd.c_str());
    Result r;
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = ReadFile(File("out.txt"));
    r.err = ReadFile(File("err.txt"));
    return r;
  }
  std::string File(const std::string &name) const { return dir_.file(name); }
  void Write(const std::string &name, const std::string &text) { WriteFile(File(name), text); }

  TempDir dir_;
};

const char kDictionary[] = R"({
  "header": {"name": "tablebin.kmt", "field_a": "T", "comment": "test dictionary"},
  "groups": [
    {"id": "0x0101", "fields": [
      {"presence": 1, "min": 1, "max": 4, "format": "N"},
      {"presence": 0, "min": 0, "max": 3, "format": "A", "values": ["EUR", {"hex": "C9"}], "reserve": -2}]},
    {"id": 513, "fields": [{"presence": 1, "min": 2, "max": 0, "format": 1}]}
  ]})";

TEST_F(Mctool, TablesBuildAndShowGiveBackTheIdenticalFile) {
  Write("d.json", kDictionary);
  Result r = Run("tables build d.json -o tablebin.kmt");
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "tablebin.kmt: 2 groups, 3 fields, 2 values\n");
  r = Run("tables show tablebin.kmt");
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("fields    A \"T    \""), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("  2      optional       0      3  A capitals, digits, spaces   \"EUR\" hex C9\n"),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("group 0x0201: 1 field\n"), std::string::npos);
  r = Run("tables show --json tablebin.kmt");
  ASSERT_EQ(r.code, 0) << r.err;
  Write("again.json", r.out);
  EXPECT_NE(ReadFile(File("again.json")).find("\"reserve\": -2"), std::string::npos);
  ASSERT_EQ(Run("tables build again.json -o copy.kmt").code, 0);
  EXPECT_EQ(ReadBytes(File("copy.kmt")), ReadBytes(File("tablebin.kmt")));

  // Groups sharing fields and a fourth table: shown table by table, and
  // still built back into the same bytes.
  std::vector<GroupeDico> groups{GroupeDico(1, {ChampDico(1, 1, 2, 'N')}), GroupeDico(2)};
  groups[1].premierChamp = 0;
  groups[1].nbChamps = 1;
  auto tables = mc::test::TablesDictionnaire(groups);
  tables.insert(tables.begin(), mc::test::TableBrute{"EXTRA", 2, {0xDE, 0xAD}});
  ASSERT_EQ(mc::test::EcrireFichierTables(dir_.path(), tables), 0);
  r = Run("tables show --json tablebin.kmt");
  ASSERT_EQ(r.code, 0);
  const std::string odd = r.out;
  Write("odd.json", odd);
  EXPECT_NE(odd.find("\"tables\""), std::string::npos);
  EXPECT_NE(odd.find("\"hex\": \"DEAD\""), std::string::npos);
  ASSERT_EQ(Run("tables build odd.json -o odd.kmt").code, 0);
  EXPECT_EQ(ReadBytes(File("odd.kmt")), ReadBytes(File("tablebin.kmt")));
}

TEST_F(Mctool, ZoneEncodeDecodeAndCheck) {
  Write("m.json", R"({"groups": [{"id": "0x0101", "fields": ["12", {"hex": "00FF"}]}, {"id": 513, "fields": []}]})");
  Result r = Run("zone encode m.json");
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "0101060231320200FF020100\n");
  r = Run("zone decode '01 01 06 02 31 32 02 00 FF 02 01 00'");
  EXPECT_EQ(r.out,
            "12 bytes, 2 groups\n"
            "group 1  0x0101  offset 0, header 3 bytes, content 6 bytes\n"
            "  field 1  length 2: \"12\"\n"
            "  field 2  length 2: hex 00 FF\n"
            "group 2  0x0201  offset 9, header 3 bytes, content 0 bytes\n");
  r = Run("zone decode --json 0101060231320200FF020100");
  ASSERT_EQ(r.code, 0);
  Write("back.json", r.out);
  EXPECT_EQ(Run("zone encode back.json").out, "0101060231320200FF020100\n");
  ASSERT_EQ(Run("zone encode m.json -o m.bin").code, 0);
  EXPECT_EQ(Run("zone decode -f m.bin").out.substr(0, 19), "12 bytes, 2 groups\n");

  // The empty group passes decoding, not the coding check.
  r = Run("zone check 0101060231320200FF020100 --syntax-only");
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.out, "syntax  0xF810 (coded zone data unreadable or inconsistent)\n"
                   "        group 2 (0x0201) is empty (length 0)\n");
  r = Run("zone decode 0101050141");
  EXPECT_EQ(r.code, 3);
  EXPECT_NE(r.err.find("group 1 at offset 0 (0x0101): claims 5 bytes, 2 remain"), std::string::npos) << r.err;

  Write("d.json", kDictionary);
  ASSERT_EQ(Run("tables build d.json -o dico.kmt").code, 0);
  r = Run("zone check 01010702313203455552020103024141 --tables dico.kmt");
  EXPECT_EQ(r.code, 0) << r.out << r.err;
  EXPECT_EQ(r.out, "syntax  ok\nformat  ok (2 groups checked against the dictionary of tables version 0104)\n");
  // Field 3 of the zone is the first of group 2: any bytes, at least 2.
  r = Run("zone check 0101070231320345555202010201" "41 --tables dico.kmt");
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.out,
            "syntax  ok\n"
            "format  0x9003 (zone format check: field 3 fails its format, length, presence or value rule)\n"
            "        group 2 (0x0201), field 1 \"A\": 1 significant character, fewer than the minimum 2\n");
  EXPECT_EQ(r.err, "mctool: the message's content is refused\n");
  r = Run("zone check 01010702313203555344020103024141 --tables dico.kmt");
  EXPECT_NE(r.out.find("group 1 (0x0101), field 2 \"USD\": not one of the allowed values \"EUR\" hex C9"),
            std::string::npos)
      << r.out;
  r = Run("zone check 010103023132020103024141 --tables dico.kmt");
  EXPECT_NE(r.out.find("format  0xA801"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("group 1 (0x0101): holds 1 field, the dictionary lists 2"), std::string::npos) << r.out;
  r = Run("zone check 0101070231320345555209990100 --tables dico.kmt");
  EXPECT_NE(r.out.find("group 2 (0x0999): not in the dictionary"), std::string::npos) << r.out;
  r = Run("zone check 010103023141 --tables dico.kmt");
  EXPECT_NE(r.out.find("group 1 (0x0101), field 1 \"1A\": not of format N (digits)"), std::string::npos) << r.out;
}

TEST_F(Mctool, SignVerifyAndDump) {
  Write("d.json", kDictionary);
  ASSERT_EQ(Run("tables build d.json -o tablebin.kmt").code, 0);
  Result r = Run("dump tablebin.kmt --table TVALEUR");
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("control     1 (CRC-16), guessed\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("  TVALEUR             191           6           2\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("  000000d8  03 45 55 52 01 C9      "), std::string::npos) << r.out;

  r = Run("sign tablebin.kmt --key '" MC_SOURCE_DIR "/keys/demo-private.key' -o signed.kmt");
  ASSERT_EQ(r.code, 0) << r.err;
  if (r.err.find("does not accept") != std::string::npos) GTEST_SKIP() << "library built with another public key";
  r = Run("verify signed.kmt");
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.out, "signed.kmt: signature valid\n");
  EXPECT_EQ(Run("sign signed.kmt --key '" MC_SOURCE_DIR "/keys/demo-private.key'").code, 3);
  EXPECT_NE(Run("dump signed.kmt").out.find("control     2 (signature), guessed"), std::string::npos);
  std::string bytes = ReadFile(File("signed.kmt"));
  bytes[40] ^= 1;
  Write("signed.kmt", bytes);
  r = Run("verify signed.kmt");
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.out, "signed.kmt: signature does not verify: 0x040B (signature verification: signature does not match)\n");
  EXPECT_EQ(r.err, "mctool: signed.kmt: bad signature\n");
}

TEST_F(Mctool, BadInputsGiveClearErrorsAndExitCodes) {
  Result r = Run("tables show missing.kmt");
  EXPECT_EQ(r.code, 3);
  EXPECT_EQ(r.err, "mctool: missing.kmt: no such file\n");
  Write("bad.json", "{\"groups\": [\n  {\"id\": 1,}\n]}");
  r = Run("tables build bad.json -o x.kmt");
  EXPECT_EQ(r.code, 3);
  EXPECT_NE(r.err.find("mctool: bad.json: malformed JSON: parse error at line 2"), std::string::npos) << r.err;
  Write("nocomment.json", R"({"groups": []})");
  r = Run("tables build nocomment.json -o x.kmt");
  EXPECT_EQ(r.code, 3);
  EXPECT_EQ(r.err, "mctool: nocomment.json: header.comment: must hold at least one character\n");
  EXPECT_FALSE(mc::test::FileExists(File("x.kmt")));
  r = Run("zone decode 0102G3");
  EXPECT_EQ(r.code, 3);
  EXPECT_EQ(r.err, "mctool: message: not hex: 'G' at position 5 (hex digits 0-9, A-F expected)\n");
  EXPECT_EQ(Run("zone decode 010").code, 3);
  EXPECT_EQ(Run("zone frobnicate").code, 2);
  EXPECT_EQ(Run("zone decode 00 -f x").code, 2);

  Write("d.json", kDictionary);
  ASSERT_EQ(Run("tables build d.json -o tablebin.kmt").code, 0);
  std::string whole = ReadFile(File("tablebin.kmt"));
  Write("tablebin.kmt", whole.substr(0, whole.size() - 5));
  r = Run("tables show tablebin.kmt");
  EXPECT_EQ(r.code, 3);
  EXPECT_NE(r.err.find("CRC mismatch"), std::string::npos) << r.err;
  EXPECT_EQ(Run("dump tablebin.kmt").code, 1);
  Write("tablebin.kmt", whole.substr(0, 30));
  r = Run("tables show tablebin.kmt");
  EXPECT_EQ(r.code, 3);
  EXPECT_NE(r.err.find("header is incomplete"), std::string::npos) << r.err;
  r = Run("zone check 010103020141 --tables nothere.kmt");
  EXPECT_EQ(r.code, 3);
}

TEST_F(Mctool, IniGetAndSet) {
  ASSERT_EQ(Run("ini set conf.ini commun repertoiretable /x/y").code, 0);
  EXPECT_EQ(ReadFile(File("conf.ini")), "[COMMUN]\nrepertoiretable=/x/y\n");
  EXPECT_FALSE(mc::test::FileExists(File("WriteIniTmp.txt")));
  Result r = Run("ini get conf.ini Commun REPERTOIRETABLE");
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.out, "/x/y\n");
  ASSERT_EQ(Run("ini set conf.ini commun vide ''").code, 0);
  r = Run("ini get conf.ini commun vide");
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.out, "\n");
  r = Run("ini get conf.ini commun absente");
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "mctool: [commun] absente: absent from conf.ini\n");
  EXPECT_EQ(Run("ini get none.ini commun x").code, 3);
  // --preferences: the name is looked up where the library looks.
  unsetenv("MC_PREFERENCES_DIR");
  r = Run("ini get -p conf.ini commun repertoiretable");
  EXPECT_EQ(r.code, 1);
  setenv("MC_PREFERENCES_DIR", dir_.path().c_str(), 1);
  r = Run("ini get -p conf.ini commun repertoiretable");
  unsetenv("MC_PREFERENCES_DIR");
  EXPECT_EQ(r.out, "/x/y\n");
}

}  // namespace
