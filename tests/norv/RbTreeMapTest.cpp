#include "norv/RbTreeMap.h"
#include "tests/norv/MapKeys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Tree = Norv::RbTreeMap<int, int>;

using NorvTest::keysOf;

TEST(RbTreeMap, KeyOrderAndBounds) {
   Tree t;
   EXPECT_EQ(t.begin(), t.end());
   EXPECT_FALSE(t.lowerBound(0));
   EXPECT_FALSE(t.neighbours(0).first || t.neighbours(0).second);
   for (int k : {50, 10, 40, 20, 30})
      t.insert(k, k);
   EXPECT_EQ(keysOf(t), (std::vector<int>{10, 20, 30, 40, 50}));
   EXPECT_EQ(t.lowerBound(20).key(), 20);
   EXPECT_EQ(t.upperBound(20).key(), 30);
   EXPECT_EQ(t.lowerBound(21).key(), 30);
   EXPECT_EQ(t.lowerBound(5).key(), 10);
   EXPECT_FALSE(t.upperBound(50));
   EXPECT_FALSE(t.lowerBound(51));
   EXPECT_EQ(t.neighbours(30).first.key(), 20);
   EXPECT_EQ(t.neighbours(30).second.key(), 30);
   EXPECT_EQ(t.neighbours(31).first.key(), 30);
   EXPECT_EQ(t.neighbours(31).second.key(), 40);
   EXPECT_EQ(t.neighbours(1000).first.key(), 50);
   EXPECT_FALSE(t.neighbours(1000).second);
   EXPECT_FALSE(t.neighbours(10).first);
   auto below = t.neighbours(45).first;
   EXPECT_EQ((++below).key(), 50); // an iterator like any other
   const int* p = t.find(30);
   EXPECT_FALSE(t.insert(30, 0).second); // present: left as it is
   for (int k = 100; k < 1100; ++k)
      t.insert(k, k);
   EXPECT_EQ(t.find(30), p); // values never move
   EXPECT_EQ(*p, 30);

   Norv::RbTreeMap<int, int, std::greater<int>> down;
   for (int k = 0; k < 5; ++k)
      down[k] = k;
   EXPECT_EQ(keysOf(down), (std::vector<int>{4, 3, 2, 1, 0}));
}

TEST(RbTreeMap, IteratorSurvivesErasure) {
   Tree t;
   for (int k = 0; k < 10; ++k)
      t.insert(k, k * 10);
   auto it = t.iteratorAt(3);
   t.erase(3);
   t.erase(4); // the next one too
   t.insert(3, -1);
   EXPECT_EQ(it.key(), 3);
   EXPECT_EQ(it.value(), 30);
   ++it; // the key greater than 3; the new 3 is not greater
   EXPECT_EQ(it.key(), 5);
   t.erase(it);
   auto copy = it;
   ++it;
   EXPECT_EQ(copy.value(), 50);
   EXPECT_EQ(it.key(), 6);

   auto a = t.iteratorAt(8), b = a;
   t.clear();
   EXPECT_EQ(a.key(), 8);
   ++a;
   EXPECT_FALSE(a);
   t.insert(9, 9);
   ++b;
   EXPECT_EQ(b.key(), 9);
}

TEST(RbTreeMap, EraseEverythingWhileWalking) {
   Tree t;
   for (int k = 0; k < 300; ++k)
      t.insert(k * 3, k);
   std::vector<int> seen;
   for (auto it = t.begin(); it; ++it) {
      seen.push_back(it.key());
      if (it.key() % 2) {
         t.erase(it);
      } else {
         t.erase(it.key());
      }
      if (it.key() % 7 == 0) t.insert(it.key() + 1, 0); // ahead: visited, then erased
   }
   EXPECT_TRUE(t.empty());
   EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
   EXPECT_EQ(seen.size(), 300u + 43u);
}

TEST(RbTreeMap, IteratorsOutliveOrFollowTheMap) {
   Tree::ConstIterator kept;
   {
      Tree t;
      t.insert(5, 50);
      kept = std::as_const(t).begin();
   }
   EXPECT_EQ(kept.value(), 50);

   Tree a;
   for (int k = 0; k < 4; ++k)
      a.insert(k, k);
   auto it = a.begin();
   Tree b;
   b = std::move(a);
   b.erase(0);
   ++it;
   EXPECT_EQ(it.key(), 1);
}

TEST(RbTreeMap, CopiesAndEquality) {
   Tree a, b;
   for (int k = 0; k < 200; ++k)
      a.insert(k, -k);
   for (int k = 200; k-- > 0;)
      b.insert(k, -k);
   EXPECT_EQ(a, b);
   Tree c = a;
   EXPECT_EQ(keysOf(c), keysOf(a));
   c[7] = 7;
   EXPECT_NE(c, a);
   EXPECT_EQ(a[7], -7);
   c.erase(7);
   c.insert(1000, -7); // as many members and values, one key differs
   EXPECT_NE(c, a);

   Norv::RbTreeMap<std::string, int> s;
   for (auto k : {"b", "c", "a"})
      s[k] = 1;
   EXPECT_EQ(keysOf(s), (std::vector<std::string>{"a", "b", "c"}));
}

size_t compares = 0;
struct CountingLess {
   bool operator()(int a, int b) const {
      ++compares;
      return a < b;
   }
};

// What the red-black invariants buy: a lookup costs at most two comparisons per level, and no
// path is longer than 2 log2(n + 1), however skewed the insertions and erasures.
TEST(RbTreeMap, StaysBalanced) {
   auto expectShallow = [](const Norv::RbTreeMap<int, int, CountingLess>& t) {
      const double bound = 4 * std::log2(static_cast<double>(t.size()) + 1);
      for (auto it = t.begin(); it; ++it) {
         compares = 0;
         ASSERT_NE(t.find(it.key()), nullptr);
         ASSERT_LE(static_cast<double>(compares), bound) << it.key() << " of " << t.size();
      }
   };
   Norv::RbTreeMap<int, int, CountingLess> t;
   for (int k = 0; k < 4095; ++k)
      t.insert(k, k);
   expectShallow(t);
   for (int k = 0; k < 4095; ++k) {
      if (k % 3) t.erase(k);
   }
   expectShallow(t);
   for (int k = -1; k > -3000; --k)
      t.insert(k, k);
   for (int k = 4095; k-- > 1000;)
      t.erase(k);
   expectShallow(t);
   auto copy = t; // a copy is a tree as sound as the original
   for (int k = 0; k < 3000; ++k)
      copy.erase(-k);
   for (int k = 5000; k < 9000; ++k)
      copy.insert(k, k);
   expectShallow(copy);
}

// Random operations and mutating walks, checked against std::map.
TEST(RbTreeMap, AgreesWithModelUnderRandomOperations) {
   std::mt19937 rng(99);
   Tree t;
   std::map<int, int> model;
   for (int k = 0; k < 2000; ++k) { // ascending: every rotation case of insertion
      t.insert(k, k);
      model.emplace(k, k);
   }
   for (int step = 0; step < 6000; ++step) {
      const int k = static_cast<int>(rng() % 3000);
      switch (rng() % 6) {
      case 0:
      case 1:
         EXPECT_EQ(t.insert(k, step).second, model.emplace(k, step).second);
         break;
      case 2:
      case 3:
         EXPECT_EQ(t.erase(k), model.erase(k) == 1);
         break;
      case 4: {
         auto lb = t.lowerBound(k);
         auto mlb = model.lower_bound(k);
         ASSERT_EQ(bool(lb), mlb != model.end());
         if (lb) {
            EXPECT_EQ(lb.key(), mlb->first);
            EXPECT_EQ(lb.value(), mlb->second);
         }
         const auto [below, lower] = std::as_const(t).neighbours(k);
         ASSERT_EQ(bool(below), mlb != model.begin());
         if (below) {
            EXPECT_EQ(below.key(), std::prev(mlb)->first);
         }
         ASSERT_EQ(bool(lower), bool(lb));
         if (lower) {
            EXPECT_EQ(lower.key(), lb.key());
         }
         break;
      }
      default: {
         // A walk that erases around itself sees ascending live keys, and all untouched ones.
         std::vector<int> seen;
         std::map<int, int> untouched = model;
         for (auto it = t.lowerBound(k); it && seen.size() < 50; ++it) {
            ASSERT_TRUE(t.contains(it.key()));
            seen.push_back(it.key());
            const int other = static_cast<int>(rng() % 3000);
            t.erase(other);
            model.erase(other);
            untouched.erase(other);
            if (rng() % 3 == 0) {
               model.erase(it.key());
               t.erase(it);
            }
         }
         EXPECT_TRUE(std::adjacent_find(seen.begin(), seen.end(), std::greater_equal<int>()) ==
                     seen.end());
         if (!seen.empty()) {
            for (auto u = untouched.lower_bound(k);
                 u != untouched.end() && u->first < seen.back(); ++u) {
               EXPECT_TRUE(std::binary_search(seen.begin(), seen.end(), u->first)) << u->first;
            }
         }
      }
      }
      ASSERT_EQ(t.size(), model.size());
   }
   std::vector<int> modelKeys;
   for (auto& [mk, mv] : model) {
      modelKeys.push_back(mk);
      EXPECT_EQ(*t.find(mk), mv);
   }
   EXPECT_EQ(keysOf(t), modelKeys);
}

} // namespace
