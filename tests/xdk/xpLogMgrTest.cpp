#include "xdk/xpLogMgr.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

class xpLogMgrTest : public ::testing::Test {
protected:
   void SetUp() override {
      ASSERT_NE(sink_, nullptr);
      log_->setSink(sink_);
      log_->clear();
   }
   void TearDown() override {
      log_->setSink(stderr);
      log_->clear();
      std::fclose(sink_);
   }
   std::string echoed() {
      std::rewind(sink_);
      std::string text;
      for (int c; (c = std::fgetc(sink_)) != EOF;)
         text.push_back(static_cast<char>(c));
      return text;
   }

   xpLogMgr* log_ = xpLogMgr::instance();
   std::FILE* sink_ = std::tmpfile();
};

TEST_F(xpLogMgrTest, KeepsAndEchoesEachMessageDeterministically) {
   std::string big(3000, 'x');
   log_->write("/a/b.cpp", 17, XP_LOG_MODULE_ACL, XP_LOG_WARNING, "port %d of %s\n", 5, "eth");
   log_->write("c.cpp", 4, XP_LOG_MODULE_IF, XP_LOG_DEBUG, "<%s>", big.c_str());
   EXPECT_EQ(echoed(), "b.cpp:17: WARNING: ACL: port 5 of eth\n"
                       "c.cpp:4: DEBUG: IF: <" +
                           big + ">\n");
   auto kept = log_->messages();
   ASSERT_EQ(kept.size(), 2u);
   EXPECT_EQ(kept[0].level, XP_LOG_WARNING);
   EXPECT_EQ(kept[0].module, XP_LOG_MODULE_ACL);
   EXPECT_EQ(kept[0].file + ":" + std::to_string(kept[0].line), "b.cpp:17");
   EXPECT_EQ(kept[0].text, "port 5 of eth\n");
   // Kept as written: only the echo completes the line.
   EXPECT_EQ(kept[1].text, "<" + big + ">");
}

TEST_F(xpLogMgrTest, NullSinkIsSilentAndOnlyTheMostRecentAreKept) {
   log_->setSink(nullptr);
   for (size_t i = 0; i < xpLogMgr::kMaxKept + 5; ++i)
      log_->write("x.cpp", 1, XP_LOG_MODULE_CORE, XP_LOG_ERROR, "%zu", i);
   log_->setSink(sink_);
   EXPECT_EQ(echoed(), "");
   auto kept = log_->messages();
   ASSERT_EQ(kept.size(), xpLogMgr::kMaxKept);
   EXPECT_EQ(kept.front().text, "5");
   EXPECT_EQ(kept.back().text, std::to_string(xpLogMgr::kMaxKept + 4));
   log_->clear();
   EXPECT_TRUE(log_->messages().empty());
}

} // namespace
