#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpLogMgr.h"
#include "xdk/xpSdkInit.h"
#include "xpacl/xform/XpAclL4PortXformSm.h"

using namespace XpAcl;
using Orim::L4PortRange;

namespace {

constexpr uint32_t kSize = 1024;
const XpXdk::XpDeviceId dev0(0);
const Orim::ChipId chip0(0);

class L4PortXformSmTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpSdkInit();
      xpLogMgr::instance()->setSink(nullptr);
      xpDeviceProfile small;
      small.l4PortEntries = kSize;
      xpDeviceMgr::instance()->addDevice(0, small);
      xpDeviceMgr::instance()->addDevice(1, xpDeviceProfile{});
      chip = config->chipPortRangeConfigIs(chip0);
   }
   void TearDown() override {
      sm = nullptr;
      xpLogMgr::instance()->setSink(stderr);
   }

   void arm(const char* name = "L4SrcPortXformSm") {
      sm = l4PortXformSmFactory(name, devices, config, status);
      sm->initializedIs(true);
   }
   aaclL4PortMgr* mgr() {
      return xpAclPl::instance()->getMgr<aaclL4PortMgr>(
          xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(aaclL4PortMgr::kSrcInstance));
   }
   void range(uint16_t start, uint16_t end, uint16_t label) {
      chip->activeXformIs(L4PortRange{start, end}, Orim::XformedPortRange{label});
   }
   // Stores a label behind the driver's back.
   void poke(uint32_t port, uint16_t label) {
      aaclL4PortEntry e;
      e.setXformedL4Port(label);
      mgr()->writeEntry(0, port, &e);
   }
   // The device's labels. Reading them starts the counters afresh.
   std::vector<uint16_t> labels(xpsDevice_t dev = 0) {
      uint32_t n = 0;
      mgr()->getNumOfEntry(dev, n);
      std::vector<uint16_t> out(n);
      for (uint32_t i = 0; i < n; ++i) {
         aaclL4PortEntry e;
         mgr()->readEntry(dev, i, &e);
         out[i] = e.getXformedL4Port();
      }
      mgr()->resetCounters();
      return out;
   }
   static std::vector<uint16_t>
   expected(std::initializer_list<std::array<uint32_t, 3>> ranges) {
      std::vector<uint16_t> out(kSize, 0);
      for (const auto& [s, e, l] : ranges) {
         for (uint32_t p = s; p <= e; ++p)
            out[p] = static_cast<uint16_t>(l);
      }
      return out;
   }
   uint64_t writes() { return mgr()->calls("writeEntry"); }

   Norv::Ptr<XpXdk::XpDeviceIdColl> devices = XpXdk::xpDeviceIdCollFactory();
   Norv::Ptr<Orim::PortRangeConfig> config = Orim::portRangeConfigFactory("config");
   Norv::Ptr<Orim::ResourceStatus> status = Orim::resourceStatusFactory("status");
   Norv::Ptr<Orim::ChipPortRangeConfig> chip;
   Norv::Ptr<L4PortXformSm> sm;
};

TEST_F(L4PortXformSmTest, RangesWritePortByPortOnlyWhereTheLabelDiffers) {
   devices->deviceIdIs(dev0, true);
   arm();
   mgr()->resetCounters();
   range(10, 19, 7);
   EXPECT_EQ(writes(), 10u);
   EXPECT_EQ(labels(), expected({{10, 19, 7}}));
   // Two ports already carry the new label: they are read, not written.
   poke(12, 8);
   poke(13, 8);
   mgr()->resetCounters();
   range(10, 19, 8);
   EXPECT_EQ(writes(), 8u);
   EXPECT_EQ(mgr()->calls("readEntry"), 10u);
   mgr()->resetCounters();
   chip->activeXformDel(L4PortRange{10, 19});
   EXPECT_EQ(writes(), 10u);
   EXPECT_EQ(labels(), expected({}));
   range(30, 20, 5); // rangeEnd below rangeStart
   EXPECT_EQ(writes(), 0u);
}

TEST_F(L4PortXformSmTest, AcknowledgesNonZeroRequestsAfterTheWrites) {
   devices->deviceIdIs(dev0, true);
   arm();
   chip->attemptedRequestIdIs(0);
   range(1, 2, 3);
   EXPECT_EQ(status->resourceChipStatusCount(), 0u);
   chip->attemptedRequestIdIs(4.5);
   EXPECT_EQ(status->resourceChipStatus(chip0), (Orim::XformStatus{4.5, true}));
}

TEST_F(L4PortXformSmTest, ActivationWritesLiveRangesThenClearsExactlyTheGaps) {
   range(10, 19, 1);
   range(100, 199, 2);
   range(1000, 1023, 3); // ends at the last index: no gap above it
   arm();                // device absent: nothing happens
   EXPECT_EQ(writes(), 0u);
   // Stale labels everywhere, the ranges' ports already right.
   for (uint32_t p = 0; p < kSize; ++p)
      poke(p, 9);
   for (const auto& [s, e, l] :
        {std::array<uint32_t, 3>{10, 19, 1}, {100, 199, 2}, {1000, 1023, 3}}) {
      for (uint32_t p = s; p <= e; ++p)
         poke(p, static_cast<uint16_t>(l));
   }
   mgr()->resetCounters();
   devices->deviceIdIs(dev0, true);
   EXPECT_EQ(writes(), 10u + 80u + 800u); // below the first range, and between them
   EXPECT_EQ(mgr()->calls("readEntry"), kSize);
   EXPECT_EQ(labels(), expected({{10, 19, 1}, {100, 199, 2}, {1000, 1023, 3}}));

   // Going inactive leaves the table as it is; coming back to a right table writes nothing.
   devices->deviceIdIs(dev0, false);
   chip->activeXformDel(L4PortRange{100, 199});
   EXPECT_EQ(writes(), 0u);
   range(100, 199, 2);
   devices->deviceIdIs(dev0, true);
   EXPECT_EQ(writes(), 0u);
   EXPECT_EQ(mgr()->calls("readEntry"), kSize);
}

TEST_F(L4PortXformSmTest, DeviceWithoutRangesIsClearedWhole) {
   for (uint32_t p = 0; p < kSize; p += 100)
      poke(p, 4);
   arm();
   config->chipPortRangeConfigDel(chip0);
   mgr()->resetCounters();
   devices->deviceIdIs(dev0, true);
   EXPECT_EQ(writes(), 11u);
   EXPECT_EQ(labels(), expected({}));
}

TEST_F(L4PortXformSmTest, RangeEndingAtTheLastPortTerminates) {
   auto chip1 = config->chipPortRangeConfigIs(Orim::ChipId(1));
   chip1->activeXformIs(L4PortRange{65530, 65535}, Orim::XformedPortRange{4});
   devices->deviceIdIs(XpXdk::XpDeviceId(1), true);
   arm();
   EXPECT_EQ(writes(), 6u);
   EXPECT_EQ(labels(1).back(), 4);
}

TEST_F(L4PortXformSmTest, ChipRemovalClearsItsRangesAndStatus) {
   devices->deviceIdIs(dev0, true);
   arm();
   range(5, 6, 1);
   range(9, 8, 2); // skipped
   chip->attemptedRequestIdIs(2);
   mgr()->resetCounters();
   config->chipPortRangeConfigDel(chip0);
   EXPECT_EQ(writes(), 2u);
   EXPECT_EQ(status->resourceChipStatusCount(), 0u);
   EXPECT_EQ(sm->chipPortRangeConfigCount(), 0u);
   try {
      sm->chipPortRangeConfigIs(chip0, nullptr);
      FAIL();
   } catch (const Norv::RangeError& e) {
      EXPECT_STREQ(e.what(), "null _chipPortRangeConfig parameter to mutator for "
                             "XpAcl::L4PortXformSm::chipPortRangeConfig not allowed\"");
   }
}

TEST_F(L4PortXformSmTest, StatusesNineAndFortyTwoCountAsSuccess) {
   devices->deviceIdIs(dev0, true);
   arm();
   mgr()->injectStatus("readEntry", XP_ERR_NO_CHANGE);
   mgr()->injectStatus("writeEntry", XP_ERR_KEY_EXISTS);
   range(1, 3, 6);
   chip->attemptedRequestIdIs(1);
   EXPECT_TRUE(status->resourceChipStatus(chip0).success);
   EXPECT_EQ(labels(), expected({{2, 3, 6}})); // the refused write left port 1 alone
}

TEST_F(L4PortXformSmTest, ShowListsLabelledPortsAndTheTableSize) {
   devices->deviceIdIs(dev0, true);
   arm();
   range(7, 8, 300);
   std::FILE* f = std::tmpfile();
   sm->doShowTblEntries(fileno(f), dev0);
   std::rewind(f);
   char buf[1024] = {};
   (void)std::fread(buf, 1, sizeof buf - 1, f);
   std::fclose(f);
   EXPECT_STREQ(buf, "-------|-----+\nhw     |     |\nIndex  |port |\n-------|-----+\n"
                     "      7|  300|\n      8|  300|\n-------|-----+\n"
                     "Number of valid entries in range of 0 to 1024 : 2\n"
                     "Maximum possible table entries : 1024\n");
}

using L4PortXformSmDeathTest = L4PortXformSmTest;

TEST_F(L4PortXformSmDeathTest, BrokenInvariantsAbort) {
   EXPECT_DEATH(arm("L4PortXformSm"),
                "Assertion `0 && \"unknown SM name for L4PortXformSm\"' failed");
   devices->deviceIdIs(dev0, true);
   arm("L4DstPortXformSm");
   EXPECT_DEATH(sm->initializedIs(false), "Assertion `initialized\\(\\)' failed");
   range(10, 19, 1);
   range(10, 29, 2); // shares the start
   devices->deviceIdIs(dev0, false);
   EXPECT_DEATH(devices->deviceIdIs(dev0, true), "Assertion `!endIter' failed");
   chip->activeXformDel(L4PortRange{10, 29});
   devices->deviceIdIs(dev0, true);
   auto* dst =
       xpAclPl::instance()->getMgr<aaclL4PortMgr>(xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(2));
   dst->injectStatus("writeEntry", XP_ERR_INVALID_INDEX);
   EXPECT_DEATH(range(40, 40, 1), "XpAclL4PortXformSm.cpp:[0-9]+ \\(\\(l4PortMgr\\(\\)->"
                                  "writeEntry\\( devId, entryIndex, &l4PortEntry \\)\\)\\) API "
                                  "ERROR 6\n.*Assertion `!\\(true\\)' failed");
   dst->clearInjectedStatus();
}

} // namespace
