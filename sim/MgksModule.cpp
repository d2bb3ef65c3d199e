// Key-select in the simulator: rule lists with their hardware keys and per-stage mask groups in
// a chip's data-flow configuration, the key-select reactor that asks for SE profiles and writes
// the MGKS entries, and dumps of the tables and their status.
#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "sim/ConfigDump.h"
#include "sim/MaskGroupWords.h"
#include "sim/MgksRoom.h"
#include "sim/Sim.h"
#include "sim/SimArgs.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpMgksMgr.h"
#include "xpacl/maskgroup/XpAclMgksConfigSm.h"
#include "xpacl/maskgroup/XpAclMgksEntry.h"

namespace Sim {

namespace {

using namespace XpAcl;

constexpr uint64_t kMaxChip = 63;
constexpr uint64_t kMaxMaskLength = 128;

Orim::ChipId chipArg(const Args& a, size_t i) {
   return Orim::ChipId(static_cast<uint32_t>(a.number(i, "chip id", kMaxChip)));
}

// The MGKS entry's result holds a rule list id of 8 bits.
Orim::ChipRuleListId ruleListArg(const Args& a, size_t i) {
   return Orim::ChipRuleListId(static_cast<uint32_t>(a.number(i, "rule list id", 255)));
}

// HWACLINDEX PROTO TABLETYPE DIR: the match holds the index in 8 bits.
Orim::ChipRuleListIdKey keyArgs(const Args& a, size_t i) {
   const auto index = static_cast<uint32_t>(a.number(i, "hardware ACL index", 255));
   const auto proto = static_cast<uint8_t>(a.number(i + 1, "protocol type", 255));
   // The agent's hardware ACL reactor knows these four table types and no other.
   const auto type = static_cast<uint8_t>(a.number(i + 2, "table type", 4));
   if (type == 0) throw Error("bad table type '0': 1 PACL v4, 2 RACL v4, 3 PACL v6, 4 RACL v6");
   const std::string& dir = a.word(i + 3, "direction");
   if (dir != "in" && dir != "out") throw Error("bad direction '" + dir + "': in or out");
   return Orim::ChipRuleListIdKey(index, proto, type,
                                  dir == "in" ? Acl::AclDirection::in : Acl::AclDirection::out);
}

std::string keyText(const Orim::ChipRuleListIdKey& k) {
   return mgksKeyText(k);
}

Norv::Ptr<Orim::DataFlowConfig> dataFlow(Simulator& s) {
   return s.world().get<Orim::DataFlowConfig>("dataFlowConfig");
}

// The chip's stage status, if its device is up.
Norv::Ptr<const AaclChipStageStatus> stagesOf(Simulator& s, const Orim::ChipId& chip) {
   return s.world().get<AaclStageStatus>("aaclStageStatus")->aaclChipStageStatus(chip);
}

void checkRoom(Simulator& s, const Orim::ChipId& chip, const Orim::ChipRuleListIdKey& key,
               const Orim::StageId& stage) {
   checkMgksRoom(s, chip, key, stage);
}

void ruleListKey(Simulator& s, const Args& a) {
   const Orim::ChipId chip = chipArg(a, 0);
   const Orim::ChipRuleListIdKey key = keyArgs(a, 1);
   const Orim::ChipRuleListId ruleList = ruleListArg(a, 5);
   a.atMost(6);
   auto config = dataFlow(s)->chipDataFlowConfigIs(chip);
   // The chip matches on index, table type and direction only: two keys apart in nothing else
   // would share one entry, and withdrawing one would take the other's entry too.
   const auto match = [](const Orim::ChipRuleListIdKey& k) {
      const auto codes = mgksAclTypeCodes(k.tableType());
      return codes
                 ? std::make_tuple(k.hwAclIndex(), codes->pktType, codes->aclType,
                                   k.direction())
                 : std::make_tuple(k.hwAclIndex(), uint8_t(0xff), uint8_t(0xff), k.direction());
   };
   for (auto it = config->chipRuleListKeyToIdColl().begin(); it; ++it) {
      if (it.key() != key && mgksAclTypeCodes(key.tableType()) &&
          match(it.key()) == match(key)) {
         throw Error(keyText(key) + " would share its MGKS entry with " + keyText(it.key()));
      }
   }
   if (auto cfg = config->chipRuleListCfg(ruleList)) {
      for (auto it = cfg->stageMgColl().begin(); it; ++it)
         checkRoom(s, chip, key, it.key());
   }
   config->chipRuleListKeyToIdIs(key, ruleList);
}

void ruleListUnkey(Simulator& s, const Args& a) {
   const Orim::ChipId chip = chipArg(a, 0);
   const Orim::ChipRuleListIdKey key = keyArgs(a, 1);
   a.atMost(5);
   auto config = dataFlow(s)->chipDataFlowConfig(chip);
   if (!config || !config->chipRuleListKeyToIdColl().contains(key)) {
      throw Error("chip " + chip.text() + " has no " + keyText(key));
   }
   config->chipRuleListKeyToIdDel(key);
}

// Same words as 'seprofile config': CHIP RULELIST STAGE SIPLEN DIPLEN [TYPE].
void ruleListMg(Simulator& s, const Args& a) {
   const Orim::ChipId chip = chipArg(a, 0);
   const Orim::ChipRuleListId ruleList = ruleListArg(a, 1);
   const Orim::StageId stage = stageArg(a, 2);
   const Orim::MaskGroupDescriptor mgd = maskGroupArgs(a, 3, kMaxMaskLength);
   auto config = dataFlow(s)->chipDataFlowConfigIs(chip);
   for (auto it = config->chipRuleListKeyToIdColl().begin(); it; ++it) {
      if (it.value() == ruleList) checkRoom(s, chip, it.key(), stage);
   }
   config->chipRuleListCfgIs(ruleList)->stageMgIs(stage, mgd);
}

void ruleListUnmg(Simulator& s, const Args& a) {
   const Orim::ChipId chip = chipArg(a, 0);
   const Orim::ChipRuleListId ruleList = ruleListArg(a, 1);
   const bool oneStage = a.has(2);
   const Orim::StageId stage = oneStage ? stageArg(a, 2) : Orim::StageId();
   a.atMost(3);
   auto config = dataFlow(s)->chipDataFlowConfig(chip);
   auto cfg = config ? config->chipRuleListCfg(ruleList) : nullptr;
   if (!cfg) {
      throw Error("chip " + chip.text() + " has no mask groups for rule list " +
                  ruleList.text());
   }
   if (!oneStage) {
      config->chipRuleListCfgDel(ruleList);
      return;
   }
   if (!cfg->stageMgColl().contains(stage)) {
      throw Error("rule list " + ruleList.text() + " on chip " + chip.text() +
                  " has no mask group at stage " + stage.text());
   }
   cfg->stageMgDel(stage);
}

void showMgks(Simulator& s, const Args& a) {
   const Orim::ChipId chip = chipArg(a, 0);
   const Orim::StageId stage = stageArg(a, 1);
   a.atMost(2);
   auto chipSm = s.world().get<MgksConfigSm>("mgksConfigSm")->chipSm(chip);
   auto stages = stagesOf(s, chip);
   if (!chipSm || !stages || !stages->aaclStageDescriptor(stage)) {
      s.out() << "MGKS table of chip " << chip.text() << " stage " << stage.text()
              << ": none (is the chip up, with data-flow configuration and the stage?)\n";
      return;
   }
   std::FILE* f = std::tmpfile();
   if (!f) throw Error("cannot open a temporary file for the dump");
   chipSm->doShowTblEntries(fileno(f), stage);
   std::rewind(f);
   char buf[4096];
   std::string text;
   for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
      text.append(buf, n);
   std::fclose(f);
   s.out() << "MGKS table of chip " << chip.text() << " stage " << stage.text() << "\n" << text;
}

template <class Coll>
auto sortedKeys(const Coll& c) {
   std::vector<std::remove_cvref_t<decltype(c.begin().key())>> keys;
   for (auto it = c.begin(); it; ++it)
      keys.push_back(it.key());
   std::sort(keys.begin(), keys.end());
   return keys;
}

void showMgksStatus(Simulator& s, const Args& a) {
   const Orim::ChipId chip = chipArg(a, 0);
   a.atMost(1);
   auto status = s.world().get<MgksStatus>("mgksStatus")->chipMgksStatus(chip);
   s.out() << "MGKS status of chip " << chip.text() << (status ? "" : ": none") << "\n";
   if (!status) return;
   for (const auto& key : sortedKeys(status->statusEntryColl())) {
      auto entry = status->statusEntry(key);
      s.out() << "  " << keyText(key) << " ruleList " << entry->chipRuleListId().text()
              << (entry->mgksStageStatusCount() ? "" : " no stage") << "\n";
      for (const auto& stage : sortedKeys(entry->mgksStageStatusColl())) {
         auto st = entry->mgksStageStatus(stage);
         s.out() << "    stage " << stage.text() << " " << norvEnumName(st->result());
         if (st->result() == MgksEntryAllocStatus::mgksEntryAllocOk) {
            s.out() << " index " << st->mgksEntryIndex();
         }
         s.out() << " " << st->maskGroupDescriptor().text() << "\n";
      }
   }
}

void start(Simulator& s) {
   auto& w = s.world();
   auto status = w.hold("mgksStatus", mgksStatusFactory("mgksStatus"));
   w.hold("mgksConfigSm",
          mgksConfigSmFactory(dataFlow(s), w.get<AaclSeProfileConfig>("aaclSeProfileConfig"),
                              w.get<AaclSeProfileStatus>("aaclSeProfileStatus"),
                              w.get<AaclStageStatus>("aaclStageStatus"), status));
   s.addCommand({"rulelist", "key", "CHIP HWACLINDEX PROTO TABLETYPE DIR RULELIST",
                 "bind the rule list under the hardware key (DIR in or out)", ruleListKey});
   s.addCommand({"rulelist", "unkey", "CHIP HWACLINDEX PROTO TABLETYPE DIR",
                 "withdraw the hardware key", ruleListUnkey});
   s.addCommand({"rulelist", "mg", "CHIP RULELIST STAGE SIPLEN DIPLEN [TYPE] [match=FIELDS]",
                 "publish the rule list's mask group at the stage", ruleListMg});
   s.addCommand({"rulelist", "unmg", "CHIP RULELIST [STAGE]",
                 "withdraw the rule list's mask group at the stage, or all of them",
                 ruleListUnmg});
   s.addCommand(
       {"show", "mgks", "CHIP STAGE", "the stage's MGKS table as the chip holds it", showMgks});
   s.addCommand({"show", "mgks-status", "CHIP",
                 "each hardware key of the chip: its rule list and MGKS entry per stage",
                 showMgksStatus});
}

const char* const scenario =
    R"(# Key-select: a rule list's mask group gets an SE profile, then one MGKS entry per key.
echo == mgks: rule-list keys and mask groups become key-select entries
device add 3
device up 3
echo -- rule list 20 is bound under two keys and needs SIP 16 at stage 1
rulelist key 3 10 6 1 in 20
rulelist key 3 11 17 4 out 20
rulelist mg 3 20 1 16 0
show seprofile 3
show mgks-status 3
show mgks 3 1
echo -- a key added later gets its entry; one withdrawn loses it
rulelist key 3 12 6 2 in 20
rulelist unkey 3 10 6 1 in
show mgks-status 3
echo -- the mask group goes: the request is withdrawn and the entries leave the chip
rulelist unmg 3 20 1
show seprofile 3
show mgks 3 1
device remove 3
)";

// Rule-list keys (the hardware ACL module's keys among them: they are the same entries) and
// the rule lists' mask groups, by chip.
void dump(Simulator& s, ConfigDump& d) {
   auto flow = dataFlow(s);
   std::vector<std::string> keys, groups;
   std::vector<uint32_t> chips;
   for (auto c = flow->chipDataFlowConfigColl().begin(); c; ++c)
      chips.push_back(c.key().value());
   std::sort(chips.begin(), chips.end());
   for (uint32_t chip : chips) {
      auto c = flow->chipDataFlowConfig(Orim::ChipId(chip));
      for (const auto& key : sortedKeys(c->chipRuleListKeyToIdColl())) {
         const bool out = key.direction() == Acl::AclDirection::out;
         if (d.claimed(ClaimKey::ruleListKey(chip, key.hwAclIndex(), key.protocolType(),
                                             key.tableType(), out))) {
            continue;
         }
         keys.push_back(
             "rulelist key " + std::to_string(chip) + " " + std::to_string(key.hwAclIndex()) +
             " " + std::to_string(key.protocolType()) + " " + std::to_string(key.tableType()) +
             (out ? " out " : " in ") + std::to_string(c->chipRuleListKeyToId(key).value()));
      }
      for (const auto& list : sortedKeys(c->chipRuleListCfgColl())) {
         if (d.claimed(ClaimKey::maskGroups(chip, list.value()))) continue;
         const auto& mgs = c->chipRuleListCfg(list)->stageMgColl();
         for (const auto& stage : sortedKeys(mgs)) {
            const Orim::MaskGroupDescriptor& mgd = *mgs.find(stage);
            groups.push_back("rulelist mg " + std::to_string(chip) + " " + list.text() + " " +
                             stage.text() + " " +
                             maskGroupWords(mgd, "the mask group of rule list " + list.text() +
                                                     " on chip " + std::to_string(chip)));
         }
      }
   }
   for (const auto& list : {keys, groups}) {
      for (const auto& l : list)
         d.line(l);
   }
}

const ModuleRegistration reg({"mgks", 65, start, scenario});
const ConfigDumperRegistration dumper({"mgks", 65, nullptr, dump});

} // namespace

} // namespace Sim
