#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "norv/LogHandle.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpIpXformMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/xform/XpAclPrefixXformSm.h"

using namespace XpAcl;
using Plexo::IpGenPrefix;

namespace {

constexpr uint32_t kSize = 4;
const XpXdk::XpDeviceId dev0(0);
const Orim::ChipId chip0(0);

IpGenPrefix pfx(const char* text) {
   return *IpGenPrefix::fromText(text);
}

// The source reactors of both families on one device whose table has four slots.
class PrefixXformSmTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      Norv::LogHandle::sinkIs([](const Norv::LogHandle&, const std::string&) {});
      xpDeviceProfile small;
      small.ipXformEntries = kSize;
      xpDeviceMgr::instance()->addDevice(0, small);
      devices->deviceIdIs(dev0, true);
      v4 = v4Config->chipIpGenPrefixConfigIs(chip0);
      v6 = v6Config->chipIpGenPrefixConfigIs(chip0);
      v4Sm = prefixXformSmFactory("SrcV4PrefixXformSm", devices, v4Config, status, chipInfo);
      v6Sm = prefixXformSmFactory("SrcV6PrefixXformSm", devices, v6Config, status6, chipInfo);
      v4Sm->initializedIs(true);
      v6Sm->initializedIs(true);
      mgr()->resetCounters();
   }
   void TearDown() override {
      v4Sm = v6Sm = nullptr;
      Norv::LogHandle::sinkIs(nullptr);
      xpLogMgr::instance()->setSink(stderr);
   }

   xpIpXformMgr* mgr() {
      return xpAclPl::instance()->getMgr<xpIpXformMgr>(
          xpPrimitiveMgrBase<xpIpXformMgr>::idAt(xpIpXformMgr::kSrcInstance));
   }
   Quill::Bitmap& bitmap() { return *chipInfo->hwTableBitMap(chip0); }
   // "prefix=label" per valid slot, "-" for an invalid one.
   std::string table() {
      std::string out;
      for (uint32_t i = 0; i < kSize; ++i) {
         xpIpXformEntry e;
         bool valid = false;
         mgr()->readEntry(0, i, &e, valid);
         if (!valid) {
            out += "- ";
            continue;
         }
         out += std::to_string(e.ipType) + ":" + std::to_string(e.prefixLen) + "=" +
                std::to_string(e.xformedIp) + " ";
      }
      return out;
   }
   void attempt(Norv::Ptr<Orim::ChipIpGenPrefixConfig>& cfg,
                std::initializer_list<std::pair<const char*, uint32_t>> set, double id) {
      cfg->attemptedXformDelAll();
      for (const auto& [p, l] : set)
         cfg->attemptedXformIs(pfx(p), Orim::XformedIpPrefix{l});
      cfg->attemptedRequestIdIs(id);
   }
   void activate(Norv::Ptr<Orim::ChipIpGenPrefixConfig>& cfg, double id) {
      cfg->activeXformDelAll();
      for (auto it = cfg->attemptedXformColl().begin(); it; ++it) {
         cfg->activeXformIs(it.key(), it.value());
      }
      cfg->activeRequestIdIs(id);
   }
   uint32_t index(Norv::Ptr<PrefixXformSm>& sm, const char* p, bool active = false) {
      auto c = sm->chipPrefixConfig(chip0);
      return active ? c->activeAlloc(pfx(p)) : c->attemptedAlloc(pfx(p));
   }

   Norv::Ptr<XpXdk::XpDeviceIdColl> devices = XpXdk::xpDeviceIdCollFactory();
   Norv::Ptr<Orim::IpGenPrefixConfig> v4Config = Orim::ipGenPrefixConfigFactory("v4");
   Norv::Ptr<Orim::IpGenPrefixConfig> v6Config = Orim::ipGenPrefixConfigFactory("v6");
   Norv::Ptr<Orim::ResourceStatus> status = Orim::resourceStatusFactory("status");
   Norv::Ptr<Orim::ResourceStatus> status6 = Orim::resourceStatusFactory("status6");
   Norv::Ptr<PrefixXformChipInfo> chipInfo = prefixXformChipInfoFactory();
   Norv::Ptr<Orim::ChipIpGenPrefixConfig> v4, v6;
   Norv::Ptr<PrefixXformSm> v4Sm, v6Sm;
};

TEST_F(PrefixXformSmTest, AttemptAllocatesInPrefixOrderAndActivationWritesTheSet) {
   attempt(v4, {{"192.168.1.0/24", 9}, {"10.0.0.0/8", 7}, {"0.0.0.0/0", 0}}, 1);
   EXPECT_EQ(status->resourceChipStatus(chip0), (Orim::XformStatus{1, true}));
   EXPECT_EQ(mgr()->calls("writeEntry"), 0u);
   EXPECT_EQ(index(v4Sm, "10.0.0.0/8"), 0u);
   EXPECT_EQ(index(v4Sm, "192.168.1.0/24"), 1u);
   EXPECT_EQ(bitmap().count(), 2u); // the default route takes no index
   attempt(v6, {{"2001:db8::/32", 5}, {"::/0", 6}}, 1);
   EXPECT_EQ(index(v6Sm, "::/0"), 2u); // the families share one index space
   EXPECT_EQ(index(v6Sm, "2001:db8::/32"), 3u);

   activate(v4, 2);
   // The catch-all goes to index 0 first, then the prefix owning index 0 overwrites it.
   EXPECT_EQ(mgr()->calls("writeEntry"), 3u);
   EXPECT_EQ(table(), "3:8=7 3:24=9 - - ");
   activate(v6, 2);
   EXPECT_EQ(table(), "3:8=7 3:24=9 4:0=6 4:32=5 ");
   xpIpXformEntry e;
   bool valid;
   mgr()->readEntry(0, 1, &e, valid);
   const auto* bytes = reinterpret_cast<const uint8_t*>(e.ipAddr.data());
   EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 4), (std::vector<uint8_t>{192, 168, 1, 0}));
}

TEST_F(PrefixXformSmTest, RequestsThatDoNotFitChangeNothing) {
   attempt(v4, {{"10.0.0.0/8", 1}, {"11.0.0.0/8", 2}}, 1);
   activate(v4, 2);
   attempt(v6, {{"2001:db8::/32", 3}}, 1);
   const auto words = bitmap().words();
   const std::string before = table();
   mgr()->resetCounters();

   attempt(v6, {{"2001:db8::/32", 3}, {"2001:db9::/32", 4}}, 3); // one slot short
   EXPECT_EQ(status6->resourceChipStatus(chip0), (Orim::XformStatus{3, false}));
   EXPECT_EQ(bitmap().words(), words);
   attempt(v4,
           {{"10.0.0.0/8", 1},
            {"12.0.0.0/8", 2},
            {"13.0.0.0/8", 2},
            {"14.0.0.0/8", 2},
            {"15.0.0.0/8", 2}},
           3);
   EXPECT_EQ(status->resourceChipStatus(chip0), (Orim::XformStatus{3, false}));
   EXPECT_EQ(bitmap().words(), words);
   EXPECT_EQ(v4Sm->chipPrefixConfig(chip0)->attemptedAllocCount(), 0u);
   EXPECT_EQ(index(v4Sm, "11.0.0.0/8", true), 1u);

   attempt(v6, {{"2001:db8::/32", 3}, {"::a00:1/128", 4}}, 4);
   EXPECT_EQ(status6->resourceChipStatus(chip0), (Orim::XformStatus{4, false}));
   EXPECT_EQ(bitmap().words(), words);
   EXPECT_EQ(table(), before);
   EXPECT_EQ(mgr()->calls("writeEntry") + mgr()->calls("removeEntry"), 0u);
}

TEST_F(PrefixXformSmTest, UnsupportedIpv6PrefixIsLoggedOnce) {
   std::vector<std::string> messages;
   Norv::LogHandle::sinkIs([&](const Norv::LogHandle& h, const std::string& m) {
      messages.push_back(h.name() + " " + std::to_string(h.severity()) + " " + m);
   });
   attempt(v6, {{"::/0", 1}, {"::1.2.3.4/127", 2}}, 1);
   EXPECT_FALSE(status6->resourceChipStatus(chip0).success);
   ASSERT_EQ(messages.size(), 1u);
   EXPECT_EQ(messages[0], "ACL_UNSUPPORTED_IPV6_MASK 3 IPv6 address ::102:304/127 with most "
                          "significant 96 bits masked is not supported in ACL rules.");
}

TEST_F(PrefixXformSmTest, DroppedPrefixKeepsItsEntryUntilTheChipGoes) {
   attempt(v4, {{"10.0.0.0/8", 1}, {"11.0.0.0/8", 2}, {"12.0.0.0/8", 3}}, 1);
   activate(v4, 2);
   attempt(v4, {{"10.0.0.0/8", 1}, {"11.0.0.0/8", 5}}, 3);
   activate(v4, 4);
   EXPECT_EQ(table(), "3:8=1 3:8=5 3:8=3 - ");
   EXPECT_FALSE(bitmap().isSet(2));

   // Deactivation keeps the entries and the bitmap; removing the configuration clears them.
   const Quill::Bitmap* map = &bitmap();
   mgr()->resetCounters();
   devices->deviceIdIs(dev0, false);
   EXPECT_EQ(mgr()->calls("removeEntry"), 0u);
   devices->deviceIdIs(dev0, true);
   EXPECT_EQ(&bitmap(), map);
   v4Config->chipIpGenPrefixConfigDel(chip0);
   EXPECT_EQ(mgr()->calls("removeEntry"), 2u);
   EXPECT_EQ(table(), "- - 3:8=3 - ");
   EXPECT_EQ(bitmap().count(), 0u);
   EXPECT_EQ(status->resourceChipStatusCount(), 0u);
}

TEST_F(PrefixXformSmTest, ShowPrintsValidEntries) {
   attempt(v4, {{"10.1.0.0/16", 42}}, 1);
   activate(v4, 2);
   std::FILE* f = std::tmpfile();
   v4Sm->doShowTblEntries(fileno(f), dev0);
   std::rewind(f);
   char buf[2048] = {};
   (void)std::fread(buf, 1, sizeof buf - 1, f);
   std::fclose(f);
   EXPECT_EQ(std::string(buf),
             "|  Idx |  Prefix                                            | Xformed IP |\n"
             "|-----------------------------------------------------------|------------|\n"
             "|    0 |" +
                 std::string(40, ' ') +
                 "10.1.0.0/16 | 0000000042 |\n"
                 "Number of valid entries in range of 0 to 4 : 1\n"
                 "Maximum possible table entries : 4\n");
}

using PrefixXformSmDeathTest = PrefixXformSmTest;

TEST_F(PrefixXformSmDeathTest, BrokenProtocolAborts) {
   EXPECT_DEATH(prefixXformSmFactory("V4PrefixXformSm", devices, v4Config, status, chipInfo)
                    ->initializedIs(true),
                "Assertion `0 && \"unknown SM name for L4PortXformSm\"' failed");
   v4->activeXformIs(pfx("10.0.0.0/8"), Orim::XformedIpPrefix{1});
   EXPECT_DEATH(v4->activeRequestIdIs(1),
                "Assertion `attemptedAllocIteratorConst\\(\\).isMemberOf\\( iter.key\\(\\) "
                "\\)' failed");
   EXPECT_DEATH(v4Sm->writeEntry(dev0, 1, pfx("10.0.0.0/8"), 0),
                "Assertion `0 && \"unexpected v4 default entry\"' failed");
}

} // namespace
