#include "xdk/xpLogMgr.h"

#include <cstdarg>
#include <cstring>
#include <utility>

const char* xpLogLevelName(xpLogLevel level) {
   switch (level) {
   case XP_LOG_ERROR:
      return "ERROR";
   case XP_LOG_WARNING:
      return "WARNING";
   case XP_LOG_INFO:
      return "INFO";
   case XP_LOG_DEBUG:
      return "DEBUG";
   }
   return "?";
}

const char* xpLogModuleName(xpLogModule module) {
   switch (module) {
   case XP_LOG_MODULE_CORE:
      return "CORE";
   case XP_LOG_MODULE_DEVICE:
      return "DEVICE";
   case XP_LOG_MODULE_PRIMITIVE:
      return "PRIMITIVE";
   case XP_LOG_MODULE_ACL:
      return "ACL";
   case XP_LOG_MODULE_ACM:
      return "ACM";
   case XP_LOG_MODULE_IF:
      return "IF";
   }
   return "?";
}

xpLogMgr* xpLogMgr::instance() {
   static xpLogMgr mgr;
   return &mgr;
}

namespace {

const char* baseName(const char* path) {
   const char* slash = std::strrchr(path, '/');
   return slash ? slash + 1 : path;
}

std::string format(const char* fmt, va_list args) {
   va_list sizing;
   va_copy(sizing, args);
   int size = std::vsnprintf(nullptr, 0, fmt, sizing);
   va_end(sizing);
   if (size <= 0) return {};
   std::string text(static_cast<size_t>(size), '\0');
   // vsnprintf writes a terminating NUL, which std::string has room for past size().
   std::vsnprintf(text.data(), text.size() + 1, fmt, args);
   return text;
}

} // namespace

void xpLogMgr::write(const char* file, int line, xpLogModule module, xpLogLevel level,
                     const char* fmt, ...) {
   va_list args;
   va_start(args, fmt);
   xpLogMessage msg{level, module, baseName(file), line, format(fmt, args)};
   va_end(args);

   std::lock_guard lock(mutex_);
   if (sink_) {
      bool newline = !msg.text.empty() && msg.text.back() == '\n';
      std::fprintf(sink_, "%s:%d: %s: %s: %s%s", msg.file.c_str(), line, xpLogLevelName(level),
                   xpLogModuleName(module), msg.text.c_str(), newline ? "" : "\n");
      std::fflush(sink_);
   }
   if (kept_.size() == kMaxKept) kept_.pop_front();
   kept_.push_back(std::move(msg));
}

std::vector<xpLogMessage> xpLogMgr::messages() const {
   std::lock_guard lock(mutex_);
   return {kept_.begin(), kept_.end()};
}

void xpLogMgr::clear() {
   std::lock_guard lock(mutex_);
   kept_.clear();
}

std::deque<xpLogMessage> xpLogMgr::takeKept() {
   std::lock_guard lock(mutex_);
   return std::exchange(kept_, {});
}

void xpLogMgr::keptIs(std::deque<xpLogMessage> kept) {
   std::lock_guard lock(mutex_);
   kept_ = std::move(kept);
}

void xpLogMgr::setSink(std::FILE* sink) {
   std::lock_guard lock(mutex_);
   sink_ = sink;
}

std::FILE* xpLogMgr::sink() const {
   std::lock_guard lock(mutex_);
   return sink_;
}
