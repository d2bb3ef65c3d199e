#include "norv/FlatHashMap.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace {

// Keys that all share a home slot in small tables make long probe runs, which removal must
// keep intact.
struct Clustered {
   size_t operator()(uint32_t k) const { return k % 3; }
};

template <class H>
void matchesAnOrderedMap(unsigned seed, uint32_t keySpace) {
   Norv::FlatHashMap<uint32_t, uint32_t, H> flat;
   std::map<uint32_t, uint32_t> model;
   std::mt19937 rng(seed);
   for (int step = 0; step < 20000; ++step) {
      const uint32_t k = rng() % keySpace;
      switch (rng() % 3) {
      case 0: {
         auto [v, created] = flat.insert(k, step);
         auto [it, inserted] = model.emplace(k, step);
         ASSERT_EQ(created, inserted);
         ASSERT_EQ(*v, it->second);
         break;
      }
      case 1:
         ASSERT_EQ(flat.erase(k), model.erase(k) == 1);
         break;
      default: {
         const uint32_t* v = flat.find(k);
         auto it = model.find(k);
         ASSERT_EQ(v != nullptr, it != model.end());
         if (v) {
            ASSERT_EQ(*v, it->second);
         }
      }
      }
      ASSERT_EQ(flat.size(), model.size());
   }
   std::map<uint32_t, uint32_t> walked;
   for (auto it = flat.begin(); it; ++it)
      walked.emplace(it.key(), it.value());
   EXPECT_EQ(walked, model);
   flat.clear();
   EXPECT_TRUE(flat.empty());
   EXPECT_FALSE(flat.begin());
}

TEST(FlatHashMap, RandomOperationsMatchAnOrderedMap) {
   for (unsigned seed = 1; seed <= 3; ++seed) {
      matchesAnOrderedMap<Norv::Hash<uint32_t>>(seed, 300);
      matchesAnOrderedMap<Clustered>(seed, 200);
   }
}

} // namespace
