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

using mc::test::ReadFile;
using mc::test::TempDir;
using mc::test::TraceCapture;
using mc::test::WriteFile;

namespace {

const std::string kCles = std::string(MC_SOURCE_DIR) + "/keys/";

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
uint16_t CrcFichier(const std::string &contenu) { return CrcBitParBit(Entree(contenu) + 4, contenu.size() - 4); }

EnteteFichierBinaire Entete(const char *nom, const char *commentaire = "Tables de test") {
  EnteteFichierBinaire e;
  memset(&e, 0, sizeof e);
  strncpy(e.acNomFichier, nom, 12);
  const std::pair<char *, const char *> champs[] = {
      {e.acVersion, "0104"}, {e.acChampA, "ABCDE"},      {e.acChampB, "20240131"},      {e.acVersionLecteur, "0103"},
      {e.acChampC, "FGHIJ"}, {e.acChampD, "KLMNOPQRST"}, {e.acCommentaire, commentaire}};
  for (const auto &[champ, texte] : champs) memcpy(champ, texte, strlen(texte));
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

// A table header (size, record count, descriptor counts) and its data, as on disk.
std::string TableBrute(const std::string &nom, const std::string &donnees, uint32_t nombre = 1, uint8_t d1 = 0,
                       uint8_t d2 = 0) {
  std::string n = nom;
  n.resize(10, ' ');
  return n + Mot(static_cast<uint32_t>(donnees.size())) + Mot(nombre) + Mot(0) + std::string{char(d1), char(d2), 0} +
         donnees;
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

// A typed read that must succeed; the sentinel shows a value left unwritten.
template <class T>
T Lu(uint16_t (*lire)(uint16_t, T *), uint16_t num) {
  T v = static_cast<T>(99);
  EXPECT_EQ(lire(num, &v), 0u);
  return v;
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
  uint16_t Ouvrir(const char *nom, uint16_t type, uint16_t attendu = 0, EnteteFichierBinaire *e = nullptr) {
    uint16_t num = 0xBEEF;
    EnteteFichierBinaire local;
    EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), nom, type, &num, e != nullptr ? e : &local), attendu) << nom;
    return num;
  }
  void Fermer(uint16_t num) { EXPECT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u) << num; }
  // Opens `nom` expecting `attendu`, then closes it; with `contenu`, writes it as the file first.
  void OuvrirFermer(const char *nom, uint16_t type, uint16_t attendu = 0, const std::string *contenu = nullptr) {
    if (contenu != nullptr) WriteFile(dir.file(nom), *contenu);
    Fermer(Ouvrir(nom, type, attendu));
  }
  // Writes tables of the given names, each holding `octets` bytes of data.
  void TablesSimples(const char *nom, uint16_t type, std::initializer_list<const char *> tables, uint32_t octets = 8) {
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

// ---------------------------------------------------------------- CRC-16 and coding

TEST(BinFileCrc, CheckValueEmptyRangeSplitsAndBitByBitOnRandomData) {
  const unsigned char chiffres[] = "123456789";
  EXPECT_EQ(mc::Crc16Resultat(mc::Crc16Continuer(0, chiffres, 9)), 0x7F50);
  EXPECT_EQ(CrcBitParBit(chiffres, 9), 0x7F50);
  EXPECT_EQ(mc::Crc16Resultat(mc::Crc16Continuer(0, chiffres, 0)), 0);
  std::mt19937 gen(1234);
  std::vector<unsigned char> data(70000 + 8);  // room for the unaligned starts
  for (auto &c : data) c = static_cast<unsigned char>(gen());
  std::vector<size_t> longueurs = {511, 512, 513, 1023, 1024, 4097, 65536, 69999};
  for (size_t n = 0; n <= 300; ++n) longueurs.push_back(n);
  for (size_t n : longueurs) {
    const unsigned char *p = data.data() + n % 7;  // unaligned starts too
    const uint16_t attendu = CrcBitParBit(p, n);
    ASSERT_EQ(mc::Crc16Resultat(mc::Crc16Continuer(0, p, n)), attendu) << n;
    // Any split of the data gives the same register.
    const size_t coupe = gen() % (n + 1);
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
    uint16_t s = etat, plie = 0;  // s: one byte at a time through the slicing tables
    for (size_t i = 0; i < n; ++i) s = mc::Crc16ReflechiTables(s, &data[i], 1);
    ASSERT_EQ(mc::Crc16ReflechiTables(etat, data.data(), n), s) << n;
    ASSERT_EQ(mc::Crc16Reflechi(etat, data.data(), n), s) << n;
    pclmul = pclmul && mc::Crc16ReflechiPclmul(etat, data.data(), n, &plie);
    ASSERT_TRUE(!pclmul || plie == s) << n;
  }
  if (!pclmul) GTEST_SKIP() << "no carry-less multiplication on this processor";
}

TEST(BinFileCoding, PackedDoubles) {
  // The last carries when rounded: "10.0000000000000" has 16 characters, the last is dropped.
  std::string codes;
  for (double v : {123.456, -2.5, 0.0, 0.5, 12345678901234.0, -98765432109876.0, 0.000123, 9.99999999999999}) {
    unsigned char code[8];
    EXPECT_TRUE(mc::CoderDouble(v, code)) << v;
    codes += Hex(Octets(code, 8)) + "| ";
  }
  EXPECT_EQ(codes,
            "01 23 F4 56 00 00 00 00 | 12 F5 00 00 00 00 00 00 | 00 F0 00 00 00 00 00 00 | 00 F5 00 00 00 00 00 00 | "
            "01 23 45 67 89 01 23 4F | 19 87 65 43 21 09 87 6F | 00 F0 00 12 30 00 00 00 | 01 0F 00 00 00 00 00 00 | ");
  for (double refuse : {1e14, -1e14, 123456789012345.0, 1e300, double{INFINITY}, double{NAN}}) {
    unsigned char code[8] = {0xAA};
    EXPECT_FALSE(mc::CoderDouble(refuse, code)) << refuse;
    EXPECT_EQ(code[0], 0xAA);
  }
  // Bytes no writer makes: a high nibble above 1 is a minus sign too, and a
  // text that does not start with a number reads as 0.
  const unsigned char moins[8] = {0x72, 0xF5}, bizarre[8] = {0x0C, 0x12},
                      entier[8] = {0x01, 0x23, 0x45, 0x67, 0x89, 0x01, 0x23, 0x4F};
  EXPECT_EQ(mc::DecoderDouble(moins), -2.5);
  EXPECT_EQ(mc::DecoderDouble(bizarre), 0.0);
  EXPECT_EQ(mc::DecoderDouble(entier), 12345678901234.0);
}

TEST(BinFileCoding, LengthCodes) {
  std::string codes;
  for (uint32_t l : {0u, 127u, 128u, 255u, 256u, 65535u, 65536u, 16777215u, 16777216u, 0xFFFFFFFFu}) {
    unsigned char code[5];
    codes += Hex(Octets(code, stCoderLongueur(l, code))) + "| ";
  }
  EXPECT_EQ(codes,
            "00 | 7F | 81 80 | 81 FF | 82 01 00 | 82 FF FF | 83 01 00 00 | 83 FF FF FF | 84 01 00 00 00 | "
            "84 FF FF FF FF | ");
  EXPECT_EQ(stCoderLongueur(5, nullptr), 0u);

  // Bytes, offset, then the status, the length and the count of length bytes.
  const std::tuple<std::string, uint32_t, uint16_t, uint32_t, uint32_t> decodages[] = {
      {"\x05", 0, 0, 5, 1},
      {"\x80", 0, 0, 128, 1},                              // lone 0x80 accepted
      {std::string("\x82\x01\x2C", 3), 0, 0, 300, 2},      // count excludes the first byte
      {std::string("\x81\x80", 2), 0, 0, 0xFFFFFF80u, 1},  // signed length byte subtracts
      {std::string("\x82\x01\xFF", 3), 0, 0, 255, 2},
      {std::string("\x00\x84\x01\x02\x03\x04", 6), 1, 0, 0x01020304, 4},
      {std::string("\x85\x00\x00\x00\x00\x00", 6), 0, MC_ERR_ARGUMENT, 0, 0},
      {std::string("\x82\x01", 2), 0, MC_ERR_ARGUMENT, 0, 0},  // runs off the buffer
      {"\x05", 1, MC_ERR_ARGUMENT, 0, 0},
  };
  for (const auto &[octets, offset, statut, longueur, nombre] : decodages) {
    uint32_t l = 0, n = 0;
    EXPECT_EQ(usDecoderLongueur(Entree(octets), static_cast<uint32_t>(octets.size()), offset, &l, &n), statut)
        << Hex(octets);
    EXPECT_EQ(std::pair(l, n), std::pair(longueur, nombre)) << Hex(octets);
  }
  uint32_t l, n;
  EXPECT_EQ(usDecoderLongueur(nullptr, 4, 0, &l, &n), MC_ERR_ARGUMENT);
}

// ---------------------------------------------------------------- writer

TEST_F(BinFile, BytesOnDiskSizePatchCrcAndRefusals) {
  const uint16_t num = Creer("t.bin", MC_CONTROLE_CRC, Entete("t.bin", "Commentaire"));
  ASSERT_EQ(MC_usPositionnerOffset(num, 10, 0), 0u);
  EXPECT_EQ(MC_usEcrireTaille(num), MC_ERR_INTERDIT);  // no table yet: still moves to the end
  EXPECT_EQ(Position(num), EnteteBrut("t.bin", "Commentaire").size());
  EnteteTable a = Table("TGROUPE", 3), b = Table("TVIDE", 9);
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &a), 0u);
  ASSERT_EQ(MC_usEcrireUnsignedLong(num, 0x01020304), 0u);
  ASSERT_EQ(MC_usEcrireUnsignedShort(num, 0x0506), 0u);
  EXPECT_EQ(MC_usEcrireDouble(num, 1e14), MC_ERR_FICHIER);  // writes and counts nothing
  ASSERT_EQ(MC_usEcrireDouble(num, 99999999999999.0), 0u);
  ASSERT_EQ(MC_usEcrireTaille(num), 0u);
  // A table header right after another leaves the first size at 0; the close
  // patches only the last one.
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &b), 0u);
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &a), 0u);
  ASSERT_EQ(MC_usEcrireChampFixe(num, "xyz", 3), 0u);
  ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);
  const std::string corps = EnteteBrut("t.bin", "Commentaire").substr(4) +
                            TableBrute("TGROUPE", "\x01\x02\x03\x04\x05\x06\x09\x99\x99\x99\x99\x99\x99\x9F", 3) +
                            TableBrute("TVIDE", "", 9) + TableBrute("TGROUPE", "xyz", 3);
  char crc[5];
  snprintf(crc, sizeof crc, "%04X", CrcBitParBit(Entree(corps), corps.size()));
  const std::string disque = ReadFile(dir.file("t.bin"));
  EXPECT_EQ(Hex(disque), Hex(crc + corps));

  // Every write but the double checks the mode; the double is attempted, and
  // the read-only stream refuses it.
  const uint16_t lu = Ouvrir("t.bin", MC_CONTROLE_AUCUN);
  const uint16_t unicode[1] = {1};
  EXPECT_EQ(std::vector<uint16_t>({MC_usEcrireUnsignedChar(lu, 1), MC_usEcrireSignedChar(lu, 1),
                                   MC_usEcrireUnsignedShort(lu, 1), MC_usEcrireSignedShort(lu, 1),
                                   MC_usEcrireUnsignedLong(lu, 1), MC_usEcrireSignedLong(lu, 1),
                                   MC_usEcrireDate(lu, 2024, 1, 2), MC_usEcrireChampFixe(lu, "a", 1),
                                   MC_usEcrireChampUnicodeFixe(lu, unicode, 1), MC_usEcrireChaineVariable(lu, "a"),
                                   MC_usEcrireEnteteTable(lu, &a)}),
            std::vector<uint16_t>(11, MC_ERR_INTERDIT));
  EXPECT_EQ(MC_usEcrireDouble(lu, 1.5), MC_ERR_FICHIER);
  Fermer(lu);
  EXPECT_EQ(ReadFile(dir.file("t.bin")), disque);

  // A name of more than 12 characters is cut; control type 0 keeps "0000".
  Fermer(Creer("long.bin", MC_CONTROLE_AUCUN, Entete("nom_de_13_car")));
  EXPECT_EQ(ReadFile(dir.file("long.bin")), EnteteBrut("nom_de_13_ca"));
}

TEST_F(BinFile, HundredFilesThenRefusalAndLowestNumberReused) {
  TraceCapture trace({7});
  for (int i = 0; i < 100; ++i) ASSERT_EQ(Creer(("f" + std::to_string(i)).c_str(), MC_CONTROLE_AUCUN), i + 1);
  uint16_t num = 0xBEEF;
  EnteteFichierBinaire e = Entete("x");
  EXPECT_EQ(MC_usCreerFichierBinaire(rep(), "x", 0, &e, &num), MC_ERR_PLUS_DE_FICHIER);
  EXPECT_EQ(num, 0u);
  EXPECT_EQ(Ouvrir("f3", 0, MC_ERR_PLUS_DE_FICHIER), 0u);
  ASSERT_EQ(MC_usLibererFichierBinaire(37, nullptr), 0u);
  ASSERT_EQ(MC_usLibererFichierBinaire(12, nullptr), 0u);
  EXPECT_EQ(Creer("y", MC_CONTROLE_AUCUN), 12u);
  ContientTout(trace.Text(), {"ERREUR : plus de fichier disponible.\n", "numero de fichier =100\n\n"});
  for (uint16_t n = 1; n <= 100; ++n) EXPECT_EQ(usLibererFichier(n), n == 37 ? MC_ERR_NUMERO : 0u) << n;
}

TEST_F(BinFile, BadNumbersArgumentsAndAllocationFailures) {
  TraceCapture trace({7});
  uint32_t ul = 0;
  const uint16_t N = MC_ERR_NUMERO, F = MC_ERR_FICHIER;
  EXPECT_EQ(std::vector<uint16_t>({MC_usLireUnsignedLong(0, &ul), MC_usLireUnsignedLong(101, &ul),
                                   MC_usEcrireUnsignedLong(5, 1), MC_usLibererFichierBinaire(5, nullptr),
                                   MC_usPositionnerOffset(5, 0, 0), MC_usLongueurFichierBinaire(5, &ul),
                                   usTailleDonnneeFichierBinaire(0, &ul), usTailleDonnneeFichierBinaire(5, &ul)}),
            std::vector<uint16_t>({N, N, N, N, F, F, N, N}));

  uint16_t num = 0xBEEF;
  EnteteFichierBinaire e = Entete("a");
  EXPECT_EQ(MC_usCreerFichierBinaire(nullptr, "a", 0, &e, &num), MC_ERR_ARGUMENT);
  EXPECT_EQ(num, 0u);
  EXPECT_EQ(MC_usCreerFichierBinaire(rep(), "a", 0, nullptr, &num), MC_ERR_ARGUMENT);
  EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), nullptr, 0, &num, &e), MC_ERR_ARGUMENT);
  EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), "a", 0, nullptr, &e), MC_ERR_NUMERO_NUL);
  EXPECT_EQ(MC_usInitialiserFichierBinaire(rep(), "a", 0, &num, nullptr), MC_ERR_NUMERO_NUL);
  EXPECT_EQ(Ouvrir("absent", 0, MC_ERR_FICHIER), 0u);
  EXPECT_EQ(MC_usCreerFichierBinaire((dir.path() + "/pas/la").c_str(), "a", 0, &e, &num), MC_ERR_FICHIER);
  // Each allocation of the create in turn (the last is the full path): the
  // number and slot come back.
  const uint32_t avant = ulMemAllouee;
  for (unsigned long k = 1; k <= 4; ++k) {
    mc::testing::FaireEchouerAllocation(k);
    num = 0xBEEF;
    EXPECT_EQ(MC_usCreerFichierBinaire(rep(), "a", 0, &e, &num), MC_ERR_ALLOCATION) << k;
    EXPECT_EQ(num, 0u);
    EXPECT_EQ(fichiers[0], nullptr);
  }
  mc::testing::FaireEchouerAllocation(0);
  EXPECT_EQ(ulMemAllouee, avant);
  ContientTout(trace.Text(),
               {"ERREUR : usRechercherFichier : numero de fichier invalide\n",
                "ERREUR : usRechercherFichier : fichier non reserve\n",
                "ERREUR : usTailleDonnneeFichierBinaire : numero de fichier invalide\n",
                "ERREUR : usTailleDonnneeFichierBinaire : fichier non reserve\n",
                "ERREUR : MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul ou pointeur sur l'entete "
                "du fichier nul.\n",
                "ERREUR : MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul.\n",
                "ERREUR : MC_usCreerFichierBinaire : pointeur numero de fichier binaire ou pointeur entete du fichier "
                "nul.\n",
                "ERREUR : MC_usCreerFichierBinaire : Probleme d'ouverture du fichier ",
                "ERREUR : MC_usCreerFichierBinaire : ERREUR : Probleme d'ouverture du fichier ",
                "ERREUR : MC_usCreerFichierBinaire : ERREUR : probleme d'allocation memoire : psFichier->pcRepertoire "
                "ou psFichier->pcNomFichier\n"});
}

// ---------------------------------------------------------------- reader

TEST_F(BinFile, EveryValueKindRoundTrips) {
  const uint16_t num = Creer("v.bin");
  EnteteTable t = Table("VALEURS", 1);
  ASSERT_EQ(MC_usEcrireEnteteTable(num, &t), 0u);
  const uint16_t unicode[3] = {0x00E9, 0x20AC, 0xFFFF};
  const std::vector<size_t> longueurs = {0, 1, 127, 128, 255, 256, 65535, 65536};
  const std::vector<double> doubles = {0, 0.5, -0.5, 123.456, -2.5, 12345678901234.0, -0.000123, 3.1415926535898};
  for (uint16_t s : {MC_usEcrireUnsignedChar(num, 0xFE), MC_usEcrireSignedChar(num, -2),
                     MC_usEcrireUnsignedShort(num, 0xFEDC), MC_usEcrireSignedShort(num, -300),
                     MC_usEcrireUnsignedLong(num, 0xFEDCBA98), MC_usEcrireSignedLong(num, -70000)})
    ASSERT_EQ(s, 0u);
  for (double d : doubles) ASSERT_EQ(MC_usEcrireDouble(num, d), 0u);
  ASSERT_EQ(MC_usEcrireDate(num, 2024, 2, 29), 0u);
  ASSERT_EQ(MC_usEcrireChampFixe(num, "FIXE\0X", 6), 0u);
  ASSERT_EQ(MC_usEcrireChampUnicodeFixe(num, unicode, 3), 0u);
  for (size_t l : longueurs) ASSERT_EQ(MC_usEcrireChaineVariable(num, std::string(l, 'a' + l % 26).c_str()), 0u);
  ASSERT_EQ(MC_usEcrireChaineVariable(num, nullptr), 0u);
  ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u);

  EnteteFichierBinaire e;
  const uint16_t lu = Ouvrir("v.bin", MC_CONTROLE_CRC, 0, &e);
  EXPECT_EQ(std::string(e.acNomFichier) + "|" + e.acVersion + "|" + e.acChampA + "|" + e.acChampB + "|" +
                e.acVersionLecteur + "|" + e.acChampC + "|" + e.acChampD + "|" + e.acCommentaire,
            "v.bin|0104|ABCDE|20240131|0103|FGHIJ|KLMNOPQRST|Tables de test");
  EXPECT_EQ(Position(lu), EnteteBrut("v.bin").size());  // on the first table
  EnteteTable lt;
  ASSERT_EQ(MC_usLireEnteteTable(lu, &lt), 0u);
  EXPECT_EQ(std::tuple(std::string(lt.acNomTable), lt.ulNombre, lt.ulTaille),
            std::tuple("VALEURS", 1u, ReadFile(dir.file("v.bin")).size() - EnteteBrut("v.bin").size() - 25));
  EXPECT_EQ(Lu(MC_usLireUnsignedChar, lu), 0xFE);
  EXPECT_EQ(Lu(MC_usLireSignedChar, lu), -2);
  EXPECT_EQ(Lu(MC_usLireUnsignedShort, lu), 0xFEDC);
  EXPECT_EQ(Lu(MC_usLireSignedShort, lu), -300);
  EXPECT_EQ(Lu(MC_usLireUnsignedLong, lu), 0xFEDCBA98u);
  EXPECT_EQ(Lu(MC_usLireSignedLong, lu), -70000);
  for (double d : doubles) EXPECT_DOUBLE_EQ(Lu(MC_usLireDouble, lu), d);
  uint16_t annee = 0, ulu[3];
  uint8_t mois = 0, jour = 0;
  char fixe[6];
  ASSERT_EQ(MC_usLireDate(lu, &annee, &mois, &jour), 0u);
  EXPECT_EQ(annee * 10000 + mois * 100 + jour, 20240229);
  ASSERT_EQ(MC_usLireChampFixe(lu, fixe, 6), 0u);
  EXPECT_EQ(std::string(fixe, 6), std::string("FIXE\0X", 6));
  ASSERT_EQ(MC_usLireChampUnicodeFixe(lu, ulu, 3), 0u);
  EXPECT_EQ(memcmp(ulu, unicode, sizeof ulu), 0);
  const auto chaine = [&] {
    char *c = nullptr;
    EXPECT_EQ(MC_usLireChaineVariable(lu, &c), 0u);
    const std::string s = c == nullptr ? "(null)" : c;
    MC_Liberer(c);
    return s;
  };
  for (size_t l : longueurs) EXPECT_EQ(chaine(), std::string(l, 'a' + l % 26)) << l;
  EXPECT_EQ(chaine(), "");  // the null string
  uint8_t uc;
  EXPECT_EQ(MC_usLireUnsignedChar(lu, &uc), MC_ERR_FIN_FICHIER);
  Fermer(lu);
}

TEST_F(BinFile, CrcRawStretchAndTheChecksOfTheOpen) {
  TablesSimples("ok.bin", MC_CONTROLE_CRC, {"A", "B"});
  const std::string bon = ReadFile(dir.file("ok.bin"));
  const uint16_t vrai = CrcFichier(bon);
  // The CRC covers offset 4 to the end, and computing or reading it keeps the position.
  const uint16_t num = Ouvrir("ok.bin", MC_CONTROLE_CRC);
  ASSERT_EQ(MC_usPositionnerOffset(num, 77, 0), 0u);
  uint16_t crc = 0, lu = 0;
  ASSERT_EQ(usCalculerCRC16(num, &crc), 0u);
  ASSERT_EQ(usLireCRC(num, &lu), 0u);
  EXPECT_EQ(std::vector<uint16_t>({crc, lu, static_cast<uint16_t>(Position(num))}),
            std::vector<uint16_t>({vrai, vrai, 77}));
  EXPECT_EQ(
      std::vector<uint16_t>({usConvertirHexa('7'), usConvertirHexa('b'), usConvertirHexa('F'), usConvertirHexa('G')}),
      std::vector<uint16_t>({7, 11, 15, 0xFFFF}));
  // So does a raw stretch, padded with zeros past the end, or refused for want of memory.
  unsigned char *buf = nullptr;
  uint32_t longueur = 0;
  ASSERT_EQ(MC_usLireFichierBinaire(num, 4, static_cast<uint32_t>(bon.size()), &buf), 0u);
  EXPECT_EQ(Octets(buf, bon.size()), bon.substr(4) + std::string(4, '\0'));
  MC_Liberer(buf);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usLireFichierBinaire(num, 0, 10, &buf), MC_ERR_ALLOCATION);
  EXPECT_EQ(buf, nullptr);
  EXPECT_EQ(Position(num), 77u);
  ASSERT_EQ(MC_usLongueurFichierBinaire(num, &longueur), 0u);
  EXPECT_EQ(longueur, bon.size());
  Fermer(num);

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
  // A field that is not hexadecimal never matches, even when its arithmetic
  // would: digits 1-3 of vrai + 1, then 0xFFFF adds -1.
  ASSERT_EQ((vrai + 1) & 0xF, 0);
  char champ[6];
  snprintf(champ, sizeof champ, "%03XG", (vrai + 1) >> 4);
  std::string hors = bon;
  hors.replace(0, 4, champ);
  OuvrirFermer("ok.bin", MC_CONTROLE_CRC, MC_ERR_CONTROLE, &hors);
  hors.replace(0, 4, "00Z0");
  OuvrirFermer("ok.bin", MC_CONTROLE_CRC, MC_ERR_CONTROLE, &hors);
  // A name of more than 12 characters can never be opened again.
  TablesSimples("nom_trop_long", MC_CONTROLE_AUCUN, {"A"});
  OuvrirFermer("nom_trop_long", MC_CONTROLE_AUCUN, MC_ERR_NOM_FICHIER);
  // Too short to hold a signature trailer.
  const std::string court = EnteteBrut("sig.bin");
  OuvrirFermer("sig.bin", MC_CONTROLE_SIGNATURE, MC_ERR_CONTROLE, &court);
}

TEST_F(BinFile, TableSearchIsCircularAndStopsShortOfTheTrailer) {
  TablesSimples("r.bin", MC_CONTROLE_CRC, {"UN", "DEUX", "TROIS"});
  const uint16_t num = Ouvrir("r.bin", MC_CONTROLE_CRC);
  const uint32_t premiere = static_cast<uint32_t>(EnteteBrut("r.bin").size());
  EnteteTable t;
  {
    // Kept: the exit line of the read carries the writer's name, and so does
    // the entry line of the size patch.
    TraceCapture trace({7});
    ASSERT_EQ(MC_usLireEnteteTable(num, &t), 0u);
    EXPECT_EQ(MC_usEcrireTaille(num), MC_ERR_INTERDIT);
    ContientTout(
        trace.Text(),
        {"{ MC_usLireEnteteTable : usNumFichierBinaire = 1\n", "MC_usEcrireEnteteTable : Code retour = 0x0000\n}\n",
         "{ MC_usEcrireEnteteTable : usNumFichierBinaire = 1\n", "ERREUR : Le fichier n'est pas en ecriture\n",
         "MC_usEcrireTaille : Code retour = 0xf811\n"});
  }
  ASSERT_EQ(MC_usPositionnerOffset(num, static_cast<int32_t>(premiere), 0), 0u);
  // The search starts where the stream stands, after the data callers read.
  ASSERT_EQ(MC_usRechercherTable(num, "TROIS", &t), 0u);
  EXPECT_STREQ(t.acNomTable, "TROIS");
  EXPECT_EQ(Position(num), premiere + 2 * 33 + 25);
  ASSERT_EQ(MC_usPositionnerOffset(num, 8, 1), 0u);
  // From after the last table, the search starts over from the first.
  ASSERT_EQ(MC_usRechercherTable(num, "DEUX      ", &t), 0u);
  EXPECT_EQ(Position(num), premiere + 33 + 25);
  ASSERT_EQ(MC_usPositionnerOffset(num, 8, 1), 0u);
  EXPECT_EQ(MC_usRechercherTable(num, "QUATRE", &t), MC_ERR_NON_TROUVE);
  EXPECT_EQ(Position(num), premiere + 2 * 33);  // where the scan came back round
  EXPECT_EQ(MC_usRechercherTable(num, "deux", &t), MC_ERR_NON_TROUVE);
  ASSERT_EQ(MC_usRechercherTable(num, "UN", &t), 0u);
  EXPECT_EQ(Position(num), premiere + 25);
  Fermer(num);

  // Type 0: the data end is 128 bytes before the end of the file, so a last
  // table lying there is not found, while the same layout under CRC is.
  TablesSimples("z.bin", MC_CONTROLE_AUCUN, {"GRAND", "PETIT"}, 200);
  const uint16_t z = Ouvrir("z.bin", MC_CONTROLE_AUCUN);
  uint32_t fin = 0;
  ASSERT_EQ(usTailleDonnneeFichierBinaire(z, &fin), 0u);
  EXPECT_EQ(fin, ReadFile(dir.file("z.bin")).size() - 128);
  EXPECT_EQ(MC_usRechercherTable(z, "PETIT", &t), 0u);
  Fermer(z);
  for (uint16_t type : {MC_CONTROLE_AUCUN, MC_CONTROLE_SIGNATURE + 1u, MC_CONTROLE_CRC}) {
    TablesSimples("y.bin", type == MC_CONTROLE_CRC ? MC_CONTROLE_CRC : MC_CONTROLE_AUCUN, {"GRAND", "PETIT"}, 60);
    const uint16_t y = Ouvrir("y.bin", type);
    EXPECT_EQ(MC_usRechercherTable(y, "PETIT", &t), type == MC_CONTROLE_CRC ? 0u : MC_ERR_NON_TROUVE) << type;
    ASSERT_EQ(MC_usPositionnerOffset(y, static_cast<int32_t>(EnteteBrut("y.bin").size()), 0), 0u);
    EXPECT_EQ(MC_usRechercherTable(y, "GRAND", &t), 0u);
    Fermer(y);
  }
}

TEST_F(BinFile, HostileFilesGiveTheirStatusAndStayClosable) {
  const std::string h = EnteteBrut("h");
  // Content, status of the open, then of MC_usLireEnteteTable when the open got that far.
  const std::tuple<std::string, uint16_t, uint16_t> cas[] = {
      {"", MC_ERR_FIN_FICHIER, 0},
      {h.substr(0, 30), MC_ERR_FIN_FICHIER, 0},                            // truncated header
      {h.substr(0, h.size() - 3), MC_ERR_FIN_FICHIER, 0},                  // no CR
      {EnteteBrut("h", std::string(201, 'c')), MC_ERR_FIN_FICHIER, 0},     // comment too long
      {h + TableBrute("T", "abc").substr(0, 20), 0, MC_ERR_FIN_FICHIER},   // truncated table header
      {h + TableBrute("T", "abc", 1, 200, 200), 0, MC_ERR_FIN_FICHIER},    // descriptors past the end
      {h + TableBrute("T", "abc").replace(10, 4, Mot(0xFFFFFFF0)), 0, 0},  // size past the end
  };
  for (const auto &[contenu, ouverture, table] : cas) {
    WriteFile(dir.file("h"), contenu);
    const uint16_t num = Ouvrir("h", MC_CONTROLE_CRC, ouverture == 0 ? MC_ERR_CONTROLE : ouverture);
    ASSERT_NE(num, 0u);
    EnteteTable t;
    if (ouverture == 0) {
      EXPECT_EQ(MC_usLireEnteteTable(num, &t), table) << Hex(contenu);
    }
    Fermer(num);
  }
  // A table whose size points past the end of the file stops the search.
  WriteFile(dir.file("h"), h + TableBrute("T", "abc").replace(10, 4, Mot(0xFFFFFFF0)) + std::string(200, 0));
  const uint16_t num = Ouvrir("h", MC_CONTROLE_AUCUN);
  EnteteTable t;
  EXPECT_EQ(MC_usRechercherTable(num, "AUTRE", &t), MC_ERR_FIN_FICHIER);
  Fermer(num);

  // An empty comment: kept, the header is read one byte too far.
  TablesSimples("e.bin", MC_CONTROLE_AUCUN, {"T"});
  WriteFile(dir.file("e.bin"), ReadFile(dir.file("e.bin")).erase(60, strlen("Tables de test")));
  EnteteFichierBinaire e;
  const uint16_t vide = Ouvrir("e.bin", MC_CONTROLE_AUCUN, 0, &e);
  EXPECT_STREQ(e.acCommentaire, "");
  EXPECT_EQ(Position(vide), 64u);  // the second byte of the first table
  Fermer(vide);
}

TEST_F(BinFile, ShortReadsAndHostileVariableStrings) {
  TraceCapture trace({7});
  // A short read consumes what is left and keeps the value.
  WriteFile(dir.file("s.bin"), EnteteBrut("s.bin") + "\x01\x02");
  const uint16_t num = Ouvrir("s.bin", MC_CONTROLE_CRC, MC_ERR_CONTROLE);
  const uint32_t fin = static_cast<uint32_t>(EnteteBrut("s.bin").size());
  ASSERT_EQ(Position(num), fin);
  uint32_t ul = 7;
  int16_t s = 5;
  char buf[10];
  uint16_t u[2];
  EXPECT_EQ(MC_usLireUnsignedLong(num, &ul), MC_ERR_FIN_FICHIER);
  EXPECT_EQ(Position(num), fin + 2);
  EXPECT_EQ(MC_usLireSignedShort(num, &s), MC_ERR_FIN_FICHIER);
  EXPECT_EQ(std::pair(ul, s), std::pair(7u, int16_t{5}));
  ASSERT_EQ(MC_usPositionnerOffset(num, -2, 2), 0u);
  EXPECT_EQ(MC_usLireChampFixe(num, buf, 10), MC_ERR_FIN_FICHIER);
  ASSERT_EQ(MC_usPositionnerOffset(num, -1, 2), 0u);
  EXPECT_EQ(MC_usLireChampUnicodeFixe(num, u, 2), MC_ERR_FIN_FICHIER);
  Fermer(num);

  // Length code and data, status, and what the buffer holds ("(null)" when none is handed over).
  const std::tuple<std::string, uint16_t, std::string> cas[] = {
      {std::string("\x85") + std::string(10, 'a'), MC_ERR_ARGUMENT, "(null)"},
      {"\xFF", MC_ERR_ARGUMENT, "(null)"},
      {std::string("\x84\xFF\xFF\xFF\xFF") + "abc", MC_ERR_FIN_FICHIER, ""},  // 4 GB announced
      {std::string("\x83\x10\x00\x00") + "abc", MC_ERR_FIN_FICHIER, ""},
      {std::string("\x82\x01"), MC_ERR_FIN_FICHIER, "(null)"},  // code cut by the end
      {std::string("\x80") + std::string(128, 'q'), 0, std::string(128, 'q')},
      {std::string("\x05") + "ab", MC_ERR_FIN_FICHIER, ""},
  };
  for (const auto &[octets, statut, texte] : cas) {
    WriteFile(dir.file("v"), EnteteBrut("v") + octets);
    const uint16_t v = Ouvrir("v", MC_CONTROLE_AUCUN);
    char *chaine = reinterpret_cast<char *>(1);
    const uint32_t avant = ulMemAllouee;
    EXPECT_EQ(MC_usLireChaineVariable(v, &chaine), statut) << Hex(octets);
    EXPECT_EQ(chaine == nullptr ? "(null)" : std::string(chaine), texte) << Hex(octets);
    EXPECT_LT(malloc_usable_size(chaine), texte.size() + 64);  // only what the file could hold
    EXPECT_EQ(ulMemAllouee > avant, chaine != nullptr);
    MC_Liberer(chaine);
    Fermer(v);
  }
  ContientTout(trace.Text(), {"ERREUR : MC_usLireChampFixe : Fin de fichier lu 2 a liree 10 usCr 63040\n",
                              "ERREUR : MC_usLireChampUnicodeFixe : Fin de fichier lu 0 a liree 2 usCr 63040\n",
                              "ERREUR : MC_usLireChaineVariable : Nombre d'octets pour coder la longueur (5) > 4.\n",
                              "ERREUR : MC_usLireChampFixe : Fin de fichier lu 3 a liree -1 usCr 63040\n"});
}

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
    if (essai % 5 == 0) abime.resize(gen() % bon.size());
    for (int k = essai % 5 == 0 ? 0 : 1 + gen() % 4; k > 0; --k) abime[gen() % abime.size()] = char(gen());
    WriteFile(dir.file("m.bin"), abime);
    uint16_t num = 0, us;
    EnteteFichierBinaire e;
    EnteteTable t;
    double d;
    uint32_t ul;
    uint8_t m, j;
    MC_usInitialiserFichierBinaire(rep(), "m.bin", static_cast<uint16_t>(essai % 2), &num, &e);
    if (num == 0) continue;
    MC_usRechercherTable(num, essai % 3 ? "B" : "A", &t);
    for (int tour = 0; tour < 2; ++tour) {
      char *chaine = nullptr;
      MC_usLireChaineVariable(num, &chaine);
      EXPECT_LT(malloc_usable_size(chaine), bon.size() + 64);
      MC_Liberer(chaine);
      MC_usLireDouble(num, &d);
      MC_usLireUnsignedLong(num, &ul);
      MC_usLireDate(num, &us, &m, &j);
      MC_usLireEnteteTable(num, &t);
    }
    ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), 0u) << essai;
  }
  EXPECT_EQ(ulMemAllouee, avant);
}

// ---------------------------------------------------------------- signatures

// What `openssl <commande>` writes when fed `entree`.
std::string Openssl(const TempDir &dir, const std::string &commande, const std::string &entree) {
  WriteFile(dir.file("entree"), entree);
  const std::string ligne = "openssl " + commande + " -out " + dir.file("sortie") + " < " + dir.file("entree");
  EXPECT_EQ(std::system(ligne.c_str()), 0) << ligne;
  return ReadFile(dir.file("sortie"));
}

std::string SignatureOpenssl(const TempDir &dir, const std::string &message) {
  return Openssl(dir, "dgst -md5 -sign " + kCles + "demo-private.pem", message);
}

uint16_t VerifierMessage(const std::string &message, const R_RSA_PUBLIC_KEY &cle, const std::string &signature) {
  return MC_usVerifierSignatureMessage(Entree(message), static_cast<uint32_t>(message.size()), cle, Entree(signature));
}

R_RSA_PRIVATE_KEY CleDemo() {
  R_RSA_PRIVATE_KEY cle;
  EXPECT_EQ(MC_usLireClePrivee((kCles + "demo-private.key").c_str(), &cle), 0u);
  return cle;
}

// The signature tests need a library built with the demo key.
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

TEST(BinfileSignatureMessage, SameBytesAsTheOpensslCommandLine) {
  EXIGER_CLE_DEMO();
  TempDir dir;
  R_RSA_PUBLIC_KEY *publique = MC_LireClePublique();
  for (const std::string &message : {std::string(), std::string("0000 tables\r\n\x1a", 15), std::string(5000, 'x')}) {
    unsigned char sig[128];
    ASSERT_EQ(MC_usCalculerSignatureMessage(Entree(message), static_cast<uint32_t>(message.size()), CleDemo(), sig),
              0u);
    EXPECT_EQ(Octets(sig, 128), SignatureOpenssl(dir, message)) << message.size();
    EXPECT_EQ(VerifierMessage(message, *publique, Octets(sig, 128)), 0u);
  }
  // A key that cannot sign, or no room for the signature: status 1.
  R_RSA_PRIVATE_KEY vide;
  memset(&vide, 0, sizeof vide);
  unsigned char sig[128];
  EXPECT_EQ(MC_usCalculerSignatureMessage(nullptr, 0, vide, sig), 1u);
  EXPECT_EQ(MC_usCalculerSignatureMessage(nullptr, 0, CleDemo(), nullptr), 1u);
  MC_Liberer(publique);
}

// With exponent 3 a verifier that does not check the whole block is
// forgeable: malformed blocks, raised to d, must be refused.  The toolkit's
// own tests cover the other malformations.
TEST(BinfileSignatureMessage, MalformedBlocksAreRefused) {
  EXIGER_CLE_DEMO();
  TempDir dir;
  const std::string message = "tables signees", md5 = Openssl(dir, "dgst -md5 -binary", message);
  const std::string info =
      std::string("\x30\x20\x30\x0c\x06\x08\x2a\x86\x48\x86\xf7\x0d\x02\x05\x05\x00\x04\x10", 18) + md5;
  const std::string sha1 =
      std::string("\x30\x21\x30\x09\x06\x05\x2b\x0e\x03\x02\x1a\x05\x00\x04\x14", 15) + std::string(4, '\0') + md5;
  const std::string sansNull =
      std::string("\x30\x1e\x30\x0a\x06\x08\x2a\x86\x48\x86\xf7\x0d\x02\x05\x04\x10", 16) + md5;
  // 00, type, padding, 00, DigestInfo: 128 bytes.
  const auto bloc = [](char type, const std::string &contenu) {
    return std::string(1, '\0') + type + std::string(125 - contenu.size(), '\xff') + '\0' + contenu;
  };
  const std::tuple<const char *, std::string, uint16_t> cas[] = {
      {"well formed", bloc(1, info), 0},
      {"block type 00", bloc(0, info), MC_ERR_SIG_CLE_PUBLIQUE},
      {"SHA-1 DigestInfo", bloc(1, sha1), MC_ERR_SIG_DIFFERENTE},
      {"no NULL parameters", bloc(1, sansNull), MC_ERR_SIG_DIFFERENTE},
  };
  R_RSA_PUBLIC_KEY *publique = MC_LireClePublique();
  for (const auto &[nom, b, attendu] : cas) {
    ASSERT_EQ(b.size(), 128u) << nom;
    const std::string sig =
        Openssl(dir, "pkeyutl -decrypt -pkeyopt rsa_padding_mode:none -inkey " + kCles + "demo-private.pem", b);
    EXPECT_EQ(VerifierMessage(message, *publique, sig), attendu) << nom;
  }
  EXPECT_EQ(VerifierMessage(message, *publique, std::string(128, '\xff')), MC_ERR_SIG_CLE_PUBLIQUE);  // not below n
  MC_Liberer(publique);
}

TEST(BinfileSignatureKeys, KeyFileAndBuiltInKey) {
  TempDir dir;
  R_RSA_PRIVATE_KEY cle = CleDemo(), autre;
  const std::string brut = ReadFile(kCles + "demo-private.key");
  ASSERT_EQ(brut.size(), 4u + 704u);
  EXPECT_EQ(cle.bits, 1024u);
  EXPECT_EQ(Octets(cle.modulus, 128), brut.substr(4, 128));
  EXPECT_EQ(Octets(cle.coefficient, 64), brut.substr(4 + 640, 64));
  EXPECT_EQ(cle.publicExponent[127], 3);
  // "%d" skips leading white space, and the binary fields follow the digits at once.
  WriteFile(dir.file("espaces.key"), " \n\t" + brut);
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
    return EnteteBrut(nom) + TableBrute("TGROUPE", Mot(0x01020304) + "\x06valeur", 2);
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
  EXPECT_STREQ(t.acNomTable, "TGROUPE");
  Fermer(num);

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
      EXPECT_EQ(MC_usVerifierSignatureFichier(n), MC_ERR_SIG_DIFFERENTE);
    }
    ASSERT_EQ(MC_usLibererFichierBinaire(n, nullptr), 0u);
    n = Ouvrir("s.bin", MC_CONTROLE_AUCUN, nom ? MC_ERR_NOM_FICHIER : 0);
    EXPECT_EQ(MC_usVerifierSignatureFichier(n), i < corps.size() ? MC_ERR_SIG_DIFFERENTE : MC_ERR_SIG_CLE_PUBLIQUE);
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
  const std::string corps = EnteteBrut("d.bin") + TableBrute("T", "abc");
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
    ContientTout(trace.Text(), {"{ MC_usEcrireSignatureFichier : NumFichier = 1\n",
                                "    ERREUR : Probleme lors de la lecture de la cle privee\n"
                                "    MC_usEcrireSignatureFichier : Code retour = 0xf610\n  }\n"});
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
  {
    TraceCapture trace({7});
    OuvrirFermer("s.bin", MC_CONTROLE_SIGNATURE, MC_ERR_CONTROLE, &autre);
    ContientTout(trace.Text(), {"{ MC_usVerifierSignatureFichier : NumFichier = 1\n",
                                "    MC_usVerifierSignatureFichier : Code retour = 0x040b\n  }\n"
                                "  ERREUR : signature du fichier invalide\n"});
  }
  // No memory for the key record: 0xF610; nor can a file open for reading take a signature.
  const uint16_t num = Ouvrir("s.bin", MC_CONTROLE_AUCUN);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usVerifierSignatureFichier(num), MC_ERR_FICHIER);
  EXPECT_EQ(MC_usEcrireSignatureFichier(num, (kCles + "demo-private.key").c_str()), MC_ERR_FICHIER);
  Fermer(num);
  EXPECT_EQ(MC_usVerifierSignatureFichier(num), MC_ERR_FICHIER);
}

}  // namespace
