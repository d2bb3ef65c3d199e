#include "norv/Trace.h"
#include "norv/Errors.h"
#include "norv/Ribbonlog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

NORV_TRACE_HANDLE("TraceTest");

namespace {

Norv::TraceHandle otherHandle{"TraceTestOther"};

using Norv::Ribbonlog;
using Norv::Trace;
using Norv::TraceHandle;

enum class Color { Red, Blue };
[[maybe_unused]] const char* norvEnumName(Color c) {
   return c == Color::Red ? "red" : "blue";
}

// Counts how often the trace asks for its text.
struct Counted {
   static inline int texts = 0;
   std::string text() const {
      ++texts;
      return "counted";
   }
};

std::uint32_t textLevels(const TraceHandle& h) {
   std::uint32_t mask = 0;
   for (int level = 0; level < TraceHandle::kLevels; ++level) {
      EXPECT_EQ(h.enabled(level), h.textEnabled(level)) << "ring buffer is off";
      if (h.textEnabled(level)) mask |= 1u << level;
   }
   return mask;
}

std::vector<std::string> lines(const std::string& text) {
   std::vector<std::string> out;
   std::istringstream in(text);
   for (std::string line; std::getline(in, line);)
      out.push_back(line);
   return out;
}

std::string readAll(std::FILE* file) {
   std::fflush(file);
   std::rewind(file);
   std::string text;
   for (int c; (c = std::fgetc(file)) != EOF;)
      text += static_cast<char>(c);
   return text;
}

class TraceTest : public ::testing::Test {
protected:
   void SetUp() override {
      reset();
      sink_ = std::tmpfile();
      ASSERT_NE(sink_, nullptr);
      Trace::textSinkIs(sink_);
   }
   void TearDown() override {
      reset();
      Trace::textSinkIs(nullptr);
      std::fclose(sink_);
   }
   static void reset() {
      ASSERT_EQ(Trace::configure(""), "");
      Ribbonlog::enabledIs(false);
      Ribbonlog::capacityIs(Ribbonlog::kDefaultCapacity);
   }
   // What the text sink has received so far.
   std::string output() { return readAll(sink_); }
   std::string dumped() {
      std::ostringstream out;
      Ribbonlog::dump(out);
      return out.str();
   }

   std::FILE* sink_ = nullptr;
};

TEST_F(TraceTest, ConfigureEnablesExactlyTheLevelsNamed) {
   const struct {
      const char* setting;
      std::uint32_t mine, other;
   } cases[] = {
       {"TraceTest/3", 1u << 3, 0},
       {"TraceTest/2-4", 0b11100, 0},
       {"TraceTest/06-9", 0x3c0, 0},
       {" TraceTest / 7 , TraceTestOther/1-1 ", 1u << 7, 1u << 1},
       {"TraceTest/1,TraceTest/5-6", 0b1100010, 0},
       {"TraceTestOther", 0, 0x3ff},
       {"*/0-1", 0b11, 0b11},
       {"*/8,TraceTest/0", 0x101, 0x100},
       {" ", 0, 0},
   };
   for (const auto& c : cases) {
      SCOPED_TRACE(c.setting);
      ASSERT_EQ(Trace::configure(c.setting), "");
      EXPECT_EQ(textLevels(norvTraceHandle_), c.mine);
      EXPECT_EQ(textLevels(otherHandle), c.other);
   }
   ASSERT_EQ(Trace::configure("*"), "");
   EXPECT_FALSE(norvTraceHandle_.enabled(-1));
   EXPECT_FALSE(norvTraceHandle_.enabled(10));
}

TEST_F(TraceTest, BadSpecsGiveClearMessagesAndChangeNothing) {
   ASSERT_EQ(Trace::configure("TraceTest/4"), "");
   const std::pair<const char*, const char*> cases[] = {
       {"TraceTest/x", "bad trace level 'x' in 'TraceTest/x'"},
       {"TraceTest/10", "trace level 10 out of range 0-9 in 'TraceTest/10'"},
       {"TraceTest/2-12", "trace level 12 out of range 0-9 in 'TraceTest/2-12'"},
       {"TraceTest/5-3", "bad trace level range '5-3' in 'TraceTest/5-3'"},
       {"TraceTest/-1", "bad trace level '-1' in 'TraceTest/-1'"},
       {"TraceTest/", "bad trace level '' in 'TraceTest/'"},
       {"/3", "missing trace handle name in '/3'"},
       {"TraceTest/1,,TraceTestOther/2",
        "empty entry in trace setting 'TraceTest/1,,TraceTestOther/2'"},
       {"TraceTest/1,", "empty entry in trace setting 'TraceTest/1,'"},
       {"TraceTest/1,NoSuchHandle/3",
        "unknown trace handle 'NoSuchHandle' in 'TraceTest/1,NoSuchHandle/3'"},
   };
   for (const auto& [setting, message] : cases) {
      EXPECT_EQ(Trace::configure(setting), message);
      EXPECT_EQ(textLevels(norvTraceHandle_), 1u << 4) << setting;
   }
}

TEST_F(TraceTest, EnvironmentAndRegistry) {
   // The environment may name handles that register later; they pick their levels up.
   ASSERT_EQ(setenv("XPACL_TRACE", "TraceTestOther/6,TraceTestLater/2-3", 1), 0);
   EXPECT_EQ(Trace::configureFromEnvironment(), "");
   EXPECT_EQ(textLevels(otherHandle), 1u << 6);
   {
      const TraceHandle later{"TraceTestLater"};
      EXPECT_EQ(textLevels(later), 0b1100u);
      EXPECT_EQ(Trace::handle("TraceTestLater"), &later);
   }
   EXPECT_EQ(Trace::handle("TraceTestLater"), nullptr);
   ASSERT_EQ(setenv("XPACL_TRACE", "TraceTestOther/q", 1), 0);
   EXPECT_EQ(Trace::configureFromEnvironment(), "bad trace level 'q' in 'TraceTestOther/q'");
   ASSERT_EQ(unsetenv("XPACL_TRACE"), 0);
   EXPECT_EQ(Trace::configureFromEnvironment(), "");
   EXPECT_EQ(textLevels(otherHandle), 0u);

   const TraceHandle twin{"TraceTest"}; // a name used twice is listed once, first one found
   EXPECT_EQ(Trace::handle("TraceTest"), &norvTraceHandle_);
   const auto names = Trace::handleNames();
   EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
   EXPECT_EQ(std::count(names.begin(), names.end(), "TraceTest"), 1);
   EXPECT_EQ(std::count(names.begin(), names.end(), "TraceTestOther"), 1);
}

TEST_F(TraceTest, TextLineCarriesHandleLevelPlaceAndMessage) {
   ASSERT_EQ(Trace::configure("TraceTest/3"), "");
   const int line = __LINE__ + 1;
   NORV_TRACE(3, "value {} flag {} ratio {} name {} color {}", -7, true, 2.5,
              std::string("port1"), Color::Red);
   NORV_TRACE(4, "level four is off");
   NORV_TRACE(2, "level two is off");
   const int plainLine = __LINE__ + 1;
   NORV_TRACE(3, "no arguments {");
   EXPECT_EQ(output(), "TraceTest/3 TraceTest.cpp:" + std::to_string(line) +
                           " TestBody: value -7 flag true ratio 2.5 name port1 color red\n"
                           "TraceTest/3 TraceTest.cpp:" +
                           std::to_string(plainLine) + " TestBody: no arguments {\n");
}

TEST_F(TraceTest, NothingIsFormattedOrEvaluatedUnlessASinkWantsIt) {
   Counted::texts = 0;
   int evaluated = 0;
   auto argument = [&evaluated] {
      ++evaluated;
      return Counted{};
   };
   NORV_TRACE(5, "{}", argument());
   ASSERT_EQ(Trace::configure("TraceTest/5,TraceTestOther/0-9"), "");
   NORV_TRACE(6, "{}", argument());
   NORV_TRACE(4, "{}", argument());
   EXPECT_EQ(evaluated, 0);
   EXPECT_EQ(Counted::texts, 0);
   EXPECT_EQ(output(), "");

   NORV_TRACE(5, "{}", argument());
   EXPECT_EQ(Counted::texts, 1);
   EXPECT_EQ(Ribbonlog::recordCount(), 0u) << "ring buffer is off";

   // The ring buffer alone wants every level, but prints nothing.
   ASSERT_EQ(Trace::configure(""), "");
   const std::string printed = output();
   Ribbonlog::enabledIs(true);
   NORV_TRACE(9, "{}", argument());
   EXPECT_EQ(Counted::texts, 2);
   EXPECT_EQ(Ribbonlog::recordCount(), 1u);
   EXPECT_EQ(output(), printed);
   Ribbonlog::enabledIs(false);
   EXPECT_FALSE(norvTraceHandle_.enabled(9));
}

TEST_F(TraceTest, RingRegistersEachStatementOnce) {
   // Registration lasts for the process: the statements below register on the first run of
   // this test only, and a repeated run must find them registered already.
   static bool statementsRegistered = false;
   const std::size_t before = Ribbonlog::siteCount();
   NORV_TRACE(1, "never wanted {}", before);
   EXPECT_EQ(Ribbonlog::siteCount(), before);

   Ribbonlog::enabledIs(true);
   for (int i = 0; i < 5; ++i) {
      NORV_TRACE(1, "first {}", i);
      NORV_TRACE(7, "second");
      EXPECT_EQ(Ribbonlog::siteCount(), before + (statementsRegistered ? 0 : 2)) << i;
   }
   statementsRegistered = true;
   EXPECT_EQ(Ribbonlog::recordCount(), 10u);
}

TEST_F(TraceTest, RingDecodesToTheTextLines) {
   ASSERT_EQ(Trace::configure("TraceTest"), "");
   Ribbonlog::enabledIs(true);
   const char* none = nullptr;
   NORV_TRACE(0, "ints {} {} {} {}", std::numeric_limits<std::int64_t>::min(),
              std::numeric_limits<std::uint64_t>::max(), std::int8_t{-1}, 'A');
   NORV_TRACE(9, "doubles {} {} {}", 1e-300, -0.0, 0.1f);
   NORV_TRACE(5, "bools {} {}", true, false);
   NORV_TRACE(5, "texts '{}' {} {} {}", std::string(), "lit{}eral", none, Color::Blue);
   NORV_TRACE(5, "custom {}", Counted{});
   NORV_TRACE(5, "none");
   ASSERT_EQ(Ribbonlog::recordCount(), 6u);
   const std::string text = output();
   EXPECT_EQ(lines(text).size(), 6u);
   EXPECT_NE(text.find("ints -9223372036854775808 18446744073709551615 -1 65\n"),
             std::string::npos);
   EXPECT_NE(text.find("texts '' lit{}eral (null) blue\n"), std::string::npos);
   EXPECT_EQ(dumped(), text);

   std::FILE* file = std::tmpfile();
   ASSERT_NE(file, nullptr);
   Ribbonlog::dump(file);
   EXPECT_EQ(readAll(file), text);
   std::fclose(file);
}

TEST_F(TraceTest, RingWrapKeepsTheNewestRecordsInOrder) {
   Ribbonlog::capacityIs(Ribbonlog::kMinCapacity);
   Ribbonlog::enabledIs(true);
   // Uneven record sizes so that headers and values straddle the end of the ring; checking
   // after every record reads it in every position.
   for (int last = 0; last < 200; ++last) {
      NORV_TRACE(2, "n {} {}", last, std::string(last % 7, 'x'));
      const auto held = lines(dumped());
      ASSERT_EQ(held.size(), Ribbonlog::recordCount());
      for (std::size_t k = 0; k < held.size(); ++k) {
         const int i = last + 1 - static_cast<int>(held.size()) + static_cast<int>(k);
         ASSERT_NE(held[k].find(": n " + std::to_string(i) + " " + std::string(i % 7, 'x')),
                   std::string::npos)
             << held[k];
      }
   }
   EXPECT_GT(Ribbonlog::recordCount(), 5u);

   // A record exactly the size of the free space fits; one byte more pushes out the oldest.
   for (std::size_t extra : {0, 1}) {
      Ribbonlog::clear();
      const std::string text(100, 'x');
      NORV_TRACE(2, "fill {}", text);
      const std::size_t size = Ribbonlog::bytesUsed();
      NORV_TRACE(2, "fill {}", text);
      ASSERT_EQ(Ribbonlog::bytesUsed(), 2 * size);
      const std::size_t free = Ribbonlog::kMinCapacity - 2 * size;
      ASSERT_LT(free, size);
      NORV_TRACE(2, "fill {}", std::string(text.size() + free + extra - size, 'z'));
      EXPECT_EQ(Ribbonlog::recordCount(), 3 - extra);
      EXPECT_EQ(Ribbonlog::bytesUsed(), Ribbonlog::kMinCapacity + extra - extra * size);
      EXPECT_EQ(lines(dumped()).size(), 3 - extra);
   }

   Ribbonlog::clear();
   EXPECT_EQ(Ribbonlog::recordCount(), 0u);
   EXPECT_EQ(Ribbonlog::bytesUsed(), 0u);
   EXPECT_EQ(dumped(), "");
   NORV_TRACE(2, "after {} {}", 1, "clear");
   EXPECT_EQ(lines(dumped()).size(), 1u);
}

TEST_F(TraceTest, RingCutsLongTextAndSkipsWhatCannotFit) {
   EXPECT_THROW(Ribbonlog::capacityIs(Ribbonlog::kMinCapacity - 1), Norv::RangeError);
   Ribbonlog::enabledIs(true);
   const std::string longText(Ribbonlog::kMaxTextBytes + 100, 'y');
   NORV_TRACE(3, "long {}", longText);
   EXPECT_NE(dumped().find(": long " + std::string(Ribbonlog::kMaxTextBytes, 'y') + "\n"),
             std::string::npos);
   EXPECT_EQ(dumped().find(std::string(Ribbonlog::kMaxTextBytes + 1, 'y')), std::string::npos);

   Ribbonlog::capacityIs(Ribbonlog::kMinCapacity);
   NORV_TRACE(3, "short");
   NORV_TRACE(3, "long {}", longText);
   EXPECT_EQ(Ribbonlog::recordCount(), 1u);
   EXPECT_NE(dumped().find(": short\n"), std::string::npos);
}

TEST_F(TraceTest, RingTakesRecordsFromSeveralThreads) {
   Ribbonlog::enabledIs(true);
   auto work = [](int thread) {
      for (int i = 0; i < 2000; ++i)
         NORV_TRACE(4, "thread {} i {}", thread, i);
   };
   std::thread a(work, 0), b(work, 1);
   a.join();
   b.join();
   const auto held = lines(dumped());
   ASSERT_EQ(held.size(), 4000u);
   int next[2] = {0, 0};
   for (const auto& line : held) {
      const int thread = line.find("thread 1 ") != std::string::npos;
      EXPECT_TRUE(line.ends_with("thread " + std::to_string(thread) + " i " +
                                 std::to_string(next[thread]++)))
          << line;
   }
}

} // namespace
