// Long runs as a host process lives them: a million zone operations,
// thousands of binary file cycles, repeated library starts and stops and
// trace cycles.  Afterwards the allocation total is back where it was
// (apart from the blocks kept on purpose, counted exactly), no file
// descriptor is left open, and the zone, file and trace tables are empty.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/dictionary_builder.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MC_SOUS_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define MC_SOUS_SANITIZER 1
#endif

using mc::test::GroupeDico;
using mc::test::InstallationTables;

namespace {

// Counts are halved under the sanitizers to keep each run to a few seconds
// (the million zone operations stay a million).
#ifdef MC_SOUS_SANITIZER
constexpr unsigned kDiviseur = 2;
#else
constexpr unsigned kDiviseur = 1;
#endif

size_t DescripteursOuverts() {
  size_t n = 0;
  for ([[maybe_unused]] const auto &e : std::filesystem::directory_iterator("/proc/self/fd")) ++n;
  return n;
}

void ExpectTablesVides() {
  for (ZoneMemoire *z : ZM) EXPECT_EQ(z, nullptr);
  for (Fichier *f : fichiers) EXPECT_EQ(f, nullptr);
  EXPECT_EQ(lPositionTailleTable, 0);
  EXPECT_EQ(fichier, nullptr);
  EXPECT_EQ(NbTracesActives, 0);
}

// Runs an adding call, enlarging the zone after each 0xF804 as hosts do.
template <typename Ajout>
uint16_t AvecAgrandissement(uint16_t z, uint64_t &operations, Ajout ajout) {
  uint16_t cr = ajout();
  ++operations;
  while (cr == MC_ERR_DEPASSEMENT) {
    EXPECT_EQ(MC_usRedimensionner(z, ZM[z]->TailleBuffer * 2), MC_OK);
    cr = ajout();
    operations += 2;
  }
  return cr;
}

TEST(Soak, MillionZoneOperations) {
  const uint32_t memoire = ulMemAllouee;
  const uint64_t cible = 1000000;
  std::vector<unsigned char> octets(400);
  for (size_t i = 0; i < octets.size(); ++i) octets[i] = static_cast<unsigned char>('A' + i % 26);
  uint64_t operations = 0;
  for (unsigned tour = 0; operations < cible; ++tour) {
    uint16_t z = 0;
    ASSERT_EQ(MC_usCreerZoneMemoire(tour % 32, 1, &z), MC_OK);
    ++operations;
    // Groups of fields of every coding size, each group after the last.
    const unsigned nbGroupes = 3 + tour % 6, nbChamps = 1 + tour % 5;
    for (unsigned g = 0; g < nbGroupes; ++g) {
      ASSERT_EQ(AvecAgrandissement(z, operations, [&] { return MC_usAjouterGroupe(z, uint16_t(0x100 + g % 4)); }),
                MC_OK);
      for (unsigned c = 0; c < nbChamps; ++c) {
        const uint32_t n = (tour * 37 + g * 11 + c * 131) % 300;
        ASSERT_EQ(AvecAgrandissement(z, operations, [&] { return MC_usAjouterChamp(z, octets.data(), n); }), MC_OK);
      }
      // Lengthened within its coding size, and overwritten.
      const uint32_t l = ZM[z]->LongueurChamp;
      const uint32_t plus = l < 120 ? 120 - l : l < 250 ? 250 - l : 0;
      ASSERT_EQ(AvecAgrandissement(z, operations, [&] { return MC_usModifierChamp(z, octets.data(), l, plus, 1); }),
                MC_OK);
      ASSERT_EQ(MC_usModifierChamp(z, octets.data(), 0, 1, 0), MC_OK);
      ++operations;
    }
    ASSERT_EQ(MC_usControlerSyntaxeZoneMemoire(z), MC_OK);
    ++operations;
    // A full walk finds every group and field that was added.
    ASSERT_EQ(MC_usPositionnerDebut(z), MC_OK);
    uint16_t id = 0, numero = 0, compteur = 0;
    unsigned char *donnees = nullptr;
    uint32_t longueur = 0;
    unsigned groupes = 0, champs = 0;
    while (MC_usAvancerGroupeSuivant(z, 1, 0, &id) == MC_OK) {
      ++groupes;
      while (MC_usAvancerChampSuivant(z, 1, &numero, &donnees, &longueur) == MC_OK) ++champs;
      operations += 2 + nbChamps;
    }
    ASSERT_EQ(groupes, nbGroupes);
    ASSERT_EQ(champs, nbGroupes * nbChamps);
    ASSERT_EQ(MC_usRechercherChamp(z, 0x101, 1, 1, 1, &donnees, &longueur), MC_OK);
    ASSERT_EQ(MC_usExtraireChamp(z, &donnees, 0, longueur), MC_OK);
    ASSERT_EQ(MC_usLireGroupeSuivant(z, 1, &id, &compteur), MC_OK);
    ASSERT_EQ(MC_usPositionnerFin(z, 1), MC_OK);
    ASSERT_EQ(MC_usLireCompteurChamp(z, &compteur), MC_OK);
    operations += 5;
    unsigned char *buffer = nullptr;
    ASSERT_EQ(MC_pucLireBuffer(z, &longueur, &buffer), MC_OK);
    ASSERT_EQ(MC_usLibererZoneMemoire(z), MC_OK);
    MC_Liberer(buffer);
    operations += 2;
  }
  EXPECT_EQ(ulMemAllouee, memoire);
  ExpectTablesVides();
}

EnteteFichierBinaire Entete(const char *nom) {
  EnteteFichierBinaire e{};
  std::strcpy(e.acNomFichier, nom);
  std::strcpy(e.acVersion, "0104");
  std::strcpy(e.acChampA, "SOAK ");
  std::strcpy(e.acChampB, "20240101");
  std::strcpy(e.acVersionLecteur, "0103");
  std::strcpy(e.acChampC, "TESTS");
  std::strcpy(e.acChampD, "0000000000");
  std::strcpy(e.acCommentaire, "fichier d'endurance");
  return e;
}

TEST(Soak, BinaryFileCycles) {
  mc::test::TempDir dir;
  const size_t descripteurs = DescripteursOuverts();
  const uint32_t memoire = ulMemAllouee;
  const unsigned cycles = 3000 / kDiviseur;
  const EnteteFichierBinaire entete = Entete("soak.bin");
  for (unsigned i = 0; i < cycles; ++i) {
    // Every tenth cycle writes the file again, under CRC control.
    if (i % 10 == 0) {
      uint16_t num = 0;
      ASSERT_EQ(MC_usCreerFichierBinaire(dir.path().c_str(), "soak.bin", MC_CONTROLE_CRC, &entete, &num), MC_OK);
      for (const char *nom : {"PREMIERE  ", "SECONDE   "}) {
        EnteteTable t{};
        std::memcpy(t.acNomTable, nom, 10);
        t.ulNombre = 2;
        ASSERT_EQ(MC_usEcrireEnteteTable(num, &t), MC_OK);
        ASSERT_EQ(MC_usEcrireUnsignedLong(num, i), MC_OK);
        ASSERT_EQ(MC_usEcrireChaineVariable(num, "valeur de la table"), MC_OK);
        ASSERT_EQ(MC_usEcrireDouble(num, -2.5), MC_OK);
        ASSERT_EQ(MC_usEcrireTaille(num), MC_OK);
      }
      ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), MC_OK);
    }
    EnteteFichierBinaire lu{};
    uint16_t num = 0;
    ASSERT_EQ(MC_usInitialiserFichierBinaire(dir.path().c_str(), "soak.bin", MC_CONTROLE_CRC, &num, &lu), MC_OK);
    EnteteTable t{};
    ASSERT_EQ(MC_usRechercherTable(num, "SECONDE", &t), MC_OK);
    uint32_t valeur = 0;
    char *chaine = nullptr;
    double d = 0;
    ASSERT_EQ(MC_usLireUnsignedLong(num, &valeur), MC_OK);
    ASSERT_EQ(valeur, i - i % 10);
    ASSERT_EQ(MC_usLireChaineVariable(num, &chaine), MC_OK);
    EXPECT_STREQ(chaine, "valeur de la table");
    MC_Liberer(chaine);
    ASSERT_EQ(MC_usLireDouble(num, &d), MC_OK);
    ASSERT_EQ(MC_usRechercherTable(num, "PREMIERE", &t), MC_OK);
    unsigned char *brut = nullptr;
    ASSERT_EQ(MC_usLireFichierBinaire(num, 0, 4, &brut), MC_OK);
    MC_Liberer(brut);
    ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), MC_OK);
    // Failed opens: one before the file is open, one after (wrong name:
    // the file stays open under its number until released).
    EXPECT_EQ(MC_usInitialiserFichierBinaire(dir.path().c_str(), "absent.bin", 0, &num, &lu), MC_ERR_FICHIER);
    EXPECT_EQ(num, 0);
    std::filesystem::copy_file(dir.file("soak.bin"), dir.file("copie.bin"),
                               std::filesystem::copy_options::overwrite_existing);
    ASSERT_EQ(MC_usInitialiserFichierBinaire(dir.path().c_str(), "copie.bin", 0, &num, &lu), MC_ERR_NOM_FICHIER);
    ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), MC_OK);
  }
  EXPECT_EQ(ulMemAllouee, memoire);
  EXPECT_EQ(DescripteursOuverts(), descripteurs);
  ExpectTablesVides();
}

// The blocks still held according to an allocation trace: each
// "Allocation de" line takes a block, each "Liberation de" line gives one
// back, by address.
std::map<uintptr_t, uint32_t> BlocsTenus(const std::string &trace) {
  std::map<uintptr_t, uint32_t> tenus;
  std::istringstream lignes(trace);
  std::string ligne;
  while (std::getline(lignes, ligne)) {
    unsigned demande = 0, reelle = 0;
    void *adresse = nullptr;
    size_t pos = ligne.find("Allocation de ");
    if (pos != std::string::npos &&
        std::sscanf(ligne.c_str() + pos, "Allocation de %u (%u) a l'adresse %p", &demande, &reelle, &adresse) == 3) {
      if (adresse != nullptr) tenus[reinterpret_cast<uintptr_t>(adresse)] = reelle;
    } else if ((pos = ligne.find("Liberation de ")) != std::string::npos &&
               std::sscanf(ligne.c_str() + pos, "Liberation de %u octets a l'adresse %p", &reelle, &adresse) == 2) {
      tenus.erase(reinterpret_cast<uintptr_t>(adresse));
    }
  }
  return tenus;
}

TEST(Soak, LibraryStartAndStopCycles) {
  InstallationTables installation;
  const std::vector<GroupeDico> dictionnaire = {
      {0x0101, {{1, 1, 10, 'N', {}}, {0, 0, 0, 'A', {"OUI", "NON"}}}},
      {0x0202, {{0, 0, 0, 'X', {"UNE VALEUR PERMISE"}}}},
  };
  ASSERT_EQ(installation.Ecrire(dictionnaire), MC_OK);
  mc::test::TempDir traces;
  const size_t descripteurs = DescripteursOuverts();
  const uint32_t memoire = ulMemAllouee;
  const unsigned cycles = 1000 / kDiviseur;
  // The allocation trace keeps the books of every block.
  ASSERT_EQ(MC_usActiverTrace(traces.file("memoire.log").c_str(), "w", 1, 5, 2), MC_OK);
  for (unsigned i = 0; i < cycles; ++i) {
    char *versionMC = nullptr, *versionTables = nullptr;
    ASSERT_EQ(MC_usInitLIB(&versionMC, &versionTables), MC_OK);
    // Another module comes and goes in between.
    char *autre = nullptr;
    ASSERT_EQ(MC_usInitLIB(&autre, &autre), MC_OK);
    ASSERT_EQ(MC_usTermLIB(), MC_OK);
    ASSERT_NE(g_stTabGrp, nullptr);
    uint16_t *liste = nullptr, nombre = 0;
    ASSERT_EQ(MC_usDonnerListeGroupes(&liste, &nombre), MC_OK);
    MC_Liberer(liste);
    MC_Liberer(versionMC);
    MC_Liberer(versionTables);
    ASSERT_EQ(MC_usTermLIB(), MC_OK);
    ASSERT_EQ(nbre_chargt_module, 0);
    ASSERT_EQ(g_stTabGrp, nullptr);
  }
  ASSERT_EQ(MC_usActiverTrace(nullptr, nullptr, 1, 5, 0), MC_OK);
  // Kept on purpose, and nothing else: the value texts of every load, and
  // the copies of the two directories taken by the last start.
  const std::map<uintptr_t, uint32_t> tenus = BlocsTenus(mc::test::ReadFile(traces.file("memoire.log")));
  std::map<std::string, unsigned> contenus;
  uint32_t total = 0;
  for (const auto &[adresse, taille] : tenus) {
    ++contenus[reinterpret_cast<const char *>(adresse)];
    total += taille;
  }
  EXPECT_EQ(ulMemAllouee, memoire + total);
  EXPECT_EQ(contenus, (std::map<std::string, unsigned>{{"OUI", cycles},
                                                       {"NON", cycles},
                                                       {"UNE VALEUR PERMISE", cycles},
                                                       {installation.RepertoireTravail(), 1},
                                                       {installation.RepertoireTables(), 1}}));
  EXPECT_EQ(DescripteursOuverts(), descripteurs);
  ExpectTablesVides();

  // Refused tables files leave nothing behind, the file closed included.
  ASSERT_EQ(installation.Ecrire(dictionnaire, {"0103", "0103"}), MC_OK);
  const uint32_t avantRefus = ulMemAllouee;
  for (unsigned i = 0; i < cycles; ++i) {
    char *versionMC = nullptr, *versionTables = nullptr;
    ASSERT_EQ(MC_usInitLIB(&versionMC, &versionTables), MC_ERR_VERSION);
  }
  EXPECT_EQ(ulMemAllouee, avantRefus);
  EXPECT_EQ(DescripteursOuverts(), descripteurs);
  EXPECT_EQ(nbre_chargt_module, 0);
  ExpectTablesVides();
}

TEST(Soak, FormatCheckKeepsTheSameBlocksEachTime) {
  InstallationTables installation;
  ASSERT_EQ(installation.Ecrire({{0x0101, {{1, 1, 10, 'A', {"OUI", "NON"}}, {0, 0, 0, 'N', {}}}}}), MC_OK);
  char *versionMC = nullptr, *versionTables = nullptr;
  ASSERT_EQ(MC_usInitLIB(&versionMC, &versionTables), MC_OK);
  MC_Liberer(versionMC);
  MC_Liberer(versionTables);
  unsigned char message[] = {0x01, 0x01, 0x08, 0x03, 'N', 'O', 'N', 0x03, '0', '4', '2'};
  uint16_t z = 0;
  ASSERT_EQ(MC_usInitialiserZoneMemoire(message, sizeof message, &z, 1), MC_OK);
  const uint32_t avant = ulMemAllouee;
  ASSERT_EQ(MC_usControlerFormatZoneMemoire(z), MC_OK);
  const uint32_t garde = ulMemAllouee - avant;
  // Kept for compatibility: the field descriptions and the reduced texts
  // stay counted, the same amount for every check of the same message.
  EXPECT_GT(garde, 0u);
  const unsigned checks = 20000 / kDiviseur;
  for (unsigned i = 1; i < checks; ++i) ASSERT_EQ(MC_usControlerFormatZoneMemoire(z), MC_OK);
  EXPECT_EQ(ulMemAllouee, avant + checks * garde);
  ASSERT_EQ(MC_usLibererZoneMemoire(z), MC_OK);
  ASSERT_EQ(MC_usTermLIB(), MC_OK);
}

TEST(Soak, TraceCycles) {
  mc::test::TempDir dir;
  const std::string chemin = dir.file("trace.log");
  const size_t descripteurs = DescripteursOuverts();
  const uint32_t memoire = ulMemAllouee;
  const unsigned cycles = 2000 / kDiviseur;
  for (unsigned i = 0; i < cycles; ++i) {
    ASSERT_EQ(MC_usActiverTrace(chemin.c_str(), i % 2 ? "a" : "w", 1, 3, 2), MC_OK);
    ASSERT_EQ(MC_usActiverTrace(chemin.c_str(), "w", 1, 5, 1), MC_OK);
    uint16_t z = 0;
    ASSERT_EQ(MC_usCreerZoneMemoire(8, 1, &z), MC_OK);
    ASSERT_EQ(MC_usAjouterGroupe(z, 7), MC_OK);
    unsigned char *buffer = nullptr;
    uint32_t taille = 0;
    ASSERT_EQ(MC_pucLireBuffer(z, &taille, &buffer), MC_OK);
    ASSERT_EQ(MC_usLibererZoneMemoire(z), MC_OK);
    MC_Liberer(buffer);
    if (i % 100 == 0) {
      // The channel table fills up at 100 and empties with the trace.
      for (uint16_t m = 2; NbTracesActives < MC_NB_TRACES_MAX; ++m) ASSERT_EQ(MC_usAjouterTrace(m, 1, 2), MC_OK);
      EXPECT_EQ(MC_usAjouterTrace(999, 1, 2), MC_ERR_TRACE_PLEIN);
    }
    ASSERT_EQ(MC_usActiverTrace(nullptr, nullptr, 1, 3, 0), MC_OK);
    ASSERT_EQ(fichier, nullptr);
    ASSERT_EQ(NbTracesActives, 0);
  }
  EXPECT_EQ(ulMemAllouee, memoire);
  EXPECT_EQ(DescripteursOuverts(), descripteurs);
  ExpectTablesVides();
}

}  // namespace
