#pragma once

#include "norv/Text.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

// A syslog-style message, declared once at load time and logged with its arguments:
//
//    static Norv::LogHandle unsupportedMask{"ACL_UNSUPPORTED_IPV6_MASK", 3,
//       "IPv6 address %s with most significant 96 bits masked is not supported in ACL rules.",
//       "explanation...", "recommended action...", 0.0, 1.0};
//    unsupportedMask.log(address);
//
// The format knows only `%s`, which takes the next argument's Norv::text, and `%%`; any other
// `%` sequence is printed as written. A missing argument prints as "(missing)", surplus ones
// are appended in brackets, so a wrong call still yields a readable message.
namespace Norv {

class LogHandle {
public:
   using Sink = std::function<void(const LogHandle&, const std::string&)>;
   using TimeSource = std::function<double()>; // seconds, never going back

   // Rate limit as a token bucket: a message spends a token, a token comes back every
   // rateLimitInterval seconds (0: no limit), and the bucket holds rateLimitBurst tokens (at
   // least 1), the number of messages that may pass back to back.
   // Throws RangeError for a null name or format, a severity outside 0..7 (syslog's), or a
   // negative rate limit.
   LogHandle(const char* name, int severity, const char* format, const char* explanation,
             const char* recommendedAction, double rateLimitInterval, double rateLimitBurst);
   LogHandle(const LogHandle&) = delete;
   LogHandle& operator=(const LogHandle&) = delete;

   const std::string& name() const { return name_; }
   int severity() const { return severity_; }
   const std::string& format() const { return format_; }
   const std::string& explanation() const { return explanation_; }
   const std::string& recommendedAction() const { return recommendedAction_; }
   double rateLimitInterval() const { return rateLimitInterval_; }
   double rateLimitBurst() const { return rateLimitBurst_; }

   // Messages handed to the sink, and messages dropped by the rate limit.
   std::uint64_t loggedCount() const { return logged_.load(std::memory_order_relaxed); }
   std::uint64_t suppressedCount() const { return suppressed_.load(std::memory_order_relaxed); }

   // Arguments of a message the rate limit drops are not turned into text.
   template <class... Args>
   void log(const Args&... args) {
      if (!admit()) return;
      const std::array<std::string, sizeof...(Args)> texts{Norv::text(args)...};
      deliver(formatted(format_, texts.data(), texts.size()));
   }

   // The message a format gives with these argument texts.
   static std::string formatted(std::string_view format, const std::string* args,
                                std::size_t count);

   // An empty function restores the default: the sink writes "%NAME: message" lines to
   // stderr, the time source is a monotonic clock.
   static void sinkIs(Sink sink);
   // The sink in place, so that a caller can divert messages for a while and put it back.
   static Sink sink();
   static void timeSourceIs(TimeSource source);

private:
   bool admit();
   void deliver(const std::string& message);

   std::string name_;
   int severity_;
   std::string format_;
   std::string explanation_;
   std::string recommendedAction_;
   double rateLimitInterval_;
   double rateLimitBurst_;

   std::mutex mutex_; // guards the bucket
   bool started_ = false;
   double tokens_ = 0;
   double lastTime_ = 0;
   std::atomic<std::uint64_t> logged_{0};
   std::atomic<std::uint64_t> suppressed_{0};
};

} // namespace Norv
