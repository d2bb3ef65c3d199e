#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/OrimMaskGroup.h"

namespace Sim {

class Simulator;

// The configuration the scenario published so far, written back as the commands that publish
// it: only the net state, in an order a fresh simulator can play as a cold start. Each module
// writes its own part; a module that publishes on behalf of a higher-level command (an ACL)
// claims what it published, and the modules whose commands publish the same entities leave
// the claimed items out, so that the higher-level command alone writes them.
class ConfigDump {
public:
   explicit ConfigDump(bool devicesLast) : devicesLast_(devicesLast) {}
   bool devicesLast() const { return devicesLast_; }

   // The devices as the live agent has them; chips the configuration names without a device
   // are added for the configuration and removed at the end, as they once were.
   void deviceIs(unsigned id, bool up) { devices_[id] = up; }
   void chipNeeded(unsigned id) { needed_.insert(id); }
   // A command of the configuration, in the order written.
   void line(const std::string& text) { config_.push_back(text); }
   // A command that needs the chip's device up (the driver publishes what it acts on then).
   void lineWhenUp(const std::string& text) { whenUp_.push_back(text); }

   void claim(const std::string& key) { claimed_.insert(key); }
   bool claimed(const std::string& key) const { return claimed_.count(key) != 0; }

   // The scenario: devices added (and brought up first, unless devicesLast), the
   // configuration, the devices brought up, what needs them up, then the devices that are
   // down or absent taken there.
   std::string text() const;

private:
   bool devicesLast_;
   std::map<unsigned, bool> devices_;
   std::set<unsigned> needed_;
   std::vector<std::string> config_;
   std::vector<std::string> whenUp_;
   std::set<std::string> claimed_;
};

// A module's part of the dump: `claim` runs for every module before any `dump`.
struct ConfigDumper {
   const char* name;
   int order;
   void (*claim)(Simulator&, ConfigDump&);
   void (*dump)(Simulator&, ConfigDump&);
};

struct ConfigDumperRegistration {
   explicit ConfigDumperRegistration(ConfigDumper d);
};

// Every module's part, in module order.
std::string dumpConfig(Simulator& s, bool devicesLast);

// The keys of claimable items, built the same way by the claiming and the dumping side.
namespace ClaimKey {
// INST src or dst.
std::string l4Range(const std::string& inst, uint32_t chip, uint32_t first, uint32_t last);
// A whole prefix configuration of a chip: INST src4, dst4, src6 or dst6.
std::string prefixes(const std::string& inst, uint32_t chip);
std::string rule(uint32_t chip, uint32_t stage, uint32_t way, uint32_t hashIndex);
std::string ruleListKey(uint32_t chip, uint32_t hwAclIndex, uint32_t protocolType,
                        uint32_t tableType, bool egress);
std::string maskGroups(uint32_t chip, uint32_t ruleList);
std::string intfBinding(uint32_t chip, const std::string& intf);
std::string vlanBinding(uint32_t chip, uint32_t vlan);
} // namespace ClaimKey

} // namespace Sim
