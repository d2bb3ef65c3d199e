// The cost of being observed: the same collection mutations with and without one notifiee,
// both for members changed in place and for members that come and go. The figure is the ratio
// counter: observed over unobserved time per change.
#include <benchmark/benchmark.h>

#include "bench/FastestRounds.h"

#include "norv/Attributes.h"

namespace {

class Table : public Norv::Entity {
public:
   NORV_ENTITY("Bench::Table")
   class NotifieeConst : public Norv::NotifieeOf<Table> {
   public:
      using NotifieeOf::NotifieeOf;
      NORV_ON_KEY(Entry, uint32_t)
   };
   NORV_VALUE_COLL(entry, Entry, uint32_t, uint32_t, Norv::HashMap)
};

class Watcher : public Norv::Reactor {
public:
   NORV_ENTITY("Bench::Watcher")
   class NorvTable : public Table::NotifieeConst {
   public:
      NorvTable(Watcher* w, Norv::Ptr<const Table> t) : NotifieeConst(w, t), w_(w) {}
      void onEntry(const uint32_t& k) override { w_->handleEntry(k); }

   private:
      Watcher* w_;
   };
   explicit Watcher(Norv::Ptr<const Table> t) : table_(this, t) {}
   void handleEntry(uint32_t k) { sum_ += k; }
   uint64_t sum() const { return sum_; }

private:
   NorvTable table_;
   uint64_t sum_ = 0;
};

constexpr uint32_t kKeys = 1024;

Norv::Ptr<Table> filledTable() {
   Norv::Ptr<Table> t = new Table();
   for (uint32_t k = 0; k < kKeys; ++k)
      t->entryIs(k, 0);
   return t;
}

// Every call changes the member's value, so every call notifies when observed.
void mutateRound(Table& t, uint32_t round) {
   for (uint32_t k = 0; k < kKeys; ++k)
      t.entryIs(k, round);
}

// Members that come and go: each round adds every key and removes it again.
void churnRound(Table& t, uint32_t) {
   for (uint32_t k = kKeys; k < 2 * kKeys; ++k)
      t.entryIs(k, k);
   for (uint32_t k = kKeys; k < 2 * kKeys; ++k)
      t.entryDel(k);
}

// A round of each case in turn; reported per change.
void paired(benchmark::State& state, void (*round)(Table&, uint32_t), double changesPerRound) {
   auto quiet = filledTable();
   auto watched = filledTable();
   Norv::Ptr<Watcher> w = new Watcher(watched);
   FastestRounds rounds;
   uint32_t n = 1;
   for (auto _ : state) {
      rounds.time(FastestRounds::kBaseline, [&] { round(*quiet, n); });
      rounds.time(FastestRounds::kCase, [&] { round(*watched, n); });
      ++n;
   }
   benchmark::DoNotOptimize(w->sum());
   rounds.report(state, "observed", "unobserved", changesPerRound);
}

void BM_MutationPaired(benchmark::State& state) {
   paired(state, mutateRound, kKeys);
}
BENCHMARK(BM_MutationPaired)->MinTime(1.0);

void BM_ChurnPaired(benchmark::State& state) {
   paired(state, churnRound, 2 * kKeys);
}
BENCHMARK(BM_ChurnPaired)->MinTime(1.0);

} // namespace
