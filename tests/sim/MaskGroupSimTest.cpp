#include <gtest/gtest.h>

#include <sstream>

#include "sim/Sim.h"
#include "tests/sim/SimPlay.h"

namespace {

Outcome play(const std::string& text) {
   return ::play(text, "mg.scn");
}

// Input the driver would abort on is refused before anything is published.
TEST(MaskGroupSim, BadRulesAreScenarioErrors) {
   const std::string up = "device add 4\ndevice up 4\n";
   const std::pair<std::string, std::string> cases[] = {
       {"rule add 4 1 0 0 1 1 0 0 1 prio=8192\n",
        "mg.scn:3: bad priority 8192: larger than the chip's 8191\n"},
       {"rule add 4 1 0 0 1 1 0 0 5\n",
        "mg.scn:3: bad ACL type '5': the MG table takes types 1 to 4\n"},
       {"rule add 4 1 0 0 1 1 0 0 0\n",
        "mg.scn:3: bad ACL type '0': the MG table takes types 1 to 4\n"},
       {"rule add 4 9 0 0 1 1 0 0 1\n", "mg.scn:3: chip 4 has no stage 9\n"},
       {"rule add 4 1 4 0 1 1 0 0 1\n", "mg.scn:3: bad way '4': larger than 3\n"},
       {"rule add 4 1 0 8192 1 1 0 0 1\n",
        "mg.scn:3: bad hash index '8192': larger than 8191\n"},
       {"rule add 4 1 0 0 1 1 0 0 1 colour=red\n",
        "mg.scn:3: unknown option 'colour' (try 'help')\n"},
       {"rule add 4 1 0 0 1 1 0 0 1 match=tos\n", "mg.scn:3: bad match field 'tos': ttl, frag, "
                                                  "proto, sport, dport or est, joined by +\n"},
       {"rule add 4 1 0 0 1 1 0 0 1 sip=0x10000\n",
        "mg.scn:3: bad sip '0x10000': larger than 65535\n"},
       {"rule add 5 1 0 0 1 1 0 0 1\n",
        "mg.scn:3: unknown chip 5: no such device (use 'device add')\n"},
       {"rule remove 4 1 0 0\n", "mg.scn:3: chip 4 has no rule at stage 1 way 0 index 0\n"},
       {"rule count 4 1 0 0 1\n",
        "mg.scn:3: the chip holds no entry at stage 1 way 0 index 0\n"},
   };
   for (const auto& [line, expected] : cases) {
      const Outcome r = play(up + line);
      EXPECT_FALSE(r.ok) << line;
      EXPECT_EQ(r.err, expected) << line;
   }
}

TEST(MaskGroupSim, PlacingNeedsAnUpChipAndAFreeWay) {
   Outcome r = play("device add 4\nrule place 4 1 1 1 0 0 1\n");
   EXPECT_EQ(r.err, "mg.scn:2: chip 4 is not up: its stages are not declared\n");
   r = play("device add 4\ndevice up 4\ndevice down 4\nrule place 4 1 1 1 0 0 1\n");
   EXPECT_EQ(r.err, "mg.scn:4: chip 4 is not up: its stages are not declared\n");
   const std::string place = "rule place 4 1 1 1 0 0 1 sip=3\n";
   r = play("device add 4\ndevice up 4\n" + place + place + place + place + place);
   EXPECT_FALSE(r.ok);
   EXPECT_EQ(r.err.rfind("mg.scn:7: no room for rule 1 at stage 1: every way is taken where it "
                         "hashes (way:index 0:",
                         0),
             0u)
       << r.err;
   // Each of the four placements took another way.
   for (const char* way : {"way 0", "way 1", "way 2", "way 3"})
      EXPECT_NE(r.out.find(way), std::string::npos) << r.out;
}

TEST(MaskGroupSim, CountedHitsShowAfterThePoll) {
   const Outcome r = play("device add 4\ndevice up 4\n"
                          "rule add 4 1 0 7 2 3 0 0 1 count=on\n"
                          "rule count 4 1 0 7 9\n"
                          "show counters 4\nclock +1\nshow counters 4\n");
   ASSERT_TRUE(r.ok) << r.err;
   EXPECT_NE(r.out.find("list 2 in rule 3 counted, delta 0\nclock 1\n"), std::string::npos)
       << r.out;
   EXPECT_NE(r.out.find("list 2 in rule 3 counted, delta 9\n"), std::string::npos) << r.out;
}

} // namespace
