#include "sim/acl/Hitless.h"

#include <algorithm>
#include <utility>

#include "sim/acl/AclCompiler.h"
#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpIpXformMgr.h"

namespace Sim::Acl {

namespace {

std::string verdictText(bool permit) {
   return permit ? "permit" : "deny";
}

bool deviceUp(Simulator& s, uint32_t dev) {
   const auto& coll = s.world().devices->deviceIdColl();
   const XpXdk::XpDeviceId id(static_cast<uint8_t>(dev));
   return coll.contains(id) && *coll.find(id);
}

// The IPv4 instance of a transform table starts its activation by writing a catch-all (label
// 0) at index 0, whatever prefix owns that index, and then writes its set in place: prefixes
// are briefly missing or at another prefix's index.
bool activationStart(const xpWriteEvent& e) {
   if (e.op != "writeEntry" || e.index != 0) return false;
   for (size_t instance : {xpIpXformMgr::kSrcInstance, xpIpXformMgr::kDstInstance}) {
      const auto* mgr = xpAclPl::instance()->getMgr<xpIpXformMgr>(
          xpPrimitiveMgrBase<xpIpXformMgr>::idAt(instance));
      if (!mgr || mgr->tableName() != e.table) continue;
      const xpIpXformSlot* slot = mgr->entryAt(e.devId, 0);
      return slot && slot->valid && slot->entry.prefixLen == 0 && slot->entry.xformedIp == 0;
   }
   return false;
}

// A port range the driver takes away leaves its ports with label 0 before the ranges of the
// same request are written.
bool portCleared(const xpWriteEvent& e) {
   if (e.op != "writeEntry") return false;
   for (size_t instance : {aaclL4PortMgr::kSrcInstance, aaclL4PortMgr::kDstInstance}) {
      const auto* mgr = xpAclPl::instance()->getMgr<aaclL4PortMgr>(
          xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(instance));
      if (!mgr || mgr->tableName() != e.table) continue;
      const aaclL4PortEntry* entry = mgr->entryAt(e.devId, e.index);
      return entry && entry->getXformedL4Port() == 0;
   }
   return false;
}

} // namespace

size_t HitlessReport::unexplained() const {
   return static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                            [](const auto& f) { return f.cause.empty(); }));
}

HitlessCheck::HitlessCheck(Simulator& s, const HitlessOptions& options) : sim_(s) {
   const PacketPlace place = packetPlaceOf(s);
   for (const xpAclPacket& pkt :
        probePackets(acls(s), probePlacesOf(s), options.seed, options.randomProbes)) {
      Probe p;
      p.pkt = pkt;
      p.intf = place.intfOf(pkt.devId, pkt.port).value_or("?");
      p.before = classify(acls(s), pkt, place).permit;
      p.setAside = walk(pkt) != p.before;
      probes_.push_back(std::move(p));
   }
   xpWriteObserverNow = this;
   watching_ = true;
}

HitlessCheck::~HitlessCheck() {
   if (watching_ && xpWriteObserverNow == this) xpWriteObserverNow = nullptr;
}

bool HitlessCheck::walk(const xpAclPacket& pkt) {
   xpAclWalkPacket(pkt, false, result_);
   return result_.permit;
}

std::string HitlessCheck::causeOf(const xpWriteEvent& e) {
   if (e.table == "device" || !deviceUp(sim_, e.devId)) {
      seenDown_.insert(e.devId);
      return "device " + std::to_string(e.devId) +
             " is down: the driver takes a device's entries off the chip when it goes down";
   }
   if (seenDown_.count(e.devId)) {
      return "device " + std::to_string(e.devId) +
             " came back up: the driver writes its tables afresh, in its own order";
   }
   // A window lasts while the driver goes on writing the same table.
   if (window_.table != e.table || window_.devId != e.devId) window_ = Window{};
   if (activationStart(e)) {
      window_ = {std::string(e.table), e.devId,
                 "an IPv4 prefix activation writes a catch-all over index 0, then rewrites "
                 "the table's prefixes in place"};
   } else if (window_.cause.empty() && portCleared(e)) {
      window_ = {std::string(e.table), e.devId,
                 "the driver clears the ports of a range it takes away (label 0) before it "
                 "writes the ranges that replace it"};
   }
   return window_.cause;
}

void HitlessCheck::written(const xpWriteEvent& e) {
   last_ = HitlessWrite{++writes_,     std::string(e.table), std::string(e.op), e.devId,
                        e.subTable,    e.index,              sim_.line()};
   const std::string cause = causeOf(e);
   for (Probe& p : probes_) {
      if (p.setAside || p.unexplained.seen || p.pkt.devId != e.devId) continue;
      const bool now = walk(p.pkt);
      if (now == p.before) continue;
      Deviation& d = cause.empty() ? p.unexplained : p.prescribed;
      if (!d.seen) d = Deviation{true, now, last_, cause};
   }
}

HitlessReport HitlessCheck::finish() {
   if (xpWriteObserverNow == this) xpWriteObserverNow = nullptr;
   watching_ = false;
   HitlessReport r;
   r.probes = probes_.size();
   r.writes = writes_;
   const PacketPlace place = packetPlaceOf(sim_);
   for (const Probe& p : probes_) {
      if (p.setAside) {
         ++r.setAside;
         continue;
      }
      HitlessFinding f;
      f.probe = p.pkt;
      f.intf = p.intf;
      f.before = p.before;
      f.after = classify(acls(sim_), p.pkt, place).permit;
      const Deviation& d = p.unexplained.seen ? p.unexplained : p.prescribed;
      if (d.seen && f.after == p.before) {
         f.walked = d.walked;
         f.write = d.write;
         f.cause = d.cause;
         r.findings.push_back(f);
         continue;
      }
      const bool end = walk(p.pkt);
      if (end == f.after) continue;
      f.walked = end;
      f.atEnd = true;
      f.write = last_;
      if (!deviceUp(sim_, p.pkt.devId)) {
         f.cause = "device " + std::to_string(p.pkt.devId) +
                   " is down: the driver takes a device's entries off the chip when it goes down";
      }
      r.findings.push_back(f);
   }
   return r;
}

std::string findingText(const HitlessFinding& f) {
   std::string s = packetText(f.probe, f.intf) + ": " + verdictText(f.before) + " before, " +
                   verdictText(f.after) + " after, the chip gives " + verdictText(f.walked);
   const HitlessWrite& w = f.write;
   s += f.atEnd ? " once the change is over" : " after write " + std::to_string(w.ordinal);
   if (w.ordinal) {
      s += " (" + w.table + " " + w.op + " device " + std::to_string(w.devId);
      if (w.subTable) s += " table " + std::to_string(w.subTable);
      s += " index " + std::to_string(w.index) + ", line " + std::to_string(w.line) + ")";
   }
   return s;
}

} // namespace Sim::Acl
