#include "norv/Trace.h"

#include "norv/Ribbonlog.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <set>

namespace Norv {

namespace {

struct TraceRule {
   std::string name; // "*" matches every handle
   std::uint32_t levels;
};

std::string_view trimmed(std::string_view s) {
   while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
      s.remove_prefix(1);
   while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
      s.remove_suffix(1);
   return s;
}

std::string quoted(std::string_view s) {
   std::string out(1, '\'');
   out += s;
   out += '\'';
   return out;
}

std::string parseLevel(std::string_view text, std::string_view levels, std::string_view entry,
                       int& level) {
   if (text.empty() ||
       !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
      return "bad trace level " + quoted(levels) + " in " + quoted(entry);
   }
   int value = 0;
   for (char c : text)
      value = std::min(value * 10 + (c - '0'), 1000);
   if (value >= TraceHandle::kLevels) {
      return "trace level " + std::string(text) + " out of range 0-" +
             std::to_string(TraceHandle::kLevels - 1) + " in " + quoted(entry);
   }
   level = value;
   return {};
}

std::string parseEntry(std::string_view entry, TraceRule& rule) {
   const auto slash = entry.find('/');
   const std::string_view name = trimmed(entry.substr(0, slash));
   if (name.empty()) return "missing trace handle name in " + quoted(entry);
   rule.name = std::string(name);
   if (slash == std::string_view::npos) {
      rule.levels = TraceHandle::kAllLevels;
      return {};
   }
   const std::string_view levels = trimmed(entry.substr(slash + 1));
   const auto dash = levels.find('-');
   int low = 0;
   int high = 0;
   if (auto error = parseLevel(trimmed(levels.substr(0, dash)), levels, entry, low);
       !error.empty()) {
      return error;
   }
   high = low;
   if (dash != std::string_view::npos) {
      if (auto error = parseLevel(trimmed(levels.substr(dash + 1)), levels, entry, high);
          !error.empty()) {
         return error;
      }
      if (high < low) return "bad trace level range " + quoted(levels) + " in " + quoted(entry);
   }
   rule.levels = ((2u << high) - 1) & ~((1u << low) - 1);
   return {};
}

std::string parseSpec(std::string_view setting, std::vector<TraceRule>& rules) {
   rules.clear();
   if (trimmed(setting).empty()) return {};
   std::size_t start = 0;
   while (true) {
      const auto comma = setting.find(',', start);
      const std::string_view entry = trimmed(setting.substr(start, comma - start));
      if (entry.empty()) return "empty entry in trace setting " + quoted(setting);
      TraceRule rule;
      if (auto error = parseEntry(entry, rule); !error.empty()) return error;
      rules.push_back(std::move(rule));
      if (comma == std::string_view::npos) return {};
      start = comma + 1;
   }
}

} // namespace

// Process-wide and never destroyed, so handles and statements may come and go in any order
// of static construction and destruction.
struct TraceRegistry {
   std::mutex mutex;
   std::set<std::string> names; // interned handle names, kept for the whole process
   std::vector<TraceHandle*> handles;
   std::vector<TraceRule> rules;
   std::atomic<std::FILE*> sink{nullptr};

   TraceRegistry() {
      if (auto error = parseSpec(environmentSpec(), rules); !error.empty()) {
         std::fprintf(stderr, "XPACL_TRACE: %s\n", error.c_str());
      }
   }

   static TraceRegistry& instance() {
      static TraceRegistry* registry = new TraceRegistry;
      return *registry;
   }

   static std::string environmentSpec() {
      const char* value = std::getenv("XPACL_TRACE");
      return value != nullptr ? value : "";
   }

   // Caller holds the mutex.
   void refresh(TraceHandle& handle) {
      std::uint32_t text = 0;
      for (const auto& rule : rules) {
         if (rule.name == "*" || rule.name == *handle.name_) text |= rule.levels;
      }
      handle.textMask_.store(text, std::memory_order_relaxed);
      handle.mask_.store(text | (Ribbonlog::enabled() ? TraceHandle::kAllLevels : 0),
                         std::memory_order_relaxed);
   }

   void refreshAll() {
      for (auto* handle : handles)
         refresh(*handle);
   }

   std::string apply(const std::string& setting, bool knownNamesOnly) {
      std::vector<TraceRule> parsed;
      if (auto error = parseSpec(setting, parsed); !error.empty()) return error;
      std::lock_guard lock(mutex);
      if (knownNamesOnly) {
         for (const auto& rule : parsed) {
            if (rule.name != "*" && !names.contains(rule.name)) {
               return "unknown trace handle " + quoted(rule.name) + " in " + quoted(setting);
            }
         }
      }
      rules = std::move(parsed);
      refreshAll();
      return {};
   }
};

TraceHandle::TraceHandle(const char* name) {
   auto& registry = TraceRegistry::instance();
   std::lock_guard lock(registry.mutex);
   name_ = &*registry.names.insert(name).first;
   registry.handles.push_back(this);
   registry.refresh(*this);
}

TraceHandle::~TraceHandle() {
   auto& registry = TraceRegistry::instance();
   std::lock_guard lock(registry.mutex);
   std::erase(registry.handles, this);
}

std::string Trace::configure(const std::string& setting) {
   return TraceRegistry::instance().apply(setting, true);
}

std::string Trace::configureFromEnvironment() {
   return TraceRegistry::instance().apply(TraceRegistry::environmentSpec(), false);
}

void Trace::textSinkIs(std::FILE* sink) {
   TraceRegistry::instance().sink.store(sink);
}

const TraceHandle* Trace::handle(const std::string& name) {
   auto& registry = TraceRegistry::instance();
   std::lock_guard lock(registry.mutex);
   for (const auto* handle : registry.handles) {
      if (handle->name() == name) return handle;
   }
   return nullptr;
}

std::vector<std::string> Trace::handleNames() {
   auto& registry = TraceRegistry::instance();
   std::lock_guard lock(registry.mutex);
   std::vector<std::string> names;
   for (const auto* handle : registry.handles)
      names.push_back(handle->name());
   std::sort(names.begin(), names.end());
   names.erase(std::unique(names.begin(), names.end()), names.end());
   return names;
}

std::string TraceArg::text() const {
   switch (kind_) {
   case Kind::Signed:
      return Norv::text(static_cast<std::int64_t>(bits_));
   case Kind::Unsigned:
      return Norv::text(bits_);
   case Kind::Double:
      return Norv::text(std::bit_cast<double>(bits_));
   case Kind::Bool:
      return Norv::text(bits_ != 0);
   case Kind::Text:
      break;
   }
   return text_;
}

namespace {
const char* baseName(const char* path) {
   const char* base = path;
   for (const char* p = path; *p != '\0'; ++p) {
      if (*p == '/') base = p + 1;
   }
   return base;
}
} // namespace

static_assert(std::is_trivially_destructible_v<TraceSite>);

TraceSite::TraceSite(const TraceHandle& handle, int level, const char* format, const char* file,
                     int line, const char* function)
    : handleName_(&handle.name()), level_(level), format_(format), file_(baseName(file)),
      line_(line), function_(function), id_(Ribbonlog::siteIs(*this)) {}

std::string TraceSite::text(const TraceArg* args, std::size_t count) const {
   std::string out = *handleName_;
   out += '/';
   out += std::to_string(level_);
   out += ' ';
   out += file_;
   out += ':';
   out += std::to_string(line_);
   out += ' ';
   out += function_;
   out += ": ";
   std::size_t next = 0;
   for (const char* p = format_; *p != '\0'; ++p) {
      if (p[0] == '{' && p[1] == '}' && next < count) {
         out += args[next++].text();
         ++p;
      } else {
         out += *p;
      }
   }
   return out;
}

namespace Detail {

void traceWrite(const TraceHandle& handle, const TraceSite& site, const TraceArg* args,
                std::size_t count) {
   if (handle.textEnabled(site.level())) {
      const std::string line = site.text(args, count) + '\n';
      std::FILE* sink = TraceRegistry::instance().sink.load();
      if (sink == nullptr) sink = stderr;
      std::fwrite(line.data(), 1, line.size(), sink);
      std::fflush(sink);
   }
   if (Ribbonlog::enabled()) Ribbonlog::record(site, args, count);
}

void traceMasksRefresh() {
   auto& registry = TraceRegistry::instance();
   std::lock_guard lock(registry.mutex);
   registry.refreshAll();
}

} // namespace Detail
} // namespace Norv
