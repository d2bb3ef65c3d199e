// Norv::HashMap against std::unordered_map on 32-bit keys and values: insert, find (hit), erase
// and iteration, at three sizes, for random and for sequential keys. The figure is each case's
// ratio counter, Norv's time over std's.
#include "bench/FastestRounds.h"
#include "norv/HashMap.h"

#include <benchmark/benchmark.h>

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

using Clock = FastestRounds::Clock;
const auto nanoseconds = FastestRounds::nanosecondsSince;

// One timed pass of an operation over all keys; `built` holds every key with value key + 1.
// Building and tearing down maps is not timed.
template <class Map>
using Round = double (*)(const std::vector<uint32_t>& keys, Map& built);

// Building a fresh map from empty, growth included.
template <class Map>
double insert(const std::vector<uint32_t>& keys, Map&) {
   Map m;
   const auto t0 = Clock::now();
   for (uint32_t k : keys)
      put(m, k, k);
   const double ns = nanoseconds(t0);
   benchmark::DoNotOptimize(m);
   return ns;
}

// Looking every key up, in insertion order.
template <class Map>
double find(const std::vector<uint32_t>& keys, Map& built) {
   const auto t0 = Clock::now();
   uint32_t sum = 0;
   for (uint32_t k : keys)
      sum += get(built, k);
   benchmark::DoNotOptimize(sum);
   return nanoseconds(t0);
}

// Emptying a full map key by key, in insertion order.
template <class Map>
double erase(const std::vector<uint32_t>& keys, Map&) {
   Map m = build<Map>(keys);
   const auto t0 = Clock::now();
   for (uint32_t k : keys)
      m.erase(k);
   const double ns = nanoseconds(t0);
   benchmark::DoNotOptimize(m);
   return ns;
}

template <class Map>
double iterate(const std::vector<uint32_t>& keys, Map& built) {
   (void)keys;
   const auto t0 = Clock::now();
   uint32_t sum = 0;
   for (auto&& [k, v] : built)
      sum += k ^ v;
   benchmark::DoNotOptimize(sum);
   return nanoseconds(t0);
}

// The two maps in alternation, a pass each; reported per element.
void registerCase(const std::string& name, Round<NorvMap> norv, Round<StdMap> std, Keys kind) {
   for (size_t n : {size_t{1} << 10, size_t{1} << 16, size_t{1} << 20}) {
      const auto full = name + "/" + std::to_string(n);
      benchmark::RegisterBenchmark(full.c_str(), [norv, std, n, kind](benchmark::State& state) {
         const auto keys = makeKeys(n, kind);
         NorvMap norvBuilt = build<NorvMap>(keys);
         StdMap stdBuilt = build<StdMap>(keys);
         FastestRounds rounds;
         for (auto _ : state) {
            rounds.record(FastestRounds::kCase, norv(keys, norvBuilt));
            rounds.record(FastestRounds::kBaseline, std(keys, stdBuilt));
         }
         rounds.report(state, "norv", "std", static_cast<double>(n));
      })->MinTime(0.3);
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
