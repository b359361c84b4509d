// Data dictionary: loading from a tables file, releases, and the queries.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "core/memory.h"
#include "dictionary/dictionary.h"
#include "support/dictionary_builder.h"

using mc::test::ChampDico;
using mc::test::GroupeDico;
using mc::test::InstallationTables;
using mc::test::TraceCapture;

namespace {

// Group 0x0101 twice (the first wins), a group without fields, and a last
// group whose value follows those of 0x0101 in TVALEUR.
std::vector<GroupeDico> Exemple() {
  return {{0x0101, {{1, 1, 3, 'A', {"OUI", "NON"}}, {0, 0, 0, 'N', {}}}},
          {0x0202, {}},
          {0x0101, {{0, 0, 0, 'X', {}}}},
          {0x0303, {{0, 0, 0, 'L', {"X"}}}}};
}

// Initialises the library on a dictionary; the versions are freed.
void Initialiser(const InstallationTables &inst, const std::vector<GroupeDico> &groupes) {
  ASSERT_EQ(inst.Ecrire(groupes), 0);
  char *v1 = nullptr, *v2 = nullptr;
  ASSERT_EQ(MC_usInitLIB(&v1, &v2), 0);
  MC_Liberer(v1);
  MC_Liberer(v2);
}

std::string Valeur(uint16_t groupe, uint8_t champ, uint8_t valeur, uint16_t attendu = 0) {
  char *texte = nullptr;
  EXPECT_EQ(MC_usDonnerChampValeur(groupe, champ, valeur, &texte), attendu);
  std::string s = texte != nullptr ? texte : "<null>";
  MC_Liberer(texte);
  return s;
}

TEST(DictionaryQueries, ListFieldsAndValues) {
  InstallationTables inst;
  Initialiser(inst, Exemple());
  uint16_t *liste = nullptr, nombre = 0;
  ASSERT_EQ(MC_usDonnerListeGroupes(&liste, &nombre), 0);
  EXPECT_EQ(std::vector<uint16_t>(liste, liste + nombre), (std::vector<uint16_t>{0x0101, 0x0202, 0x0101, 0x0303}));
  MC_Liberer(liste);

  TCHAMP *champs = nullptr;
  ASSERT_EQ(MC_usDonnerInformationChamp(0x0101, &champs, &nombre), 0);
  ASSERT_EQ(nombre, 2);
  auto membres = [](const TCHAMP &c) {
    return std::vector<int>{c.lPresence, c.usLgMin, c.usLgMax, c.cFormat, c.usIndPremiereValeur, c.usNbValeurs};
  };
  EXPECT_EQ(membres(champs[0]), (std::vector<int>{1, 1, 3, 'A', 0, 2}));
  EXPECT_EQ(membres(champs[1]), (std::vector<int>{0, 0, 0, 'N', 2, 0}));
  MC_Liberer(champs);
  champs = nullptr;
  ASSERT_EQ(MC_usDonnerInformationChamp(0x0202, &champs, &nombre), 0);
  EXPECT_EQ(nombre, 0);
  EXPECT_NE(champs, nullptr);
  MC_Liberer(champs);
  EXPECT_EQ(MC_usDonnerInformationChamp(0x0404, &champs, &nombre), MC_ERR_NON_TROUVE);

  EXPECT_EQ(Valeur(0x0101, 1, 1), "OUI");
  EXPECT_EQ(Valeur(0x0101, 1, 2), "NON");
  // Numbers are not checked against the counts: both reach the next value.
  EXPECT_EQ(Valeur(0x0101, 1, 3), "X");
  EXPECT_EQ(Valeur(0x0101, 2, 1), "X");
  EXPECT_EQ(Valeur(0x0303, 1, 2, MC_ERR_NON_TROUVE), "<null>");
  EXPECT_EQ(Valeur(0x0404, 1, 1, MC_ERR_NON_TROUVE), "<null>");

  ASSERT_EQ(MC_usTermLIB(), 0);
  ASSERT_EQ(MC_usDonnerListeGroupes(&liste, &nombre), 0);
  EXPECT_EQ(nombre, 0);
  MC_Liberer(liste);
  EXPECT_EQ(MC_usDonnerInformationChamp(0x0101, &champs, &nombre), MC_ERR_NON_TROUVE);
  EXPECT_EQ(Valeur(0x0101, 1, 1, MC_ERR_NON_TROUVE), "<null>");
}

TEST(DictionaryQueries, MissingPlacesAndAllocationFailures) {
  InstallationTables inst;
  Initialiser(inst, Exemple());
  TraceCapture trace({7});
  uint16_t *liste = nullptr, nombre = 0;
  TCHAMP *champs = nullptr;
  char *texte = nullptr;
  // Kept: the list built for a missing argument is not given back.
  const uint32_t avant = ulMemAllouee;
  EXPECT_EQ(MC_usDonnerListeGroupes(nullptr, &nombre), MC_ERR_ALLOCATION);
  EXPECT_GT(ulMemAllouee, avant);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usDonnerListeGroupes(&liste, &nombre), MC_ERR_ALLOCATION);
  EXPECT_EQ(MC_usDonnerInformationChamp(0x0101, nullptr, &nombre), MC_ERR_ALLOCATION);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usDonnerInformationChamp(0x0101, &champs, &nombre), MC_ERR_ALLOCATION);
  mc::testing::FaireEchouerAllocation(1);
  EXPECT_EQ(MC_usDonnerChampValeur(0x0101, 1, 1, &texte), MC_ERR_ALLOCATION);
  EXPECT_EQ(MC_usDonnerChampValeur(0x0101, 1, 1, nullptr), MC_ERR_ALLOCATION);
  EXPECT_EQ(MC_usDonnerChampValeur(0x0999, 1, 1, &texte), MC_ERR_NON_TROUVE);
  EXPECT_EQ(liste, nullptr);
  EXPECT_EQ(champs, nullptr);
  EXPECT_EQ(texte, nullptr);
  const std::string t = trace.Text();
  EXPECT_NE(t.find("  ERREUR : MC_usDonnerListeGroupes=ERREUR ALLOCATION MEMOIRE  \n"), std::string::npos);
  EXPECT_NE(t.find("  ERREUR : MC_usDonnerInformationChamp  =ERREUR ALLOCATION MEMOIRE\n"), std::string::npos);
  EXPECT_NE(t.find("  MC_usDonnerChampValeur usResultat = 0xf801\n"), std::string::npos);
  EXPECT_NE(t.find("  ERREUR : usResultat = 0xf805\n"), std::string::npos);
  MC_usTermLIB();
}

TEST(DictionaryLoaders, HostileIndicesStayInsideTheArrays) {
  InstallationTables inst;
  GroupeDico large{1, {ChampDico()}};
  large.nbChamps = 40;
  large.champs[0].premiereValeur = 900;
  large.champs[0].nbValeurs = 5;
  GroupeDico enroule{2};
  enroule.premierChamp = 0xFFFF;
  enroule.nbChamps = 2;
  Initialiser(inst, {large, enroule, {3, {{0, 0, 0, 'X', {"V"}}}}});
  TCHAMP *champs = nullptr;
  uint16_t nombre = 0;
  EXPECT_EQ(MC_usDonnerInformationChamp(1, &champs, &nombre), MC_ERR_NON_TROUVE);
  EXPECT_EQ(MC_usDonnerInformationChamp(2, &champs, &nombre), MC_ERR_NON_TROUVE);
  EXPECT_EQ(Valeur(1, 1, 1, MC_ERR_NON_TROUVE), "<null>");
  EXPECT_EQ(Valeur(1, 41, 1, MC_ERR_NON_TROUVE), "<null>");
  EXPECT_EQ(Valeur(3, 1, 0, MC_ERR_NON_TROUVE), "<null>");  // index 65535
  EXPECT_EQ(Valeur(3, 1, 1), "V");
  // Indices wrap in 16 bits: rank 1 from 0xFFFF is field 0.
  const TGROUPE *g = mc::dico::TrouverGroupe(2);
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(mc::dico::ChampDuGroupe(*g, 0), nullptr);
  EXPECT_EQ(mc::dico::ChampDuGroupe(*g, 1), &g_stTabChp[0]);
  MC_usTermLIB();
}

TEST(DictionaryLoaders, CountsBeyondTheFileAndReleases) {
  InstallationTables inst;
  mc::test::TableBrute groupes{"TGROUPE", 0x20000000, {0, 1, 0, 0, 0, 0}};
  mc::test::TableBrute champs{"TCHAMP", 0xFFFFFFFF, std::vector<unsigned char>(17, 0)};
  mc::test::TableBrute valeurs{"TVALEUR", 3, {2, 'A', 'B', 1, 'C'}};
  ASSERT_EQ(inst.EcrireTables({groupes, champs, valeurs}), 0);
  EnteteFichierBinaire entete;
  EnteteTable table;
  uint16_t num = 0;
  ASSERT_EQ(MC_usInitialiserFichierBinaire(inst.RepertoireTables().c_str(), "tablebin.kmt", 1, &num, &entete), 0);
  TraceCapture trace({7});
  const unsigned long allocations = mc::testing::NombreAllocations();
  ASSERT_EQ(MC_usLireEnteteTable(num, &table), 0);
  EXPECT_EQ(usInitTabGroupe(num, table.ulTaille, table.ulNombre), MC_ERR_FIN_FICHIER);
  // A refused count leaves the stream on the table's data.
  ASSERT_EQ(MC_usPositionnerOffset(num, static_cast<int32_t>(table.ulTaille), 1), 0);
  ASSERT_EQ(MC_usLireEnteteTable(num, &table), 0);
  EXPECT_EQ(usInitTabChamp(num, table.ulTaille, table.ulNombre), MC_ERR_FIN_FICHIER);
  EXPECT_EQ(mc::testing::NombreAllocations(), allocations);
  EXPECT_EQ(g_stTabGrp, nullptr);
  EXPECT_EQ(g_stTabChp, nullptr);

  // Three values fit the bytes left; the third read meets the end.
  ASSERT_EQ(MC_usPositionnerOffset(num, static_cast<int32_t>(table.ulTaille), 1), 0);
  ASSERT_EQ(MC_usLireEnteteTable(num, &table), 0);
  EXPECT_EQ(usInitTabValeur(num, table.ulTaille, table.ulNombre), MC_ERR_FIN_FICHIER);
  ASSERT_EQ(g_ulNbTabVal, 3u);
  EXPECT_STREQ(g_cTabVal[0], "AB");
  EXPECT_STREQ(g_cTabVal[1], "C");
  TCHAMP champ{};
  champ.usIndPremiereValeur = 2;
  EXPECT_EQ(mc::dico::ValeurDuChamp(champ, 0), nullptr);
  char ligne[64];
  snprintf(ligne, sizeof ligne, "  g_cTabVal = %p, g_ulNbTabVal = 3\n", static_cast<void *>(g_cTabVal));
  // A release frees the array of pointers only: the texts stay counted.
  const uint32_t avant = ulMemAllouee;
  const uint32_t tableau = static_cast<uint32_t>(malloc_usable_size(g_cTabVal));
  EXPECT_EQ(usSupprTabValeur(), 0);
  EXPECT_EQ(ulMemAllouee, avant - tableau);
  EXPECT_EQ(g_cTabVal, nullptr);
  EXPECT_EQ(usSupprTabValeur(), MC_ERR_NON_CHARGE);
  EXPECT_EQ(usSupprTabChamp(), MC_ERR_NON_CHARGE);
  EXPECT_EQ(usLibererFichier(num), 0);

  const std::string t = trace.Text();
  EXPECT_NE(t.find("{ usGTInitTabGrp\n  g_stTabGrp = (nil), g_ulNbTabGrp = 0\n  usResultat = 0xf640\n  usGTInitTabGrp\n}"),
            std::string::npos);
  EXPECT_NE(t.find(ligne), std::string::npos);
  // Entry and exit names differ for the fields and the values.
  EXPECT_NE(t.find("{ usGTSupprTabValeur\n  usResultat = 0x0000\n  usSupprTabValeur\n}"), std::string::npos);
  EXPECT_NE(t.find("{ usGTSupprTabChp\n  usResultat = 0x0001\n  usSupprTabChamp\n}"), std::string::npos);
}

}  // namespace
