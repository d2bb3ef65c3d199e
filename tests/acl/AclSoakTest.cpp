// Long random sequences of ACL edits, bindings, LAG moves and devices going down and up: after
// every step the chip must equal a cold start of the configuration (`verify`), and a sample of
// steps is watched write by write (`check-hitless`). Sizes come from the environment, so that
// `make soak` runs the same test for 100,000 steps.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>

#include "sim/Sim.h"
#include "sim/Verify.h"
#include "sim/acl/Hitless.h"
#include "tests/acl/AclGen.h"

namespace {

#ifdef XPACL_SANITIZED
constexpr uint64_t kSteps = 100; // a sanitized chip model runs some thirty times slower
#else
constexpr uint64_t kSteps = 2000;
#endif

uint64_t envNumber(const char* name, uint64_t fallback) {
   const char* v = std::getenv(name);
   return v && *v ? std::strtoull(v, nullptr, 10) : fallback;
}

class Soak {
public:
   explicit Soak(uint64_t seed) : seed_(seed), gen_(seed, config()), rng_(seed), sim_(out_) {
      play(gen_.setupText() + gen_.initialText(), "setup");
   }

   // One random step: mostly an edit of the generator's (rules, bindings, ACLs, VLANs, a
   // device down and up), sometimes a port joining or leaving a port-channel.
   std::string step() {
      if (rng_() % 10 != 0) return gen_.edit();
      const auto& ports = gen_.ports();
      const auto& port = ports[rng_() % ports.size()];
      if (rng_() % 2) return "lag remove " + port.intf + "\n";
      return "lag add " + port.intf + " Port-Channel" + std::to_string(1 + rng_() % 3) + "\n";
   }

   bool play(const std::string& text, const std::string& what) {
      played_ += text;
      std::ostringstream err;
      if (sim_.runText("soak-" + std::to_string(seed_) + ".scn", text, err)) return true;
      ADD_FAILURE() << "seed " << seed_ << ", " << what << ": the simulator refused:\n"
                    << err.str() << text;
      return false;
   }

   // Every difference from a cold start must be one the driver's own behaviour explains. A
   // configuration the cold start cannot write back as commands is counted, not compared.
   bool verify(const std::string& what) {
      Sim::VerifyResult r;
      try {
         r = Sim::verifyColdStart(sim_);
      } catch (const Sim::Error&) {
         ++unwritable_;
         return true;
      }
      ++verified_;
      if (!r.coldError.empty()) {
         ADD_FAILURE() << "seed " << seed_ << ", " << what
                       << ": the cold start stopped: " << r.coldError << " at " << r.coldLine;
         return false;
      }
      bool ok = true;
      for (const auto& d : r.differences) {
         if (!d.cause.empty()) continue;
         ADD_FAILURE() << "seed " << seed_ << ", " << what << ": " << d.text;
         ok = false;
      }
      return ok;
   }

   bool hitless(const std::string& text, const std::string& what, uint64_t probeSeed) {
      Sim::Acl::HitlessCheck check(sim_, {probeSeed, 50});
      if (!play(text, what)) return false;
      const Sim::Acl::HitlessReport r = check.finish();
      probes_ += r.probes;
      writes_ += r.writes;
      bool ok = true;
      for (const auto& f : r.findings) {
         if (!f.cause.empty()) continue;
         ADD_FAILURE() << "seed " << seed_ << ", " << what << ":\n"
                       << text << Sim::Acl::findingText(f);
         if (const char* keep = std::getenv("ACL_SOAK_KEEP")) std::ofstream(keep) << played_;
         ok = false;
      }
      return ok;
   }

   uint64_t probes_ = 0, writes_ = 0, verified_ = 0, unwritable_ = 0;

private:
   static AclGen::Config config() {
      AclGen::Config c;
      c.acls = 3;
      c.maxRules = 24;
      return c;
   }
   uint64_t seed_;
   std::string played_;
   AclGen::Generator gen_;
   std::mt19937_64 rng_;
   std::ostringstream out_;
   Sim::Simulator sim_;
};

// Plays steps [from, from + steps) of the run from seed: every step verified against a cold
// start, every hitlessEvery-th watched write by write. A part restarts its configuration on a
// multiple of ACL_SOAK_RESTART_EVERY, as the whole run would, so parts can be played side by
// side.
void playSoak(uint64_t from, uint64_t steps, uint64_t seed) {
   const uint64_t hitlessEvery = envNumber("ACL_SOAK_HITLESS_EVERY", 20);
   // A fresh configuration now and then, so that long runs also cover young ones.
   const uint64_t restartEvery = envNumber("ACL_SOAK_RESTART_EVERY", 500);
   using Clock = std::chrono::steady_clock;
   Clock::duration inSteps{}, inVerify{};
   uint64_t sampled = 0;
   uint64_t probes = 0, writes = 0, verified = 0, unwritable = 0;
   std::unique_ptr<Soak> soak;
   const auto tally = [&] {
      probes += soak->probes_;
      writes += soak->writes_;
      verified += soak->verified_;
      unwritable += soak->unwritable_;
   };
   const uint64_t first = from / restartEvery * restartEvery;
   for (uint64_t i = first; i < first + steps; ++i) {
      if (!soak || i % restartEvery == 0) {
         if (soak) tally();
         soak.reset(); // one agent at a time: they share the chip model
         soak = std::make_unique<Soak>(seed + i);
      }
      const std::string text = soak->step();
      const std::string what = "step " + std::to_string(i);
      const auto t0 = Clock::now();
      const bool ok = i % hitlessEvery == 0 ? (++sampled, soak->hitless(text, what, seed + i))
                                            : soak->play(text, what);
      const auto t1 = Clock::now();
      ASSERT_TRUE(ok) << what;
      ASSERT_TRUE(soak->verify(what)) << text;
      inSteps += t1 - t0;
      inVerify += Clock::now() - t1;
   }
   tally();
   const double stepSec = std::chrono::duration<double>(inSteps).count();
   const double verifySec = std::chrono::duration<double>(inVerify).count();
   std::cout << "soak: " << steps << " steps (" << sampled << " watched write by write) in "
             << stepSec + verifySec << " s: " << uint64_t(steps / (stepSec + verifySec))
             << " steps/s; verify " << uint64_t(verifySec / steps * 1e6)
             << " us per step, the steps themselves " << uint64_t(stepSec / steps * 1e6)
             << " us; " << probes << " probes walked after each of " << writes << " writes; "
             << verified << " steps verified, " << unwritable
             << " not (the cold start cannot write their configuration back)\n";
}

TEST(AclSoak, EveryStepEqualsAColdStartAndSampledStepsAreHitless) {
   playSoak(envNumber("ACL_SOAK_FROM", 0), envNumber("ACL_SOAK_STEPS", kSteps),
            envNumber("ACL_SOAK_SEED", 7));
}

// A second part of the same run, far into it, so that CI covers twice the steps in the time of
// one part on its two cores.
TEST(AclSoak, ALaterPartOfTheSameRunToo) {
   playSoak(50000, kSteps, 7);
}

} // namespace
