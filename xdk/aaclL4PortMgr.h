#pragma once

#include "xdk/xpDeviceTable.h"
#include "xdk/xpPrimitiveMgrBase.h"

#include <array>
#include <cstdint>

// One entry of an L4 port table, indexed by port: the record as the chip stores it. The port's
// label sits in bytes 5 and 6, low byte first; the other bytes belong to the chip.
class aaclL4PortEntry {
public:
   static constexpr size_t kLabelByte = 5;
   static constexpr size_t kBytes = 8;

   aaclL4PortEntry() = default;

   uint16_t getXformedL4Port() const {
      return static_cast<uint16_t>(byte(kLabelByte) | byte(kLabelByte + 1) << 8);
   }
   void setXformedL4Port(uint16_t label) {
      constexpr uint64_t mask = uint64_t{0xffff} << (8 * kLabelByte);
      raw_ = (raw_ & ~mask) | uint64_t{label} << (8 * kLabelByte);
   }
   std::array<uint8_t, kBytes> bytes() const {
      std::array<uint8_t, kBytes> out{};
      for (size_t i = 0; i < kBytes; ++i)
         out[i] = byte(i);
      return out;
   }
   bool operator==(const aaclL4PortEntry&) const = default;

private:
   // Byte i of the record is bits 8i..8i+7 of one word, whatever the host's byte order. A word
   // rather than a byte array, because stores of bytes may alias anything and would make every
   // table write reload the whole access path.
   uint8_t byte(size_t i) const { return static_cast<uint8_t>(raw_ >> (8 * i)); }

   uint64_t raw_ = 0;
};

// The L4 port tables. Two instances run, one per direction: instance 1 of the id table is the
// source-port table, instance 2 the destination-port table.
class aaclL4PortMgr : public xpDeviceTable<aaclL4PortEntry>,
                      public xpPrimitiveMgrBase<aaclL4PortMgr> {
public:
   static constexpr size_t kSrcInstance = 1;
   static constexpr size_t kDstInstance = 2;

   // The flag selects the chip's read path; the model has one, so any flag reads the table.
   XP_STATUS readEntry(xpsDevice_t devId, uint32_t index, aaclL4PortEntry* entry,
                       uint8_t flag = 0) {
      (void)flag;
      return xpDeviceTable::readEntry(devId, index, entry);
   }

protected:
   uint32_t tableSize(const xpDeviceProfile& profile) const override {
      return profile.l4PortEntries;
   }
};
