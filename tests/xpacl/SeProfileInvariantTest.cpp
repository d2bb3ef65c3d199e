#include <gtest/gtest.h>

#include <random>

#include "tests/xpacl/StageTestWorld.h"

using namespace XpAclTest;

namespace {

// Whatever the order of devices coming and going, stages vanishing and rule lists asking and
// withdrawing, the status tree mirrors the configuration: no member without its configuration,
// every answerable request answered with a profile that really carries its lengths.
class SeProfileInvariant {
public:
   explicit SeProfileInvariant(StageTestWorld& w) : w_(w) {}

   void check() const {
      for (auto c = w_.seStatus->chipSeProfileStatusColl().begin(); c; ++c) {
         auto config = w_.seConfig->chipSeProfileConfig(c.key());
         ASSERT_TRUE(config) << "status of chip " << c.key().text() << " without configuration";
         ASSERT_TRUE(w_.stageStatus->aaclChipStageStatus(c.key()));
         for (auto e = c.value()->statusEntryColl().begin(); e; ++e) {
            auto entry = config->configEntry(e.key());
            ASSERT_TRUE(entry) << "status of rule list " << e.key().text() << " without config";
            for (auto s = e.value()->stageStatusColl().begin(); s; ++s) {
               ASSERT_TRUE(entry->maskGroupDescriptorColl().contains(s.key()))
                   << "stage status " << s.key().text() << " without a mask group";
            }
         }
      }
      for (auto c = w_.seConfig->chipSeProfileConfigColl().begin(); c; ++c) {
         auto stages = w_.stageStatus->aaclChipStageStatus(c.key());
         auto status = w_.seStatus->chipSeProfileStatus(c.key());
         ASSERT_TRUE(stages && status);
         for (auto e = c.value()->configEntryColl().begin(); e; ++e) {
            auto statusEntry = status->statusEntry(e.key());
            ASSERT_TRUE(statusEntry);
            for (auto m = e.value()->maskGroupDescriptorColl().begin(); m; ++m) {
               auto stage = stages->aaclStageDescriptor(m.key());
               if (!stage) continue; // answered when the stage arrives
               auto st = statusEntry->stageStatus(m.key());
               ASSERT_TRUE(st) << "request at stage " << m.key().text() << " not answered";
               ASSERT_EQ(st->maskGroupDescriptor(), m.value());
               checkAnswer(*st, *stage->ldeMgTableLookupDesc().ldeSeProfileSet());
            }
         }
      }
   }

private:
   static void checkAnswer(const AaclSeProfileStageStatus& st, const AaclSeProfileSet& set) {
      const uint8_t sip = st.maskGroupDescriptor().srcIpMaskLength();
      const uint8_t dip = st.maskGroupDescriptor().dstIpMaskLength();
      auto fits = [&](const AaclSuperkeyFields& f) {
         return (!sip || f.sipLen(sip)) && (!dip || f.dipLen(dip));
      };
      if (!sip && !dip) {
         ASSERT_EQ(st.result(), AaclSeProfileStatusResult::seProfileNotApplicable);
         ASSERT_EQ(st.ldeSeProfileId().value(), 0);
         return;
      }
      bool any = false;
      for (auto p = set.aaclSuperkeyFieldsColl().begin(); p; ++p)
         any = any || fits(p.value());
      if (!any) {
         ASSERT_EQ(st.result(), AaclSeProfileStatusResult::seProfileNotAvailable);
         ASSERT_EQ(st.ldeSeProfileId().value(), 8);
         return;
      }
      ASSERT_EQ(st.result(), AaclSeProfileStatusResult::seProfileFoundRequired);
      const auto* chosen = set.aaclSuperkeyFieldsColl().find(st.ldeSeProfileId());
      ASSERT_TRUE(chosen && fits(*chosen));
   }

   StageTestWorld& w_;
};

TEST(SeProfileInvariantTest, StatusNeverOutlivesItsConfigurationUnderRandomChanges) {
   StageTestWorld w;
   w.startStageMgr();
   w.startSeProfileMgr();
   for (uint8_t dev = 0; dev < 3; ++dev)
      w.addDevice(dev);
   const SeProfileInvariant invariant(w);
   std::mt19937 rng(20240611);
   auto pick = [&](uint32_t n) { return static_cast<uint32_t>(rng() % n); };
   const uint8_t lengths[] = {0, 0, 1, 3, 16, 24};

   for (int step = 0; step < 3000; ++step) {
      const Orim::ChipId chip(pick(3));
      const Orim::ChipRuleListId rl(pick(5));
      const Orim::StageId stage(pick(7)); // stage 6 never has a descriptor
      auto config = w.seConfig->chipSeProfileConfig(chip);
      switch (pick(10)) {
      case 0:
         w.deviceUp(static_cast<uint8_t>(chip.value()), pick(2) == 0);
         break;
      case 1:
         if (auto stages = w.stageStatus->aaclChipStageStatus(chip)) {
            stages->aaclStageDescriptorDel(stage);
         }
         break;
      case 2:
         if (config) config->configEntryDel(rl);
         break;
      case 3:
      case 4:
         if (config && config->configEntry(rl)) {
            config->configEntry(rl)->maskGroupDescriptorDel(stage);
         }
         break;
      default:
         if (config) {
            Orim::MaskGroupDescriptor d;
            d.srcIpMaskLengthIs(lengths[pick(6)]);
            d.dstIpMaskLengthIs(lengths[pick(6)]);
            config->configEntryIs(rl)->maskGroupDescriptorIs(stage, d);
         }
      }
      invariant.check();
      if (::testing::Test::HasFatalFailure()) FAIL() << "at step " << step;
   }
}

} // namespace
