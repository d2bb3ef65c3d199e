#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

#include "norv/Trace.h"
#include "tests/xpacl/StageTestWorld.h"
#include "xdk/xpLogMgr.h"
#include "xpacl/xform/XpAclL4PortXformSm.h"
#include "xpacl/xform/XpAclPrefixXformSm.h"

using namespace XpAclTest;

namespace {

// Every handler, the key-less walks included, opens with its entry line: a reader of the
// trace sees each walk begin even when it finds nothing to visit.
class EntryTraceTest : public ::testing::Test {
protected:
   void SetUp() override {
      xpLogMgr::instance()->setSink(nullptr);
      sink_ = std::tmpfile();
      ASSERT_NE(sink_, nullptr);
      Norv::Trace::textSinkIs(sink_);
      ASSERT_EQ(Norv::Trace::configure("*/8"), "");
   }
   void TearDown() override {
      ASSERT_EQ(Norv::Trace::configure(""), "");
      Norv::Trace::textSinkIs(nullptr);
      std::fclose(sink_);
      xpLogMgr::instance()->setSink(stderr);
   }

   // The first text line that `call` writes.
   std::string firstLine(const std::function<void()>& call) {
      std::fflush(sink_);
      const long start = std::ftell(sink_);
      call();
      std::fflush(sink_);
      std::fseek(sink_, start, SEEK_SET);
      std::string line;
      for (int c; (c = std::fgetc(sink_)) != EOF && c != '\n';)
         line += static_cast<char>(c);
      std::fseek(sink_, 0, SEEK_END);
      return line;
   }
   // A line "<handle>/8 <file>:<line> <function>: <message>".
   static void expectEntry(const std::string& line, const std::string& handle,
                           const std::string& function, const std::string& message) {
      SCOPED_TRACE(function);
      EXPECT_EQ(line.rfind(handle + "/8 ", 0), 0u) << line;
      EXPECT_TRUE(line.ends_with(" " + function + ": " + message)) << line;
   }

   std::FILE* sink_ = nullptr;
   StageTestWorld w;
};

TEST_F(EntryTraceTest, StageAndSeProfileWalks) {
   const Orim::ChipId chip(0);
   w.startStageMgr();
   expectEntry(firstLine([&] { w.stageMgr->handleXpDevice(); }), "XpAclStageMgrSm",
               "handleXpDevice", "AaclStageMgrSm::");

   w.startSeProfileMgr();
   expectEntry(firstLine([&] { w.seMgr->handleChipStageStatus(); }), "XpAclLdeSeProfileMgrSm",
               "handleChipStageStatus", "AaclLdeSeProfileMgrSm::");

   w.stageStatus->aaclChipStageStatusIs(chip);
   auto chipSm = w.seMgr->chipLdeSeProfileMgrSm(chip);
   ASSERT_TRUE(chipSm);
   expectEntry(firstLine([&] { chipSm->handleSeProfileConfigForChipRuleList(); }),
               "XpAclLdeSeProfileMgrSm", "handleSeProfileConfigForChipRuleList",
               "AaclChipLdeSeProfileMgrSm::");

   w.seConfig->chipSeProfileConfig(chip)->configEntryIs(Orim::ChipRuleListId(3));
   auto ruleListSm = chipSm->chipRuleListSeProfileMgrSm(Orim::ChipRuleListId(3));
   ASSERT_TRUE(ruleListSm);
   expectEntry(firstLine([&] { ruleListSm->handleMaskGroupDescriptor(); }),
               "XpAclLdeSeProfileMgrSm", "handleMaskGroupDescriptor",
               "AaclChipRuleListLdeSeProfileMgrSm::");
}

TEST_F(EntryTraceTest, DefaultProfileStageInfoInitialisation) {
   Norv::Ptr<AaclDefaultProfileStageInfo> info;
   expectEntry(
       firstLine([&] {
          info = aaclDefaultProfileStageInfoFactory(XpXdk::XpDeviceId(0), w.systemStatus);
       }),
       "XpAclDefaultProfileStageInfo", "handleInitialized", "AaclDefaultProfileStageInfo::");
   ASSERT_TRUE(info && info->initialized());
   expectEntry(firstLine([&] { info->handleInitialized(); }), "XpAclDefaultProfileStageInfo",
               "handleInitialized", "AaclDefaultProfileStageInfo::");
}

TEST_F(EntryTraceTest, TransformWalks) {
   const Orim::ChipId chip(0);
   auto status = Orim::resourceStatusFactory("status");
   auto ranges = Orim::portRangeConfigFactory("ranges");
   ranges->chipPortRangeConfigIs(chip);
   auto l4 = l4PortXformSmFactory("L4SrcPortXformSm", w.devices, ranges, status);
   l4->initializedIs(true);
   expectEntry(firstLine([&] { l4->handleXpDevice(); }), "XpAclL4PortXformSm", "handleXpDevice",
               "L4PortXformSm::handleXpDevice");
   expectEntry(firstLine([&] { l4->handleChipPortRangeConfig(); }), "XpAclL4PortXformSm",
               "handleChipPortRangeConfig", "L4PortXformSm::handleChipPortRangeConfig");
   auto chipL4 = l4->chipPortRangeConfig(chip);
   ASSERT_TRUE(chipL4);
   expectEntry(firstLine([&] { chipL4->handleActiveXform(); }), "XpAclL4PortXformSm",
               "handleActiveXform", "NorvChipPortRangeConfig::handleActiveXform chipId 0");

   auto prefixes = Orim::ipGenPrefixConfigFactory("prefixes");
   auto prefix = prefixXformSmFactory("SrcV4PrefixXformSm", w.devices, prefixes, status,
                                      prefixXformChipInfoFactory());
   prefix->initializedIs(true);
   expectEntry(firstLine([&] { prefix->handleXpDevice(); }), "XpAclPrefixXformSm",
               "handleXpDevice", "PrefixXformSm::handleXpDevice");
   expectEntry(firstLine([&] { prefix->handleChipIpGenPrefixConfig(); }), "XpAclPrefixXformSm",
               "handleChipIpGenPrefixConfig", "PrefixXformSm::handleChipIpGenPrefixConfig");
}

} // namespace
