// Memory zones: length and header coding, the zone table, cursor navigation,
// in-place editing and the checks, including hostile received data.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/memory.h"
#include "support/dictionary_builder.h"
#include "support/mc_test.h"

using mc::test::TraceCapture;
using Octets = std::vector<unsigned char>;

namespace {

Octets Hex(const std::string &texte) {
  Octets o;
  std::string chiffres;
  for (char c : texte)
    if (c != ' ') chiffres += c;
  for (size_t i = 0; i + 1 < chiffres.size(); i += 2)
    o.push_back(static_cast<unsigned char>(std::stoul(chiffres.substr(i, 2), nullptr, 16)));
  return o;
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

// A structured zone over the caller's bytes, in place.
uint16_t Sur(Octets &octets) {
  uint16_t zone = 0xFFFF;
  EXPECT_EQ(MC_usInitialiserZoneMemoire(octets.data(), static_cast<uint32_t>(octets.size()), &zone, 1), 0u);
  return zone;
}

bool Contient(const std::vector<std::string> &lignes, const std::string &fin) {
  return std::any_of(lignes.begin(), lignes.end(), [&](const std::string &l) {
    return l.size() >= fin.size() && l.compare(l.size() - fin.size(), fin.size(), fin) == 0;
  });
}

struct Champ {
  uint16_t numero = 0;
  unsigned char *donnees = nullptr;
  uint32_t longueur = 0;
};

uint16_t ChampSuivant(uint16_t zone, Champ *c, uint16_t nombre = 1) {
  return MC_usAvancerChampSuivant(zone, nombre, &c->numero, &c->donnees, &c->longueur);
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
  struct Ligne {
    uint32_t longueur;
    const char *hex;
  } const lignes[] = {
      {0, "00"},
      {5, "05"},
      {127, "7F"},
      {128, "81 80"},
      {254, "81 FE"},
      {255, "82 00 FF"},
      {300, "82 01 2C"},
      {65534, "82 FF FE"},
      {65535, "83 00 FF FF"},
      {16777214, "83 FF FF FE"},
      {16777215, "84 00 FF FF FF"},
      {0xFFFFFFFFu, "84 FF FF FF FF"},
  };
  for (const auto &l : lignes) {
    SCOPED_TRACE(l.longueur);
    const Octets attendu = Hex(l.hex);
    unsigned char octets[8];
    std::memset(octets, 0xEE, sizeof octets);
    unsigned char *buffer = octets;
    EXPECT_EQ(MC_stCoderLongueur(l.longueur, 1, &buffer), attendu.size());
    EXPECT_EQ(HexDe(octets + 1, attendu.size()), l.hex);
    EXPECT_EQ(octets[0], 0xEE);
    EXPECT_EQ(octets[1 + attendu.size()], 0xEE);
    EXPECT_EQ(MC_stCalculerTailleLongueur(l.longueur), attendu.size());
    EXPECT_EQ(MC_stCalculerTailleChamp(l.longueur), static_cast<uint32_t>(l.longueur + attendu.size()));
    EXPECT_EQ(MC_stCalculerTailleEnteteGroupe(l.longueur), 2 + attendu.size());
    // Decoding gives back the value from a buffer holding exactly the code.
    uint32_t longueur = 0, nb = 0;
    EXPECT_EQ(MC_stDecoderLongueur(attendu.data(), static_cast<uint32_t>(attendu.size()), 0, &longueur, &nb), 0u);
    EXPECT_EQ(longueur, l.longueur);
    EXPECT_EQ(nb, attendu.size());
  }
  EXPECT_EQ(MC_stCalculerTailleEnteteGroupe(16777215), 7u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(2, 2u, 0u), 7u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(1, 200u), 206u);
  EXPECT_EQ(MC_stCalculerTailleGroupe1(0), 3u);
  EXPECT_EQ(MC_stCalculerTailleGroupe2(202), 206u);
  EXPECT_EQ(MC_stCalculerTailleGroupe2(16777214), 16777214u + 6);
  EXPECT_EQ(MC_stCalculerTailleGroupe2(16777215), 16777215u + 7);
  unsigned char *nul = nullptr;
  EXPECT_EQ(MC_stCoderLongueur(5, 0, &nul), 0u);
  EXPECT_EQ(MC_stCoderLongueur(5, 0, nullptr), 0u);
}

TEST(ZoneCodage, HeadersCodeAndDecode) {
  unsigned char octets[16] = {};
  unsigned char *buffer = octets;
  EXPECT_EQ(MC_stCoderEnteteGroupe(0x1234, 202, 2, &buffer), 4u);
  EXPECT_EQ(HexDe(octets, 7), "00 00 12 34 81 CA 00");
  uint16_t id = 0;
  uint32_t longueur = 0, entete = 0;
  EXPECT_EQ(MC_usDecoderEnteteGroupe(octets, 7, 2, &id, &longueur, &entete), 0u);
  EXPECT_EQ(id, 0x1234);
  EXPECT_EQ(longueur, 202u);
  EXPECT_EQ(entete, 4u);
  // A zone record stands for the address of its buffer pointer.
  const uint16_t zone = Creer(8);
  EXPECT_EQ(MC_stCoderEnteteGroupe(0, 16777215, 0, reinterpret_cast<unsigned char **>(ZM[zone])), 7u);
  EXPECT_EQ(HexDe(ZM[zone]->Buffer, 8), "00 00 84 00 FF FF FF 00");
}

// Decoding is lenient where it can be and never reads outside the buffer.
TEST(ZoneCodage, DecodingTable) {
  struct Ligne {
    const char *hex;
    uint32_t taille, offset;
    uint16_t cr;
    uint32_t longueur, nb;
  } const lignes[] = {
      {"80", 1, 0, 0, 128, 1},             // 0x80 alone is 128
      {"81", 1, 0, 0xF810, 0, 1},          // 0 + 1 not below 1
      {"81 05", 2, 0, 0, 5, 2},            // non-minimal form taken as it stands
      {"82 01", 2, 0, 0xF810, 0, 2},       // buffer too small: the output holds k
      {"84 00 00 01 00 00", 6, 0, 0, 256, 5},
      {"85 00 00 00 00 00 00", 7, 0, 0xF810, 0, 5},
      {"FF", 1, 0, 0xF810, 0, 0x7F},
      {"00 7F", 2, 1, 0, 127, 1},
      {"7F", 1, 1, 0xF810, 0, 0},          // offset at the end: nothing read
      {"7F", 1, 0xFFFFFFFF, 0xF810, 0, 0},
  };
  for (const auto &l : lignes) {
    SCOPED_TRACE(l.hex);
    const Octets entree = Hex(l.hex);
    const Octets exact(entree.begin(), entree.begin() + l.taille);  // heap block of the stated size
    uint32_t longueur = 0, nb = 99;
    EXPECT_EQ(MC_stDecoderLongueur(exact.data(), l.taille, l.offset, &longueur, &nb), l.cr);
    EXPECT_EQ(nb, l.nb);
    if (l.cr == 0) {
      EXPECT_EQ(longueur, l.longueur);
    }
  }
  uint32_t a, b;
  EXPECT_EQ(MC_stDecoderLongueur(nullptr, 4, 0, &a, &b), 0xF802);
}

TEST(ZoneCodage, DecodingErrorTraces) {
  TraceCapture trace({3});
  const Octets k5 = Hex("85");
  const Octets court = Hex("82 01");
  const Octets entete = Hex("01 02");
  uint32_t longueur, nb;
  EXPECT_EQ(MC_stDecoderLongueur(k5.data(), 1, 0, &longueur, &nb), 0xF810);
  EXPECT_EQ(MC_stDecoderLongueur(court.data(), 2, 0, &longueur, &nb), 0xF810);
  uint16_t id;
  uint32_t taille = 0;
  EXPECT_EQ(MC_usDecoderEnteteGroupe(entete.data(), 2, 0, &id, &longueur, &taille), 0xF810);
  // A header over a length that cannot be read still counts its identifier.
  const Octets tronque = Hex("01 02 82 01");
  EXPECT_EQ(MC_usDecoderEnteteGroupe(tronque.data(), 4, 0, &id, &longueur, &taille), 0xF810);
  EXPECT_EQ(taille, 4u);
  unsigned char octets[4] = {};
  unsigned char *buffer = octets;
  MC_stCoderLongueur(300, 1, &buffer);
  const auto lignes = trace.Lines();
  const std::vector<std::string> attendu = {
      "{ MC_stDecoderLongueur : offset = 0",
      "  ERREUR :  Nombre d'octets pour coder la longueur (5) > 4.",
      "  cr = 0xF810",
      "}",
      "{ MC_stDecoderLongueur : offset = 0",
      "  ERREUR :  Buffer trop petit pour coder la longueur (2) (tailleBuffer = 2).",
      "  cr = 0xF810",
      "}",
      "ERREUR : Buffer trop petit pour coder l'identifiant (tailleBuffer = 2).",
      "{ MC_stDecoderLongueur : offset = 2",
      "  ERREUR :  Buffer trop petit pour coder la longueur (2) (tailleBuffer = 4).",
      "  cr = 0xF810",
      "}",
      "{ MC_stCoderLongueur : longueur = 300, offset = 1",
      "  nbOctets = 3",
      "}",
  };
  EXPECT_EQ(lignes, attendu);
}

// ------------------------------------------------------------ zone table

TEST(ZoneTable, FullTableAndLowestFreeNumberReused) {
  uint16_t zone;
  for (int i = 0; i < 100; ++i) {
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
    const auto lignes = trace.Lines();
    // Kept: the creation's exit line shows 0 although 0xF801 is returned;
    // the initialisation's shows the real status.
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
  EXPECT_EQ(MC_usPositionnerDebut(42), 0xF807);
  EXPECT_EQ(MC_pucLireBuffer(42, &taille, &buffer42), 0xF807);
  buffer42[3] = 1;  // the buffer outlives the zone: it was never the zone's
  MC_Liberer(buffer42);
  EXPECT_EQ(MC_bRechercherZoneLibre(&libre), 1);
  EXPECT_EQ(libre, 42);
  EXPECT_EQ(MC_usInitialiserZoneMemoire(octets, 4, &zone, 0), 0u);
  EXPECT_EQ(zone, 42);
  EXPECT_EQ(MC_usLibererZoneMemoire(100), 0xF807);
  EXPECT_EQ(MC_usLibererZoneMemoire(0xFFFF), 0xF807);
}

TEST(ZoneTable, CreationAndInitialisation) {
  uint16_t zone = Creer(0);
  ASSERT_NE(ZM[zone], nullptr);
  EXPECT_EQ(ZM[zone]->TailleBuffer, 1u);
  EXPECT_EQ(ZM[zone]->TailleDonnees, 0u);
  EXPECT_EQ(ZM[zone]->Structuree, 1u);
  // Too small for a group until resized to at least 3 bytes.
  EXPECT_EQ(MC_usAjouterGroupe(zone, 0x0102), 0xF804);
  EXPECT_EQ(MC_usRedimensionner(zone, 3), 0u);
  EXPECT_EQ(MC_usAjouterGroupe(zone, 0x0102), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 00");

  unsigned char octets[8] = {1, 2, 3};
  EXPECT_EQ(MC_usInitialiserZoneMemoire(nullptr, 8, &zone, 1), 0xF802);
  EXPECT_EQ(MC_usInitialiserZoneMemoire(octets, 0, &zone, 1), 0xF802);
  EXPECT_EQ(MC_usCreerZoneMemoire(4, 1, nullptr), 0xF802);
  EXPECT_EQ(MC_usInitialiserZoneMemoireNonPlein(octets, 8, 3, &zone, 0), 0u);
  EXPECT_EQ(ZM[zone]->Buffer, octets);
  EXPECT_EQ(ZM[zone]->TailleBuffer, 8u);
  EXPECT_EQ(ZM[zone]->TailleDonnees, 3u);
  EXPECT_EQ(MC_usAjouterGroupe(zone, 1), 0xF811);
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
  const Octets quatre = Hex("01 02 03 04");
  EXPECT_EQ(MC_usEcrireZoneMemoire(zone, 8, quatre.data(), 4), 0u);
  EXPECT_EQ(ZM[zone]->TailleDonnees, 12u);
  EXPECT_EQ(MC_usEcrireZoneMemoire(zone, 0, quatre.data(), 2), 0u);
  EXPECT_EQ(ZM[zone]->TailleDonnees, 12u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 00 00 00 00 00 00 01 02 03 04");
  EXPECT_EQ(MC_usEcrireZoneMemoire(zone, 12, quatre.data(), 4), 0u);
  EXPECT_EQ(ZM[zone]->TailleDonnees, 16u);
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usEcrireZoneMemoire(zone, 13, quatre.data(), 4), 0xF804);
    EXPECT_EQ(MC_usLireZoneMemoire(zone, 0xFFFFFFFF, &destination, 2), 0xF804);
    EXPECT_EQ(MC_usLireZoneMemoire(zone, 16, &destination, 0), 0u);
    EXPECT_EQ(trace.Lines(), (std::vector<std::string>{"{ MC_usEcrireZoneMemoire", "   cr = 0xF804", "}",
                                                       "{ MC_usLireZoneMemoire", "   cr = 0xF804", "}",
                                                       "{ MC_usLireZoneMemoire", "  cr = 0x0000", "}"}));
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
  Champ c;
  uint16_t id;
  ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 0, &id), 0u);
  ASSERT_EQ(ChampSuivant(zone, &c), 0u);
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usRedimensionner(zone, 63), 0xF801);
    EXPECT_TRUE(Contient(trace.Lines(), "ERREUR : Nouvelle taille (63) inferieure a la taille des donnees (64)."));
  }
  EXPECT_EQ(ZM[zone]->Buffer, octets);
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
  // The cursor is kept: the next field is the empty one.
  ASSERT_EQ(ChampSuivant(zone, &c), 0u);
  EXPECT_EQ(c.numero, 2);
  EXPECT_EQ(c.longueur, 0u);
  EXPECT_EQ(c.donnees, ZM[zone]->Buffer + 7);
  EXPECT_EQ(MC_usRedimensionner(100, 64), 0xF807);
  MC_Liberer(ZM[zone]->Buffer);
}

// ------------------------------------------------------------ navigation

TEST(ZoneNavigation, WalkingGroupsAndFieldsWithTraces) {
  Octets octets = Hex("01 02 04 02 41 42 00");
  const uint16_t zone = Sur(octets);
  Champ c;
  uint16_t id = 0;
  EXPECT_EQ(ChampSuivant(zone, &c), 0xF805);  // no group at the start
  TraceCapture trace({3});
  ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 0, 0, &id), 0u);
  EXPECT_EQ(id, 0x0102);
  ASSERT_EQ(ChampSuivant(zone, &c), 0u);
  EXPECT_EQ(c.numero, 1);
  EXPECT_EQ(c.longueur, 2u);
  EXPECT_EQ(c.donnees, octets.data() + 4);
  ASSERT_EQ(ChampSuivant(zone, &c), 0u);
  EXPECT_EQ(c.numero, 2);
  EXPECT_EQ(c.longueur, 0u);
  EXPECT_EQ(ChampSuivant(zone, &c), 0xF805);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 0, &id), 0xF805);
  const std::vector<std::string> attendu = {
      "{ MC_usAvancergroupeSuivant",
      "  { MC_stDecoderLongueur : offset = 2",
      "    cr = 0x0000",
      "  }",
      "  offsetGroupe = 0, longueurGroupe = 4, tailleEnteteGroupe  = 3",
      "  offsetChamp = 3, longueurChamp = 0, tailleLongueurChamp  = 0",
      "  cr = 0x0000",
      "}",
      "{ MC_usAvancerChampSuivant",
      "  { MC_stDecoderLongueur : offset = 3",
      "    cr = 0x0000",
      "  }",
      "  offsetChamp  = 3, longueurChamp  = 2, tailleLongueurChamp = 1",
      "  cr = 0x0000",
      "}",
      "{ MC_usAvancerChampSuivant",
      "  { MC_stDecoderLongueur : offset = 6",
      "    cr = 0x0000",
      "  }",
      "  offsetChamp  = 6, longueurChamp  = 0, tailleLongueurChamp = 1",
      "  cr = 0x0000",
      "}",
      "{ MC_usAvancerChampSuivant",
      "  ERREUR :  Fin du groupe atteinte.",
      "  cr = 0xF805",
      "}",
      "{ MC_usAvancergroupeSuivant",
      "  ERREUR :  Fin de la zone atteinte.",
      "  cr = 0xF805",
      "}",
  };
  EXPECT_EQ(trace.Lines(), attendu);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr), 0xF802);
  const uint16_t plat = Creer(8, 0);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(plat, 1, 0, &id), 0xF811);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(100, 1, 0, &id), 0xF807);
}

TEST(ZoneNavigation, CountersFieldWalkEndTestsAndCounts) {
  // Group 1 with three fields, group 2 with one, group 3 empty.
  Octets octets = Hex("00 01 06 01 41 00 02 42 43  00 02 02 01 44  00 03 00");
  const uint16_t zone = Sur(octets);
  uint16_t id, groupes, champs;
  uint32_t finZone, finGroupe, finDonnees;
  for (uint32_t parcours : {0u, 1u}) {
    SCOPED_TRACE(parcours);
    ASSERT_EQ(MC_usPositionnerDebut(zone), 0u);
    ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 1, parcours, &id), 0u);
    ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 1, parcours, &id), 0u);
    EXPECT_EQ(id, 2);
    MC_usLireCompteurGroupe(zone, &groupes);
    MC_usLireCompteurChamp(zone, &champs);
    EXPECT_EQ(groupes, 2);
    EXPECT_EQ(champs, parcours ? 3 : 0);
    MC_usFinGroupe(zone, &finGroupe);
    EXPECT_EQ(finGroupe, 0u);
  }
  Champ c;
  ASSERT_EQ(ChampSuivant(zone, &c), 0u);
  MC_usFinGroupe(zone, &finGroupe);
  MC_usFinZone(zone, &finZone);
  MC_usFinDonnees(zone, &finDonnees);
  EXPECT_EQ(finGroupe, 1u);
  EXPECT_EQ(finZone, 0u);
  EXPECT_EQ(finDonnees, 0u);
  // The last group is empty: its field end is the data end.
  ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 1, &id), 0u);
  MC_usFinZone(zone, &finZone);
  MC_usFinDonnees(zone, &finDonnees);
  EXPECT_EQ(finZone, 1u);
  EXPECT_EQ(finDonnees, 1u);
  // Counts: fields stop on the first failure; groups past the end leave the
  // cursor on the last one reached.
  ASSERT_EQ(MC_usPositionnerDebut(zone), 0u);
  ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 0, &id), 0u);
  EXPECT_EQ(ChampSuivant(zone, &c, 5), 0xF805);
  EXPECT_EQ(ZM[zone]->NumeroChamp, 3);
  Octets deux = Hex("00 01 01 00  00 02 01 00");
  const uint16_t z2 = Sur(deux);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(z2, 3, 0, &id), 0xF805);
  EXPECT_EQ(ZM[z2]->OffsetGroupe, 4u);
  MC_usLireCompteurGroupe(z2, &groupes);
  EXPECT_EQ(groupes, 2);
}

TEST(ZoneNavigation, PositioningAtTheEnd) {
  Octets octets = Hex("00 01 03 01 41 00  00 02 03 00 01 42");
  const uint16_t zone = Sur(octets);
  TraceCapture trace({3});
  EXPECT_EQ(MC_usPositionnerFin(zone, 1), 0u);
  EXPECT_EQ(ZM[zone]->IdGroupe, 2);
  EXPECT_EQ(ZM[zone]->NumeroChamp, 2);
  EXPECT_EQ(ZM[zone]->OffsetChamp, 10u);
  uint16_t champs;
  MC_usLireCompteurChamp(zone, &champs);
  EXPECT_EQ(champs, 4);
  // The walk ends on the advance that meets the end of the zone.
  EXPECT_TRUE(Contient(trace.Lines(), "ERREUR :  Fin de la zone atteinte."));
}

TEST(ZoneNavigation, SearchesAndOccurrences) {
  // A, B, A with A = 0x0A0A and B = 0x0B0B.
  Octets octets = Hex("0A 0A 02 01 31  0B 0B 02 01 32  0A 0A 02 01 33");
  const uint16_t zone = Sur(octets);
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
  uint16_t compteur;
  MC_usLireCompteurChamp(zone, &compteur);
  EXPECT_EQ(compteur, 1);  // the field walk counted A's field
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
    EXPECT_EQ(ZM[zone]->OffsetGroupe, 0u);
    EXPECT_EQ(ZM[zone]->TailleEnteteGroupe, 0u);
  }
  // A next group with identifier 0: every search for it succeeds without
  // moving, until the occurrence wraps; the call still ends, at the start.
  Octets zero = Hex("0A 0A 01 00  00 00 01 00");
  const uint16_t z0 = Sur(zero);
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
  EXPECT_EQ(donnees, octets.data() + 14);
  EXPECT_EQ(longueur, 1u);
  EXPECT_EQ(MC_usRechercherChamp(zone, 0x0A0A, 2, 2, 0, &donnees, &longueur), 0xF805);
  EXPECT_EQ(MC_usRechercherChamp(zone, 0x0A0A, 5, 1, 0, &donnees, &longueur), 0xF806);
  EXPECT_EQ(MC_usRechercherChamp(zone, 0x0A0A, 1, 0, 0, &donnees, &longueur), 0xF802);
  EXPECT_EQ(MC_usRechercherChamp(zone, 0x0A0A, 1, 0, 0, &donnees, &longueur), 0xF802);
  const auto lignes = trace.Lines();
  ASSERT_FALSE(lignes.empty());
  EXPECT_EQ(lignes[0], "{ MC_usRechercherChamp: identifiant = 2570, occurrenceGroupe = 2, numero = 1");
  EXPECT_TRUE(Contient(lignes, "   cr = 0xF806"));
  const uint16_t plat = Creer(4, 0);
  EXPECT_EQ(MC_usRechercherChamp(plat, 1, 1, 1, 0, &donnees, &longueur), 0xF811);
}

TEST(ZoneNavigation, ExtractingFromTheCurrentField) {
  Octets octets = Hex("01 02 03 02 41 42");
  const uint16_t zone = Sur(octets);
  unsigned char *p = nullptr;
  EXPECT_EQ(MC_usExtraireChamp(zone, &p, 0, 0), 0xF805);
  uint16_t id;
  Champ c;
  MC_usAvancerGroupeSuivant(zone, 1, 0, &id);
  ASSERT_EQ(ChampSuivant(zone, &c), 0u);
  EXPECT_EQ(MC_usExtraireChamp(zone, &p, 1, 1), 0u);
  EXPECT_EQ(p, octets.data() + 5);
  EXPECT_EQ(MC_usExtraireChamp(zone, &p, 2, 0), 0u);
  EXPECT_EQ(p, octets.data() + 6);
  TraceCapture trace({3});
  EXPECT_EQ(MC_usExtraireChamp(zone, &p, 3, 0), 0xFFFE);
  EXPECT_EQ(MC_usExtraireChamp(zone, &p, 1, 2), 0xFFFE);
  EXPECT_EQ(MC_usExtraireChamp(zone, &p, 1, 0xFFFFFFFF), 0xFFFE);
  const auto lignes = trace.Lines();
  EXPECT_TRUE(Contient(lignes, "ERREUR :  position  > longueur du champ (2)."));
  EXPECT_TRUE(Contient(lignes, "ERREUR :  position + Longueur > longueur du champ (2)."));
  EXPECT_EQ(p, octets.data() + 6);
}

// Received data: groups and fields whose lengths run past the data.
TEST(ZoneNavigation, OverlongGroupKeepsTheCursorAndNothingIsReadOutside) {
  Octets octets = Hex("01 02 09 02 41 42");  // claims 9 bytes, 3 follow
  const uint16_t zone = Sur(octets);
  uint16_t id = 0;
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 0, &id), 0xF810);
    const auto texte = trace.Text();
    EXPECT_NE(texte.find("ERREUR :  La taille du groupe (9) d\xe9passe la taille des donn\xe9" "es.\n"),
              std::string::npos);
  }
  EXPECT_EQ(id, 0);
  EXPECT_EQ(ZM[zone]->OffsetGroupe, 0u);
  EXPECT_EQ(ZM[zone]->LongueurGroupe, 9u);
  Champ c;
  ASSERT_EQ(ChampSuivant(zone, &c), 0u);
  EXPECT_EQ(HexDe(c.donnees, c.longueur), "41 42");
  {
    // The next field would start at the data end: not read.
    TraceCapture trace({3});
    EXPECT_EQ(ChampSuivant(zone, &c), 0xF810);
    EXPECT_TRUE(Contient(trace.Lines(), "ERREUR :  Buffer trop petit pour coder la longueur (0) (tailleBuffer = 6)."));
  }
  EXPECT_EQ(ZM[zone]->NumeroChamp, 1);
  uint32_t fin;
  MC_usFinZone(zone, &fin);
  EXPECT_EQ(fin, 1u);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 1, &id), 0xF805);
  // Nothing may be inserted behind a group that runs past the data.
  Octets large(octets);
  large.resize(32);
  uint16_t z2;
  ASSERT_EQ(MC_usInitialiserZoneMemoireNonPlein(large.data(), 32, 6, &z2, 1), 0u);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(z2, 1, 0, &id), 0xF810);
  EXPECT_EQ(MC_usAjouterGroupe(z2, 5), 0xF810);

  // A field running past the data inside such a group is not handed out.
  Octets champ = Hex("01 02 09 05 41 42");
  const uint16_t z3 = Sur(champ);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(z3, 1, 0, &id), 0xF810);
  EXPECT_EQ(ChampSuivant(z3, &c), 0xF810);
  unsigned char *p;
  EXPECT_EQ(MC_usExtraireChamp(z3, &p, 0, 1), 0xF810);
  EXPECT_EQ(MC_usModifierChamp(z3, champ.data(), 0, 1, 0), 0xF810);
  EXPECT_EQ(MC_usAjouterChamp(z3, champ.data(), 1), 0xF804);

  // A data length beyond the buffer is read only up to the buffer.
  Octets court = Hex("01 02 01 00");
  uint16_t z4;
  ASSERT_EQ(MC_usInitialiserZoneMemoireNonPlein(court.data(), 4, 1000, &z4, 1), 0u);
  ASSERT_EQ(MC_usAvancerGroupeSuivant(z4, 1, 0, &id), 0u);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(z4, 1, 0, &id), 0xF805);
}

// Random bytes, some shaped like zone data, walked by every operation over
// an exact-size heap block: the sanitizers catch any read outside it.
TEST(ZoneNavigation, HostileBytesNeverReadOutsideTheBuffer) {
  std::mt19937 alea(1234);
  const unsigned char motifs[] = {0x00, 0x01, 0x02, 0x7F, 0x80, 0x81, 0x82, 0x83, 0x84, 0x85, 0xFF};
  for (int essai = 0; essai < 3000; ++essai) {
    // Some spare room after the data lets the additions run too.
    const uint32_t donnees = 1 + alea() % 24;
    Octets octets(donnees + alea() % 8);
    for (auto &o : octets) o = alea() % 3 ? motifs[alea() % sizeof motifs] : static_cast<unsigned char>(alea());
    uint16_t zone;
    ASSERT_EQ(MC_usInitialiserZoneMemoireNonPlein(octets.data(), static_cast<uint32_t>(octets.size()), donnees,
                                                  &zone, 1),
              0u);
    uint16_t id, occurrence;
    Champ c;
    unsigned sommes = 0;
    for (int pas = 0; pas < 64; ++pas) {
      const uint16_t cr = alea() % 2 ? ChampSuivant(zone, &c) : MC_usAvancerGroupeSuivant(zone, 1, alea() % 2, &id);
      if (cr == 0 && c.donnees != nullptr)
        for (uint32_t i = 0; i < c.longueur; ++i) sommes += c.donnees[i];
      unsigned char *p;
      if (MC_usExtraireChamp(zone, &p, 0, ZM[zone]->LongueurChamp) == 0)
        for (uint32_t i = 0; i < ZM[zone]->LongueurChamp; ++i) sommes += p[i];
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
      for (uint32_t i = 0; i < longueur; ++i) sommes += trouve[i];
    EXPECT_LE(ZM[zone]->TailleDonnees, octets.size());
    (void)sommes;
    MC_usLibererZoneMemoire(zone);
  }
}

// --------------------------------------------------------------- editing

TEST(ZoneEdition, AddingGroupsAndFields) {
  const uint16_t zone = Creer(16);
  EXPECT_EQ(MC_usAjouterChamp(zone, nullptr, 0), 0xF805);  // no current group
  ASSERT_EQ(MC_usAjouterGroupe(zone, 0x0102), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 00");
  const Octets ab = Hex("41 42");
  ASSERT_EQ(MC_usAjouterChamp(zone, ab.data(), 2), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 03 02 41 42");
  TraceCapture trace({3});
  ASSERT_EQ(MC_usAjouterChamp(zone, nullptr, 0), 0u);
  const auto lignes = trace.Lines();
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 04 02 41 42 00");
  EXPECT_EQ(ZM[zone]->NumeroChamp, 2);
  EXPECT_EQ(lignes.back(), "}");
  EXPECT_EQ(lignes[lignes.size() - 2], "  cr = 0x0000, tailleDonnees = 7");
  // Adding a group with the cursor on the first of two inserts between.
  ASSERT_EQ(MC_usAjouterGroupe(zone, 0x0304), 0u);
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0102, 1, 0), 0u);
  ASSERT_EQ(MC_usAjouterGroupe(zone, 0x0506), 0u);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 04 02 41 42 00 05 06 00 03 04 00");
  // A field right after entering a group goes before its fields.
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0102, 1, 0), 0u);
  const Octets z = Hex("5A");
  ASSERT_EQ(MC_usAjouterChamp(zone, z.data(), 1), 0u);
  EXPECT_EQ(ZM[zone]->NumeroChamp, 1);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 06 01 5A 02 41 42 00 05 06 00 03 04 00");
  uint16_t groupes, champs;
  MC_usLireCompteurGroupe(zone, &groupes);
  MC_usLireCompteurChamp(zone, &champs);
  EXPECT_EQ(groupes, 1);
  EXPECT_EQ(champs, 1);
}

TEST(ZoneEdition, FullBufferChangesNothingAndIdentifierZeroHasNoGroup) {
  const Octets ab = Hex("41 42");
  const uint16_t zone = Construire(7, {{0x0102, {ab}}});  // one byte left
  const ZoneMemoire avant = *ZM[zone];
  const Octets donnees = Donnees(zone);
  {
    TraceCapture trace({3});
    EXPECT_EQ(MC_usAjouterGroupe(zone, 1), 0xF804);
    EXPECT_EQ(MC_usAjouterChamp(zone, ab.data(), 2), 0xF804);
    const auto lignes = trace.Lines();
    ASSERT_EQ(lignes.size(), 6u);
    EXPECT_EQ(lignes[0], "{ MC_usAjouterGroupe : identifiant = 1");
    EXPECT_EQ(lignes[1], "   cr = 0xF804");
    EXPECT_EQ(lignes[4], "   cr = 0xF804");
  }
  EXPECT_EQ(std::memcmp(&avant, ZM[zone], sizeof avant), 0);
  EXPECT_EQ(Donnees(zone), donnees);
  ASSERT_EQ(MC_usAjouterChamp(zone, nullptr, 0), 0u);  // exactly fills the 7 bytes
  EXPECT_EQ(MC_usModifierChamp(zone, ab.data(), 0, 1, 1), 0xF804);
  ASSERT_EQ(MC_usRedimensionner(zone, 20), 0u);
  ASSERT_EQ(MC_usAjouterGroupe(zone, 0), 0u);
  EXPECT_EQ(MC_usAjouterChamp(zone, ab.data(), 2), 0xF805);
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 04 02 41 42 00 00 00 00");
  EXPECT_EQ(MC_usAjouterChamp(zone, nullptr, 2), 0xF802);
  MC_Liberer(ZM[zone]->Buffer);
}

// The group's coded length grows: its fields move up behind the header.
TEST(ZoneEdition, GroupHeaderGrowsFromThreeToFourAndFourToFive) {
  const Octets f125(125, 0x61);
  const uint16_t zone = Construire(400, {{0x0102, {f125}}, {0x0304, {}}}, 1);
  EXPECT_EQ(ZM[zone]->LongueurGroupe, 126u);
  const Octets xy = Hex("58 59");
  ASSERT_EQ(MC_usAjouterChamp(zone, xy.data(), 2), 0u);
  Octets attendu = Hex("01 02 81 81 7D");
  attendu.insert(attendu.end(), f125.begin(), f125.end());
  for (unsigned char o : Hex("02 58 59 03 04 00")) attendu.push_back(o);
  EXPECT_EQ(Donnees(zone), attendu);
  EXPECT_EQ(ZM[zone]->TailleEnteteGroupe, 4u);
  EXPECT_EQ(ZM[zone]->OffsetChamp, 130u);
  EXPECT_EQ(ZM[zone]->LongueurGroupe, 129u);

  // 254 is the last content length of the two-byte form.
  const uint16_t z2 = Construire(300, {{0x0A0B, {Octets(252, 0x62)}}});
  EXPECT_EQ(HexDe(Donnees(z2).data(), 6), "0A 0B 81 FE 81 FC");
  EXPECT_EQ(ZM[z2]->TailleEnteteGroupe, 4u);
  ASSERT_EQ(MC_usAjouterChamp(z2, xy.data(), 1), 0u);
  const Octets d2 = Donnees(z2);
  ASSERT_EQ(d2.size(), 5u + 254 + 2);
  EXPECT_EQ(HexDe(d2.data(), 7), "0A 0B 82 01 00 81 FC");
  EXPECT_EQ(HexDe(d2.data() + 7 + 252, 2), "01 58");
  EXPECT_EQ(std::count(d2.begin(), d2.end(), 0x62), 252);
  EXPECT_EQ(ZM[z2]->TailleEnteteGroupe, 5u);
  uint16_t id;
  Champ c;
  ASSERT_EQ(MC_usRechercherChamp(z2, 0x0A0B, 1, 2, 0, &c.donnees, &c.longueur), 0u);
  EXPECT_EQ(c.longueur, 1u);
  EXPECT_EQ(*c.donnees, 0x58);
  EXPECT_EQ(MC_usAvancerGroupeSuivant(z2, 1, 0, &id), 0xF805);
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
    EXPECT_TRUE(Contient(lignes, "ERREUR : Agrandissement non autorise Position + Longueur > "
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
  EXPECT_EQ(ZM[zone]->LongueurChamp, 3u);
  EXPECT_EQ(ZM[zone]->LongueurGroupe, 4u);
  EXPECT_EQ(ZM[zone]->TailleDonnees, 10u);
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
  const Octets z = Hex("5A");
  ASSERT_EQ(MC_usModifierChamp(zone, z.data(), 127, 1, 1), 0u);
  const Octets d = Donnees(zone);
  // Header 01 02 81 82 (content 130), then 81 80 and 128 bytes: the old
  // bytes from 1 on, then the first byte that followed the field (the next
  // group's identifier), then the new byte.
  ASSERT_EQ(d.size(), 4u + 130 + 5);
  EXPECT_EQ(HexDe(d.data(), 6), "01 02 81 82 81 80");
  EXPECT_EQ(Octets(d.begin() + 6, d.begin() + 132), Octets(ancien.begin() + 1, ancien.end()));
  EXPECT_EQ(HexDe(d.data() + 132, 2), "03 5A");
  EXPECT_EQ(HexDe(d.data() + 134, 5), "03 04 02 01 E0");
  EXPECT_EQ(ZM[zone]->OffsetChamp, 4u);
  EXPECT_EQ(ZM[zone]->TailleEnteteGroupe, 4u);
  EXPECT_EQ(ZM[zone]->LongueurChamp, 128u);
  EXPECT_EQ(ZM[zone]->TailleLongueurChamp, 2u);
}

// Kept on purpose: an empty field lengthened to 255 bytes also grows the
// group's header, and the header move overwrites the byte after the field.
// With no spare room for that byte the change is refused instead.
TEST(ZoneEdition, LengtheningAnEmptyFieldPastTheHeaderMove) {
  const Octets x(255, 0x78);
  {
    const uint16_t zone = Construire(400, {{0x0102, {Hex("41 42"), {}}}, {0x0304, {Hex("43")}}}, 2);
    ASSERT_EQ(MC_usModifierChamp(zone, x.data(), 0, 255, 1), 0u);
    const Octets d = Donnees(zone);
    ASSERT_EQ(d.size(), 271u);
    EXPECT_EQ(HexDe(d.data(), 11), "01 02 82 01 05 02 41 42 82 00 FF");
    EXPECT_EQ(Octets(d.begin() + 11, d.begin() + 266), x);
    EXPECT_EQ(HexDe(d.data() + 266, 5), "00 04 02 01 43");  // 03 overwritten
  }
  for (uint32_t taille : {266u, 267u}) {
    SCOPED_TRACE(taille);
    const uint16_t zone = Construire(taille, {{0x0102, {Hex("41 42"), {}}}});
    const ZoneMemoire avant = *ZM[zone];
    const uint16_t cr = MC_usModifierChamp(zone, x.data(), 0, 255, 1);
    if (taille == 266) {
      // Room for the result, but the header move would write byte 266.
      EXPECT_EQ(cr, 0xF804);
      EXPECT_EQ(std::memcmp(&avant, ZM[zone], sizeof avant), 0);
      EXPECT_EQ(HexDe(Donnees(zone)), "01 02 04 02 41 42 00");
    } else {
      EXPECT_EQ(cr, 0u);
      EXPECT_EQ(ZM[zone]->TailleDonnees, 266u);
      EXPECT_EQ(HexDe(Donnees(zone).data(), 11), "01 02 82 01 05 02 41 42 82 00 FF");
    }
  }
}

// Random additions at random places, every byte compared with a separate
// encoder of the same groups and fields.
struct Groupe {
  uint16_t id;
  std::vector<Octets> champs;
};

void CoderTest(Octets &o, uint32_t v) {
  if (v < 0x80) {
    o.push_back(static_cast<unsigned char>(v));
    return;
  }
  const int k = v < 0xFF ? 1 : v < 0xFFFF ? 2 : v < 0xFFFFFF ? 3 : 4;
  o.push_back(static_cast<unsigned char>(0x80 + k));
  for (int i = k - 1; i >= 0; --i) o.push_back(static_cast<unsigned char>(v >> (8 * i)));
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
        // Move: to the start, then to a random group and field.
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
        while ((cr = MC_usAjouterChamp(zone, valeur.data(), static_cast<uint32_t>(valeur.size()))) == 0xF804)
          ASSERT_EQ(MC_usRedimensionner(zone, ZM[zone]->TailleBuffer + 1 + alea() % 300), 0u);
        ASSERT_EQ(cr, 0u);
        auto &champs = modele[groupe].champs;
        champs.insert(champs.begin() + (champ + 1), valeur);
        ++champ;
        ASSERT_EQ(ZM[zone]->NumeroChamp, champ + 1);
      }
      ASSERT_EQ(Donnees(zone), Encoder(modele)) << "tour " << tour << ", operation " << op;
      ASSERT_LE(ZM[zone]->TailleDonnees, ZM[zone]->TailleBuffer);
    }
    // The whole zone walks back to the model.
    MC_usPositionnerDebut(zone);
    for (const auto &g : modele) {
      uint16_t id;
      ASSERT_EQ(MC_usAvancerGroupeSuivant(zone, 1, 0, &id), 0u);
      ASSERT_EQ(id, g.id);
      for (const auto &valeur : g.champs) {
        Champ c;
        ASSERT_EQ(ChampSuivant(zone, &c), 0u);
        ASSERT_EQ(Octets(c.donnees, c.donnees + c.longueur), valeur);
      }
    }
    MC_Liberer(ZM[zone]->Buffer);
    MC_usLibererZoneMemoire(zone);
  }
}

}  // namespace

// ---------------------------------------------------------------- checks

namespace {

using mc::test::ChampDico;
using mc::test::GroupeDico;
using mc::test::InstallationTables;

struct GroupeZone {
  uint16_t id;
  std::vector<std::string> champs;
};

// Zone bytes of groups of text fields.
Octets Message(const std::vector<GroupeZone> &groupes) {
  std::vector<Groupe> g;
  for (const auto &z : groupes) {
    g.push_back({z.id, {}});
    for (const auto &c : z.champs) g.back().champs.emplace_back(c.begin(), c.end());
  }
  return Encoder(g);
}

// The library started on a dictionary for the object's lifetime.
class Dictionnaire {
 public:
  explicit Dictionnaire(const std::vector<GroupeDico> &groupes) {
    EXPECT_EQ(inst_.Ecrire(groupes), 0);
    char *v1 = nullptr, *v2 = nullptr;
    EXPECT_EQ(MC_usInitLIB(&v1, &v2), 0);
    MC_Liberer(v1);
    MC_Liberer(v2);
  }
  ~Dictionnaire() { MC_usTermLIB(); }

 private:
  InstallationTables inst_;
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
    uint16_t zone;
    octets.resize(octets.size() + 4);  // spare room after the data
    ASSERT_EQ(MC_usInitialiserZoneMemoireNonPlein(octets.data(), static_cast<uint32_t>(octets.size()),
                                                  static_cast<uint32_t>(octets.size() - 4), &zone, 1),
              0u);
    TraceCapture trace({1, 3});
    EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(zone), c.attendu) << c.hex;
    const auto lignes = trace.Lines();
    if (c.erreur != nullptr) {
      EXPECT_TRUE(Contient(lignes, c.erreur)) << c.hex;
    }
    MC_usLibererZoneMemoire(zone);
  }

  // The success trace, and the cursor left on the last group at its last field.
  Octets octets = Hex("01 02 04 02 41 42 00 03 04 02 01 43");
  const uint16_t zone = Sur(octets);
  {
    TraceCapture trace({1});
    ASSERT_EQ(MC_usControlerSyntaxeZoneMemoire(zone), 0u);
    EXPECT_EQ(trace.Lines(), (std::vector<std::string>{
                                 "{ MC_usControlerSyntaxeZoneMemoire", "  Longueur des donnees d'entree (12)",
                                 "  usIdGroupe = 258", "  stLongueurGroupe = 4, stNbOctetsLongueurGroupe = 3",
                                 "  ulTailleDataIn = 5", "  stLongueurGroupe = 1", "  stLongueurGroupe = 0",
                                 "  usIdGroupe = 772", "  stLongueurGroupe = 2, stNbOctetsLongueurGroupe = 3",
                                 "  ulTailleDataIn = 0", "  stLongueurGroupe = 0",
                                 "  MC_usControlerSyntaxeZoneMemoire usResultat = 0x0000", "}"}));
  }
  EXPECT_EQ(ZM[zone]->IdGroupe, 0x0304);
  EXPECT_EQ(ZM[zone]->NumeroChamp, 1);
  uint32_t fin = 0;
  EXPECT_EQ(MC_usFinGroupe(zone, &fin), 0u);
  EXPECT_EQ(fin, 1u);

  // A data length beyond the buffer is never read past it; bad numbers.
  uint16_t long_;
  ASSERT_EQ(MC_usInitialiserZoneMemoireNonPlein(octets.data(), 7, 12, &long_, 1), 0u);
  EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(long_), 0xF810);
  EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(100), 0xF807);
  EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(Creer(4, 0)), 0xF811);
  EXPECT_EQ(MC_usControlerFormatZoneMemoire(100), 0xF807);
}

// 0x0101: a mandatory number of 1 to 3 digits, then OUI or NON; 0x0202: a
// mandatory free field; 0x0303: listed without fields.
std::vector<GroupeDico> DicoMessages() {
  return {{0x0101, {{1, 1, 3, 'N'}, {0, 0, 0, 'A', {"OUI", "NON"}}}}, {0x0202, {{1, 1, 0, 'X'}}}, {0x0303, {}}};
}

TEST(ZoneFormatCheck, GroupsFieldCountsRanksAndCursor) {
  const Dictionnaire charge(DicoMessages());
  const struct {
    std::vector<GroupeZone> groupes;
    uint16_t attendu;
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
  };
  for (const auto &c : cas) {
    Octets octets = Message(c.groupes);
    const uint16_t zone = Sur(octets);
    EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), c.attendu) << HexDe(octets);
    if (c.attendu != 0xF810) {
      EXPECT_TRUE(AuDebut(zone)) << HexDe(octets);
    }
    MC_usLibererZoneMemoire(zone);
  }

  // An unknown second group: its code, the cursor left on it, and the list
  // of groups never counted back.
  Octets octets = Message({{0x0101, {"7", "NON"}}, {0x0505, {"Z"}}});
  const uint16_t zone = Sur(octets);
  {
    TraceCapture trace({2});
    const uint32_t avant = ulMemAllouee;
    EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), 0xA002);
    EXPECT_EQ(ulMemAllouee - avant, Garde(2 * 3) + Garde(2 * sizeof(TCHAMP)) + 4 * Garde(4));
    const auto lignes = trace.Lines();
    EXPECT_TRUE(Contient(lignes, "ERREUR : ERREUR groupe inconnu = 0x1285"));
    EXPECT_TRUE(Contient(lignes, "ERREUR : ERREUR usResultat= 0xa002"));
  }
  EXPECT_EQ(ZM[zone]->IdGroupe, 0x0505);
  EXPECT_EQ(ZM[zone]->CompteurGroupe, 2);

  // A zone without allowed values keeps only the field records.
  Octets simple = Message({{0x0202, {"Z"}}, {0x0303, {"Y"}}});
  const uint16_t z2 = Sur(simple);
  const uint32_t avant = ulMemAllouee;
  EXPECT_EQ(MC_usControlerFormatZoneMemoire(z2), 0u);
  EXPECT_EQ(ulMemAllouee - avant, Garde(sizeof(TCHAMP)) + Garde(0));

  // Every allocation failing in turn: a status, never a crash or a leak.
  Octets valeurs = Message({{0x0101, {"5", "OUI"}}});
  const uint16_t z3 = Sur(valeurs);
  const unsigned long debut = mc::testing::NombreAllocations();
  ASSERT_EQ(MC_usControlerFormatZoneMemoire(z3), 0u);
  const unsigned long nombre = mc::testing::NombreAllocations() - debut;
  for (unsigned long n = 1; n <= nombre; ++n) {
    mc::testing::FaireEchouerAllocation(n);
    const uint16_t cr = MC_usControlerFormatZoneMemoire(z3);
    EXPECT_TRUE(cr == 0 || cr == 0xF801 || cr == 0x9001 || cr == 0x9002 || cr == 0xA001) << n << ": " << cr;
  }
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usControlerFormatZoneMemoire(z3), 0xF801);  // the list of groups
  EXPECT_TRUE(AuDebut(z3));
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
      {{1, 0, 0, 'N'}, "", 0},           // no minimum: presence alone passes
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
    Octets octets = Message({{static_cast<uint16_t>(0x1000 + i), {cas[i].champ}}});
    const uint16_t zone = Sur(octets);
    EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), cas[i].attendu) << i << ": '" << cas[i].champ << "'";
    EXPECT_TRUE(AuDebut(zone)) << i;
    MC_usLibererZoneMemoire(zone);
  }

  // The trace of a value matching none.
  Octets octets = Message({{0x1011, {"NON"}}});
  const uint16_t zone = Sur(octets);
  TraceCapture trace({2});
  EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), 0x9001);
  EXPECT_EQ(trace.Lines(), (std::vector<std::string>{
                               "{ MC_usControlerFormatZoneMemoire",
                               "   MC_usDonnerListeGroupes= 0x0000",
                               "   Groupe = 0xd",
                               "   MC_usDonnerInformationChamp= 0x0000",
                               "  MC_usAvancerChampSuivant= 0x0000",
                               "  Numero du champ = 1, Taille du champ = 3",
                               "  Valeur du champ = NON",
                               "  Controle du champ suivant son type : bRetour= 0x0001 (1/OK)",
                               "  MC_usDonnerChampValeur= 0x0000",
                               "  ERREUR : ERREUR valeur de champ, usResultat= 0x9001",
                               "  MC_usControlerFormatZoneMemoire:usResultat = 0x9001",
                               "  FIN de la fonction MC_usControlerFormatZoneMemoire",
                               "}",
                           }));
}

// Dictionary records pointing outside their arrays, then random zones over
// them: codes where a fetch fails, and nothing read outside any buffer.
TEST(ZoneFormatCheck, HostileDictionaryAndZones) {
  std::vector<GroupeDico> dico = DicoMessages();
  dico.push_back({0x0606, {{0, 0, 0, 'X', {"A"}}}});
  dico.back().champs[0].premiereValeur = 500;
  dico.push_back({0x0707, {}});
  dico.back().premierChamp = 900;
  dico.back().nbChamps = 2;
  dico.push_back({0x0808, {{0, 0, 0, 'X', {"A"}}}});
  dico.back().champs[0].nbValeurs = 300;
  const Dictionnaire charge(dico);

  const struct {
    GroupeZone groupe;
    uint16_t attendu;
    const char *erreur;
  } cas[] = {
      {{0x0606, {"A"}}, 0xA002, "ERREUR : ERREUR  groupe inconnu, usResultat= 0xa002"},
      {{0x0707, {"A"}}, 0xF805, "ERREUR : MC_usDonnerInformationChamp=ERREUR GROUPE CHAMP ABSENT "},
      {{0x0808, {"B"}}, 0xA002, "ERREUR : ERREUR  groupe inconnu, usResultat= 0xa002"},
      {{0x0808, {"A"}}, 0, nullptr},
  };
  for (const auto &c : cas) {
    Octets octets = Message({{0x0202, {"Z"}}, c.groupe});
    const uint16_t zone = Sur(octets);
    TraceCapture trace({2, 7});
    EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), c.attendu) << c.groupe.id;
    if (c.erreur != nullptr) {
      EXPECT_TRUE(Contient(trace.Lines(), c.erreur)) << c.groupe.id;
      EXPECT_EQ(ZM[zone]->IdGroupe, c.groupe.id);  // the cursor stays on the group
    }
    MC_usLibererZoneMemoire(zone);
  }

  std::mt19937 alea(99);
  const unsigned char motifs[] = {0x00, 0x01, 0x02, 0x03, 0x06, 0x07, 0x08, 0x41, 0x80, 0x81, 0x82, 0xFF};
  for (int essai = 0; essai < 3000; ++essai) {
    const uint32_t donnees = alea() % 24;
    Octets octets(donnees + 1 + alea() % 4);
    for (auto &o : octets) o = alea() % 4 ? motifs[alea() % sizeof motifs] : static_cast<unsigned char>(alea());
    uint16_t zone;
    ASSERT_EQ(MC_usInitialiserZoneMemoireNonPlein(octets.data(), static_cast<uint32_t>(octets.size()),
                                                  donnees + alea() % 3, &zone, 1),
              0u);
    const uint16_t syntaxe = MC_usControlerSyntaxeZoneMemoire(zone);
    const uint16_t format = MC_usControlerFormatZoneMemoire(zone);
    EXPECT_TRUE(syntaxe == 0 || syntaxe == 0xF810) << syntaxe;
    if (syntaxe != 0) {
      EXPECT_EQ(format, syntaxe);
    }
    MC_usLibererZoneMemoire(zone);
  }
}

}  // namespace
