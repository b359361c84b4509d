// Walking and building a 1 MiB structured zone of small fields (8 to 32
// bytes), tracing off.  The walk through the cursor calls runs beside a bare
// loop that decodes the same bytes by hand, and the building beside a bare
// loop that writes them, so that the cost of the calls (zone check, trace
// guards, cursor upkeep) reads directly as a ratio.
// items_per_second is fields per second.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "mc.h"

namespace {

constexpr uint32_t kTailleZone = 1u << 20;

// The field lengths and group layout shared by every benchmark: groups of 4
// to 40 fields, as messages usually hold.
struct Plan {
  std::vector<std::vector<uint32_t>> groupes;
  uint64_t champs = 0;
};

const Plan &LePlan() {
  static const Plan plan = [] {
    Plan p;
    std::mt19937 alea(7);
    uint64_t taille = 0;
    for (;;) {
      std::vector<uint32_t> g(4 + alea() % 37);
      uint64_t contenu = 0;
      for (auto &l : g) {
        l = 8 + alea() % 25;
        contenu += l + 1;
      }
      const uint64_t total = contenu + 2 + MC_stCalculerTailleLongueur(static_cast<uint32_t>(contenu));
      if (taille + total > kTailleZone) break;
      taille += total;
      p.champs += g.size();
      p.groupes.push_back(std::move(g));
    }
    return p;
  }();
  return plan;
}

// Builds the zone through the editing calls; returns its number.
uint16_t Construire(uint64_t *champs) {
  static const std::vector<unsigned char> valeur(64, 'A');
  uint16_t zone = 0;
  if (MC_usCreerZoneMemoire(kTailleZone, 1, &zone) != 0) return 0xFFFF;
  uint16_t id = 1;
  for (const auto &g : LePlan().groupes) {
    MC_usAjouterGroupe(zone, id++);
    for (uint32_t l : g) MC_usAjouterChamp(zone, valeur.data(), l);
  }
  *champs = LePlan().champs;
  return zone;
}

void Liberer(uint16_t zone) {
  uint32_t taille;
  unsigned char *buffer;
  if (MC_pucLireBuffer(zone, &taille, &buffer) == 0) {
    MC_usLibererZoneMemoire(zone);
    MC_Liberer(buffer);
  }
}

void BM_ZoneWalkCursor(benchmark::State &state) {
  uint64_t champs = 0;
  const uint16_t zone = Construire(&champs);
  uint64_t total = 0;
  for (auto _ : state) {
    MC_usPositionnerDebut(zone);
    uint16_t id, numero;
    unsigned char *donnees;
    uint32_t longueur;
    uint64_t vus = 0, somme = 0;
    while (MC_usAvancerGroupeSuivant(zone, 1, 0, &id) == 0) {
      while (MC_usAvancerChampSuivant(zone, 1, &numero, &donnees, &longueur) == 0) {
        ++vus;
        somme += donnees[0];
      }
    }
    benchmark::DoNotOptimize(somme);
    if (vus != champs) state.SkipWithError("walk lost fields");
    total += vus;
  }
  state.SetItemsProcessed(static_cast<int64_t>(total));
  Liberer(zone);
}
BENCHMARK(BM_ZoneWalkCursor)->Unit(benchmark::kMillisecond);

// The same walk by the field-walk flag alone: each group advance steps over
// the fields of the group it leaves.
void BM_ZoneWalkFieldFlag(benchmark::State &state) {
  uint64_t champs = 0;
  const uint16_t zone = Construire(&champs);
  uint64_t total = 0;
  for (auto _ : state) {
    MC_usPositionnerDebut(zone);
    uint16_t id;
    while (MC_usAvancerGroupeSuivant(zone, 1, 1, &id) == 0) {
    }
    uint16_t vus = 0;
    MC_usLireCompteurChamp(zone, &vus);
    benchmark::DoNotOptimize(vus);
    total += champs;
  }
  state.SetItemsProcessed(static_cast<int64_t>(total));
  Liberer(zone);
}
BENCHMARK(BM_ZoneWalkFieldFlag)->Unit(benchmark::kMillisecond);

// Reference: a hand-written decoder over the same bytes, no checks beyond
// what the data needs.
inline uint32_t Longueur(const unsigned char *p, uint32_t *o) {
  const unsigned char b = p[*o];
  if (b <= 0x80) {
    ++*o;
    return b;
  }
  const uint32_t k = b - 0x80u;
  uint32_t v = 0;
  for (uint32_t i = 1; i <= k; ++i) v = v << 8 | p[*o + i];
  *o += k + 1;
  return v;
}

void BM_ZoneWalkBareLoop(benchmark::State &state) {
  uint64_t champs = 0;
  const uint16_t zone = Construire(&champs);
  uint32_t taille;
  unsigned char *p;
  MC_pucLireBuffer(zone, &taille, &p);
  uint64_t total = 0;
  for (auto _ : state) {
    uint64_t vus = 0, somme = 0;
    uint32_t o = 0;
    while (o < taille) {
      o += 2;
      const uint32_t lg = Longueur(p, &o);
      const uint32_t fin = o + lg;
      while (o < fin) {
        const uint32_t l = Longueur(p, &o);
        somme += p[o];
        o += l;
        ++vus;
      }
    }
    benchmark::DoNotOptimize(somme);
    if (vus != champs) state.SkipWithError("bare loop lost fields");
    total += vus;
  }
  state.SetItemsProcessed(static_cast<int64_t>(total));
  Liberer(zone);
}
BENCHMARK(BM_ZoneWalkBareLoop)->Unit(benchmark::kMillisecond);

void BM_ZoneBuild(benchmark::State &state) {
  uint64_t total = 0;
  for (auto _ : state) {
    uint64_t champs = 0;
    const uint16_t zone = Construire(&champs);
    state.PauseTiming();
    Liberer(zone);
    state.ResumeTiming();
    total += champs;
  }
  state.SetItemsProcessed(static_cast<int64_t>(total));
}
BENCHMARK(BM_ZoneBuild)->Unit(benchmark::kMillisecond);

// Reference: the same bytes written by hand into a fresh buffer, the
// lengths coded as the library codes them.
inline uint32_t CoderLongueur(uint32_t v, unsigned char *p) {
  if (v <= 127) {
    p[0] = static_cast<unsigned char>(v);
    return 1;
  }
  const uint32_t k = v <= 254 ? 1 : v <= 65534 ? 2 : v <= 16777214 ? 3 : 4;
  p[0] = static_cast<unsigned char>(0x80 + k);
  for (uint32_t i = 0; i < k; ++i) p[1 + i] = static_cast<unsigned char>(v >> (8 * (k - 1 - i)));
  return k + 1;
}

void BM_ZoneBuildBareLoop(benchmark::State &state) {
  static const std::vector<unsigned char> valeur(64, 'A');
  const Plan &plan = LePlan();
  // The library's zone, to check that both write the same bytes.
  uint64_t champs = 0;
  const uint16_t zone = Construire(&champs);
  uint32_t tailleZone;
  unsigned char *octetsZone;
  MC_pucLireBuffer(zone, &tailleZone, &octetsZone);
  uint64_t total = 0;
  for (auto _ : state) {
    unsigned char *p = static_cast<unsigned char *>(malloc(kTailleZone));
    uint32_t o = 0;
    uint16_t id = 1;
    for (const auto &g : plan.groupes) {
      uint32_t contenu = 0;
      for (uint32_t l : g) contenu += l + 1;
      p[o++] = static_cast<unsigned char>(id >> 8);
      p[o++] = static_cast<unsigned char>(id);
      ++id;
      o += CoderLongueur(contenu, p + o);
      for (uint32_t l : g) {
        o += CoderLongueur(l, p + o);
        memcpy(p + o, valeur.data(), l);
        o += l;
      }
    }
    benchmark::DoNotOptimize(p);
    state.PauseTiming();
    if (o != tailleZone || memcmp(p, octetsZone, o) != 0) state.SkipWithError("bare encoder differs");
    free(p);
    state.ResumeTiming();
    total += plan.champs;
  }
  state.SetItemsProcessed(static_cast<int64_t>(total));
  Liberer(zone);
}
BENCHMARK(BM_ZoneBuildBareLoop)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
