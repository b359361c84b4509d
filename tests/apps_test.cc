// The C++ layer (mc.hpp) and the mctool command, run from the build tree on temporary files.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "mc.hpp"
#include "support/dictionary_builder.h"
#include "support/mc_test.h"

namespace {

using namespace mc::test;

TEST(CppLayer, StatusesOwnersAndUses) {
  const std::error_code crc = mc::make_status(0xF630);
  EXPECT_STREQ(crc.category().name(), "mc");
  EXPECT_TRUE(!mc::make_status(0) && crc == mc::errc::control_mismatch && crc != mc::errc::end_of_file);
  EXPECT_EQ(crc.message(), "CRC or signature mismatch when the binary file was opened");
  EXPECT_EQ(mc::make_status(0x1234).message(), "unknown status 0x1234");
  // Every named code has a message of its own.
  for (uint16_t s : {0x0001, 0xD000, 0xD201, 0xF610, 0xF620, 0xF640, 0xF660, 0xF680, 0xF6F1, 0xF800, 0xF801, 0xF802,
                     0xF804, 0xF805, 0xF806, 0xF807, 0xF80A, 0xF810, 0xF811, 0xFFFB, 0xFFFE, 0xFFFF})
    EXPECT_NE(mc::make_status(s).message().rfind("unknown status", 0), 0u) << std::hex << s;
  const mc::FormatFault fault = mc::format_fault(0xA7FF);
  EXPECT_TRUE(fault.kind == mc::FormatFault::unknown_group && fault.rank == 0x7FF);
  EXPECT_EQ(mc::format_fault(0xF810).kind, mc::FormatFault::none);
  EXPECT_THROW(mc::check(0xF807, "MC_usFoo"), std::system_error);
  // Owners give back everything they hold.
  TempDir dir;
  std::error_code ec;
  const uint32_t held = ulMemAllouee;
  {
    mc::TraceSession trace(dir.file("t.log"), {{1, 3, 2}, {1, 7, 0}});
    EXPECT_EQ(MC_bTraceActive(), 1);
    mc::Zone z = mc::Zone::create(4);
    ASSERT_FALSE(z.add_group(0x0102));
    // Full: nothing changes until the zone is enlarged, which the owner follows.
    EXPECT_EQ(z.add_field(std::string_view("AB")), mc::errc::beyond_buffer);
    ASSERT_FALSE(z.resize(16) || z.add_field(std::string_view("AB")));
    const std::vector<unsigned char> coded = z.copy();
    EXPECT_EQ(coded, (std::vector<unsigned char>{0x01, 0x02, 0x03, 0x02, 'A', 'B'}));
    mc::Zone moved = std::move(z);
    EXPECT_FALSE(z);
    mc::Zone r = mc::Zone::receive(coded);
    uint16_t id = 0;
    mc::FieldView f;
    ASSERT_FALSE(r.next_group(id) || r.next_field(f));
    EXPECT_EQ(std::to_string(id) + std::string(f.text()), "258AB");
    EXPECT_EQ(r.next_field(f), mc::errc::not_found);
    EXPECT_FALSE(r.check_syntax());
    mc::FileHeader h{"f.bin", "0001", "AAAAA", "BBBBBBBB", "0001", "CCCCC", "DDDDDDDDDD", "comment"};
    {
      mc::BinaryWriter w(dir.path(), "f.bin", MC_CONTROLE_CRC, h, ec);
      ASSERT_FALSE(ec || w.begin_table("T1", 1) || w.write_string("hello"));
    }
    mc::BinaryReader rd(dir.path(), "f.bin", MC_CONTROLE_CRC, ec);
    mc::TableHeader t;
    std::string s;
    ASSERT_FALSE(ec || rd.find_table("T1", t) || rd.read_string(s));
    EXPECT_EQ(rd.header().comment + s, "commenthello");
    // A failed check leaves the file open: the owner still closes it.
    std::rename(dir.file("f.bin").c_str(), dir.file("g.bin").c_str());
    mc::BinaryReader wrongName(dir.path(), "g.bin", MC_CONTROLE_CRC, ec);
    EXPECT_TRUE(ec == mc::errc::file_name_mismatch && wrongName.is_open());
    EXPECT_THROW(mc::BinaryReader(dir.path(), "g.bin", MC_CONTROLE_CRC), std::system_error);
  }
  EXPECT_TRUE(ulMemAllouee == held && MC_bTraceActive() == 0);
  for (ZoneMemoire *z : ZM) EXPECT_EQ(z, nullptr);
  for (Fichier *f : fichiers) EXPECT_EQ(f, nullptr);
  // The library counts one use per owner; dictionary queries.
  InstallationTables install;
  ASSERT_EQ(install.Ecrire({GroupeDico(0x0101, {ChampDico(1, 1, 3, 'A', {"EUR", "USD"})})}), 0);
  {
    mc::Library lib;
    EXPECT_EQ(std::to_string(lib.initialised()) + lib.library_version() + lib.tables_version(), "101030104");
    EXPECT_EQ([] { const mc::Library b; return std::to_string(nbre_chargt_module) + b.tables_version(); }(), "2");
    std::vector<uint16_t> groups;
    std::string value;
    std::vector<TCHAMP> fields;
    ASSERT_FALSE(mc::dictionary::groups(groups) || mc::dictionary::value(0x0101, 1, 2, value));
    EXPECT_TRUE(groups == std::vector<uint16_t>{0x0101} && value == "USD") << value;
    EXPECT_EQ(mc::dictionary::fields(0x0999, fields), mc::errc::not_found);
  }
  EXPECT_TRUE(nbre_chargt_module == 0 && g_stTabGrp == nullptr);
  // A failed start is not counted, and the destructor does not stop.
  InstallationTables noTables(false, true);
  mc::Library failed(ec);
  EXPECT_TRUE(ec == mc::errc::no_tables_directory && !failed.initialised());
  EXPECT_THROW(mc::Library(), std::system_error);
  EXPECT_EQ(nbre_chargt_module, 0);
}

class Mctool : public ::testing::Test {
 protected:
  void SetUp() override { if (std::string(MCTOOL_PATH).empty()) GTEST_SKIP() << "mctool not built"; }
  // Runs mctool with args (shell words) in the temporary directory, expects its exit code and pieces of what it
  // prints; returns its output followed by its stderr.
  std::string Run(const std::string &args, int code, std::initializer_list<std::string> pieces = {}) {
    const std::string cmd = "cd '" + dir_.path() + "' && '" MCTOOL_PATH "' " + args + " >out.txt 2>err.txt";
    const int status = std::system(cmd.c_str());
    const std::string texte = ReadFile(File("out.txt")) + ReadFile(File("err.txt"));
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, code) << args << "\n" << texte;
    for (const std::string &p : pieces) EXPECT_NE(texte.find(p), std::string::npos) << args << "\n" << texte;
    return texte;
  }
  std::string File(const std::string &name) const { return dir_.file(name); }
  void Write(const std::string &name, const std::string &text) { WriteFile(File(name), text); }
  // Builds tablebin.kmt from a small dictionary.
  void Tables() {
    Write("d.json", R"({"header": {"name": "tablebin.kmt", "field_a": "T", "comment": "test dictionary"}, "groups": [
      {"id": "0x0101", "fields": [{"presence": 1, "min": 1, "max": 4, "format": "N"}, {"presence": 0, "min": 0,
        "max": 3, "format": "A", "values": ["EUR", {"hex": "C9"}], "reserve": -2}]},
      {"id": 513, "fields": [{"presence": 1, "min": 2, "max": 0, "format": 1}]}]})");
    EXPECT_EQ(Run("tables build d.json -o tablebin.kmt", 0), "tablebin.kmt: 2 groups, 3 fields, 2 values\n");
  }
  // Shows tablebin.kmt as JSON, builds it back and expects the same bytes.
  void RoundTrip(std::initializer_list<std::string> pieces) {
    Write("again.json", Run("tables show --json tablebin.kmt", 0, pieces));
    Run("tables build again.json -o copy.kmt", 0);
    EXPECT_EQ(ReadBytes(File("copy.kmt")), ReadBytes(File("tablebin.kmt")));
  }

  TempDir dir_;
};

TEST_F(Mctool, TablesBuildShowDumpSignAndVerify) {
  Tables();
  Run("tables show tablebin.kmt", 0,
      {"fields    A \"T    \"", "group 0x0201: 1 field\n",
       "  2      optional       0      3  A capitals, digits, spaces   \"EUR\" hex C9\n"});
  RoundTrip({"\"reserve\": -2"});
  Run("dump tablebin.kmt --table TVALEUR", 0,
      {"control     1 (CRC-16), guessed\n", "  TVALEUR             191           6           2\n",
       "  000000d8  03 45 55 52 01 C9      "});
  const std::string key = " --key '" MC_SOURCE_DIR "/keys/demo-private.key'";
  if (Run("sign tablebin.kmt -o signed.kmt" + key, 0).find("does not accept") != std::string::npos)
    GTEST_SKIP() << "library built with another public key";
  EXPECT_EQ(Run("verify signed.kmt", 0), "signed.kmt: signature valid\n");
  Run("sign signed.kmt" + key, 3, {"signed.kmt"});
  Run("dump signed.kmt", 0, {"control     2 (signature), guessed"});
  std::string bytes = ReadFile(File("signed.kmt"));
  bytes[40] ^= 1;
  Write("signed.kmt", bytes);
  EXPECT_EQ(Run("verify signed.kmt", 1),
            "signed.kmt: signature does not verify: 0x040B (signature verification: signature does not match)\n"
            "mctool: signed.kmt: bad signature\n");
}

TEST_F(Mctool, ZoneAndIniCommandsAndBadInputs) {
  Write("m.json", R"({"groups": [{"id": "0x0101", "fields": ["12", {"hex": "00FF"}]}, {"id": 513, "fields": []}]})");
  Write("back.json", Run("zone decode --json 0101060231320200FF020100", 0));
  EXPECT_EQ(Run("zone encode m.json", 0) + Run("zone encode back.json", 0) + Run("zone encode m.json -o m.bin", 0),
            "0101060231320200FF020100\n0101060231320200FF020100\n");
  EXPECT_EQ(Run("zone decode '01 01 06 02 31 32 02 00 FF 02 01 00'", 0),
            "12 bytes, 2 groups\ngroup 1  0x0101  offset 0, header 3 bytes, content 6 bytes\n"
            "  field 1  length 2: \"12\"\n  field 2  length 2: hex 00 FF\n"
            "group 2  0x0201  offset 9, header 3 bytes, content 0 bytes\n");
  Run("zone decode -f m.bin", 0, {"12 bytes, 2 groups\n"});
  // The empty group passes decoding, not the coding check.
  Run("zone check 0101060231320200FF020100 --syntax-only", 1,
      {"syntax  0xF810 (coded zone data unreadable or inconsistent)\n        group 2 (0x0201) is empty (length 0)\n"});
  Run("zone decode 0101050141", 3, {"group 1 at offset 0 (0x0101): claims 5 bytes, 2 remain"});
  Tables();
  const std::string dico = " --tables tablebin.kmt";
  EXPECT_EQ(Run("zone check 01010702313203455552020103024141" + dico, 0),
            "syntax  ok\nformat  ok (2 groups checked against the dictionary of tables version 0104)\n");
  // Field 3 of the zone is the first of group 2: any bytes, at least 2.
  EXPECT_EQ(Run("zone check 010107023132034555520201020141" + dico, 1),
            "syntax  ok\nformat  0x9003 (zone format check: field 3 fails its format, length, presence or value rule)\n"
            "        group 2 (0x0201), field 1 \"A\": 1 significant character, fewer than the minimum 2\n"
            "mctool: the message's content is refused\n");
  Run("zone check 01010702313203555344020103024141" + dico, 1,
      {"group 1 (0x0101), field 2 \"USD\": not one of the allowed values \"EUR\" hex C9"});
  Run("zone check 010103023132020103024141" + dico, 1,
      {"format  0xA801 (zone format check: group 1 holds fewer or more fields than the dictionary lists)\n"
       "        group 1 (0x0101): holds 1 field, the dictionary lists 2"});
  Run("zone check 0101070231320345555209990100" + dico, 1, {"group 2 (0x0999): not in the dictionary"});
  Run("zone check 010103023141" + dico, 1, {"group 1 (0x0101), field 1 \"1A\": not of format N (digits)"});
  Write("bad.json", "{\"groups\": [\n  {\"id\": 1,}\n]}");
  Write("nocomment.json", R"({"groups": []})");
  const std::string whole = ReadFile(File("tablebin.kmt"));
  Write("crc.kmt", whole.substr(0, whole.size() - 5));
  Write("short.kmt", whole.substr(0, 30));
  EXPECT_EQ(Run("tables show missing.kmt", 3), "mctool: missing.kmt: no such file\n");
  EXPECT_EQ(Run("tables build nocomment.json -o x.kmt", 3),
            "mctool: nocomment.json: header.comment: must hold at least one character\n");
  EXPECT_EQ(Run("zone decode 0102G3", 3),
            "mctool: message: not hex: 'G' at position 5 (hex digits 0-9, A-F expected)\n");
  for (const auto &[args, code, piece] : std::initializer_list<std::tuple<const char *, int, const char *>>{
           {"zone decode 010", 3, "not hex"}, {"zone frobnicate", 2, "A subcommand is required"},
           {"zone decode 00 -f x", 2, ""}, {"zone check 010103020141 --tables nothere.kmt", 3, "nothere.kmt"},
           {"tables build bad.json -o x.kmt", 3, "mctool: bad.json: malformed JSON: parse error at line 2"},
           {"tables show crc.kmt", 3, "CRC mismatch"}, {"dump crc.kmt", 1, ""},
           {"tables show short.kmt", 3, "header is incomplete"}, {"ini get none.ini commun x", 3, ""}})
    Run(args, code, {piece});
  EXPECT_FALSE(FileExists(File("x.kmt")));  // nothing written from a refused dictionary
  Run("ini set conf.ini commun repertoiretable /x/y", 0);
  EXPECT_EQ(ReadFile(File("conf.ini")), "[COMMUN]\nrepertoiretable=/x/y\n");
  EXPECT_FALSE(FileExists(File("WriteIniTmp.txt")));
  Run("ini set conf.ini commun vide ''", 0);
  EXPECT_EQ(Run("ini get conf.ini Commun REPERTOIRETABLE", 0) + Run("ini get conf.ini commun vide", 0), "/x/y\n\n");
  EXPECT_EQ(Run("ini get conf.ini commun absente", 1), "mctool: [commun] absente: absent from conf.ini\n");
  // --preferences: the name is looked up where the library looks.
  unsetenv("MC_PREFERENCES_DIR");
  Run("ini get -p conf.ini commun repertoiretable", 1);
  setenv("MC_PREFERENCES_DIR", dir_.path().c_str(), 1);
  EXPECT_EQ(Run("ini get -p conf.ini commun repertoiretable", 0), "/x/y\n");
  // Groups sharing fields and a fourth table: shown table by table, and built back into the same bytes.
  std::vector<GroupeDico> groups{GroupeDico(1, {ChampDico(1, 1, 2, 'N')}), GroupeDico(2)};
  groups[1].premierChamp = 0;
  groups[1].nbChamps = 1;
  auto tables = TablesDictionnaire(groups);
  tables.insert(tables.begin(), TableBrute{"EXTRA", 2, {0xDE, 0xAD}});
  ASSERT_EQ(EcrireFichierTables(dir_.path(), tables), 0);
  RoundTrip({"\"tables\"", "\"hex\": \"DEAD\""});
}

}  // namespace
