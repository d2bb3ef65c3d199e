// Norv::HashMap against std::unordered_map on 32-bit keys and values: insert, find (hit), erase
// and iteration, at three sizes, for random and for sequential keys. Each case runs for both
// maps back to back; "per_op" is the time per element. The machine is shared, so each case is
// repeated and the minimum is the figure to compare.
#include "norv/HashMap.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using NorvMap = Norv::HashMap<uint32_t, uint32_t>;
using StdMap = std::unordered_map<uint32_t, uint32_t>;

enum class Keys { Random, Sequential };

// Distinct keys: a bijection of the index for Random, the index itself for Sequential.
std::vector<uint32_t> makeKeys(size_t n, Keys kind) {
   std::vector<uint32_t> keys(n);
   for (size_t i = 0; i < n; ++i) {
      uint32_t x = static_cast<uint32_t>(i);
      if (kind == Keys::Random) {
         x *= 0x9E3779B1u;
         x ^= x >> 16;
         x *= 0x85EBCA6Bu;
         x ^= x >> 13;
      }
      keys[i] = x;
   }
   return keys;
}

void put(NorvMap& m, uint32_t k, uint32_t v) {
   m.insert(k, v);
}
void put(StdMap& m, uint32_t k, uint32_t v) {
   m.emplace(k, v);
}
uint32_t get(const NorvMap& m, uint32_t k) {
   return *m.find(k);
}
uint32_t get(const StdMap& m, uint32_t k) {
   return m.find(k)->second;
}

template <class Map>
Map build(const std::vector<uint32_t>& keys) {
   Map m;
   for (uint32_t k : keys)
      put(m, k, k + 1);
   return m;
}

using Clock = std::chrono::steady_clock;
double seconds(Clock::time_point from) {
   return std::chrono::duration<double>(Clock::now() - from).count();
}

// Building a fresh map from empty, growth included; tearing it down is not timed.
template <class Map>
void insert(benchmark::State& state, const std::vector<uint32_t>& keys) {
   for (auto _ : state) {
      Map m;
      const auto t0 = Clock::now();
      for (uint32_t k : keys)
         put(m, k, k);
      state.SetIterationTime(seconds(t0));
      benchmark::DoNotOptimize(m);
   }
}

// Looking every key up, in insertion order.
template <class Map>
void find(benchmark::State& state, const std::vector<uint32_t>& keys) {
   const Map m = build<Map>(keys);
   for (auto _ : state) {
      const auto t0 = Clock::now();
      uint32_t sum = 0;
      for (uint32_t k : keys)
         sum += get(m, k);
      benchmark::DoNotOptimize(sum);
      state.SetIterationTime(seconds(t0));
   }
}

// Emptying a full map key by key, in insertion order; building it is not timed.
template <class Map>
void erase(benchmark::State& state, const std::vector<uint32_t>& keys) {
   for (auto _ : state) {
      Map m = build<Map>(keys);
      const auto t0 = Clock::now();
      for (uint32_t k : keys)
         m.erase(k);
      state.SetIterationTime(seconds(t0));
      benchmark::DoNotOptimize(m);
   }
}

template <class Map>
void iterate(benchmark::State& state, const std::vector<uint32_t>& keys) {
   const Map m = build<Map>(keys);
   for (auto _ : state) {
      const auto t0 = Clock::now();
      uint32_t sum = 0;
      for (auto&& [k, v] : m)
         sum += k ^ v;
      benchmark::DoNotOptimize(sum);
      state.SetIterationTime(seconds(t0));
   }
}

using Case = void (*)(benchmark::State&, const std::vector<uint32_t>&);

double minimum(const std::vector<double>& v) {
   return *std::min_element(v.begin(), v.end());
}

void registerCase(const std::string& name, Case norv, Case std, Keys kind) {
   for (size_t n : {size_t{1} << 10, size_t{1} << 16, size_t{1} << 20}) {
      const auto keys = makeKeys(n, kind);
      for (auto [label, fn] : {std::pair{"norv", norv}, std::pair{"std", std}}) {
         const auto full = name + "/" + std::to_string(n) + "/" + label;
         benchmark::RegisterBenchmark(full.c_str(),
                                      [fn, keys](benchmark::State& state) {
                                         fn(state, keys);
                                         state.counters["per_op"] = benchmark::Counter(
                                             static_cast<double>(keys.size()),
                                             benchmark::Counter::kIsIterationInvariantRate |
                                                 benchmark::Counter::kInvert);
                                      })
             ->UseManualTime()
             ->MinTime(0.02)
             ->Repetitions(5)
             ->ComputeStatistics("min", minimum)
             ->ReportAggregatesOnly(true);
      }
   }
}

const bool registered = [] {
   for (auto [kind, label] :
        {std::pair{Keys::Random, "random"}, std::pair{Keys::Sequential, "sequential"}}) {
      const std::string keys = label;
      registerCase("insert/" + keys, insert<NorvMap>, insert<StdMap>, kind);
      registerCase("find/" + keys, find<NorvMap>, find<StdMap>, kind);
      registerCase("erase/" + keys, erase<NorvMap>, erase<StdMap>, kind);
      registerCase("iterate/" + keys, iterate<NorvMap>, iterate<StdMap>, kind);
   }
   return true;
}();

} // namespace
