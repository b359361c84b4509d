// Long runs as a host lives them, a few seconds each: a million zone operations, thousands of binary file, library
// and trace cycles; then memory (less the blocks kept on purpose, counted exactly), descriptors and tables are back.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/dictionary_builder.h"

namespace {

size_t DescripteursOuverts() {
  return size_t(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

// What a run must give back: memory (less what it keeps on purpose), descriptors, zone, file and trace tables.
struct Bilan {
  const uint32_t memoire = ulMemAllouee;
  const size_t descripteurs = DescripteursOuverts();
  void Verifier(uint32_t garde = 0) const {
    EXPECT_EQ(ulMemAllouee, memoire + garde);
    EXPECT_EQ(DescripteursOuverts(), descripteurs);
    for (ZoneMemoire *z : ZM) EXPECT_EQ(z, nullptr);
    for (Fichier *f : fichiers) EXPECT_EQ(f, nullptr);
    EXPECT_TRUE(lPositionTailleTable == 0 && fichier == nullptr && NbTracesActives == 0);
  }
};

TEST(Soak, MillionZoneOperations) {
  const Bilan bilan;
  const std::vector<unsigned char> octets(400, 'Z');
  uint64_t operations = 0;
  const auto ok = [&](uint16_t cr) { return ++operations, cr == MC_OK; };
  // An adding call, the zone enlarged after each 0xF804 as hosts do.
  const auto ajout = [&](uint16_t z, auto appel) {
    uint16_t cr;
    while ((cr = appel()) == MC_ERR_DEPASSEMENT && ok(MC_usRedimensionner(z, ZM[z]->TailleBuffer * 2))) continue;
    return ok(cr);
  };
  for (unsigned tour = 0; operations < 1000000; ++tour) {
    uint16_t z = 0, id = 0, numero = 0, compteur = 0;
    ASSERT_TRUE(ok(MC_usCreerZoneMemoire(tour % 32, 1, &z)));
    // Groups of fields of every coding size, each group after the last.
    const unsigned nbGroupes = 3 + tour % 6, nbChamps = 1 + tour % 5;
    for (unsigned g = 0; g < nbGroupes; ++g) {
      ASSERT_TRUE(ajout(z, [&] { return MC_usAjouterGroupe(z, uint16_t(0x100 + g % 4)); }));
      for (unsigned c = 0; c < nbChamps; ++c) {
        const uint32_t n = (tour * 37 + g * 11 + c * 131) % 300;
        ASSERT_TRUE(ajout(z, [&] { return MC_usAjouterChamp(z, octets.data(), n); }));
      }
      // Lengthened within its coding size, and overwritten.
      const uint32_t l = ZM[z]->LongueurChamp, plus = l < 120 ? 120 - l : l < 250 ? 250 - l : 0;
      ASSERT_TRUE(ajout(z, [&] { return MC_usModifierChamp(z, octets.data(), l, plus, 1); }));
      ASSERT_TRUE(ok(MC_usModifierChamp(z, octets.data(), 0, 1, 0)));
    }
    // A full walk finds every group and field that was added.
    ASSERT_TRUE(ok(MC_usControlerSyntaxeZoneMemoire(z)) && ok(MC_usPositionnerDebut(z)));
    unsigned char *donnees = nullptr, *buffer = nullptr;
    uint32_t longueur = 0;
    unsigned groupes = 0, champs = 0;
    for (; ok(MC_usAvancerGroupeSuivant(z, 1, 0, &id)); ++groupes)
      while (ok(MC_usAvancerChampSuivant(z, 1, &numero, &donnees, &longueur))) ++champs;
    ASSERT_TRUE(groupes == nbGroupes && champs == nbGroupes * nbChamps) << groupes << " " << champs;
    ASSERT_TRUE(ok(MC_usRechercherChamp(z, 0x101, 1, 1, 1, &donnees, &longueur)) &&
                ok(MC_usExtraireChamp(z, &donnees, 0, longueur)) && ok(MC_usLireGroupeSuivant(z, 1, &id, &compteur)) &&
                ok(MC_usPositionnerFin(z, 1)) && ok(MC_usLireCompteurChamp(z, &compteur)) &&
                ok(MC_pucLireBuffer(z, &longueur, &buffer)) && ok(MC_usLibererZoneMemoire(z)));
    MC_Liberer(buffer);
  }
  bilan.Verifier();
}

TEST(Soak, BinaryFileCycles) {
  mc::test::TempDir dir;
  const Bilan bilan;
  const char *rep = dir.path().c_str();
  const EnteteFichierBinaire entete{"soak.bin", "0104", "SOAK ", "20240101", "0103", "TESTS", "0000000000", "soak"};
  const EnteteTable tables[] = {{"PREMIERE  ", 0, 2, 0, 0, 0, 0}, {"SECONDE   ", 0, 2, 0, 0, 0, 0}};
  for (unsigned i = 0; i < 3000; ++i) {
    uint16_t num = 0;
    // Every tenth cycle writes the file again, under CRC control.
    if (i % 10 == 0) {
      ASSERT_EQ(MC_usCreerFichierBinaire(rep, "soak.bin", MC_CONTROLE_CRC, &entete, &num), MC_OK);
      for (const EnteteTable &t : tables) {
        ASSERT_TRUE(MC_usEcrireEnteteTable(num, &t) == MC_OK && MC_usEcrireUnsignedLong(num, i) == MC_OK &&
                    MC_usEcrireChaineVariable(num, "valeur de la table") == MC_OK &&
                    MC_usEcrireDouble(num, -2.5) == MC_OK && MC_usEcrireTaille(num) == MC_OK);
      }
      ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), MC_OK);
    }
    EnteteFichierBinaire lu{};
    EnteteTable t{};
    uint32_t valeur = 0;
    char *chaine = nullptr;
    double d = 0;
    unsigned char *brut = nullptr;
    ASSERT_EQ(MC_usInitialiserFichierBinaire(rep, "soak.bin", MC_CONTROLE_CRC, &num, &lu), MC_OK);
    ASSERT_TRUE(MC_usRechercherTable(num, "SECONDE", &t) == MC_OK && MC_usLireUnsignedLong(num, &valeur) == MC_OK &&
                MC_usLireChaineVariable(num, &chaine) == MC_OK && MC_usLireDouble(num, &d) == MC_OK &&
                MC_usRechercherTable(num, "PREMIERE", &t) == MC_OK &&
                MC_usLireFichierBinaire(num, 0, 4, &brut) == MC_OK);
    ASSERT_EQ(valeur, i - i % 10);
    EXPECT_STREQ(chaine, "valeur de la table");
    for (void *p : std::initializer_list<void *>{chaine, brut}) MC_Liberer(p);
    ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), MC_OK);
    // Failed opens: before the file is open, and after (wrong name: open under its number until released).
    EXPECT_EQ(MC_usInitialiserFichierBinaire(rep, "absent.bin", 0, &num, &lu), MC_ERR_FICHIER);
    EXPECT_EQ(num, 0);
    std::filesystem::copy_file(dir.file("soak.bin"), dir.file("copie.bin"),
                               std::filesystem::copy_options::overwrite_existing);
    ASSERT_EQ(MC_usInitialiserFichierBinaire(rep, "copie.bin", 0, &num, &lu), MC_ERR_NOM_FICHIER);
    ASSERT_EQ(MC_usLibererFichierBinaire(num, nullptr), MC_OK);
  }
  bilan.Verifier();
}

TEST(Soak, LibraryStartAndStopCycles) {
  mc::test::InstallationTables installation;
  const std::vector<mc::test::GroupeDico> dictionnaire{{0x0101, {{1, 1, 10, 'N', {}}, {0, 0, 0, 'A', {"OUI", "NON"}}}},
                                                       {0x0202, {{0, 0, 0, 'X', {"UNE VALEUR PERMISE"}}}}};
  ASSERT_EQ(installation.Ecrire(dictionnaire), MC_OK);
  mc::test::TempDir traces;
  const Bilan bilan;
  const unsigned cycles = 1000;
  // The allocation trace keeps the books of every block.
  ASSERT_EQ(MC_usActiverTrace(traces.file("memoire.log").c_str(), "w", 1, 5, 2), MC_OK);
  for (unsigned i = 0; i < cycles; ++i) {
    char *versionMC = nullptr, *versionTables = nullptr, *autre = nullptr;
    uint16_t *liste = nullptr, nombre = 0;
    ASSERT_EQ(MC_usInitLIB(&versionMC, &versionTables), MC_OK);
    // Another module comes and goes in between.
    ASSERT_TRUE(MC_usInitLIB(&autre, &autre) == MC_OK && MC_usTermLIB() == MC_OK && g_stTabGrp != nullptr);
    ASSERT_EQ(MC_usDonnerListeGroupes(&liste, &nombre), MC_OK);
    for (void *p : std::initializer_list<void *>{liste, versionMC, versionTables}) MC_Liberer(p);
    ASSERT_TRUE(MC_usTermLIB() == MC_OK && nbre_chargt_module == 0 && g_stTabGrp == nullptr);
  }
  ASSERT_EQ(MC_usActiverTrace(nullptr, nullptr, 1, 5, 0), MC_OK);
  // Blocks still held: each "Allocation de" line takes one, each "Liberation de" line gives one back, by address.
  std::map<uintptr_t, uint32_t> tenus;
  std::istringstream lignes(mc::test::ReadFile(traces.file("memoire.log")));
  for (std::string ligne; std::getline(lignes, ligne);) {
    unsigned demande = 0, reelle = 0;
    void *p = nullptr;
    const size_t a = ligne.find("Allocation de "), l = ligne.find("Liberation de ");
    if (a != ligne.npos && std::sscanf(&ligne[a], "Allocation de %u (%u) a l'adresse %p", &demande, &reelle, &p) == 3)
      tenus[reinterpret_cast<uintptr_t>(p)] = reelle;
    else if (l != ligne.npos && std::sscanf(&ligne[l], "Liberation de %u octets a l'adresse %p", &reelle, &p) == 2)
      tenus.erase(reinterpret_cast<uintptr_t>(p));
  }
  tenus.erase(0);  // failed allocations
  // Kept on purpose, and nothing else: every load's value texts, and the last start's two directory copies.
  std::map<std::string, unsigned> contenus;
  uint32_t total = 0;
  for (const auto &[adresse, taille] : tenus) total += (++contenus[reinterpret_cast<const char *>(adresse)], taille);
  bilan.Verifier(total);
  EXPECT_EQ(contenus, (std::map<std::string, unsigned>{{"OUI", cycles}, {"NON", cycles}, {"UNE VALEUR PERMISE", cycles},
                                                       {installation.RepertoireTravail(), 1},
                                                       {installation.RepertoireTables(), 1}}));

  // Kept for compatibility: a format check keeps field descriptions and reduced texts counted, the same each time.
  char *versionMC = nullptr, *versionTables = nullptr;
  unsigned char message[] = {0x01, 0x01, 0x08, 0x03, '0', '4', '2', 0x03, 'N', 'O', 'N'};
  uint16_t z = 0;
  ASSERT_TRUE(MC_usInitLIB(&versionMC, &versionTables) == MC_OK &&
              MC_usInitialiserZoneMemoire(message, sizeof message, &z, 1) == MC_OK);
  for (void *p : std::initializer_list<void *>{versionMC, versionTables}) MC_Liberer(p);
  const uint32_t avant = ulMemAllouee;
  ASSERT_EQ(MC_usControlerFormatZoneMemoire(z), MC_OK);
  const uint32_t garde = ulMemAllouee - avant;
  for (unsigned i = 1; i < 20000; ++i) ASSERT_EQ(MC_usControlerFormatZoneMemoire(z), MC_OK);
  EXPECT_TRUE(garde > 0 && ulMemAllouee == avant + 20000 * garde) << garde;
  ASSERT_TRUE(MC_usLibererZoneMemoire(z) == MC_OK && MC_usTermLIB() == MC_OK);

  // Refused tables files leave nothing behind, the file closed included.
  ASSERT_EQ(installation.Ecrire(dictionnaire, {"0103", "0103"}), MC_OK);
  const Bilan avantRefus;
  for (unsigned i = 0; i < cycles; ++i) ASSERT_EQ(MC_usInitLIB(&versionMC, &versionTables), MC_ERR_VERSION);
  avantRefus.Verifier();
  EXPECT_EQ(nbre_chargt_module, 0);
}

TEST(Soak, TraceCycles) {
  mc::test::TempDir dir;
  const std::string chemin = dir.file("trace.log");
  const Bilan bilan;
  for (unsigned i = 0; i < 2000; ++i) {
    ASSERT_EQ(MC_usActiverTrace(chemin.c_str(), i % 2 ? "a" : "w", 1, 3, 2), MC_OK);
    ASSERT_EQ(MC_usActiverTrace(chemin.c_str(), "w", 1, 5, 1), MC_OK);
    uint16_t z = 0;
    unsigned char *buffer = nullptr;
    uint32_t taille = 0;
    ASSERT_TRUE(MC_usCreerZoneMemoire(8, 1, &z) == MC_OK && MC_usAjouterGroupe(z, 7) == MC_OK &&
                MC_pucLireBuffer(z, &taille, &buffer) == MC_OK && MC_usLibererZoneMemoire(z) == MC_OK);
    MC_Liberer(buffer);
    if (i % 100 == 0) {
      // The channel table fills up at 100 and empties with the trace.
      for (uint16_t m = 2; NbTracesActives < MC_NB_TRACES_MAX; ++m) ASSERT_EQ(MC_usAjouterTrace(m, 1, 2), MC_OK);
      EXPECT_EQ(MC_usAjouterTrace(999, 1, 2), MC_ERR_TRACE_PLEIN);
    }
    ASSERT_TRUE(MC_usActiverTrace(nullptr, nullptr, 1, 3, 0) == MC_OK && fichier == nullptr && NbTracesActives == 0);
  }
  bilan.Verifier();
}

}  // namespace
