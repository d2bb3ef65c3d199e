#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iosfwd>

// The trace's binary ring buffer. While on, it keeps every trace statement of every handle
// and level as a compact record: the statement's id and its argument values, the rest having
// been registered once per statement. Records are decoded only when dumped, into the very
// lines the text trace prints. When full, the oldest records make room for new ones.
namespace Norv {

class TraceArg;
class TraceHandle;
class TraceSite;

namespace Detail {
void traceWrite(const TraceHandle& handle, const TraceSite& site, const TraceArg* args,
                std::size_t count);
} // namespace Detail

class Ribbonlog {
public:
   static constexpr std::size_t kDefaultCapacity = std::size_t{1} << 20;
   static constexpr std::size_t kMinCapacity = 256;
   // A longer text argument is cut to this many bytes, so one value cannot flush the ring.
   static constexpr std::size_t kMaxTextBytes = 1024;

   Ribbonlog() = delete;

   static void enabledIs(bool on);
   static bool enabled() { return enabled_.load(std::memory_order_relaxed); }

   // Resizes the ring (in bytes of records) and drops what it held. Throws RangeError below
   // kMinCapacity. A record larger than the whole ring is not kept.
   static void capacityIs(std::size_t bytes);
   static std::size_t capacity();

   // The records held, oldest first, one decoded line each.
   static void dump(std::ostream& out);
   static void dump(std::FILE* out);
   static void clear();
   static std::size_t recordCount();
   static std::size_t bytesUsed();
   // Statements registered so far (a statement registers the first time a sink wants it).
   static std::size_t siteCount();

private:
   friend class TraceSite;
   friend void Detail::traceWrite(const TraceHandle&, const TraceSite&, const TraceArg*,
                                  std::size_t);

   static std::uint32_t siteIs(const TraceSite& site);
   static void record(const TraceSite& site, const TraceArg* args, std::size_t count);

   static std::atomic<bool> enabled_;
};

} // namespace Norv
