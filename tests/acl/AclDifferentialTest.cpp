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
#include "tests/acl/AclGen.h"
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
   uint64_t seeds = envNumber("ACL_DIFF_SEEDS", kLight ? 2 : 8);
   uint64_t edits = envNumber("ACL_DIFF_EDITS", kLight ? 6 : 25);
   uint64_t randomPackets = envNumber("ACL_DIFF_PACKETS", kLight ? 300 : 2000);
   // Probes after an edit: those of the edited ACL, and this many of the others.
   uint64_t editPackets = envNumber("ACL_DIFF_EDIT_PACKETS", kLight ? 200 : 1500);
   AclGen::Config gen() const {
      AclGen::Config c;
      c.acls = static_cast<uint32_t>(envNumber("ACL_DIFF_ACLS", 3));
      c.maxRules = static_cast<uint32_t>(envNumber("ACL_DIFF_RULES", kLight ? 60 : 150));
      return c;
   }
};

struct Totals {
   uint64_t packets = 0, matched = 0, denied = 0, acls = 0, rules = 0, edits = 0, mismatches = 0;
};

std::string verdictText(bool permit) {
   return permit ? "permit" : "deny";
}

using Match = std::pair<std::string, uint32_t>;

class Differential {
public:
   Differential(uint64_t seed, const Sizes& sizes)
       : seed_(seed), sizes_(sizes), gen_(seed, sizes.gen()), sim_(out_),
         place_(gen_.packetPlace()), places_(gen_.places()) {}

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

   void run(Totals& totals) {
      if (!play(gen_.setupText() + gen_.aclText(), "initial programming")) return;
      totals.acls += gen_.acls().size();
      for (const auto& [n, acl] : gen_.acls())
         totals.rules += acl.rules.size();
      compareModel();
      compare(probePackets(gen_.acls(), places_, seed_, sizes_.randomPackets), totals);
      for (uint64_t k = 1; k <= sizes_.edits && mismatches_ < kMaxReported; ++k) {
         const std::string text = gen_.edit();
         if (!play(text, "edit " + std::to_string(k) + ": " + text.substr(0, text.find('\n'))))
            return;
         ++totals.edits;
         compareModel();
         compare(editProbes(text, k), totals);
      }
      totals.mismatches += mismatches_;
   }

private:
   static constexpr uint64_t kMaxReported = 5;

   // The simulator's ACLs are the generator's: the commands said what the model says.
   void compareModel() {
      const auto& sim = acls(sim_);
      std::string want, got;
      for (const auto& [name, acl] : gen_.acls()) {
         for (const auto& [seq, r] : acl.rules)
            want += AclGen::ruleText(name, seq, r);
         for (const auto& b : acl.bindings)
            want += AclGen::bindingText(name, b, true);
      }
      for (const auto& [name, acl] : sim) {
         for (const auto& [seq, r] : acl.rules)
            got += AclGen::ruleText(name, seq, r);
         for (const auto& b : acl.bindings)
            got += AclGen::bindingText(name, b, true);
      }
      EXPECT_EQ(want, got) << "seed " << seed_ << ", " << step_;
   }

   std::vector<xpAclPacket> editProbes(const std::string& text, uint64_t k) {
      std::istringstream words(text);
      std::string family, name;
      words >> family >> name;
      std::map<std::string, Sim::Acl::Acl> edited;
      if (auto it = gen_.acls().find(name); it != gen_.acls().end()) edited.insert(*it);
      auto probes = probePackets(edited, places_, seed_ * 1000 + k, 0);
      auto others = probePackets(gen_.acls(), places_, seed_ * 1000 + k, sizes_.editPackets / 2);
      std::mt19937_64 rng(seed_ * 1000 + k);
      std::shuffle(others.begin(), others.end(), rng);
      others.resize(std::min<size_t>(others.size(), sizes_.editPackets));
      probes.insert(probes.end(), others.begin(), others.end());
      return probes;
   }

   void compare(const std::vector<xpAclPacket>& probes, Totals& totals) {
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
         report(pkt, ref, walk, want, got, unmapped);
         if (++mismatches_ >= kMaxReported) return;
      }
   }

   void report(const xpAclPacket& pkt, const RefVerdict& ref, const xpAclWalkResult& walk,
               const std::vector<Match>& want, const std::vector<Match>& got, bool unmapped) {
      const std::string packet = packetText(pkt, gen_.intfOf(pkt.devId, pkt.port));
      const std::string file = "acl-diff-seed-" + std::to_string(seed_) + ".scn";
      std::ofstream(file) << played_ << packet << "\n";
      std::ostringstream m;
      m << "seed " << seed_ << ", after " << step_ << "\npacket: " << packet
        << "\nreference: " << verdictText(ref.permit);
      for (const auto& [acl, seq] : want)
         m << " " << acl << ":" << seq;
      m << "\nwalk:      " << verdictText(walk.permit) << (walk.blocked ? " (blocked)" : "");
      for (const auto& [acl, seq] : got)
         m << " " << acl << ":" << seq;
      if (unmapped) m << " (a winner maps to no rule)";
      m << "\nACLs:\n" << gen_.aclText() << "replay: " << file;
      ADD_FAILURE() << m.str();
   }

   uint64_t seed_;
   const Sizes& sizes_;
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
