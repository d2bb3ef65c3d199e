#pragma once

#include "norv/Text.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// The framework's trace. Each source file declares one handle:
//
//    NORV_TRACE_HANDLE("XpAclL4PortXformSm");
//    ...
//    NORV_TRACE(8, "writeEntry devId {} entryIndex {}", devId, idx);
//
// The handle is a static named norvTraceHandle_, so the statements of a file must be in the
// scope where the file declares it (or nested in it).
//
// A statement goes to two sinks at once: the text trace (enabled per handle and level by
// XPACL_TRACE or Trace::configure) and the ring buffer (Ribbonlog, all levels when on). When
// neither wants the statement, it costs one load and a branch and its arguments are not
// evaluated.
namespace Norv {

class TraceSite;

class TraceHandle {
public:
   static constexpr int kLevels = 10;
   static constexpr std::uint32_t kAllLevels = (1u << kLevels) - 1;

   // The name is copied into a registry that lives for the whole process, so records and
   // dumps can still name the handle after it is gone.
   explicit TraceHandle(const char* name);
   ~TraceHandle();
   TraceHandle(const TraceHandle&) = delete;
   TraceHandle& operator=(const TraceHandle&) = delete;

   const std::string& name() const { return *name_; }

   // Whether any sink wants a statement of this level.
   bool enabled(int level) const {
      return static_cast<unsigned>(level) < static_cast<unsigned>(kLevels) &&
             ((mask_.load(std::memory_order_relaxed) >> level) & 1u) != 0;
   }
   // Whether the text trace wants a statement of this level.
   bool textEnabled(int level) const {
      return static_cast<unsigned>(level) < static_cast<unsigned>(kLevels) &&
             ((textMask_.load(std::memory_order_relaxed) >> level) & 1u) != 0;
   }

private:
   friend struct TraceRegistry;
   const std::string* name_;
   // textMask_ is the text trace's own levels; mask_ also has every level while the ring
   // buffer is on, so the call site checks a single word.
   std::atomic<std::uint32_t> textMask_{0};
   std::atomic<std::uint32_t> mask_{0};
};

class Trace {
public:
   Trace() = delete;

   // Replaces the text trace configuration. The setting is a comma-separated list of entries
   // `Handle/N`, `Handle/N-M` or `Handle` (all levels), with `*` as the handle matching every
   // handle; levels are 0..9 and entries add up. The empty setting switches the text trace off.
   // Returns an error message, or the empty string on success; on error nothing changes.
   // Names must be of registered handles.
   static std::string configure(const std::string& setting);
   // Applies XPACL_TRACE as the process did at start (unset means off). Names of handles not
   // registered yet are accepted, as they may belong to code that registers later.
   static std::string configureFromEnvironment();
   // Where text lines go; nullptr restores stderr. The stream is not closed by the trace.
   static void textSinkIs(std::FILE* sink);
   // The first handle registered under the name, or nullptr.
   static const TraceHandle* handle(const std::string& name);
   // Names of the registered handles, sorted, without duplicates.
   static std::vector<std::string> handleNames();
};

// One value of a trace statement, in the form a record stores it: integers as 64 bits,
// doubles, bools, and anything else as its Norv::text.
class TraceArg {
public:
   enum class Kind : std::uint8_t { Signed, Unsigned, Double, Bool, Text };

   template <class T>
   explicit TraceArg(const T& v) {
      using U = std::remove_cvref_t<T>;
      if constexpr (std::is_same_v<U, bool>) {
         kind_ = Kind::Bool;
         bits_ = v ? 1 : 0;
      } else if constexpr (std::is_integral_v<U> && std::is_signed_v<U>) {
         kind_ = Kind::Signed;
         bits_ = static_cast<std::uint64_t>(static_cast<std::int64_t>(v));
      } else if constexpr (std::is_integral_v<U>) {
         kind_ = Kind::Unsigned;
         bits_ = static_cast<std::uint64_t>(v);
      } else if constexpr (std::is_floating_point_v<U>) {
         kind_ = Kind::Double;
         bits_ = std::bit_cast<std::uint64_t>(static_cast<double>(v));
      } else if constexpr (std::is_pointer_v<U> && std::is_convertible_v<U, const char*>) {
         kind_ = Kind::Text;
         text_ = v != nullptr ? std::string(v) : std::string("(null)");
      } else {
         kind_ = Kind::Text;
         text_ = Norv::text(v);
      }
   }
   // Rebuilds a value read back from a record.
   TraceArg(Kind kind, std::uint64_t bits, std::string text)
       : kind_(kind), bits_(bits), text_(std::move(text)) {}

   Kind kind() const { return kind_; }
   std::uint64_t bits() const { return bits_; }
   const std::string& rawText() const { return text_; }
   // The value's Norv::text.
   std::string text() const;

private:
   Kind kind_;
   std::uint64_t bits_ = 0;
   std::string text_;
};

// What a trace statement says once for all its records. Each statement has one, a
// function-local static created the first time the statement is wanted by a sink.
// Trivially destructible so that statements run by other statics' destructors stay safe.
class TraceSite {
public:
   TraceSite(const TraceHandle& handle, int level, const char* format, const char* file,
             int line, const char* function);

   const std::string& handleName() const { return *handleName_; }
   int level() const { return level_; }
   const char* format() const { return format_; }
   const char* file() const { return file_; } // base name
   int line() const { return line_; }
   const char* function() const { return function_; }
   std::uint32_t id() const { return id_; }

   // The text line the statement prints with these values, without a newline.
   std::string text(const TraceArg* args, std::size_t count) const;

private:
   const std::string* handleName_;
   int level_;
   const char* format_;
   const char* file_;
   int line_;
   const char* function_;
   std::uint32_t id_;
};

namespace Detail {

constexpr std::size_t tracePlaceholderCount(std::string_view format) {
   std::size_t count = 0;
   for (std::size_t i = 0; i + 1 < format.size(); ++i) {
      if (format[i] == '{' && format[i + 1] == '}') {
         ++count;
         ++i;
      }
   }
   return count;
}

void traceWrite(const TraceHandle& handle, const TraceSite& site, const TraceArg* args,
                std::size_t count);
// Recomputes every handle's levels after the ring buffer is switched on or off.
void traceMasksRefresh();

// Out of line and cold so the enabled path does not weigh on the caller's code.
template <std::size_t Placeholders, class... Args>
[[gnu::cold, gnu::noinline]] void traceEmit(const TraceHandle& handle, const TraceSite& site,
                                            const Args&... args) {
   static_assert(Placeholders == sizeof...(Args),
                 "NORV_TRACE: the number of {} placeholders differs from the number of "
                 "arguments");
   const std::array<TraceArg, sizeof...(Args)> values{TraceArg(args)...};
   traceWrite(handle, site, values.data(), values.size());
}

} // namespace Detail
} // namespace Norv

#define NORV_TRACE_HANDLE(name) static ::Norv::TraceHandle norvTraceHandle_(name)

// The level must be a constant 0..9 and the format a string literal: both are registered
// once per statement.
#define NORV_TRACE(level, fmt, ...)                                                            \
   do {                                                                                        \
      static_assert((level) >= 0 && (level) < ::Norv::TraceHandle::kLevels,                    \
                    "trace level must be 0..9");                                               \
      if (norvTraceHandle_.enabled(level)) [[unlikely]] {                                      \
         static const ::Norv::TraceSite norvTraceSite_(norvTraceHandle_, (level), "" fmt "",   \
                                                       __FILE__, __LINE__, __func__);          \
         ::Norv::Detail::traceEmit<::Norv::Detail::tracePlaceholderCount("" fmt "")>(          \
             norvTraceHandle_, norvTraceSite_ __VA_OPT__(, ) __VA_ARGS__);                     \
      }                                                                                        \
   } while (false)
