// Loading a large data dictionary (10 000 groups, 100 000 fields, 200 000
// allowed values) the way a host does, through MC_usInitLIB and
// MC_usTermLIB, beside reading the same tables file whole with fread.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "binfile/crc16.h"
#include "mc.h"

namespace {

constexpr uint32_t kGroupes = 10000;
constexpr uint32_t kChampsParGroupe = 10;
constexpr uint32_t kValeursParChamp = 2;

void Ajouter16(std::vector<unsigned char> &d, uint16_t v) {
  d.push_back(static_cast<unsigned char>(v >> 8));
  d.push_back(static_cast<unsigned char>(v));
}

void Ajouter32(std::vector<unsigned char> &d, uint32_t v) {
  for (int decalage = 24; decalage >= 0; decalage -= 8) d.push_back(static_cast<unsigned char>(v >> decalage));
}

// A preferences directory naming a tables directory that holds the file,
// and a working directory for the version records.
struct Installation {
  std::string racine, tables, travail, fichier;
  Installation() {
    char modele[] = "/tmp/mc-bench-dico-XXXXXX";
    if (mkdtemp(modele) == nullptr) abort();
    racine = modele;
    tables = racine + "/tables";
    travail = racine + "/travail";
    fichier = tables + "/tablebin.kmt";
    mkdir(tables.c_str(), 0700);
    mkdir(travail.c_str(), 0700);
    FILE *ini = fopen((racine + "/tovel.ini").c_str(), "w");
    fprintf(ini, "[commun]\nrepertoiretravail=%s\nrepertoiretable=%s\n", travail.c_str(), tables.c_str());
    fclose(ini);
    setenv("MC_PREFERENCES_DIR", racine.c_str(), 1);
    if (Ecrire() != MC_OK) abort();
  }
  ~Installation() {
    std::string commande = "rm -rf '" + racine + "'";
    if (system(commande.c_str()) != 0) fprintf(stderr, "could not remove %s\n", racine.c_str());
  }

  // The three tables coded as the loaders read them.  The 16-bit first
  // indices wrap past 65535: the loaders store them as they stand.
  uint16_t Ecrire() const {
    std::vector<unsigned char> groupes, champs, valeurs;
    uint32_t champ = 0, valeur = 0;
    for (uint32_t g = 0; g < kGroupes; ++g) {
      Ajouter16(groupes, static_cast<uint16_t>(g + 1));
      Ajouter16(groupes, static_cast<uint16_t>(champ));
      Ajouter16(groupes, kChampsParGroupe);
      for (uint32_t c = 0; c < kChampsParGroupe; ++c, ++champ) {
        Ajouter32(champs, c % 2);
        Ajouter16(champs, 1);
        Ajouter16(champs, 32);
        champs.push_back('A');
        Ajouter32(champs, 0);
        Ajouter16(champs, static_cast<uint16_t>(valeur));
        Ajouter16(champs, kValeursParChamp);
        for (uint32_t v = 0; v < kValeursParChamp; ++v, ++valeur) {
          char texte[16];
          const int n = snprintf(texte, sizeof texte, "VAL%06u", valeur);
          valeurs.push_back(static_cast<unsigned char>(n));
          valeurs.insert(valeurs.end(), texte, texte + n);
        }
      }
    }
    EnteteFichierBinaire entete;
    memset(&entete, 0, sizeof entete);
    strcpy(entete.acNomFichier, "tablebin.kmt");
    strcpy(entete.acVersion, "0104");
    strcpy(entete.acChampA, "DICO ");
    strcpy(entete.acChampB, "20240101");
    strcpy(entete.acVersionLecteur, "0103");
    strcpy(entete.acChampC, "BANC ");
    strcpy(entete.acChampD, "0000000000");
    strcpy(entete.acCommentaire, "Grand dictionnaire");
    uint16_t num = 0;
    uint16_t statut = MC_usCreerFichierBinaire(tables.c_str(), "tablebin.kmt", MC_CONTROLE_CRC, &entete, &num);
    const struct {
      const char *nom;
      uint32_t nombre;
      const std::vector<unsigned char> &donnees;
    } liste[] = {{"TGROUPE", kGroupes, groupes},
                 {"TCHAMP", champ, champs},
                 {"TVALEUR", valeur, valeurs}};
    for (const auto &t : liste) {
      if (statut != MC_OK) break;
      EnteteTable et;
      memset(&et, 0, sizeof et);
      memset(et.acNomTable, ' ', 10);
      memcpy(et.acNomTable, t.nom, strlen(t.nom));
      et.ulNombre = t.nombre;
      statut = MC_usEcrireEnteteTable(num, &et);
      if (statut == MC_OK)
        statut = MC_usEcrireChampFixe(num, t.donnees.data(), static_cast<uint32_t>(t.donnees.size()));
      if (statut == MC_OK) statut = MC_usEcrireTaille(num);
    }
    const uint16_t fermeture = MC_usLibererFichierBinaire(num, nullptr);
    return statut != MC_OK ? statut : fermeture;
  }
};

Installation &LInstallation() {
  static Installation i;
  return i;
}

void BM_ChargerDictionnaire(benchmark::State &state) {
  LInstallation();
  for (auto _ : state) {
    char *versionMC = nullptr, *versionTables = nullptr;
    const uint16_t statut = MC_usInitLIB(&versionMC, &versionTables);
    if (statut != MC_OK || g_ulNbTabVal != kGroupes * kChampsParGroupe * kValeursParChamp) {
      state.SkipWithError("dictionary not loaded");
      break;
    }
    state.PauseTiming();
    MC_Liberer(versionMC);
    MC_Liberer(versionTables);
    // The release keeps the value texts (as hosts have always seen it); the
    // benchmark frees them, or every run would keep 200 000 more blocks.
    for (uint32_t i = 0; i < g_ulNbTabVal; ++i) {
      MC_Liberer(g_cTabVal[i]);
      g_cTabVal[i] = nullptr;
    }
    state.ResumeTiming();
    MC_usTermLIB();
  }
}
BENCHMARK(BM_ChargerDictionnaire)->Unit(benchmark::kMillisecond);

// The floor: the file's bytes into memory in one read.
void BM_LireFichierEntier(benchmark::State &state) {
  const std::string &chemin = LInstallation().fichier;
  for (auto _ : state) {
    FILE *flux = fopen(chemin.c_str(), "rb");
    fseek(flux, 0, SEEK_END);
    const long taille = ftell(flux);
    fseek(flux, 0, SEEK_SET);
    std::vector<unsigned char> octets(static_cast<size_t>(taille));
    if (fread(octets.data(), 1, octets.size(), flux) != octets.size()) state.SkipWithError("short read");
    fclose(flux);
    benchmark::DoNotOptimize(octets.data());
  }
}
BENCHMARK(BM_LireFichierEntier)->Unit(benchmark::kMillisecond);

// The same read followed by the CRC-16 the open under CRC control computes.
void BM_LireFichierEntierCrc(benchmark::State &state) {
  const std::string &chemin = LInstallation().fichier;
  for (auto _ : state) {
    FILE *flux = fopen(chemin.c_str(), "rb");
    fseek(flux, 0, SEEK_END);
    const long taille = ftell(flux);
    fseek(flux, 0, SEEK_SET);
    std::vector<unsigned char> octets(static_cast<size_t>(taille));
    if (fread(octets.data(), 1, octets.size(), flux) != octets.size()) state.SkipWithError("short read");
    fclose(flux);
    benchmark::DoNotOptimize(mc::Crc16Continuer(0, octets.data(), octets.size()));
  }
}
BENCHMARK(BM_LireFichierEntierCrc)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
