// Prints one table from the JSON results of the benchmark programs
// (--benchmark_format=json, repeated or not): each figure of the library
// beside its reference, the ratio of their speeds and the goal it answers.
//
//   bench_report results/*.json
//
// Times are CPU times per iteration, the median when the runs were repeated:
// on a loaded machine they move less than wall-clock times.  The ratio is the
// reference's time over the figure's, both doing the same work: above 1 the
// library is faster.  Exit status 0 whatever the verdicts; 2 for unreadable
// input.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace {

// What a row's goal asks of it.
enum class Objectif {
  kAucun,         // shown for information
  kRatioMin,      // ratio >= seuil
  kRatioSup,      // ratio > seuil
  kTempsMaxNs,    // the figure's time < seuil nanoseconds
};

struct Ligne {
  const char *figure;
  const char *nomFigure;  // benchmark name
  const char *reference;
  const char *nomReference;
  Objectif objectif;
  double seuil;
  // Times per item (a call) rather than per iteration, for the benchmarks
  // that repeat their statement within an iteration.
  bool parElement = false;
};

// The pairs, in the order of the table.
const Ligne kLignes[] = {
    {"CRC-16, 64 MiB", "BM_Crc16/67108864", "zlib crc32, 64 MiB", "BM_Crc32Zlib/67108864",
     Objectif::kRatioMin, 0.5},
    {"CRC-16, 4 KiB", "BM_Crc16/4096", "zlib crc32, 4 KiB", "BM_Crc32Zlib/4096", Objectif::kRatioMin, 0.5},
    {"CRC-16, 64 MiB", "BM_Crc16/67108864", "memchr, 64 MiB", "BM_Memchr/67108864", Objectif::kAucun, 0},
    {"CRC-16, 4 KiB", "BM_Crc16/4096", "memchr, 4 KiB", "BM_Memchr/4096", Objectif::kAucun, 0},
    {"CRC-16 tables only, 64 MiB", "BM_Crc16Tables/67108864", "zlib crc32, 64 MiB", "BM_Crc32Zlib/67108864",
     Objectif::kAucun, 0},
    {"MC_usLireUnsignedLong x 4M", "BM_LireUnsignedLong", "getc_unlocked loop, 16 MiB", "BM_GetcUnlocked",
     Objectif::kRatioMin, 0.5},
    {"MC_usLireUnsignedLong x 4M", "BM_LireUnsignedLong", "one fread + decode, 16 MiB", "BM_FreadWhole",
     Objectif::kAucun, 0},
    {"zone walk, cursor calls, 1 MiB", "BM_ZoneWalkCursor", "bare decoder, same bytes", "BM_ZoneWalkBareLoop",
     Objectif::kRatioMin, 1.0 / 3},
    {"zone walk, field flag, 1 MiB", "BM_ZoneWalkFieldFlag", "bare decoder, same bytes", "BM_ZoneWalkBareLoop",
     Objectif::kAucun, 0},
    {"zone building, 1 MiB", "BM_ZoneBuild", "bare encoder, same bytes", "BM_ZoneBuildBareLoop",
     Objectif::kAucun, 0},
    {"format check, 20 groups x 8 fields", "BM_ZoneFormatCheck", "syntax check, same message",
     "BM_ZoneSyntaxCheck", Objectif::kAucun, 0},
    {"disabled trace at a call site", "BM_DisabledTraceAtCallSite", "empty function call",
     "BM_EmptyFunctionCall", Objectif::kTempsMaxNs, 0.5, true},
    {"disabled trace, exported call", "BM_DisabledTraceExportedCall", "empty function call",
     "BM_EmptyFunctionCall", Objectif::kAucun, 0, true},
    {"enabled trace line, flushed", "BM_EnabledTraceLineFlushed", "fprintf + fflush", "BM_FprintfFflushLine",
     Objectif::kRatioMin, 1.0},
    {"enabled trace line, flushed", "BM_EnabledTraceLineFlushed", "spdlog st, flush every line",
     "BM_SpdlogLineFlushed", Objectif::kRatioSup, 1.0},
    {"enabled trace line, flushed", "BM_EnabledTraceLineFlushed", "spdlog mt, flush every line",
     "BM_SpdlogMtLineFlushed", Objectif::kRatioSup, 1.0},
    {"dictionary load (MC_usInitLIB+TermLIB)", "BM_ChargerDictionnaire", "fread of the whole file",
     "BM_LireFichierEntier", Objectif::kAucun, 0},
    {"dictionary load (MC_usInitLIB+TermLIB)", "BM_ChargerDictionnaire", "fread + CRC-16 of the file",
     "BM_LireFichierEntierCrc", Objectif::kAucun, 0},
};

double EnNanosecondes(double valeur, const std::string &unite) {
  if (unite == "us") return valeur * 1e3;
  if (unite == "ms") return valeur * 1e6;
  if (unite == "s") return valeur * 1e9;
  return valeur;
}

// One benchmark's result: CPU time per iteration and per item, in ns (0
// when it counts no items).
struct Mesure {
  double iteration = 0;
  double element = 0;
};

double Nombre(const nlohmann::json &b, const char *cle) {
  const auto it = b.find(cle);
  return it != b.end() && it->is_number() ? it->get<double>() : 0.0;
}

// Benchmark name -> its result: the median of repeated runs, else the
// single run.
bool Lire(const char *chemin, std::map<std::string, Mesure> *temps) {
  std::ifstream flux(chemin);
  if (!flux) {
    fprintf(stderr, "bench_report: cannot read %s\n", chemin);
    return false;
  }
  std::string texte((std::istreambuf_iterator<char>(flux)), std::istreambuf_iterator<char>());
  // The benchmark library writes non-finite counters (the coefficient of
  // variation of a counter that is always 0) as bare NaN or inf, which is
  // not JSON.
  for (const char *jeton : {": -nan", ": nan", ": NaN", ": -NaN", ": -inf", ": inf"}) {
    const std::string j = jeton;
    for (size_t p = texte.find(j); p != std::string::npos; p = texte.find(j, p))
      texte.replace(p, j.size(), ": null");
  }
  nlohmann::json doc;
  try {
    doc = nlohmann::json::parse(texte);
  } catch (const nlohmann::json::exception &e) {
    fprintf(stderr, "bench_report: %s: %s\n", chemin, e.what());
    return false;
  }
  std::map<std::string, Mesure> seules;
  for (const auto &b : doc.value("benchmarks", nlohmann::json::array())) {
    if (b.value("error_occurred", false)) continue;
    const std::string nom = b.value("run_name", b.value("name", ""));
    Mesure t;
    t.iteration = EnNanosecondes(Nombre(b, "cpu_time"), b.value("time_unit", "ns"));
    const double debit = Nombre(b, "items_per_second");
    if (debit > 0) t.element = 1e9 / debit;
    if (b.value("run_type", "") == "aggregate") {
      if (b.value("aggregate_name", "") == "median") (*temps)[nom] = t;
    } else if (!seules.count(nom)) {
      seules[nom] = t;
    }
  }
  for (const auto &[nom, t] : seules)
    if (!temps->count(nom)) (*temps)[nom] = t;
  return true;
}

std::string Duree(double ns) {
  char texte[32];
  if (ns < 1e3)
    snprintf(texte, sizeof texte, "%.2f ns", ns);
  else if (ns < 1e6)
    snprintf(texte, sizeof texte, "%.2f us", ns / 1e3);
  else if (ns < 1e9)
    snprintf(texte, sizeof texte, "%.2f ms", ns / 1e6);
  else
    snprintf(texte, sizeof texte, "%.2f s", ns / 1e9);
  return texte;
}

std::string TexteObjectif(const Ligne &l) {
  char texte[32];
  switch (l.objectif) {
    case Objectif::kRatioMin:
      snprintf(texte, sizeof texte, ">= %.2f", l.seuil);
      return texte;
    case Objectif::kRatioSup:
      snprintf(texte, sizeof texte, "> %.2f", l.seuil);
      return texte;
    case Objectif::kTempsMaxNs:
      snprintf(texte, sizeof texte, "< %.1f ns", l.seuil);
      return texte;
    default:
      return "";
  }
}

}  // namespace

int main(int argc, char **argv) {
  std::map<std::string, Mesure> temps;
  for (int i = 1; i < argc; ++i)
    if (!Lire(argv[i], &temps)) return 2;

  printf("| %-38s | %10s | %-30s | %10s | %6s | %-8s | %-6s |\n", "figure", "time", "reference", "time", "ratio",
         "goal", "");
  printf("|%s|%s|%s|%s|%s|%s|%s|\n", std::string(40, '-').c_str(), std::string(12, '-').c_str(),
         std::string(32, '-').c_str(), std::string(12, '-').c_str(), std::string(8, '-').c_str(),
         std::string(10, '-').c_str(), std::string(8, '-').c_str());
  int manques = 0;
  for (const Ligne &l : kLignes) {
    const auto mesure = [&](const char *nom) {
      const auto it = temps.find(nom);
      if (it == temps.end()) return -1.0;
      return l.parElement ? it->second.element : it->second.iteration;
    };
    const double f = mesure(l.nomFigure);
    const double r = mesure(l.nomReference);
    const bool complet = f > 0 && r > 0;
    const std::string tf = f > 0 ? Duree(f) : "not run";
    const std::string tr = r > 0 ? Duree(r) : "not run";
    std::string ratio = "";
    std::string verdict = "";
    if (complet) {
      const double q = r / f;
      char texte[16];
      snprintf(texte, sizeof texte, "%.2f", q);
      ratio = texte;
      bool atteint = true;
      switch (l.objectif) {
        case Objectif::kRatioMin: atteint = q >= l.seuil; break;
        case Objectif::kRatioSup: atteint = q > l.seuil; break;
        case Objectif::kTempsMaxNs: atteint = f < l.seuil; break;
        default: break;
      }
      if (l.objectif != Objectif::kAucun) verdict = atteint ? "met" : "MISSED";
      if (!atteint) ++manques;
    }
    printf("| %-38s | %10s | %-30s | %10s | %6s | %-8s | %-6s |\n", l.figure, tf.c_str(), l.reference,
           tr.c_str(), ratio.c_str(), TexteObjectif(l).c_str(), verdict.c_str());
  }
  printf("\nratio = reference time / figure time for the same work (above 1: the library is faster);\n"
         "times are CPU times per iteration (per call for the trace call sites), medians of the\n"
         "repetitions.  Goals missed: %d.\n",
         manques);
  return 0;
}
