// check-hitless: the lines between `check-hitless on` and `check-hitless off` are one change,
// watched write by write with a set of probe packets.
#include <map>
#include <memory>

#include "norv/Reactor.h"
#include "sim/acl/Hitless.h"

namespace Sim::Acl {

namespace {

constexpr size_t kMaxFindingsShown = 20;
constexpr uint64_t kMaxRandomProbes = 1000000;

class HitlessHolder : public Norv::Reactor {
public:
   NORV_ENTITY("Sim::Acl::HitlessHolder")
   std::unique_ptr<HitlessCheck> check;
};

HitlessHolder& holder(Simulator& s) {
   return *s.world().get<HitlessHolder>("hitless");
}

void checkOn(Simulator& s, const Args& a) {
   if (holder(s).check) throw Error("check-hitless is already on");
   HitlessOptions o;
   for (size_t i = 0; i < a.size(); i += 2) {
      const std::string& w = a.word(i, "option");
      if (w == "random") {
         o.randomProbes = a.number(i + 1, "random probe count", kMaxRandomProbes);
      } else if (w == "seed") {
         o.seed = a.number(i + 1, "seed", UINT64_MAX);
      } else {
         throw Error("bad option '" + w + "': expected random N or seed S");
      }
   }
   holder(s).check = std::make_unique<HitlessCheck>(s, o);
}

void checkOff(Simulator& s, const Args& a) {
   a.atMost(0);
   auto check = std::move(holder(s).check);
   if (!check) throw Error("check-hitless is not on");
   const HitlessReport r = check->finish();
   auto& o = s.out();
   o << "check-hitless: " << r.probes << " probes";
   if (r.setAside) o << " (" << r.setAside << " set aside: the chip disagreed before)";
   if (r.placeGone) o << " (" << r.placeGone << " at places the change took away)";
   o << ", " << r.writes << " writes\n";
   // Findings the driver's order explains are grouped by cause, with one example each.
   std::map<std::string, std::pair<size_t, const HitlessFinding*>> prescribed;
   size_t shown = 0;
   for (const auto& f : r.findings) {
      if (!f.cause.empty()) {
         auto& [n, first] = prescribed[f.cause];
         if (n++ == 0) first = &f;
      } else if (shown++ < kMaxFindingsShown) {
         o << "  " << findingText(f) << "\n";
      }
   }
   if (shown > kMaxFindingsShown) o << "  ... and " << shown - kMaxFindingsShown << " more\n";
   for (const auto& [cause, seen] : prescribed) {
      o << "  " << seen.first << " probe" << (seen.first == 1 ? "" : "s")
        << " prescribed: " << cause << "; for example\n    " << findingText(*seen.second)
        << "\n";
   }
   const size_t bad = r.unexplained();
   if (bad) throw Error("check-hitless: " + std::to_string(bad) + " probes saw neither policy");
   if (r.findings.empty()) o << "check-hitless: no probe saw neither policy\n";
}

void start(Simulator& s) {
   s.world().hold("hitless", Norv::Ptr<HitlessHolder>(new HitlessHolder()));
   s.addCommand({"check-hitless", "on", "[random N] [seed S]",
                 "watch the lines up to 'check-hitless off' as one change: probe packets are "
                 "walked after every chip write",
                 checkOn});
   s.addCommand({"check-hitless", "off", "",
                 "report each probe the chip gave neither the verdict before nor after the "
                 "change, with the write that showed it",
                 checkOff});
}

const ModuleRegistration reg({"check-hitless", 96, start, nullptr});

} // namespace

} // namespace Sim::Acl
