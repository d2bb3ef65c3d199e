#include <gtest/gtest.h>

#include "tests/sim/SimPlay.h"

namespace {

Outcome play(const std::string& text) {
   return ::play(text, "mgks.scn");
}

// What the driver would abort on, or would silently cut short, is refused with its line.
TEST(MgksSim, BadInputIsAScenarioError) {
   const std::string up = "device add 4\ndevice up 4\n";
   const std::pair<std::string, std::string> cases[] = {
       {"rulelist key 4 256 6 1 in 7\n",
        "mgks.scn:3: bad hardware ACL index '256': larger than 255\n"},
       {"rulelist key 4 1 6 1 sideways 7\n",
        "mgks.scn:3: bad direction 'sideways': in or out\n"},
       {"rulelist key 4 1 6 1 in 256\n",
        "mgks.scn:3: bad rule list id '256': larger than 255\n"},
       {"rulelist key 64 1 6 1 in 7\n", "mgks.scn:3: bad chip id '64': larger than 63\n"},
       {"rulelist unkey 4 1 6 1 in\n", "mgks.scn:3: chip 4 has no key 1 6 1 in\n"},
       {"rulelist mg 4 7 1 129 0\n",
        "mgks.scn:3: bad source mask length '129': larger than 128\n"},
       {"rulelist unmg 4 7\n", "mgks.scn:3: chip 4 has no mask groups for rule list 7\n"},
       {"rulelist mg 4 7 1 0 0\nrulelist unmg 4 7 2\n",
        "mgks.scn:4: rule list 7 on chip 4 has no mask group at stage 2\n"},
       {"rulelist key 4 1 6 1 in 7 extra\n", "mgks.scn:3: unexpected 'extra'\n"},
       {"rulelist key 4 1 6 1 in 7\nrulelist key 4 1 17 1 in 8\n",
        "mgks.scn:4: key 1 17 1 in would share its MGKS entry with key 1 6 1 in\n"},
   };
   for (const auto& [line, expected] : cases) {
      const Outcome r = play(up + line);
      EXPECT_FALSE(r.ok) << line;
      EXPECT_EQ(r.err, expected) << line;
   }
}

TEST(MgksSim, EntriesFollowKeysAndClearOnRemoval) {
   const Outcome r = play("device add 4\ndevice up 4\n"
                          "rulelist key 4 9 6 2 out 3\n"
                          "rulelist mg 4 3 1 0 0\n"
                          "show mgks 4 1\n"
                          "rulelist unkey 4 9 6 2 out\n"
                          "show mgks 4 1\n");
   ASSERT_TRUE(r.ok) << r.err;
   EXPECT_NE(r.out.find("|    9|      1|      1|        1|        0|"), std::string::npos)
       << r.out;
   EXPECT_NE(r.out.find("Number of valid entries in range of 0 to 1024 : 1\n"),
             std::string::npos);
   EXPECT_NE(r.out.find("Number of valid entries in range of 0 to 1024 : 0\n"),
             std::string::npos);
}

} // namespace
