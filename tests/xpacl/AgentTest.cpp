#include <gtest/gtest.h>

#include "xpacl/agent/XpAclAgentCommon.h"
#include "xpacl/agent/XpAclCorvoOrimAclHelper.h"

using namespace XpAcl;
using Corvo::Central::ChipInfo;
using Corvo::Central::DeviceId;

namespace {

ChipInfo chip(uint32_t dev, const std::string& name = "c") {
   ChipInfo c{DeviceId(dev)};
   c.chipNameIs(name);
   c.chipModelIs("Xp80");
   c.intfIs(Plexo::IntfId::ethernet(1), true);
   c.intfIs(Plexo::IntfId::ethernet(2), true);
   c.hwRevisionIs(3);
   c.portCountIs(64);
   c.coreClockMhzIs(900);
   c.pciDeviceIdIs(0x1234);
   c.coreVoltageIs(0.9);
   return c;
}

TEST(CommonData, DevInfoCopiesTheWholeDescription) {
   auto d = xpAclCommonSmDataFactory("cd");
   auto info = d->devInfoIs(chip(4, "four"));
   EXPECT_EQ(info->deviceId(), DeviceId(4));
   EXPECT_EQ(info->chipName(), "four");
   EXPECT_EQ(info->intfCount(), 2u);
   EXPECT_TRUE(info->intf(Plexo::IntfId::ethernet(2)));
   EXPECT_EQ(info->pciDeviceId(), 0x1234);
   EXPECT_DOUBLE_EQ(info->coreVoltage(), 0.9);
   EXPECT_EQ(info->chipInfo(), chip(4, "four"));
}

TEST(CommonData, DevInfoReinstantiationRule) {
   auto d = xpAclCommonSmDataFactory("cd");
   auto first = d->devInfoIs(chip(1));
   EXPECT_EQ(d->devInfoIs(chip(1)).ptr(), first.ptr());
   try {
      d->devInfoIs(chip(1, "renamed"));
      FAIL() << "a changed description must not replace the member silently";
   } catch (const Norv::NameInUseError& e) {
      const std::string what = e.what();
      EXPECT_EQ(
          what.rfind("Reinstantiating the pointer interface where constructor parameter "
                     "attribute _chipInfo has a different value of Value('Corvo::Central::"
                     "ChipInfo', ** {'deviceId': 1, 'chipName': renamed",
                     0),
          0u)
          << what;
      EXPECT_NE(what.find(" than the current value of Value('Corvo::Central::ChipInfo', ** "
                          "{'deviceId': 1, 'chipName': c,"),
                std::string::npos);
      EXPECT_EQ(what.substr(what.size() - 12), " not allowed");
   }
   d->devInfoDel(DeviceId(1));
   EXPECT_EQ(d->devInfoIs(chip(1, "renamed"))->chipName(), "renamed");
}

TEST(CommonData, EqualDescriptionReturnsTheMemberWhateverItsInterfaceFlags) {
   // Interface flags are part of the description: a member built with a flag cleared must
   // compare equal to the same description, and differ from the one with the flag set.
   auto d = xpAclCommonSmDataFactory("cd");
   ChipInfo mixed = chip(5);
   mixed.intfIs(Plexo::IntfId::ethernet(2), false);
   auto first = d->devInfoIs(mixed);
   EXPECT_EQ(first->chipInfo(), mixed);
   EXPECT_EQ(d->devInfoIs(mixed).ptr(), first.ptr());
   EXPECT_THROW(d->devInfoIs(chip(5)), Norv::NameInUseError);
   EXPECT_EQ(d->devInfo(DeviceId(5)).ptr(), first.ptr());
}

TEST(CommonData, CollectionsAreIndependentAndLookupsDefault) {
   auto d = xpAclCommonSmDataFactory("cd");
   d->devInfoIs(chip(1));
   d->devInfoIs(chip(2));
   d->intfToDevIdIs(Plexo::IntfId::ethernet(1), DeviceId(1));
   d->portToLagIs(Plexo::IntfId::ethernet(1), Plexo::IntfId::portChannel(5));
   d->devInfoDelAll();
   EXPECT_EQ(d->devInfoCount(), 0u);
   EXPECT_EQ(d->intfToDevId(Plexo::IntfId::ethernet(1)), DeviceId(1));
   EXPECT_TRUE(d->intfToDevId(Plexo::IntfId::ethernet(9)).isNull());
   EXPECT_TRUE(d->portToLag(Plexo::IntfId::ethernet(9)).isEmpty());
   EXPECT_FALSE(d->devInfo(DeviceId(1)));
   d->devInfoDel(DeviceId(7)); // absent: nothing
}

TEST(CommonData, NotifiesKeyedChangesIncludingTheInheritedMap) {
   auto d = xpAclCommonSmDataFactory("cd");
   struct N : XpAclCommonSmData::NotifieeConst {
      using NotifieeConst::NotifieeConst;
      std::vector<std::string> seen;
      void onDevInfo(const DeviceId& k) override { seen.push_back("dev" + k.text()); }
      void onIntfToDevId(const Plexo::IntfId& k) override { seen.push_back(k.text()); }
      void onPortToLag(const Plexo::IntfId& k) override { seen.push_back("lag " + k.text()); }
   } n(nullptr, d);
   d->devInfoIs(chip(3));
   d->devInfoIs(chip(3)); // same member: nothing
   d->intfToDevIdIs(Plexo::IntfId::ethernet(4), DeviceId(3));
   d->portToLagIs(Plexo::IntfId::ethernet(4), Plexo::IntfId::portChannel(1));
   d->devInfoDel(DeviceId(3));
   EXPECT_EQ(n.seen, (std::vector<std::string>{"dev3", "Ethernet4", "lag Ethernet4", "dev3"}));
}

TEST(CommonData, NewDevInfoRefusesNothingAndDeviceIdIsRangeChecked) {
   auto d = xpAclCommonSmDataFactory("cd");
   EXPECT_TRUE(d->newDevInfo(chip(2)));
   try {
      DeviceId bad(0x10000);
      FAIL();
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "DeviceId::value < DeviceId::min or > DeviceId::null not allowed");
   }
}

TEST(AclHelper, HwInitDeclaresTheChipsCapabilitiesInOrder) {
   auto h = corvoOrimAclHelperFactory(nullptr, nullptr, nullptr, nullptr, nullptr);
   // Start from the opposite of every declared value, so each must be written.
   h->aclDscpSupportedIs(true);
   h->aclTcSupportedIs(true);
   h->aclEcnSupportedIs(true);
   h->macAclSupportedIs(true);
   h->macEgressAclSupportedIs(true);
   h->supportedTcpFlagsIs(Acl::TcpFlag(0x3f));
   struct N : CorvoHelper::AclHelper::NotifieeConst {
      using NotifieeConst::NotifieeConst;
      std::string order;
      void onRevertIncompleteAclSupported() override { order += "1,"; }
      void onAclDscpSupported() override { order += "5,"; }
      void onAclTcSupported() override { order += "11,"; }
      void onSupportedTcpFlags() override { order += "19,"; }
      void onInstallImplicitIcmp6Rules() override { order += "23,"; }
      void onDpIp6AclFullMaskSupported() override { order += "24,"; }
   } n(nullptr, h);
   h->hwInit();
   EXPECT_EQ(n.order, "1,5,11,19,23,24,");
   EXPECT_TRUE(h->revertIncompleteAclSupported() && h->aclBatchCommitSupported() &&
               h->deferredOperationsSupported() && h->routerAclSupported() &&
               h->ip6AclSupported() && h->ipEgressAclSupported() &&
               h->routerEgressAclSupported() && h->ip6EgressAclSupported() &&
               h->ip6RouterEgressAclSupported() && h->aclLoggingSupported() &&
               h->routerAclLoggingSupported() && h->permitDuringAclUpdate() &&
               h->dscpFilterSupported() && h->ecnFilterSupported() &&
               h->aclCountersSupported() && h->establishedSupported() &&
               h->dpIp6AclFullMaskSupported());
   EXPECT_FALSE(h->aclDscpSupported() || h->aclTcSupported() || h->aclEcnSupported() ||
                h->macAclSupported() || h->macEgressAclSupported());
   EXPECT_TRUE(h->supportedTcpFlags().empty()); // the empty set, not all flags
   EXPECT_EQ(static_cast<int>(h->installImplicitIcmp6Rules()), 1);
   n.order.clear();
   h->hwInit(); // again: the same values, so nothing changes
   EXPECT_EQ(n.order, "");
}

} // namespace
