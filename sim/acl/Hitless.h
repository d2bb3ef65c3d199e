#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "sim/Sim.h"
#include "sim/acl/AclPlaces.h"
#include "xdk/xpPacketWalk.h"
#include "xdk/xpWriteObserver.h"

// Whether a change reaches the chip hitlessly: a set of probe packets is classified by the ACLs
// before the change and after it, and walked over the chip tables after every single write the
// change makes. A probe whose walk, at some point, gives neither the verdict before nor the one
// after is a packet the update mishandled while it was being written.
namespace Sim::Acl {

struct HitlessOptions {
   uint64_t seed = 1;
   size_t randomProbes = 200; // on top of the probes drawn from the ACLs' own fields
};

// A write of the chip model, as the check saw it.
struct HitlessWrite {
   uint64_t ordinal = 0; // 1 for the change's first write
   std::string table, op;
   uint32_t devId = 0, subTable = 0, index = 0;
   int line = 0; // the scenario line that made it
};

struct HitlessFinding {
   xpAclPacket probe;
   std::string intf;
   bool before = true, after = true; // the ACLs' verdicts, permit = true
   bool walked = true;               // what the chip gave
   bool atEnd = false;               // the chip still gives it once the change is over
   HitlessWrite write;               // the write that exposed it (the last one when atEnd)
   // The driver's prescribed order that makes the chip so, or empty: then the upper layers
   // published in a wrong order.
   std::string cause;
};

struct HitlessReport {
   size_t probes = 0;
   // Probes the chip already classified otherwise than the ACLs before the change (on a device
   // that is down, for example), or at a port-channel's member: nothing can be said of them.
   size_t setAside = 0;
   // Probes whose place the change took away (a VIF removed, the port gone into a
   // port-channel): no packet is there any more.
   size_t placeGone = 0;
   uint64_t writes = 0;
   std::vector<HitlessFinding> findings;
   size_t unexplained() const;
};

// Watches the chip model from construction to finish(); one at a time.
class HitlessCheck : public xpWriteObserver {
public:
   HitlessCheck(Simulator& s, const HitlessOptions& options);
   ~HitlessCheck() override;
   HitlessCheck(const HitlessCheck&) = delete;
   HitlessCheck& operator=(const HitlessCheck&) = delete;

   // Stops watching and judges what was seen against the ACLs as they are now.
   HitlessReport finish();
   void written(const xpWriteEvent& e) override;

private:
   // The first write after which the walk left the verdict before.
   struct Deviation {
      bool seen = false;
      bool walked = true;
      HitlessWrite write;
      std::string cause;
   };
   struct Probe {
      xpAclPacket pkt;
      std::string intf;
      bool before = true;
      bool setAside = false;
      Deviation prescribed;  // where the driver's own order explains it
      Deviation unexplained; // where nothing does
   };
   // A run of writes in which the driver rewrites a table in its own order, with the reason.
   struct Window {
      std::string table;
      uint32_t devId = 0;
      std::string cause;
   };
   std::string causeOf(const xpWriteEvent& e);
   bool walk(const xpAclPacket& pkt);

   Simulator& sim_;
   std::vector<Probe> probes_;
   uint64_t writes_ = 0;
   HitlessWrite last_;
   Window window_;
   std::set<uint32_t> seenDown_; // devices seen down during the change
   bool watching_ = false;
   xpAclWalkResult result_;
};

// One line per finding: the probe as a `packet` command, the verdicts, the write.
std::string findingText(const HitlessFinding& f);

} // namespace Sim::Acl
