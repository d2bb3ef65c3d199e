#include "norv/LogHandle.h"

#include "norv/Errors.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace Norv {

namespace {

void defaultSink(const LogHandle& handle, const std::string& message) {
   const std::string line = "%" + handle.name() + ": " + message + "\n";
   std::fwrite(line.data(), 1, line.size(), stderr);
}

double monotonicSeconds() {
   return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
       .count();
}

// Never destroyed, so statics logging from their destructors still find it.
struct LogSettings {
   std::mutex mutex;
   LogHandle::Sink sink = defaultSink;
   LogHandle::TimeSource timeSource = monotonicSeconds;

   static LogSettings& instance() {
      static LogSettings* settings = new LogSettings;
      return *settings;
   }
};

std::string required(const char* value, const char* what) {
   if (value == nullptr) throw RangeError(std::string("log handle without ") + what);
   return value;
}

double rateLimit(double value, const std::string& name, const char* what) {
   if (!(value >= 0)) {
      throw RangeError("log handle " + name + ": " + what + " must not be negative");
   }
   return value;
}

} // namespace

LogHandle::LogHandle(const char* name, int severity, const char* format,
                     const char* explanation, const char* recommendedAction,
                     double rateLimitInterval, double rateLimitBurst)
    : name_(required(name, "a name")), severity_(severity),
      format_(required(format, "a format")), explanation_(explanation ? explanation : ""),
      recommendedAction_(recommendedAction ? recommendedAction : ""),
      rateLimitInterval_(rateLimit(rateLimitInterval, name_, "rate limit interval")),
      rateLimitBurst_(rateLimit(rateLimitBurst, name_, "rate limit burst")) {
   if (severity < 0 || severity > 7) {
      throw RangeError("log handle " + name_ + ": severity " + std::to_string(severity) +
                       " outside 0..7");
   }
}

bool LogHandle::admit() {
   if (rateLimitInterval_ == 0) return true;
   double now;
   {
      auto& settings = LogSettings::instance();
      std::lock_guard lock(settings.mutex);
      now = settings.timeSource();
   }
   const double depth = std::max(rateLimitBurst_, 1.0);
   std::lock_guard lock(mutex_);
   if (!started_) {
      started_ = true;
      tokens_ = depth;
   } else if (now > lastTime_) {
      tokens_ = std::min(depth, tokens_ + (now - lastTime_) / rateLimitInterval_);
   }
   lastTime_ = std::max(lastTime_, now);
   if (tokens_ >= 1) {
      tokens_ -= 1;
      return true;
   }
   suppressed_.fetch_add(1, std::memory_order_relaxed);
   return false;
}

void LogHandle::deliver(const std::string& message) {
   Sink sink;
   {
      auto& settings = LogSettings::instance();
      std::lock_guard lock(settings.mutex);
      sink = settings.sink;
   }
   logged_.fetch_add(1, std::memory_order_relaxed);
   sink(*this, message);
}

std::string LogHandle::formatted(std::string_view format, const std::string* args,
                                 std::size_t count) {
   std::string out;
   std::size_t next = 0;
   for (std::size_t i = 0; i < format.size(); ++i) {
      if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == 's') {
         out += next < count ? args[next] : std::string("(missing)");
         ++next;
         ++i;
      } else if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == '%') {
         out += '%';
         ++i;
      } else {
         out += format[i];
      }
   }
   if (next < count) {
      out += " [";
      for (std::size_t i = next; i < count; ++i) {
         if (i > next) out += ", ";
         out += args[i];
      }
      out += ']';
   }
   return out;
}

void LogHandle::sinkIs(Sink sink) {
   auto& settings = LogSettings::instance();
   std::lock_guard lock(settings.mutex);
   settings.sink = sink ? std::move(sink) : Sink(defaultSink);
}

LogHandle::Sink LogHandle::sink() {
   auto& settings = LogSettings::instance();
   std::lock_guard lock(settings.mutex);
   return settings.sink;
}

void LogHandle::timeSourceIs(TimeSource source) {
   auto& settings = LogSettings::instance();
   std::lock_guard lock(settings.mutex);
   settings.timeSource = source ? std::move(source) : TimeSource(monotonicSeconds);
}

} // namespace Norv
