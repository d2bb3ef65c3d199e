#include <gtest/gtest.h>

#include <memory>

#include "norv/FreeList.h"

namespace {

struct Small : Norv::FreeListAllocated<Small> {
   virtual ~Small() = default;
   int value = 0;
};
// A derived class of another size than the one the list holds.
struct Larger : Small {
   char more[64] = {};
};

TEST(FreeList, AFreedObjectsBlockIsTheNextOnesAndOtherSizesUseTheHeap) {
   if (!Small::kPooled) GTEST_SKIP() << "blocks go back to the heap under the sanitizer";
   const size_t before = Small::freeCount();
   Small* a = new Small;
   void* const at = a;
   delete a;
   EXPECT_EQ(Small::freeCount(), before + 1);
   Small* b = new Small;
   EXPECT_EQ(static_cast<void*>(b), at);
   EXPECT_EQ(b->value, 0) << "a reused block is constructed afresh";
   EXPECT_EQ(Small::freeCount(), before);

   // Deleted through the base, a larger object gives its block back to the heap, not to the
   // list of the base's size.
   std::unique_ptr<Small> larger = std::make_unique<Larger>();
   larger.reset();
   EXPECT_EQ(Small::freeCount(), before);
   delete b;
}

} // namespace
