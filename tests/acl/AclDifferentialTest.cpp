// The packet walk over the chip tables against the reference classifier over the ACLs as
// written: random ACLs played through the simulator, thousands of probes each, then random
// incremental edits, each followed by probes again. Sizes come from the environment, so that
// `make acl-soak` runs the same test longer.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

#include "sim/Sim.h"
#include "sim/acl/AclCompiler.h"
#include "sim/acl/AclPlaces.h"
#include "tests/acl/AclGen.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpPacketWalk.h"

using namespace Sim::Acl;

namespace {

#ifdef XPACL_SANITIZED
constexpr bool kLight = true; // a sanitized chip model runs some thirty times slower
#else
constexpr bool kLight = false;
#endif

uint64_t envNumber(const char* name, uint64_t fallback) {
   const char* v = std::getenv(name);
   return v && *v ? std::strtoull(v, nullptr, 10) : fallback;
}

struct Sizes {
   uint64_t firstSeed = envNumber("ACL_DIFF_SEED", 1);
   uint64_t seeds = envNumber("ACL_DIFF_SEEDS", kLight ? 8 : 32);
   uint64_t edits = envNumber("ACL_DIFF_EDITS", kLight ? 16 : 40);
   uint64_t randomPackets = envNumber("ACL_DIFF_PACKETS", kLight ? 500 : 3000);
   // Probes after an edit: those of the edited ACL, and this many of the others.
   uint64_t editPackets = envNumber("ACL_DIFF_EDIT_PACKETS", kLight ? 300 : 1500);
   AclGen::Config gen() const {
      AclGen::Config c;
      c.acls = static_cast<uint32_t>(envNumber("ACL_DIFF_ACLS", 3));
      c.maxRules = static_cast<uint32_t>(envNumber("ACL_DIFF_RULES", kLight ? 100 : 250));
      return c;
   }
};

struct Totals {
   uint64_t packets = 0, matched = 0, denied = 0, acls = 0, rules = 0, edits = 0,
            mismatches = 0;
};

std::string verdictText(bool permit) {
   return permit ? "permit" : "deny";
}

using Match = std::pair<std::string, uint32_t>;

class Differential {
public:
   // `planted`: the caller plants a fault; mismatches are counted, not failures.
   Differential(uint64_t seed, const Sizes& sizes, bool planted = false)
       : seed_(seed), sizes_(sizes), planted_(planted), gen_(seed, sizes.gen()), sim_(out_),
         place_(gen_.packetPlace()), places_(gen_.places()) {}

   Sim::Simulator& sim() { return sim_; }
   const AclGen::Generator& gen() const { return gen_; }
   const std::vector<xpAclPacket>& probes() const { return probes_; }
   uint64_t mismatches() const { return mismatches_; }

   bool play(const std::string& text, const std::string& step) {
      played_ += text;
      step_ = step;
      std::ostringstream err;
      if (sim_.runText("seed-" + std::to_string(seed_) + ".scn", text, err)) return true;
      ADD_FAILURE() << "seed " << seed_ << ", " << step << ": the simulator refused:\n"
                    << err.str() << "text:\n"
                    << text;
      return false;
   }

   bool initial(Totals& totals) {
      if (!play(gen_.setupText() + gen_.initialText(), "initial programming")) return false;
      totals.acls += gen_.acls().size();
      for (const auto& [n, acl] : gen_.acls())
         totals.rules += acl.rules.size();
      compareModel();
      probes_ = probePackets(gen_.acls(), places_, seed_, sizes_.randomPackets);
      compare(probes_, totals);
      return true;
   }

   void run(Totals& totals) {
      if (!initial(totals)) return;
      for (uint64_t k = 1; k <= sizes_.edits && mismatches_ < kMaxReported; ++k) {
         const std::string text = gen_.edit();
         if (!play(text, "edit " + std::to_string(k) + ": " + text.substr(0, text.find('\n'))))
            return;
         ++totals.edits;
         place_ = gen_.packetPlace();
         places_ = gen_.places();
         compareModel();
         compare(editProbes(text, k), totals);
      }
      totals.mismatches += mismatches_;
   }

   static constexpr uint64_t kMaxReported = 5;

   // The simulator's ACLs are the generator's: the commands said what the model says.
   void compareModel() {
      if (planted_) return;
      const std::string want = AclGen::aclsText(gen_.acls()),
                        got = AclGen::aclsText(acls(sim_));
      EXPECT_EQ(want, got) << "seed " << seed_ << ", " << step_;
      comparePlaces();
   }

   // The places the simulator knows are the generator's, and so is where it says a packet is.
   void comparePlaces() {
      auto text = [](const ProbePlace& p) {
         return packetText(p.at, p.intf) + " vif " + std::to_string(p.at.egressVif) +
                (p.onVlan ? "" : " off-vlan");
      };
      std::vector<std::string> want, got;
      for (const auto& p : places_)
         want.push_back(text(p));
      for (const auto& p : probePlacesOf(sim_))
         got.push_back(text(p));
      std::sort(want.begin(), want.end());
      std::sort(got.begin(), got.end());
      EXPECT_EQ(want, got) << "seed " << seed_ << ", " << step_;
      const PacketPlace sim = packetPlaceOf(sim_);
      for (const auto& p : places_) {
         EXPECT_EQ(sim.intfOf(p.at.devId, p.at.port), p.intf) << text(p);
         EXPECT_EQ(sim.onVlan(p.at.devId, p.at.port, p.at.vlan), p.onVlan) << text(p);
      }
      EXPECT_FALSE(sim.intfOf(0, 65000)) << "a port no interface has";
   }

   std::vector<xpAclPacket> editProbes(const std::string& text, uint64_t k) {
      std::istringstream words(text);
      std::string family, name;
      words >> family >> name;
      std::map<std::string, Sim::Acl::Acl> edited;
      if (auto it = gen_.acls().find(name); it != gen_.acls().end()) edited.insert(*it);
      auto probes = probePackets(edited, places_, seed_ * 1000 + k, 0);
      auto others =
          probePackets(gen_.acls(), places_, seed_ * 1000 + k, sizes_.editPackets / 2);
      std::mt19937_64 rng(seed_ * 1000 + k);
      std::shuffle(others.begin(), others.end(), rng);
      others.resize(std::min<size_t>(others.size(), sizes_.editPackets));
      probes.insert(probes.end(), others.begin(), others.end());
      return probes;
   }

   void compare(const std::vector<xpAclPacket>& probes, Totals& totals) {
      const uint64_t maxReported = planted_ ? ~uint64_t{0} : kMaxReported;
      xpAclWalkResult walk;
      for (const auto& pkt : probes) {
         xpAclWalkPacket(pkt, false, walk);
         const RefVerdict ref = classify(gen_.acls(), pkt, place_);
         ++totals.packets;
         totals.matched += !walk.winners.empty();
         totals.denied += !walk.permit;
         std::vector<Match> want, got;
         for (const auto& l : ref.lookups) {
            if (l.seq) want.emplace_back(l.acl, *l.seq);
         }
         bool unmapped = false;
         for (const auto& w : walk.winners) {
            const auto at = ruleAt(sim_, pkt.devId, w.stage, w.hwIndex);
            if (at) {
               got.push_back(*at);
            } else {
               unmapped = true;
            }
         }
         std::sort(want.begin(), want.end());
         std::sort(got.begin(), got.end());
         if (walk.permit == ref.permit && want == got && !unmapped) continue;
         if (!planted_) report(pkt, ref, walk, want, got, unmapped);
         if (++mismatches_ >= maxReported) return;
      }
   }

   void report(const xpAclPacket& pkt, const RefVerdict& ref, const xpAclWalkResult& walk,
               const std::vector<Match>& want, const std::vector<Match>& got, bool unmapped) {
      const std::string packet = packetText(pkt, gen_.intfOf(pkt.devId, pkt.port));
      const std::string file = "acl-diff-seed-" + std::to_string(seed_) + ".scn";
      // The scenario played so far, then every packet that disagreed.
      if (mismatches_ == 0) std::ofstream(file) << played_;
      std::ofstream(file, std::ios::app) << packet << "\n";
      std::ostringstream m;
      m << "seed " << seed_ << ", after " << step_ << "\npacket: " << packet
        << "\nreference: " << verdictText(ref.permit);
      for (const auto& [acl, seq] : want)
         m << " " << acl << ":" << seq;
      m << "\nwalk:      " << verdictText(walk.permit) << (walk.blocked ? " (blocked)" : "");
      for (const auto& [acl, seq] : got)
         m << " " << acl << ":" << seq;
      if (unmapped) m << " (a winner maps to no rule)";
      m << "\nACLs:\n" << AclGen::aclsText(gen_.acls()) << "replay: " << file;
      ADD_FAILURE() << m.str();
   }

private:
   uint64_t seed_;
   const Sizes& sizes_;
   bool planted_;
   std::vector<xpAclPacket> probes_;
   AclGen::Generator gen_;
   std::ostringstream out_;
   Sim::Simulator sim_;
   PacketPlace place_;
   std::vector<ProbePlace> places_;
   std::string played_, step_;
   uint64_t mismatches_ = 0;
};

} // namespace

TEST(AclDifferential, WalkAgreesWithReferenceThroughEdits) {
   const Sizes sizes;
   Totals totals;
   const auto start = std::chrono::steady_clock::now();
   for (uint64_t seed = sizes.firstSeed; seed < sizes.firstSeed + sizes.seeds; ++seed) {
      Differential d(seed, sizes);
      d.run(totals);
   }
   const double secs =
       std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
   std::cout << "acl differential: seeds " << sizes.firstSeed << ".."
             << sizes.firstSeed + sizes.seeds - 1 << ", " << totals.acls << " ACLs ("
             << totals.rules << " rules), " << totals.edits << " edits, " << totals.packets
             << " packets compared (" << totals.matched << " matching a rule, " << totals.denied
             << " denied), " << totals.mismatches << " mismatches, " << secs << " s\n";
   EXPECT_GT(totals.packets, 0u);
}

// The comparison catches what it is there for: the simulator told one thing and the model
// another (a rule's action flipped), and a chip entry lost behind the driver's back.
TEST(AclDifferential, CatchesPlantedFaults) {
   Sizes sizes;
   sizes.randomPackets = 300;
   for (uint64_t seed = 1; seed <= 4; ++seed) {
      Totals totals;
      Differential d(seed, sizes, true);
      ASSERT_TRUE(d.initial(totals));
      ASSERT_EQ(d.mismatches(), 0u) << "seed " << seed;

      // The first packet that a rule wins: its entry goes from the chip.
      std::optional<std::pair<uint8_t, xpAclWalkHit>> hit;
      for (const auto& p : d.probes()) {
         const auto walk = xpAclWalkPacket(p, false);
         if (walk.winners.empty()) continue;
         hit.emplace(p.devId, walk.winners[0]);
         break;
      }
      ASSERT_TRUE(hit) << "seed " << seed;
      const auto& [dev, entry] = *hit;
      const auto owner = ruleAt(d.sim(), dev, entry.stage, entry.hwIndex);
      ASSERT_TRUE(owner);
      auto* mg = xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
          xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
      ASSERT_EQ(mg->removeEntry(xpDeviceArg{dev}, entry.mgTableId, entry.hwIndex), XP_NO_ERR);
      d.compare(d.probes(), totals);
      EXPECT_GT(d.mismatches(), 0u) << "seed " << seed << ": entry of " << owner->first << ":"
                                    << owner->second << " removed, no probe noticed";

      // Every rule of a bound ACL with its action flipped in the simulator only.
      const uint64_t before = d.mismatches();
      std::string flips;
      for (const auto& [name, acl] : d.gen().acls()) {
         if (acl.bindings.empty()) continue;
         for (auto [seq, r] : acl.rules) {
            r.permit = !r.permit;
            flips += AclGen::ruleText(name, seq, r);
         }
         break;
      }
      ASSERT_TRUE(d.play(flips, "flipped actions"));
      d.compare(d.probes(), totals);
      EXPECT_GT(d.mismatches(), before) << "seed " << seed << ": flipped actions unnoticed";
   }
}
