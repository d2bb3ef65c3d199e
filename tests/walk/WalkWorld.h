#pragma once

// A chip whose ACL tables are written the way the driver writes them (its own key and
// key-select layouts, its transform entry), for tests of the packet walk: what the walk finds
// is then checked against a writer it does not share code with.
#include <gtest/gtest.h>

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

class WalkWorld : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      ASSERT_EQ(xpDeviceMgr::instance()->addDevice(kDev), XP_NO_ERR);
      acl = xpAclPl::instance();
      ifPl = xpIfPl::instance();
   }
   void TearDown() override { xpLogMgr::instance()->setSink(stderr); }

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
      ASSERT_EQ(ifMgr<xpPortConfigMgr>()->writeEntry(kDev, port, &e), XP_NO_ERR);
   }
   void bindPortVlan(uint16_t port, uint16_t vlan, uint8_t aclId, bool v4, bool v6) {
      xpPortVlanIvifEntry e{{port, vlan}, {aclId, static_cast<uint8_t>(v4 | v6 << 1)}};
      xpsHashIndexList list;
      ASSERT_EQ(ifMgr<xpPortVlanIvifMgr>()->addEntry(kDev, 0, &e, &list), XP_NO_ERR);
   }
   void bindEgress(uint16_t vif, uint16_t vlan, uint8_t pacl, bool pv4, bool pv6, uint8_t racl,
                   bool rv4, bool rv6) {
      xpEgressBdEvifEntry e{{vif, vlan},
                            {xpEgressBdEvifData::pack(pacl, pv4, pv6, racl, rv4, rv6)}};
      xpsHashIndexList list;
      ASSERT_EQ(ifMgr<xpEgressBdEvifMgr>()->addEntry(kDev, &e, &list), XP_NO_ERR);
   }

   // The key-select entry that sends hardware index `hwIndex` of `type` to rule list `list`
   // with the fields of `mg` at `stage`.
   void keySelect(uint32_t stage, uint8_t hwIndex, TableType type, bool egress, uint8_t list,
                  const Orim::MaskGroupDescriptor& mg) {
      const Orim::ChipRuleListIdKey key(
          hwIndex, 0, type, egress ? Orim::AclDirection::out : Orim::AclDirection::in);
      const auto fields = XpAcl::mgksEntryFields(key, Orim::ChipRuleListId(list), mg, 0);
      ASSERT_TRUE(fields);
      const xpMgksEntry e = XpAcl::packMgksEntry(*fields);
      uint32_t index = 0, rehash = 0;
      ASSERT_EQ(aclMgr<xpMgksMgr>()->addEntry(kDev, stage + 1, &e, index, rehash), XP_NO_ERR);
   }

   static xpAaclMgTableEntryKey keyOf(const TestRule& r) {
      xpAaclMgTableEntryKey key;
      XpAcl::fillMgTableEntryKey(Orim::ChipRuleListId(r.list),
                                 r.egress ? Acl::AclDirection::out : Acl::AclDirection::in,
                                 r.pd, r.mg, key);
      return key;
   }
   // Writes the rule where its key hashes in its way; returns its hardware index.
   uint32_t write(const TestRule& r) {
      const xpAaclMgTableEntryKey key = keyOf(r);
      uint32_t hash = 0;
      auto* mg = aclMgr<xpAaclMgTableMgr>();
      EXPECT_EQ(mg->hashIndexInWay(kDev, r.stage, r.way, &key, hash), XP_NO_ERR);
      xpAaclMgTableEntry e;
      e.key = key;
      e.data.word[0] = static_cast<uint16_t>(r.permit | r.log << 1 | r.counter << 3);
      e.data.word[1] = r.hwPriority;
      const uint32_t index = (r.way << kWayShift) + hash;
      EXPECT_EQ(mg->writeKeyAndControlData(kDev, r.stage, index, &e), XP_NO_ERR);
      return index;
   }

   // A prefix in slot `index` of the source (which 0) or destination (1) transform table.
   void prefix(size_t which, uint32_t index, const std::string& text, uint32_t label) {
      const auto p = Plexo::IpGenPrefix::fromText(text);
      ASSERT_TRUE(p) << text;
      xpIpXformEntry e;
      XpAcl::buildXformEntry(*p, label, e);
      ASSERT_EQ(aclMgr<xpIpXformMgr>(1 + which)->writeEntry(kDev, index, &e), XP_NO_ERR);
   }
   void portLabel(size_t which, uint16_t port, uint16_t label) {
      aaclL4PortEntry e;
      e.setXformedL4Port(label);
      ASSERT_EQ(aclMgr<aaclL4PortMgr>(1 + which)->writeEntry(kDev, port, &e), XP_NO_ERR);
   }

   uint64_t counted(uint16_t counter) {
      return xpAcmPl::instance()
          ->getMgr<xpAcmBankMgr>(xpPrimitiveMgrBase<xpAcmBankMgr>::idAt(0))
          ->peekPackets(kDev, counter);
   }

   static std::array<uint32_t, 4> address(const std::string& text) {
      const auto p = Plexo::IpGenPrefix::fromText(text);
      EXPECT_TRUE(p) << text;
      return p && p->isV6() ? p->v6Prefix().address
                            : std::array<uint32_t, 4>{0, 0, 0, p ? p->v4Prefix().address : 0};
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
