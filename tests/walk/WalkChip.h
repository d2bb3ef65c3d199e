#pragma once

// A chip whose ACL tables are written the way the driver writes them (its own key and
// key-select layouts, its transform entry), for tests and benchmarks of the packet walk: what
// the walk finds is then checked against a writer it does not share code with.
#include <stdexcept>
#include <string>

#include "platform/PlexoIpGenPrefix.h"
#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpAcmBankMgr.h"
#include "xdk/xpAcmPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpEgressBdEvifMgr.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpIpXformMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpMgksMgr.h"
#include "xdk/xpPacketWalk.h"
#include "xdk/xpPortConfigMgr.h"
#include "xdk/xpPortVlanIvifMgr.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/maskgroup/XpAclMgTableHelper.h"
#include "xpacl/maskgroup/XpAclMgksEntry.h"
#include "xpacl/xform/XpAclPrefixXformSm.h"

namespace WalkTest {

constexpr uint8_t kDev = 3;
constexpr uint32_t kWayShift = 13; // the driver places entries at way << 13 + hash index

// The table types of a rule-list key: PACL/RACL, IPv4/IPv6.
enum TableType : uint8_t { paclV4 = 1, raclV4 = 2, paclV6 = 3, raclV6 = 4 };

// A rule as the driver writes it into a stage's MG table.
struct TestRule {
   uint32_t stage = 0;
   uint32_t way = 0;
   uint8_t list = 1; // chip rule list id
   bool egress = false;
   Orim::PDKeyValue pd;
   Orim::MaskGroupDescriptor mg;
   bool permit = true;
   bool log = false;
   uint16_t hwPriority = 100;
   uint16_t counter = 0;
};

// A chip-model call that must succeed.
inline void ok(XP_STATUS status, const char* what) {
   if (status != XP_NO_ERR) {
      throw std::runtime_error(std::string(what) + " failed with status " +
                               std::to_string(status));
   }
}

class WalkChip {
public:
   // A fresh chip model with device kDev of `profile`.
   void start(const xpDeviceProfile& profile = {}) {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      ok(xpDeviceMgr::instance()->addDevice(kDev, profile), "addDevice");
      acl = xpAclPl::instance();
      ifPl = xpIfPl::instance();
   }
   void stop() { xpLogMgr::instance()->setSink(stderr); }

   template <class M>
   M* aclMgr(size_t instance = 0) {
      return acl->getMgr<M>(xpPrimitiveMgrBase<M>::idAt(instance));
   }
   template <class M>
   M* ifMgr() {
      return ifPl->getMgr<M>(xpPrimitiveMgrBase<M>::idAt(0));
   }

   void bindPort(uint32_t port, uint8_t aclId, bool v4, bool v6) {
      xpPortConfigEntry e{aclId, static_cast<uint8_t>(v4 | v6 << 1)};
      ok(ifMgr<xpPortConfigMgr>()->writeEntry(kDev, port, &e), "port writeEntry");
   }
   void bindPortVlan(uint16_t port, uint16_t vlan, uint8_t aclId, bool v4, bool v6) {
      xpPortVlanIvifEntry e{{port, vlan}, {aclId, static_cast<uint8_t>(v4 | v6 << 1)}};
      xpsHashIndexList list;
      ok(ifMgr<xpPortVlanIvifMgr>()->addEntry(kDev, 0, &e, &list), "IVIF addEntry");
   }
   void bindEgress(uint16_t vif, uint16_t vlan, uint8_t pacl, bool pv4, bool pv6, uint8_t racl,
                   bool rv4, bool rv6) {
      xpEgressBdEvifEntry e{{vif, vlan},
                            {xpEgressBdEvifData::pack(pacl, pv4, pv6, racl, rv4, rv6)}};
      xpsHashIndexList list;
      ok(ifMgr<xpEgressBdEvifMgr>()->addEntry(kDev, &e, &list), "EVIF addEntry");
   }

   // The key-select entry that sends hardware index `hwIndex` of `type` to rule list `list`
   // with the fields of `mg` at `stage`.
   void keySelect(uint32_t stage, uint8_t hwIndex, TableType type, bool egress, uint8_t list,
                  const Orim::MaskGroupDescriptor& mg) {
      const Orim::ChipRuleListIdKey key(
          hwIndex, 0, type, egress ? Orim::AclDirection::out : Orim::AclDirection::in);
      const auto fields = XpAcl::mgksEntryFields(key, Orim::ChipRuleListId(list), mg, 0);
      const xpMgksEntry e = XpAcl::packMgksEntry(fields.value());
      uint32_t index = 0, rehash = 0;
      ok(aclMgr<xpMgksMgr>()->addEntry(kDev, stage + 1, &e, index, rehash), "MGKS addEntry");
   }

   static xpAaclMgTableEntryKey keyOf(const TestRule& r) {
      xpAaclMgTableEntryKey key;
      XpAcl::fillMgTableEntryKey(Orim::ChipRuleListId(r.list),
                                 r.egress ? Acl::AclDirection::out : Acl::AclDirection::in,
                                 r.pd, r.mg, key);
      return key;
   }
   // Where the rule's key hashes in its way, as a hardware index.
   uint32_t indexOf(const TestRule& r) {
      const xpAaclMgTableEntryKey key = keyOf(r);
      uint32_t hash = 0;
      ok(aclMgr<xpAaclMgTableMgr>()->hashIndexInWay(kDev, r.stage, r.way, &key, hash),
         "hashIndexInWay");
      return (r.way << kWayShift) + hash;
   }
   // Writes the rule where its key hashes in its way; returns its hardware index.
   uint32_t write(const TestRule& r) {
      xpAaclMgTableEntry e;
      e.key = keyOf(r);
      e.data.word[0] = static_cast<uint16_t>(r.permit | r.log << 1 | r.counter << 3);
      e.data.word[1] = r.hwPriority;
      const uint32_t index = indexOf(r);
      ok(aclMgr<xpAaclMgTableMgr>()->writeKeyAndControlData(kDev, r.stage, index, &e),
         "writeKeyAndControlData");
      return index;
   }

   // A prefix in slot `index` of the source (which 0) or destination (1) transform table.
   void prefix(size_t which, uint32_t index, const std::string& text, uint32_t label) {
      const auto p = Plexo::IpGenPrefix::fromText(text);
      if (!p) throw std::runtime_error("not a prefix: " + text);
      xpIpXformEntry e;
      XpAcl::buildXformEntry(*p, label, e);
      ok(aclMgr<xpIpXformMgr>(1 + which)->writeEntry(kDev, index, &e),
         "IP transform writeEntry");
   }
   void portLabel(size_t which, uint16_t port, uint16_t label) {
      aaclL4PortEntry e;
      e.setXformedL4Port(label);
      ok(aclMgr<aaclL4PortMgr>(1 + which)->writeEntry(kDev, port, &e), "L4 port writeEntry");
   }

   uint64_t counted(uint16_t counter) {
      return xpAcmPl::instance()
          ->getMgr<xpAcmBankMgr>(xpPrimitiveMgrBase<xpAcmBankMgr>::idAt(0))
          ->peekPackets(kDev, counter);
   }

   static std::array<uint32_t, 4> address(const std::string& text) {
      const auto p = Plexo::IpGenPrefix::fromText(text);
      if (!p) throw std::runtime_error("not an address: " + text);
      return p->isV6() ? p->v6Prefix().address
                       : std::array<uint32_t, 4>{0, 0, 0, p->v4Prefix().address};
   }
   static xpAclPacket packet(const std::string& src, const std::string& dst, uint8_t proto = 6,
                             uint16_t sport = 1000, uint16_t dport = 80) {
      xpAclPacket p;
      p.devId = kDev;
      p.port = 7;
      p.vlan = 10;
      p.ipv6 = src.find(':') != std::string::npos;
      p.sip = address(src);
      p.dip = address(dst);
      p.protocol = proto;
      p.sport = sport;
      p.dport = dport;
      return p;
   }

   xpAclPl* acl = nullptr;
   xpIfPl* ifPl = nullptr;
};

} // namespace WalkTest
