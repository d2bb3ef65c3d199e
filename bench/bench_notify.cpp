// The cost of being observed: the same collection mutations with and without one notifiee,
// both for members changed in place and for members that come and go.
#include <benchmark/benchmark.h>

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
void mutate(benchmark::State& state, Table& t) {
   uint32_t round = 1;
   for (auto _ : state) {
      for (uint32_t k = 0; k < kKeys; ++k)
         t.entryIs(k, round);
      ++round;
   }
   state.SetItemsProcessed(state.iterations() * kKeys);
}

// Members that come and go: each round adds every key and removes it again.
void churn(benchmark::State& state, Table& t) {
   for (auto _ : state) {
      for (uint32_t k = kKeys; k < 2 * kKeys; ++k)
         t.entryIs(k, k);
      for (uint32_t k = kKeys; k < 2 * kKeys; ++k)
         t.entryDel(k);
   }
   state.SetItemsProcessed(state.iterations() * kKeys * 2);
}

void BM_ChurnUnobserved(benchmark::State& state) {
   auto t = filledTable();
   churn(state, *t);
}
BENCHMARK(BM_ChurnUnobserved);

void BM_ChurnObserved(benchmark::State& state) {
   auto t = filledTable();
   Norv::Ptr<Watcher> w = new Watcher(t);
   churn(state, *t);
   benchmark::DoNotOptimize(w->sum());
}
BENCHMARK(BM_ChurnObserved);

void BM_MutationUnobserved(benchmark::State& state) {
   auto t = filledTable();
   mutate(state, *t);
}
BENCHMARK(BM_MutationUnobserved);

void BM_MutationObserved(benchmark::State& state) {
   auto t = filledTable();
   Norv::Ptr<Watcher> w = new Watcher(t);
   mutate(state, *t);
   benchmark::DoNotOptimize(w->sum());
}
BENCHMARK(BM_MutationObserved);

} // namespace
