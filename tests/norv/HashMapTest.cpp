#include "norv/HashMap.h"
#include "tests/norv/MapKeys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using Map = Norv::HashMap<uint32_t, int>;

using NorvTest::keysOf;

// Ascending by mirrored hash: the order every walk must produce.
template <class K>
std::vector<K> hashOrder(std::vector<K> keys) {
   Norv::Hash<K> h;
   std::stable_sort(keys.begin(), keys.end(), [&](const K& a, const K& b) {
      return Norv::reverseBits(h(a)) < Norv::reverseBits(h(b));
   });
   return keys;
}

TEST(Hash, MirroringAndItsOrder) {
   EXPECT_EQ(Norv::reverseBits(1), size_t{1} << 63);
   EXPECT_EQ(Norv::reverseBits(0x00000000000000F0ull), 0x0F00000000000000ull);
   EXPECT_EQ(Norv::reverseBits(0x8000000000000001ull), 0x8000000000000001ull);
   std::mt19937_64 rng(7);
   for (int i = 0; i < 1000; ++i) {
      const size_t a = rng(), b = i % 3 ? rng() : a ^ (size_t{1} << (i % 64));
      EXPECT_EQ(Norv::reverseBits(Norv::reverseBits(a)), a);
      EXPECT_EQ(Norv::reversedLess(a, b), Norv::reverseBits(a) < Norv::reverseBits(b));
   }
   EXPECT_FALSE(Norv::reversedLess(5, 5));
}

struct Named {
   int id;
   size_t hash() const { return static_cast<size_t>(id) * 3; }
};
enum class Colour : uint8_t { Red = 9 };

TEST(Hash, KeyKinds) {
   EXPECT_EQ(Norv::Hash<uint32_t>{}(42), 42u);
   EXPECT_EQ(Norv::Hash<int>{}(-1), ~size_t{0});
   EXPECT_EQ(Norv::Hash<Colour>{}(Colour::Red), 9u);
   EXPECT_EQ(Norv::Hash<Named>{}(Named{5}), 15u);
   EXPECT_EQ(Norv::Hash<std::string>{}("abc"), std::hash<std::string>{}("abc"));
}

TEST(HashMap, IterationFollowsMirroredHash) {
   Map m;
   for (uint32_t k : {3u, 1u, 0u, 2u})
      m.insert(k, 0);
   EXPECT_EQ(keysOf(m), (std::vector<uint32_t>{0, 2, 1, 3}));

   // The order holds before and after the table grows, whatever the insertion order.
   std::mt19937 rng(1);
   std::vector<uint32_t> keys;
   for (int i = 0; i < 5; ++i)
      keys.push_back(rng());
   Map big;
   for (uint32_t k : keys)
      big.insert(k, 0);
   EXPECT_EQ(keysOf(big), hashOrder(keys));
   for (int i = 0; i < 3000; ++i)
      keys.push_back(i % 2 ? rng() : i);
   for (uint32_t k : keys)
      big.insert(k, 0);
   std::sort(keys.begin(), keys.end());
   keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
   EXPECT_EQ(keysOf(big), hashOrder(keys));
   std::shuffle(keys.begin(), keys.end(), rng);
   Map shuffled;
   for (uint32_t k : keys)
      shuffled.insert(k, 0);
   EXPECT_EQ(keysOf(shuffled), keysOf(big));

   Map large; // big enough for the walk to fetch ahead of itself
   std::vector<uint32_t> many;
   for (uint32_t k = 0; k < 70000; ++k)
      many.push_back(k * 5);
   for (uint32_t k : many)
      large.insert(k, 0);
   EXPECT_EQ(keysOf(large), hashOrder(many));
}

TEST(HashMap, InsertFindErase) {
   Map m;
   EXPECT_EQ(m.find(1), nullptr);
   auto [p, fresh] = m.insert(1, 10);
   auto [q, again] = m.insert(1, 99); // present: left as it is
   EXPECT_TRUE(fresh);
   EXPECT_FALSE(again);
   EXPECT_EQ(q, p);
   EXPECT_EQ(*q, 10);
   EXPECT_EQ(m[2], 0);
   for (uint32_t k = 100; k < 1100; ++k)
      m.insert(k, 0);
   EXPECT_EQ(m.find(1), p); // values stay put while the table grows
   EXPECT_TRUE(m.erase(1));
   EXPECT_FALSE(m.contains(1));
   EXPECT_EQ(m.size(), 1001u);
   m.clear();
   EXPECT_EQ(m.begin(), m.end());
   m.insert(7, 7);
   EXPECT_EQ(keysOf(m), std::vector<uint32_t>{7});

   // Emptied key by key, with an iterator kept on the last member, then refilled.
   auto kept = m.iteratorAt(7);
   EXPECT_TRUE(m.erase(7));
   std::vector<uint32_t> keys;
   for (uint32_t k = 0; k < 3000; k += 3) {
      m.insert(k, static_cast<int>(k));
      keys.push_back(k);
   }
   EXPECT_EQ(kept.value(), 7);
   EXPECT_EQ(keysOf(m), hashOrder(keys));
   for (uint32_t k : keys)
      EXPECT_EQ(*m.find(k), static_cast<int>(k));
}

TEST(HashMap, IteratorSurvivesErasureOfItsMember) {
   Map m;
   for (uint32_t k = 0; k < 8; ++k)
      m.insert(k, static_cast<int>(k) * 10);
   // Order: 0 4 2 6 1 5 3 7.
   auto it = m.iteratorAt(2);
   EXPECT_TRUE(m.erase(2));
   EXPECT_EQ(it.key(), 2u);
   EXPECT_EQ(it.value(), 20);
   EXPECT_TRUE(m.erase(6)); // the next one goes too
   m.insert(2, -1);         // the same key again is a newer member, ordered after the old one
   EXPECT_EQ(it.value(),
             20); // the new member took the old one's place in memory, not its value
   ++it;
   EXPECT_EQ(it.key(), 2u);
   EXPECT_EQ(it.value(), -1);
   ++it;
   EXPECT_EQ(it.key(), 1u);

   m.erase(it); // through the iterator itself
   EXPECT_FALSE(m.contains(1));
   EXPECT_EQ(it.value(), 10);
   auto copy = it; // a copy holds the erased member too
   ++it;
   EXPECT_EQ(it.key(), 5u);
   EXPECT_EQ(copy.key(), 1u);
   ++copy;
   EXPECT_EQ(copy, it);
}

TEST(HashMap, IteratorMovesOnAfterErasureWithTheTableChanged) {
   Map m;
   for (uint32_t k = 0; k < 4; ++k)
      m.insert(k, 0);
   auto it = m.iteratorAt(2); // order 0 2 1 3
   m.erase(2);
   m.erase(1);
   for (uint32_t k = 4; k < 100; ++k)
      m.insert(k, 0); // grows, and 6, 10, ... land after 2
   std::vector<uint32_t> rest;
   for (++it; it; ++it)
      rest.push_back(it.key());
   auto all = keysOf(m);
   auto from = std::find_if(all.begin(), all.end(), [](uint32_t k) {
      return Norv::reverseBits(k) > Norv::reverseBits(2);
   });
   EXPECT_EQ(rest, std::vector<uint32_t>(from, all.end()));
}

TEST(HashMap, ClearWhileIterating) {
   Map m;
   for (uint32_t k = 0; k < 10; ++k)
      m.insert(k, 1);
   auto it = m.begin();
   ++it;
   auto other = it;
   m.clear();
   EXPECT_TRUE(m.empty());
   EXPECT_EQ(it.key(), 8u);
   EXPECT_EQ(other.value(), 1);
   ++it;
   EXPECT_FALSE(it);
   m.insert(3, 3);
   ++other; // resumes in the refilled map after where it stood
   EXPECT_EQ(other.key(), 3u);
}

TEST(HashMap, EraseEverythingWhileWalking) {
   for (int pattern = 0; pattern < 3; ++pattern) {
      Map m;
      for (uint32_t k = 0; k < 200; ++k)
         m.insert(k * 7, 0);
      const auto expected = keysOf(m);
      std::vector<uint32_t> seen;
      for (auto it = m.begin(); it; ++it) {
         seen.push_back(it.key());
         if (pattern == 0) m.erase(it.key());
         if (pattern == 1) m.erase(it);
         if (pattern == 2) {
            // erase the rest ahead of the walk, then itself
            for (auto ahead = it; ahead; ++ahead)
               m.erase(ahead.key());
         }
      }
      EXPECT_TRUE(m.empty());
      EXPECT_EQ(seen, pattern == 2 ? std::vector<uint32_t>{expected.front()} : expected);
   }
}

TEST(HashMap, InsertDuringWalkIsSeenOnlyAhead) {
   Map m;
   for (uint32_t k = 0; k < 64; k += 2)
      m.insert(k, 0);
   std::vector<uint32_t> seen;
   for (auto it = m.begin(); it; ++it) { // grows from 32 to 65 members on the way
      seen.push_back(it.key());
      if (it.key() % 2 == 0) {
         m.insert(it.key() + 65, 0); // odd: ordered after every even key
      } else {
         m.insert(1, 0); // odd too, but ordered before every other odd key
      }
   }
   auto all = keysOf(m);
   ASSERT_EQ(all.size(), 65u);
   all.erase(std::find(all.begin(), all.end(), 1u));
   EXPECT_EQ(seen, all);
}

TEST(HashMap, IteratorsOutliveOrFollowTheMap) {
   Map::Iterator kept;
   {
      Map m;
      m.insert(5, 50);
      kept = m.begin();
   }
   EXPECT_EQ(kept.key(), 5u);
   EXPECT_EQ(kept.value(), 50);

   Map a;
   for (uint32_t k = 0; k < 4; ++k)
      a.insert(k, 0);
   auto it = a.begin();
   Map b(std::move(a));
   b.erase(0); // reaches the iterator through the map that now holds its member
   EXPECT_EQ(it.key(), 0u);
   ++it;
   EXPECT_EQ(it.key(), 2u);
   Map::ConstIterator c = it;
   ++it;
   EXPECT_EQ(c.key(), 2u);
   EXPECT_EQ(it.key(), 1u);
}

TEST(HashMap, CopiesAndEquality) {
   Map a, b;
   for (uint32_t k = 0; k < 300; ++k)
      a.insert(k * 13, static_cast<int>(k));
   for (uint32_t k = 300; k-- > 0;)
      b.insert(k * 13, static_cast<int>(k));
   EXPECT_EQ(a, b);
   EXPECT_EQ(keysOf(a), keysOf(b));
   Map c = a;
   EXPECT_EQ(keysOf(c), keysOf(a));
   c[13] = -1;
   EXPECT_NE(c, a); // same keys, a value differs
   EXPECT_EQ(a[13], 1);
   c[13] = 1;
   c.insert(1, 0);
   EXPECT_NE(c, a); // a key more
   Map d;
   d = c;
   c.clear();
   EXPECT_EQ(d.size(), 301u);
   EXPECT_TRUE(d.erase(1));
   EXPECT_EQ(d, a);
}

TEST(HashMap, StringKeys) {
   Norv::HashMap<std::string, int> m;
   std::vector<std::string> keys;
   for (int i = 0; i < 500; ++i)
      keys.push_back("port-" + std::to_string(i));
   for (size_t i = 0; i < keys.size(); ++i)
      m.insert(keys[i], static_cast<int>(i));
   EXPECT_EQ(keysOf(m), hashOrder(keys));
   EXPECT_EQ(*m.find("port-42"), 42);
   EXPECT_TRUE(m.erase("port-42"));
   EXPECT_FALSE(m.contains("port-42"));
   EXPECT_EQ(m.size(), 499u);
}

// Every key hashes to one of two values, so members tie and fall back to insertion order.
struct Clumsy {
   size_t operator()(int k) const { return static_cast<size_t>(k % 2); }
};

TEST(HashMap, CollidingKeysKeepInsertionOrder) {
   Norv::HashMap<int, int, Clumsy> original;
   for (int k : {4, 3, 8, 1, 2})
      original.insert(k, k);
   auto m = original; // a copy carries the tie-breaking along
   EXPECT_EQ(keysOf(m), (std::vector<int>{4, 8, 2, 3, 1}));
   auto it = m.iteratorAt(8);
   m.erase(8);
   m.insert(6, 6); // colliders newer than the erased 8: ahead of the walk
   m.insert(8, 8);
   std::vector<int> rest;
   for (++it; it; ++it)
      rest.push_back(it.key());
   EXPECT_EQ(rest, (std::vector<int>{2, 6, 8, 3, 1}));
   EXPECT_EQ(keysOf(m), (std::vector<int>{4, 2, 6, 8, 3, 1}));
}

// Random operations checked against std::map, with walks that mutate the map as they go: a walk
// visits members in strictly ascending order, only live ones, and every member that was there
// throughout.
TEST(HashMap, AgreesWithModelUnderRandomOperations) {
   std::mt19937 rng(2024);
   Map m;
   std::map<uint32_t, int> model;
   auto key = [&] { return static_cast<uint32_t>(rng() % 512) * 0x01000193u; };
   for (int step = 0; step < 4000; ++step) {
      const uint32_t k = key();
      const int v = static_cast<int>(rng() % 1000);
      switch (rng() % 8) {
      case 0:
      case 1:
         EXPECT_EQ(m.insert(k, v).second, model.emplace(k, v).second);
         break;
      case 2:
         m[k] = v;
         model[k] = v;
         break;
      case 3:
      case 4:
         EXPECT_EQ(m.erase(k), model.erase(k) == 1);
         break;
      case 5: {
         const int* found = m.find(k);
         ASSERT_EQ(found != nullptr, model.count(k) == 1);
         if (found) {
            EXPECT_EQ(*found, model[k]);
         }
         break;
      }
      case 6: {
         std::map<uint32_t, int> before = model;
         std::vector<uint32_t> seen;
         for (auto it = m.begin(); it; ++it) {
            ASSERT_TRUE(m.contains(it.key()));
            seen.push_back(it.key());
            const uint32_t other = key();
            if (rng() % 2) {
               m.erase(other);
               model.erase(other);
               before.erase(other);
            } else {
               m.insert(other, 0);
               model.emplace(other, 0);
            }
            if (rng() % 4 == 0) {
               model.erase(it.key());
               m.erase(it);
            }
         }
         for (size_t i = 1; i < seen.size(); ++i) {
            EXPECT_LT(Norv::reverseBits(seen[i - 1]), Norv::reverseBits(seen[i]));
         }
         for (auto& [bk, bv] : before) {
            EXPECT_TRUE(std::count(seen.begin(), seen.end(), bk) == 1) << bk;
         }
         break;
      }
      default:
         if (rng() % 50 == 0) {
            m.clear();
            model.clear();
         }
      }
      ASSERT_EQ(m.size(), model.size());
   }
   std::vector<uint32_t> modelKeys;
   for (auto& [k, v] : model) {
      modelKeys.push_back(k);
      EXPECT_EQ(*m.find(k), v);
   }
   EXPECT_EQ(keysOf(m), hashOrder(modelKeys));
}

} // namespace
