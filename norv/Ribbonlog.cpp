#include "norv/Ribbonlog.h"

#include "norv/Errors.h"
#include "norv/Trace.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

// Record layout, native byte order, unaligned, possibly wrapping round the end of the ring:
//    u32 size of the whole record, u32 statement id, u16 argument count,
//    then per argument: u8 kind, and either 8 bytes of value or u32 length + the text bytes.
namespace Norv {

std::atomic<bool> Ribbonlog::enabled_{false};

namespace {

constexpr std::size_t kHeaderBytes = 4 + 4 + 2;

struct Ring {
   std::mutex mutex;
   std::size_t capacity = Ribbonlog::kDefaultCapacity;
   std::vector<unsigned char> bytes; // allocated on the first record
   // Positions grow without bound; the byte is at position % capacity.
   std::uint64_t head = 0; // oldest record
   std::uint64_t tail = 0; // where the next record goes
   std::size_t count = 0;
   std::vector<const TraceSite*> sites; // by id

   static Ring& instance() {
      static Ring* ring = new Ring;
      return *ring;
   }

   void put(std::uint64_t pos, const void* src, std::size_t n) {
      const std::size_t at = pos % capacity;
      const std::size_t first = std::min(n, capacity - at);
      std::memcpy(bytes.data() + at, src, first);
      std::memcpy(bytes.data(), static_cast<const unsigned char*>(src) + first, n - first);
   }

   void get(std::uint64_t pos, void* dst, std::size_t n) const {
      const std::size_t at = pos % capacity;
      const std::size_t first = std::min(n, capacity - at);
      std::memcpy(dst, bytes.data() + at, first);
      std::memcpy(static_cast<unsigned char*>(dst) + first, bytes.data(), n - first);
   }

   template <class T>
   T getValue(std::uint64_t pos) const {
      T value;
      get(pos, &value, sizeof value);
      return value;
   }

   void dropOldest() {
      head += getValue<std::uint32_t>(head);
      --count;
   }

   // Caller holds the mutex.
   std::string decode(std::uint64_t pos) const {
      const auto id = getValue<std::uint32_t>(pos + 4);
      const auto argCount = getValue<std::uint16_t>(pos + 8);
      pos += kHeaderBytes;
      std::vector<TraceArg> args;
      args.reserve(argCount);
      for (std::size_t i = 0; i < argCount; ++i) {
         const auto kind = static_cast<TraceArg::Kind>(getValue<std::uint8_t>(pos));
         pos += 1;
         if (kind == TraceArg::Kind::Text) {
            std::string text(getValue<std::uint32_t>(pos), '\0');
            get(pos + 4, text.data(), text.size());
            pos += 4 + text.size();
            args.emplace_back(kind, 0, std::move(text));
         } else {
            args.emplace_back(kind, getValue<std::uint64_t>(pos), std::string());
            pos += 8;
         }
      }
      return sites[id]->text(args.data(), args.size());
   }

   std::string decodeAll() {
      std::lock_guard lock(mutex);
      std::string out;
      for (std::uint64_t pos = head; pos != tail; pos += getValue<std::uint32_t>(pos)) {
         out += decode(pos);
         out += '\n';
      }
      return out;
   }
};

} // namespace

void Ribbonlog::enabledIs(bool on) {
   enabled_.store(on, std::memory_order_relaxed);
   Detail::traceMasksRefresh();
}

void Ribbonlog::capacityIs(std::size_t bytes) {
   if (bytes < kMinCapacity) {
      throw RangeError("ring buffer capacity " + std::to_string(bytes) + " below the minimum " +
                       std::to_string(kMinCapacity));
   }
   auto& ring = Ring::instance();
   std::lock_guard lock(ring.mutex);
   ring.capacity = bytes;
   ring.bytes.clear();
   ring.bytes.shrink_to_fit();
   ring.head = ring.tail = 0;
   ring.count = 0;
}

std::size_t Ribbonlog::capacity() {
   auto& ring = Ring::instance();
   std::lock_guard lock(ring.mutex);
   return ring.capacity;
}

void Ribbonlog::dump(std::ostream& out) {
   out << Ring::instance().decodeAll();
}

void Ribbonlog::dump(std::FILE* out) {
   const std::string text = Ring::instance().decodeAll();
   std::fwrite(text.data(), 1, text.size(), out);
   std::fflush(out);
}

void Ribbonlog::clear() {
   auto& ring = Ring::instance();
   std::lock_guard lock(ring.mutex);
   ring.head = ring.tail = 0;
   ring.count = 0;
}

std::size_t Ribbonlog::recordCount() {
   auto& ring = Ring::instance();
   std::lock_guard lock(ring.mutex);
   return ring.count;
}

std::size_t Ribbonlog::bytesUsed() {
   auto& ring = Ring::instance();
   std::lock_guard lock(ring.mutex);
   return static_cast<std::size_t>(ring.tail - ring.head);
}

std::size_t Ribbonlog::siteCount() {
   auto& ring = Ring::instance();
   std::lock_guard lock(ring.mutex);
   return ring.sites.size();
}

std::uint32_t Ribbonlog::siteIs(const TraceSite& site) {
   auto& ring = Ring::instance();
   std::lock_guard lock(ring.mutex);
   ring.sites.push_back(&site);
   return static_cast<std::uint32_t>(ring.sites.size() - 1);
}

void Ribbonlog::record(const TraceSite& site, const TraceArg* args, std::size_t count) {
   std::size_t size = kHeaderBytes;
   for (std::size_t i = 0; i < count; ++i) {
      size += 1 + (args[i].kind() == TraceArg::Kind::Text
                       ? 4 + std::min(args[i].rawText().size(), kMaxTextBytes)
                       : 8);
   }
   // Encoded outside the lock, then copied into the ring in one go.
   unsigned char local[512];
   std::vector<unsigned char> large;
   unsigned char* const start =
       size <= sizeof local ? local : (large.resize(size), large.data());
   unsigned char* out = start;
   auto append = [&out](const void* src, std::size_t n) {
      std::memcpy(out, src, n);
      out += n;
   };
   const auto total = static_cast<std::uint32_t>(size);
   const std::uint32_t id = site.id();
   const auto argCount = static_cast<std::uint16_t>(count);
   append(&total, sizeof total);
   append(&id, sizeof id);
   append(&argCount, sizeof argCount);
   for (std::size_t i = 0; i < count; ++i) {
      const auto kind = static_cast<std::uint8_t>(args[i].kind());
      append(&kind, sizeof kind);
      if (args[i].kind() == TraceArg::Kind::Text) {
         const auto length =
             static_cast<std::uint32_t>(std::min(args[i].rawText().size(), kMaxTextBytes));
         append(&length, sizeof length);
         append(args[i].rawText().data(), length);
      } else {
         const std::uint64_t bits = args[i].bits();
         append(&bits, sizeof bits);
      }
   }

   auto& ring = Ring::instance();
   std::lock_guard lock(ring.mutex);
   if (size > ring.capacity) return; // cannot be held whatever we drop
   if (ring.bytes.size() != ring.capacity) ring.bytes.assign(ring.capacity, 0);
   while (ring.capacity - (ring.tail - ring.head) < size)
      ring.dropOldest();
   ring.put(ring.tail, start, size);
   ring.tail += size;
   ++ring.count;
}

} // namespace Norv
