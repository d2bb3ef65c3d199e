#include "norv/Ribbonlog.h"
#include "norv/Trace.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <string>

// A disabled trace statement is meant to cost no more than twice an empty call; the first two
// benchmarks measure both in the same run.

NORV_TRACE_HANDLE("BenchTrace");

namespace {

[[gnu::noinline]] void emptyFunction(std::uint64_t& value) {
   benchmark::DoNotOptimize(value);
}

void BM_EmptyCall(benchmark::State& state) {
   std::uint64_t i = 0;
   for (auto _ : state) {
      emptyFunction(i);
      ++i;
   }
}
BENCHMARK(BM_EmptyCall);

void BM_TraceDisabled(benchmark::State& state) {
   Norv::Trace::configure("");
   Norv::Ribbonlog::enabledIs(false);
   std::uint64_t i = 0;
   for (auto _ : state) {
      NORV_TRACE(8, "writeEntry devId {} entryIndex {} oldVal {} newVal {}", 0, i, i + 1,
                 i + 2);
      benchmark::DoNotOptimize(i);
      ++i;
   }
}
BENCHMARK(BM_TraceDisabled);

// For information: what a statement costs while the ring buffer records it.
void BM_TraceRingRecord(benchmark::State& state) {
   Norv::Trace::configure("");
   Norv::Ribbonlog::enabledIs(true);
   std::uint64_t i = 0;
   for (auto _ : state) {
      NORV_TRACE(8, "writeEntry devId {} entryIndex {} oldVal {} newVal {}", 0, i, i + 1,
                 i + 2);
      ++i;
   }
   Norv::Ribbonlog::enabledIs(false);
   Norv::Ribbonlog::clear();
}
BENCHMARK(BM_TraceRingRecord);

void BM_TraceRingRecordWithText(benchmark::State& state) {
   Norv::Trace::configure("");
   Norv::Ribbonlog::enabledIs(true);
   const std::string port = "Ethernet12/1";
   std::uint64_t i = 0;
   for (auto _ : state) {
      NORV_TRACE(8, "port {} entry {}", port, i);
      ++i;
   }
   Norv::Ribbonlog::enabledIs(false);
   Norv::Ribbonlog::clear();
}
BENCHMARK(BM_TraceRingRecordWithText);

// For information: formatting a text line, written to a sink that discards it.
void BM_TraceTextLine(benchmark::State& state) {
   std::FILE* sink = std::fopen("/dev/null", "w");
   if (sink == nullptr) {
      state.SkipWithError("cannot open /dev/null");
      return;
   }
   Norv::Trace::textSinkIs(sink);
   Norv::Trace::configure("BenchTrace/8");
   std::uint64_t i = 0;
   for (auto _ : state) {
      NORV_TRACE(8, "writeEntry devId {} entryIndex {} oldVal {} newVal {}", 0, i, i + 1,
                 i + 2);
      ++i;
   }
   Norv::Trace::configure("");
   Norv::Trace::textSinkIs(nullptr);
   std::fclose(sink);
}
BENCHMARK(BM_TraceTextLine);

} // namespace
