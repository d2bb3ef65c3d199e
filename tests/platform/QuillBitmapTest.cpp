#include <gtest/gtest.h>

#include "platform/Quill.h"

namespace {

// Sizes on both sides of word and summary boundaries.
class QuillBitmapTest : public ::testing::TestWithParam<uint32_t> {};

TEST_P(QuillBitmapTest, FillsLowestFirstAndFindsHolesAgain) {
   const uint32_t n = GetParam();
   Quill::Bitmap map(n);
   for (uint32_t i = 0; i < n; ++i) {
      ASSERT_EQ(map.findClearBitInRange(0, n, 0), i);
      map.setBit(i);
   }
   EXPECT_EQ(map.findClearBitInRange(0, n, 0), Quill::Bitmap::npos);
   EXPECT_EQ(map.count(), n);
   // Holes are found lowest first, also past full words and summary words, and within bounds.
   for (uint32_t hole : {n - 1, n / 2, 0u})
      map.clearBit(hole);
   EXPECT_EQ(map.findClearBitInRange(0, n, 0), 0u);
   EXPECT_EQ(map.findClearBitInRange(1, n, 0), n / 2);
   EXPECT_EQ(map.findClearBitInRange(n / 2 + 1, n - 1, 0), Quill::Bitmap::npos);
   map.setBit(0);
   const auto saved = map.words();
   map.clearBitsInRange(1, n + 100); // clipped to the size
   EXPECT_EQ(map.count(), 1u);
   EXPECT_EQ(map.findClearBitInRange(0, n, 0), 1u);
   map.wordsIs(saved);
   EXPECT_EQ(map.findClearBitInRange(1, n, 0), n / 2);
}

INSTANTIATE_TEST_SUITE_P(Sizes, QuillBitmapTest,
                         ::testing::Values(63u, 64u, 65u, 4096u, 4097u, 262144u + 5));

TEST(QuillBitmap, EmptyMapHasNoIndex) {
   Quill::Bitmap map(0);
   EXPECT_EQ(map.findClearBitInRange(0, 10, 0), Quill::Bitmap::npos);
   EXPECT_EQ(map.count(), 0u);
}

} // namespace
