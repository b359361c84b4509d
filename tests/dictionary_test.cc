// Data dictionary: loading from a tables file, releases, and the queries.
#include <gtest/gtest.h>
#include <malloc.h>

#include <string>
#include <vector>

#include "core/memory.h"
#include "dictionary/dictionary.h"
#include "support/dictionary_builder.h"

using mc::test::GroupeDico;
using mc::test::InstallationTables;
using mc::test::TraceCapture;

namespace {

void Initialiser(const InstallationTables &inst, const std::vector<GroupeDico> &groupes) {
  ASSERT_EQ(inst.Ecrire(groupes), 0);
  char *v1 = nullptr, *v2 = nullptr;
  ASSERT_EQ(MC_usInitLIB(&v1, &v2), 0);
  for (char *v : {v1, v2}) MC_Liberer(v);
}

std::string Valeur(uint16_t groupe, uint8_t champ, uint8_t valeur, uint16_t attendu = 0) {
  char *texte = nullptr;
  EXPECT_EQ(MC_usDonnerChampValeur(groupe, champ, valeur, &texte), attendu);
  std::string s = texte != nullptr ? texte : "<null>";
  MC_Liberer(texte);
  return s;
}

void ContientTout(const std::string &texte, std::initializer_list<const char *> lignes) {
  for (const char *ligne : lignes) EXPECT_NE(texte.find(ligne), std::string::npos) << ligne << "\nnot in:\n" << texte;
}

// Group 0x0101 twice (the first wins), a group without fields, and a last
// group whose value follows those of 0x0101 in TVALEUR.
TEST(DictionaryQueries, ListFieldsValuesFailuresAndHostileIndices) {
  InstallationTables inst;
  Initialiser(inst, {{0x0101, {{1, 1, 3, 'A', {"OUI", "NON"}}, {0, 0, 0, 'N', {}}}},
                     {0x0202, {}},
                     {0x0101, {{0, 0, 0, 'X', {}}}},
                     {0x0303, {{0, 0, 0, 'L', {"X"}}}}});
  uint16_t *liste = nullptr, nombre = 0;
  ASSERT_EQ(MC_usDonnerListeGroupes(&liste, &nombre), 0);
  EXPECT_EQ(std::vector<uint16_t>(liste, liste + nombre), (std::vector<uint16_t>{0x0101, 0x0202, 0x0101, 0x0303}));
  MC_Liberer(liste);
  TCHAMP *champs = nullptr;
  ASSERT_EQ(MC_usDonnerInformationChamp(0x0101, &champs, &nombre), 0);
  ASSERT_EQ(nombre, 2);
  EXPECT_EQ(std::vector<int>({champs[0].lPresence, champs[0].usLgMin, champs[0].usLgMax, champs[0].cFormat,
                              champs[0].usIndPremiereValeur, champs[0].usNbValeurs, champs[1].cFormat,
                              champs[1].usIndPremiereValeur, champs[1].usNbValeurs}),
            (std::vector<int>{1, 1, 3, 'A', 0, 2, 'N', 2, 0}));
  MC_Liberer(champs);
  champs = nullptr;
  ASSERT_EQ(MC_usDonnerInformationChamp(0x0202, &champs, &nombre), 0);
  EXPECT_EQ(std::pair(nombre, champs != nullptr), std::pair(uint16_t{0}, true));
  MC_Liberer(champs);
  EXPECT_EQ(MC_usDonnerInformationChamp(0x0404, &champs, &nombre), MC_ERR_NON_TROUVE);
  // Numbers are not checked against the counts: both reach the next value.
  EXPECT_EQ(Valeur(0x0101, 1, 1) + Valeur(0x0101, 1, 2) + Valeur(0x0101, 1, 3) + Valeur(0x0101, 2, 1), "OUINONXX");
  EXPECT_EQ(Valeur(0x0303, 1, 2, MC_ERR_NON_TROUVE) + Valeur(0x0404, 1, 1, MC_ERR_NON_TROUVE), "<null><null>");
  // Missing places, allocation failures.  Kept: a list built for no place leaks.
  TraceCapture trace({7});
  char *texte = nullptr;
  champs = nullptr, liste = nullptr;
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
  EXPECT_EQ(std::tuple(liste, champs, texte), std::tuple(nullptr, nullptr, nullptr));
  ContientTout(trace.Text(), {"  ERREUR : MC_usDonnerListeGroupes=ERREUR ALLOCATION MEMOIRE  \n",
                              "  ERREUR : MC_usDonnerInformationChamp  =ERREUR ALLOCATION MEMOIRE\n",
                              "  MC_usDonnerChampValeur usResultat = 0xf801\n"});
  // After the release nothing is found.
  ASSERT_EQ(MC_usTermLIB(), 0);
  EXPECT_EQ(std::vector<uint16_t>({MC_usDonnerListeGroupes(&liste, &nombre), nombre}), std::vector<uint16_t>(2, 0));
  MC_Liberer(liste);
  EXPECT_EQ(Valeur(0x0101, 1, 1, MC_ERR_NON_TROUVE), "<null>");
  // Hostile indices stay inside the arrays.
  GroupeDico large{1, {mc::test::ChampDico()}};
  large.nbChamps = 40;
  large.champs[0].premiereValeur = 900;
  large.champs[0].nbValeurs = 5;
  GroupeDico enroule{2};
  enroule.premierChamp = 0xFFFF;
  enroule.nbChamps = 2;
  Initialiser(inst, {large, enroule, {3, {{0, 0, 0, 'X', {"V"}}}}});
  const uint16_t NT = MC_ERR_NON_TROUVE;
  EXPECT_EQ(MC_usDonnerInformationChamp(1, &champs, &nombre), NT);
  EXPECT_EQ(MC_usDonnerInformationChamp(2, &champs, &nombre), NT);
  EXPECT_EQ(Valeur(1, 1, 1, NT) + Valeur(1, 41, 1, NT) + Valeur(3, 1, 0, NT) + Valeur(3, 1, 1), "<null><null><null>V");
  // Indices wrap in 16 bits: rank 1 from 0xFFFF is field 0.
  const TGROUPE *g = mc::dico::TrouverGroupe(2);
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(std::pair(mc::dico::ChampDuGroupe(*g, 0), mc::dico::ChampDuGroupe(*g, 1)),
            std::pair(static_cast<const TCHAMP *>(nullptr), static_cast<const TCHAMP *>(&g_stTabChp[0])));
  MC_usTermLIB();
}

TEST(DictionaryLoaders, CountsBeyondTheFileAndReleases) {
  InstallationTables inst;
  ASSERT_EQ(inst.EcrireTables({{"TGROUPE", 0x20000000, {0, 1, 0, 0, 0, 0}},
                               {"TCHAMP", 0xFFFFFFFF, std::vector<unsigned char>(17, 0)},
                               {"TVALEUR", 3, {2, 'A', 'B', 1, 'C'}}}),
            0);
  EnteteFichierBinaire entete;
  EnteteTable table;
  uint16_t num = 0;
  ASSERT_EQ(MC_usInitialiserFichierBinaire(inst.RepertoireTables().c_str(), "tablebin.kmt", 1, &num, &entete), 0);
  TraceCapture trace({7});
  const unsigned long allocations = mc::testing::NombreAllocations();
  // A refused count takes no memory and leaves the stream on the table's data.
  ASSERT_EQ(MC_usLireEnteteTable(num, &table), 0);
  EXPECT_EQ(usInitTabGroupe(num, table.ulTaille, table.ulNombre), MC_ERR_FIN_FICHIER);
  ASSERT_EQ(MC_usPositionnerOffset(num, static_cast<int32_t>(table.ulTaille), 1), 0);
  ASSERT_EQ(MC_usLireEnteteTable(num, &table), 0);
  EXPECT_EQ(usInitTabChamp(num, table.ulTaille, table.ulNombre), MC_ERR_FIN_FICHIER);
  EXPECT_EQ(mc::testing::NombreAllocations(), allocations);
  EXPECT_TRUE(g_stTabGrp == nullptr && g_stTabChp == nullptr);
  // Three values fit the bytes left; the third read meets the end.
  ASSERT_EQ(MC_usPositionnerOffset(num, static_cast<int32_t>(table.ulTaille), 1), 0);
  ASSERT_EQ(MC_usLireEnteteTable(num, &table), 0);
  EXPECT_EQ(usInitTabValeur(num, table.ulTaille, table.ulNombre), MC_ERR_FIN_FICHIER);
  ASSERT_EQ(g_ulNbTabVal, 3u);
  EXPECT_EQ(std::string(g_cTabVal[0]) + "|" + g_cTabVal[1], "AB|C");
  // A release frees the array of pointers only: the texts stay counted.
  const uint32_t avant = ulMemAllouee, tableau = static_cast<uint32_t>(malloc_usable_size(g_cTabVal));
  EXPECT_EQ(usSupprTabValeur(), 0);
  EXPECT_EQ(std::pair(ulMemAllouee, g_cTabVal), std::pair(avant - tableau, static_cast<char **>(nullptr)));
  EXPECT_EQ(std::vector<uint16_t>({usSupprTabValeur(), usSupprTabChamp()}),
            std::vector<uint16_t>(2, MC_ERR_NON_CHARGE));
  EXPECT_EQ(usLibererFichier(num), 0);
  // Entry and exit names differ for the fields and the values.
  ContientTout(trace.Text(),
               {"{ usGTInitTabGrp\n  g_stTabGrp = (nil), g_ulNbTabGrp = 0\n  usResultat = 0xf640\n  usGTInitTabGrp\n}",
                "{ usGTSupprTabValeur\n  usResultat = 0x0000\n  usSupprTabValeur\n}",
                "{ usGTSupprTabChp\n  usResultat = 0x0001\n  usSupprTabChamp\n}"});
}

}  // namespace
