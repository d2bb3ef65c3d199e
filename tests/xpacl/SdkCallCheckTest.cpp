#include "xpacl/sdk/XpXdkApiMacros.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

// Stands in for an SDK manager: answers with whatever status it is told to, and counts.
struct FakeMgr {
   XP_STATUS next = XP_NO_ERR;
   int calls = 0;
   XP_STATUS writeEntry(uint8_t, uint32_t, const void*) {
      ++calls;
      return next;
   }
   XP_STATUS lookup(uint32_t) { return writeEntry(0, 0, nullptr); }
};

// A key given through a macro: the error line shows it unexpanded, as written.
#define TEST_KEY 0x43

FakeMgr fake;
FakeMgr* l4PortMgr() {
   return &fake;
}

// clang-format off
// The call is spelled as the driver spells it, blanks and all; the error line must repeat it.
XP_STATUS writeL4Port(int& line) {
   uint8_t devId = 1;
   uint32_t entryIndex = 2;
   uint64_t l4PortEntry = 3;
   return line = __LINE__, XP_SDK_CALL(l4PortMgr()->writeEntry( devId, entryIndex, &l4PortEntry ));
}
XP_STATUS lookupKey(int& line) {
   return line = __LINE__, XP_SDK_LOOKUP(l4PortMgr()->lookup(TEST_KEY));
}
// clang-format on

// An extended regular expression matching exactly the text.
std::string literally(const std::string& text) {
   std::string re;
   for (char c : text) {
      if (std::string(".[]{}()\\*+?^$|").find(c) != std::string::npos) re += '\\';
      re += c;
   }
   return re;
}

// The two lines a refused call prints: the SDK error, then the assertion in the caller.
std::string refusal(int line, const std::string& callText, int status,
                    const std::string& function) {
   std::string at = "SdkCallCheckTest.cpp:" + std::to_string(line);
   return "^" + literally(at + " " + callText + " API ERROR " + std::to_string(status)) + "\n" +
          ".*" + literally(at + ": ") + ".*" + function + ".*" +
          literally(": Assertion `!(true)' failed.");
}

const char* const kWriteText = "((l4PortMgr()->writeEntry( devId, entryIndex, &l4PortEntry )))";
const char* const kLookupText = "((l4PortMgr()->lookup(TEST_KEY)))";

class SdkCallCheckTest : public ::testing::Test {
protected:
   void SetUp() override {
      GTEST_FLAG_SET(death_test_style, "threadsafe");
      fake = FakeMgr{};
      // Learn where the two call sites are.
      lookupKey(lookupLine);
      writeL4Port(writeLine);
      fake.calls = 0;
   }
   int writeLine = 0, lookupLine = 0, line = 0;
};

TEST_F(SdkCallCheckTest, AcceptedStatusesPassThroughOnce) {
   for (XP_STATUS status : {XP_NO_ERR, XP_ERR_KEY_EXISTS, XP_ERR_NO_CHANGE}) {
      fake.next = status;
      EXPECT_EQ(writeL4Port(line), status);
      EXPECT_EQ(lookupKey(line), status);
   }
   fake.next = XP_ERR_KEY_NOT_FOUND;
   EXPECT_EQ(lookupKey(line), XP_ERR_KEY_NOT_FOUND);
   EXPECT_EQ(fake.calls, 7);
   // The value can be used in place, and one expression may hold several checked calls.
   EXPECT_FALSE(XP_SDK_LOOKUP(fake.lookup(7)) != XP_ERR_KEY_NOT_FOUND);
   fake.next = XP_ERR_NO_CHANGE;
   EXPECT_EQ(XP_SDK_CALL(fake.lookup(7)) + XP_SDK_CALL(fake.lookup(8)), 2 * XP_ERR_NO_CHANGE);
   EXPECT_EQ(fake.calls, 10);
}

TEST_F(SdkCallCheckTest, KeyNotFoundStopsAPlainCall) {
   fake.next = XP_ERR_KEY_NOT_FOUND;
   EXPECT_DEATH(writeL4Port(line), refusal(writeLine, kWriteText, 43, "writeL4Port"));
}

TEST_F(SdkCallCheckTest, ErrorsStopBothForms) {
   for (int status : {1, 3, 8, 10, 41, 44, -1}) {
      fake.next = static_cast<XP_STATUS>(status);
      EXPECT_DEATH(writeL4Port(line), refusal(writeLine, kWriteText, status, "writeL4Port"));
      EXPECT_DEATH(lookupKey(line), refusal(lookupLine, kLookupText, status, "lookupKey"));
   }
}

} // namespace
