// Binary table files, each figure beside its reference over the same bytes:
// the CRC-16 beside zlib's crc32 and memchr over 64 MiB and 4 KiB buffers;
// 4-byte value reads beside a bare getc_unlocked loop and a single fread of
// the same file, in a process that has started a thread (as every host has).
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>
#include <zlib.h>

#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "binfile/crc16.h"
#include "mc.h"

namespace {

constexpr size_t kTailleGrand = 64u << 20;
constexpr size_t kTaillePetit = 4u << 10;
constexpr uint32_t kNombreValeurs = 4u << 20;  // 16 MiB of 4-byte values

// Random bytes without a NUL, so that memchr looking for one scans it all.
const std::vector<unsigned char> &Tampon() {
  static const std::vector<unsigned char> tampon = [] {
    std::vector<unsigned char> v(kTailleGrand);
    std::mt19937_64 gen(42);
    for (size_t i = 0; i < v.size(); i += 8) {
      const uint64_t x = gen();
      memcpy(&v[i], &x, 8);
    }
    for (auto &c : v)
      if (c == 0) c = 1;
    return v;
  }();
  return tampon;
}

void Debit(benchmark::State &state, size_t n) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * n));
}

void BM_Crc16(benchmark::State &state) {
  const auto *p = Tampon().data();
  const size_t n = static_cast<size_t>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(mc::Crc16Continuer(0, p, n));
  Debit(state, n);
}
BENCHMARK(BM_Crc16)->Arg(kTaillePetit)->Arg(kTailleGrand);

// The portable engine alone, as on a processor without carry-less multiply.
void BM_Crc16Tables(benchmark::State &state) {
  const auto *p = Tampon().data();
  const size_t n = static_cast<size_t>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(mc::Crc16ReflechiTables(0, p, n));
  Debit(state, n);
}
BENCHMARK(BM_Crc16Tables)->Arg(kTaillePetit)->Arg(kTailleGrand);

void BM_Crc32Zlib(benchmark::State &state) {
  const auto *p = Tampon().data();
  const size_t n = static_cast<size_t>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(crc32(0, p, static_cast<uInt>(n)));
  Debit(state, n);
}
BENCHMARK(BM_Crc32Zlib)->Arg(kTaillePetit)->Arg(kTailleGrand);

// The floor of any pass over memory: one byte compare per byte, vectorised.
void BM_Memchr(benchmark::State &state) {
  const auto *p = Tampon().data();
  const size_t n = static_cast<size_t>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(memchr(p, 0, n));
  Debit(state, n);
}
BENCHMARK(BM_Memchr)->Arg(kTaillePetit)->Arg(kTailleGrand);

// A tables file of one table holding kNombreValeurs 4-byte values, written
// and opened through the library.
struct FichierValeurs {
  std::string rep;
  std::string chemin;
  uint16_t num = 0;
  uint32_t debutDonnees = 0;
  FichierValeurs() {
    char modele[] = "/tmp/mc-bench-XXXXXX";
    if (mkdtemp(modele) != nullptr) rep = modele;
    chemin = rep + "/valeurs.bin";
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
    debutDonnees += 25;  // the table header
  }
  ~FichierValeurs() {
    MC_usLibererFichierBinaire(num, nullptr);
    unlink(chemin.c_str());
    rmdir(rep.c_str());
  }
};

FichierValeurs &Valeurs() {
  static FichierValeurs f;
  return f;
}

// Every reader sums the values it reads, so that none can skip the bytes.
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
BENCHMARK(BM_LireUnsignedLong);

void BM_GetcUnlocked(benchmark::State &state) {
  FichierValeurs &f = Valeurs();
  FILE *flux = fopen(f.chemin.c_str(), "rb");
  for (auto _ : state) {
    fseek(flux, f.debutDonnees, SEEK_SET);
    uint32_t somme = 0;
    for (uint32_t i = 0; i < kNombreValeurs; ++i) {
      uint32_t v = 0;
      for (int k = 0; k < 4; ++k) v = v << 8 | static_cast<uint32_t>(getc_unlocked(flux));
      somme += v;
    }
    benchmark::DoNotOptimize(somme);
  }
  fclose(flux);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kNombreValeurs));
}
BENCHMARK(BM_GetcUnlocked);

// The whole table in one fread, then decoded from memory.
void BM_FreadWhole(benchmark::State &state) {
  FichierValeurs &f = Valeurs();
  FILE *flux = fopen(f.chemin.c_str(), "rb");
  std::vector<unsigned char> tampon(size_t{kNombreValeurs} * 4);
  for (auto _ : state) {
    fseek(flux, f.debutDonnees, SEEK_SET);
    if (fread(tampon.data(), 1, tampon.size(), flux) != tampon.size()) state.SkipWithError("short read");
    uint32_t somme = 0;
    for (size_t i = 0; i < tampon.size(); i += 4)
      somme += uint32_t{tampon[i]} << 24 | uint32_t{tampon[i + 1]} << 16 | uint32_t{tampon[i + 2]} << 8 |
               tampon[i + 3];
    benchmark::DoNotOptimize(somme);
  }
  fclose(flux);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kNombreValeurs));
}
BENCHMARK(BM_FreadWhole);

}  // namespace

int main(int argc, char **argv) {
  // Host processes have threads: stdio's locked calls then pay for the lock,
  // which the library's reads must not.
  std::thread([] {}).join();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
