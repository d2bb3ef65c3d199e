#include "norv/LogHandle.h"
#include "norv/Errors.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Norv::LogHandle;

constexpr const char* kIpv6Format =
    "IPv6 address %s with most significant 96 bits masked is not supported in ACL rules.";

struct Counted {
   static inline int texts = 0;
   std::string text() const {
      ++texts;
      return "counted";
   }
};

class LogHandleTest : public ::testing::Test {
protected:
   void SetUp() override {
      LogHandle::sinkIs([this](const LogHandle& handle, const std::string& message) {
         received_.emplace_back(handle.name(), message);
      });
      LogHandle::timeSourceIs([this] { return now_; });
   }
   void TearDown() override {
      LogHandle::sinkIs(nullptr);
      LogHandle::timeSourceIs(nullptr);
   }
   // Logs one message and tells whether it reached the sink.
   bool passes(LogHandle& handle, double at) {
      now_ = at;
      const auto before = received_.size();
      handle.log(at);
      return received_.size() == before + 1;
   }

   std::vector<std::pair<std::string, std::string>> received_;
   double now_ = 1000.0;
};

TEST_F(LogHandleTest, FormatPutsArgumentTextsIntoPercentS) {
   LogHandle mask{"ACL_UNSUPPORTED_IPV6_MASK", 3, kIpv6Format, "why", "what to do", 0.0, 1.0};
   mask.log("2001:db8::1");
   ASSERT_EQ(received_.size(), 1u);
   EXPECT_EQ(received_[0].first, "ACL_UNSUPPORTED_IPV6_MASK");
   EXPECT_EQ(received_[0].second, "IPv6 address 2001:db8::1 with most significant 96 bits "
                                  "masked is not supported in ACL rules.");

   const std::string args[] = {"7", "true", "x"};
   EXPECT_EQ(LogHandle::formatted("%s of %s", args, 2), "7 of true");
   EXPECT_EQ(LogHandle::formatted("100%% of %s%s", args, 2), "100% of 7true");
   EXPECT_EQ(LogHandle::formatted("%s and %s", args, 1), "7 and (missing)");
   EXPECT_EQ(LogHandle::formatted("only %d", args, 3), "only %d [7, true, x]");
   EXPECT_EQ(LogHandle::formatted("ends in %", args, 0), "ends in %");
   EXPECT_EQ(LogHandle::formatted("%%s is %s", args, 1), "%s is 7");

   LogHandle mixed{"MIXED", 6, "%s/%s/%s/%s", "", "", 0.0, 1.0};
   mixed.log(-5, 2.5, false, Counted{});
   EXPECT_EQ(received_.back().second, "-5/2.5/false/counted");
}

TEST_F(LogHandleTest, DefaultSinkWritesNamedLineToStderrAndCounts) {
   LogHandle::sinkIs(nullptr);
   LogHandle full{"ACL_TABLE_FULL", 2, "table %s is full", "", "", 0.0, 1.0};
   ::testing::internal::CaptureStderr();
   full.log("ingress");
   full.log(4);
   EXPECT_EQ(::testing::internal::GetCapturedStderr(),
             "%ACL_TABLE_FULL: table ingress is full\n%ACL_TABLE_FULL: table 4 is full\n");
   EXPECT_EQ(full.loggedCount(), 2u);
   EXPECT_EQ(full.suppressedCount(), 0u);
}

TEST_F(LogHandleTest, RateLimitIsATokenBucket) {
   // One token back every 10 s, at most 2 held.
   LogHandle flap{"PORT_FLAP", 4, "t %s", "", "", 10.0, 2.0};
   EXPECT_TRUE(passes(flap, 0));
   EXPECT_TRUE(passes(flap, 0));
   EXPECT_FALSE(passes(flap, 0));
   EXPECT_FALSE(passes(flap, 5));
   EXPECT_TRUE(passes(flap, 10)); // two half tokens
   EXPECT_FALSE(passes(flap, 15));
   EXPECT_TRUE(passes(flap, 20));
   // A long quiet spell refills no more than the burst.
   EXPECT_TRUE(passes(flap, 1000));
   EXPECT_TRUE(passes(flap, 1000));
   EXPECT_FALSE(passes(flap, 1000));
   EXPECT_EQ(flap.loggedCount(), 6u);
   EXPECT_EQ(flap.suppressedCount(), 4u);

   // A burst below one still lets one message through per interval.
   LogHandle sparse{"SPARSE", 4, "t %s", "", "", 60.0, 0.0};
   EXPECT_TRUE(passes(sparse, 0));
   EXPECT_FALSE(passes(sparse, 30));
   EXPECT_TRUE(passes(sparse, 60));
}

TEST_F(LogHandleTest, RateLimitEdges) {
   int clockReads = 0;
   LogHandle::timeSourceIs([&] {
      ++clockReads;
      return now_;
   });
   LogHandle chatty{"CHATTY", 7, "%s", "", "", 0.0, 1.0};
   for (int i = 0; i < 1000; ++i)
      chatty.log(i);
   EXPECT_EQ(chatty.loggedCount(), 1000u);
   EXPECT_EQ(clockReads, 0) << "an unlimited handle does not read the clock";

   // A clock stepping back grants nothing, and the lost time is not counted twice.
   LogHandle once{"ONCE", 4, "%s", "", "", 10.0, 1.0};
   EXPECT_TRUE(passes(once, 100));
   EXPECT_FALSE(passes(once, 50));
   EXPECT_FALSE(passes(once, 105));
   EXPECT_TRUE(passes(once, 110));

   // Suppressed messages do not pay for their arguments' text.
   Counted::texts = 0;
   once.log(Counted{});
   EXPECT_EQ(Counted::texts, 0);
   EXPECT_EQ(once.suppressedCount(), 3u);
}

TEST_F(LogHandleTest, ConstructorRejectsWhatCannotBeRight) {
   EXPECT_THROW((LogHandle{nullptr, 3, "f", "", "", 0, 1}), Norv::RangeError);
   EXPECT_THROW((LogHandle{"N", 3, nullptr, "", "", 0, 1}), Norv::RangeError);
   EXPECT_THROW((LogHandle{"N", 8, "f", "", "", 0, 1}), Norv::RangeError);
   EXPECT_THROW((LogHandle{"N", -1, "f", "", "", 0, 1}), Norv::RangeError);
   EXPECT_THROW((LogHandle{"N", 3, "f", "", "", -1, 1}), Norv::RangeError);
   EXPECT_THROW((LogHandle{"N", 3, "f", "", "", 0, -1}), Norv::RangeError);
   const LogHandle ok{"N", 0, "f", nullptr, nullptr, 0.5, 3};
   EXPECT_EQ(ok.explanation(), "");
   EXPECT_EQ(ok.rateLimitInterval(), 0.5);
   EXPECT_EQ(ok.rateLimitBurst(), 3.0);
}

} // namespace
