// Stages and SE profiles in the simulator: the per-device profile stage info and hardware
// capability the agent publishes, the stage and SE-profile managers, the SE-profile requests of
// rule lists, and dumps of what the managers publish.
#include <algorithm>
#include <vector>

#include "platform/OrimDataFlow.h"
#include "sim/ConfigDump.h"
#include "sim/MaskGroupWords.h"
#include "sim/Sim.h"
#include "sim/SimArgs.h"
#include "xpacl/model/XpAaclDefaultProfileStageInfo.h"
#include "xpacl/stage/XpAclLdeSeProfileMgrSm.h"
#include "xpacl/stage/XpAclOrimStageMgrSm.h"

namespace Sim {

namespace {

using namespace XpAcl;

constexpr uint64_t kMaxChip = 63;
constexpr uint64_t kMaxId = 0xffffffff;
constexpr uint64_t kMaxMaskLength = 255;
// The chip's rule priority field is 13 bits wide.
constexpr uint16_t kPriorityFieldMaxCount = 0x1fff;

// The agent's side of a device's arrival: the device's pipeline profile (the default one) and
// its chip's hardware capability exist from the moment the device is known until it goes.
class DeviceProfileAgent : public Norv::Reactor {
public:
   NORV_ENTITY("Sim::DeviceProfileAgent")
   class NorvDevices : public XpXdk::XpDeviceIdColl::NotifieeConst {
   public:
      NorvDevices(DeviceProfileAgent* r, Norv::Ptr<const XpXdk::XpDeviceIdColl> n)
          : NotifieeConst(r, std::move(n)), r_(r) {}
      void onDeviceId(const XpXdk::XpDeviceId& dev) override { r_->handleDevice(dev); }

   private:
      DeviceProfileAgent* r_;
   };

   DeviceProfileAgent(const SimWorld& w, Norv::Ptr<AaclProfileStageInfo> info)
       : devices_(w.devices), systemStatus_(w.systemStatus), hwCap_(w.hwCapabilityColl),
         info_(std::move(info)), notifiee_(this, w.devices) {
      for (auto it = devices_->deviceIdColl().begin(); it; ++it)
         handleDevice(it.key());
   }

   void handleDevice(const XpXdk::XpDeviceId& dev) {
      const Orim::ChipId chip = XpXdk::chipIdOf(dev);
      if (!devices_->deviceIdColl().contains(dev)) {
         info_->chipProfileStageInfoDel(dev);
         hwCap_->chipHwCapabilityDel(chip);
         return;
      }
      if (!info_->chipProfileStageInfo(dev)) {
         info_->chipProfileStageInfoIs(aaclDefaultProfileStageInfoFactory(dev, systemStatus_));
      }
      if (!hwCap_->chipHwCapability(chip)) {
         hwCap_->chipHwCapabilityIs(chip)->priorityFieldMaxCountIs(kPriorityFieldMaxCount);
      }
   }

private:
   Norv::Ptr<const XpXdk::XpDeviceIdColl> devices_;
   Norv::Ptr<const XpSystem::SystemStatus> systemStatus_;
   Norv::Ptr<Orim::HwCapabilityColl> hwCap_;
   Norv::Ptr<AaclProfileStageInfo> info_;
   NorvDevices notifiee_;
};

Orim::ChipRuleListId ruleListArg(const Args& a, size_t i) {
   return Orim::ChipRuleListId(static_cast<uint32_t>(a.number(i, "rule list id", kMaxId)));
}

std::string chipText(const Orim::ChipId& chip) {
   return "chip " + chip.text();
}

Norv::Ptr<AaclChipSeProfileConfig> requireChipConfig(Simulator& s, const Orim::ChipId& chip) {
   // The driver keeps the chip's configuration while the device is up, as far as it has heard.
   if (s.world().batch.changed(SimBatch::deviceKey(chip.value()))) {
      throw Error("device " + chip.text() +
                  " changed in this batch, and the driver publishes " +
                  "or withdraws its SE-profile configuration only when it hears of it (close " +
                  "the batch first)");
   }
   auto c =
       s.world().get<AaclSeProfileConfig>("aaclSeProfileConfig")->chipSeProfileConfig(chip);
   if (!c) throw Error(chipText(chip) + " has no stage status yet (is its device up?)");
   s.world().batch.touch(SimBatch::chipKey(chip.value()));
   return c;
}

std::string removedKey(const Orim::ChipId& chip, const Orim::ChipRuleListId& ruleList) {
   return "removed rule list " + chip.text() + " " + ruleList.text();
}

void seProfileConfig(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   const auto ruleList = ruleListArg(a, 1);
   const auto stage = stageArg(a, 2);
   const Orim::MaskGroupDescriptor mgd = maskGroupArgs(a, 3, kMaxMaskLength);
   // One notification would carry the removal and the new entry: the driver would find the
   // rule list's entry replaced under its key, which it refuses.
   if (s.world().batch.changed(removedKey(chip, ruleList))) {
      throw Error("rule list " + ruleList.text() + " on " + chipText(chip) +
                  " was removed in this batch, and the driver would see its configuration "
                  "replaced rather than removed and added (close the batch first)");
   }
   requireChipConfig(s, chip)->configEntryIs(ruleList)->maskGroupDescriptorIs(stage, mgd);
}

void seProfileRemove(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   const auto ruleList = ruleListArg(a, 1);
   const bool oneStage = a.has(2);
   const Orim::StageId stage = oneStage ? stageArg(a, 2) : Orim::StageId();
   a.atMost(3);
   auto config = requireChipConfig(s, chip);
   auto entry = config->configEntry(ruleList);
   if (!entry) {
      throw Error(chipText(chip) + " has no SE-profile configuration for rule list " +
                  ruleList.text());
   }
   if (!oneStage) {
      s.world().batch.touch(removedKey(chip, ruleList));
      config->configEntryDel(ruleList);
      return;
   }
   if (!entry->maskGroupDescriptorColl().contains(stage)) {
      throw Error("rule list " + ruleList.text() + " on " + chipText(chip) +
                  " has no mask group at stage " + stage.text());
   }
   entry->maskGroupDescriptorDel(stage);
}

// The keys of a collection in ascending order, whatever its own order.
template <class Coll>
auto sortedKeys(const Coll& c) {
   std::vector<std::remove_cvref_t<decltype(c.begin().key())>> keys;
   for (auto it = c.begin(); it; ++it)
      keys.push_back(it.key());
   std::sort(keys.begin(), keys.end());
   return keys;
}

template <class Set>
std::string lengths(const Set& set) {
   std::string out;
   for (auto len : sortedKeys(set))
      out += " " + std::to_string(len);
   return out.empty() ? " none" : out;
}

std::string hashTableText(const Norv::Ptr<Orim::HashStageDescriptor>& d) {
   if (!d) return "none";
   return "keyLength " + std::to_string(d->keyLength()) + " ways " +
          std::to_string(d->numWays()) + " indexBits " + std::to_string(d->indexBits()) +
          " bucketDepth " + std::to_string(d->bucketDepth());
}

void showStages(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   const bool oneStage = a.has(1);
   const Orim::StageId only = oneStage ? stageArg(a, 1) : Orim::StageId();
   a.atMost(2);
   auto& o = s.out();
   auto status = s.world().get<AaclStageStatus>("aaclStageStatus")->aaclChipStageStatus(chip);
   o << "stage status of " << chipText(chip) << (status ? "" : ": none") << "\n";
   if (!status) return;
   for (auto it = status->aaclStageDescriptorColl().begin(); it; ++it) {
      if (oneStage && it.key() != only) continue;
      const auto& desc = it.value()->ldeMgTableLookupDesc();
      const auto* profiles = desc.ldeSeProfileSet();
      o << "  stage " << it.key().text() << ": lde " << desc.ldeId().text() << " mgTable "
        << desc.mgTableId().text() << " mgksTable " << desc.mgksTableId().text()
        << " seProfiles "
        << (profiles ? std::to_string(profiles->aaclSuperkeyFieldsCount()) : "none")
        << " hashTable " << hashTableText(it.value()->orimStageDescriptor()) << "\n";
      if (!oneStage || !profiles) continue;
      const auto& fields = profiles->aaclSuperkeyFieldsColl();
      for (const auto& id : sortedKeys(fields)) {
         const AaclSuperkeyFields& f = *fields.find(id);
         o << "    seProfile " << id.text() << " sipLen" << lengths(f.sipLenColl()) << " dipLen"
           << lengths(f.dipLenColl()) << "\n";
      }
   }
}

void showHwCap(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   a.atMost(1);
   auto& o = s.out();
   auto cap = s.world().hwCapabilityColl->chipHwCapability(chip);
   o << "hardware capability of " << chipText(chip) << (cap ? "" : ": none") << "\n";
   if (!cap) return;
   o << "  priorityFieldMaxCount " << cap->priorityFieldMaxCount() << "\n";
   for (auto it = cap->stageHashTableDescriptorColl().begin(); it; ++it) {
      o << "  stage " << it.key().text() << " hashTable " << hashTableText(it.value()) << "\n";
   }
   o << "  srcIpV4MaskLength" << lengths(cap->srcIpV4MaskLengthColl()) << "\n";
   o << "  srcIpV6MaskLength" << lengths(cap->srcIpV6MaskLengthColl()) << "\n";
   o << "  dstIpV4MaskLength" << lengths(cap->dstIpV4MaskLengthColl()) << "\n";
   o << "  dstIpV6MaskLength" << lengths(cap->dstIpV6MaskLengthColl()) << "\n";
}

void showSeProfile(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   a.atMost(1);
   auto& o = s.out();
   auto& w = s.world();
   auto config = w.get<AaclSeProfileConfig>("aaclSeProfileConfig")->chipSeProfileConfig(chip);
   o << "SE-profile configuration of " << chipText(chip) << (config ? "" : ": none") << "\n";
   for (const auto& rl :
        config ? sortedKeys(config->configEntryColl()) : std::vector<Orim::ChipRuleListId>()) {
      const auto& mgds = config->configEntry(rl)->maskGroupDescriptorColl();
      for (const auto& stage : sortedKeys(mgds)) {
         o << "  ruleList " << rl.text() << " stage " << stage.text() << " "
           << mgds.find(stage)->text() << "\n";
      }
   }
   auto status = w.get<AaclSeProfileStatus>("aaclSeProfileStatus")->chipSeProfileStatus(chip);
   o << "SE-profile status of " << chipText(chip) << (status ? "" : ": none") << "\n";
   for (const auto& rl :
        status ? sortedKeys(status->statusEntryColl()) : std::vector<Orim::ChipRuleListId>()) {
      auto entry = status->statusEntry(rl);
      o << "  ruleList " << rl.text() << (entry->stageStatusCount() ? "" : " no stage") << "\n";
      for (const auto& stage : sortedKeys(entry->stageStatusColl())) {
         auto st = entry->stageStatus(stage);
         o << "    stage " << stage.text() << " " << norvEnumName(st->result())
           << " seProfileId " << st->ldeSeProfileId().text() << " for sip "
           << unsigned(st->maskGroupDescriptor().srcIpMaskLength()) << " dip "
           << unsigned(st->maskGroupDescriptor().dstIpMaskLength()) << "\n";
      }
   }
}

void start(Simulator& s) {
   auto& w = s.world();
   auto stageStatus = w.hold("aaclStageStatus", aaclStageStatusFactory("aaclStageStatus"));
   auto config =
       w.hold("aaclSeProfileConfig", aaclSeProfileConfigFactory("aaclSeProfileConfig"));
   auto status =
       w.hold("aaclSeProfileStatus", aaclSeProfileStatusFactory("aaclSeProfileStatus"));
   auto info = w.hold("aaclProfileStageInfo", aaclProfileStageInfoFactory(w.systemStatus));
   // Before the stage manager, so that a device's profile exists when the manager sees it.
   w.hold("deviceProfileAgent", Norv::Ptr<DeviceProfileAgent>(new DeviceProfileAgent(w, info)));
   w.hold("aaclStageMgrSm", aaclStageMgrSmFactory(w.devices, w.systemStatus, info,
                                                  w.hwCapabilityColl, stageStatus));
   w.hold("aaclLdeSeProfileMgrSm", aaclLdeSeProfileMgrSmFactory(config, status, stageStatus));

   s.addCommand({"seprofile", "config",
                 "CHIP RULELIST STAGE SIPLEN DIPLEN [TYPE] [match=FIELDS]",
                 "set the rule list's mask group at the stage (IP mask lengths, ACL type)",
                 seProfileConfig});
   s.addCommand({"seprofile", "remove", "CHIP RULELIST [STAGE]",
                 "withdraw the rule list's mask group at the stage, or all of the rule list",
                 seProfileRemove});
   s.addCommand({"show", "stages", "CHIP [STAGE]",
                 "the chip's stages and their lookup; with STAGE, its SE profiles too",
                 showStages});
   s.addCommand({"show", "hwcap", "CHIP", "the chip's declared hash tables and mask lengths",
                 showHwCap});
   s.addCommand({"show", "seprofile", "CHIP",
                 "the chip's SE-profile configuration and the profiles chosen", showSeProfile});
}

const char* const scenario =
    R"(# Stages and SE profiles: a chip comes up with its six stages, and
# rule lists get (or fail to get) an SE profile at a stage.
echo == stages: stage layout, hardware capability, SE profiles
echo -- device 1 is down: no stages yet; it comes up with its six stages
show stages 1
device up 1
show stages 1
show stages 1 2
show hwcap 1
echo -- rule list 10 (SIP /16, DIP /3) finds a profile at stage 2; rule list 11 (SIP /24) cannot
seprofile config 1 10 2 16 3
seprofile config 1 11 2 24 3
show seprofile 1
echo -- device 1 goes down: its stage and SE-profile state goes with it
device down 1
show seprofile 1
)";

// SE-profile configuration: the driver keeps a chip's while its device is up, so it is played
// once the devices are. What the key-select reactor publishes for a rule list's mask groups is
// its own, and comes again from the mask groups.
void dump(Simulator& s, ConfigDump& d) {
   auto cfg = s.world().get<AaclSeProfileConfig>("aaclSeProfileConfig");
   auto flow = s.world().get<Orim::DataFlowConfig>("dataFlowConfig");
   for (const auto& chip : sortedKeys(cfg->chipSeProfileConfigColl())) {
      auto config = cfg->chipSeProfileConfig(chip);
      auto chipFlow = flow ? flow->chipDataFlowConfig(chip) : nullptr;
      for (const auto& rl : sortedKeys(config->configEntryColl())) {
         auto lists = chipFlow ? chipFlow->chipRuleListCfg(rl) : nullptr;
         const auto& mgds = config->configEntry(rl)->maskGroupDescriptorColl();
         for (const auto& stage : sortedKeys(mgds)) {
            if (lists && lists->stageMgColl().contains(stage)) continue;
            const Orim::MaskGroupDescriptor& mgd = *mgds.find(stage);
            d.lineWhenUp("seprofile config " + chip.text() + " " + rl.text() + " " +
                         stage.text() + " " +
                         maskGroupWords(mgd, "the SE-profile configuration of rule list " +
                                                 rl.text() + " on " + chipText(chip)));
         }
      }
   }
}

const ModuleRegistration reg({"stage", 30, start, scenario});
const ConfigDumperRegistration dumper({"stage", 30, nullptr, dump});

} // namespace

} // namespace Sim
