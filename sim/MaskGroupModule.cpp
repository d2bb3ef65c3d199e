// Mask groups in the simulator: rules placed in a chip's per-stage hash tables (at a given
// position, or where the hashing function finds room), the MG-table helper and reactor that
// write them, the chip counting packets on their counters, and dumps of tables and counters.
#include <algorithm>
#include <cstdio>
#include <map>
#include <tuple>
#include <vector>

#include "sim/ConfigDump.h"
#include "sim/MaskGroupWords.h"
#include "sim/Sim.h"
#include "sim/SimArgs.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpAcmBankMgr.h"
#include "xdk/xpAcmPl.h"
#include "xpacl/maskgroup/XpAclMgTableSm.h"
#include "xpacl/maskgroup/XpAclOrimPDInfo.h"
#include "xpacl/model/XpAclProfileStageInfo.h"

namespace Sim {

namespace {

using namespace XpAcl;

constexpr uint64_t kMaxChip = 63;
constexpr uint64_t kMaxId = 0xffffffff;

// The agent keeps one hashing function per known device in the PD info.
class PDInfoAgent : public Norv::Reactor {
public:
   NORV_ENTITY("Sim::PDInfoAgent")
   NORV_FORWARDING_NOTIFIEE(NorvDevices, XpXdk::XpDeviceIdColl, PDInfoAgent, DeviceId,
                            XpXdk::XpDeviceId, handleDevice)

   PDInfoAgent(const SimWorld& w, Norv::Ptr<Xp80PDInfo> info, Norv::Ptr<MgTableHelper> helper)
       : devices_(w.devices), info_(std::move(info)), helper_(std::move(helper)),
         notifiee_(this, w.devices) {
      handleDevice();
   }
   void handleDevice(const XpXdk::XpDeviceId& dev) {
      if (devices_->deviceIdColl().contains(dev)) {
         info_->pdHashingFunctionIs(dev, helper_);
      } else {
         info_->pdHashingFunctionDel(dev);
      }
   }
   void handleDevice() {
      for (auto it = devices_->deviceIdColl().begin(); it; ++it)
         handleDevice(it.key());
   }

private:
   Norv::Ptr<const XpXdk::XpDeviceIdColl> devices_;
   Norv::Ptr<Xp80PDInfo> info_;
   Norv::Ptr<MgTableHelper> helper_;
   NorvDevices notifiee_;
};

xpAaclMgTableMgr* mgModel() {
   return xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
       xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
}

// A stage of the chip's pipeline profile.
Orim::StageId stageArg(Simulator& s, const Orim::ChipId& chip, const Args& a, size_t i) {
   const Orim::StageId stage = stageArg(a, i);
   auto info = s.world().get<AaclProfileStageInfo>("aaclProfileStageInfo");
   auto chipInfo = info->chipProfileStageInfo(XpXdk::deviceIdOf(chip));
   if (!chipInfo || !chipInfo->orimStageIdToLdeIdColl().contains(stage)) {
      throw Error("chip " + chip.text() + " has no stage " + stage.text());
   }
   return stage;
}

// The chip model's table geometry of the device.
struct Geometry {
   uint32_t ways = 0;
   uint32_t entriesPerWay = 0;
};
Geometry geometryOf(const Orim::ChipId& chip) {
   Geometry g;
   const auto dev = static_cast<xpsDevice_t>(chip.value());
   if (mgModel()->getNumOfWays(dev, g.ways) != XP_NO_ERR ||
       mgModel()->getNumOfEntry(dev, g.entriesPerWay) != XP_NO_ERR) {
      throw Error("chip " + chip.text() + " is not in the chip model");
   }
   return g;
}

Orim::PerStageHashTableKey positionArg(const Orim::ChipId& chip, const Args& a, size_t i) {
   const Geometry g = geometryOf(chip);
   const auto way = static_cast<uint32_t>(a.number(i, "way", g.ways - 1));
   const auto index = static_cast<uint32_t>(a.number(i + 1, "hash index", g.entriesPerWay - 1));
   return Orim::PerStageHashTableKey(way, index);
}

uint32_t labelValue(const std::string& key, const std::string& value) {
   return static_cast<uint32_t>(Args({value}).number(0, key.c_str(), 0xffff));
}

// The rule from its words: LIST RULE SIPLEN DIPLEN TYPE, then key=value options.
Orim::PerStageTableEntry ruleArgs(Simulator& s, const Orim::ChipId& chip, const Args& a,
                                  size_t i) {
   Orim::PerStageTableEntry e;
   Orim::AclId aclId(
       Orim::ChipRuleListId(static_cast<uint32_t>(a.number(i, "rule list id", 255))),
       Acl::AclDirection::in);
   e.ruleIdIs(static_cast<uint32_t>(a.number(i + 1, "rule id", kMaxId)));
   Orim::MaskGroupDescriptor mgd;
   mgd.srcIpMaskLengthIs(static_cast<uint8_t>(a.number(i + 2, "source mask length", 255)));
   mgd.dstIpMaskLengthIs(static_cast<uint8_t>(a.number(i + 3, "destination mask length", 255)));
   const auto type = a.number(i + 4, "ACL type", 255);
   if (type < 1 || type > 4) {
      throw Error("bad ACL type '" + a.word(i + 4, "") + "': the MG table takes types 1 to 4");
   }
   mgd.aclTypeIs(static_cast<uint8_t>(type));
   Orim::PDKeyValue k;
   e.priorityIs(0);
   for (size_t w = i + 5; w < a.size(); ++w) {
      const std::string& word = a.word(w, "option");
      const size_t eq = word.find('=');
      if (eq == std::string::npos) throw Error("bad option '" + word + "': expected KEY=VALUE");
      const std::string key = word.substr(0, eq);
      const std::string value = word.substr(eq + 1);
      const Args v({value});
      if (key == "dir") {
         if (value != "in" && value != "out") throw Error("bad dir '" + value + "': in or out");
         aclId.directionIs(value == "in" ? Acl::AclDirection::in : Acl::AclDirection::out);
      } else if (key == "sip") {
         k.srcIpLabelIs(labelValue(key, value));
      } else if (key == "dip") {
         k.dstIpLabelIs(labelValue(key, value));
      } else if (key == "sport") {
         k.srcPortLabelIs(labelValue(key, value));
      } else if (key == "dport") {
         k.dstPortLabelIs(labelValue(key, value));
      } else if (key == "ttl") {
         k.ttlIs(static_cast<uint8_t>(v.number(0, "ttl", 255)));
      } else if (key == "frag") {
         k.fragmentIs(v.flag(0, "frag"));
      } else if (key == "proto") {
         k.protocolIs(static_cast<uint8_t>(v.number(0, "proto", 255)));
      } else if (key == "est") {
         k.establishedIs(v.flag(0, "est") ? 1 : 0);
      } else if (key == "match") {
         // The fields the mask group matches on besides the address labels.
         matchFieldsIs(mgd, value);
      } else if (key == "result") {
         if (value != "permit" && value != "deny") {
            throw Error("bad result '" + value + "': permit or deny");
         }
         e.aclResultIs(value == "permit");
      } else if (key == "log") {
         e.loggingIs(v.flag(0, "log"));
      } else if (key == "count") {
         e.countingIs(v.flag(0, "count"));
      } else if (key == "prio") {
         e.priorityIs(static_cast<uint16_t>(v.number(0, "priority", 0xffff)));
      } else {
         throw Error("unknown option '" + key + "' (try 'help')");
      }
   }
   auto cap = s.world().hwCapabilityColl->chipHwCapability(chip);
   if (!cap) throw Error("chip " + chip.text() + " has no hardware capability");
   if (e.priority() > cap->priorityFieldMaxCount()) {
      throw Error("bad priority " + std::to_string(e.priority()) + ": larger than the chip's " +
                  std::to_string(cap->priorityFieldMaxCount()));
   }
   if (mgd.ttl() && k.ttl() == 0) {
      throw Error("bad ttl 0: a TTL rule matches TTL 1 or more");
   }
   e.aclIdIs(aclId);
   e.pdKeyIs(k);
   e.maskGroupDescriptorIs(mgd);
   return e;
}

Norv::Ptr<Orim::PerStageHashTable> tableOf(Simulator& s, const Orim::ChipId& chip,
                                           const Orim::StageId& stage) {
   // The chip's configuration changes: a device change after it in the same batch would reach
   // the driver first, which the batch refuses.
   s.world().batch.touch(SimBatch::chipKey(chip.value()));
   return s.world()
       .get<Orim::DataFlowConfig>("dataFlowConfig")
       ->chipDataFlowConfigIs(chip)
       ->stageHashTableIs(stage);
}

std::string at(const Orim::StageId& stage, const Orim::PerStageHashTableKey& key) {
   return "stage " + stage.text() + " way " + std::to_string(key.way()) + " index " +
          std::to_string(key.hashIndex());
}

void ruleAdd(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   const Orim::StageId stage = stageArg(s, chip, a, 1);
   const auto key = positionArg(chip, a, 2);
   const Orim::PerStageTableEntry e = ruleArgs(s, chip, a, 4);
   tableOf(s, chip, stage)->tableIs(key, e);
}

void rulePlace(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   const Orim::StageId stage = stageArg(s, chip, a, 1);
   const Orim::PerStageTableEntry e = ruleArgs(s, chip, a, 2);
   // The hash is taken in the stage's MG table, which the chip has while it is up.
   auto stages = s.world().get<AaclStageStatus>("aaclStageStatus")->aaclChipStageStatus(chip);
   auto cap = s.world().hwCapabilityColl->chipHwCapability(chip);
   auto stageDesc = cap ? cap->stageHashTableDescriptor(stage) : nullptr;
   if (!stages || !stages->aaclStageDescriptor(stage) || !stageDesc) {
      throw Error("chip " + chip.text() + " is not up: its stages are not declared");
   }
   auto pd =
       s.world().get<Xp80PDInfo>("xp80PDInfo")->pdHashingFunction(XpXdk::deviceIdOf(chip));
   auto table = tableOf(s, chip, stage);
   const Geometry g = geometryOf(chip);
   std::string tried;
   for (uint32_t way = 0; way < g.ways; ++way) {
      const uint32_t h = pd->getHash(e.pdKey(), stageDesc, e.maskGroupDescriptor(),
                                     static_cast<uint8_t>(way), e.aclId());
      const Orim::PerStageHashTableKey key(way, h);
      if (!table->tableColl().contains(key)) {
         table->tableIs(key, e);
         s.out() << "placed rule " << e.ruleId() << " of list "
                 << e.aclId().chipRuleListId().text() << " at " << at(stage, key) << "\n";
         return;
      }
      tried += (tried.empty() ? "" : ", ") + std::to_string(way) + ":" + std::to_string(h);
   }
   throw Error("no room for rule " + std::to_string(e.ruleId()) + " at stage " + stage.text() +
               ": every way is taken where it hashes (way:index " + tried + ")");
}

// A rule can be withdrawn while its device is away: the configuration is the upper layer's.
void ruleRemove(Simulator& s, const Args& a) {
   const Orim::ChipId chip(static_cast<uint32_t>(a.number(0, "chip id", kMaxChip)));
   const Orim::StageId stage = stageArg(a, 1);
   const Orim::PerStageHashTableKey key(
       static_cast<uint32_t>(a.number(2, "way", kMaxId)),
       static_cast<uint32_t>(a.number(3, "hash index", kMaxId)));
   a.atMost(4);
   auto config =
       s.world().get<Orim::DataFlowConfig>("dataFlowConfig")->chipDataFlowConfig(chip);
   auto table = config ? config->stageHashTable(stage) : nullptr;
   if (!table || !table->tableColl().contains(key)) {
      throw Error("chip " + chip.text() + " has no rule at " + at(stage, key));
   }
   s.world().batch.touch(SimBatch::chipKey(chip.value()));
   table->tableDel(key);
}

// The chip counts packets that hit the entry at the position, on the entry's counter.
void ruleCount(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   const Orim::StageId stage = stageArg(s, chip, a, 1);
   const auto key = positionArg(chip, a, 2);
   const uint64_t packets = a.number(4, "packets", 1000000000);
   a.atMost(5);
   auto stages = s.world().get<AaclStageStatus>("aaclStageStatus")->aaclChipStageStatus(chip);
   auto desc = stages ? stages->aaclStageDescriptor(stage) : nullptr;
   if (!desc) throw Error("chip " + chip.text() + " is not up: no MG table to hit");
   const auto dev = static_cast<xpsDevice_t>(chip.value());
   const xpAaclMgTableEntry* entry = mgModel()->validEntry(
       dev, desc->ldeMgTableLookupDesc().mgTableId().value(), MgTableHelper::hwIndex(key));
   if (!entry) throw Error("the chip holds no entry at " + at(stage, key));
   const uint32_t counter = entry->data.word[0] >> 3;
   if (counter == 0) {
      s.out() << "entry at " << at(stage, key) << " has no counter: nothing counted\n";
      return;
   }
   xpAcmPl::instance()
       ->getMgr<xpAcmBankMgr>(xpPrimitiveMgrBase<xpAcmBankMgr>::idAt(0))
       ->countPackets(dev, counter, packets, packets * 64);
}

void showMg(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   const Orim::StageId stage = stageArg(s, chip, a, 1);
   a.atMost(2);
   std::FILE* f = std::tmpfile();
   if (!f) throw Error("cannot open a temporary file for the dump");
   s.world()
       .get<MgTableHelper>("mgTableHelper")
       ->doShowTblEntries(fileno(f), XpXdk::deviceIdOf(chip), stage);
   std::rewind(f);
   char buf[4096];
   std::string text;
   for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
      text.append(buf, n);
   std::fclose(f);
   s.out() << "MG table of chip " << chip.text() << " stage " << stage.text()
           << (text.empty() ? ": none (is the chip up?)" : "") << "\n"
           << text;
}

// Each rule published for the chip, once: whether it is counted and what it counted since the
// last time it was shown.
void showCounters(Simulator& s, const Args& a) {
   const Orim::ChipId chip = knownChipArg(s, a, 0);
   a.atMost(1);
   auto config =
       s.world().get<Orim::DataFlowConfig>("dataFlowConfig")->chipDataFlowConfig(chip);
   std::map<std::tuple<uint32_t, Acl::AclDirection, uint32_t>, bool> rules;
   if (config) {
      for (auto st = config->stageHashTableColl().begin(); st; ++st) {
         for (auto it = st.value()->tableColl().begin(); it; ++it) {
            const auto& e = it.value();
            rules[{e.aclId().chipRuleListId().value(), e.aclId().direction(), e.ruleId()}] =
                true;
         }
      }
   }
   auto pd =
       s.world().get<Xp80PDInfo>("xp80PDInfo")->pdHashingFunction(XpXdk::deviceIdOf(chip));
   s.out() << "counters of chip " << chip.text() << (rules.empty() ? ": no rules" : "") << "\n";
   for (const auto& [r, unused] : rules) {
      const auto& [list, dir, ruleId] = r;
      const Orim::AclId aclId(Orim::ChipRuleListId(list), dir);
      const bool counted = pd->isCounterAttached(chip, aclId, ruleId);
      s.out() << "  list " << list << " " << norvEnumName(dir) << " rule " << ruleId
              << (counted ? " counted, delta " +
                                std::to_string(pd->getDeltaCounter(chip, aclId, ruleId))
                          : " not counted")
              << "\n";
   }
}

void start(Simulator& s) {
   auto& w = s.world();
   auto dataFlow = w.hold("dataFlowConfig", Orim::dataFlowConfigFactory("dataFlowConfig"));
   auto helper =
       w.hold("mgTableHelper", mgTableHelperFactory(w.get<AaclStageStatus>("aaclStageStatus"),
                                                    w.hwCapabilityColl));
   w.hold("mgTableSm", mgTableSmFactory(w.devices, dataFlow, helper))->initializedIs(true);
   auto pdInfo = w.hold("xp80PDInfo", xp80PDInfoFactory());
   w.hold("pdInfoAgent", Norv::Ptr<PDInfoAgent>(new PDInfoAgent(w, pdInfo, helper)));

   const char* ruleWords =
       "LIST RULE SIPLEN DIPLEN TYPE [dir= sip= dip= sport= dport= ttl= "
       "frag= proto= est= match=ttl+frag+proto+sport+dport+est result= log= count= prio=]";
   s.addCommand({"rule", "add", std::string("CHIP STAGE WAY INDEX ") + ruleWords,
                 "publish a rule in the stage's hash table at way WAY, hash index INDEX",
                 ruleAdd});
   s.addCommand({"rule", "place", std::string("CHIP STAGE ") + ruleWords,
                 "publish a rule where the chip's hash has room: the first free way",
                 rulePlace});
   s.addCommand({"rule", "remove", "CHIP STAGE WAY INDEX", "withdraw the rule at the position",
                 ruleRemove});
   s.addCommand({"rule", "count", "CHIP STAGE WAY INDEX PACKETS",
                 "the chip counts packets hitting the entry at the position", ruleCount});
   s.addCommand(
       {"show", "mg", "CHIP STAGE", "the stage's MG table as the chip holds it", showMg});
   s.addCommand({"show", "counters", "CHIP",
                 "each rule of the chip: counted or not, and its hits since last shown",
                 showCounters});
}

const char* const scenario =
    R"(# Mask groups: rules placed in a stage's hashed table become MG-table entries, with their
# priority and counter; the counters are polled every second.
echo == maskgroup: rules in the MG tables, counters polled every second
echo -- two counted rules placed where the hash has room, one uncounted at a chosen place
rule place 0 2 10 1 16 3 1 sip=0x12 dip=0x34 sport=5 result=permit count=on prio=100
rule place 0 2 10 2 16 3 1 sip=0x12 dip=0x35 proto=6 match=proto count=on prio=90
rule add 0 2 1 5 10 3 16 3 2 dir=out ttl=64 match=ttl+frag log=on prio=8191
show mg 0 2
echo -- packets hit the first two rules; after a second's poll the deltas show them
rule count 0 2 0 4924 3
rule count 0 2 0 5780 2
rule count 0 2 1 5 7
clock +1
show counters 0
show counters 0
echo -- the rule at way 1 index 5 changes in place; then the first rule goes
rule add 0 2 1 5 10 3 16 3 2 dir=out ttl=64 match=ttl+frag log=on count=on prio=10
rule remove 0 2 0 4924
show mg 0 2
)";

// A placed rule as the 'rule add' line that places it; a rule the command cannot express
// (mask-group fields or key values it has no option for) cannot be dumped.
std::string ruleLine(uint32_t chip, uint32_t stage, const Orim::PerStageHashTableKey& pos,
                     const Orim::PerStageTableEntry& e) {
   const auto& mgd = e.maskGroupDescriptor();
   const auto& k = e.pdKey();
   Orim::MaskGroupDescriptor plain;
   plain.aclTypeIs(mgd.aclType());
   plain.srcIpMaskLengthIs(mgd.srcIpMaskLength());
   plain.dstIpMaskLengthIs(mgd.dstIpMaskLength());
   if (const std::string match = matchFields(mgd); !match.empty()) matchFieldsIs(plain, match);
   const std::string at = std::to_string(chip) + " " + std::to_string(stage) + " " +
                          std::to_string(pos.way()) + " " + std::to_string(pos.hashIndex());
   if (!(plain == mgd) || !k.tcpFlag().empty()) {
      throw Error("the rule at chip " + at + " has fields no command sets: " + e.text());
   }
   std::string line =
       "rule add " + at + " " + std::to_string(e.aclId().chipRuleListId().value()) + " " +
       std::to_string(e.ruleId()) + " " + std::to_string(mgd.srcIpMaskLength()) + " " +
       std::to_string(mgd.dstIpMaskLength()) + " " + std::to_string(mgd.aclType());
   auto opt = [&](const char* key, uint64_t v) {
      if (v) line += std::string(" ") + key + "=" + std::to_string(v);
   };
   if (e.aclId().direction() == Acl::AclDirection::out) line += " dir=out";
   opt("sip", k.srcIpLabel());
   opt("dip", k.dstIpLabel());
   opt("sport", k.srcPortLabel());
   opt("dport", k.dstPortLabel());
   opt("ttl", k.ttl());
   if (k.fragment()) line += " frag=on";
   opt("proto", k.protocol());
   if (k.established()) line += " est=on";
   if (const std::string match = matchFields(mgd); !match.empty()) line += " match=" + match;
   line += e.aclResult() ? " result=permit" : " result=deny";
   if (e.logging()) line += " log=on";
   if (e.counting()) line += " count=on";
   return line + " prio=" + std::to_string(e.priority());
}

// The rules of every chip's stage tables, by chip, stage and position.
void dump(Simulator& s, ConfigDump& d) {
   auto flow = s.world().get<Orim::DataFlowConfig>("dataFlowConfig");
   std::map<std::tuple<uint32_t, uint32_t, Orim::PerStageHashTableKey>, std::string> lines;
   for (auto c = flow->chipDataFlowConfigColl().begin(); c; ++c) {
      const uint32_t chip = c.key().value();
      for (auto st = c.value()->stageHashTableColl().begin(); st; ++st) {
         const uint32_t stage = st.key().value();
         for (auto it = st.value()->tableColl().begin(); it; ++it) {
            const auto& pos = it.key();
            if (d.claimed(ClaimKey::rule(chip, stage, pos.way(), pos.hashIndex()))) continue;
            d.chipNeeded(chip);
            lines[{chip, stage, pos}] = ruleLine(chip, stage, pos, it.value());
         }
      }
   }
   for (const auto& [key, line] : lines)
      d.line(line);
}

const ModuleRegistration reg({"maskgroup", 60, start, scenario});
const ConfigDumperRegistration dumper({"maskgroup", 60, nullptr, dump});

} // namespace

} // namespace Sim
