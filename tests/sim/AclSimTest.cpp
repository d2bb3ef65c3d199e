// ACLs that the chip cannot take: each is refused with a message, and the chip keeps the state
// it had, table for table.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <sstream>

#include "sim/Sim.h"
#include "sim/acl/AclCompiler.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpMgksMgr.h"

namespace {

// One simulator played step by step, so that a refused command can be followed by more.
class AclChip : public ::testing::Test {
protected:
   void SetUp() override {
      ASSERT_TRUE(run("device add 1\ndevice up 1\nintf add Ethernet1 1\nintf add Ethernet2 1\n"
                      "hwacl port Ethernet1 1\nhwacl port Ethernet2 2\n"
                      "hwacl vif Ethernet2 10 502\n"
                      "acl base rule 10 deny count ip src 10.0.0.0/8 proto tcp dport 22\n"
                      "acl base rule 20 permit ipv6 dst 2001:db8::/32\n"
                      "acl base bind 1 intf Ethernet1 in\n"))
          << err_.str();
   }
   bool run(const std::string& text) {
      err_.str("");
      out_.str("");
      return sim_.runText("t.scn", text, err_);
   }
   // Every table the ACL layer writes, as the chip holds it.
   std::string chipTables() {
      std::string text;
      for (int stage = 0; stage < 6; ++stage)
         text += "show mg 1 " + std::to_string(stage) + "\nshow mgks 1 " +
                 std::to_string(stage) + "\n";
      EXPECT_TRUE(run(text + "show mgks-status 1\nshow hwacl 1\nshow port-acl 1\nshow evif 1\n"
                             "show prefix src4 1\nshow prefix src6 1\nshow prefix dst4 1\n"
                             "show prefix dst6 1\nshow l4 src 1\nshow l4 dst 1\n"
                             "show seprofile 1\n"))
          << err_.str();
      return out_.str();
   }
   // The command is refused with `message` and leaves every table as it was.
   void expectRefused(const std::string& command, const std::string& message) {
      const std::string before = chipTables();
      const auto aclsBefore = Sim::Acl::acls(sim_).at("base").rules.size();
      EXPECT_FALSE(run(command));
      EXPECT_EQ(err_.str(), "t.scn:1: " + message + "\n");
      EXPECT_EQ(chipTables(), before);
      EXPECT_EQ(Sim::Acl::acls(sim_).at("base").rules.size(), aclsBefore);
   }
   std::ostringstream out_, err_;
   Sim::Simulator sim_{out_};
};

TEST_F(AclChip, MoreMaskGroupsThanStagesIsRefused) {
   ASSERT_TRUE(run("acl base rule 30 deny ip ttl 5\nacl base rule 40 deny ip proto 6\n"
                   "acl base rule 50 deny ip fragment\nacl base rule 60 deny ip dst 1.0.0.0/8\n"
                   "acl base rule 70 deny ip src 2.0.0.0/8\n"))
       << err_.str();
   expectRefused(
       "acl base rule 80 deny ip src 3.0.0.0/8 dst 4.0.0.0/8",
       "chip 1: ACL base (in, port, IPv4) needs 7 mask groups: more than the chip's 6 "
       "stages");
   // A rule of a group the list has fits, and is placed.
   EXPECT_TRUE(run("acl base rule 80 deny ip src 3.0.0.0/8\nshow acl base\n")) << err_.str();
   EXPECT_NE(out_.str().find("rule 80 deny ip src 3.0.0.0/8\n    chip 1 stage"),
             std::string::npos)
       << out_.str();
}

TEST_F(AclChip, EveryWayTakenIsRefused) {
   // Rule list 3 (the next ACL's IPv4 list) with source label 1 (10.0.0.0/8) fills the four
   // ways where its entry hashes at stage 0.
   ASSERT_TRUE(run("rule place 1 0 3 900 16 0 1 sip=1\nrule place 1 0 3 901 16 0 1 sip=1\n"
                   "rule place 1 0 3 902 16 0 1 sip=1\nrule place 1 0 3 903 16 0 1 sip=1\n"
                   "acl w rule 10 deny ip src 10.0.0.0/8\n"))
       << err_.str();
   const std::string before = chipTables();
   EXPECT_FALSE(run("acl w bind 1 intf Ethernet2 in"));
   EXPECT_EQ(err_.str().rfind("t.scn:1: chip 1: no room for rule 10 of ACL w at stage 0: every "
                              "way is taken where it hashes (way:index 0:",
                              0),
             0u)
       << err_.str();
   EXPECT_EQ(chipTables(), before);
   EXPECT_TRUE(Sim::Acl::acls(sim_).at("w").bindings.empty());
}

TEST_F(AclChip, FullTransformTableIsRefusedAndTheAttemptRolledBack) {
   std::string rules;
   for (uint32_t i = 0; i < 4096; ++i) {
      rules += "acl big rule " + std::to_string(i + 1) + " deny ip src 11." +
               std::to_string(i >> 8) + "." + std::to_string(i & 255) + ".1/32\n";
   }
   ASSERT_TRUE(run(rules)) << err_.str();
   const std::string before = chipTables();
   EXPECT_FALSE(run("acl big bind 1 intf Ethernet2 out"));
   EXPECT_EQ(err_.str(), "t.scn:1: chip 1: the source IP transform table cannot take the 4097 "
                         "prefixes it needs (the driver refused the request)\n");
   EXPECT_EQ(chipTables(), before);
   // The indexes of the prefixes in force are theirs again: a new prefix is written without
   // disturbing them.
   ASSERT_TRUE(run("acl base rule 30 permit ip src 12.0.0.0/8\nshow prefix src4 1\n"))
       << err_.str();
   EXPECT_NE(out_.str().find("|    0 |                                         10.0.0.0/8 | "
                             "0000000001 |\n|    1 |                                         "
                             "12.0.0.0/8 | 0000000002 |"),
             std::string::npos)
       << out_.str();
}

TEST_F(AclChip, FullKeySelectTableIsRefused) {
   // Stage 0's MGKS table (table 1) filled behind the driver's back.
   auto* mgks = xpAclPl::instance()->getMgr<xpMgksMgr>(xpPrimitiveMgrBase<xpMgksMgr>::idAt(0));
   std::mt19937 rng(3);
   for (int i = 0; i < 4096; ++i) {
      xpMgksEntry e;
      const uint32_t match = static_cast<uint32_t>(rng()) | 0x80000000u;
      std::memcpy(e.bytes, &match, sizeof match);
      uint32_t index = 0, rehash = 0;
      mgks->addEntry(1, 1, &e, index, rehash);
   }
   ASSERT_TRUE(run("acl w rule 10 deny ip src 10.0.0.0/8\n")) << err_.str();
   const std::string before = chipTables();
   EXPECT_FALSE(run("acl w bind 1 intf Ethernet2 in"));
   EXPECT_EQ(err_.str().rfind("t.scn:1: no room for key 2 0 1 in at stage 0: ", 0), 0u)
       << err_.str();
   EXPECT_EQ(chipTables(), before);
   EXPECT_TRUE(Sim::Acl::acls(sim_).at("w").bindings.empty());
}

TEST_F(AclChip, BadBindingsAndEditsAreNamed) {
   const std::pair<const char*, const char*> bad[] = {
       {"acl base bind 1 intf Ethernet1 in",
        "ACL base is already bound to chip 1 intf Ethernet1 in"},
       {"acl other bind 1 intf Ethernet1 in",
        "ACL base is already bound to chip 1 intf Ethernet1 in"},
       {"acl base bind 1 intf Vlan10 in",
        "Vlan10 is a VLAN: bind its routed ACL with 'vlan 10'"},
       {"acl base bind 1 port Ethernet1 in", "bad binding 'port': expected intf or vlan"},
       {"acl base bind 1 vlan 10 both", "bad direction 'both': expected in or out"},
       {"acl base bind 7 vlan 10 in", "unknown chip 7: no such device (use 'device add')"},
       {"acl base unbind 1 vlan 10 in", "ACL base is not bound to chip 1 vlan 10 in"},
       {"acl base no-rule 15", "ACL base has no rule 15"},
       {"acl nobody remove", "no ACL named 'nobody'"},
       {"acl base rename x",
        "unknown acl verb 'rename': expected rule, no-rule, bind, unbind or "
        "remove"},
       {"acl base rule 5 permit ip proto udp established", "established needs proto tcp"},
       {"show acl nobody", "no ACL named 'nobody'"},
   };
   for (const auto& [command, message] : bad)
      expectRefused(command, message);
}

// The chip's entries map back to the rules they came from, and only to them.
TEST_F(AclChip, EntriesMapBackToTheirRules) {
   ASSERT_TRUE(run("show acl base\n"));
   std::istringstream in(out_.str());
   uint32_t seq = 0, found = 0;
   for (std::string line; std::getline(in, line);) {
      std::istringstream words(line);
      std::string w;
      words >> w;
      if (w == "rule") words >> seq;
      if (w != "chip") continue;
      uint32_t chip = 0, stage = 0, index = 0;
      words >> chip >> w >> stage >> w;
      while (words >> index) {
         const auto rule = Sim::Acl::ruleAt(sim_, chip, stage, index);
         ASSERT_TRUE(rule) << line;
         EXPECT_EQ(*rule, std::make_pair(std::string("base"), seq));
         EXPECT_FALSE(Sim::Acl::ruleAt(sim_, chip, stage + 1, index)) << line;
         ++found;
      }
   }
   EXPECT_EQ(found, 2u); // one entry per rule: each field has one label
   EXPECT_FALSE(Sim::Acl::ruleAt(sim_, 2, 0, 0));
}

} // namespace
