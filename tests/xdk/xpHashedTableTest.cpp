#include "xdk/xpHashedTable.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

namespace {

struct Key {
   uint16_t a = 0;
   uint16_t b = 0;
   auto operator<=>(const Key&) const = default;
};
using Table = xpHashedTable<Key, uint32_t>;

// Every valid entry of the table, by key, checking on the way that each sits at one of its
// own places and that lookup finds it there.
std::map<Key, uint32_t> contents(const Table& t) {
   std::map<Key, uint32_t> out;
   t.forEachValid([&](uint32_t index, const Key& k, uint32_t v) {
      bool own = false;
      for (uint32_t w = 0; w < t.ways(); ++w)
         own |= t.place(k, w) == index;
      EXPECT_TRUE(own) << "entry at " << index << " is not at one of its places";
      uint32_t found = 0;
      EXPECT_EQ(t.lookup(k, found), XP_NO_ERR);
      EXPECT_EQ(found, index);
      EXPECT_TRUE(out.emplace(k, v).second) << "key held twice";
   });
   EXPECT_EQ(out.size(), t.count());
   return out;
}

TEST(xpHashedTable, FillsUpThenReportsFullAndChangesNothing) {
   Table t(16, 4);
   ASSERT_EQ(t.size(), 16u);
   std::map<Key, uint32_t> placed;
   uint16_t next = 0;
   XP_STATUS status = XP_NO_ERR;
   for (; next < 1000 && status == XP_NO_ERR; ++next) {
      uint32_t index = 0, rehash = 0;
      status = t.insert(Key{next, 7}, next, index, rehash);
      if (status == XP_NO_ERR) placed[Key{next, 7}] = next;
   }
   ASSERT_EQ(status, XP_ERR_TABLE_FULL);
   // Full well before every slot is used is possible, but a 4-way table with moves fills most.
   EXPECT_GE(t.count(), 10u);
   EXPECT_LE(t.count(), 16u);
   uint32_t index = 0, rehash = 0;
   EXPECT_EQ(t.insert(Key{uint16_t(next - 1), 7}, 1, index, rehash), XP_ERR_TABLE_FULL);
   EXPECT_EQ(index, Table::kNoIndex);
   EXPECT_EQ(contents(t), placed);
}

TEST(xpHashedTable, SameKeySameValueWritesNothingNewValueUpdatesInPlace) {
   Table t(64, 4);
   uint32_t i1 = 0, r1 = 0, i2 = 0, r2 = 0;
   ASSERT_EQ(t.insert(Key{1, 2}, 5, i1, r1), XP_NO_ERR);
   EXPECT_EQ(i1, r1);
   EXPECT_EQ(t.insert(Key{1, 2}, 5, i2, r2), XP_ERR_KEY_EXISTS);
   EXPECT_EQ(i2, i1);
   EXPECT_EQ(t.insert(Key{1, 2}, 6, i2, r2), XP_NO_ERR);
   EXPECT_EQ(i2, i1);
   EXPECT_EQ(t.at(i1)->value, 6u);
   EXPECT_EQ(t.count(), 1u);
}

TEST(xpHashedTable, InsertMovesAnOccupantAndReportsWhereItWent) {
   // Two ways of four: find a key whose places are both taken while an occupant of one of them
   // has a free place elsewhere.
   Table t(8, 2);
   std::mt19937 rng(3);
   bool sawMove = false;
   for (int round = 0; round < 200 && !sawMove; ++round) {
      t.resize(8, 2);
      std::map<Key, uint32_t> model;
      for (uint16_t k = 0; k < 8; ++k) {
         Key key{uint16_t(rng()), uint16_t(round)};
         uint32_t index = 0, rehash = 0;
         std::map<Key, uint32_t> before = contents(t);
         const bool wouldMove = t.insertWouldMove(key);
         XP_STATUS s = t.insert(key, k, index, rehash);
         EXPECT_EQ(wouldMove, s == XP_NO_ERR && index != rehash);
         if (s != XP_NO_ERR) continue;
         model[key] = k;
         EXPECT_EQ(t.at(index)->value, k);
         if (index != rehash) {
            sawMove = true;
            // The entry that sat at index now sits at rehashIndex, and nothing else moved.
            const Key& moved = t.at(rehash)->key;
            uint32_t where = 0;
            ASSERT_EQ(t.lookup(moved, where), XP_NO_ERR);
            EXPECT_EQ(where, rehash);
            EXPECT_EQ(before.at(moved), t.at(rehash)->value);
         }
         EXPECT_EQ(contents(t), model);
      }
   }
   EXPECT_TRUE(sawMove);
}

TEST(xpHashedTable, RemoveThenReAddAndBadIndexes) {
   Table t(32, 4);
   uint32_t index = 0, rehash = 0;
   ASSERT_EQ(t.insert(Key{9, 9}, 1, index, rehash), XP_NO_ERR);
   EXPECT_EQ(t.remove(index), XP_NO_ERR);
   EXPECT_EQ(t.remove(index), XP_ERR_NO_CHANGE);
   EXPECT_EQ(t.remove(32), XP_ERR_INVALID_INDEX);
   EXPECT_EQ(t.at(index), nullptr);
   uint32_t found = 0;
   EXPECT_EQ(t.lookup(Key{9, 9}, found), XP_ERR_KEY_NOT_FOUND);
   uint32_t again = 0;
   ASSERT_EQ(t.insert(Key{9, 9}, 2, again, rehash), XP_NO_ERR);
   EXPECT_EQ(again, index) << "an empty table places a key at its first place";
   EXPECT_EQ(t.count(), 1u);
   Table empty;
   EXPECT_EQ(empty.insert(Key{}, 0, index, rehash), XP_ERR_TABLE_FULL);
   EXPECT_EQ(empty.lookup(Key{}, found), XP_ERR_KEY_NOT_FOUND);
}

TEST(xpHashedTable, RandomOperationsAgreeWithAMapModel) {
   std::mt19937 rng(11);
   Table t(96, 4);
   std::map<Key, uint32_t> model;
   int fulls = 0;
   for (int step = 0; step < 20000; ++step) {
      Key key{uint16_t(rng() % 160), 0};
      const int op = int(rng() % 3);
      uint32_t index = 0, rehash = 0;
      if (op < 2) {
         const uint32_t value = rng() % 4;
         XP_STATUS s = t.insert(key, value, index, rehash);
         if (s == XP_ERR_TABLE_FULL) {
            ++fulls;
            ASSERT_FALSE(model.count(key)) << "a held key is always found, never full";
            ASSERT_GE(t.count(), 4u * 2) << "full only once each place is crowded";
            continue;
         }
         const bool same = model.count(key) && model[key] == value;
         ASSERT_EQ(s, same ? XP_ERR_KEY_EXISTS : XP_NO_ERR);
         model[key] = value;
      } else {
         XP_STATUS s = t.lookup(key, index);
         ASSERT_EQ(s, model.count(key) ? XP_NO_ERR : XP_ERR_KEY_NOT_FOUND);
         if (s == XP_NO_ERR) {
            ASSERT_EQ(t.remove(index), XP_NO_ERR);
            model.erase(key);
         }
      }
      if (step % 97 == 0) {
         ASSERT_EQ(contents(t), model);
      }
   }
   EXPECT_EQ(contents(t), model);
   EXPECT_GT(fulls, 0) << "the run should have reached a full table";
}

TEST(xpHashedTable, WaysSpreadKeysDifferently) {
   Table t(4096, 4);
   int same = 0;
   std::set<uint32_t> firstPlaces;
   for (uint16_t k = 0; k < 1000; ++k) {
      Key key{k, 1};
      const uint32_t p0 = t.place(key, 0), p1 = t.place(key, 1);
      same += (p0 % 1024) == (p1 % 1024);
      firstPlaces.insert(p0);
   }
   EXPECT_LT(same, 10);
   EXPECT_GT(firstPlaces.size(), 550u) << "a thousand keys in 1024 places spread widely";
}

} // namespace
