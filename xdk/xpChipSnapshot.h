#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "xdk/xpExport.h"
#include "xdk/xpIpXformMgr.h"
#include "xdk/xpTypes.h"

// What the chip holds, per device, in every table the ACL driver writes: the L4 port tables,
// the IP transform tables, the MG and MGKS tables of every stage, the port configuration, the
// port-VLAN ingress VIF and egress BD-EVIF tables. The clear-on-read counters are left out:
// reading them would change them. Taken through the model's own view, so that taking one
// counts no operation and changes nothing.
//
// Entries are kept as text, the form a difference is read in. A table addressed by index
// keeps the entries that differ from the chip's reset state; a hashed table keeps its entries
// by key, with the index each sits at, since where a key lands depends on what came before.
// Some places are the history's too: the index the driver allocated an IP transform entry (the
// lookup is by longest prefix, not by index) and the counter a rule counts on. Two tables that
// differ only in those hold the same content.
class XP_EXPORT xpChipSnapshot {
public:
   struct Row {
      Row() = default;
      Row(std::string k, uint32_t at, std::string v)
          : key(std::move(k)), index(at), value(std::move(v)) {}
      std::string key;    // "index 12", or the hashed key as text
      uint32_t index = 0; // where the entry sits
      std::string value;
      std::string content; // the value without what history chose; empty when the same
      const std::string& what() const { return content.empty() ? value : content; }
      bool operator==(const Row&) const = default;
   };
   // How an entry's place is chosen: by the caller (an index), by the key's hash, or by the
   // driver's allocator (any free index).
   enum class Placement { indexed, hashed, allocated };
   struct Table {
      std::string name;
      Placement placement = Placement::indexed;
      std::map<uint64_t, Row> rows; // by index, or by the hashed key as a number
   };
   using Device = std::vector<Table>;

   // The model now in place.
   static xpChipSnapshot take();

   const std::map<xpsDevice_t, Device>& devices() const { return devices_; }

   // The text an IP transform slot has in a snapshot ("" for an empty one).
   static std::string ipXformText(const xpIpXformSlot& slot);

private:
   std::map<xpsDevice_t, Device> devices_;
};

// One entry on which two snapshots disagree. A side without the entry has no value: the entry
// is at its reset state (indexed tables), absent (hashed tables), or the device is missing.
struct xpChipDifference {
   xpsDevice_t device = 0;
   std::string table; // empty when a whole device is missing on one side
   std::string key;
   std::optional<xpChipSnapshot::Row> live;
   std::optional<xpChipSnapshot::Row> cold;

   // "device 0 xpIpXformMgr.src index 3: live 10.0.0.0/8 label 7, cold empty"
   std::string text() const;
};

struct xpChipComparison {
   std::vector<xpChipDifference> differences;
   // Entries that hold the same content at another place (index or counter).
   size_t movedOnly = 0;
};

XP_EXPORT xpChipComparison xpCompareChips(const xpChipSnapshot& live,
                                          const xpChipSnapshot& cold);
