// Binary table files: the CRC-16 beside zlib's CRC-32 on the same buffer,
// and 4-byte value reads beside a bare getc_unlocked loop over the same file.
// A summary of the two ratios is printed after the runs.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>
#include <zlib.h>

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "binfile/crc16.h"
#include "mc.h"

namespace {

constexpr size_t kTailleCrc = 64u << 20;
constexpr uint32_t kNombreValeurs = 4u << 20;  // 16 MiB of 4-byte values

const std::vector<unsigned char> &Tampon() {
  static const std::vector<unsigned char> tampon = [] {
    std::vector<unsigned char> v(kTailleCrc);
    std::mt19937_64 gen(42);
    for (size_t i = 0; i < v.size(); i += 8) {
      const uint64_t x = gen();
      memcpy(&v[i], &x, 8);
    }
    return v;
  }();
  return tampon;
}

void BM_Crc16(benchmark::State &state) {
  const auto &t = Tampon();
  for (auto _ : state) benchmark::DoNotOptimize(mc::Crc16Continuer(0, t.data(), t.size()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}
BENCHMARK(BM_Crc16)->Unit(benchmark::kMillisecond);

void BM_Crc16Tranches(benchmark::State &state) {
  const auto &t = Tampon();
  for (auto _ : state) benchmark::DoNotOptimize(mc::Crc16ReflechiTables(0, t.data(), t.size()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}
BENCHMARK(BM_Crc16Tranches)->Unit(benchmark::kMillisecond);

void BM_Crc32Zlib(benchmark::State &state) {
  const auto &t = Tampon();
  for (auto _ : state) benchmark::DoNotOptimize(crc32(0, t.data(), static_cast<uInt>(t.size())));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.size()));
}
BENCHMARK(BM_Crc32Zlib)->Unit(benchmark::kMillisecond);

// A tables file of one table holding kNombreValeurs 4-byte values.
struct FichierValeurs {
  std::string rep;
  uint16_t num = 0;
  uint32_t debutDonnees = 0;
  FichierValeurs() {
    char modele[] = "/tmp/mc-bench-XXXXXX";
    if (mkdtemp(modele) != nullptr) rep = modele;
    EnteteFichierBinaire e;
    memset(&e, 0, sizeof e);
    strcpy(e.acNomFichier, "valeurs.bin");
    memcpy(e.acVersion, "0104", 4);
    strcpy(e.acCommentaire, "banc");
    EnteteTable t;
    memset(&t, ' ', sizeof t.acNomTable);
    t.ulNombre = kNombreValeurs;
    uint16_t w = 0;
    MC_usCreerFichierBinaire(rep.c_str(), "valeurs.bin", MC_CONTROLE_AUCUN, &e, &w);
    MC_usEcrireEnteteTable(w, &t);
    std::vector<unsigned char> valeurs(size_t{kNombreValeurs} * 4);
    for (size_t i = 0; i < valeurs.size(); ++i) valeurs[i] = static_cast<unsigned char>(i * 7);
    MC_usEcrireChampFixe(w, valeurs.data(), static_cast<uint32_t>(valeurs.size()));
    MC_usLibererFichierBinaire(w, nullptr);
    MC_usInitialiserFichierBinaire(rep.c_str(), "valeurs.bin", MC_CONTROLE_AUCUN, &num, &e);
    MC_usLirePositionFichier(num, &debutDonnees);
    debutDonnees += 25;
  }
  ~FichierValeurs() {
    MC_usLibererFichierBinaire(num, nullptr);
    unlink((rep + "/valeurs.bin").c_str());
    rmdir(rep.c_str());
  }
};

FichierValeurs &Valeurs() {
  static FichierValeurs f;
  return f;
}

void BM_LireUnsignedLong(benchmark::State &state) {
  FichierValeurs &f = Valeurs();
  for (auto _ : state) {
    MC_usPositionnerOffset(f.num, static_cast<int32_t>(f.debutDonnees), 0);
    uint32_t somme = 0, v = 0;
    for (uint32_t i = 0; i < kNombreValeurs; ++i) {
      MC_usLireUnsignedLong(f.num, &v);
      somme += v;
    }
    benchmark::DoNotOptimize(somme);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kNombreValeurs));
}
BENCHMARK(BM_LireUnsignedLong)->Unit(benchmark::kMillisecond);

void BM_GetcUnlocked(benchmark::State &state) {
  FichierValeurs &f = Valeurs();
  FILE *flux = fopen((f.rep + "/valeurs.bin").c_str(), "rb");
  for (auto _ : state) {
    fseek(flux, f.debutDonnees, SEEK_SET);
    uint32_t somme = 0;
    for (uint32_t i = 0; i < kNombreValeurs * 4; ++i) somme += static_cast<uint32_t>(getc_unlocked(flux));
    benchmark::DoNotOptimize(somme);
  }
  fclose(flux);
  // Counted in 4-byte values, to compare with the library's reads.
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kNombreValeurs));
}
BENCHMARK(BM_GetcUnlocked)->Unit(benchmark::kMillisecond);

// Keeps each run's rate for the summary.
class Rapporteur : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> debits;
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs) {
      // With repetitions, the median stands for the benchmark.
      if (!r.aggregate_name.empty() && r.aggregate_name != "median") continue;
      for (const char *nom : {"bytes_per_second", "items_per_second"}) {
        const auto it = r.counters.find(nom);
        if (it != r.counters.end()) debits[r.run_name.function_name] = it->second.value;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char **argv) {
  // Host processes have threads: stdio's locked calls then pay for the lock,
  // which the library's unlocked reads must not.
  std::thread([] {}).join();
  benchmark::Initialize(&argc, argv);
  Rapporteur rapporteur;
  benchmark::RunSpecifiedBenchmarks(&rapporteur);
  auto &d = rapporteur.debits;
  if (d.count("BM_Crc16") && d.count("BM_Crc32Zlib"))
    printf("CRC-16: %.0f MB/s, slicing-by-16 %.0f MB/s, zlib crc32 %.0f MB/s: ratio %.2f (goal >= 0.5)\n",
           d["BM_Crc16"] / 1e6, d["BM_Crc16Tranches"] / 1e6, d["BM_Crc32Zlib"] / 1e6,
           d["BM_Crc16"] / d["BM_Crc32Zlib"]);
  if (d.count("BM_LireUnsignedLong") && d.count("BM_GetcUnlocked"))
    printf("MC_usLireUnsignedLong: %.1f M values/s, getc_unlocked loop %.1f M values/s: ratio %.2f (goal >= 0.5)\n",
           d["BM_LireUnsignedLong"] / 1e6, d["BM_GetcUnlocked"] / 1e6,
           d["BM_LireUnsignedLong"] / d["BM_GetcUnlocked"]);
  benchmark::Shutdown();
  return 0;
}
