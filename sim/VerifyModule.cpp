// verify: a second agent with a fresh chip model plays a cold start of the configuration the
// scenario published, and every chip table is compared with the live one entry by entry.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "norv/Clock.h"
#include "norv/LogHandle.h"
#include "norv/Ribbonlog.h"
#include "norv/Trace.h"
#include "platform/OrimXform.h"
#include "sim/ConfigDump.h"
#include "sim/Sim.h"
#include "sim/Verify.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdk.h"
#include "xpacl/xform/XpAclPrefixXformSm.h"

namespace Sim {

namespace {

// The transform reactors whose acknowledgements are compared, by their agent's names.
constexpr const char* kXformSms[] = {"L4SrcPortXformSm",   "L4DstPortXformSm",
                                     "SrcV4PrefixXformSm", "DstV4PrefixXformSm",
                                     "SrcV6PrefixXformSm", "DstV6PrefixXformSm"};

// What each transform reactor acknowledged, per chip: success or failure.
using Acks = std::map<std::pair<std::string, uint32_t>, bool>;

Acks acksOf(Simulator& s) {
   Acks acks;
   for (const char* sm : kXformSms) {
      auto status = s.world().get<Orim::ResourceStatus>(std::string(sm) + ".status");
      for (auto it = status->resourceChipStatusColl().begin(); it; ++it)
         acks[{sm, it.key().value()}] = it.value().success;
   }
   return acks;
}

// The process-wide settings a second agent would disturb, kept for the time it runs: the
// clock, the trace sinks and the log sinks. What the cold agent traces or logs goes nowhere.
class Quiet {
public:
   Quiet()
       : realTime_(Norv::activityManager().realTime()), now_(Norv::activityManager().now()),
         started_(std::chrono::steady_clock::now()), ring_(Norv::Ribbonlog::enabled()),
         logSink_(Norv::LogHandle::sink()), sdkSink_(xpLogMgr::instance()->sink()),
         nowhere_(std::fopen("/dev/null", "w")) {
      Norv::Ribbonlog::enabledIs(false);
      Norv::LogHandle::sinkIs([](const Norv::LogHandle&, const std::string&) {});
      xpLogMgr::instance()->setSink(nullptr);
      if (nowhere_) Norv::Trace::textSinkIs(nowhere_);
   }
   ~Quiet() {
      Norv::Trace::textSinkIs(stdout);
      if (nowhere_) std::fclose(nowhere_);
      xpLogMgr::instance()->setSink(sdkSink_);
      Norv::LogHandle::sinkIs(logSink_);
      Norv::Ribbonlog::enabledIs(ring_);
      // Real time went on meanwhile; virtual time stands where it stood.
      const double spent =
          std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
      Norv::activityManager().realTimeIs(realTime_, realTime_ ? now_ + spent : now_);
   }
   Quiet(const Quiet&) = delete;
   Quiet& operator=(const Quiet&) = delete;

private:
   bool realTime_;
   double now_;
   std::chrono::steady_clock::time_point started_;
   bool ring_;
   Norv::LogHandle::Sink logSink_;
   std::FILE* sdkSink_;
   std::FILE* nowhere_;
};

// The live model set aside for the time the cold agent runs, and put back whatever happens.
class LiveAside {
public:
   LiveAside() : state_(xpSdkDetach()) {}
   ~LiveAside() { xpSdkAttach(std::move(state_)); }
   LiveAside(const LiveAside&) = delete;
   LiveAside& operator=(const LiveAside&) = delete;

private:
   xpSdkState state_;
};

// The line of the dumped scenario a cold-start error names, for the report.
std::string dumpedLine(const std::string& text, const std::string& error) {
   const size_t colon = error.find(':');
   const int n = colon == std::string::npos ? 0 : std::atoi(error.c_str() + colon + 1);
   std::istringstream in(text);
   std::string line;
   for (int i = 1; std::getline(in, line); ++i) {
      if (i == n) return line;
   }
   return "";
}

void verifyCmd(Simulator& s, const Args& a) {
   const bool devicesLast = a.has(0) && a.word(0, "order") == "devices-last";
   if (a.has(0) && !devicesLast) {
      throw Error("bad order '" + a.word(0, "") + "': expected devices-last or nothing");
   }
   a.atMost(1);
   if (s.world().batch.isOpen()) throw Error("'verify' inside a batch: close it first");
   const VerifyResult r = verifyColdStart(s, devicesLast);
   if (!r.coldError.empty()) {
      throw Error("verify: the cold start failed: " + r.coldError + " (playing '" + r.coldLine +
                  "')");
   }
   for (uint32_t dev : r.downDevices)
      s.out() << "verify: device " << dev << " is down: its tables are not compared\n";
   size_t unexplained = 0;
   for (const auto& d : r.differences) {
      s.out() << "verify: " << d.text;
      if (d.cause.empty()) {
         ++unexplained;
      } else {
         s.out() << " (explained: " << d.cause << ")";
      }
      s.out() << "\n";
   }
   if (unexplained) {
      throw Error("verify: " + std::to_string(unexplained) + " unexplained difference" +
                  (unexplained == 1 ? "" : "s"));
   }
   s.out() << "verify: the chip matches a cold start";
   if (!r.differences.empty()) {
      s.out() << " but for " << r.differences.size() << " explained difference"
              << (r.differences.size() == 1 ? "" : "s");
   }
   if (r.movedOnly) {
      s.out() << " (" << r.movedOnly << " equal but for where history placed "
              << (r.movedOnly == 1 ? "it" : "them") << ")";
   }
   s.out() << "\n";
}

void start(Simulator& s) {
   s.addCommand({"verify", "", "[devices-last]",
                 "compare every chip table with a cold start of the configuration", verifyCmd});
   s.addCommand({"show", "config", "[devices-last]",
                 "the configuration as the commands of a cold start",
                 [](Simulator& sim, const Args& a) {
                    const bool last = a.has(0) && a.word(0, "order") == "devices-last";
                    a.atMost(1);
                    sim.out() << dumpConfig(sim, last);
                 }});
}

const ModuleRegistration reg({"verify", 95, start, nullptr});

} // namespace

VerifyResult verifyColdStart(Simulator& s, bool devicesLast) {
   VerifyResult r;
   r.scenario = dumpConfig(s, devicesLast);
   const xpChipSnapshot live = xpChipSnapshot::take();
   const Acks liveAcks = acksOf(s);
   xpChipSnapshot cold;
   Acks coldAcks;
   {
      Quiet quiet;
      LiveAside aside;
      std::ostringstream out, err;
      Simulator second(out, Simulator::Secondary{});
      if (!second.runText("<cold start>", r.scenario, err)) {
         r.coldError = err.str();
         while (!r.coldError.empty() && r.coldError.back() == '\n')
            r.coldError.pop_back();
         r.coldLine = dumpedLine(r.scenario, r.coldError);
         return r;
      }
      cold = xpChipSnapshot::take();
      coldAcks = acksOf(second);
   }
   for (auto it = s.world().devices->deviceIdColl().begin(); it; ++it) {
      if (!it.value()) r.downDevices.push_back(it.key().value());
   }
   std::sort(r.downDevices.begin(), r.downDevices.end());
   auto down = [&](uint32_t dev) {
      return std::binary_search(r.downDevices.begin(), r.downDevices.end(), dev);
   };
   const xpChipComparison cmp = xpCompareChips(live, cold);
   r.movedOnly = cmp.movedOnly;
   for (const auto& d : cmp.differences) {
      if (!down(d.device)) r.differences.push_back({d.text(), chipCause(s, d, live, cold)});
   }
   Acks all = liveAcks;
   all.insert(coldAcks.begin(), coldAcks.end());
   for (const auto& [key, unused] : all) {
      const Acks::const_iterator l = liveAcks.find(key), c = coldAcks.find(key);
      const bool inLive = l != liveAcks.end(), inCold = c != coldAcks.end();
      if ((inLive && inCold && l->second == c->second) || down(key.second)) continue;
      auto side = [](const Acks::const_iterator& it, bool present) {
         return present ? std::string(it->second ? "success" : "failure") : "none";
      };
      const std::string text = "ack of " + key.first + " chip " + std::to_string(key.second) +
                               ": live " + side(l, inLive) + ", cold " + side(c, inCold);
      r.differences.push_back({text, ackCause(s, key.first, key.second, inLive && !inCold)});
   }
   return r;
}

} // namespace Sim
