// What the scenario cost the chip: the chip model's operation counts per table, since the last
// look. Every table registered in the model takes part, whichever module drives it.
#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "sim/Sim.h"
#include "xdk/aaclL4PortMgr.h"
#include "xdk/xpAaclMgTableMgr.h"
#include "xdk/xpAclPl.h"
#include "xdk/xpDeviceMgr.h"
#include "xdk/xpIfPl.h"
#include "xdk/xpIpXformMgr.h"
#include "xdk/xpPlatformLayers.h"
#include "xdk/xpPortConfigMgr.h"

namespace Sim {

namespace {

struct Table {
   std::string key;  // layer and manager id: unique even when names are not
   std::string name; // what the user reads and types
   const xpPrimitiveMgr* mgr;
};

// Every table of the model, in name order. A manager registered without a name shows as its
// layer and its place among the layer's managers.
std::vector<Table> tables() {
   std::vector<Table> all;
   for (const xpPlBase* layer : xpPlatformLayers()) {
      size_t place = 0;
      for (const auto& [id, mgr] : layer->mgrs()) {
         const std::string key = std::string(layer->name()) + "#" + std::to_string(id);
         const std::string unnamed =
             std::string(layer->name()) + ".table" + std::to_string(++place);
         all.push_back({key, mgr->tableName().empty() ? unnamed : mgr->tableName(), mgr});
      }
   }
   std::sort(all.begin(), all.end(), [](const Table& x, const Table& y) {
      return std::tie(x.name, x.key) < std::tie(y.name, y.key);
   });
   return all;
}

// The counts shown last, per table key and operation.
using Shown = std::map<std::string, std::map<std::string, uint64_t>>;

// "op count, op count" for the table's operations since they were last shown, in name order;
// operations without calls only when `withIdle`.
std::string opsSinceShown(const Table& t, Shown& shown, bool withIdle) {
   auto counts = t.mgr->opCounts();
   std::sort(counts.begin(), counts.end());
   auto& seen = shown[t.key];
   std::string text;
   for (const auto& [op, count] : counts) {
      uint64_t& last = seen[op];
      // A count below the last one shown was reset in between: all of it is new.
      const uint64_t delta = count >= last ? count - last : count;
      last = count;
      if (!delta && !withIdle) continue;
      text += (text.empty() ? " " : ", ") + op + " " + std::to_string(delta);
   }
   return text;
}

void showSdk(Shown& shown, Simulator& s, const Args& a) {
   const bool one = a.has(0);
   const std::string only = one ? a.word(0, "table") : "";
   a.atMost(1);
   const auto all = tables();
   if (one &&
       std::none_of(all.begin(), all.end(), [&](const Table& t) { return t.name == only; })) {
      std::string names;
      for (const auto& t : all)
         names += (names.empty() ? "" : ", ") + t.name;
      throw Error("unknown table '" + only + "': expected one of " + names);
   }
   auto& o = s.out();
   o << "chip operations since the last 'show sdk'" << (one ? " of " + only : "") << "\n";
   bool any = false;
   for (const auto& t : all) {
      if (one && t.name != only) continue;
      const std::string ops = opsSinceShown(t, shown, one);
      if (ops.empty()) continue;
      o << "  " << t.name << ":" << ops << "\n";
      any = true;
   }
   if (!any) o << "  none\n";
}

// Changes one value of a chip table entry as something other than the driver would: the
// label of an L4 port or of a valid IP transform entry, the port ACL id of a port, the
// priority word of a valid MG-table entry. For tests of what reads the chip back.
void poke(Simulator&, const Args& a) {
   const std::string& table = a.word(0, "table");
   const auto dev = static_cast<xpsDevice_t>(a.number(1, "device id", XP_MAX_DEVICES - 1));
   if (!xpDeviceMgr::instance()->isAdded(dev)) {
      throw Error("device " + std::to_string(dev) + " is not in the chip model");
   }
   auto refused = [&](XP_STATUS st) {
      if (st != XP_NO_ERR) throw Error(table + " refused the write: " + xpStatusName(st));
   };
   if (table == "aaclL4PortMgr.src" || table == "aaclL4PortMgr.dst") {
      const auto port = static_cast<uint32_t>(a.number(2, "port", 65535));
      const auto label = static_cast<uint16_t>(a.number(3, "label", 65535));
      a.atMost(4);
      auto* mgr =
          xpAclPl::instance()->getMgr<aaclL4PortMgr>(xpPrimitiveMgrBase<aaclL4PortMgr>::idAt(
              table.back() == 'c' ? aaclL4PortMgr::kSrcInstance : aaclL4PortMgr::kDstInstance));
      aaclL4PortEntry e;
      refused(mgr->readEntry(dev, port, &e));
      e.setXformedL4Port(label);
      refused(mgr->writeEntry(dev, port, &e));
   } else if (table == "xpIpXformMgr.src" || table == "xpIpXformMgr.dst") {
      const auto index = static_cast<uint32_t>(a.number(2, "index", UINT32_MAX));
      const auto label = static_cast<uint32_t>(a.number(3, "label", UINT32_MAX));
      a.atMost(4);
      auto* mgr =
          xpAclPl::instance()->getMgr<xpIpXformMgr>(xpPrimitiveMgrBase<xpIpXformMgr>::idAt(
              table.back() == 'c' ? xpIpXformMgr::kSrcInstance : xpIpXformMgr::kDstInstance));
      xpIpXformEntry e;
      bool valid = false;
      refused(mgr->readEntry(dev, index, &e, valid));
      if (!valid) throw Error(table + " holds no entry at index " + std::to_string(index));
      e.xformedIp = label;
      refused(mgr->writeEntry(dev, index, &e));
   } else if (table == "xpPortConfigMgr") {
      const auto port = static_cast<uint32_t>(a.number(2, "port", 65535));
      const auto id = static_cast<uint8_t>(a.number(3, "port ACL id", 255));
      a.atMost(4);
      auto* mgr = xpIfPl::instance()->getMgr<xpPortConfigMgr>(
          xpPrimitiveMgrBase<xpPortConfigMgr>::idAt(0));
      xpPortConfigEntry e;
      refused(mgr->readEntry(dev, port, &e));
      e.PAclId = id;
      refused(mgr->writeEntry(dev, port, &e));
   } else if (table == "xpAaclMgTableMgr") {
      const auto mgTable =
          static_cast<uint32_t>(a.number(2, "MG table", xpAaclMgTableMgr::kNumMgTables - 1));
      const auto index = static_cast<uint32_t>(a.number(3, "index", UINT32_MAX));
      const auto prio = static_cast<uint16_t>(a.number(4, "priority word", 0xffff));
      a.atMost(5);
      auto* mgr = xpAclPl::instance()->getMgr<xpAaclMgTableMgr>(
          xpPrimitiveMgrBase<xpAaclMgTableMgr>::idAt(0));
      const xpAaclMgTableEntry* held = mgr->validEntry(dev, mgTable, index);
      if (!held) throw Error(table + " holds no entry at index " + std::to_string(index));
      xpAaclMgTableEntry e = *held;
      e.data.word[1] = prio;
      refused(mgr->writeKeyAndControlData(dev, mgTable, index, &e));
   } else {
      throw Error("unknown table '" + table +
                  "': expected aaclL4PortMgr.src, aaclL4PortMgr.dst, "
                  "xpIpXformMgr.src, xpIpXformMgr.dst, xpPortConfigMgr or xpAaclMgTableMgr");
   }
}

void start(Simulator& s) {
   s.addCommand({"sdk", "poke", "TABLE DEV INDEX... VALUE",
                 "change a chip entry behind the driver's back (a label, a port ACL id, an MG "
                 "priority word)",
                 poke});
   auto shown = std::make_shared<Shown>();
   s.addCommand({"show", "sdk", "[TABLE]",
                 "chip-model operations per table since the last 'show sdk' (of that table)",
                 [shown](Simulator& sim, const Args& a) { showSdk(*shown, sim, a); }});
}

const char* const scenario =
    R"(# What commands cost the chip model.
echo == sdk: operations of the chip model per table
echo -- everything so far; later counts start from here
show sdk
echo -- four ports labelled: each port is read, then written as its label differs
l4 range dst 0 3000 3003 6
show sdk
echo -- the same label again changes nothing, so the chip is not asked at all
l4 range dst 0 3000 3003 6
show sdk aaclL4PortMgr.dst
echo -- the device comes back: its tables are read in full, only what differs is written
device down 0
device up 0
show sdk
)";

const ModuleRegistration reg({"sdk", 90, start, scenario});

} // namespace

} // namespace Sim
