// Binary table files: format, writer, reader, CRC-16.
#include <gtest/gtest.h>
#include <malloc.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "binfile/crc16.h"
#include "binfile/packed_double.h"
#include "core/memory.h"
#include "support/mc_test.h"

using mc::test::ReadFile;
using mc::test::TempDir;
using mc::test::TraceCapture;
using mc::test::WriteFile;

namespace {

// The check as defined: a 24-bit register fed at bit 16, 8 shifts per byte.
uint16_t CrcBitParBit(const unsigned char *p, size_t n) {
  uint32_t r = 0;
  for (size_t i = 0; i < n; ++i) {
    r |= uint32_t{p[i]} << 16;
    for (int b = 0; b < 8; ++b) r = (r & 1) ? (r >> 1) ^ 0x8408 : r >> 1;
  }
  return static_cast<uint16_t>(((r >> 8) & 0xFF) | ((r << 8) & 0xFF00));
}

uint16_t CrcFichier(const std::string &contenu) {
  return CrcBitParBit(reinterpret_cast<const unsigned char *>(contenu.data()) + 4, contenu.size() - 4);
}

EnteteFichierBinaire Entete(const char *nom, const char *commentaire = "Tables de test") {
  EnteteFichierBinaire e;
  memset(&e, 0, sizeof e);
  strncpy(e.acNomFichier, nom, 12);
  memcpy(e.acVersion, "0104", 4);
  memcpy(e.acChampA, "ABCDE", 5);
  memcpy(e.acChampB, "20240131", 8);
  memcpy(e.acVersionLecteur, "0103", 4);
  memcpy(e.acChampC, "FGHIJ", 5);
  memcpy(e.acChampD, "KLMNOPQRST", 10);
  strcpy(e.acCommentaire, commentaire);
  return e;
}

EnteteTable Table(const char *nom, uint32_t nombre = 0) {
  EnteteTable t;
  memset(&t, 0, sizeof t);
  memset(t.acNomTable, ' ', 10);
  memcpy(t.acNomTable, nom, strlen(nom));
  t.ulNombre = nombre;
  return t;
}

// The header bytes that Entete(nom, commentaire) gives on disk, CRC field "0000".
std::string EnteteBrut(const std::string &nom, const std::string &commentaire = "Tables de test") {
  std::string n = nom.substr(0, 12);
  n.resize(12, ' ');
  return "0000 " + n + " 0104 ABCDE 20240131 0103 FGHIJ KLMNOPQRST " + commentaire + "\r\n\x1a";
}

std::string Mot(uint32_t v) {
  return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8), static_cast<char>(v)};
}

std::string TableBrute(const std::string &nom, const std::string &donnees, uint8_t d1 = 0, uint8_t d2 = 0) {
  std::string n = nom;
  n.resize(10, ' ');
  return n + Mot(static_cast<uint32_t>(donnees.size())) + Mot(1) + Mot(0) + std::string{char(d1), char(d2), 0} +
         donnees;
}

std::string Hex(const std::string &s) {
  std::string h;
  char b[4];
  for (unsigned char c : s) snprintf(b, sizeof b, "%02X ", c), h += b;
  return h;
}

class BinFile : public ::testing::Test {
 protected:
  TempDir dir;
  const char *rep() { return dir.path().c_str(); }

  uint16_t Creer(const char *nom, uint16_t type, const EnteteFichierBinaire &e) {
    uint16_t num = 0xBEEF;
    EXPECT_EQ(MC_usCreerFichierBinaire(rep(), nom, type, &e, &num), 0u);
    return num;
  }
  uint16_t Creer(const char *nom, uint16_t type = MC_CONTROLE_CRC) { return Creer(nom, type, Entete(nom)); }
  uint16_t Ouvrir(const char *nom, uint16_t type, uint16_t attendu = 0) {
    uint16_t num = 0xBEEF;
    EnteteFichierBinaire e;
    EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), nom, type, &num, &e), attendu) << nom;
    return num;
  }
  // Opens `nom` expecting `attendu`, then closes it; with `contenu`, writes it as the file first.
  void OuvrirFermer(const char *nom, uint16_t type, uint16_t attendu = 0, const std::string *contenu = nullptr) {
    if (contenu != nullptr) WriteFile(dir.file(nom), *contenu);
    EXPECT_EQ(MC_usLibererFichierBinaire(Ouvrir(nom, type, attendu), nullptr), 0u) << nom;
  }
  // Writes tables of the given names, each holding `octets` bytes of data.
  void TablesSimples(const char *nom, uint16_t type, std::initializer_list<const char *> tables,
                     uint32_t octets = 8) {
    const uint16_t num = Creer(nom, type);
    for (const char *t : tables) {
      EnteteTable et = Table(t, octets);
      ASSERT_EQ(MC_usEcrireEnteteTable(num, &et), 0u);
      for (uint32_t i = 0; i < octets; ++i) ASSERT_EQ(MC_usEcrireUnsignedChar(num, static_cast<uint8_t>(i)), 0u);
      ASSERT_EQ(MC_usEcrireTaille(num), 0u);
    }
    ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
  }
  uint32_t Position(uint16_t num) {
    uint32_t p = 0;
    EXPECT_EQ(MC_usLirePositionFichier(num, &p), 0u);
    return p;
  }
};

// ---------------------------------------------------------------- CRC-16

TEST(BinFileCrc, CheckValueEmptyRangeAndBitByBitOnRandomData) {
  const unsigned char chiffres[] = "123456789";
  EXPECT_EQ(mc::Crc16Resultat(mc::Crc16Continuer(0, chiffres, 9)), 0x7F50);
  EXPECT_EQ(CrcBitParBit(chiffres, 9), 0x7F50);
  EXPECT_EQ(mc::Crc16Resultat(mc::Crc16Continuer(0, chiffres, 0)), 0);

  std::mt19937 gen(1234);
  std::vector<unsigned char> data(70000 + 8);  // room for the unaligned starts
  for (auto &c : data) c = static_cast<unsigned char>(gen());
  std::vector<size_t> longueurs;
  for (size_t n = 0; n <= 300; ++n) longueurs.push_back(n);
  for (size_t n : {511u, 512u, 513u, 1023u, 1024u, 4097u, 65536u, 69999u}) longueurs.push_back(n);
  for (size_t n : longueurs) {
    const size_t decalage = n % 7;  // unaligned starts too
    const unsigned char *p = data.data() + decalage;
    const uint16_t attendu = CrcBitParBit(p, n);
    ASSERT_EQ(mc::Crc16Resultat(mc::Crc16Continuer(0, p, n)), attendu) << n;
    // Any split of the data gives the same register.
    const size_t coupe = n == 0 ? 0 : gen() % (n + 1);
    const uint16_t r = mc::Crc16Continuer(mc::Crc16Continuer(0, p, coupe), p + coupe, n - coupe);
    ASSERT_EQ(mc::Crc16Resultat(r), attendu) << n << " split at " << coupe;
  }
}

TEST(BinFileCrc, FoldingAndSlicingEnginesAgreeFromAnyState) {
  std::mt19937 gen(99);
  std::vector<unsigned char> data(5000);
  for (auto &c : data) c = static_cast<unsigned char>(gen());
  bool pclmul = true;
  for (size_t n = 0; n < data.size(); n += 1 + n / 8) {
    const uint16_t etat = static_cast<uint16_t>(gen());
    uint16_t s = etat;  // one byte at a time through the slicing tables
    for (size_t i = 0; i < n; ++i) s = mc::Crc16ReflechiTables(s, &data[i], 1);
    ASSERT_EQ(mc::Crc16ReflechiTables(etat, data.data(), n), s) << n;
    ASSERT_EQ(mc::Crc16Reflechi(etat, data.data(), n), s) << n;
    uint16_t plie = 0;
    if (mc::Crc16ReflechiPclmul(etat, data.data(), n, &plie)) {
      ASSERT_EQ(plie, s) << n;
    } else {
      pclmul = false;
    }
  }
  if (!pclmul) GTEST_SKIP() << "no carry-less multiplication on this processor";
}

TEST_F(BinFile, CrcOfAFileCoversOffsetFourToTheEndAndKeepsThePosition) {
  WriteFile(dir.file("c.bin"), EnteteBrut("c.bin") + TableBrute("T", std::string(3000, 'x')));
  const uint16_t num = Ouvrir("c.bin", MC_CONTROLE_AUCUN);
  ASSERT_EQ(MC_usPositionnerOffset(num, 77, 0), 0u);
  uint16_t crc = 0;
  ASSERT_EQ(usCalculerCRC16(num, &crc), 0u);
  EXPECT_EQ(crc, CrcFichier(ReadFile(dir.file("c.bin"))));
  EXPECT_EQ(Position(num), 77u);
  uint16_t lu = 1;
  ASSERT_EQ(usLireCRC(num, &lu), 0u);
  EXPECT_EQ(lu, 0u);
  EXPECT_EQ(Position(num), 77u);
  EXPECT_EQ(usConvertirHexa('7'), 7u);
  EXPECT_EQ(usConvertirHexa('b'), 11u);
  EXPECT_EQ(usConvertirHexa('F'), 15u);
  EXPECT_EQ(usConvertirHexa('G'), 0xFFFFu);
  EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
}

// ---------------------------------------------------------------- coding

TEST(BinFileCoding, PackedDoubles) {
  struct Cas {
    double v;
    const char *octets;
  } cas[] = {
      {123.456, "01 23 F4 56 00 00 00 00 "},
      {-2.5, "12 F5 00 00 00 00 00 00 "},
      {0.0, "00 F0 00 00 00 00 00 00 "},
      {0.5, "00 F5 00 00 00 00 00 00 "},
      {12345678901234.0, "01 23 45 67 89 01 23 4F "},
      {-98765432109876.0, "19 87 65 43 21 09 87 6F "},
      {0.000123, "00 F0 00 12 30 00 00 00 "},
      // Rounding carry: "10.0000000000000" has 16 characters, the last is dropped.
      {9.99999999999999, "01 0F 00 00 00 00 00 00 "},
  };
  for (const auto &c : cas) {
    unsigned char code[8];
    ASSERT_TRUE(mc::CoderDouble(c.v, code)) << c.v;
    EXPECT_EQ(Hex(std::string(reinterpret_cast<char *>(code), 8)), c.octets) << c.v;
  }
  for (double refuse : {1e14, -1e14, 123456789012345.0, 1e300, double{INFINITY}, double{NAN}}) {
    unsigned char code[8] = {0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
    EXPECT_FALSE(mc::CoderDouble(refuse, code)) << refuse;
    EXPECT_EQ(code[0], 0xAA);
  }
  // Bytes no writer makes: a high nibble above 1 is a minus sign too, and a
  // text that does not start with a number reads as 0.
  const unsigned char moins[8] = {0x72, 0xF5, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(mc::DecoderDouble(moins), -2.5);
  const unsigned char bizarre[8] = {0x0C, 0x12, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(mc::DecoderDouble(bizarre), 0.0);
  const unsigned char entier[8] = {0x01, 0x23, 0x45, 0x67, 0x89, 0x01, 0x23, 0x4F};
  EXPECT_EQ(mc::DecoderDouble(entier), 12345678901234.0);
}

TEST(BinFileCoding, LengthCodes) {
  struct Cas {
    uint32_t l;
    const char *octets;
  } cas[] = {{0, "00 "},
             {127, "7F "},
             {128, "81 80 "},
             {255, "81 FF "},
             {256, "82 01 00 "},
             {65535, "82 FF FF "},
             {65536, "83 01 00 00 "},
             {16777215, "83 FF FF FF "},
             {16777216, "84 01 00 00 00 "},
             {0xFFFFFFFF, "84 FF FF FF FF "}};
  for (const auto &c : cas) {
    unsigned char code[5];
    const uint32_t n = stCoderLongueur(c.l, code);
    EXPECT_EQ(Hex(std::string(reinterpret_cast<char *>(code), n)), c.octets) << c.l;
  }
  EXPECT_EQ(stCoderLongueur(5, nullptr), 0u);

  struct Decodage {
    std::string octets;
    uint32_t offset;
    uint16_t statut;
    uint32_t longueur, nombre;
  } decodages[] = {
      {"\x05", 0, 0, 5, 1},
      {"\x80", 0, 0, 128, 1},                       // lone 0x80 accepted
      {std::string("\x82\x01\x2C", 3), 0, 0, 300, 2},  // count excludes the first byte
      {std::string("\x81\x80", 2), 0, 0, 0xFFFFFF80u, 1},  // signed length byte subtracts
      {std::string("\x82\x01\xFF", 3), 0, 0, 255, 2},
      {std::string("\x00\x84\x01\x02\x03\x04", 6), 1, 0, 0x01020304, 4},
      {std::string("\x85\x00\x00\x00\x00\x00", 6), 0, MC_ERR_ARGUMENT, 0, 0},
      {std::string("\x82\x01", 2), 0, MC_ERR_ARGUMENT, 0, 0},  // runs off the buffer
      {"\x05", 1, MC_ERR_ARGUMENT, 0, 0},
  };
  for (const auto &d : decodages) {
    uint32_t longueur = 0, nombre = 0;
    const auto *p = reinterpret_cast<const unsigned char *>(d.octets.data());
    EXPECT_EQ(usDecoderLongueur(p, static_cast<uint32_t>(d.octets.size()), d.offset, &longueur, &nombre), d.statut)
        << Hex(d.octets);
    if (d.statut == 0) {
      EXPECT_EQ(longueur, d.longueur) << Hex(d.octets);
      EXPECT_EQ(nombre, d.nombre) << Hex(d.octets);
    }
  }
  uint32_t l, n;
  EXPECT_EQ(usDecoderLongueur(nullptr, 4, 0, &l, &n), MC_ERR_ARGUMENT);
}

// ---------------------------------------------------------------- writer

TEST_F(BinFile, HeaderTableHeaderSizePatchAndCrcOnDisk) {
  EnteteFichierBinaire e = Entete("t.bin", "Commentaire");
  const uint16_t num = Creer("t.bin", MC_CONTROLE_CRC, e);
  ASSERT_EQ(num, 1u);
  EnteteTable a = Table("TGROUPE", 3), b = Table("TVIDE", 9);
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &a), 0u);
  ASSERT_EQ(MC_usEcrireUnsignedLong(num, 0x01020304), 0u);
  ASSERT_EQ(MC_usEcrireUnsignedShort(num, 0x0506), 0u);
  ASSERT_EQ(MC_usEcrireTaille(num), 0u);
  EXPECT_EQ(lPositionTailleTable, 0);
  // A table header right after another leaves the first size at 0; the close
  // patches only the last one.
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &b), 0u);
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &a), 0u);
  ASSERT_EQ(MC_usEcrireChampFixe(num, "xyz", 3), 0u);
  ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);

  const std::string disque = ReadFile(dir.file("t.bin"));
  const std::string corps = EnteteBrut("t.bin", "Commentaire").substr(4) +
                            TableBrute("TGROUPE", "\x01\x02\x03\x04\x05\x06").replace(14, 4, Mot(3)) +
                            TableBrute("TVIDE", "").replace(14, 4, Mot(9)) +
                            TableBrute("TGROUPE", "xyz").replace(14, 4, Mot(3));
  char crc[5];
  snprintf(crc, sizeof crc, "%04X", CrcBitParBit(reinterpret_cast<const unsigned char *>(corps.data()), corps.size()));
  EXPECT_EQ(Hex(disque), Hex(crc + corps));

  // A name of more than 12 characters is cut; control type 0 keeps "0000".
  const uint16_t n2 = Creer("long.bin", MC_CONTROLE_AUCUN, Entete("nom_de_13_car"));
  ASSERT_EQ(MC_usLibererFichierBinaire(n2, nullptr), 0u);
  EXPECT_EQ(ReadFile(dir.file("long.bin")), EnteteBrut("nom_de_13_ca"));
}

TEST_F(BinFile, SizeWithoutTableAndWritesToAReadFile) {
  const uint16_t num = Creer("w.bin", MC_CONTROLE_AUCUN);
  ASSERT_EQ(MC_usPositionnerOffset(num, 10, 0), 0u);
  EXPECT_EQ(MC_usEcrireTaille(num), MC_ERR_INTERDIT);  // still moves to the end
  EXPECT_EQ(Position(num), EnteteBrut("w.bin").size());
  ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);

  const uint16_t lu = Ouvrir("w.bin", MC_CONTROLE_AUCUN);
  const uint16_t unicode[1] = {1};
  EXPECT_EQ(MC_usEcrireUnsignedChar(lu, 1), MC_ERR_INTERDIT);
  EXPECT_EQ(MC_usEcrireSignedChar(lu, 1), MC_ERR_INTERDIT);
  EXPECT_EQ(MC_usEcrireUnsignedShort(lu, 1), MC_ERR_INTERDIT);
  EXPECT_EQ(MC_usEcrireSignedShort(lu, 1), MC_ERR_INTERDIT);
  EXPECT_EQ(MC_usEcrireUnsignedLong(lu, 1), MC_ERR_INTERDIT);
  EXPECT_EQ(MC_usEcrireSignedLong(lu, 1), MC_ERR_INTERDIT);
  EXPECT_EQ(MC_usEcrireDate(lu, 2024, 1, 2), MC_ERR_INTERDIT);
  EXPECT_EQ(MC_usEcrireChampFixe(lu, "a", 1), MC_ERR_INTERDIT);
  EXPECT_EQ(MC_usEcrireChampUnicodeFixe(lu, unicode, 1), MC_ERR_INTERDIT);
  EXPECT_EQ(MC_usEcrireChaineVariable(lu, "a"), MC_ERR_INTERDIT);
  EnteteTable t = Table("T");
  EXPECT_EQ(MC_usEcrireEnteteTable(lu, &t), MC_ERR_INTERDIT);
  // The double has no mode check: it is attempted, and the read-only stream refuses it.
  EXPECT_EQ(MC_usEcrireDouble(lu, 1.5), MC_ERR_FICHIER);
  EXPECT_EQ(MC_usLibererFichierBinaire(lu, nullptr), 0u);
  EXPECT_EQ(ReadFile(dir.file("w.bin")), EnteteBrut("w.bin"));
}

TEST_F(BinFile, RefusedDoubleWritesNothingAndTableCountsStayExact) {
  const uint16_t num = Creer("d.bin", MC_CONTROLE_AUCUN);
  EnteteTable t = Table("D");
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &t), 0u);
  EXPECT_EQ(MC_usEcrireDouble(num, 1e14), MC_ERR_FICHIER);
  EXPECT_EQ(MC_usEcrireDouble(num, 99999999999999.0), 0u);
  EXPECT_EQ(fichiers[num - 1]->ulTaille, 8u);
  ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
  const std::string disque = ReadFile(dir.file("d.bin"));
  EXPECT_EQ(disque.size(), EnteteBrut("d.bin").size() + 25 + 8);
  EXPECT_EQ(disque.substr(EnteteBrut("d.bin").size() + 10, 4), Mot(8));
}

TEST_F(BinFile, HundredFilesThenRefusalAndLowestNumberReused) {
  TraceCapture trace({7});
  std::vector<uint16_t> nums;
  for (int i = 0; i < 100; ++i) {
    const std::string nom = "f" + std::to_string(i);
    nums.push_back(Creer(nom.c_str(), MC_CONTROLE_AUCUN));
    ASSERT_EQ(nums.back(), i + 1);
  }
  uint16_t num = 0xBEEF;
  EnteteFichierBinaire e = Entete("x");
  EXPECT_EQ(MC_usCreerFichierBinaire(rep(), "x", 0, &e, &num), MC_ERR_PLUS_DE_FICHIER);
  EXPECT_EQ(num, 0u);
  EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), "f3", 0, &num, &e), MC_ERR_PLUS_DE_FICHIER);
  EXPECT_EQ(num, 0u);
  ASSERT_EQ(MC_usLibererFichierBinaire(37, nullptr), 0u);
  ASSERT_EQ(MC_usLibererFichierBinaire(12, nullptr), 0u);
  EXPECT_EQ(Creer("y", MC_CONTROLE_AUCUN), 12u);
  const std::string texte = trace.Text();
  EXPECT_NE(texte.find("ERREUR : plus de fichier disponible.\n"), std::string::npos);
  EXPECT_NE(texte.find("numero de fichier =100\n\n"), std::string::npos);
  for (uint16_t n = 1; n <= 100; ++n)
    if (n != 37) {
      EXPECT_EQ(usLibererFichier(n), 0u) << n;
    }
}

TEST_F(BinFile, BadNumbersArgumentsAndAllocationFailures) {
  TraceCapture trace({7});
  uint32_t ul = 0;
  EXPECT_EQ(MC_usLireUnsignedLong(0, &ul), MC_ERR_NUMERO);
  EXPECT_EQ(MC_usLireUnsignedLong(101, &ul), MC_ERR_NUMERO);
  EXPECT_EQ(MC_usEcrireUnsignedLong(5, 1), MC_ERR_NUMERO);
  EXPECT_EQ(MC_usLibererFichierBinaire(5, nullptr), MC_ERR_NUMERO);
  EXPECT_EQ(MC_usPositionnerOffset(5, 0, 0), MC_ERR_FICHIER);
  EXPECT_EQ(MC_usLongueurFichierBinaire(5, &ul), MC_ERR_FICHIER);
  EXPECT_EQ(usTailleDonnneeFichierBinaire(0, &ul), MC_ERR_NUMERO);
  EXPECT_EQ(usTailleDonnneeFichierBinaire(5, &ul), MC_ERR_NUMERO);

  uint16_t num = 0xBEEF;
  EnteteFichierBinaire e = Entete("a");
  EXPECT_EQ(MC_usCreerFichierBinaire(nullptr, "a", 0, &e, &num), MC_ERR_ARGUMENT);
  EXPECT_EQ(num, 0u);
  EXPECT_EQ(MC_usCreerFichierBinaire(rep(), "a", 0, nullptr, &num), MC_ERR_ARGUMENT);
  EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), nullptr, 0, &num, &e), MC_ERR_ARGUMENT);
  EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), "a", 0, nullptr, &e), MC_ERR_NUMERO_NUL);
  EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), "a", 0, &num, nullptr), MC_ERR_NUMERO_NUL);
  EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), "absent", 0, &num, &e), MC_ERR_FICHIER);
  EXPECT_EQ(num, 0u);
  EXPECT_EQ(MC_usCreerFichierBinaire((dir.path() + "/pas/la").c_str(), "a", 0, &e, &num), MC_ERR_FICHIER);

  // Each allocation of the create in turn: the number and slot come back.
  const uint32_t avant = ulMemAllouee;
  for (unsigned long k = 1; k <= 3; ++k) {
    mc::testing::FaireEchouerAllocation(k);
    EXPECT_EQ(MC_usCreerFichierBinaire(rep(), "a", 0, &e, &num), MC_ERR_ALLOCATION) << k;
    EXPECT_EQ(num, 0u);
    EXPECT_EQ(fichiers[0], nullptr);
  }
  mc::testing::FaireEchouerAllocation(4);  // the full path
  EXPECT_EQ(MC_usCreerFichierBinaire(rep(), "a", 0, &e, &num), MC_ERR_ALLOCATION);
  mc::testing::FaireEchouerAllocation(0);
  EXPECT_EQ(fichiers[0], nullptr);
  EXPECT_EQ(ulMemAllouee, avant);

  const std::string texte = trace.Text();
  for (const char *ligne :
       {"ERREUR : usRechercherFichier : numero de fichier invalide\n",
        "ERREUR : usRechercherFichier : fichier non reserve\n",
        "ERREUR : usTailleDonnneeFichierBinaire : numero de fichier invalide\n",
        "ERREUR : usTailleDonnneeFichierBinaire : fichier non reserve\n",
        "ERREUR : MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul ou pointeur sur l'entete du "
        "fichier nul.\n",
        "ERREUR : MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul.\n",
        "ERREUR : MC_usCreerFichierBinaire : pointeur numero de fichier binaire ou pointeur entete du fichier nul.\n",
        "ERREUR : MC_usCreerFichierBinaire : Probleme d'ouverture du fichier ",
        "ERREUR : MC_usCreerFichierBinaire : ERREUR : Probleme d'ouverture du fichier ",
        "ERREUR : MC_usCreerFichierBinaire : ERREUR : probleme d'allocation memoire : psFichier->pcRepertoire ou "
        "psFichier->pcNomFichier\n"})
    EXPECT_NE(texte.find(ligne), std::string::npos) << ligne;
}

// ---------------------------------------------------------------- reader

TEST_F(BinFile, EveryValueKindRoundTrips) {
  const uint16_t num = Creer("v.bin");
  EnteteTable t = Table("VALEURS", 1);
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &t), 0u);
  const uint16_t unicode[3] = {0x00E9, 0x20AC, 0xFFFF};
  const std::vector<size_t> longueurs = {0, 1, 127, 128, 255, 256, 65535, 65536};
  const std::vector<double> doubles = {0, 0.5, -0.5, 123.456, -2.5, 12345678901234.0, -0.000123, 3.1415926535898};
  ASSERT_EQ(MC_usEcrireUnsignedChar(num, 0xFE), 0u);
  ASSERT_EQ(MC_usEcrireSignedChar(num, -2), 0u);
  ASSERT_EQ(MC_usEcrireUnsignedShort(num, 0xFEDC), 0u);
  ASSERT_EQ(MC_usEcrireSignedShort(num, -300), 0u);
  ASSERT_EQ(MC_usEcrireUnsignedLong(num, 0xFEDCBA98), 0u);
  ASSERT_EQ(MC_usEcrireSignedLong(num, -70000), 0u);
  for (double d : doubles) ASSERT_EQ(MC_usEcrireDouble(num, d), 0u);
  ASSERT_EQ(MC_usEcrireDate(num, 2024, 2, 29), 0u);
  ASSERT_EQ(MC_usEcrireChampFixe(num, "FIXE\0X", 6), 0u);
  ASSERT_EQ(MC_usEcrireChampUnicodeFixe(num, unicode, 3), 0u);
  for (size_t l : longueurs) ASSERT_EQ(MC_usEcrireChaineVariable(num, std::string(l, 'a' + l % 26).c_str()), 0u);
  ASSERT_EQ(MC_usEcrireChaineVariable(num, nullptr), 0u);
  ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);

  EnteteFichierBinaire e;
  uint16_t lu = 0;
  ASSERT_EQ(MC_usInitialiserFichierBinaire(rep(), "v.bin", MC_CONTROLE_CRC, &lu, &e), 0u);
  EXPECT_STREQ(e.acNomFichier, "v.bin");
  EXPECT_STREQ(e.acVersion, "0104");
  EXPECT_STREQ(e.acChampB, "20240131");
  EXPECT_STREQ(e.acVersionLecteur, "0103");
  EXPECT_STREQ(e.acChampD, "KLMNOPQRST");
  EXPECT_STREQ(e.acCommentaire, "Tables de test");
  EXPECT_EQ(Position(lu), EnteteBrut("v.bin").size());  // on the first table
  EnteteTable lt;
  ASSERT_EQ(MC_usLireEnteteTable(lu, &lt), 0u);
  EXPECT_STREQ(lt.acNomTable, "VALEURS");
  EXPECT_EQ(lt.ulNombre, 1u);
  EXPECT_EQ(lt.ulTaille, ReadFile(dir.file("v.bin")).size() - EnteteBrut("v.bin").size() - 25);
  uint8_t uc;
  int8_t c;
  uint16_t us;
  int16_t s;
  uint32_t ul;
  int32_t l;
  ASSERT_EQ(MC_usLireUnsignedChar(lu, &uc), 0u);
  EXPECT_EQ(uc, 0xFE);
  ASSERT_EQ(MC_usLireSignedChar(lu, &c), 0u);
  EXPECT_EQ(c, -2);
  ASSERT_EQ(MC_usLireUnsignedShort(lu, &us), 0u);
  EXPECT_EQ(us, 0xFEDC);
  ASSERT_EQ(MC_usLireSignedShort(lu, &s), 0u);
  EXPECT_EQ(s, -300);
  ASSERT_EQ(MC_usLireUnsignedLong(lu, &ul), 0u);
  EXPECT_EQ(ul, 0xFEDCBA98u);
  ASSERT_EQ(MC_usLireSignedLong(lu, &l), 0u);
  EXPECT_EQ(l, -70000);
  for (double d : doubles) {
    double v = 99;
    ASSERT_EQ(MC_usLireDouble(lu, &v), 0u);
    EXPECT_DOUBLE_EQ(v, d);
  }
  uint8_t mois = 0, jour = 0;
  ASSERT_EQ(MC_usLireDate(lu, &us, &mois, &jour), 0u);
  EXPECT_EQ(us, 2024);
  EXPECT_EQ(mois, 2);
  EXPECT_EQ(jour, 29);
  char fixe[6];
  ASSERT_EQ(MC_usLireChampFixe(lu, fixe, 6), 0u);
  EXPECT_EQ(std::string(fixe, 6), std::string("FIXE\0X", 6));
  uint16_t ulu[3];
  ASSERT_EQ(MC_usLireChampUnicodeFixe(lu, ulu, 3), 0u);
  EXPECT_EQ(memcmp(ulu, unicode, sizeof ulu), 0);
  for (size_t len : longueurs) {
    char *chaine = nullptr;
    ASSERT_EQ(MC_usLireChaineVariable(lu, &chaine), 0u);
    EXPECT_EQ(std::string(chaine), std::string(len, 'a' + len % 26));
    MC_Liberer(chaine);
  }
  char *vide = nullptr;
  ASSERT_EQ(MC_usLireChaineVariable(lu, &vide), 0u);
  EXPECT_STREQ(vide, "");
  MC_Liberer(vide);
  EXPECT_EQ(MC_usLireUnsignedChar(lu, &uc), MC_ERR_FIN_FICHIER);
  EXPECT_EQ(MC_usLibererFichierBinaire(lu, nullptr), 0u);
}

TEST_F(BinFile, ShortReadsConsumeWhatIsLeftAndTraceTheFixedFieldLine) {
  WriteFile(dir.file("s.bin"), EnteteBrut("s.bin") + "\x01\x02");
  const uint16_t num = Ouvrir("s.bin", MC_CONTROLE_CRC, MC_ERR_CONTROLE);
  const uint32_t fin = static_cast<uint32_t>(EnteteBrut("s.bin").size());
  ASSERT_EQ(Position(num), fin);
  uint32_t ul = 7;
  EXPECT_EQ(MC_usLireUnsignedLong(num, &ul), MC_ERR_FIN_FICHIER);
  EXPECT_EQ(ul, 7u);
  EXPECT_EQ(Position(num), fin + 2);
  int16_t s = 5;
  EXPECT_EQ(MC_usLireSignedShort(num, &s), MC_ERR_FIN_FICHIER);
  EXPECT_EQ(s, 5);
  ASSERT_EQ(MC_usPositionnerOffset(num, -2, 2), 0u);
  TraceCapture trace({7});
  char buf[10];
  EXPECT_EQ(MC_usLireChampFixe(num, buf, 10), MC_ERR_FIN_FICHIER);
  ASSERT_EQ(MC_usPositionnerOffset(num, -1, 2), 0u);
  uint16_t u[2];
  EXPECT_EQ(MC_usLireChampUnicodeFixe(num, u, 2), MC_ERR_FIN_FICHIER);
  const std::string texte = trace.Text();
  EXPECT_NE(texte.find("ERREUR : MC_usLireChampFixe : Fin de fichier lu 2 a liree 10 usCr 63040\n"),
            std::string::npos);
  EXPECT_NE(texte.find("ERREUR : MC_usLireChampUnicodeFixe : Fin de fichier lu 0 a liree 2 usCr 63040\n"),
            std::string::npos);
  EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
}

TEST_F(BinFile, OpenChecksNameAndCrc) {
  TablesSimples("ok.bin", MC_CONTROLE_CRC, {"A", "B"});
  const std::string bon = ReadFile(dir.file("ok.bin"));
  OuvrirFermer("ok.bin", MC_CONTROLE_CRC);

  // A copy under another name: intact, but refused.
  OuvrirFermer("copie.bin", MC_CONTROLE_CRC, MC_ERR_NOM_FICHIER, &bon);
  // One data byte changed; then the CRC field changed too.
  std::string change = bon;
  change[change.size() - 1] ^= 0x01;
  OuvrirFermer("ok.bin", MC_CONTROLE_CRC, MC_ERR_CONTROLE, &change);
  change.replace(0, 4, "ABCD");
  OuvrirFermer("ok.bin", MC_CONTROLE_CRC, MC_ERR_CONTROLE, &change);
  // The same file is accepted without control, and with a lower-case field.
  OuvrirFermer("ok.bin", MC_CONTROLE_AUCUN);
  std::string minuscules = bon;
  for (int i = 0; i < 4; ++i) minuscules[i] = static_cast<char>(tolower(minuscules[i]));
  OuvrirFermer("ok.bin", MC_CONTROLE_CRC, 0, &minuscules);
  // A field that is not hexadecimal never matches, even when its arithmetic would.
  const uint16_t vrai = CrcFichier(bon);
  char champ[5];
  snprintf(champ, sizeof champ, "%03X", (vrai + 1) >> 4);  // digits 1-3 of vrai + 1, then 0xFFFF adds -1
  std::string hors = bon;
  if (((vrai + 1) & 0xF) == 0) {
    hors.replace(0, 4, std::string(champ) + "G");
    OuvrirFermer("ok.bin", MC_CONTROLE_CRC, MC_ERR_CONTROLE, &hors);
  }
  hors.replace(0, 4, "00Z0");
  OuvrirFermer("ok.bin", MC_CONTROLE_CRC, MC_ERR_CONTROLE, &hors);
  // A name of more than 12 characters can never be opened again.
  TablesSimples("nom_trop_long", MC_CONTROLE_AUCUN, {"A"});
  OuvrirFermer("nom_trop_long", MC_CONTROLE_AUCUN, MC_ERR_NOM_FICHIER);
  // Too short to hold a signature trailer.
  WriteFile(dir.file("sig.bin"), EnteteBrut("sig.bin"));
  OuvrirFermer("sig.bin", MC_CONTROLE_SIGNATURE, MC_ERR_CONTROLE);
}

TEST_F(BinFile, TableSearchIsCircularAndStopsShortOfTheTrailer) {
  TablesSimples("r.bin", MC_CONTROLE_CRC, {"UN", "DEUX", "TROIS"});
  const uint16_t num = Ouvrir("r.bin", MC_CONTROLE_CRC);
  const uint32_t premiere = static_cast<uint32_t>(EnteteBrut("r.bin").size());
  // The search starts where the stream stands: callers read a table's data
  // before looking for the next one.
  const auto lireDonnees = [&] {
    uint8_t uc;
    for (int i = 0; i < 8; ++i) ASSERT_EQ(MC_usLireUnsignedChar(num, &uc), 0u);
  };
  EnteteTable t;
  ASSERT_EQ(MC_usRechercherTable(num, "TROIS", &t), 0u);
  EXPECT_STREQ(t.acNomTable, "TROIS");
  EXPECT_EQ(Position(num), premiere + 2 * 33 + 25);
  lireDonnees();
  // From after the last table, the search starts over from the first.
  ASSERT_EQ(MC_usRechercherTable(num, "DEUX      ", &t), 0u);
  EXPECT_EQ(Position(num), premiere + 33 + 25);
  lireDonnees();
  EXPECT_EQ(MC_usRechercherTable(num, "QUATRE", &t), MC_ERR_NON_TROUVE);
  EXPECT_EQ(Position(num), premiere + 2 * 33);  // where the scan came back round
  EXPECT_EQ(MC_usRechercherTable(num, "deux", &t), MC_ERR_NON_TROUVE);
  ASSERT_EQ(MC_usRechercherTable(num, "UN", &t), 0u);
  EXPECT_EQ(Position(num), premiere + 25);
  EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);

  // Type 0: the data end is 128 bytes before the end of the file, so a last
  // table lying there is not found, while the same layout under CRC is.
  TablesSimples("z.bin", MC_CONTROLE_AUCUN, {"GRAND", "PETIT"}, 200);
  const uint16_t z = Ouvrir("z.bin", MC_CONTROLE_AUCUN);
  uint32_t fin = 0;
  ASSERT_EQ(usTailleDonnneeFichierBinaire(z, &fin), 0u);
  EXPECT_EQ(fin, ReadFile(dir.file("z.bin")).size() - 128);
  EXPECT_EQ(MC_usRechercherTable(z, "PETIT", &t), 0u);
  EXPECT_EQ(MC_usLibererFichierBinaire(z, nullptr), 0u);
  for (uint16_t type : {MC_CONTROLE_AUCUN, MC_CONTROLE_SIGNATURE + 1u, MC_CONTROLE_CRC}) {
    TablesSimples("y.bin", type == MC_CONTROLE_CRC ? MC_CONTROLE_CRC : MC_CONTROLE_AUCUN, {"GRAND", "PETIT"}, 60);
    const uint16_t y = Ouvrir("y.bin", type);
    EXPECT_EQ(MC_usRechercherTable(y, "PETIT", &t), type == MC_CONTROLE_CRC ? 0u : MC_ERR_NON_TROUVE) << type;
    ASSERT_EQ(MC_usPositionnerOffset(y, static_cast<int32_t>(EnteteBrut("y.bin").size()), 0), 0u);
    EXPECT_EQ(MC_usRechercherTable(y, "GRAND", &t), 0u);
    EXPECT_EQ(MC_usLibererFichierBinaire(y, nullptr), 0u);
  }
}

TEST_F(BinFile, TableHeaderTracesTheWriterNameOnExit) {
  TablesSimples("h.bin", MC_CONTROLE_AUCUN, {"T"});
  const uint16_t num = Ouvrir("h.bin", MC_CONTROLE_AUCUN);
  TraceCapture trace({7});
  EnteteTable t;
  ASSERT_EQ(MC_usLireEnteteTable(num, &t), 0u);
  EXPECT_EQ(MC_usEcrireTaille(num), MC_ERR_INTERDIT);
  const std::string texte = trace.Text();
  EXPECT_NE(texte.find("{ MC_usLireEnteteTable : usNumFichierBinaire = 1\n"), std::string::npos);
  EXPECT_NE(texte.find("MC_usEcrireEnteteTable : Code retour = 0x0000\n}\n"), std::string::npos);
  EXPECT_NE(texte.find("{ MC_usEcrireEnteteTable : usNumFichierBinaire = 1\n"), std::string::npos);
  EXPECT_NE(texte.find("ERREUR : Le fichier n'est pas en ecriture\n"), std::string::npos);
  EXPECT_NE(texte.find("MC_usEcrireTaille : Code retour = 0xf811\n"), std::string::npos);
  EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
}

TEST_F(BinFile, EmptyCommentIsReadOneByteOff) {
  TablesSimples("e.bin", MC_CONTROLE_AUCUN, {"T"});
  std::string disque = ReadFile(dir.file("e.bin"));
  disque.erase(60, strlen("Tables de test"));
  WriteFile(dir.file("e.bin"), disque);
  EnteteFichierBinaire e;
  uint16_t num = 0;
  ASSERT_EQ(MC_usInitialiserFichierBinaire(rep(), "e.bin", MC_CONTROLE_AUCUN, &num, &e), 0u);
  EXPECT_STREQ(e.acCommentaire, "");
  EXPECT_EQ(Position(num), 64u);  // the second byte of the first table
  EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
}

TEST_F(BinFile, HostileFilesGiveTheirStatusAndStayClosable) {
  struct Cas {
    const char *nom;
    std::string contenu;
    uint16_t ouverture;
    uint16_t table;  // MC_usLireEnteteTable after the open, when it succeeded
  };
  const std::string h = EnteteBrut("h");
  const std::string cas_long = "0000 " + std::string("h           ") + " 0104 ABCDE 20240131 0103 FGHIJ KLMNOPQRST " +
                               std::string(201, 'c') + "\r\n\x1a";
  const Cas cas[] = {
      {"vide", "", MC_ERR_FIN_FICHIER, 0},
      {"h", h.substr(0, 30), MC_ERR_FIN_FICHIER, 0},                    // truncated header
      {"h", h.substr(0, h.size() - 3), MC_ERR_FIN_FICHIER, 0},          // no CR
      {"h", cas_long, MC_ERR_FIN_FICHIER, 0},                           // comment longer than the record
      {"h", h + TableBrute("T", "abc").substr(0, 20), 0, MC_ERR_FIN_FICHIER},   // truncated table header
      {"h", h + TableBrute("T", "abc", 200, 200), 0, MC_ERR_FIN_FICHIER},       // descriptors past the end
      {"h", h + TableBrute("T", "abc", 0, 0).replace(10, 4, Mot(0xFFFFFFF0)), 0, 0},
  };
  for (const auto &c : cas) {
    WriteFile(dir.file(c.nom), c.contenu);
    const uint16_t num = Ouvrir(c.nom, MC_CONTROLE_CRC, c.ouverture == 0 ? MC_ERR_CONTROLE : c.ouverture);
    ASSERT_NE(num, 0u);
    if (c.ouverture == 0) {
      EnteteTable t;
      EXPECT_EQ(MC_usLireEnteteTable(num, &t), c.table) << Hex(c.contenu);
    }
    EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
  }
  // A table whose size points past the end of the file stops the search.
  WriteFile(dir.file("h"), h + TableBrute("T", "abc").replace(10, 4, Mot(0xFFFFFFF0)) + std::string(200, 0));
  uint16_t num = Ouvrir("h", MC_CONTROLE_AUCUN);
  EnteteTable t;
  EXPECT_EQ(MC_usRechercherTable(num, "AUTRE", &t), MC_ERR_FIN_FICHIER);
  EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
}

TEST_F(BinFile, HostileVariableStrings) {
  TraceCapture trace({7});
  struct Cas {
    std::string octets;
    uint16_t statut;
    const char *texte;  // what the buffer holds, null when none is handed over
  } cas[] = {
      {std::string("\x85") + std::string(10, 'a'), MC_ERR_ARGUMENT, nullptr},
      {"\xFF", MC_ERR_ARGUMENT, nullptr},
      {std::string("\x84\xFF\xFF\xFF\xFF") + "abc", MC_ERR_FIN_FICHIER, ""},  // 4 GB announced
      {std::string("\x83\x10\x00\x00") + "abc", MC_ERR_FIN_FICHIER, ""},
      {std::string("\x82\x01"), MC_ERR_FIN_FICHIER, nullptr},  // code cut by the end
      {std::string("\x80") + std::string(128, 'q'), 0, nullptr},
      {"\x05" "ab", MC_ERR_FIN_FICHIER, ""},
  };
  for (const auto &c : cas) {
    WriteFile(dir.file("v"), EnteteBrut("v") + c.octets);
    const uint16_t num = Ouvrir("v", MC_CONTROLE_AUCUN);
    char *chaine = reinterpret_cast<char *>(1);
    const uint32_t avant = ulMemAllouee;
    EXPECT_EQ(MC_usLireChaineVariable(num, &chaine), c.statut) << Hex(c.octets);
    if (c.statut == 0) {
      EXPECT_EQ(std::string(chaine), std::string(128, 'q'));
    } else if (c.texte == nullptr) {
      EXPECT_EQ(chaine, nullptr);
    } else {
      ASSERT_NE(chaine, nullptr);
      EXPECT_STREQ(chaine, c.texte);
      EXPECT_LT(malloc_usable_size(chaine), 64u);  // only what the file could hold
      EXPECT_GT(ulMemAllouee, avant);
    }
    MC_Liberer(chaine);
    EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
  }
  const std::string texte = trace.Text();
  EXPECT_NE(texte.find("ERREUR : MC_usLireChaineVariable : Nombre d'octets pour coder la longueur (5) > 4.\n"),
            std::string::npos);
  EXPECT_NE(texte.find("ERREUR : MC_usLireChampFixe : Fin de fichier lu 3 a liree -1 usCr 63040\n"),
            std::string::npos);
}

TEST_F(BinFile, RawStretchLeavesThePositionAndPadsPastTheEnd) {
  TablesSimples("b.bin", MC_CONTROLE_AUCUN, {"T"});
  const std::string disque = ReadFile(dir.file("b.bin"));
  const uint16_t num = Ouvrir("b.bin", MC_CONTROLE_AUCUN);
  const uint32_t ici = Position(num);
  unsigned char *buf = nullptr;
  ASSERT_EQ(MC_usLireFichierBinaire(num, 4, static_cast<uint32_t>(disque.size()), &buf), 0u);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(buf), disque.size() - 4), disque.substr(4));
  EXPECT_EQ(std::string(reinterpret_cast<char *>(buf) + disque.size() - 4, 4), std::string(4, '\0'));
  MC_Liberer(buf);
  EXPECT_EQ(Position(num), ici);
  uint32_t longueur = 0;
  ASSERT_EQ(MC_usLongueurFichierBinaire(num, &longueur), 0u);
  EXPECT_EQ(longueur, disque.size());
  mc::testing::FaireEchouerAllocation(1);
  buf = reinterpret_cast<unsigned char *>(1);
  EXPECT_EQ(MC_usLireFichierBinaire(num, 0, 10, &buf), MC_ERR_ALLOCATION);
  EXPECT_EQ(buf, nullptr);
  EXPECT_EQ(Position(num), ici);
  EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
}

}  // namespace

// Signatures: the message operations against the openssl command line, the
// key sources, and control type 2 through the close and the open.  The
// fixtures above serve these tests too.
namespace {

const std::string kCles = std::string(MC_SOURCE_DIR) + "/keys/";

std::string Octets(const unsigned char *p, size_t n) { return std::string(reinterpret_cast<const char *>(p), n); }
const unsigned char *Entree(const std::string &s) { return reinterpret_cast<const unsigned char *>(s.data()); }

// The signature that the openssl command line makes of `message`.
std::string SignatureOpenssl(const TempDir &dir, const std::string &message) {
  WriteFile(dir.file("msg"), message);
  const std::string commande = "openssl dgst -md5 -sign " + kCles + "demo-private.pem -out " + dir.file("sig") + " " +
                               dir.file("msg");
  EXPECT_EQ(std::system(commande.c_str()), 0);
  return ReadFile(dir.file("sig"));
}

bool VerifieParOpenssl(const TempDir &dir, const std::string &message, const std::string &signature) {
  WriteFile(dir.file("msg"), message);
  WriteFile(dir.file("sig"), signature);
  const std::string commande = "openssl dgst -md5 -verify " + kCles + "demo-public.pem -signature " +
                               dir.file("sig") + " " + dir.file("msg") + " >/dev/null";
  return std::system(commande.c_str()) == 0;
}

R_RSA_PRIVATE_KEY CleDemo() {
  R_RSA_PRIVATE_KEY cle;
  EXPECT_EQ(MC_usLireClePrivee((kCles + "demo-private.key").c_str(), &cle), 0u);
  return cle;
}

// The file tests sign with the demo key: they need a library built with it.
bool CleIntegreeEstDemo() {
  R_RSA_PRIVATE_KEY privee = CleDemo();
  R_RSA_PUBLIC_KEY *publique = MC_LireClePublique();
  const bool demo = publique != nullptr && memcmp(publique->modulus, privee.modulus, 128) == 0 &&
                    memcmp(publique->exponent, privee.publicExponent, 128) == 0;
  MC_Liberer(publique);
  return demo;
}

#define EXIGER_CLE_DEMO() \
  if (!CleIntegreeEstDemo()) GTEST_SKIP() << "library built with another MC_PUBLIC_KEY_PEM"

// block^d mod n with the demo private key: a "signature" of any block.
std::string EleverExposantPrive(const std::string &bloc) {
  FILE *f = fopen((kCles + "demo-private.pem").c_str(), "rb");
  if (f == nullptr) {
    ADD_FAILURE() << "no demo-private.pem";
    return {};
  }
  EVP_PKEY *cle = PEM_read_PrivateKey(f, nullptr, nullptr, nullptr);
  fclose(f);
  EVP_PKEY_CTX *ctx = EVP_PKEY_CTX_new(cle, nullptr);
  unsigned char sortie[128];
  size_t n = sizeof sortie;
  const bool ok = EVP_PKEY_sign_init(ctx) == 1 && EVP_PKEY_CTX_set_rsa_padding(ctx, RSA_NO_PADDING) == 1 &&
                  EVP_PKEY_sign(ctx, sortie, &n, Entree(bloc), bloc.size()) == 1;
  EVP_PKEY_CTX_free(ctx);
  EVP_PKEY_free(cle);
  EXPECT_TRUE(ok && n == 128);
  return Octets(sortie, 128);
}

std::string Md5(const std::string &message) {
  unsigned char d[16];
  unsigned int n = 0;
  EVP_Digest(message.data(), message.size(), d, &n, EVP_md5(), nullptr);
  return Octets(d, 16);
}

const std::string kInfoMd5("\x30\x20\x30\x0c\x06\x08\x2a\x86\x48\x86\xf7\x0d\x02\x05\x05\x00\x04\x10", 18);

// 00, type, padding, 00, content: 128 bytes when the lengths add up.
std::string Bloc(char type, const std::string &bourrage, const std::string &contenu) {
  return std::string(1, '\0') + type + bourrage + std::string(1, '\0') + contenu;
}

TEST(BinfileSignatureMessage, SameBytesAsTheOpensslCommandLineBothWays) {
  EXIGER_CLE_DEMO();
  TempDir dir;
  R_RSA_PUBLIC_KEY *publique = MC_LireClePublique();
  ASSERT_NE(publique, nullptr);
  for (const std::string &message : {std::string(), std::string("0000 tables\r\n\x1a", 15), std::string(5000, 'x')}) {
    unsigned char sig[128];
    ASSERT_EQ(MC_usCalculerSignatureMessage(Entree(message),
                                            static_cast<uint32_t>(message.size()), CleDemo(), sig),
              0u);
    EXPECT_EQ(Octets(sig, 128), SignatureOpenssl(dir, message)) << message.size();
    EXPECT_TRUE(VerifieParOpenssl(dir, message, Octets(sig, 128)));
    const std::string autre = SignatureOpenssl(dir, message + "!");
    EXPECT_EQ(MC_usVerifierSignatureMessage(Entree(message + "!"),
                                            static_cast<uint32_t>(message.size() + 1), *publique,
                                            Entree(autre)),
              0u);
  }
  // A key that cannot sign: no signature, status 1.
  R_RSA_PRIVATE_KEY vide;
  memset(&vide, 0, sizeof vide);
  unsigned char sig[128];
  EXPECT_EQ(MC_usCalculerSignatureMessage(nullptr, 0, vide, sig), 1u);
  EXPECT_EQ(MC_usCalculerSignatureMessage(nullptr, 0, CleDemo(), nullptr), 1u);
  MC_Liberer(publique);
}

// With exponent 3 a verifier that does not check the whole block is
// forgeable: every malformed block, raised to d, must be refused.
TEST(BinfileSignatureMessage, EveryMalformedBlockIsRefused) {
  EXIGER_CLE_DEMO();
  const std::string message = "tables signees";
  const std::string info = kInfoMd5 + Md5(message);
  const std::string ff(128 - 3 - 34, '\xff');
  std::string infoMd2 = info;
  infoMd2[13] = 0x02;
  const std::string infoSha1 = std::string("\x30\x21\x30\x09\x06\x05\x2b\x0e\x03\x02\x1a\x05\x00\x04\x14", 15) +
                               std::string(4, '\0') + Md5(message);
  ASSERT_EQ(infoSha1.size(), 35u);
  const std::string sansNull = std::string("\x30\x1e\x30\x0a\x06\x08\x2a\x86\x48\x86\xf7\x0d\x02\x05\x04\x10", 16) +
                               Md5(message);
  std::string remplissageTrou = Bloc(1, ff, info);
  remplissageTrou[40] = '\x7f';
  std::string premierOctet = Bloc(1, ff, info);
  premierOctet[0] = 1;
  struct Cas {
    const char *nom;
    std::string bloc;
    uint16_t attendu;
  } cas[] = {
      {"well formed", Bloc(1, ff, info), 0},
      {"block type 02", Bloc(2, ff, info), 0x040A},
      {"block type 00", Bloc(0, ff, info), 0x040A},
      {"first byte not 00", premierOctet, 0x040A},
      {"non-FF byte in the padding", remplissageTrou, 0x040A},
      {"7 bytes of padding", Bloc(1, std::string(7, '\xff'), info + std::string(84, '\0')), 0x040A},
      {"no separator", std::string("\x00\x01", 2) + std::string(92, '\xff') + info, 0x040A},
      {"garbage after the digest", Bloc(1, std::string(87, '\xff'), info + "ABCD"), 0x040B},
      {"MD2 DigestInfo", Bloc(1, ff, infoMd2), 0x040B},
      {"SHA-1 DigestInfo", Bloc(1, std::string(90, '\xff'), infoSha1), 0x040B},
      {"no NULL parameters", Bloc(1, std::string(93, '\xff'), sansNull), 0x040B},
      {"another digest", Bloc(1, ff, kInfoMd5 + Md5("autre")), 0x040B},
  };
  R_RSA_PUBLIC_KEY *publique = MC_LireClePublique();
  ASSERT_NE(publique, nullptr);
  for (const Cas &c : cas) {
    ASSERT_EQ(c.bloc.size(), 128u) << c.nom;
    const std::string sig = EleverExposantPrive(c.bloc);
    EXPECT_EQ(MC_usVerifierSignatureMessage(Entree(message),
                                            static_cast<uint32_t>(message.size()), *publique,
                                            Entree(sig)),
              c.attendu)
        << c.nom;
  }
  // A number that is not below the modulus.
  const std::string grand(128, '\xff');
  EXPECT_EQ(MC_usVerifierSignatureMessage(Entree(message),
                                          static_cast<uint32_t>(message.size()), *publique,
                                          Entree(grand)),
            0x040Au);
  MC_Liberer(publique);
}

TEST(BinfileSignatureKeys, KeyFileAndBuiltInKey) {
  TempDir dir;
  R_RSA_PRIVATE_KEY cle = CleDemo();
  const std::string brut = ReadFile(kCles + "demo-private.key");
  ASSERT_EQ(brut.size(), 4u + 704u);
  EXPECT_EQ(cle.bits, 1024u);
  EXPECT_EQ(Octets(cle.modulus, 128), brut.substr(4, 128));
  EXPECT_EQ(Octets(cle.coefficient, 64), brut.substr(4 + 640, 64));
  EXPECT_EQ(cle.publicExponent[127], 3);
  // "%d" skips leading white space, and the binary fields follow the digits at once.
  WriteFile(dir.file("espaces.key"), " \n\t" + brut);
  R_RSA_PRIVATE_KEY autre;
  ASSERT_EQ(MC_usLireClePrivee(dir.file("espaces.key").c_str(), &autre), 0u);
  EXPECT_EQ(memcmp(&autre, &cle, sizeof cle), 0);
  EXPECT_EQ(MC_usLireClePrivee(dir.file("absente.key").c_str(), &autre), MC_ERR_FICHIER);
  EXPECT_EQ(MC_usLireClePrivee(nullptr, &autre), MC_ERR_FICHIER);
  EXPECT_EQ(MC_usLireClePrivee(dir.file("espaces.key").c_str(), nullptr), MC_ERR_ARGUMENT);

  R_RSA_PUBLIC_KEY *publique = MC_LireClePublique();
  ASSERT_NE(publique, nullptr);
  EXPECT_EQ(publique->bits, 1024u);
  EXPECT_GE(publique->modulus[0], 0x80);
  MC_Liberer(publique);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_LireClePublique(), nullptr);
}

class BinfileSignatureFile : public BinFile {
 protected:
  // A file of control type 2 with one table, closed with the given key file.
  uint16_t EcrireSigne(const char *nom, const std::string &cle) {
    const uint16_t num = Creer(nom, MC_CONTROLE_SIGNATURE);
    EnteteTable t = Table("TGROUPE", 2);
    EXPECT_EQ(MC_usEcrireEnteteTable(num, &t), 0u);
    EXPECT_EQ(MC_usEcrireUnsignedLong(num, 0x01020304), 0u);
    EXPECT_EQ(MC_usEcrireChaineVariable(num, "valeur"), 0u);
    return MC_usLibererFichierBinaire(num, cle.c_str());
  }
  static std::string Corps(const char *nom) {
    return EnteteBrut(nom) + TableBrute("TGROUPE", Mot(0x01020304) + "\x06valeur").replace(14, 4, Mot(2));
  }
};

TEST_F(BinfileSignatureFile, SignedAtCloseThenEveryChangedByteButTheCrcFieldIsRefused) {
  EXIGER_CLE_DEMO();
  ASSERT_EQ(EcrireSigne("s.bin", kCles + "demo-private.key"), 0u);
  const std::string signe = ReadFile(dir.file("s.bin"));
  const std::string corps = signe.substr(0, signe.size() - 128);
  EXPECT_EQ(corps, Corps("s.bin"));
  EXPECT_EQ(signe.substr(corps.size()), SignatureOpenssl(dir, corps.substr(4)));

  // Opened, it stands on the first table.
  const uint16_t num = Ouvrir("s.bin", MC_CONTROLE_SIGNATURE);
  EnteteTable t;
  EXPECT_EQ(MC_usLireEnteteTable(num, &t), 0u);
  EXPECT_EQ(std::string(t.acNomTable, 7), "TGROUPE");
  EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);

  // Every byte from offset 4 on is covered: a changed message byte fails the
  // digest comparison, a changed signature byte the block decoding.  A
  // changed name fails the open before the signature is looked at.
  for (size_t i = 4; i < signe.size(); ++i) {
    std::string change = signe;
    change[i] ^= 0x01;
    WriteFile(dir.file("s.bin"), change);
    SCOPED_TRACE(i);
    const bool nom = i >= 5 && i < 17;
    uint16_t n = Ouvrir("s.bin", MC_CONTROLE_SIGNATURE, nom ? MC_ERR_NOM_FICHIER : MC_ERR_CONTROLE);
    if (nom) {
      EXPECT_EQ(MC_usVerifierSignatureFichier(n), MC_ERR_SIG_DIFFERENTE) << i;
    }
    ASSERT_EQ(MC_usLibererFichierBinaire(n, nullptr), 0u);
    n = Ouvrir("s.bin", MC_CONTROLE_AUCUN, nom ? MC_ERR_NOM_FICHIER : 0);
    EXPECT_EQ(MC_usVerifierSignatureFichier(n), i < corps.size() ? MC_ERR_SIG_DIFFERENTE : MC_ERR_SIG_CLE_PUBLIQUE)
        << i;
    ASSERT_EQ(MC_usLibererFichierBinaire(n, nullptr), 0u);
  }
  std::string crc = signe;
  crc.replace(0, 4, "BEEF");
  OuvrirFermer("s.bin", MC_CONTROLE_SIGNATURE, 0, &crc);
}

TEST_F(BinfileSignatureFile, SigningTwiceAppendsASignatureOverTheFirst) {
  EXIGER_CLE_DEMO();
  const std::string cle = kCles + "demo-private.key";
  const uint16_t num = Creer("d.bin", MC_CONTROLE_SIGNATURE);
  EnteteTable t = Table("T", 1);
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &t), 0u);
  ASSERT_EQ(MC_usEcrireChampFixe(num, "abc", 3), 0u);
  ASSERT_EQ(MC_usEcrireTaille(num), 0u);
  ASSERT_EQ(MC_usEcrireSignatureFichier(num, cle.c_str()), 0u);
  ASSERT_EQ(MC_usLibererFichierBinaire(num, cle.c_str()), 0u);
  const std::string disque = ReadFile(dir.file("d.bin"));
  const std::string corps = EnteteBrut("d.bin") + TableBrute("T", "abc").replace(14, 4, Mot(1));
  ASSERT_EQ(disque.size(), corps.size() + 256);
  EXPECT_EQ(disque.substr(corps.size(), 128), SignatureOpenssl(dir, corps.substr(4)));
  EXPECT_EQ(disque.substr(corps.size() + 128), SignatureOpenssl(dir, disque.substr(4, corps.size() + 124)));
  OuvrirFermer("d.bin", MC_CONTROLE_SIGNATURE);
}

TEST_F(BinfileSignatureFile, MissingKeyFailuresAndTraces) {
  EXIGER_CLE_DEMO();
  {
    TraceCapture trace({7});
    EXPECT_EQ(EcrireSigne("m.bin", dir.file("absente.key")), MC_ERR_FICHIER);
    const std::string texte = trace.Text();
    EXPECT_NE(texte.find("{ MC_usEcrireSignatureFichier : NumFichier = 1\n"), std::string::npos) << texte;
    EXPECT_NE(texte.find("    ERREUR : Probleme lors de la lecture de la cle privee\n"
                         "    MC_usEcrireSignatureFichier : Code retour = 0xf610\n  }\n"),
              std::string::npos)
        << texte;
  }
  // Closed all the same, and with no signature: the number is free again.
  EXPECT_EQ(MC_usLibererFichierBinaire(1, nullptr), MC_ERR_NUMERO);
  EXPECT_EQ(ReadFile(dir.file("m.bin")), Corps("m.bin"));
  EXPECT_EQ(EcrireSigne("n.bin", ""), MC_ERR_FICHIER);
  OuvrirFermer("m.bin", MC_CONTROLE_SIGNATURE, MC_ERR_CONTROLE);

  // A good signature of other bytes is refused, with its own trace lines.
  ASSERT_EQ(EcrireSigne("s.bin", kCles + "demo-private.key"), 0u);
  std::string autre = ReadFile(dir.file("s.bin"));
  autre.replace(autre.size() - 128, 128, SignatureOpenssl(dir, autre.substr(4, autre.size() - 132) + "x"));
  WriteFile(dir.file("s.bin"), autre);
  {
    TraceCapture trace({7});
    OuvrirFermer("s.bin", MC_CONTROLE_SIGNATURE, MC_ERR_CONTROLE);
    const std::string texte = trace.Text();
    EXPECT_NE(texte.find("{ MC_usVerifierSignatureFichier : NumFichier = 1\n"), std::string::npos) << texte;
    EXPECT_NE(texte.find("    MC_usVerifierSignatureFichier : Code retour = 0x040b\n  }\n"
                         "  ERREUR : signature du fichier invalide\n"),
              std::string::npos)
        << texte;
  }
  // No memory for the key record: 0xF610.
  const uint16_t num = Ouvrir("s.bin", MC_CONTROLE_AUCUN);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usVerifierSignatureFichier(num), MC_ERR_FICHIER);
  // A file open for reading cannot take a signature.
  EXPECT_EQ(MC_usEcrireSignatureFichier(num, (kCles + "demo-private.key").c_str()), MC_ERR_FICHIER);
  EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
  EXPECT_EQ(MC_usVerifierSignatureFichier(num), MC_ERR_FICHIER);
}

}  // namespace

namespace {

// Random damage to a valid file: whatever the reader meets, it returns a
// status, takes no more memory than the file could justify, and the file
// closes cleanly.
TEST_F(BinFile, DamagedFilesNeverCrashOrLeak) {
  const uint16_t w = Creer("m.bin");
  for (const char *nom : {"A", "B"}) {
    EnteteTable t = Table(nom, 2);
    ASSERT_EQ(MC_usEcrireEnteteTable(w, &t), 0u);
    ASSERT_EQ(MC_usEcrireChaineVariable(w, std::string(300, 'v').c_str()), 0u);
    ASSERT_EQ(MC_usEcrireDouble(w, -1234.5678), 0u);
    ASSERT_EQ(MC_usEcrireUnsignedLong(w, 42), 0u);
    ASSERT_EQ(MC_usEcrireDate(w, 2024, 12, 31), 0u);
    ASSERT_EQ(MC_usEcrireTaille(w), 0u);
  }
  ASSERT_EQ(MC_usLibererFichierBinaire(w, nullptr), 0u);
  const std::string bon = ReadFile(dir.file("m.bin"));
  std::mt19937 gen(2024);
  const uint32_t avant = ulMemAllouee;
  for (int essai = 0; essai < 400; ++essai) {
    std::string abime = bon;
    if (essai % 5 == 0) {
      abime.resize(gen() % bon.size());
    } else {
      for (int k = 1 + gen() % 4; k > 0; --k) abime[gen() % abime.size()] = static_cast<char>(gen());
    }
    WriteFile(dir.file("m.bin"), abime);
    uint16_t num = 0;
    EnteteFichierBinaire e;
    MC_usInitialiserFichierBinaire(rep(), "m.bin", static_cast<uint16_t>(essai % 2), &num, &e);
    if (num == 0) continue;
    EnteteTable t;
    MC_usRechercherTable(num, essai % 3 ? "B" : "A", &t);
    for (int tour = 0; tour < 2; ++tour) {
      char *chaine = nullptr;
      MC_usLireChaineVariable(num, &chaine);
      if (chaine != nullptr) {
        EXPECT_LT(malloc_usable_size(chaine), bon.size() + 64);
      }
      MC_Liberer(chaine);
      double d;
      uint32_t ul;
      uint16_t us;
      uint8_t m, j;
      MC_usLireDouble(num, &d);
      MC_usLireUnsignedLong(num, &ul);
      MC_usLireDate(num, &us, &m, &j);
      MC_usLireEnteteTable(num, &t);
    }
    ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u) << essai;
  }
  EXPECT_EQ(ulMemAllouee, avant);
}

}  // namespace
