#include "sim/acl/Hitless.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

#include "sim/acl/AclCompiler.h"
#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpIpXformMgr.h"

namespace Sim::Acl {

namespace {

constexpr std::string_view kL4Tables[2] = {"aaclL4PortMgr.src", "aaclL4PortMgr.dst"};

std::string verdictText(bool permit) {
   return permit ? "permit" : "deny";
}

// A member of a port-channel: packets leave it through the port-channel's VIF, a place the
// reference classifier does not model.
bool lagMember(Simulator& s, const std::string& intf) {
   try {
      return !s.world().commonData->portToLag(Plexo::IntfId::fromText(intf)).isEmpty();
   } catch (const Norv::RangeError&) {
      return false;
   }
}

bool deviceUp(Simulator& s, uint32_t dev) {
   const auto& coll = s.world().devices->deviceIdColl();
   const XpXdk::XpDeviceId id(static_cast<uint8_t>(dev));
   return coll.contains(id) && *coll.find(id);
}

const xpIpXformMgr* xformMgr(std::string_view table) {
   for (size_t instance : {xpIpXformMgr::kSrcInstance, xpIpXformMgr::kDstInstance}) {
      const auto* mgr = xpAclPl::instance()->getMgr<xpIpXformMgr>(
          xpPrimitiveMgrBase<xpIpXformMgr>::idAt(instance));
      if (mgr && mgr->tableName() == table) return mgr;
   }
   return nullptr;
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
      p.setAside = walk(pkt) != p.before || lagMember(s, p.intf);
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
   if (window_.cause.empty() && xformMgr(e.table)) {
      window_ = {std::string(e.table), e.devId,
                 "a prefix activation rewrites the transform table in place, index by index "
                 "(the IPv4 one starting with a catch-all at index 0): until its last write an "
                 "address may match a prefix at an index it is leaving, or the catch-all"};
   } else if (window_.cause.empty() && portCleared(e)) {
      window_ = {std::string(e.table), e.devId,
                 "the driver clears the ports of a range it takes away (label 0) before it "
                 "writes the ranges that replace it"};
   }
   return window_.cause;
}

void HitlessCheck::written(const xpWriteEvent& e) {
   last_ = HitlessWrite{++writes_, std::string(e.table), std::string(e.op), e.devId, e.subTable,
                        e.index,   sim_.line()};
   const std::string cause = causeOf(e);
   // An L4 port table entry is read by the packets of its port alone.
   const int portTable = e.table == kL4Tables[0] ? 0 : e.table == kL4Tables[1] ? 1 : -1;
   for (Probe& p : probes_) {
      if (p.setAside || p.unexplained.seen || p.pkt.devId != e.devId) continue;
      if (portTable >= 0 && (portTable ? p.pkt.dport : p.pkt.sport) != e.index) continue;
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
   std::set<std::tuple<uint8_t, bool, uint32_t, uint16_t, uint32_t>> places;
   for (const ProbePlace& at : probePlacesOf(sim_))
      places.emplace(at.at.devId, at.at.egress, at.at.port, at.at.vlan, at.at.egressVif);
   for (const Probe& p : probes_) {
      if (p.setAside) {
         ++r.setAside;
         continue;
      }
      if (!places.count({p.pkt.devId, p.pkt.egress, p.pkt.port, p.pkt.vlan, p.pkt.egressVif}) ||
          lagMember(sim_, p.intf)) {
         ++r.placeGone;
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
         f.cause =
             "device " + std::to_string(p.pkt.devId) +
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
