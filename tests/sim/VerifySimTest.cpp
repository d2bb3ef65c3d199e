// verify against the chip: a clean run, a planted difference, the live agent left as it was,
// and random low-level scenarios that must end in no difference the driver does not explain.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <random>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "norv/Clock.h"
#include "sim/Sim.h"
#include "sim/Verify.h"
#include "tests/sim/SimPlay.h"

namespace {

std::string runSim(const std::string& scenario, int* status) {
   const std::string path = "/tmp/verify-test-" + std::to_string(::getpid()) + ".scn";
   FILE* f = std::fopen(path.c_str(), "w");
   std::fputs(scenario.c_str(), f);
   std::fclose(f);
   std::string out;
   FILE* p = popen((std::string(XPACL_SIM_PATH) + " " + path + " 2>&1").c_str(), "r");
   std::array<char, 4096> buf;
   for (size_t n; (n = fread(buf.data(), 1, buf.size(), p)) > 0;)
      out.append(buf.data(), n);
   *status = pclose(p);
   std::remove(path.c_str());
   out = std::string(out).replace(0, 0, "");
   // The file name is the test's own: show it as the scenario's.
   for (size_t at; (at = out.find(path)) != std::string::npos;)
      out.replace(at, path.size(), "t.scn");
   return out;
}

const char* const kConfig = "device add 0\ndevice up 0\nintf add Ethernet1 0\n"
                            "hwacl port Ethernet1 4\nrulelist key 0 5 6 1 in 20\n"
                            "hwacl bind 0 Ethernet1 5\nl4 range dst 0 80 81 3\n"
                            "l4 request dst 0 1\n"
                            "rule add 0 2 1 5 20 3 16 3 1 dport=3 result=permit prio=10\n";

// A planted change of each kind of entry is listed with its table, index, live and cold values,
// and fails the scenario at the verify line.
TEST(Verify, PlantedDifferencesAreListedAndFailTheScenario) {
   struct Case {
      const char* poke;
      const char* listing;
   };
   const Case cases[] = {
       {"sdk poke aaclL4PortMgr.dst 0 81 9",
        "verify: device 0 aaclL4PortMgr.dst index 81: live label 9, cold label 3\n"},
       {"sdk poke aaclL4PortMgr.src 0 7 2",
        "verify: device 0 aaclL4PortMgr.src index 7: live label 2, cold empty\n"},
       {"sdk poke xpPortConfigMgr 0 4 6",
        "verify: device 0 xpPortConfigMgr index 4: live PAclId 6 v4 on v6 off, cold PAclId 5 "
        "v4 on v6 off\n"},
       {"sdk poke xpAaclMgTableMgr 0 2 8197 0",
        "verify: device 0 xpAaclMgTableMgr.2 index 8197 (way 1 hash 5): live key "
        "000000141414000003000000000000000414 permit log off counter none prio 0, cold key "
        "000000141414000003000000000000000414 permit log off counter none prio 8181\n"},
   };
   for (const auto& c : cases) {
      int status = 0;
      const std::string out = runSim(
          std::string(kConfig) + "verify\n" + c.poke + "\nverify\necho not reached\n", &status);
      EXPECT_EQ(out, std::string("verify: the chip matches a cold start\n") + c.listing +
                         "t.scn:12: verify: 1 unexplained difference\n")
          << c.poke;
      EXPECT_EQ(WEXITSTATUS(status), 1) << c.poke;
   }
}

TEST(Verify, RefusesInsideABatchAndBadWords) {
   const Outcome r = play("batch\nverify\nend\n");
   EXPECT_EQ(r.err, "t.scn:2: 'verify' inside a batch: close it first\n");
   EXPECT_EQ(play("verify devices-first\n").err,
             "t.scn:1: bad order 'devices-first': expected devices-last or nothing\n");
   EXPECT_EQ(play("device add 0\nsdk poke xpIpXformMgr.src 0 3 1\n").err,
             "t.scn:2: xpIpXformMgr.src holds no entry at index 3\n");
}

// Everything a scenario can look at is the same after verify as before it, twice over: the
// shows, the chip-model operation counts (verify reads through the model's own view), the
// clock and the pending counter poll.
TEST(Verify, LeavesTheLiveAgentAsItWas) {
   std::ostringstream out, err;
   Sim::Simulator sim(out);
   ASSERT_TRUE(sim.runText("t.scn", std::string(kConfig) + "clock +2.5\n", err)) << err.str();
   const std::string shows = "show common\nshow hwacl 0\nshow port-acl 0\nshow l4 dst 0\n"
                             "show mg 0 2\nshow mgks-status 0\nshow seprofile 0\n"
                             "show status dst\nshow counters 0\n";
   auto look = [&] {
      out.str("");
      EXPECT_TRUE(sim.runText("t.scn", shows, err)) << err.str();
      return out.str();
   };
   const std::string before = look();
   EXPECT_TRUE(sim.runText("t.scn", "show sdk\n", err)) << err.str();
   const double now = Norv::activityManager().now();
   const size_t timers = Norv::activityManager().pendingTimers();
   out.str("");
   ASSERT_TRUE(sim.runText("t.scn", "verify\nverify\nshow sdk\n", err)) << err.str();
   EXPECT_EQ(out.str(), "verify: the chip matches a cold start\n"
                        "verify: the chip matches a cold start\n"
                        "chip operations since the last 'show sdk'\n  none\n");
   EXPECT_EQ(look(), before);
   EXPECT_EQ(Norv::activityManager().now(), now);
   EXPECT_EQ(Norv::activityManager().pendingTimers(), timers);
   // Nothing of the cold agent reaches the trace ring, whose records are the live agent's.
   out.str("");
   ASSERT_TRUE(sim.runText("t.scn", "trace ring on\nl4 request dst 0 5\ntrace dump\n", err));
   const std::string ring = out.str();
   EXPECT_NE(ring.find("L4PortXformSm"), std::string::npos) << ring;
   out.str("");
   ASSERT_TRUE(sim.runText("t.scn", "verify\ntrace dump\ntrace ring off\n", err));
   EXPECT_EQ(out.str(), "verify: the chip matches a cold start\n" + ring);
   // The live driver still writes the live model, through the manager pointers it keeps per
   // reactor (L4) and those it caches for the process (MG and MGKS tables): a change after
   // verify reaches its table, and the next verify agrees.
   out.str("");
   ASSERT_TRUE(sim.runText("t.scn",
                           "l4 range dst 0 90 90 7\nl4 request dst 0 2\n"
                           "rule add 0 2 0 9 20 4 16 3 1 dport=7 prio=3\n"
                           "rulelist mg 0 20 2 16 0\nshow l4 dst 0\nshow mg 0 2\n"
                           "show mgks 0 2\nverify\n",
                           err))
       << err.str();
   EXPECT_NE(out.str().find("     90|    7|"), std::string::npos) << out.str();
   EXPECT_NE(out.str().find("DPort:0x0007"), std::string::npos) << out.str();
   EXPECT_NE(out.str().find("Number of valid entries in range of 0 to 1024 : 1"),
             std::string::npos)
       << out.str();
   EXPECT_NE(out.str().find("verify: the chip matches a cold start\n"), std::string::npos);
}

// The cold start brings the devices up before the configuration: the other order cannot
// replay a prefix request, which the driver takes only from a device that is up.
TEST(Verify, DevicesLastDoesNotConverge) {
   const std::string prefixes =
       "device add 0\ndevice up 0\nprefix attempt src4 0 10.0.0.0/8 7\n"
       "prefix request attempted src4 0 1\n"
       "prefix activate src4 0 2\n";
   EXPECT_EQ(play(prefixes + "verify\n").out, "verify: the chip matches a cold start\n");
   const Outcome r = play(prefixes + "verify devices-last\n");
   EXPECT_EQ(r.out, "verify: device 0 xpIpXformMgr.src index 0: live v4 10.0.0.0/8 label 7, "
                    "cold empty\n"
                    "verify: ack of SrcV4PrefixXformSm chip 0: live success, cold none\n");
   EXPECT_EQ(r.err, "t.scn:6: verify: 2 unexplained differences\n");
}

// A scenario ending in 'verify' that should find the chip as a cold start leaves it.
void expectColdStartMatches(const std::string& scenario) {
   const Outcome r = play(scenario + "verify\n");
   EXPECT_EQ(r.err, "");
   EXPECT_EQ(r.out, "verify: the chip matches a cold start\n");
}

// An interface's VIF pair written before the interface has a chip port number is keyed on port
// 65535 (no port) in the ingress VIF table, and the number given later does not move it: the
// driver follows VIFs and bindings, not port numbers. verify names both sides of it; with the
// number first, the chip matches its cold start.
TEST(Verify, PortNumberAfterItsVifIsNamed) {
   const std::string setup = "device add 0\ndevice up 0\nintf add Ethernet1 0\n";
   const Outcome r = play(setup + "hwacl vif Ethernet1 10 503\nhwacl vlan-bind 0 10 5\n"
                                  "hwacl port Ethernet1 3\nverify\n");
   EXPECT_EQ(r.err, "");
   for (const char* side : {"xpPortVlanIvifMgr copy 0 port 3 vlan 10: live empty",
                            "xpPortVlanIvifMgr copy 0 port 65535 vlan 10: live routeAclId 5"}) {
      const size_t at = r.out.find(side);
      ASSERT_NE(at, std::string::npos) << r.out;
      EXPECT_NE(r.out.find("(explained: the port-VLAN entry was written before its interface "
                           "had a chip port number",
                           at),
                std::string::npos)
          << r.out;
   }
   EXPECT_NE(r.out.find("but for 2 explained differences"), std::string::npos) << r.out;
   expectColdStartMatches(setup + "hwacl port Ethernet1 3\nhwacl vif Ethernet1 10 503\n"
                                  "hwacl vlan-bind 0 10 5\n");
}

// verify names every difference of a scenario with the cause, and nothing else remains.
void expectNamed(const std::string& scenario, const std::vector<std::string>& sides,
                 const std::string& cause) {
   const Outcome r = play(scenario + "verify\n");
   EXPECT_EQ(r.err, "") << scenario;
   for (const auto& side : sides) {
      const size_t at = r.out.find(side);
      ASSERT_NE(at, std::string::npos) << r.out;
      EXPECT_EQ(r.out.find("(explained: " + cause, at), r.out.find("(explained: ", at))
          << r.out;
   }
   const std::string count = std::to_string(sides.size()) + " explained difference";
   EXPECT_NE(r.out.find("but for " + count), std::string::npos) << r.out;
}

// A rule withdrawn while its device is down keeps its MG entry when the device returns: the
// driver forgets the device's entries on its way down and writes the rules it then has. The
// same withdrawal with the device up, or a rule added meanwhile, leaves the cold start's chip.
TEST(Verify, RuleWithdrawnWhileItsDeviceIsDownIsNamed) {
   const std::string setup = "device add 0\ndevice up 0\n"
                             "rule add 0 2 1 0 20 3 16 3 1 sip=2 prio=8\n";
   expectNamed(setup + "device down 0\nrule remove 0 2 1 0\ndevice up 0\n",
               {"device 0 xpAaclMgTableMgr.2 index 8192 (way 1 hash 0): live key"},
               "the rule was withdrawn while its device was down");
   // Down again: the entry is still the one the chip held.
   expectNamed(setup + "device down 0\nrule remove 0 2 1 0\ndevice up 0\ndevice down 0\n"
                       "device up 0\n",
               {"xpAaclMgTableMgr.2 index 8192"}, "the rule was withdrawn while its device");
   expectColdStartMatches(setup + "rule remove 0 2 1 0\ndevice down 0\ndevice up 0\n");
   expectColdStartMatches(setup + "device down 0\nrule add 0 2 1 1 20 3 16 3 1 sip=3 prio=9\n"
                                  "device up 0\n");
}

// Under a global block-all, an interface the driver resolved while it was blocked keeps the
// blocking binding once unblocked (the block-all step resolves it so) whatever the control
// becomes, while a cold start
// reaches an interface without block or index only through the reconciliation of ports, which
// leaves a port without a chip number out. With an index the cold start resolves it too.
TEST(Verify, UnblockUnderBlockAllIsNamed) {
   const std::string setup = "device add 1\ndevice up 1\nintf add Ethernet3 1\n"
                             "hwacl control 1 block-all\nhwacl block Ethernet3 on\n"
                             "hwacl vif Ethernet3 10 502\n";
   expectNamed(setup + "hwacl block Ethernet3 off\n",
               {"device 1 xpPortConfigMgr index 65535: live PAclId 0 v4 on v6 on, cold empty",
                "device 1 xpEgressBdEvifMgr vif 502 vlan 10: live paclId 0 v4 on v6 on"},
               "the interface was resolved under block-all while it was blocked");
   // Whatever the control becomes.
   expectNamed(setup + "hwacl block Ethernet3 off\nhwacl control 1 normal\n",
               {"device 1 xpPortConfigMgr index 65535: live PAclId 0 v4 on v6 on, cold empty",
                "device 1 xpEgressBdEvifMgr vif 502 vlan 10: live paclId 0 v4 on v6 on"},
               "the interface was resolved under block-all while it was blocked");
   expectColdStartMatches(setup + "hwacl bind 1 Ethernet3 5\nhwacl block Ethernet3 off\n");
}

// A rule-list key published after the binding of its hardware ACL index does not turn the
// port's enable on, and one withdrawn after it does not turn it off: the driver resolves a
// binding when the binding changes, not when its index's keys do. verify names it; the same
// chip reached with the key first (as the ACL layer publishes) matches its cold start.
TEST(Verify, KeyAfterItsBindingIsNamed) {
   const std::string setup = "device add 0\ndevice up 0\nintf add Ethernet1 0\n"
                             "hwacl port Ethernet1 1\n";
   for (const char* late : {"hwacl bind 0 Ethernet1 5\nrulelist key 0 5 6 1 in 20\n",
                            "rulelist key 0 5 6 1 in 20\nhwacl bind 0 Ethernet1 5\n"
                            "rulelist unkey 0 5 6 1 in\n"}) {
      const Outcome r = play(setup + late + "verify\n");
      EXPECT_EQ(r.err, "") << late;
      EXPECT_NE(r.out.find("xpPortConfigMgr index 1: live"), std::string::npos) << r.out;
      EXPECT_NE(r.out.find("(explained: a rule-list key of the binding's hardware ACL index "
                           "came or went after the binding"),
                std::string::npos)
          << r.out;
      EXPECT_NE(r.out.find("but for 1 explained difference"), std::string::npos) << r.out;
   }
   expectColdStartMatches(setup + "rulelist key 0 5 6 1 in 20\nhwacl bind 0 Ethernet1 5\n");
}

// A port-channel's VIF entries reach the chips of its members when they are published, and
// stay when its members move: the chip its last member left keeps them (under port 65535),
// and one a member joins later has none. Published again after the move, they reach it.
TEST(Verify, PortChannelVifAfterItsMembersMovedIsNamed) {
   const std::string setup = "device add 0\ndevice up 0\ndevice add 1\ndevice up 1\n"
                             "intf add Ethernet2 0\nintf add Ethernet3 1\n"
                             "hwacl port Ethernet2 2\nhwacl port Ethernet3 3\n"
                             "hwacl vlan-bind 0 20 4\nhwacl vlan-bind 1 20 4\n"
                             "lag add Ethernet2 Port-Channel5\n"
                             "hwacl vif Port-Channel5 20 705\n";
   const std::string cause = "a port-channel's VIF entries reached the chips of its members";
   expectNamed(setup + "lag remove Ethernet2\n",
               {"device 0 xpPortVlanIvifMgr copy 0 port 65535 vlan 20: live routeAclId 4"},
               cause);
   expectNamed(setup + "lag add Ethernet3 Port-Channel5\n",
               {"device 1 xpPortVlanIvifMgr copy 0 port 65535 vlan 20: live empty"}, cause);
   expectColdStartMatches(setup + "lag add Ethernet3 Port-Channel5\n"
                                  "hwacl vif Port-Channel5 20 706\n");
}

// An ACL edited in place: its labels, priorities and places depend on its history, and the
// cold start plays exactly what the ACL layer published, so the driver's chip matches it.
TEST(Verify, AclEditMatchesAColdStartOfWhatWasPublished) {
   expectColdStartMatches("device add 1\ndevice up 1\nintf add Ethernet3 1\n"
                          "hwacl port Ethernet3 3\n"
                          "acl web rule 10 permit count ip src 10.2.0.0/16 proto tcp dport 80\n"
                          "acl web bind 1 intf Ethernet3 in\n"
                          "acl web rule 10 permit ip src 10.3.0.0/16 proto tcp dport 443\n");
}

// --- random low-level scenarios

// Valid-looking steps over a small space of chips, interfaces, ranges, prefixes and rules, so
// that steps meet each other's entities; a step the simulator refuses is simply skipped.
class Steps {
public:
   explicit Steps(uint64_t seed) : rng_(seed) {}

   std::string next() {
      const std::string chip = std::to_string(pick(2));
      const std::string intf = oneOf({"Ethernet1", "Ethernet2", "Ethernet3", "Port-Channel7"});
      const std::string eth = "Ethernet" + std::to_string(1 + pick(3));
      const std::string vlan = oneOf({"10", "20"});
      switch (pick(16)) {
      case 0: // steps may change a device's configuration while it is down
         return pick(2) ? "device down " + chip : "device up " + chip;
      case 1:
         return pick(2) ? "lag add " + eth + " Port-Channel7" : "lag remove " + eth;
      case 2: // chip port numbers are given once, first: see PortNumberAfterItsVif
         return pick(3)
                    ? "seprofile config " + chip + " 22 1 " + oneOf({"8", "16", "24"}) + " 0"
                    : "seprofile remove " + chip + " 22";
      case 3:
         return pick(3) ? "hwacl bind " + chip + " " + intf + " " + oneOf({"5", "6"})
                        : "hwacl unbind " + chip + " " + intf;
      case 4:
         return pick(3) ? "hwacl vlan-bind " + chip + " " + vlan + " " + oneOf({"5", "6"})
                        : "hwacl vlan-unbind " + chip + " " + vlan;
      case 5: {
         // A VIF is one interface's: two on one VIF would share its egress entry.
         const bool lag = pick(4) == 0;
         const std::string who = lag ? "Port-Channel7" : eth;
         const std::string vif = lag ? "70" : eth.substr(8) + "0";
         return pick(3) ? "hwacl vif " + who + " " + vlan + " " + vif + std::to_string(pick(8))
                        : "hwacl vif-remove " + who + " " + vlan;
      }
      case 6:
         return "hwacl block " + intf + " " + oneOf({"on", "off"});
      case 7:
         return "hwacl control " + chip + " " + oneOf({"normal", "bypass-all", "block-all"});
      case 8: {
         const std::string inst = oneOf({"src", "dst"});
         const uint32_t start = 10 * pick(6);
         const std::string range =
             std::to_string(start) + " " + std::to_string(start + pick(3));
         std::string line = pick(3) ? "l4 range " + inst + " " + chip + " " + range + " " +
                                          std::to_string(1 + pick(9))
                                    : "l4 remove " + inst + " " + chip + " " + range;
         return line + "\nl4 request " + inst + " " + chip + " " + std::to_string(++request_);
      }
      case 9:
      case 10:
         return prefixChange(chip);
      case 11:
         return "rule place " + chip + " 2 " + oneOf({"20", "21"}) + " " +
                std::to_string(pick(4)) + " 16 3 1 sip=" + std::to_string(1 + pick(5)) +
                " dport=" + std::to_string(pick(4)) + " result=" + oneOf({"permit", "deny"}) +
                (pick(2) ? " count=on" : "") + " prio=" + std::to_string(pick(200));
      case 12:
         return "rule add " + chip + " 2 " + std::to_string(pick(4)) + " " +
                std::to_string(pick(3)) + " " + oneOf({"20", "21"}) + " " +
                std::to_string(pick(4)) + " 16 3 1 sip=" + std::to_string(pick(5)) +
                (pick(2) ? " count=on" : "") + " prio=" + std::to_string(pick(200));
      case 13:
         return "rule remove " + chip + " 2 " + std::to_string(pick(4)) + " " +
                std::to_string(pick(3));
      case 14: // keys are published first, in the preamble: see KeyAfterItsBinding
         return "rulelist mg " + chip + " 22 2 " + oneOf({"8", "16"}) + " 0";
      default:
         return pick(3) ? "rulelist mg " + chip + " " + oneOf({"20", "21"}) + " " +
                              oneOf({"1", "2"}) + " " + oneOf({"8", "16", "24"}) + " 0"
                        : "rulelist unmg " + chip + " " + oneOf({"20", "21"});
      }
   }

private:
   // A direction's sets change the way the upper layer changes them: both families
   // attempted, IPv4 first, then both activated.
   std::string prefixChange(const std::string& chip) {
      const std::string dir = oneOf({"src", "dst"});
      const char* const v4[] = {"10.0.0.0/8", "10.1.0.0/16", "172.16.0.0/12", "192.168.0.0/16"};
      const char* const v6[] = {"2001:db8::/32", "2001:db8:1::/48", "fc00::/7"};
      std::string out;
      for (const char* p : v4) {
         if (pick(3) == 0)
            out += "prefix attempt " + dir + "4 " + chip + " " + p + " " +
                   std::to_string(1 + pick(20)) + "\n";
         else if (pick(3) == 0)
            out += "prefix drop " + dir + "4 " + chip + " " + p + "\n";
      }
      for (const char* p : v6) {
         if (pick(3) == 0)
            out += "prefix attempt " + dir + "6 " + chip + " " + p + " " +
                   std::to_string(1 + pick(20)) + "\n";
         else if (pick(3) == 0)
            out += "prefix drop " + dir + "6 " + chip + " " + p + "\n";
      }
      const std::string id = std::to_string(++request_);
      for (const char* step : {"request attempted", "activate"}) {
         for (const char* f : {"4 ", "6 "})
            out += std::string("prefix ") + step + " " + dir + f + chip + " " + id + "\n";
      }
      return out;
   }

   size_t pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }
   std::string oneOf(std::initializer_list<const char*> words) {
      return *(words.begin() + pick(words.size()));
   }

   std::mt19937_64 rng_;
   uint64_t request_ = 0;
};

TEST(Verify, RandomLowLevelScenariosConvergeToTheirColdStart) {
   constexpr int kSeeds = 8, kSteps = 150, kEvery = 8;
   for (uint64_t seed = 1; seed <= kSeeds; ++seed) {
      std::ostringstream out, err;
      Sim::Simulator sim(out);
      std::string played = "device add 0\ndevice add 1\ndevice up 0\ndevice up 1\n"
                           "intf add Ethernet1 0\nintf add Ethernet2 0\nintf add Ethernet3 1\n"
                           "hwacl port Ethernet1 1\nhwacl port Ethernet2 2\n"
                           "hwacl port Ethernet3 3\n";
      for (const char* chip : {"0", "1"}) {
         played += std::string("rulelist key ") + chip + " 5 6 1 in 20\nrulelist key " + chip +
                   " 6 6 3 out 21\nrulelist key " + chip + " 6 6 2 in 21\n";
      }
      ASSERT_TRUE(sim.runText("t.scn", played, err)) << err.str();
      Steps steps(seed);
      for (int step = 1; step <= kSteps; ++step) {
         std::istringstream lines(steps.next());
         for (std::string line; std::getline(lines, line);) {
            std::ostringstream refused;
            if (sim.runText("step", line + "\n", refused)) played += line + "\n";
         }
         if (step % kEvery) continue;
         const Sim::VerifyResult r = Sim::verifyColdStart(sim);
         std::string unexplained;
         for (const auto& d : r.differences) {
            if (d.cause.empty()) unexplained += "  " + d.text + "\n";
         }
         ASSERT_TRUE(r.coldError.empty() && unexplained.empty())
             << "seed " << seed << " step " << step << ": " << r.coldError << " " << r.coldLine
             << "\n"
             << unexplained << "played:\n"
             << played << "cold start:\n"
             << r.scenario;
      }
   }
}

} // namespace
