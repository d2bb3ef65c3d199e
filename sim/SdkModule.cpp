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
#include "xdk/xpPlatformLayers.h"

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

void start(Simulator& s) {
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
