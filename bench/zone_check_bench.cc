// Checking a typical message: 20 groups of 8 fields against a dictionary of
// 200 groups, tracing off.  items_per_second is messages per second; the
// counter gardes_par_message is the growth of ulMemAllouee per check (the
// blocks the format check never counts back).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "mc.h"

namespace {

constexpr uint16_t kGroupes = 200;
constexpr uint16_t kChampsParGroupe = 8;
constexpr uint16_t kGroupesParMessage = 20;

// Field k of every group: its format letter, length bounds and allowed
// values, and the value the messages carry.
struct Regle {
  char format;
  int32_t presence;
  uint16_t min, max;
  std::vector<std::string> valeurs;
  std::string valeur;
};

const std::vector<Regle> &Regles() {
  static const std::vector<Regle> regles = {
      {'N', 1, 1, 6, {}, "004217"},
      {'A', 1, 1, 20, {}, "RUE DES LILAS 12  "},
      {'L', 0, 0, 0, {"OUI", "NON"}, "NON "},
      {'D', 1, 8, 8, {}, "20240229"},
      {'X', 0, 0, 32, {}, "libre: 42 %"},
      {'N', 0, 0, 0, {"1", "2", "3", "4"}, "3"},
      {'A', 0, 0, 0, {"EUR", "USD", "CHF"}, "CHF"},
      {'D', 0, 0, 0, {}, "240101"},
  };
  return regles;
}

void Ajouter16(std::vector<unsigned char> &d, uint16_t v) {
  d.push_back(static_cast<unsigned char>(v >> 8));
  d.push_back(static_cast<unsigned char>(v));
}
void Ajouter32(std::vector<unsigned char> &d, uint32_t v) {
  for (int decalage = 24; decalage >= 0; decalage -= 8) d.push_back(static_cast<unsigned char>(v >> decalage));
}

template <size_t N>
void Remplir(char (&destination)[N], const char *source) {
  memset(destination, 0, N);
  memcpy(destination, source, std::min(strlen(source), N - 1));
}

// Writes "tablebin.kmt" (groups 100, 102, ... each with the 8 fields) with
// the library's writer, and a "tovel.ini" naming its directory.
bool InstallerDictionnaire(const std::string &repertoire) {
  std::vector<unsigned char> groupes, champs, valeurs;
  uint32_t nbChamps = 0, nbValeurs = 0;
  for (uint16_t g = 0; g < kGroupes; ++g) {
    Ajouter16(groupes, static_cast<uint16_t>(100 + 2 * g));
    Ajouter16(groupes, static_cast<uint16_t>(nbChamps));
    Ajouter16(groupes, kChampsParGroupe);
    for (const Regle &r : Regles()) {
      ++nbChamps;
      Ajouter32(champs, static_cast<uint32_t>(r.presence));
      Ajouter16(champs, r.min);
      Ajouter16(champs, r.max);
      champs.push_back(static_cast<unsigned char>(r.format));
      Ajouter32(champs, 0);
      Ajouter16(champs, static_cast<uint16_t>(nbValeurs));
      Ajouter16(champs, static_cast<uint16_t>(r.valeurs.size()));
      for (const std::string &v : r.valeurs) {
        ++nbValeurs;
        valeurs.push_back(static_cast<unsigned char>(v.size()));
        valeurs.insert(valeurs.end(), v.begin(), v.end());
      }
    }
  }
  EnteteFichierBinaire entete;
  Remplir(entete.acNomFichier, "tablebin.kmt");
  Remplir(entete.acVersion, "0104");
  Remplir(entete.acChampA, "DICO ");
  Remplir(entete.acChampB, "20240101");
  Remplir(entete.acVersionLecteur, "0103");
  Remplir(entete.acChampC, "BENCH");
  Remplir(entete.acChampD, "0000000000");
  Remplir(entete.acCommentaire, "Dictionnaire de mesure");
  uint16_t num = 0;
  uint16_t cr = MC_usCreerFichierBinaire(repertoire.c_str(), "tablebin.kmt", MC_CONTROLE_CRC, &entete, &num);
  const struct {
    const char *nom;
    uint32_t nombre;
    const std::vector<unsigned char> &donnees;
  } tables[] = {{"TGROUPE", kGroupes, groupes}, {"TCHAMP", nbChamps, champs}, {"TVALEUR", nbValeurs, valeurs}};
  for (const auto &t : tables) {
    if (cr != MC_OK) break;
    EnteteTable et;
    memset(&et, 0, sizeof et);
    memset(et.acNomTable, ' ', 10);  // space-padded, as in real files
    memcpy(et.acNomTable, t.nom, strlen(t.nom));
    et.ulNombre = t.nombre;
    cr = MC_usEcrireEnteteTable(num, &et);
    if (cr == MC_OK) cr = MC_usEcrireChampFixe(num, t.donnees.data(), static_cast<uint32_t>(t.donnees.size()));
    if (cr == MC_OK) cr = MC_usEcrireTaille(num);
  }
  if (num != 0 && MC_usLibererFichierBinaire(num, nullptr) != MC_OK) cr = MC_ERR_FICHIER;
  const std::string ini = "[commun]\nrepertoiretravail=" + repertoire + "\nrepertoiretable=" + repertoire + "\n";
  FILE *f = fopen((repertoire + "/tovel.ini").c_str(), "w");
  if (f == nullptr) return false;
  fputs(ini.c_str(), f);
  fclose(f);
  return cr == MC_OK;
}

// The library started on the dictionary for the whole program.
bool Demarrer() {
  static const bool pret = [] {
    char modele[] = "/tmp/mc-bench-XXXXXX";
    if (mkdtemp(modele) == nullptr) return false;
    setenv("MC_PREFERENCES_DIR", modele, 1);
    if (!InstallerDictionnaire(modele)) return false;
    char *v1 = nullptr, *v2 = nullptr;
    if (MC_usInitLIB(&v1, &v2) != MC_OK) return false;
    MC_Liberer(v1);
    MC_Liberer(v2);
    return true;
  }();
  return pret;
}

// A message of 20 groups spread over the dictionary, built through the
// editing calls.
uint16_t Message() {
  uint16_t zone = 0;
  if (MC_usCreerZoneMemoire(2048, 1, &zone) != MC_OK) return 0xFFFF;
  for (uint16_t g = 0; g < kGroupesParMessage; ++g) {
    MC_usAjouterGroupe(zone, static_cast<uint16_t>(100 + 2 * ((g * 37) % kGroupes)));
    for (const Regle &r : Regles())
      MC_usAjouterChamp(zone, reinterpret_cast<const unsigned char *>(r.valeur.data()),
                        static_cast<uint32_t>(r.valeur.size()));
  }
  return zone;
}

template <uint16_t (*Controle)(uint16_t)>
void Mesurer(benchmark::State &state) {
  if (!Demarrer()) {
    state.SkipWithError("dictionary not loaded");
    return;
  }
  const uint16_t zone = Message();
  if (zone == 0xFFFF || Controle(zone) != MC_OK) {
    state.SkipWithError("message refused");
    return;
  }
  const uint32_t avant = ulMemAllouee;
  for (auto _ : state) benchmark::DoNotOptimize(Controle(zone));
  state.SetItemsProcessed(state.iterations());
  state.counters["gardes_par_message"] =
      static_cast<double>(ulMemAllouee - avant) / static_cast<double>(state.iterations());
  uint32_t taille;
  unsigned char *buffer;
  MC_pucLireBuffer(zone, &taille, &buffer);
  MC_usLibererZoneMemoire(zone);
  MC_Liberer(buffer);
}

void BM_ZoneFormatCheck(benchmark::State &state) { Mesurer<MC_usControlerFormatZoneMemoire>(state); }
BENCHMARK(BM_ZoneFormatCheck)->Unit(benchmark::kMicrosecond);

// The coding check alone, which the format check runs first.
void BM_ZoneSyntaxCheck(benchmark::State &state) { Mesurer<MC_usControlerSyntaxeZoneMemoire>(state); }
BENCHMARK(BM_ZoneSyntaxCheck)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
