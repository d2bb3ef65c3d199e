#include "sim/ConfigDump.h"

#include <algorithm>

#include "sim/Sim.h"

namespace Sim {

namespace {

std::vector<ConfigDumper>& dumpers() {
   static std::vector<ConfigDumper> d;
   return d;
}

} // namespace

ConfigDumperRegistration::ConfigDumperRegistration(ConfigDumper d) {
   dumpers().push_back(d);
}

std::string ConfigDump::text() const {
   std::string out;
   auto put = [&](const std::string& l) { out += l + "\n"; };
   std::set<unsigned> added;
   for (const auto& [id, up] : devices_)
      added.insert(id);
   for (unsigned id : needed_)
      added.insert(id);
   for (unsigned id : added)
      put("device add " + std::to_string(id));
   // Every device is brought up, even one the live agent has down or has removed: its state
   // is what the driver left when it went, after it was configured.
   auto ups = [&] {
      for (unsigned id : added)
         put("device up " + std::to_string(id));
   };
   if (!devicesLast_) ups();
   for (const auto& l : config_)
      put(l);
   if (devicesLast_) ups();
   for (const auto& l : whenUp_)
      put(l);
   for (unsigned id : added) {
      const auto it = devices_.find(id);
      if (it == devices_.end()) {
         put("device remove " + std::to_string(id));
      } else if (!it->second) {
         put("device down " + std::to_string(id));
      }
   }
   return out;
}

std::string dumpConfig(Simulator& s, bool devicesLast) {
   auto all = dumpers();
   std::stable_sort(all.begin(), all.end(), [](const ConfigDumper& a, const ConfigDumper& b) {
      return a.order < b.order;
   });
   ConfigDump dump(devicesLast);
   for (const auto& d : all) {
      if (d.claim) d.claim(s, dump);
   }
   for (const auto& d : all) {
      if (d.dump) d.dump(s, dump);
   }
   return dump.text();
}

namespace ClaimKey {

std::string l4Range(const std::string& inst, uint32_t chip, uint32_t first, uint32_t last) {
   return "l4 " + inst + " " + std::to_string(chip) + " " + std::to_string(first) + " " +
          std::to_string(last);
}
std::string prefixes(const std::string& inst, uint32_t chip) {
   return "prefix " + inst + " " + std::to_string(chip);
}
std::string rule(uint32_t chip, uint32_t stage, uint32_t way, uint32_t hashIndex) {
   return "rule " + std::to_string(chip) + " " + std::to_string(stage) + " " +
          std::to_string(way) + " " + std::to_string(hashIndex);
}
std::string ruleListKey(uint32_t chip, uint32_t hwAclIndex, uint32_t protocolType,
                        uint32_t tableType, bool egress) {
   return "rulelist key " + std::to_string(chip) + " " + std::to_string(hwAclIndex) + " " +
          std::to_string(protocolType) + " " + std::to_string(tableType) +
          (egress ? " out" : " in");
}
std::string maskGroups(uint32_t chip, uint32_t ruleList) {
   return "rulelist mg " + std::to_string(chip) + " " + std::to_string(ruleList);
}
std::string intfBinding(uint32_t chip, const std::string& intf) {
   return "hwacl bind " + std::to_string(chip) + " " + intf;
}
std::string vlanBinding(uint32_t chip, uint32_t vlan) {
   return "hwacl vlan-bind " + std::to_string(chip) + " " + std::to_string(vlan);
}

} // namespace ClaimKey

} // namespace Sim
