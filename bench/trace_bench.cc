// Cost of a trace at a call site inside the library: disabled (no file open)
// beside an empty function call, and an enabled line with its flush beside
// fprintf + fflush of the same line.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "trace/trace.h"

namespace {

__attribute__((noinline)) void EmptyFunction(uint16_t a, uint16_t b, uint16_t c, const char *f, int v) {
  benchmark::DoNotOptimize(a);
  benchmark::DoNotOptimize(b);
  benchmark::DoNotOptimize(c);
  benchmark::DoNotOptimize(f);
  benchmark::DoNotOptimize(v);
}

void BM_EmptyFunctionCall(benchmark::State &state) {
  int v = 0;
  for (auto _ : state) EmptyFunction(1, 3, 4, "usResultat = 0x%04x", ++v);
}
BENCHMARK(BM_EmptyFunctionCall);

// The guard the library puts at every call site, with the trace file closed.
void BM_DisabledTraceAtCallSite(benchmark::State &state) {
  int v = 0;
  for (auto _ : state) {
    MCT_INFO(mc::kCompZone, "usResultat = 0x%04x", ++v);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_DisabledTraceAtCallSite);

// The exported writer called directly with no file open (what a host pays).
void BM_DisabledTraceExportedCall(benchmark::State &state) {
  int v = 0;
  for (auto _ : state) MC_TraceEcrire(1, 3, MC_TRACE_INFO, "usResultat = 0x%04x", ++v);
}
BENCHMARK(BM_DisabledTraceExportedCall);

std::string TempPath(const char *name) {
  const char *tmp = getenv("TMPDIR");
  return std::string(tmp != nullptr ? tmp : "/tmp") + "/" + name + "." + std::to_string(getpid());
}

void BM_EnabledTraceLineFlushed(benchmark::State &state) {
  const std::string path = TempPath("mc-bench-trace");
  MC_usActiverTrace(path.c_str(), "w", 1, 3, 2);
  int v = 0;
  for (auto _ : state) MCT_INFO(mc::kCompZone, "usResultat = 0x%04x", ++v);
  MC_usActiverTrace(nullptr, nullptr, 1, 3, 0);
  unlink(path.c_str());
}
BENCHMARK(BM_EnabledTraceLineFlushed);

void BM_FprintfFflushLine(benchmark::State &state) {
  const std::string path = TempPath("mc-bench-fprintf");
  FILE *f = fopen(path.c_str(), "w");
  int v = 0;
  for (auto _ : state) {
    fprintf(f, "  usResultat = 0x%04x\n", ++v);
    fflush(f);
  }
  fclose(f);
  unlink(path.c_str());
}
BENCHMARK(BM_FprintfFflushLine);

}  // namespace

BENCHMARK_MAIN();
