#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string>

// A case timed against its baseline. The machine's speed drifts over seconds, so the two run in
// alternation, a round each, and each keeps its fastest round: both minima then come from the
// same stretch of time, and their ratio is the figure to read.
class FastestRounds {
public:
   using Clock = std::chrono::steady_clock;
   enum Which { kCase = 0, kBaseline = 1 };

   static double nanosecondsSince(Clock::time_point from) {
      return std::chrono::duration<double, std::nano>(Clock::now() - from).count();
   }

   void record(Which which, double ns) { best_[which] = std::min(best_[which], ns); }

   // Times f() as one round of `which`.
   template <class F>
   void time(Which which, F&& f) {
      const auto t0 = Clock::now();
      f();
      record(which, nanosecondsSince(t0));
   }

   // Times f() as one round of `which` in the thread's own CPU time: rounds that last tens of
   // milliseconds are long enough to be preempted on a busy machine, and waiting for a core
   // then counts in neither.
   template <class F>
   void timeCpu(Which which, F&& f) {
      const double t0 = threadNanoseconds();
      f();
      record(which, threadNanoseconds() - t0);
   }

   // Both fastest rounds per unit of work, in nanoseconds, under the given names, and the ratio
   // case / baseline.
   void report(benchmark::State& state, const std::string& caseName,
               const std::string& baselineName, double units) const {
      state.counters[caseName + "_ns"] = best_[kCase] / units;
      state.counters[baselineName + "_ns"] = best_[kBaseline] / units;
      state.counters["ratio"] = best_[kCase] / best_[kBaseline];
   }

private:
   static double threadNanoseconds() {
      timespec t{};
      clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
      return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
   }

   double best_[2] = {1e300, 1e300};
};
