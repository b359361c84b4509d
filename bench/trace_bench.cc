// Cost of a trace at a call site inside the library: disabled (no file open)
// beside an empty function call, and an enabled line with its flush beside
// fprintf + fflush and spdlog (flushed on every line) writing the same bytes,
// in a process that has started a thread.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <thread>

#include "trace/trace.h"

namespace {

// The call-site benchmarks repeat their statement 100 times per iteration,
// so that the benchmark loop's own cost does not hide a fraction of a
// nanosecond; items are calls, and the report reads the time per call.
#define MC_X10(s) s s s s s s s s s s
#define MC_X100(s) MC_X10(MC_X10(s))
constexpr int kAppels = 100;

__attribute__((noinline)) void EmptyFunction(uint16_t a, uint16_t b, uint16_t c, const char *f, int v) {
  benchmark::DoNotOptimize(a);
  benchmark::DoNotOptimize(b);
  benchmark::DoNotOptimize(c);
  benchmark::DoNotOptimize(f);
  benchmark::DoNotOptimize(v);
}

void BM_EmptyFunctionCall(benchmark::State &state) {
  int v = 0;
  for (auto _ : state) {
    MC_X100(EmptyFunction(1, 3, 4, "usResultat = 0x%04x", ++v);)
  }
  state.SetItemsProcessed(state.iterations() * kAppels);
}
BENCHMARK(BM_EmptyFunctionCall);

// The guard the library puts at every call site, with the trace file closed.
// The memory clobber makes every site load the file pointer again, as a
// call site between two calls does.
void BM_DisabledTraceAtCallSite(benchmark::State &state) {
  int v = 0;
  for (auto _ : state) {
    MC_X100(MCT_INFO(mc::kCompZone, "usResultat = 0x%04x", ++v); benchmark::ClobberMemory();)
  }
  state.SetItemsProcessed(state.iterations() * kAppels);
}
BENCHMARK(BM_DisabledTraceAtCallSite);

// The exported writer called directly with no file open (what a host pays).
void BM_DisabledTraceExportedCall(benchmark::State &state) {
  int v = 0;
  for (auto _ : state) {
    MC_X100(MC_TraceEcrire(1, 3, MC_TRACE_INFO, "usResultat = 0x%04x", ++v);)
  }
  state.SetItemsProcessed(state.iterations() * kAppels);
}
BENCHMARK(BM_DisabledTraceExportedCall);

// The files go to memory (/dev/shm) when it can be written: the kernel's
// share of a flushed line is then the same copy for every writer, instead of
// a file system's journal whose cost varies from run to run far more than
// the writers differ.
std::string TempPath(const char *name) {
  const char *tmp = getenv("TMPDIR");
  const char *dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : tmp != nullptr ? tmp : "/tmp";
  return std::string(dir) + "/" + name + "." + std::to_string(getpid());
}

// Each writer below puts the same 20 bytes per line ("usResultat = 0x....\n",
// depth 0) into a file of its own and makes the line reach the kernel.
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
    fprintf(f, "usResultat = 0x%04x\n", ++v);
    fflush(f);
  }
  fclose(f);
  unlink(path.c_str());
}
BENCHMARK(BM_FprintfFflushLine);

// spdlog's fastest file logger for this use: one thread, the bare message as
// pattern (no time stamp to format), flushed after every line.
void BM_SpdlogLineFlushed(benchmark::State &state) {
  const std::string path = TempPath("mc-bench-spdlog");
  {
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_st>(path, true);
    spdlog::logger logger("banc", sink);
    logger.set_pattern("%v");
    logger.set_level(spdlog::level::trace);
    logger.flush_on(spdlog::level::trace);
    int v = 0;
    for (auto _ : state) logger.info("usResultat = 0x{:04x}", ++v);
  }
  unlink(path.c_str());
}
BENCHMARK(BM_SpdlogLineFlushed);

// The same with the thread-safe sink most programs use.
void BM_SpdlogMtLineFlushed(benchmark::State &state) {
  const std::string path = TempPath("mc-bench-spdlog-mt");
  {
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, true);
    spdlog::logger logger("banc-mt", sink);
    logger.set_pattern("%v");
    logger.set_level(spdlog::level::trace);
    logger.flush_on(spdlog::level::trace);
    int v = 0;
    for (auto _ : state) logger.info("usResultat = 0x{:04x}", ++v);
  }
  unlink(path.c_str());
}
BENCHMARK(BM_SpdlogMtLineFlushed);

}  // namespace

int main(int argc, char **argv) {
  // Host processes have threads: stdio then takes its locks for real.
  std::thread([] {}).join();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
