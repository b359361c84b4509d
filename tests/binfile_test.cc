// Binary table files: format, writer, reader, CRC-16 and signatures.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "binfile/crc16.h"
#include "binfile/packed_double.h"
#include "core/memory.h"
#include "support/mc_test.h"

using namespace mc::test;
using namespace std::string_literals;

namespace {

const std::string kCles = std::string(MC_SOURCE_DIR) + "/keys/", kCle = kCles + "demo-private.key";

// The check as defined: a 24-bit register fed at bit 16, 8 shifts per byte.
uint16_t CrcBitParBit(const unsigned char *p, size_t n) {
  uint32_t r = 0;
  for (size_t i = 0; i < n; ++i) {
    r |= uint32_t{p[i]} << 16;
    for (int b = 0; b < 8; ++b) r = (r & 1) ? (r >> 1) ^ 0x8408 : r >> 1;
  }
  return static_cast<uint16_t>(((r >> 8) & 0xFF) | ((r << 8) & 0xFF00));
}

const unsigned char *Entree(const std::string &s) { return reinterpret_cast<const unsigned char *>(s.data()); }
std::string Octets(const unsigned char *p, size_t n) { return std::string(reinterpret_cast<const char *>(p), n); }
std::string Mot(uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

EnteteFichierBinaire Entete(const char *nom, const char *commentaire) {
  EnteteFichierBinaire e{"", "0104", "ABCDE", "20240131", "0103", "FGHIJ", "KLMNOPQRST", ""};
  strncpy(e.acNomFichier, nom, 12);
  strncpy(e.acCommentaire, commentaire, MC_LONGUEUR_COMMENTAIRE_MAX);
  return e;
}

// The header bytes that Entete(nom, commentaire) gives on disk, CRC field "0000".
std::string EnteteBrut(const std::string &nom, const std::string &commentaire = "Tables de test") {
  return "0000 " + (nom + std::string(12, ' ')).substr(0, 12) + " 0104 ABCDE 20240131 0103 FGHIJ KLMNOPQRST " +
         commentaire + "\r\n\x1a";
}

// A table header (size, record count, descriptor counts) and its data, as on disk.
std::string TableBrute(const std::string &nom, const std::string &donnees, uint32_t nombre = 1, uint8_t d1 = 0,
                       uint8_t d2 = 0) {
  return (nom + std::string(10, ' ')).substr(0, 10) + Mot(static_cast<uint32_t>(donnees.size())) + Mot(nombre) +
         Mot(0) + std::string{char(d1), char(d2), 0} + donnees;
}

std::string AvecCrc(std::string contenu) {
  char crc[5];
  snprintf(crc, sizeof crc, "%04X", CrcBitParBit(Entree(contenu) + 4, contenu.size() - 4));
  return contenu.replace(0, 4, crc);
}

std::string Hex(const std::string &s) {
  std::string h;
  char b[4];
  for (unsigned char c : s) snprintf(b, sizeof b, "%02X ", c), h += b;
  return h;
}

void ContientTout(const std::string &texte, std::initializer_list<const char *> lignes) {
  for (const char *ligne : lignes) EXPECT_NE(texte.find(ligne), std::string::npos) << ligne << "\nnot in:\n" << texte;
}

class BinFile : public ::testing::Test {
 protected:
  TempDir dir;
  const char *rep() { return dir.path().c_str(); }
  uint16_t Creer(const char *nom, uint16_t type = MC_CONTROLE_CRC) {
    uint16_t num = 0xBEEF;
    const EnteteFichierBinaire e = Entete(nom, "Tables de test");
    EXPECT_EQ(MC_usCreerFichierBinaire(rep(), nom, type, &e, &num), 0u);
    return num;
  }
  // Opens `nom`, written as `contenu` first when given, expecting `attendu`.
  uint16_t Ouvrir(const char *nom, uint16_t type, uint16_t attendu = 0, const std::string &contenu = "",
                  EnteteFichierBinaire *e = nullptr) {
    if (!contenu.empty()) WriteFile(dir.file(nom), contenu);
    uint16_t num = 0xBEEF;
    EnteteFichierBinaire local;
    EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), nom, type, &num, e != nullptr ? e : &local), attendu) << nom;
    return num;
  }
  void Fermer(uint16_t num) { EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u) << num; }
  uint32_t Position(uint16_t num) {
    uint32_t p = 0;
    EXPECT_EQ(MC_usLirePositionFichier(num, &p), 0u);
    return p;
  }
};

TEST(BinFileCoding, PackedDoublesLengthCodesAndEveryCrcEngine) {
  // The last carries when rounded: "10.0000000000000" has 16 characters, the last is dropped.
  std::string codes;
  unsigned char code[8];
  for (double v : {123.456, -2.5, 0.0, 0.5, 12345678901234.0, -98765432109876.0, 0.000123, 9.99999999999999})
    codes += mc::CoderDouble(v, code) ? Hex(Octets(code, 8)) + "| " : "refused | ";
  EXPECT_EQ(codes,
            "01 23 F4 56 00 00 00 00 | 12 F5 00 00 00 00 00 00 | 00 F0 00 00 00 00 00 00 | 00 F5 00 00 00 00 00 00 | "
            "01 23 45 67 89 01 23 4F | 19 87 65 43 21 09 87 6F | 00 F0 00 12 30 00 00 00 | 01 0F 00 00 00 00 00 00 | ");
  code[0] = 0xAA;
  for (double v : {1e14, -1e14, 1e300, double{INFINITY}, double{NAN}}) EXPECT_FALSE(mc::CoderDouble(v, code)) << v;
  EXPECT_EQ(code[0], 0xAA);
  // Bytes no writer makes: a high nibble above 1 is a minus sign too; a text not starting with a number reads 0.
  const unsigned char moins[8] = {0x72, 0xF5}, bizarre[8] = {0x0C, 0x12};
  EXPECT_EQ(std::pair(mc::DecoderDouble(moins), mc::DecoderDouble(bizarre)), std::pair(-2.5, 0.0));
  codes.clear();
  for (uint32_t l : {0u, 127u, 128u, 255u, 256u, 65535u, 65536u, 16777215u, 16777216u, 0xFFFFFFFFu})
    codes += Hex(Octets(code, stCoderLongueur(l, code))) + "| ";
  EXPECT_EQ(codes,
            "00 | 7F | 81 80 | 81 FF | 82 01 00 | 82 FF FF | 83 01 00 00 | 83 FF FF FF | 84 01 00 00 00 | "
            "84 FF FF FF FF | ");
  // Bytes, offset, then the status, the length and the count of length bytes.
  const std::tuple<std::string, uint32_t, uint16_t, uint32_t, uint32_t> decodages[] = {
      {"\x80", 0, 0, 128, 1},                           // lone 0x80 accepted
      {"\x82\x01\x2C", 0, 0, 300, 2},                   // count excludes the first byte
      {"\x81\x80", 0, 0, 0xFFFFFF80u, 1},               // signed length byte subtracts
      {"\x00\x84\x01\x02\x03\x04"s, 1, 0, 0x01020304, 4},  // 4 length bytes, at an offset
      {"\x85\x00\x00\x00\x00\x00"s, 0, MC_ERR_ARGUMENT, 0, 0},
      {"\x82\x01", 0, MC_ERR_ARGUMENT, 0, 0},  // runs off the buffer
      {"\x05", 1, MC_ERR_ARGUMENT, 0, 0}};
  for (const auto &[octets, offset, statut, longueur, nombre] : decodages) {
    uint32_t l = 0, n = 0;
    EXPECT_EQ(usDecoderLongueur(Entree(octets), static_cast<uint32_t>(octets.size()), offset, &l, &n), statut)
        << Hex(octets);
    EXPECT_EQ(std::pair(l, n), std::pair(longueur, nombre)) << Hex(octets);
  }
  const unsigned char chiffres[] = "123456789";
  EXPECT_EQ(CrcBitParBit(chiffres, 9), 0x7F50);
  std::mt19937 gen(1234);
  std::vector<unsigned char> data(70000 + 8);  // room for the unaligned starts
  for (auto &c : data) c = static_cast<unsigned char>(gen());
  bool pclmul = true;
  std::vector<size_t> longueurs = {511, 512, 513, 1023, 1024, 4097, 65536, 69999};
  for (size_t n = 0; n <= 300; ++n) longueurs.push_back(n);
  for (size_t n : longueurs) {  // unaligned starts, any split, any starting state
    const unsigned char *p = n == 9 ? chiffres : data.data() + n % 7;
    const uint16_t attendu = CrcBitParBit(p, n), etat = static_cast<uint16_t>(gen());
    const size_t coupe = gen() % (n + 1);
    ASSERT_EQ(mc::Crc16Resultat(mc::Crc16Continuer(0, p, n)), attendu) << n;
    ASSERT_EQ(mc::Crc16Resultat(mc::Crc16Continuer(mc::Crc16Continuer(0, p, coupe), p + coupe, n - coupe)), attendu);
    uint16_t s = etat, plie = 0;  // the tables fed one byte at a time
    for (size_t i = 0; i < n; ++i) s = mc::Crc16ReflechiTables(s, p + i, 1);
    ASSERT_EQ(std::pair(mc::Crc16ReflechiTables(etat, p, n), mc::Crc16Reflechi(etat, p, n)), std::pair(s, s)) << n;
    pclmul = pclmul && mc::Crc16ReflechiPclmul(etat, p, n, &plie);
    ASSERT_TRUE(!pclmul || plie == s) << n;
  }
  if (!pclmul) GTEST_SKIP() << "no carry-less multiplication on this processor";
}

// Every value kind written, its bytes on disk, then read back.
TEST_F(BinFile, EveryValueKindOnDiskAndBack) {
  const uint16_t num = Creer("v.bin");
  ASSERT_EQ(MC_usPositionnerOffset(num, 10, 0), 0u);
  EXPECT_EQ(MC_usEcrireTaille(num), MC_ERR_INTERDIT);  // no table yet: still moves to the end
  EXPECT_EQ(Position(num), EnteteBrut("v.bin").size());
  // A table header right after another leaves the first size at 0; the close patches only the last one.
  EnteteTable a{"A         ", 0, 3, 0, 0, 0, 0}, b{"TVIDE     ", 0, 9, 0, 0, 0, 0}, t{"VALEURS   ", 0, 1, 0, 0, 0, 0};
  const uint16_t unicode[3] = {0x00E9, 0x20AC, 0xFFFF};
  EXPECT_EQ(
      std::vector<uint16_t>(
          {MC_usEcrireEnteteTable(num, &a), MC_usEcrireUnsignedLong(num, 0x01020304), MC_usEcrireTaille(num),
           MC_usEcrireEnteteTable(num, &b), MC_usEcrireEnteteTable(num, &t), MC_usEcrireUnsignedChar(num, 0xFE),
           MC_usEcrireSignedChar(num, -2), MC_usEcrireUnsignedShort(num, 0xFEDC), MC_usEcrireSignedShort(num, -300),
           MC_usEcrireUnsignedLong(num, 0xFEDCBA98), MC_usEcrireSignedLong(num, -70000), MC_usEcrireDouble(num, 1e14),
           MC_usEcrireDouble(num, -0.000123), MC_usEcrireDouble(num, 99999999999999.0),
           MC_usEcrireDate(num, 2024, 2, 29), MC_usEcrireChampFixe(num, "FIXE\0X", 6),
           MC_usEcrireChampUnicodeFixe(num, unicode, 3), MC_usEcrireChaineVariable(num, nullptr)}),
      std::vector<uint16_t>({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, MC_ERR_FICHIER, 0, 0, 0, 0, 0, 0}));
  std::string donnees = "\xFE\xFE\xFE\xDC\xFE\xD4\xFE\xDC\xBA\x98\xFF\xFE\xEE\x90\x10\xF0\x00\x12\x30\x00\x00\x00\x09"
                        "\x99\x99\x99\x99\x99\x99\x9F\x07\xE8\x02\x1D" "FIXE\0X"s +
                        Octets(reinterpret_cast<const unsigned char *>(unicode), 6) + '\0';
  const std::string longue(65536, 'l');  // written with a 3-byte length code
  ASSERT_EQ(MC_usEcrireChaineVariable(num, longue.c_str()), 0u);
  donnees += "\x83\x01\x00\x00"s + longue;
  ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
  const std::string disque = ReadFile(dir.file("v.bin")),
                    attendu = AvecCrc(EnteteBrut("v.bin") + TableBrute("A", Mot(0x01020304), 3) +
                                      TableBrute("TVIDE", "", 9) + TableBrute("VALEURS", donnees));
  EXPECT_TRUE(disque == attendu) << Hex(disque.substr(0, 300)) << "\nexpected:\n" << Hex(attendu.substr(0, 300));

  EnteteFichierBinaire e;
  const uint16_t lu = Ouvrir("v.bin", MC_CONTROLE_CRC, 0, "", &e);
  EXPECT_EQ(std::string(e.acNomFichier) + e.acVersion + e.acChampB + e.acChampD + e.acCommentaire,
            "v.bin010420240131KLMNOPQRSTTables de test");
  EXPECT_EQ(Position(lu), EnteteBrut("v.bin").size());  // on the first table
  const auto lire = [lu](auto fonction, auto valeur) {
    EXPECT_EQ(fonction(lu, &valeur), 0u);
    return valeur;
  };
  a = lire(MC_usLireEnteteTable, a);
  const uint32_t ula = lire(MC_usLireUnsignedLong, uint32_t{});
  b = lire(MC_usLireEnteteTable, b), t = lire(MC_usLireEnteteTable, t);
  EXPECT_EQ(std::string(a.acNomTable) + "|" + b.acNomTable + "|" + t.acNomTable, "A|TVIDE|VALEURS");
  EXPECT_EQ(std::vector<uint32_t>({a.ulTaille, a.ulNombre, ula, b.ulTaille, b.ulNombre, t.ulTaille, t.ulNombre}),
            std::vector<uint32_t>({4, 3, 0x01020304, 0, 9, static_cast<uint32_t>(donnees.size()), 1}));
  EXPECT_EQ((std::tuple{lire(MC_usLireUnsignedChar, uint8_t{}), lire(MC_usLireSignedChar, int8_t{}),
                        lire(MC_usLireUnsignedShort, uint16_t{}), lire(MC_usLireSignedShort, int16_t{}),
                        lire(MC_usLireUnsignedLong, uint32_t{}), lire(MC_usLireSignedLong, int32_t{}),
                        lire(MC_usLireDouble, 0.0), lire(MC_usLireDouble, 0.0)}),
            (std::tuple{0xFE, -2, 0xFEDC, -300, 0xFEDCBA98u, -70000, -0.000123, 99999999999999.0}));
  uint16_t annee = 0, ulu[3];
  uint8_t mois = 0, jour = 0;
  char fixe[6], *vide = nullptr;
  ASSERT_EQ(std::vector<uint16_t>({MC_usLireDate(lu, &annee, &mois, &jour), MC_usLireChampFixe(lu, fixe, 6),
                                   MC_usLireChampUnicodeFixe(lu, ulu, 3), MC_usLireChaineVariable(lu, &vide)}),
            std::vector<uint16_t>(4, 0));
  EXPECT_EQ(annee * 10000 + mois * 100 + jour, 20240229);
  EXPECT_EQ(std::string(fixe, 6) + vide, "FIXE\0X"s);  // and the null string reads as ""
  EXPECT_EQ(memcmp(ulu, unicode, sizeof ulu), 0);
  MC_Liberer(vide);
  char *c = nullptr;
  EXPECT_EQ(MC_usLireChaineVariable(lu, &c), 0u);
  EXPECT_TRUE(c != nullptr && c == longue);
  MC_Liberer(c);
  // At the end a read fails and keeps the value.  Writes are refused, but a double is tried and fails.
  double d = 7;
  const uint16_t I = MC_ERR_INTERDIT;
  EXPECT_EQ(
      std::vector<uint16_t>({MC_usLireDouble(lu, &d), MC_usLireUnsignedChar(lu, &mois),
                             MC_usLireChampUnicodeFixe(lu, ulu, 1), MC_usEcrireUnsignedChar(lu, 1),
                             MC_usEcrireChaineVariable(lu, "a"), MC_usEcrireEnteteTable(lu, &a), MC_usEcrireTaille(lu),
                             MC_usEcrireDouble(lu, 1.5)}),
      std::vector<uint16_t>({MC_ERR_FIN_FICHIER, MC_ERR_FIN_FICHIER, MC_ERR_FIN_FICHIER, I, I, I, I, MC_ERR_FICHIER}));
  EXPECT_EQ(d, 7.0);
  Fermer(lu);
  // A name of more than 12 characters is cut, so the file never opens again; type 0 keeps "0000".
  Fermer(Creer("nom_trop_long", MC_CONTROLE_AUCUN));
  EXPECT_EQ(ReadFile(dir.file("nom_trop_long")), EnteteBrut("nom_trop_lon"));
  Fermer(Ouvrir("nom_trop_long", MC_CONTROLE_AUCUN, MC_ERR_NOM_FICHIER));
}

TEST_F(BinFile, NumbersArgumentsAndAllocationFailures) {
  TraceCapture trace({7});
  uint32_t ul = 0;
  uint16_t num = 0xBEEF;
  const uint16_t N = MC_ERR_NUMERO, F = MC_ERR_FICHIER, A = MC_ERR_ARGUMENT;
  EnteteFichierBinaire e = Entete("a", "");
  EXPECT_EQ(std::vector<uint16_t>({MC_usLireUnsignedLong(0, &ul), MC_usLireUnsignedLong(101, &ul),
                                   MC_usEcrireUnsignedLong(5, 1), MC_usLibererFichierBinaire(5, nullptr),
                                   MC_usPositionnerOffset(5, 0, 0), MC_usLongueurFichierBinaire(5, &ul),
                                   usTailleDonnneeFichierBinaire(0, &ul), usTailleDonnneeFichierBinaire(5, &ul),
                                   MC_usCreerFichierBinaire(rep(), "a", 0, &e, nullptr),
                                   MC_usInitialiserFichierBinaire(rep(), nullptr, 0, &num, &e),
                                   MC_usInitialiserFichierBinaire(rep(), "a", 0, &num, nullptr),
                                   MC_usInitialiserFichierBinaire(rep(), "absent", 0, &num, &e),
                                   MC_usCreerFichierBinaire((dir.path() + "/pas/la").c_str(), "a", 0, &e, &num)}),
            std::vector<uint16_t>({N, N, N, N, F, F, N, N, A, A, MC_ERR_NUMERO_NUL, F, F}));
  // Each allocation of the create in turn (the last is the full path): the number and slot come back.
  const uint32_t avant = ulMemAllouee;
  for (unsigned long k = 1; k <= 4; ++k) {
    mc::testing::FaireEchouerAllocation(k);
    num = 0xBEEF;
    EXPECT_EQ(MC_usCreerFichierBinaire(rep(), "a", 0, &e, &num), MC_ERR_ALLOCATION) << k;
    EXPECT_EQ(std::pair(num, fichiers[0]), std::pair(uint16_t{0}, static_cast<Fichier *>(nullptr)));
  }
  mc::testing::FaireEchouerAllocation(0);
  EXPECT_EQ(ulMemAllouee, avant);
  // 100 files at most; then the lowest free number is taken.
  for (int i = 0; i < 100; ++i) ASSERT_EQ(Creer(("f" + std::to_string(i)).c_str(), MC_CONTROLE_AUCUN), i + 1);
  num = 0xBEEF;
  EXPECT_EQ(MC_usCreerFichierBinaire(rep(), "x", 0, &e, &num), MC_ERR_PLUS_DE_FICHIER);
  EXPECT_EQ(std::pair(num, Ouvrir("f3", 0, MC_ERR_PLUS_DE_FICHIER)), std::pair(uint16_t{0}, uint16_t{0}));
  ASSERT_EQ(MC_usLibererFichierBinaire(37, nullptr) + MC_usLibererFichierBinaire(12, nullptr), 0u);
  EXPECT_EQ(Creer("y", MC_CONTROLE_AUCUN), 12u);
  for (uint16_t n = 1; n <= 100; ++n) EXPECT_EQ(usLibererFichier(n), n == 37 ? MC_ERR_NUMERO : 0u) << n;
  // Kept: the open reports under the name of the create, and a failed create says ERREUR twice.
  ContientTout(trace.Text(), {"ERREUR : MC_usCreerFichierBinaire : Probleme d'ouverture du fichier ",
                              "ERREUR : MC_usCreerFichierBinaire : ERREUR : Probleme d'ouverture du fichier "});
}

TEST_F(BinFile, TableSearchCrcFieldRawStretchHostileFilesAndVariableStrings) {
  EnteteTable t;
  const std::string huit = "01234567";
  uint16_t num = Ouvrir(
      "r.bin", MC_CONTROLE_CRC, 0,
      AvecCrc(EnteteBrut("r.bin") + TableBrute("UN", huit) + TableBrute("DEUX", huit) + TableBrute("TROIS", huit)));
  const uint32_t premiere = static_cast<uint32_t>(EnteteBrut("r.bin").size());
  TraceCapture trace({7});
  ASSERT_EQ(MC_usLireEnteteTable(num, &t), 0u);
  EXPECT_EQ(MC_usEcrireTaille(num), MC_ERR_INTERDIT);  // refused, but the stream goes to the end
  // Kept: the exit line of the read carries the writer's name, and so does the entry line of the size patch.
  ContientTout(trace.Text(), {"MC_usEcrireEnteteTable : Code retour = 0x0000\n}\n",
                              "{ MC_usEcrireEnteteTable : usNumFichierBinaire = 1\n  ERREUR : Le fichier n'est pas"});
  // The search starts where the stream stands, and from after the last table starts over from the first.
  ASSERT_EQ(MC_usRechercherTable(num, "TROIS", &t), 0u);
  EXPECT_EQ(Position(num), premiere + 2 * 33 + 25);
  ASSERT_EQ(MC_usPositionnerOffset(num, 8, 1), 0u);
  ASSERT_EQ(MC_usRechercherTable(num, "DEUX      ", &t), 0u);
  EXPECT_EQ(Position(num), premiere + 33 + 25);
  ASSERT_EQ(MC_usPositionnerOffset(num, 8, 1), 0u);
  EXPECT_EQ(MC_usRechercherTable(num, "QUATRE", &t), MC_ERR_NON_TROUVE);
  EXPECT_EQ(Position(num), premiere + 2 * 33);  // where the scan came back round
  EXPECT_EQ(MC_usRechercherTable(num, "deux", &t), MC_ERR_NON_TROUVE);
  Fermer(num);
  // Without CRC control the data end 128 bytes before the end of the file: a last table there is not found.
  const std::string y = AvecCrc(EnteteBrut("y.bin") + TableBrute("GRAND", std::string(60, 'g')) +
                                TableBrute("PETIT", std::string(60, 'p')));
  for (uint16_t type : {MC_CONTROLE_AUCUN, MC_CONTROLE_SIGNATURE + 1u, MC_CONTROLE_CRC}) {
    const uint16_t f = Ouvrir("y.bin", type, 0, y);
    uint32_t fin = 0;
    EXPECT_EQ(std::vector<unsigned>({usTailleDonnneeFichierBinaire(f, &fin), MC_usRechercherTable(f, "GRAND", &t),
                                     MC_usPositionnerOffset(f, 60, 1), MC_usRechercherTable(f, "PETIT", &t)}),
              std::vector<unsigned>({0, 0, 0, type == MC_CONTROLE_CRC ? 0u : MC_ERR_NON_TROUVE}))
        << type;
    EXPECT_EQ(fin + (type == MC_CONTROLE_CRC ? 0 : 128), y.size());
    Fermer(f);
  }
  const std::string h = EnteteBrut("h"), bon = AvecCrc(h + TableBrute("A", "abcdefgh") + TableBrute("B", "3"));
  const uint16_t vrai = CrcBitParBit(Entree(bon) + 4, bon.size() - 4);
  // Computing or reading the CRC, or a raw stretch (padded with zeros past the end), keeps the position.
  num = Ouvrir("h", MC_CONTROLE_CRC, 0, bon);
  ASSERT_EQ(MC_usPositionnerOffset(num, 77, 0), 0u);
  uint16_t crc = 0, lu = 0;
  uint32_t longueur = 0;
  unsigned char *buf = nullptr;
  EXPECT_EQ(std::vector<uint16_t>({usCalculerCRC16(num, &crc), usLireCRC(num, &lu), crc, lu,
                                   MC_usLireFichierBinaire(num, 4, static_cast<uint32_t>(bon.size()), &buf),
                                   MC_usLongueurFichierBinaire(num, &longueur)}),
            std::vector<uint16_t>({0, 0, vrai, vrai, 0, 0}));
  EXPECT_EQ(Octets(buf, bon.size()), bon.substr(4) + std::string(4, '\0'));
  MC_Liberer(buf);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usLireFichierBinaire(num, 0, 10, &buf), MC_ERR_ALLOCATION);
  EXPECT_EQ(buf, nullptr);
  EXPECT_EQ(std::pair(longueur, Position(num)), std::pair(static_cast<uint32_t>(bon.size()), 77u));
  Fermer(num);
  ASSERT_EQ(vrai, 0xEE2F);
  std::string change = bon, minuscules = bon;
  change.back() ^= 0x01;
  for (int i = 0; i < 4; ++i) minuscules[i] = static_cast<char>(tolower(bon[i]));
  // Content, control type, status of the open, then of MC_usLireEnteteTable (1: not tried).
  const uint16_t C = MC_CONTROLE_CRC, K = MC_ERR_CONTROLE, F = MC_ERR_FIN_FICHIER;
  const std::tuple<std::string, uint16_t, uint16_t, uint16_t> cas[] = {
      {h.substr(0, h.size() - 3), C, F, 1},                                  // no CR
      {EnteteBrut("h", std::string(201, 'c')), C, F, 1},                     // comment too long
      {h + TableBrute("T", "abc").substr(0, 20), C, K, F},                   // truncated table header
      {h + TableBrute("T", "abc", 1, 200, 200), C, K, F},                    // descriptors past the end
      {h + TableBrute("T", "abc").replace(10, 4, Mot(0xFFFFFFF0)), C, K, 0},  // size past the end
      {change, C, K, 0},                                                     // a changed data byte
      {change, MC_CONTROLE_AUCUN, 0, 0},
      {minuscules, C, 0, 0},  // a lower-case field matches
      // Not hexadecimal never matches, even when its arithmetic would: EE30 + 0xFFFF.
      {std::string(bon).replace(0, 4, "EE3G"), C, K, 0},
      {h, MC_CONTROLE_SIGNATURE, K, 1},  // no room for a signature
  };
  for (const auto &[contenu, type, ouverture, table] : cas) {
    num = Ouvrir("h", type, ouverture, contenu);
    EXPECT_EQ(table == 1 ? table : MC_usLireEnteteTable(num, &t), table) << Hex(contenu);
    Fermer(num);
  }
  // An empty comment: kept, the header is read one byte too far.
  EnteteFichierBinaire e;
  num = Ouvrir("e.bin", MC_CONTROLE_AUCUN, 0, EnteteBrut("e.bin", "") + TableBrute("T", "abc"), &e);
  EXPECT_EQ(std::pair(std::string(e.acCommentaire), Position(num)), std::pair(std::string(), 64u));
  Fermer(num);
  // Length code and data, status, and what the buffer holds: only what the file could hold.
  const std::tuple<std::string, uint16_t, std::string> chaines[] = {
      {std::string("\x85") + std::string(10, 'a'), MC_ERR_ARGUMENT, "(null)"},
      {std::string("\x84\xFF\xFF\xFF\xFF") + "abc", MC_ERR_FIN_FICHIER, ""},  // 4 GB announced
      {std::string("\x82\x01"), MC_ERR_FIN_FICHIER, "(null)"},                // code cut by the end
      {std::string("\x80") + std::string(128, 'q'), 0, std::string(128, 'q')},
      {"\x81\xFF"s + std::string(255, 'r'), 0, std::string(255, 'r')},
      {"\x82\x01\x00"s + std::string(256, 's'), 0, std::string(256, 's')},
  };
  for (const auto &[octets, statut, texte] : chaines) {
    num = Ouvrir("v", MC_CONTROLE_AUCUN, 0, EnteteBrut("v") + octets);
    char *chaine = reinterpret_cast<char *>(1);
    EXPECT_EQ(MC_usLireChaineVariable(num, &chaine), statut) << Hex(octets);
    EXPECT_EQ(chaine == nullptr ? "(null)" : std::string(chaine), texte) << Hex(octets);
    EXPECT_LT(malloc_usable_size(chaine), texte.size() + 64);
    MC_Liberer(chaine);
    Fermer(num);
  }
}

class BinfileSignature : public BinFile {
 protected:
  R_RSA_PRIVATE_KEY cle;
  // The signature tests need a library built with the demo key.
  void SetUp() override {
    ASSERT_EQ(MC_usLireClePrivee(kCle.c_str(), &cle), 0u);
    R_RSA_PUBLIC_KEY *publique = MC_LireClePublique();
    const bool demo = publique != nullptr && memcmp(publique->modulus, cle.modulus, 128) == 0;
    MC_Liberer(publique);
    if (!demo) GTEST_SKIP() << "library built with another MC_PUBLIC_KEY_PEM";
  }
  // A file of control type 2 with one table, closed with the given key file.
  uint16_t EcrireSigne(const char *nom, const std::string &fichierCle) {
    const uint16_t num = Creer(nom, MC_CONTROLE_SIGNATURE);
    EnteteTable t{"TGROUPE   ", 0, 2, 0, 0, 0, 0};
    EXPECT_EQ(std::vector<uint16_t>({MC_usEcrireEnteteTable(num, &t), MC_usEcrireUnsignedLong(num, 0x01020304),
                                     MC_usEcrireChaineVariable(num, "valeur")}),
              std::vector<uint16_t>(3, 0));
    return MC_usLibererFichierBinaire(num, fichierCle.c_str());
  }
  static std::string Corps(const char *nom) {
    return EnteteBrut(nom) + TableBrute("TGROUPE", Mot(0x01020304) + "\x06valeur", 2);
  }
};

TEST_F(BinfileSignature, KeysFailuresThenEveryChangedByteButTheCrcFieldIsRefused) {
  // "%d" skips leading white space, and the binary fields follow the digits at once.
  R_RSA_PRIVATE_KEY autre, vide{};
  WriteFile(dir.file("espaces.key"), " \n\t" + ReadFile(kCle));
  ASSERT_EQ(MC_usLireClePrivee(dir.file("espaces.key").c_str(), &autre), 0u);
  EXPECT_EQ(memcmp(&autre, &cle, sizeof cle), 0);
  EXPECT_EQ(std::vector<uint16_t>({MC_usLireClePrivee(dir.file("absente.key").c_str(), &autre),
                                   MC_usLireClePrivee(nullptr, &autre),
                                   MC_usLireClePrivee(dir.file("espaces.key").c_str(), nullptr)}),
            std::vector<uint16_t>({MC_ERR_FICHIER, MC_ERR_FICHIER, MC_ERR_ARGUMENT}));
  // A key that cannot sign, or no room for the signature: status 1.
  unsigned char sig[128];
  EXPECT_EQ(MC_usCalculerSignatureMessage(Entree("tables signees"s), 14, vide, sig), 1u);
  EXPECT_EQ(MC_usCalculerSignatureMessage(Entree("tables signees"s), 14, cle, nullptr), 1u);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_LireClePublique(), nullptr);
  // A missing key fails the close, which frees the number all the same and leaves no signature.
  EXPECT_EQ(EcrireSigne("m.bin", dir.file("absente.key")), MC_ERR_FICHIER);
  EXPECT_EQ(MC_usLibererFichierBinaire(1, nullptr), MC_ERR_NUMERO);
  EXPECT_EQ(ReadFile(dir.file("m.bin")), Corps("m.bin"));
  Fermer(Ouvrir("m.bin", MC_CONTROLE_SIGNATURE, MC_ERR_CONTROLE));
  // No memory for the key record: 0xF610; nor can a file open for reading take a signature.
  uint16_t num = Ouvrir("m.bin", MC_CONTROLE_AUCUN);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usVerifierSignatureFichier(num), MC_ERR_FICHIER);
  EXPECT_EQ(MC_usEcrireSignatureFichier(num, kCle.c_str()), MC_ERR_FICHIER);
  Fermer(num);
  EXPECT_EQ(MC_usVerifierSignatureFichier(num), MC_ERR_FICHIER);

  // Signed at the close: the signature is the one openssl makes of the bytes from offset 4 on.
  ASSERT_EQ(EcrireSigne("s.bin", kCle), 0u);
  const std::string signe = ReadFile(dir.file("s.bin")), corps = Corps("s.bin");
  ASSERT_EQ(signe.substr(0, corps.size()), corps);
  WriteFile(dir.file("corps"), corps.substr(4));
  ASSERT_EQ(std::system(("openssl dgst -md5 -sign " + kCles + "demo-private.pem -out " + dir.file("sig") + " < " +
                         dir.file("corps")).c_str()), 0);
  EXPECT_EQ(signe.substr(corps.size()), ReadFile(dir.file("sig")));
  // Every byte from offset 4 on is covered (a changed name fails the open before the signature is looked at).
  for (size_t i = 4; i < signe.size(); ++i) {
    std::string change = signe;
    change[i] ^= 0x01;
    SCOPED_TRACE(i);
    const bool nom = i >= 5 && i < 17;
    num = Ouvrir("s.bin", MC_CONTROLE_SIGNATURE, nom ? MC_ERR_NOM_FICHIER : MC_ERR_CONTROLE, change);
    EXPECT_EQ(nom ? MC_usVerifierSignatureFichier(num) : MC_ERR_SIG_DIFFERENTE, MC_ERR_SIG_DIFFERENTE);
    ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
    num = Ouvrir("s.bin", MC_CONTROLE_AUCUN, nom ? MC_ERR_NOM_FICHIER : 0);
    EXPECT_EQ(MC_usVerifierSignatureFichier(num), i < corps.size() ? MC_ERR_SIG_DIFFERENTE : MC_ERR_SIG_CLE_PUBLIQUE);
    ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
  }
  // The CRC field is not covered; opened, the file stands on the first table.
  num = Ouvrir("s.bin", MC_CONTROLE_SIGNATURE, 0, std::string(signe).replace(0, 4, "BEEF"));
  EXPECT_EQ(Position(num), EnteteBrut("s.bin").size());
  Fermer(num);
}

}  // namespace
