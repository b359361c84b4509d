// Memory zones: coding, table, navigation, editing and checks: boundaries, kept
// quirks, traces, hostile data.  The edit fuzz target's model checks the rest.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <sstream>
#include <string>
#include <vector>

#include "core/memory.h"
#include "support/dictionary_builder.h"
#include "support/mc_test.h"

using mc::test::ChampDico;
using mc::test::GroupeDico;
using mc::test::TraceCapture;
using Octets = std::vector<unsigned char>;
using Lignes = std::vector<std::string>;

namespace {

Octets Hex(const std::string &texte) {
  std::istringstream in(texte);
  Octets o;
  for (unsigned octet; in >> std::hex >> octet;) o.push_back(static_cast<unsigned char>(octet));
  return Octets(o.begin(), o.end());
}

template <typename It>
std::string Joindre(It debut, It fin, const char *format) {
  std::string s;
  char b[12];
  for (It i = debut; i != fin; ++i) {
    snprintf(b, sizeof b, format, *i);
    s += (i == debut ? "" : " ") + std::string(b);
  }
  return s;
}
std::string HexDe(const unsigned char *p, size_t n) { return Joindre(p, p + n, "%02X"); }
std::string HexDe(const Octets &o) { return HexDe(o.data(), o.size()); }
std::string Codes(std::initializer_list<uint32_t> codes) { return Joindre(codes.begin(), codes.end(), "%04X"); }

std::string Texte(const Lignes &lignes) {
  std::string s;
  for (const auto &l : lignes) s += l + '\n';
  return s;
}
bool Contient(const Lignes &lignes, const std::string &fin) {
  return Texte(lignes).find(fin + '\n') != std::string::npos;
}

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

// A structured zone made in place over a copy of the bytes in a heap block of
// exactly `taille` bytes, with `donnees` data bytes (both by default the count).
uint16_t Sur(const Octets &octets, uint32_t taille = 0, uint32_t donnees = ~0u) {
  static std::list<Octets> gardes;
  const auto n = static_cast<uint32_t>(octets.size());
  Octets &buffer = gardes.emplace_back(std::max(taille, n));
  std::copy(octets.begin(), octets.end(), buffer.begin());
  uint16_t zone = 0xFFFF;
  EXPECT_EQ(MC_usInitialiserZoneMemoireNonPlein(buffer.data(), uint32_t(buffer.size()), donnees == ~0u ? n : donnees,
                                                &zone, 1),
            0u);
  return zone;
}
uint16_t Sur(const char *hex, uint32_t taille = 0, uint32_t donnees = ~0u) { return Sur(Hex(hex), taille, donnees); }

template <typename T>
T Lu(uint16_t (*lecture)(uint16_t, T *), uint16_t zone) {
  T valeur{};
  EXPECT_EQ(lecture(zone, &valeur), 0u);
  return valeur;
}

// The cursor: group id@offset header+content, field number@offset code+length.
std::string Curseur(uint16_t zone) {
  const ZoneMemoire &z = *ZM[zone];
  char s[80];
  snprintf(s, sizeof s, "groupe %04X@%u %u+%u, champ %u@%u %u+%u", z.IdGroupe, z.OffsetGroupe, z.TailleEnteteGroupe,
           z.LongueurGroupe, z.NumeroChamp, z.OffsetChamp, z.TailleLongueurChamp, z.LongueurChamp);
  return s;
}

std::string Suivant(uint16_t zone, uint16_t nombre = 1) {
  uint16_t numero = 0;
  unsigned char *p = nullptr;
  uint32_t n = 0;
  const uint16_t cr = MC_usAvancerChampSuivant(zone, nombre, &numero, &p, &n);
  return cr != 0 ? Codes({cr})
                 : std::to_string(numero) + "@" + std::to_string(p - ZM[zone]->Buffer) + "[" + HexDe(p, n) + "]";
}

// A structured zone filled through the API, the cursor then on field `champ`
// of the first group, or with none at the start.
using GroupeZone = std::pair<uint16_t, std::vector<std::string>>;
uint16_t Construire(const std::vector<GroupeZone> &groupes, uint32_t taille = 1024, uint16_t champ = 0) {
  const uint16_t zone = Creer(taille);
  for (const auto &[id, champs] : groupes) {
    EXPECT_EQ(MC_usAjouterGroupe(zone, id), 0u);
    for (const auto &c : champs)
      EXPECT_EQ(MC_usAjouterChamp(zone, reinterpret_cast<const unsigned char *>(c.data()), uint32_t(c.size())), 0u);
  }
  EXPECT_EQ(MC_usPositionnerDebut(zone), 0u);
  if (champ != 0) {
    EXPECT_EQ(MC_usRechercherGroupe(zone, groupes[0].first, 1, 0), 0u);
    EXPECT_NE(Suivant(zone, champ).find('@'), std::string::npos);
  }
  return zone;
}

TEST(ZoneCodage, LengthFormsDecodingAndErrorTraces) {
  for (const char *ligne :
       {"0: 00", "127: 7F", "128: 81 80", "254: 81 FE", "255: 82 00 FF", "65534: 82 FF FE", "65535: 83 00 FF FF",
        "16777214: 83 FF FF FE", "16777215: 84 00 FF FF FF", "4294967295: 84 FF FF FF FF"}) {
    const char *hex = std::strchr(ligne, ' ') + 1;
    const auto longueur = uint32_t(std::strtoul(ligne, nullptr, 10));
    const Octets code = Hex(hex);
    const auto n = static_cast<uint32_t>(code.size());
    unsigned char octets[8] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}, *buffer = octets;
    uint32_t decodee = 0, nb = 0;
    // Coded size, then the sizes of the length, of a field and of a header.
    EXPECT_EQ(Codes({MC_stCoderLongueur(longueur, 1, &buffer), MC_stCalculerTailleLongueur(longueur),
                     MC_stCalculerTailleChamp(longueur) - longueur, MC_stCalculerTailleEnteteGroupe(longueur) - 2,
                     MC_stDecoderLongueur(code.data(), n, 0, &decodee, &nb), nb, decodee == longueur}),
              Codes({n, n, n, n, 0, n, 1}))
        << ligne;
    EXPECT_EQ(HexDe(octets, n + 2), "EE " + std::string(hex) + " EE");  // nothing written either side
  }
  EXPECT_EQ(Codes({MC_stCalculerTailleGroupe1(0), MC_stCalculerTailleGroupe1(2, 200u, 0u),
                   MC_stCalculerTailleGroupe2(16777215) - 16777215, MC_stCoderLongueur(5, 0, nullptr)}),
            Codes({3, 207, 7, 0}));
  // Decoding is lenient where it can be and never reads outside the buffer.
  const struct {
    const char *hex;
    uint32_t offset, longueur, nb;
    uint16_t cr;
  } lignes[] = {{"80", 0, 128, 1, 0},                                 // 0x80 alone is 128
                {"81", 0, 0, 1, 0xF810},    {"81 05", 0, 5, 2, 0},    // non-minimal form taken as it stands
                {"FF", 0, 0, 0x7F, 0xF810}, {"7F", 1, 0, 0, 0xF810},  // offset at the end: nothing read
                {"7F", ~0u, 0, 0, 0xF810}};
  for (const auto &l : lignes) {
    const Octets exact = Hex(l.hex);
    uint32_t longueur = 0, nb = 99;
    EXPECT_EQ(
        Codes({MC_stDecoderLongueur(exact.data(), uint32_t(exact.size()), l.offset, &longueur, &nb), nb, longueur}),
        Codes({l.cr, l.nb, l.longueur}))
        << l.hex;
  }
  uint32_t longueur = 0, taille = 0, nb;
  uint16_t id = 9;
  unsigned char entete[8] = {}, *pe = entete;
  EXPECT_EQ(MC_stCoderEnteteGroupe(0x1234, 16777215, 0, &pe), 7u);
  EXPECT_EQ(HexDe(entete, 8), "12 34 84 00 FF FF FF 00");
  EXPECT_EQ(Codes({MC_usDecoderEnteteGroupe(entete, 8, 0, &id, &longueur, &taille), id, longueur, taille,
                   MC_stDecoderLongueur(nullptr, 4, 0, &longueur, &nb)}),
            "0000 1234 FFFFFF 0007 F802");
  TraceCapture trace({3});
  // Too small a buffer: the count output holds the length's byte count.
  EXPECT_EQ(Codes({MC_stDecoderLongueur(Hex("85").data(), 1, 0, &longueur, &nb), nb,
                   MC_stDecoderLongueur(Hex("82 01").data(), 2, 0, &longueur, &nb), nb}),
            "F810 0005 F810 0002");
  EXPECT_EQ(MC_usDecoderEnteteGroupe(Hex("01 02").data(), 2, 0, &id, &longueur, &taille), 0xF810);
  // A header over a length that cannot be read still counts its identifier.
  EXPECT_EQ(MC_usDecoderEnteteGroupe(Hex("01 02 82 01").data(), 4, 0, &id, &longueur, &taille), 0xF810);
  EXPECT_EQ(taille, 4u);
  unsigned char octets[4], *buffer = octets;
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

TEST(ZoneTable, FullTableAndLowestFreeNumberReused) {
  uint16_t zone, libre = 7;
  for (uint16_t i = 0; i < 100; ++i) ASSERT_EQ(Codes({MC_usCreerZoneMemoire(4, i % 2, &zone), zone}), Codes({0, i}));
  EXPECT_EQ(Codes({uint32_t(MC_bRechercherZoneLibre(&libre)), libre}), "0000 0007");
  unsigned char octets[4] = {};
  TraceCapture trace({3});
  EXPECT_EQ(Codes({MC_usCreerZoneMemoire(4, 1, &zone), MC_usInitialiserZoneMemoire(octets, 4, &zone, 1)}), "F801 F801");
  // Kept: the creation's exit line shows 0 although 0xF801 is returned;
  // the initialisation's shows the real status.
  const auto lignes = trace.Lines();
  ASSERT_EQ(lignes.size(), 6u);
  EXPECT_EQ(lignes[0] + lignes[1] + lignes[4], "{ MC_usCreationZoneMemoire : taille = 4  cr = 0x0000  cr = 0xF801");
  uint32_t taille;
  unsigned char *buffer42;
  ASSERT_EQ(MC_pucLireBuffer(42, &taille, &buffer42), 0u);
  EXPECT_EQ(Codes({MC_usLibererZoneMemoire(42), MC_usLibererZoneMemoire(42), MC_pucLireBuffer(42, &taille, &buffer42),
                   MC_usLibererZoneMemoire(100)}),
            "0000 F807 F807 F807");
  buffer42[3] = 1;  // the buffer outlives the zone: it was never the zone's
  MC_Liberer(buffer42);
  EXPECT_EQ(
      Codes({uint32_t(MC_bRechercherZoneLibre(&libre)), libre, MC_usInitialiserZoneMemoire(octets, 4, &zone, 0), zone}),
      "0001 002A 0000 002A");
}

TEST(ZoneTable, CreationInitialisationAndResize) {
  // Size 0 gives one byte: too small for a group until resized to 3.
  uint16_t zone = Creer(0), id;
  EXPECT_EQ(Codes({ZM[zone]->TailleBuffer, MC_usAjouterGroupe(zone, 0x0102), MC_usRedimensionner(zone, 3),
                   MC_usAjouterGroupe(zone, 0x0102)}),
            "0001 F804 0000 0000");
  unsigned char octets[8] = {1, 2, 3};
  EXPECT_EQ(Codes({MC_usInitialiserZoneMemoire(nullptr, 8, &zone, 1), MC_usInitialiserZoneMemoire(octets, 0, &zone, 1),
                   MC_usCreerZoneMemoire(4, 1, nullptr), MC_usRedimensionner(100, 64)}),
            "F802 F802 F802 F807");
  // A record without its buffer keeps its number; a resize gives it one.
  mc::testing::FaireEchouerAllocation(2);
  EXPECT_EQ(MC_usCreerZoneMemoire(16, 1, &zone), 0xF801);
  ASSERT_NE(ZM[zone], nullptr);
  EXPECT_EQ(Codes({ZM[zone]->Buffer == nullptr, MC_usAvancerGroupeSuivant(zone, 1, 1, &id), MC_usAjouterGroupe(zone, 7),
                   MC_usRedimensionner(zone, 16), MC_usAjouterGroupe(zone, 7)}),
            "0001 F805 F804 0000 0000");
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(Codes({MC_usCreerZoneMemoire(16, 1, &id), uint32_t(MC_bRechercherZoneLibre(&id)), ZM[id] == nullptr}),
            "F801 0001 0001");
  // A resize never goes below the data and always moves to a new buffer,
  // giving the caller's block back through the allocator; the cursor stays.
  auto *bloc = static_cast<unsigned char *>(MC_Allouer(64));
  std::memcpy(bloc, "\x01\x02\x04\x02\x41\x42\x00", 7);
  ASSERT_EQ(MC_usInitialiserZoneMemoireNonPlein(bloc, 64, 7, &zone, 1), 0u);
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0102, 1, 0), 0u);
  ASSERT_EQ(Suivant(zone), "1@4[41 42]");
  TraceCapture trace({3});
  EXPECT_EQ(MC_usRedimensionner(zone, 63), 0xF801);
  EXPECT_TRUE(Contient(trace.Lines(), "ERREUR : Nouvelle taille (63) inferieure a la taille des donnees (64)."));
  const uint32_t avant = ulMemAllouee, reelAncien = uint32_t(malloc_usable_size(bloc));
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(Codes({MC_usRedimensionner(zone, 128), ZM[zone]->Buffer == bloc, ulMemAllouee == avant,
                   MC_usRedimensionner(zone, 64), ZM[zone]->Buffer != bloc, ZM[zone]->TailleBuffer}),
            "F801 0001 0001 0000 0001 0040");  // the same size still takes a new buffer
  EXPECT_EQ(ulMemAllouee, avant - reelAncien + uint32_t(malloc_usable_size(ZM[zone]->Buffer)));
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 04 02 41 42 00");
  EXPECT_EQ(Suivant(zone), "2@7[]");
  MC_Liberer(ZM[zone]->Buffer);
}

TEST(ZoneTable, UnstructuredReadWriteBoundedByAllocatedSize) {
  // Never written, yet readable up to the allocated size; the data length is
  // raised to the end of a write, never lowered.
  const uint16_t zone = Creer(16, 0), structuree = Creer(16, 1);
  unsigned char lu[16], *destination = lu;
  std::memset(lu, 0xAA, sizeof lu);
  const Octets quatre = Hex("01 02 03 04");
  EXPECT_EQ(Codes({MC_usLireZoneMemoire(zone, 0, &destination, 10), MC_usEcrireZoneMemoire(zone, 8, quatre.data(), 4),
                   MC_usEcrireZoneMemoire(zone, 0, quatre.data(), 2)}),
            "0000 0000 0000");
  EXPECT_EQ(HexDe(lu, 11), "00 00 00 00 00 00 00 00 00 00 AA");
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 00 00 00 00 00 00 01 02 03 04");
  TraceCapture trace({3});
  EXPECT_EQ(
      Codes({MC_usEcrireZoneMemoire(zone, 13, quatre.data(), 4), MC_usLireZoneMemoire(zone, ~0u, &destination, 2),
             MC_usLireZoneMemoire(zone, 16, &destination, 0), MC_usLireZoneMemoire(zone, 0, nullptr, 1),
             MC_usLireZoneMemoire(structuree, 0, &destination, 1),
             MC_usEcrireZoneMemoire(structuree, 0, quatre.data(), 1), MC_usLireZoneMemoire(99, 0, &destination, 1)}),
      "F804 F804 0000 F802 F811 F811 F807");
  const std::string attendu =
      "{ MC_usEcrireZoneMemoire\n   cr = 0xF804\n}\n{ MC_usLireZoneMemoire\n   cr = 0xF804\n}\n"
      "{ MC_usLireZoneMemoire\n  cr = 0x0000\n}\n";
  EXPECT_EQ(Texte(trace.Lines()).substr(0, attendu.size()), attendu);
}

TEST(ZoneNavigation, WalkingAndExtractingWithTraces) {
  const uint16_t zone = Sur("01 02 04 02 41 42 00");
  unsigned char *p = nullptr, *q = nullptr;
  uint16_t id = 0;
  {
    TraceCapture trace({3});
    EXPECT_EQ(Codes({MC_usAvancerGroupeSuivant(zone, 0, 0, &id), id}), "0000 0102");
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
  // From the field "41 42": extractions in bounds (the offsets handed out),
  // then out of them, leaving the pointer alone; bad arguments.
  ASSERT_EQ(MC_usRechercherGroupe(zone, 0x0102, 1, 0), 0u);
  ASSERT_EQ(Suivant(zone), "1@4[41 42]");
  TraceCapture trace({3});
  EXPECT_EQ(
      Codes({MC_usExtraireChamp(zone, &p, 1, 1), MC_usExtraireChamp(zone, &q, 2, 0), uint32_t(p - ZM[zone]->Buffer),
             MC_usExtraireChamp(zone, &q, 3, 0), MC_usExtraireChamp(zone, &q, 1, 2),
             MC_usExtraireChamp(zone, &q, 1, ~0u), uint32_t(q - ZM[zone]->Buffer),
             MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr), MC_usExtraireChamp(Creer(8), &q, 0, 0)}),
      "0000 0000 0005 FFFE FFFE FFFE 0006 F802 F805");
  const auto lignes = trace.Lines();
  EXPECT_TRUE(Contient(lignes, "ERREUR :  position  > longueur du champ (2)."));
  EXPECT_TRUE(Contient(lignes, "ERREUR :  position + Longueur > longueur du champ (2)."));
}

TEST(ZoneNavigation, SearchesAndOccurrences) {
  // A, B, A with A = 0x0A0A and B = 0x0B0B.  Occurrence 0 is refused before
  // the zone number is looked at; identifier 0 is found at once, unmoved.
  const uint16_t zone = Sur("0A 0A 02 01 31  0B 0B 02 01 32  0A 0A 02 01 33");
  EXPECT_EQ(Codes({MC_usRechercherGroupe(zone, 0x0A0A, 3, 0), ZM[zone]->OffsetGroupe,
                   MC_usRechercherGroupe(zone, 0x0A0A, 0, 0), MC_usRechercherGroupe(100, 0x0A0A, 0, 0),
                   MC_usRechercherGroupe(zone, 0x0B0B, 1, 1), MC_usRechercherGroupeSuivant(zone, 0, 3, 0),
                   ZM[zone]->OffsetGroupe}),
            "F806 000A F802 F802 0000 0000 0005");
  uint16_t id = 0, occurrence = 0;
  const uint16_t coupe = Sur("0A 0A 01 00  01 02");  // the next header cannot be read
  EXPECT_EQ(Codes({MC_usAvancerGroupeSuivant(coupe, 1, 0, &id), MC_usLireGroupeSuivant(coupe, 0, &id, &occurrence)}),
            "0000 F810");
  // Kept: from the start no search runs, the cursor stays there and the
  // occurrence is 0, so repeated calls give the first group again.
  MC_usPositionnerDebut(zone);
  EXPECT_EQ(Codes({MC_usLireGroupeSuivant(zone, 0, &id, &occurrence), MC_usLireGroupeSuivant(zone, 0, &id, &occurrence),
                   id, occurrence}),
            "0000 0000 0A0A 0000");
  EXPECT_EQ(Curseur(zone), "groupe 0000@0 0+0, champ 0@0 0+0");
  // Fields of a found group.
  unsigned char *p = nullptr;
  uint32_t n = 0;
  TraceCapture trace({3});
  EXPECT_EQ(
      Codes({MC_usRechercherChamp(zone, 0x0A0A, 2, 1, 1, &p, &n), uint32_t(p - ZM[zone]->Buffer), n,
             Lu(MC_usLireCompteurChamp, zone), MC_usRechercherChamp(zone, 0x0A0A, 2, 2, 0, &p, &n),
             MC_usRechercherChamp(zone, 0x0A0A, 5, 1, 0, &p, &n), MC_usRechercherChamp(zone, 0x0A0A, 1, 0, 0, &p, &n),
             MC_usRechercherChamp(Creer(4, 0), 1, 1, 1, 0, &p, &n)}),
      "0000 000E 0001 0003 F805 F806 F802 F811");
  const auto lignes = trace.Lines();
  EXPECT_TRUE(Contient(lignes, "{ MC_usRechercherChamp: identifiant = 2570, occurrenceGroupe = 2, numero = 1"));
  EXPECT_TRUE(Contient(lignes, "   cr = 0xF806"));
}

// Received data: groups and fields whose lengths run past the data.
TEST(ZoneNavigation, OverlongGroupKeepsTheCursorAndNothingIsReadOutside) {
  const uint16_t zone = Sur("01 02 09 02 41 42");  // claims 9 bytes, 3 follow
  uint16_t id = 0;
  TraceCapture trace({3});
  EXPECT_EQ(Codes({MC_usAvancerGroupeSuivant(zone, 1, 0, &id), id}), "F810 0000");
  EXPECT_EQ(Curseur(zone), "groupe 0102@0 3+9, champ 0@3 0+0");
  EXPECT_EQ(Suivant(zone), "1@4[41 42]");
  EXPECT_EQ(Suivant(zone), "F810");  // the next field would start at the data end: not read
  const auto lignes = trace.Lines();
  EXPECT_TRUE(Contient(lignes,
                       "ERREUR :  La taille du groupe (9) d\xe9passe la taille des donn\xe9"
                       "es."));
  EXPECT_TRUE(Contient(lignes, "ERREUR :  Buffer trop petit pour coder la longueur (0) (tailleBuffer = 6)."));
  EXPECT_EQ(Curseur(zone), "groupe 0102@0 3+9, champ 1@3 1+2");
  // Nothing may be inserted behind a group that runs past the data; a field
  // running past the data inside such a group is neither handed out nor edited.
  const uint16_t champ = Sur("01 02 09 05 41 42", 32);
  unsigned char *p;
  EXPECT_EQ(Codes({Lu(MC_usFinZone, zone), MC_usAvancerGroupeSuivant(zone, 1, 1, &id),
                   MC_usAvancerGroupeSuivant(champ, 1, 0, &id), MC_usAjouterGroupe(champ, 5), Suivant(champ) == "F810",
                   MC_usExtraireChamp(champ, &p, 0, 1), MC_usModifierChamp(champ, ZM[champ]->Buffer, 0, 1, 0),
                   MC_usAjouterChamp(champ, ZM[champ]->Buffer, 1)}),
            "0001 F805 F810 F810 0001 F810 F810 F810");
}

// Kept on purpose: an empty field lengthened to 255 bytes also grows the
// group's header, whose move overwrites the byte after the field; with no
// spare room for that byte the change is refused.  (The unshifted old data
// of any field whose coding grows is checked by the edit fuzz model.)
TEST(ZoneEdition, FullBufferBoundsAndLengtheningQuirks) {
  // The statuses, bytes and record of other edits are the edit fuzz model's.
  const Octets ab = Hex("41 42");
  const uint16_t zone = Construire({{0x0102, {"AB"}}}, 7, 1), court = Construire({{0x0102, {"AB"}}}, 32, 1);
  TraceCapture trace({3});
  EXPECT_EQ(Codes({MC_usAjouterChamp(zone, nullptr, 0), MC_usAjouterChamp(court, nullptr, 2),
                   MC_usModifierChamp(court, ab.data(), 1, 2, 0), MC_usModifierChamp(court, ab.data(), 3, 0, 1)}),
            "0000 F802 FFFE FFFE");
  const Lignes lignes = trace.Lines();
  EXPECT_TRUE(Contient(lignes, "  cr = 0x0000, tailleDonnees = 7"));  // an empty field exactly fills the buffer
  EXPECT_TRUE(
      Contient(lignes, "ERREUR : Agrandissement non autorise Position + Longueur > ZM[Zone]->LongueurChamp (2)."));
  EXPECT_EQ(HexDe(Donnees(zone)), "01 02 04 02 41 42 00");
  // An empty field grown to 255 bytes: the 03 of the next group is lost.
  const std::string x(255, 'x');
  const auto *px = reinterpret_cast<const unsigned char *>(x.data());
  const uint16_t vide = Construire({{0x0102, {"AB", ""}}, {0x0304, {"C"}}}, 400, 2);
  ASSERT_EQ(MC_usModifierChamp(vide, px, 0, 255, 1), 0u);
  const Octets d = Donnees(vide);
  ASSERT_EQ(d.size(), 271u);
  EXPECT_EQ(HexDe(d.data(), 11) + " | " + HexDe(d.data() + 266, 5),
            "01 02 82 01 05 02 41 42 82 00 FF | 00 04 02 01 43");
  EXPECT_EQ(std::string(d.begin() + 11, d.begin() + 266), x);
  // 266 bytes hold the result, but the header move would write byte 266.
  const uint16_t juste = Construire({{0x0102, {"AB", ""}}}, 266, 2), assez = Construire({{0x0102, {"AB", ""}}}, 267, 2);
  EXPECT_EQ(Codes({MC_usModifierChamp(juste, px, 0, 255, 1), MC_usModifierChamp(assez, px, 0, 255, 1)}), "F804 0000");
  EXPECT_EQ(HexDe(Donnees(juste)), "01 02 04 02 41 42 00");
}

bool AuDebut(uint16_t zone) { return ZM[zone]->CompteurGroupe == 0 && ZM[zone]->OffsetGroupe == 0; }

TEST(ZoneSyntaxCheck, CodingDefectsMessagesAndCursor) {
  const struct {
    const char *hex;
    uint16_t attendu;
    const char *erreur;
  } cas[] = {
      {"", 0xF810, "ERREUR : Buffer trop petit pour coder l'identifiant (tailleBuffer = 0)."},
      {"01 02 00", 0xF810, "ERREUR : Groupe de longueur 0 => ERREUR"},
      {"01 02 05 02 41 42 00", 0xF810,
       "ERREUR : Longueur du groupe (5 + 3) depasse la longueur des donnees d'entree restante (7)"},
      {"01 02 03 03 41 42 43", 0xF810, "ERREUR : Impossible de lire la longueur du champ"},
      {"01 02 01 00 09 09", 0xF810, "ERREUR : Buffer trop petit pour coder l'identifiant (tailleBuffer = 6)."},
      // Identifier 0 and non-minimal forms pass.
      {"00 00 81 03 81 01 41 00 07 82 00 01 00", 0, nullptr},
  };
  for (const auto &c : cas) {
    const Octets octets = Hex(c.hex);
    const uint16_t zone = Sur(octets, static_cast<uint32_t>(octets.size() + 4));  // spare room after the data
    TraceCapture trace({1, 3});
    EXPECT_EQ(MC_usControlerSyntaxeZoneMemoire(zone), c.attendu) << c.hex;
    EXPECT_TRUE(c.erreur == nullptr || Contient(trace.Lines(), c.erreur)) << c.hex;
  }
  // The success trace, and the cursor left on the last group at its last field.
  const uint16_t zone = Sur("01 02 04 02 41 42 00 03 04 02 01 43");
  TraceCapture trace({1});
  ASSERT_EQ(MC_usControlerSyntaxeZoneMemoire(zone), 0u);
  EXPECT_EQ(Texte(trace.Lines()),
            "{ MC_usControlerSyntaxeZoneMemoire\n  Longueur des donnees d'entree (12)\n  usIdGroupe = 258\n"
            "  stLongueurGroupe = 4, stNbOctetsLongueurGroupe = 3\n  ulTailleDataIn = 5\n"
            "  stLongueurGroupe = 1\n  stLongueurGroupe = 0\n  usIdGroupe = 772\n"
            "  stLongueurGroupe = 2, stNbOctetsLongueurGroupe = 3\n  ulTailleDataIn = 0\n"
            "  stLongueurGroupe = 0\n  MC_usControlerSyntaxeZoneMemoire usResultat = 0x0000\n}\n");
  EXPECT_EQ(Curseur(zone), "groupe 0304@7 3+2, champ 1@10 1+1");
  // The end of the group; a data length beyond the buffer is never read past
  // it; bad numbers.
  EXPECT_EQ(Codes({Lu(MC_usFinGroupe, zone), MC_usControlerSyntaxeZoneMemoire(Sur("01 02 04 02 41 42 00", 0, 12)),
                   MC_usControlerSyntaxeZoneMemoire(100), MC_usControlerSyntaxeZoneMemoire(Creer(4, 0)),
                   MC_usControlerFormatZoneMemoire(100)}),
            "0001 F810 F807 F811 F807");
}

// What the allocation counter keeps of a block of n bytes never given back.
uint32_t Garde(size_t n) {
  void *p = malloc(n);
  const auto taille = static_cast<uint32_t>(malloc_usable_size(p));
  free(p);
  return taille;
}

// 0x0101: a mandatory number of 1 to 3 digits, then OUI or NON; 0x0202: a
// mandatory free field; 0x0303: listed without fields; 0x0606's allowed
// values, 0x0707's fields and 0x0808's count of values point outside their
// arrays.  Then one group per rule of the value table (0x1000 on).  Fields
// of a group listed without fields still count in the rank.
TEST(ZoneFormatCheck, GroupsFieldCountsRanksValueRulesAndKeptBlocks) {
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
  // Mandatory and empty or blank fails; with no minimum presence alone passes;
  // trailing blanks are not counted; a length other than 6, 8 or 12 is no date
  // to check; values keep leading zeros, ignore case and trailing blanks, and
  // a field with nothing significant matches no value yet passes.
  const struct {
    ChampDico regle;
    std::string champ;
    uint16_t attendu;
  } regles[] = {{{1, 1, 0, 'X'}, "", 0x9001},           {{0, 1, 0, 'X'}, "", 0},
                {{1, 1, 0, 'A'}, "   ", 0x9001},        {{1, 0, 0, 'N'}, "", 0},
                {{0, 0, 0, 'L'}, "Ab", 0x9001},         {{0, 1, 2, 'L'}, "AB  ", 0},
                {{0, 1, 2, 'A'}, "AB3", 0x9001},        {{0, 3, 0, 'A'}, "AB", 0x9001},
                {{0, 0, 0, 'D'}, "20240229", 0},        {{0, 0, 0, 'D'}, "230229", 0x9001},
                {{0, 0, 0, 'D'}, "12345", 0},           {{0, 0, 0, 'A', {"OUI", "NON"}}, "NON  ", 0},
                {{0, 0, 0, 'N', {"7"}}, "007", 0x9001}, {{0, 0, 0, 'X', {"abc"}}, "ABC", 0},
                {{0, 0, 0, 'A', {"OUI"}}, "   ", 0},    {{0, 0, 0, 'A', {"OUI"}}, "NON", 0x9001}};
  for (size_t i = 0; i < std::size(regles); ++i) dico.push_back({uint16_t(0x1000 + i), {regles[i].regle}});
  mc::test::InstallationTables installation;
  char *versions[2] = {};
  ASSERT_EQ(installation.Ecrire(dico) + MC_usInitLIB(&versions[0], &versions[1]), 0);
  MC_Liberer(versions[0]);
  MC_Liberer(versions[1]);
  for (size_t i = 0; i < std::size(regles); ++i) {
    const uint16_t zone = Construire({{uint16_t(0x1000 + i), {regles[i].champ}}});
    EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), regles[i].attendu) << i << ": '" << regles[i].champ << "'";
    EXPECT_TRUE(AuDebut(zone)) << i;
  }
  const char *const inconnu = "ERREUR : ERREUR  groupe inconnu, usResultat= 0xa002";
  const struct {
    std::vector<GroupeZone> groupes;
    uint16_t attendu;
    const char *erreur = nullptr;  // then the cursor stays on the last group
  } cas[] = {
      {{{0x0101, {"12", "OUI"}}, {0x0303, {"libre", "", "x"}}, {0x0202, {"Z"}}}, 0},
      {{{0x0101, {"12", "OUI", "X"}}}, 0xA801},
      {{{0x0202, {"Z"}}, {0x0101, {"1"}}}, 0xA802},
      {{{0x0101, {"12", "NON"}}, {0x0101, {"1X", "OUI"}}}, 0x9003},
      {{{0x0101, {"1234", "NON"}}}, 0x9001},
      {{{0x0101, {"12", "PEUT"}}}, 0x9002},
      {{{0x0303, {"a", "b", "c"}}, {0x0202, {""}}}, 0x9004},
      {{{0x0101, {}}}, 0xF810},
      {{{0x0202, {"Z"}}, {0x0606, {"A"}}}, 0xA002, inconnu},
      {{{0x0202, {"Z"}}, {0x0707, {"A"}}}, 0xF805, "ERREUR : MC_usDonnerInformationChamp=ERREUR GROUPE CHAMP ABSENT "},
      {{{0x0202, {"Z"}}, {0x0808, {"B"}}}, 0xA002, inconnu},
      {{{0x0202, {"Z"}}, {0x0808, {"A"}}}, 0}};
  for (const auto &c : cas) {
    const uint16_t zone = Construire(c.groupes);
    TraceCapture trace({2, 7});
    EXPECT_EQ(MC_usControlerFormatZoneMemoire(zone), c.attendu) << HexDe(Donnees(zone));
    if (c.erreur != nullptr) {
      EXPECT_TRUE(Contient(trace.Lines(), c.erreur)) << HexDe(Donnees(zone));
      EXPECT_EQ(ZM[zone]->IdGroupe, c.groupes.back().first);
    } else if (c.attendu != 0xF810) {
      EXPECT_TRUE(AuDebut(zone)) << HexDe(Donnees(zone));
    }
  }
  // The trace of a value matching none.
  const uint16_t zone = Construire({{uint16_t(0x1000 + std::size(regles) - 1), {"NON"}}});
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
  // An unknown second group leaves the cursor on it; the list of groups and
  // the records of fields and values are kept on purpose, never counted back.
  // Every allocation failing in turn gives a status, never a crash or a leak.
  const uint16_t second = Construire({{0x0101, {"7", "NON"}}, {0x0505, {"Z"}}});
  TraceCapture inconnu2({2});
  const uint32_t avant = ulMemAllouee;
  EXPECT_EQ(MC_usControlerFormatZoneMemoire(second), 0xA002);
  EXPECT_EQ(ulMemAllouee - avant, Garde(2 * g_ulNbTabGrp) + Garde(2 * sizeof(TCHAMP)) + 4 * Garde(4));
  const auto lignes = inconnu2.Lines();
  EXPECT_TRUE(Contient(lignes, "ERREUR : ERREUR groupe inconnu = 0x1285"));
  EXPECT_TRUE(Contient(lignes, "ERREUR : ERREUR usResultat= 0xa002"));
  EXPECT_EQ(Codes({ZM[second]->IdGroupe, ZM[second]->CompteurGroupe}), "0505 0002");
  const uint16_t valeurs = Construire({{0x0101, {"5", "OUI"}}});
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
  MC_usTermLIB();
}

}  // namespace
