// Memory zones: length and header coding, the zone table, cursor navigation,
// in-place editing and the checks, including hostile received data.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <numeric>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/memory.h"
#include "support/dictionary_builder.h"
#include "support/mc_test.h"

using mc::test::TraceCapture;
using Octets = std::vector<unsigned char>;
using Lignes = std::vector<std::string>;

namespace {

// Bytes written as hexadecimal pairs separated by blanks, in a heap block of
// exactly their size.
Octets Hex(const std::string &texte) {
  std::istringstream in(texte);
  Octets o;
  for (unsigned octet; in >> std::hex >> octet;) o.push_back(static_cast<unsigned char>(octet));
  return Octets(o.begin(), o.end());
}

std::string HexDe(const unsigned char *p, size_t n) {
  std::string s;
  char b[4];
  for (size_t i = 0; i < n; ++i) {
    snprintf(b, sizeof b, i ? " %02X" : "%02X", p[i]);
    s += b;
  }
  return s;
}
std::string HexDe(const Octets &o) { return HexDe(o.data(), o.size()); }

// The trace lines, each ended by a newline.
std::string Texte(const Lignes &lignes) {
  std::string s;
  for (const auto &l : lignes) s += l + '\n';
  return s;
}

bool Contient(const Lignes &lignes, const std::string &fin) {
  return std::any_of(lignes.begin(), lignes.end(), [&](const std::string &l) {
    return l.size() >= fin.size() && l.compare(l.size() - fin.size(), fin.size(), fin) == 0;
  });
}

// The zone's data bytes, as MC_pucLireBuffer hands them out.
Octets Donnees(uint16_t zone) {
  uint32_t taille = 0;
  unsigned char *buffer = nullptr;
  EXPECT_EQ(MC_pucLireBuffer(zone, &taille, &buffer), 0u);
  return Octets(buffer, buffer + taille);
}

uint16_t Creer(uint32_t taille, uint32_t structuree = 1) {
  uint16_t zone = 0xFFFF;
  EXPECT_EQ(MC_usCreerZoneMemoire(taille, structuree, &zone), 0u);
  return zone;
}

// A structured zone made in place over a copy of `octets` kept for the whole
// test, in a heap block of exactly `taille` bytes (zeros after the copy; by
// default the byte count), with `donnees` data bytes (by default the byte
// count too).
uint16_t Sur(const Octets &octets, uint32_t taille = 0, std::optional<uint32_t> donnees = {}) {
  static std::list<Octets> gardes;
  const auto n = static_cast<uint32_t>(octets.size());
  Octets &buffer = gardes.emplace_back(std::max(taille, n));
  std::copy(octets.begin(), octets.end(), buffer.begin());
  uint16_t zone = 0xFFFF;
  EXPECT_EQ(MC_usInitialiserZoneMemoireNonPlein(buffer.data(), static_cast<uint32_t>(buffer.size()),
                                                donnees.value_or(n), &zone, 1),
            0u);
  return zone;
}
uint16_t Sur(const std::string &hex, uint32_t taille = 0, std::optional<uint32_t> donnees = {}) {
  return Sur(Hex(hex), taille, donnees);
}

// An end test or a counter of the cursor, read through the API.
template <typename T>
T Lu(uint16_t (*lecture)(uint16_t, T *), uint16_t zone) {
  T valeur{};
  EXPECT_EQ(lecture(zone, &valeur), 0u);
  return valeur;
}

// The cursor: the group's identifier, offset, header size and content
// length, then the field's number, offset, length-code size and length.
std::string Curseur(uint16_t zone) {
  const ZoneMemoire &z = *ZM[zone];
  char s[80];
  snprintf(s, sizeof s, "groupe %04X@%u %u+%u, champ %u@%u %u+%u", z.IdGroupe, z.OffsetGroupe, z.TailleEnteteGroupe,
           z.LongueurGroupe, z.NumeroChamp, z.OffsetChamp, z.TailleLongueurChamp, z.LongueurChamp);
  return s;
}

struct Champ {
  uint16_t numero = 0;
  unsigned char *donnees = nullptr;
  uint32_t longueur = 0;
};

uint16_t ChampSuivant(uint16_t zone, Champ *c, uint16_t nombre = 1) {
  return MC_usAvancerChampSuivant(zone, nombre, &c->numero, &c->donnees, &c->longueur);
}

// The field an advance hands out, "number@offset[bytes]", or its status.
std::string Suivant(uint16_t zone, uint16_t nombre = 1) {
  Champ c;
  const uint16_t cr = ChampSuivant(zone, &c, nombre);
  char statut[8];
  snprintf(statut, sizeof statut, "%04X", cr);
  if (cr != 0) return statut;
  return std::to_string(c.numero) + "@" + std::to_string(c.donnees - ZM[zone]->Buffer) + "[" +
         HexDe(c.donnees, c.longueur) + "]";
}

// A structured zone of `taille` bytes filled through the API, groups and
// fields in order; with `champ`, the cursor then goes to that field of the
// first group (searched from the last one).
using Description = std::vector<std::pair<uint16_t, std::vector<Octets>>>;
uint16_t Construire(uint32_t taille, const Description &groupes, uint16_t champ = 0) {
  const uint16_t zone = Creer(taille);
  for (const auto &[id, champs] : groupes) {
    EXPECT_EQ(MC_usAjouterGroupe(zone, id), 0u);
    for (const Octets &c : champs) EXPECT_EQ(MC_usAjouterChamp(zone, c.data(), static_cast<uint32_t>(c.size())), 0u);
  }
  if (champ != 0) {
    EXPECT_EQ(MC_usRechercherGroupe(zone, groupes[0].first, 1, 0), 0u);
    Champ c;
    EXPECT_EQ(ChampSuivant(zone, &c, champ), 0u);
  }
  return zone;
}

// ---------------------------------------------------------------- coding

TEST(ZoneCodage, LengthFormsAtEveryBoundary) {
  const std::pair<uint32_t, const char *> lignes[] = {{0, "00"},
                                                      {127, "7F"},
                                                      {128, "81 80"},
                                                      {254, "81 FE"},
                                                      {255, "82 00 FF"},
                                                      {65534, "82 FF FE"},
                                                      {65535, "83 00 FF FF"},
                                                      {16777214, "83 FF FF FE"},
                                                      {16777215, "84 00 FF FF FF"},
                                                      {0xFFFFFFFFu, "84 FF FF FF FF"}};
  for (const auto &[longueur, hex] : lignes) {
    SCOPED_TRACE(longueur);
    const Octets code = Hex(hex);
    const auto n = static_cast<uint32_t>(code.size());
    unsigned char octets[8];
    std::memset(octets, 0xEE, sizeof octets);
    unsigned char *buffer = octets;
    EXPECT_EQ(MC_stCoderLongueur(longueur, 1, &buffer), n);
    EXPECT_EQ(HexDe(octets, n + 2), "EE " + std::string(hex) + " EE");  // nothing written either side
    EXPECT_EQ(MC_stCalculerTailleLongueur(longueur), n);
    EXPECT_EQ(MC_stCalculerTailleChamp(longueur), longueur + n);
    EXPECT_EQ(MC_stCalculerTailleEnteteGroupe(longueur), 2 + n);
    uint32_t decodee = 0, nb = 0;
    EXPECT_EQ(MC_stDecoderLongueur(code.data(), n, 0, &decodee, &nb), 0u);
    EXPECT_EQ(decodee, longueur);
    EXPECT_EQ(nb, n);
  }
  EXPECT_EQ(MC_stCalculerTailleGroupe1(0), 3u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(2, 2u, 0u), 7u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(1, 200u), 206u);
  EXPECT_EQ(MC_stCalculerTailleGroupe2(16777214), 16777214u + 6);
  EXPECT_EQ(MC_stCalculerTailleGroupe2(16777215), 16777215u + 7);
  unsigned char *nul = nullptr;
  EXPECT_EQ(MC_stCoderLongueur(5, 0, &nul), 0u);
  EXPECT_EQ(MC_stCoderLongueur(5, 0, nullptr), 0u);
}

// Decoding is lenient where it can be and never reads outside the buffer.
TEST(ZoneCodage, DecodingHeadersAndErrorTraces) {
  const struct {
    const char *hex;
    uint32_t offset;
    uint16_t cr;
    uint32_t longueur, nb;
  } lignes[] = {
      {"80", 0, 0, 128, 1},        // 0x80 alone is 128
      {"81", 0, 0xF810, 0, 1},     // 0 + 1 not below 1
      {"81 05", 0, 0, 5, 2},       // non-minimal form taken as it stands
      {"82 01", 0, 0xF810, 0, 2},  // buffer too small: the output holds k
      {"84 00 00 01 00 00", 0, 0, 256, 5},
      {"85 00 00 00 00 00 00", 0, 0xF810, 0, 5},
      {"FF", 0, 0xF810, 0, 0x7F},
      {"00 7F", 1, 0, 127, 1},
      {"7F", 1, 0xF810, 0, 0},  // offset at the end: nothing read
      {"7F", 0xFFFFFFFF, 0xF810, 0, 0},
  };
  for (const auto &l : lignes) {
    SCOPED_TRACE(l.hex);
    const Octets exact = Hex(l.hex);
    uint32_t longueur = 0, nb = 99;
    EXPECT_EQ(MC_stDecoderLongueur(exact.data(), static_cast<uint32_t>(exact.size()), l.offset, &longueur, &nb), l.cr);
    EXPECT_EQ(nb, l.nb);
    if (l.cr == 0) {
      EXPECT_EQ(longueur, l.longueur);
    }
  }
  uint32_t longueur = 0, taille = 0, nb;
  EXPECT_EQ(MC_stDecoderLongueur(nullptr, 4, 0, &longueur, &nb), 0xF802);

  unsigned char octets[8] = {};
  unsigned char *buffer = octets;
  EXPECT_EQ(MC_stCoderEnteteGroupe(0x1234, 202, 2, &buffer), 4u);
  EXPECT_EQ(HexDe(octets, 7), "00 00 12 34 81 CA 00");
  uint16_t id = 0;
  EXPECT_EQ(MC_usDecoderEnteteGroupe(octets, 7, 2, &id, &longueur, &taille), 0u);
  EXPECT_EQ(id, 0x1234);
  EXPECT_EQ(longueur, 202u);
  EXPECT_EQ(taille, 4u);
  // A zone record stands for the address of its buffer pointer.
  const uint16_t zone = Creer(8);
  EXPECT_EQ(MC_stCoderEnteteGroupe(0, 16777215, 0, reinterpret_cast<unsigned char **>(ZM[zone])), 7u);
  EXPECT_EQ(HexDe(ZM[zone]->Buffer, 8), "00 00 84 00 FF FF FF 00");

  TraceCapture trace({3});
  EXPECT_EQ(MC_stDecoderLongueur(Hex("85").data(), 1, 0, &longueur, &nb), 0xF810);
  EXPECT_EQ(MC_stDecoderLongueur(Hex("82 01").data(), 2, 0, &longueur, &nb), 0xF810);
  EXPECT_EQ(MC_usDecoderEnteteGroupe(Hex("01 02").data(), 2, 0, &id, &longueur, &taille), 0xF810);
  // A header over a length that cannot be read still counts its identifier.
  EXPECT_EQ(MC_usDecoderEnteteGroupe(Hex("01 02 82 01").data(), 4, 0, &id, &longueur, &taille), 0xF810);
  EXPECT_EQ(taille, 4u);
  MC_stCoderLongueur(300, 1, &buffer);
  EXPECT_EQ(Texte(trace.Lines()),
            "{ MC_stDecoderLongueur : offset = 0\n"
            "  ERREUR :  Nombre d'octets pour coder la longueur (5) > 4.\n  cr = 0xF810\n}\n"
            "{ MC_stDecoderLongueur : offset = 0\n"
            "  ERREUR :  Buffer trop petit pour coder la longueur (2) (tailleBuffer = 2).\n  cr = 0xF810\n}\n"
            "ERREUR : Buffer trop petit pour coder l'identifiant (tailleBuffer = 2).\n"
            "{ MC_stDecoderLongueur : offset = 2\n"
            "  ERREUR :  Buffer trop petit pour coder la longueur (2) (tailleBuffer = 4).\n  cr = 0xF810\n}\n"
            "{ MC_stCoderLongueur : longueur = 300, offset = 1\n  nbOctets = 3\n}\n");
}

// ------------------------------------------------------------ zone table

TEST(ZoneTable, FullTableAndLowestFreeNumberReused) {
  uint16_t zone;
  for (uint16_t i = 0; i < 100; ++i) {
    ASSERT_EQ(MC_usCreerZoneMemoire(4, i % 2, &zone), 0u);
    EXPECT_EQ(zone, i);
  }
  uint16_t libre = 7;
  EXPECT_EQ(MC_bRechercherZoneLibre(&libre), 0);
  EXPECT_EQ(libre, 7);
  unsigned char octets[4] = {};
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usCreerZoneMemoire(4, 1, &zone), 0xF801);
    EXPECT_EQ(MC_usInitialiserZoneMemoire(octets, 4, &zone, 1), 0xF801);
    // Kept: the creation's exit line shows 0 although 0xF801 is returned;
    // the initialisation's shows the real status.
    const auto lignes = trace.Lines();
    ASSERT_EQ(lignes.size(), 6u);
    EXPECT_EQ(lignes[0], "{ MC_usCreationZoneMemoire : taille = 4");
    EXPECT_EQ(lignes[1], "  cr = 0x0000");
    EXPECT_EQ(lignes[4], "  cr = 0xF801");
  }
  uint32_t taille;
  unsigned char *buffer42;
  ASSERT_EQ(MC_pucLireBuffer(42, &taille, &buffer42), 0u);
  EXPECT_EQ(MC_usLibererZoneMemoire(42), 0u);
  EXPECT_EQ(MC_usLibererZoneMemoire(42), 0xF807);
  EXPECT_EQ(MC_pucLireBuffer(42, &taille, &buffer42), 0xF807);
  buffer42[3] = 1;  // the buffer outlives the zone: it was never the zone's
  MC_Liberer(buffer42);
  EXPECT_EQ(MC_bRechercherZoneLibre(&libre), 1);
  EXPECT_EQ(libre, 42);
  EXPECT_EQ(MC_usInitialiserZoneMemoire(octets, 4, &zone, 0), 0u);
  EXPECT_EQ(zone, 42);
  EXPECT_EQ(MC_usLibererZoneMemoire(100), 0xF807);
}

TEST(ZoneTable, CreationAndInitialisation) {
  // Size 0 gives one byte: too small for a group until resized to 3.
  uint16_t zone = Creer(0);
  EXPECT_EQ(ZM[zone]->TailleBuffer, 1u);
  EXPECT_EQ(MC_usAjouterGroupe(zone, 0x0102), 0xF804);
  EXPECT_EQ(MC_usRedimensionner(zone, 3), 0u);
  EXPECT_EQ(MC_usAjouterGroupe(zone, 0x0102), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 00");

  unsigned char octets[8] = {1, 2, 3};
  EXPECT_EQ(MC_usInitialiserZoneMemoire(nullptr, 8, &zone, 1), 0xF802);
  EXPECT_EQ(MC_usInitialiserZoneMemoire(octets, 0, &zone, 1), 0xF802);
  EXPECT_EQ(MC_usCreerZoneMemoire(4, 1, nullptr), 0xF802);
  EXPECT_EQ(MC_usInitialiserZoneMemoireNonPlein(octets, 8, 3, &zone, 0), 0u);
  EXPECT_EQ(ZM[zone]->TailleDonnees, 3u);
  EXPECT_EQ(MC_usAjouterGroupe(zone, 1), 0xF811);

  // A record without its buffer keeps its number; a resize gives it one.
  mc::testing::FaireEchouerAllocation(2);
  EXPECT_EQ(MC_usCreerZoneMemoire(16, 1, &zone), 0xF801);
  ASSERT_NE(ZM[zone], nullptr);
  EXPECT_EQ(ZM[zone]->Buffer, nullptr);
  uint16_t id;
  EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 1, &id), 0xF805);
  EXPECT_EQ(MC_usAjouterGroupe(zone, 7), 0xF804);
  EXPECT_EQ(MC_usRedimensionner(zone, 16), 0u);
  EXPECT_EQ(MC_usAjouterGroupe(zone, 7), 0u);
  mc::testing::FaireEchouerAllocation(1);
  uint16_t autre;
  EXPECT_EQ(MC_usCreerZoneMemoire(16, 1, &autre), 0xF801);
  EXPECT_EQ(MC_bRechercherZoneLibre(&autre), 1);
  EXPECT_EQ(ZM[autre], nullptr);
}

TEST(ZoneTable, UnstructuredReadWriteBoundedByAllocatedSize) {
  const uint16_t zone = Creer(16, 0);
  unsigned char lu[16];
  std::memset(lu, 0xAA, sizeof lu);
  unsigned char *destination = lu;
  // Never written, yet readable up to the allocated size.
  EXPECT_EQ(MC_usLireZoneMemoire(zone, 0, &destination, 10), 0u);
  EXPECT_EQ(HexDe(lu, 11), "00 00 00 00 00 00 00 00 00 00 AA");
  // The data length is raised to the end of a write, never lowered.
  const Octets quatre = Hex("01 02 03 04");
  EXPECT_EQ(MC_usEcrireZoneMemoire(zone, 8, quatre.data(), 4), 0u);
  EXPECT_EQ(MC_usEcrireZoneMemoire(zone, 0, quatre.data(), 2), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 00 00 00 00 00 00 01 02 03 04");
  EXPECT_EQ(MC_usEcrireZoneMemoire(zone, 12, quatre.data(), 4), 0u);
  EXPECT_EQ(ZM[zone]->TailleDonnees, 16u);
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usEcrireZoneMemoire(zone, 13, quatre.data(), 4), 0xF804);
    EXPECT_EQ(MC_usLireZoneMemoire(zone, 0xFFFFFFFF, &destination, 2), 0xF804);
    EXPECT_EQ(MC_usLireZoneMemoire(zone, 16, &destination, 0), 0u);
    EXPECT_EQ(Texte(trace.Lines()),
              "{ MC_usEcrireZoneMemoire\n   cr = 0xF804\n}\n{ MC_usLireZoneMemoire\n"
              "   cr = 0xF804\n}\n{ MC_usLireZoneMemoire\n  cr = 0x0000\n}\n");
  }
  EXPECT_EQ(MC_usLireZoneMemoire(zone, 0, nullptr, 1), 0xF802);
  const uint16_t structuree = Creer(16, 1);
  EXPECT_EQ(MC_usLireZoneMemoire(structuree, 0, &destination, 1), 0xF811);
  EXPECT_EQ(MC_usEcrireZoneMemoire(structuree, 0, quatre.data(), 1), 0xF811);
  EXPECT_EQ(MC_usLireZoneMemoire(99, 0, &destination, 1), 0xF807);
}

TEST(ZoneTable, ResizeNeverShrinksAndFreesTheOldBuffer) {
  // A caller's buffer, taken through the allocator so that its release by
  // the resize can be seen in the totals.
  auto *octets = static_cast<unsigned char *>(MC_Allouer(64));
  std::memcpy(octets, "\x01\x02\x04\x02\x41\x42\x00", 7);
  uint16_t zone;
  ASSERT_EQ(MC_usInitialiserZoneMemoireNonPlein(octets, 64, 7, &zone, 1), 0u);
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0102, 1, 0), 0u);
  ASSERT_EQ(Suivant(zone), "1@4[41 42]");
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usRedimensionner(zone, 63), 0xF801);
    EXPECT_TRUE(Contient(trace.Lines(), "ERREUR : Nouvelle taille (63) inferieure a la taille des donnees (64)."));
  }
  const uint32_t avant = ulMemAllouee;
  const auto reelAncien = static_cast<uint32_t>(malloc_usable_size(octets));
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usRedimensionner(zone, 128), 0xF801);
  EXPECT_EQ(ZM[zone]->Buffer, octets);
  EXPECT_EQ(ZM[zone]->TailleBuffer, 64u);
  EXPECT_EQ(ulMemAllouee, avant);
  EXPECT_EQ(MC_usRedimensionner(zone, 64), 0u);  // same size: still a new buffer
  EXPECT_NE(ZM[zone]->Buffer, octets);
  // The caller's block went back through the allocator.
  EXPECT_EQ(ulMemAllouee, avant - reelAncien + static_cast<uint32_t>(malloc_usable_size(ZM[zone]->Buffer)));
  EXPECT_EQ(ZM[zone]->TailleBuffer, 64u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 04 02 41 42 00");
  EXPECT_EQ(Suivant(zone), "2@7[]");  // the cursor is kept
  EXPECT_EQ(MC_usRedimensionner(100, 64), 0xF807);
  MC_Liberer(ZM[zone]->Buffer);
}

// ------------------------------------------------------------ navigation

TEST(ZoneNavigation, WalkingAndExtractingWithTraces) {
  const uint16_t zone = Sur("01 02 04 02 41 42 00");
  unsigned char *p = nullptr;
  EXPECT_EQ(Suivant(zone), "F805");  // no group at the start
  EXPECT_EQ(MC_usExtraireChamp(zone, &p, 0, 0), 0xF805);
  uint16_t id = 0;
  {
    TraceCapture trace({3});
    ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 0, 0, &id), 0u);
    EXPECT_EQ(id, 0x0102);
    EXPECT_EQ(Suivant(zone), "1@4[41 42]");
    EXPECT_EQ(Suivant(zone), "2@7[]");
    EXPECT_EQ(Suivant(zone), "F805");
    EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 0, &id), 0xF805);
    EXPECT_EQ(Texte(trace.Lines()),
              "{ MC_usAvancergroupeSuivant\n  { MC_stDecoderLongueur : offset = 2\n    cr = 0x0000\n  }\n"
              "  offsetGroupe = 0, longueurGroupe = 4, tailleEnteteGroupe  = 3\n"
              "  offsetChamp = 3, longueurChamp = 0, tailleLongueurChamp  = 0\n  cr = 0x0000\n}\n"
              "{ MC_usAvancerChampSuivant\n  { MC_stDecoderLongueur : offset = 3\n    cr = 0x0000\n  }\n"
              "  offsetChamp  = 3, longueurChamp  = 2, tailleLongueurChamp = 1\n  cr = 0x0000\n}\n"
              "{ MC_usAvancerChampSuivant\n  { MC_stDecoderLongueur : offset = 6\n    cr = 0x0000\n  }\n"
              "  offsetChamp  = 6, longueurChamp  = 0, tailleLongueurChamp = 1\n  cr = 0x0000\n}\n"
              "{ MC_usAvancerChampSuivant\n  ERREUR :  Fin du groupe atteinte.\n  cr = 0xF805\n}\n"
              "{ MC_usAvancergroupeSuivant\n  ERREUR :  Fin de la zone atteinte.\n  cr = 0xF805\n}\n");
  }
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0102, 1, 0), 0u);
  ASSERT_EQ(Suivant(zone), "1@4[41 42]");
  EXPECT_EQ(MC_usExtraireChamp(zone, &p, 1, 1), 0u);
  EXPECT_EQ(p, ZM[zone]->Buffer + 5);
  EXPECT_EQ(MC_usExtraireChamp(zone, &p, 2, 0), 0u);
  EXPECT_EQ(p, ZM[zone]->Buffer + 6);
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usExtraireChamp(zone, &p, 3, 0), 0xFFFE);
    EXPECT_EQ(MC_usExtraireChamp(zone, &p, 1, 2), 0xFFFE);
    EXPECT_EQ(MC_usExtraireChamp(zone, &p, 1, 0xFFFFFFFF), 0xFFFE);
    const auto lignes = trace.Lines();
    EXPECT_TRUE(Contient(lignes, "ERREUR :  position  > longueur du champ (2)."));
    EXPECT_TRUE(Contient(lignes, "ERREUR :  position + Longueur > longueur du champ (2)."));
    EXPECT_EQ(p, ZM[zone]->Buffer + 6);
  }
  EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr), 0xF802);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(Creer(8, 0), 1, 0, &id), 0xF811);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(100, 1, 0, &id), 0xF807);
}

TEST(ZoneNavigation, CountersEndTestsAndPositioningAtTheEnd) {
  // Group 1 with three fields, group 2 with one, group 3 empty.
  const uint16_t zone = Sur("00 01 06 01 41 00 02 42 43  00 02 02 01 44  00 03 00");
  uint16_t id;
  for (uint32_t parcours : {0u, 1u}) {
    SCOPED_TRACE(parcours);
    ASSERT_EQ(MC_usPositionnerDebut(zone), 0u);
    ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 2, parcours, &id), 0u);
    EXPECT_EQ(id, 2);
    EXPECT_EQ(Lu(MC_usLireCompteurGroupe, zone), 2);
    EXPECT_EQ(Lu(MC_usLireCompteurChamp, zone), parcours ? 3 : 0);
    EXPECT_EQ(Lu(MC_usFinGroupe, zone), 0u);
  }
  ASSERT_EQ(Suivant(zone), "1@13[44]");
  EXPECT_EQ(Lu(MC_usFinGroupe, zone), 1u);
  EXPECT_EQ(Lu(MC_usFinZone, zone), 0u);
  EXPECT_EQ(Lu(MC_usFinDonnees, zone), 0u);
  // The last group is empty: its field end is the data end.
  ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 1, &id), 0u);
  EXPECT_EQ(Lu(MC_usFinZone, zone), 1u);
  EXPECT_EQ(Lu(MC_usFinDonnees, zone), 1u);
  // Counts: fields stop on the first failure; groups past the end leave the
  // cursor on the last one reached.
  ASSERT_EQ(MC_usRechercherGroupe(zone, 1, 1, 0), 0u);
  EXPECT_EQ(Suivant(zone, 5), "F805");
  EXPECT_EQ(ZM[zone]->NumeroChamp, 3);
  const uint16_t deux = Sur("00 01 01 00  00 02 01 00");
  EXPECT_EQ(MC_usAvancerGroupeSuivant(deux, 3, 0, &id), 0xF805);
  EXPECT_EQ(ZM[deux]->OffsetGroupe, 4u);
  EXPECT_EQ(Lu(MC_usLireCompteurGroupe, deux), 2);

  // To the end: the last group at its last field, every field counted; the
  // walk ends on the advance that meets the end of the zone.
  const uint16_t fin = Sur("00 01 03 01 41 00  00 02 03 00 01 42");
  TraceCapture trace({3});
  EXPECT_EQ(MC_usPositionnerFin(fin, 1), 0u);
  EXPECT_EQ(Curseur(fin), "groupe 0002@6 3+3, champ 2@10 1+1");
  EXPECT_EQ(ZM[fin]->CompteurChamp, 4);
  EXPECT_TRUE(Contient(trace.Lines(), "ERREUR :  Fin de la zone atteinte."));
}

TEST(ZoneNavigation, SearchesAndOccurrences) {
  // A, B, A with A = 0x0A0A and B = 0x0B0B.
  const uint16_t zone = Sur("0A 0A 02 01 31  0B 0B 02 01 32  0A 0A 02 01 33");
  EXPECT_EQ(MC_usRechercherGroupe(zone, 0x0A0A, 2, 0), 0u);
  EXPECT_EQ(ZM[zone]->OffsetGroupe, 10u);
  EXPECT_EQ(MC_usRechercherGroupe(zone, 0x0A0A, 3, 0), 0xF806);
  EXPECT_EQ(ZM[zone]->OffsetGroupe, 10u);  // the last group reached
  EXPECT_EQ(MC_usRechercherGroupe(zone, 0x0C0C, 1, 0), 0xF805);
  EXPECT_EQ(MC_usRechercherGroupe(zone, 0x0A0A, 0, 0), 0xF802);
  EXPECT_EQ(MC_usRechercherGroupe(100, 0x0A0A, 0, 0), 0xF802);  // before the zone check
  // The current group is never a candidate.
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0B0B, 1, 1), 0u);
  EXPECT_EQ(MC_usRechercherGroupeSuivant(zone, 0x0B0B, 1, 0), 0xF805);
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0B0B, 1, 1), 0u);
  EXPECT_EQ(Lu(MC_usLireCompteurChamp, zone), 1);  // the field walk counted A's field
  // Identifier 0 is found at once, without moving.
  EXPECT_EQ(MC_usRechercherGroupeSuivant(zone, 0, 3, 0), 0u);
  EXPECT_EQ(ZM[zone]->OffsetGroupe, 5u);
  // Reading the next group with its occurrence, from the middle.
  uint16_t id = 0, occurrence = 0;
  ASSERT_EQ(MC_usLireGroupeSuivant(zone, 0, &id, &occurrence), 0u);
  EXPECT_EQ(id, 0x0A0A);
  EXPECT_EQ(occurrence, 2);
  EXPECT_EQ(ZM[zone]->OffsetGroupe, 10u);
  EXPECT_EQ(MC_usLireGroupeSuivant(zone, 0, &id, &occurrence), 0xF805);
  // Kept: from the start no search runs, the cursor stays there and the
  // occurrence is 0, so repeated calls give the first group again.
  MC_usPositionnerDebut(zone);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(MC_usLireGroupeSuivant(zone, 0, &id, &occurrence), 0u);
    EXPECT_EQ(id, 0x0A0A);
    EXPECT_EQ(occurrence, 0);
    EXPECT_EQ(Curseur(zone), "groupe 0000@0 0+0, champ 0@0 0+0");
  }
  // A next group with identifier 0: every search for it succeeds without
  // moving, until the occurrence wraps; the call still ends, at the start.
  const uint16_t z0 = Sur("0A 0A 01 00  00 00 01 00");
  MC_usAvancerGroupeSuivant(z0, 1, 0, &id);
  ASSERT_EQ(MC_usLireGroupeSuivant(z0, 0, &id, &occurrence), 0u);
  EXPECT_EQ(id, 0);
  EXPECT_EQ(occurrence, 0);
  EXPECT_EQ(ZM[z0]->OffsetGroupe, 0u);
  // Fields of a found group.
  unsigned char *donnees = nullptr;
  uint32_t longueur = 0;
  TraceCapture trace({3});
  ASSERT_EQ(MC_usRechercherChamp(zone, 0x0A0A, 2, 1, 0, &donnees, &longueur), 0u);
  EXPECT_EQ(donnees, ZM[zone]->Buffer + 14);
  EXPECT_EQ(longueur, 1u);
  EXPECT_EQ(MC_usRechercherChamp(zone, 0x0A0A, 2, 2, 0, &donnees, &longueur), 0xF805);
  EXPECT_EQ(MC_usRechercherChamp(zone, 0x0A0A, 5, 1, 0, &donnees, &longueur), 0xF806);
  EXPECT_EQ(MC_usRechercherChamp(zone, 0x0A0A, 1, 0, 0, &donnees, &longueur), 0xF802);
  const auto lignes = trace.Lines();
  ASSERT_FALSE(lignes.empty());
  EXPECT_EQ(lignes[0], "{ MC_usRechercherChamp: identifiant = 2570, occurrenceGroupe = 2, numero = 1");
  EXPECT_TRUE(Contient(lignes, "   cr = 0xF806"));
  EXPECT_EQ(MC_usRechercherChamp(Creer(4, 0), 1, 1, 1, 0, &donnees, &longueur), 0xF811);
}

// Received data: groups and fields whose lengths run past the data.
TEST(ZoneNavigation, OverlongGroupKeepsTheCursorAndNothingIsReadOutside) {
  const uint16_t zone = Sur("01 02 09 02 41 42");  // claims 9 bytes, 3 follow
  uint16_t id = 0;
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 0, &id), 0xF810);
    EXPECT_NE(trace.Text().find("ERREUR :  La taille du groupe (9) d\xe9passe la taille des donn\xe9"
                                "es.\n"),
              std::string::npos);
  }
  EXPECT_EQ(id, 0);
  EXPECT_EQ(Curseur(zone), "groupe 0102@0 3+9, champ 0@3 0+0");
  EXPECT_EQ(Suivant(zone), "1@4[41 42]");
  {
    // The next field would start at the data end: not read.
    TraceCapture trace({3});
    EXPECT_EQ(Suivant(zone), "F810");
    EXPECT_TRUE(Contient(trace.Lines(), "ERREUR :  Buffer trop petit pour coder la longueur (0) (tailleBuffer = 6)."));
  }
  EXPECT_EQ(Curseur(zone), "groupe 0102@0 3+9, champ 1@3 1+2");
  EXPECT_EQ(Lu(MC_usFinZone, zone), 1u);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 1, &id), 0xF805);
  // Nothing may be inserted behind a group that runs past the data.
  const uint16_t large = Sur("01 02 09 02 41 42", 32);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(large, 1, 0, &id), 0xF810);
  EXPECT_EQ(MC_usAjouterGroupe(large, 5), 0xF810);

  // A field running past the data inside such a group is not handed out.
  const uint16_t champ = Sur("01 02 09 05 41 42");
  EXPECT_EQ(MC_usAvancerGroupeSuivant(champ, 1, 0, &id), 0xF810);
  EXPECT_EQ(Suivant(champ), "F810");
  unsigned char *p;
  EXPECT_EQ(MC_usExtraireChamp(champ, &p, 0, 1), 0xF810);
  EXPECT_EQ(MC_usModifierChamp(champ, ZM[champ]->Buffer, 0, 1, 0), 0xF810);
  EXPECT_EQ(MC_usAjouterChamp(champ, ZM[champ]->Buffer, 1), 0xF804);

  // A data length beyond the buffer is read only up to the buffer.
  const uint16_t court = Sur("01 02 01 00", 0, 1000);
  ASSERT_EQ(MC_usAvancerGroupeSuivant(court, 1, 0, &id), 0u);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(court, 1, 0, &id), 0xF805);
}

// --------------------------------------------------------------- editing

TEST(ZoneEdition, AddingGroupsAndFieldsAndAFullBuffer) {
  const uint16_t zone = Creer(7);
  EXPECT_EQ(MC_usAjouterChamp(zone, nullptr, 0), 0xF805);  // no current group
  const Octets ab = Hex("41 42");
  ASSERT_EQ(MC_usAjouterGroupe(zone, 0x0102), 0u);
  ASSERT_EQ(MC_usAjouterChamp(zone, ab.data(), 2), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 03 02 41 42");
  // One byte left: refusals change nothing.
  const ZoneMemoire avant = *ZM[zone];
  TraceCapture trace({3});
  EXPECT_EQ(MC_usAjouterGroupe(zone, 1), 0xF804);
  EXPECT_EQ(MC_usAjouterChamp(zone, ab.data(), 2), 0xF804);
  EXPECT_EQ(std::memcmp(&avant, ZM[zone], sizeof avant), 0);
  ASSERT_EQ(MC_usAjouterChamp(zone, nullptr, 0), 0u);  // exactly fills the 7 bytes
  const auto lignes = trace.Lines();
  ASSERT_EQ(lignes.size(), 15u);
  EXPECT_EQ(lignes[0], "{ MC_usAjouterGroupe : identifiant = 1");
  EXPECT_EQ(lignes[1], "   cr = 0xF804");
  EXPECT_EQ(lignes[4], "   cr = 0xF804");
  EXPECT_EQ(lignes[13], "  cr = 0x0000, tailleDonnees = 7");
  EXPECT_EQ(MC_usModifierChamp(zone, ab.data(), 0, 1, 1), 0xF804);

  // Groups go after the current one; a field right after entering a group
  // goes before its fields; identifier 0 makes a group that takes none.
  ASSERT_EQ(MC_usRedimensionner(zone, 20), 0u);
  ASSERT_EQ(MC_usAjouterGroupe(zone, 0x0304), 0u);
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0102, 1, 0), 0u);
  ASSERT_EQ(MC_usAjouterGroupe(zone, 0x0506), 0u);
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0102, 1, 0), 0u);
  ASSERT_EQ(MC_usAjouterChamp(zone, Hex("5A").data(), 1), 0u);
  EXPECT_EQ(ZM[zone]->NumeroChamp, 1);
  EXPECT_EQ(Lu(MC_usLireCompteurGroupe, zone), 1);
  EXPECT_EQ(Lu(MC_usLireCompteurChamp, zone), 1);
  ASSERT_EQ(MC_usAjouterGroupe(zone, 0), 0u);
  EXPECT_EQ(MC_usAjouterChamp(zone, ab.data(), 2), 0xF805);
  EXPECT_EQ(MC_usAjouterChamp(zone, nullptr, 2), 0xF802);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 06 01 5A 02 41 42 00 00 00 00 05 06 00 03 04 00");
  MC_Liberer(ZM[zone]->Buffer);
}

TEST(ZoneEdition, ChangingAFieldInPlace) {
  EXPECT_EQ(MC_usModifierChamp(Creer(32), nullptr, 0, 0, 0), 0xF805);
  const uint16_t zone = Construire(32, {{0x0102, {Hex("41 42")}}, {0x0304, {}}}, 1);
  const Octets xy = Hex("58 59");
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usModifierChamp(zone, xy.data(), 1, 2, 0), 0xFFFE);
    EXPECT_EQ(MC_usModifierChamp(zone, xy.data(), 3, 0, 1), 0xFFFE);
    const auto lignes = trace.Lines();
    EXPECT_TRUE(Contient(lignes,
                         "ERREUR : Agrandissement non autorise Position + Longueur > "
                         "ZM[Zone]->LongueurChamp (2)."));
    EXPECT_TRUE(Contient(lignes, "ERREUR :  position > longueur du champ (2)."));
  }
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 03 02 41 42 03 04 00");
  // Overwriting never shrinks: the bytes after the written ones are kept.
  EXPECT_EQ(MC_usModifierChamp(zone, xy.data(), 0, 1, 0), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 03 02 58 42 03 04 00");
  EXPECT_EQ(MC_usModifierChamp(zone, xy.data(), 2, 0, 0), 0u);
  // Growth with the same coding size keeps the first bytes.
  const Octets mn = Hex("4D 4E");
  EXPECT_EQ(MC_usModifierChamp(zone, mn.data(), 1, 2, 1), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 04 03 58 4D 4E 03 04 00");
  EXPECT_EQ(Curseur(zone), "groupe 0102@0 3+4, champ 1@3 1+3");
  EXPECT_EQ(MC_usModifierChamp(zone, mn.data(), 3, 2, 1), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 06 05 58 4D 4E 4D 4E 03 04 00");
  // The following group is still reachable.
  uint16_t id;
  EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 1, &id), 0u);
  EXPECT_EQ(id, 0x0304);
}

// Kept on purpose: when the field's coded length grows, nothing shifts the
// old data, so the new coding covers its first bytes.
TEST(ZoneEdition, LengtheningWithALongerFieldCoding) {
  Octets ancien(127);
  for (int i = 0; i < 127; ++i) ancien[i] = static_cast<unsigned char>(i);
  const uint16_t zone = Construire(400, {{0x0102, {ancien}}, {0x0304, {Hex("E0")}}}, 1);
  ASSERT_EQ(MC_usModifierChamp(zone, Hex("5A").data(), 127, 1, 1), 0u);
  const Octets d = Donnees(zone);
  // Header 01 02 81 82 (content 130), then 81 80 and 128 bytes: the old
  // bytes from 1 on, then the first byte that followed the field (the next
  // group's identifier), then the new byte.
  ASSERT_EQ(d.size(), 4u + 130 + 5);
  EXPECT_EQ(HexDe(d.data(), 6), "01 02 81 82 81 80");
  EXPECT_EQ(Octets(d.begin() + 6, d.begin() + 132), Octets(ancien.begin() + 1, ancien.end()));
  EXPECT_EQ(HexDe(d.data() + 132, 7), "03 5A 03 04 02 01 E0");
  EXPECT_EQ(Curseur(zone), "groupe 0102@0 4+130, champ 1@4 2+128");
}

// Kept on purpose: an empty field lengthened to 255 bytes also grows the
// group's header, and the header move overwrites the byte after the field.
// With no spare room for that byte the change is refused instead.
TEST(ZoneEdition, LengtheningAnEmptyFieldPastTheHeaderMove) {
  const Octets x(255, 0x78);
  const uint16_t zone = Construire(400, {{0x0102, {Hex("41 42"), {}}}, {0x0304, {Hex("43")}}}, 2);
  ASSERT_EQ(MC_usModifierChamp(zone, x.data(), 0, 255, 1), 0u);
  const Octets d = Donnees(zone);
  ASSERT_EQ(d.size(), 271u);
  EXPECT_EQ(HexDe(d.data(), 11), "01 02 82 01 05 02 41 42 82 00 FF");
  EXPECT_EQ(Octets(d.begin() + 11, d.begin() + 266), x);
  EXPECT_EQ(HexDe(d.data() + 266, 5), "00 04 02 01 43");  // 03 overwritten

  // 266 bytes hold the result, but the header move would write byte 266.
  const uint16_t juste = Construire(266, {{0x0102, {Hex("41 42"), {}}}});
  const ZoneMemoire avant = *ZM[juste];
  EXPECT_EQ(MC_usModifierChamp(juste, x.data(), 0, 255, 1), 0xF804);
  EXPECT_EQ(std::memcmp(&avant, ZM[juste], sizeof avant), 0);
  EXPECT_EQ(HexDe(Donnees(juste)), "01 02 04 02 41 42 00");
  const uint16_t assez = Construire(267, {{0x0102, {Hex("41 42"), {}}}});
  EXPECT_EQ(MC_usModifierChamp(assez, x.data(), 0, 255, 1), 0u);
  EXPECT_EQ(ZM[assez]->TailleDonnees, 266u);
  EXPECT_EQ(HexDe(Donnees(assez).data(), 11), "01 02 82 01 05 02 41 42 82 00 FF");
}

// Random additions at random places, every byte compared with a separate
// encoder of the same groups and fields.
struct Groupe {
  uint16_t id;
  std::vector<Octets> champs;
};

void CoderTest(Octets &o, uint32_t v) {
  const int k = v < 0x80 ? 0 : v < 0xFF ? 1 : v < 0xFFFF ? 2 : v < 0xFFFFFF ? 3 : 4;
  if (k != 0) o.push_back(static_cast<unsigned char>(0x80 + k));
  for (int i = std::max(k - 1, 0); i >= 0; --i) o.push_back(static_cast<unsigned char>(v >> (8 * i)));
}

Octets Encoder(const std::vector<Groupe> &groupes) {
  Octets o;
  for (const auto &g : groupes) {
    Octets contenu;
    for (const auto &c : g.champs) {
      CoderTest(contenu, static_cast<uint32_t>(c.size()));
      contenu.insert(contenu.end(), c.begin(), c.end());
    }
    o.push_back(static_cast<unsigned char>(g.id >> 8));
    o.push_back(static_cast<unsigned char>(g.id));
    CoderTest(o, static_cast<uint32_t>(contenu.size()));
    o.insert(o.end(), contenu.begin(), contenu.end());
  }
  return o;
}

TEST(ZoneEdition, RandomAdditionsMatchAnIndependentEncoder) {
  std::mt19937 alea(42);
  const uint32_t longueurs[] = {0, 1, 2, 125, 126, 127, 128, 200, 252, 253, 254, 255, 300};
  // Header sizes before and after a field added behind others.
  std::set<std::pair<uint32_t, uint32_t>> entetes;
  for (int tour = 0; tour < 20; ++tour) {
    const uint16_t zone = Creer(1 + alea() % 64);
    std::vector<Groupe> modele;
    int groupe = -1, champ = -1;  // the cursor in the model
    for (int op = 0; op < 120; ++op) {
      const unsigned choix = alea() % 10;
      uint16_t cr;
      if (choix == 0 || modele.empty()) {
        const auto id = static_cast<uint16_t>(1 + alea() % 0xFFFE);
        while ((cr = MC_usAjouterGroupe(zone, id)) == 0xF804)
          ASSERT_EQ(MC_usRedimensionner(zone, ZM[zone]->TailleBuffer + 1 + alea() % 300), 0u);
        ASSERT_EQ(cr, 0u);
        modele.insert(modele.begin() + (groupe + 1), Groupe{id, {}});
        ++groupe;
        champ = -1;
      } else if (choix == 1) {
        // Move: to the start, then to a random group and field, read back.
        ASSERT_EQ(MC_usPositionnerDebut(zone), 0u);
        groupe = static_cast<int>(alea() % modele.size());
        uint16_t id;
        ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, static_cast<uint16_t>(groupe + 1), alea() % 2, &id), 0u);
        ASSERT_EQ(id, modele[groupe].id);
        champ = -1;
        const auto n = modele[groupe].champs.size();
        if (n != 0 && alea() % 2) {
          champ = static_cast<int>(alea() % n);
          Champ c;
          ASSERT_EQ(ChampSuivant(zone, &c, static_cast<uint16_t>(champ + 1)), 0u);
          ASSERT_EQ(Octets(c.donnees, c.donnees + c.longueur), modele[groupe].champs[champ]);
        }
      } else {
        Octets valeur(longueurs[alea() % std::size(longueurs)]);
        for (auto &b : valeur) b = static_cast<unsigned char>(alea());
        const uint32_t entete = ZM[zone]->TailleEnteteGroupe;
        while ((cr = MC_usAjouterChamp(zone, valeur.data(), static_cast<uint32_t>(valeur.size()))) == 0xF804)
          ASSERT_EQ(MC_usRedimensionner(zone, ZM[zone]->TailleBuffer + 1 + alea() % 300), 0u);
        ASSERT_EQ(cr, 0u);
        if (champ >= 0) entetes.insert({entete, ZM[zone]->TailleEnteteGroupe});
        auto &champs = modele[groupe].champs;
        champs.insert(champs.begin() + (champ + 1), valeur);
        ++champ;
        ASSERT_EQ(ZM[zone]->NumeroChamp, champ + 1);
      }
      ASSERT_EQ(Donnees(zone), Encoder(modele)) << "tour " << tour << ", operation " << op;
      ASSERT_LE(ZM[zone]->TailleDonnees, ZM[zone]->TailleBuffer);
    }
    MC_Liberer(ZM[zone]->Buffer);
    MC_usLibererZoneMemoire(zone);
  }
  // Both header growths happened with fields to move behind the header.
  EXPECT_EQ(entetes.count({3, 4}), 1u);
  EXPECT_EQ(entetes.count({4, 5}), 1u);
}

// ---------------------------------------------------------------- checks

using mc::test::ChampDico;
using mc::test::GroupeDico;

// A structured zone over groups of text fields.
using GroupeZone = std::pair<uint16_t, std::vector<std::string>>;
uint16_t Message(const std::vector<GroupeZone> &groupes) {
  std::vector<Groupe> g;
  for (const auto &[id, champs] : groupes) {
    g.push_back({id, {}});
    for (const auto &c : champs) g.back().champs.emplace_back(c.begin(), c.end());
  }
  return Sur(Encoder(g));
}

// The library started on a dictionary for the object's lifetime.
struct Dictionnaire {
  explicit Dictionnaire(const std::vector<GroupeDico> &groupes) {
    EXPECT_EQ(installation.Ecrire(groupes), 0);
    char *v1 = nullptr, *v2 = nullptr;
    EXPECT_EQ(MC_usInitLIB(&v1, &v2), 0);
    MC_Liberer(v1);
    MC_Liberer(v2);
  }
  ~Dictionnaire() { MC_usTermLIB(); }
  mc::test::InstallationTables installation;
};

// What the allocation counter keeps of a block of n bytes never given back.
uint32_t Garde(size_t n) {
  void *p = malloc(n);
  const auto taille = static_cast<uint32_t>(malloc_usable_size(p));
  free(p);
  return taille;
}

bool AuDebut(uint16_t zone) { return ZM[zone]->CompteurGroupe == 0 && ZM[zone]->OffsetGroupe == 0; }

TEST(ZoneSyntaxCheck, CodingDefectsMessagesAndCursor) {
  const struct {
    const char *hex;
    uint16_t attendu;
    const char *erreur;
    size_t octetsZ = 0;  // 'Z' bytes appended
  } cas[] = {
      {"", 0xF810, "ERREUR : Buffer trop petit pour coder l'identifiant (tailleBuffer = 0)."},
      {"01 02 00", 0xF810, "ERREUR : Groupe de longueur 0 => ERREUR"},
      {"01 02 04 02 41 42 00", 0, nullptr},
      {"01 02 05 02 41 42 00", 0xF810,
       "ERREUR : Longueur du groupe (5 + 3) depasse la longueur des donnees d'entree restante (7)"},
      {"01 02 03 03 41 42 43", 0xF810, "ERREUR : Impossible de lire la longueur du champ"},
      {"01 02 01 00 09 09", 0xF810, "ERREUR : Buffer trop petit pour coder l'identifiant (tailleBuffer = 6)."},
      // Identifier 0, 0x80 for 128 and non-minimal forms all pass.
      {"00 00 81 03 81 01 41 00 07 82 00 81 80", 0, nullptr, 128},
  };
  for (const auto &c : cas) {
    Octets octets = Hex(c.hex);
    octets.resize(octets.size() + c.octetsZ, 'Z');
    const uint16_t zone = Sur(octets, static_cast<uint32_t>(octets.size() + 4));  // spare room after the data
    TraceCapture trace({1, 3});
    EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(zone), c.attendu) << c.hex;
    if (c.erreur != nullptr) {
      EXPECT_TRUE(Contient(trace.Lines(), c.erreur)) << c.hex;
    }
  }

  // The success trace, and the cursor left on the last group at its last field.
  const uint16_t zone = Sur("01 02 04 02 41 42 00 03 04 02 01 43");
  {
    TraceCapture trace({1});
    ASSERT_EQ(MC_usControlerSyntaxeZoneMemoire(zone), 0u);
    EXPECT_EQ(Texte(trace.Lines()),
              "{ MC_usControlerSyntaxeZoneMemoire\n  Longueur des donnees d'entree (12)\n  usIdGroupe = 258\n"
              "  stLongueurGroupe = 4, stNbOctetsLongueurGroupe = 3\n  ulTailleDataIn = 5\n"
              "  stLongueurGroupe = 1\n  stLongueurGroupe = 0\n  usIdGroupe = 772\n"
              "  stLongueurGroupe = 2, stNbOctetsLongueurGroupe = 3\n  ulTailleDataIn = 0\n"
              "  stLongueurGroupe = 0\n  MC_usControlerSyntaxeZoneMemoire usResultat = 0x0000\n}\n");
  }
  EXPECT_EQ(Curseur(zone), "groupe 0304@7 3+2, champ 1@10 1+1");
  EXPECT_EQ(Lu(MC_usFinGroupe, zone), 1u);

  // A data length beyond the buffer is never read past it; bad numbers.
  EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(Sur("01 02 04 02 41 42 00", 0, 12)), 0xF810);
  EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(100), 0xF807);
  EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(Creer(4, 0)), 0xF811);
  EXPECT_EQ(MC_usControlerFormatZoneMemoire(100), 0xF807);
}

// 0x0101: a mandatory number of 1 to 3 digits, then OUI or NON; 0x0202: a
// mandatory free field; 0x0303: listed without fields.  Then records that
// point outside their arrays: 0x0606's allowed values, 0x0707's fields and
// 0x0808's count of values.
std::vector<GroupeDico> DicoMessages() {
  std::vector<GroupeDico> dico = {{0x0101, {{1, 1, 3, 'N'}, {0, 0, 0, 'A', {"OUI", "NON"}}}},
                                  {0x0202, {{1, 1, 0, 'X'}}},
                                  {0x0303, {}},
                                  {0x0606, {{0, 0, 0, 'X', {"A"}}}},
                                  {0x0707, {}},
                                  {0x0808, {{0, 0, 0, 'X', {"A"}}}}};
  dico[3].champs[0].premiereValeur = 500;
  dico[4].premierChamp = 900;
  dico[4].nbChamps = 2;
  dico[5].champs[0].nbValeurs = 300;
  return dico;
}

TEST(ZoneFormatCheck, GroupsFieldCountsRanksAndCursor) {
  const Dictionnaire charge(DicoMessages());
  const struct {
    std::vector<GroupeZone> groupes;
    uint16_t attendu;
    const char *erreur = nullptr;  // then the cursor stays on the last group
  } cas[] = {
      {{{0x0101, {"12", "OUI"}}, {0x0303, {"libre", "", "x"}}, {0x0202, {"Z"}}}, 0},
      {{{0x0101, {"12"}}}, 0xA801},
      {{{0x0101, {"12", "OUI", "X"}}}, 0xA801},
      {{{0x0202, {"Z"}}, {0x0101, {"1"}}}, 0xA802},
      {{{0x0101, {"12", "NON"}}, {0x0101, {"1X", "OUI"}}}, 0x9003},
      {{{0x0101, {"1234", "NON"}}}, 0x9001},
      {{{0x0101, {"12", "PEUT"}}}, 0x9002},
      // Fields of a group listed without fields still count in the rank.
      {{{0x0303, {"a", "b", "c"}}, {0x0202, {""}}}, 0x9004},
      {{{0x0101, {}}}, 0xF810},
      // A fetch outside the dictionary's arrays.
      {{{0x0202, {"Z"}}, {0x0606, {"A"}}}, 0xA002, "ERREUR : ERREUR  groupe inconnu, usResultat= 0xa002"},
      {{{0x0202, {"Z"}}, {0x0707, {"A"}}}, 0xF805, "ERREUR : MC_usDonnerInformationChamp=ERREUR GROUPE CHAMP ABSENT "},
      {{{0x0202, {"Z"}}, {0x0808, {"B"}}}, 0xA002, "ERREUR : ERREUR  groupe inconnu, usResultat= 0xa002"},
      {{{0x0202, {"Z"}}, {0x0808, {"A"}}}, 0},
  };
  for (const auto &c : cas) {
    const uint16_t zone = Message(c.groupes);
    TraceCapture trace({2, 7});
    EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), c.attendu) << HexDe(Donnees(zone));
    if (c.erreur != nullptr) {
      EXPECT_TRUE(Contient(trace.Lines(), c.erreur)) << HexDe(Donnees(zone));
      EXPECT_EQ(ZM[zone]->IdGroupe, c.groupes.back().first);
    } else if (c.attendu != 0xF810) {
      EXPECT_TRUE(AuDebut(zone)) << HexDe(Donnees(zone));
    }
  }

  // An unknown second group: its code, the cursor left on it, and the list
  // of groups never counted back.
  const uint16_t zone = Message({{0x0101, {"7", "NON"}}, {0x0505, {"Z"}}});
  {
    TraceCapture trace({2});
    const uint32_t avant = ulMemAllouee;
    EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), 0xA002);
    EXPECT_EQ(ulMemAllouee - avant, Garde(2 * 6) + Garde(2 * sizeof(TCHAMP)) + 4 * Garde(4));
    const auto lignes = trace.Lines();
    EXPECT_TRUE(Contient(lignes, "ERREUR : ERREUR groupe inconnu = 0x1285"));
    EXPECT_TRUE(Contient(lignes, "ERREUR : ERREUR usResultat= 0xa002"));
  }
  EXPECT_EQ(ZM[zone]->IdGroupe, 0x0505);
  EXPECT_EQ(ZM[zone]->CompteurGroupe, 2);

  // A zone without allowed values keeps only the field records.
  const uint16_t simple = Message({{0x0202, {"Z"}}, {0x0303, {"Y"}}});
  const uint32_t avant = ulMemAllouee;
  EXPECT_EQ(MC_usControlerFormatZoneMemoire(simple), 0u);
  EXPECT_EQ(ulMemAllouee - avant, Garde(sizeof(TCHAMP)) + Garde(0));

  // Every allocation failing in turn: a status, never a crash or a leak.
  const uint16_t valeurs = Message({{0x0101, {"5", "OUI"}}});
  const unsigned long debut = mc::testing::NombreAllocations();
  ASSERT_EQ(MC_usControlerFormatZoneMemoire(valeurs), 0u);
  const unsigned long nombre = mc::testing::NombreAllocations() - debut;
  for (unsigned long n = 1; n <= nombre; ++n) {
    mc::testing::FaireEchouerAllocation(n);
    const uint16_t cr = MC_usControlerFormatZoneMemoire(valeurs);
    EXPECT_TRUE(cr == 0 || cr == 0xF801 || cr == 0x9001 || cr == 0x9002 || cr == 0xA001) << n << ": " << cr;
  }
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usControlerFormatZoneMemoire(valeurs), 0xF801);  // the list of groups
  EXPECT_TRUE(AuDebut(valeurs));
}

TEST(ZoneFormatCheck, FormatLengthPresenceAndValueRules) {
  const struct {
    ChampDico regle;
    std::string champ;
    uint16_t attendu;
  } cas[] = {
      {{1, 1, 0, 'X'}, "", 0x9001},  // mandatory and empty
      {{0, 1, 0, 'X'}, "", 0},
      {{1, 1, 0, 'A'}, "   ", 0x9001},  // blanks only: nothing significant
      {{1, 0, 0, 'N'}, "", 0},          // no minimum: presence alone passes
      {{1, 1, 0, 'N'}, "12A", 0x9001},
      {{0, 0, 0, 'L'}, "Ab", 0x9001},
      {{0, 1, 2, 'L'}, "AB  ", 0},  // trailing blanks not counted
      {{0, 1, 2, 'A'}, "AB3", 0x9001},
      {{0, 3, 0, 'A'}, "AB", 0x9001},
      {{0, 0, 0, 'D'}, "20240229", 0},
      {{0, 0, 0, 'D'}, "230229", 0x9001},
      {{0, 0, 0, 'D'}, "12345", 0},  // a length other than 6, 8, 12 is no date to check
      {{0, 0, 0, 'A', {"OUI", "NON"}}, "NON  ", 0},
      {{0, 0, 0, 'N', {"7"}}, "007", 0x9001},  // leading zeros kept
      {{0, 0, 0, 'N', {"007"}}, "007", 0},
      {{0, 0, 0, 'X', {"abc"}}, "ABC", 0},
      {{0, 0, 0, 'A', {"OUI"}}, "   ", 0},  // nothing significant: no value to match
      {{0, 0, 0, 'A', {"OUI"}}, "NON", 0x9001},
  };
  std::vector<GroupeDico> dico;
  for (size_t i = 0; i < std::size(cas); ++i) dico.push_back({static_cast<uint16_t>(0x1000 + i), {cas[i].regle}});
  const Dictionnaire charge(dico);
  for (size_t i = 0; i < std::size(cas); ++i) {
    const uint16_t zone = Message({{static_cast<uint16_t>(0x1000 + i), {cas[i].champ}}});
    EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), cas[i].attendu) << i << ": '" << cas[i].champ << "'";
    EXPECT_TRUE(AuDebut(zone)) << i;
  }

  // The trace of a value matching none.
  const uint16_t zone = Message({{0x1011, {"NON"}}});
  TraceCapture trace({2});
  EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), 0x9001);
  EXPECT_EQ(Texte(trace.Lines()),
            "{ MC_usControlerFormatZoneMemoire\n   MC_usDonnerListeGroupes= 0x0000\n   Groupe = 0xd\n"
            "   MC_usDonnerInformationChamp= 0x0000\n  MC_usAvancerChampSuivant= 0x0000\n"
            "  Numero du champ = 1, Taille du champ = 3\n  Valeur du champ = NON\n"
            "  Controle du champ suivant son type : bRetour= 0x0001 (1/OK)\n  MC_usDonnerChampValeur= 0x0000\n"
            "  ERREUR : ERREUR valeur de champ, usResultat= 0x9001\n"
            "  MC_usControlerFormatZoneMemoire:usResultat = 0x9001\n"
            "  FIN de la fonction MC_usControlerFormatZoneMemoire\n}\n");
}

// Random bytes, some shaped like zone data, in exact-size heap blocks (the
// sanitizers catch any read outside them): both checks over a dictionary
// with records pointing outside its arrays, then every walking and editing
// operation.
TEST(ZoneFormatCheck, RandomZonesNeverReadOutsideTheBuffer) {
  const Dictionnaire charge(DicoMessages());
  std::mt19937 alea(99);
  const unsigned char motifs[] = {0x00, 0x01, 0x02, 0x03, 0x06, 0x07, 0x08, 0x41,
                                  0x7F, 0x80, 0x81, 0x82, 0x83, 0x84, 0x85, 0xFF};
  for (int essai = 0; essai < 3000; ++essai) {
    Octets octets(1 + alea() % 28);
    for (auto &o : octets) o = alea() % 3 ? motifs[alea() % sizeof motifs] : static_cast<unsigned char>(alea());
    const uint32_t donnees = alea() % 32;
    const uint16_t zone = Sur(octets, 0, donnees);
    const uint16_t syntaxe = MC_usControlerSyntaxeZoneMemoire(zone);
    const uint16_t format = MC_usControlerFormatZoneMemoire(zone);
    EXPECT_TRUE(syntaxe == 0 || syntaxe == 0xF810) << syntaxe;
    if (syntaxe != 0) {
      EXPECT_EQ(format, syntaxe);
    }
    uint16_t id, occurrence;
    Champ c;
    unsigned sommes = 0;
    for (int pas = 0; pas < 64; ++pas) {
      const uint16_t cr = alea() % 2 ? ChampSuivant(zone, &c) : MC_usAvancerGroupeSuivant(zone, 1, alea() % 2, &id);
      if (cr == 0 && c.donnees != nullptr) sommes += std::accumulate(c.donnees, c.donnees + c.longueur, 0u);
      unsigned char *p;
      if (MC_usExtraireChamp(zone, &p, 0, ZM[zone]->LongueurChamp) == 0)
        sommes += std::accumulate(p, p + ZM[zone]->LongueurChamp, 0u);
      const unsigned char x = 0x5A;
      MC_usModifierChamp(zone, &x, 0, ZM[zone]->LongueurChamp ? 1 : 0, 1);
      MC_usAjouterChamp(zone, &x, 1);
      MC_usAjouterGroupe(zone, 9);
      c = Champ();
    }
    MC_usPositionnerFin(zone, 1);
    MC_usPositionnerDebut(zone);
    MC_usAvancerGroupeSuivant(zone, 1, 0, &id);
    for (int pas = 0; pas < 16 && MC_usLireGroupeSuivant(zone, 1, &id, &occurrence) == 0; ++pas) {
    }
    MC_usRechercherGroupe(zone, static_cast<uint16_t>(octets[0] << 8 | (octets.size() > 1 ? octets[1] : 0)), 2, 1);
    unsigned char *trouve;
    uint32_t longueur;
    if (MC_usRechercherChamp(zone, 0x0102, 1, 3, 1, &trouve, &longueur) == 0)
      sommes += std::accumulate(trouve, trouve + longueur, 0u);
    EXPECT_LE(ZM[zone]->TailleDonnees, std::max<size_t>(donnees, octets.size()));
    (void)sommes;
    MC_usLibererZoneMemoire(zone);
  }
}

}  // namespace
