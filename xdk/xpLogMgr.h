#pragma once

#include <cstddef>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

enum xpLogLevel {
   XP_LOG_ERROR,
   XP_LOG_WARNING,
   XP_LOG_INFO,
   XP_LOG_DEBUG,
};

enum xpLogModule {
   XP_LOG_MODULE_CORE,
   XP_LOG_MODULE_DEVICE,
   XP_LOG_MODULE_PRIMITIVE,
   XP_LOG_MODULE_ACL,
   XP_LOG_MODULE_ACM,
   XP_LOG_MODULE_IF,
};

const char* xpLogLevelName(xpLogLevel level);
const char* xpLogModuleName(xpLogModule module);

struct xpLogMessage {
   xpLogLevel level;
   xpLogModule module;
   std::string file; // base name of the writing source file
   int line;
   std::string text; // the formatted message as written, newline and all
};

// The SDK's log. It keeps the most recent messages so that tests can read what the SDK
// reported, and echoes each one to a sink. Nothing time- or process-dependent goes into a
// line, so the same run always logs the same text.
class xpLogMgr {
public:
   static constexpr size_t kMaxKept = 1024;

   static xpLogMgr* instance();

   [[gnu::format(printf, 6, 7)]] void write(const char* file, int line, xpLogModule module,
                                            xpLogLevel level, const char* fmt, ...);

   // Oldest first; at most kMaxKept.
   std::vector<xpLogMessage> messages() const;
   void clear();
   // The kept messages, moved out (none are left) and put back in place of those kept since.
   std::deque<xpLogMessage> takeKept();
   void keptIs(std::deque<xpLogMessage> kept);

   // Where each message is echoed as "file:line: LEVEL: MODULE: text"; nullptr echoes nothing.
   void setSink(std::FILE* sink);
   std::FILE* sink() const;

private:
   xpLogMgr() = default;

   mutable std::mutex mutex_;
   std::FILE* sink_ = stderr;
   std::deque<xpLogMessage> kept_;
};

#define XP_LOG(module, level, ...)                                                             \
   xpLogMgr::instance()->write(__FILE__, __LINE__, module, level, __VA_ARGS__)
