#include "sim/Sim.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>

namespace Sim {

namespace {

std::vector<Module>& modules() {
   static std::vector<Module> m;
   return m;
}

// The words of a line up to a '#', split at blanks and tabs. By hand: a loaded table is a
// line per entry, and a string stream per line would cost more than the driver's work.
std::vector<std::string> split(const std::string& line) {
   auto blank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
   std::vector<std::string> words;
   words.reserve(8);
   const size_t end = std::min(line.find('#'), line.size());
   for (size_t i = 0; i < end;) {
      if (blank(line[i])) {
         ++i;
         continue;
      }
      size_t j = i;
      while (j < end && !blank(line[j]))
         ++j;
      words.emplace_back(line, i, j - i);
      i = j;
   }
   return words;
}

} // namespace

std::vector<Module> sortedModules() {
   auto mods = modules();
   std::stable_sort(mods.begin(), mods.end(),
                    [](const Module& a, const Module& b) { return a.order < b.order; });
   return mods;
}

ModuleRegistration::ModuleRegistration(Module m) {
   modules().push_back(m);
}

std::string builtinScenario() {
   std::string text;
   for (const auto& m : sortedModules()) {
      if (m.scenario) text += m.scenario;
   }
   return text;
}

const std::string& Args::word(size_t i, const char* what) const {
   if (i >= words_.size()) throw Error(std::string("missing ") + what);
   return words_[i];
}

uint64_t Args::number(size_t i, const char* what, uint64_t max) const {
   const std::string& w = word(i, what);
   errno = 0;
   char* end = nullptr;
   const int base = w.size() > 2 && w[0] == '0' && (w[1] == 'x' || w[1] == 'X') ? 16 : 10;
   const unsigned long long v = std::strtoull(w.c_str(), &end, base);
   // The whole word must be the number: a stray byte after it (a NUL included) is an error.
   if (w.empty() || !std::isxdigit(static_cast<unsigned char>(w[0])) ||
       end != w.c_str() + w.size() || errno == ERANGE) {
      throw Error(std::string("bad ") + what + " '" + w + "': not a number");
   }
   if (v > max) {
      throw Error(std::string("bad ") + what + " '" + w + "': larger than " +
                  std::to_string(max));
   }
   return v;
}

double Args::real(size_t i, const char* what) const {
   const std::string& w = word(i, what);
   // Decimal digits, a point and an exponent only: no nan, inf or hex float.
   const bool decimal =
       std::any_of(w.begin(), w.end(), [](char c) { return c >= '0' && c <= '9'; }) &&
       std::all_of(w.begin(), w.end(), [](char c) {
          return (c >= '0' && c <= '9') || c == '.' || c == 'e' || c == 'E' || c == '+' ||
                 c == '-';
       });
   char* end = nullptr;
   errno = 0;
   const double v = decimal ? std::strtod(w.c_str(), &end) : 0;
   if (!decimal || end != w.c_str() + w.size()) {
      throw Error(std::string("bad ") + what + " '" + w + "': not a number");
   }
   if (errno == ERANGE || !std::isfinite(v)) {
      throw Error(std::string("bad ") + what + " '" + w + "': out of range");
   }
   return v;
}

bool Args::flag(size_t i, const char* what) const {
   const std::string& w = word(i, what);
   if (w == "true" || w == "on" || w == "1") return true;
   if (w == "false" || w == "off" || w == "0") return false;
   throw Error(std::string("bad ") + what + " '" + w + "': expected on or off");
}

void Args::atMost(size_t n) const {
   if (words_.size() > n) throw Error("unexpected '" + words_[n] + "'");
}

Simulator::Simulator(std::ostream& out) : out_(out) {
   for (const auto& m : sortedModules())
      m.start(*this);
}

Simulator::Simulator(std::ostream& out, Secondary) : out_(out), secondary_(true) {
   for (const auto& m : sortedModules())
      m.start(*this);
}

Simulator::~Simulator() {
   world_.batch.discard();
   world_.dropAll();
}

void Simulator::addCommand(Command c) {
   commands_.push_back(std::move(c));
}

void Simulator::printHelp() {
   for (const auto& c : commands_) {
      std::string u = c.family + (c.verb.empty() ? "" : " " + c.verb);
      if (!c.usage.empty()) u += " " + c.usage;
      out_ << u;
      if (u.size() < 40) out_ << std::string(40 - u.size(), ' ');
      out_ << "  " << c.help << "\n";
   }
}

void Simulator::runLine(std::vector<std::string> words) {
   const std::string& family = words[0];
   bool familyKnown = false;
   for (const auto& c : commands_) {
      if (c.family != family) continue;
      familyKnown = true;
      if (!c.verb.empty() && (words.size() < 2 || words[1] != c.verb)) continue;
      const size_t skip = c.verb.empty() ? 1 : 2;
      // The line's own words become the arguments: no copy per line.
      words.erase(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(skip));
      c.run(*this, Args(std::move(words)));
      return;
   }
   if (!familyKnown) throw Error("unknown command '" + family + "' (try 'help')");
   if (words.size() < 2) throw Error("'" + family + "' needs a verb (try 'help')");
   throw Error("unknown command '" + family + " " + words[1] + "' (try 'help')");
}

bool Simulator::runText(const std::string& source, const std::string& text, std::ostream& err) {
   std::istringstream in(text);
   std::string line;
   line_ = 0;
   while (std::getline(in, line)) {
      ++line_;
      auto words = split(line);
      if (words.empty()) continue;
      if (echo_ && words[0] != "echo") {
         out_ << ">";
         for (const auto& w : words)
            out_ << " " << w;
         out_ << "\n";
      }
      try {
         runLine(std::move(words));
      } catch (const std::exception& e) {
         // Scenario input is user input: report it and stop cleanly, never abort. What an open
         // batch deferred is discarded, not delivered: the scenario stopped before its end.
         err << source << ":" << line_ << ": " << e.what() << "\n";
         world_.batch.discard();
         return false;
      }
   }
   if (world_.batch.isOpen()) {
      err << source << ":" << world_.batch.line() << ": batch not closed\n";
      world_.batch.discard();
      return false;
   }
   return true;
}

bool Simulator::runFile(const std::string& path, std::ostream& err) {
   if (path == "-") {
      std::stringstream ss;
      ss << std::cin.rdbuf();
      return runText("<stdin>", ss.str(), err);
   }
   // Read through the C library so that a failure carries the system's own reason; a
   // directory opens, and only its reading fails.
   std::FILE* f = std::fopen(path.c_str(), "rb");
   std::string text;
   int error = f ? 0 : errno;
   if (f) {
      char buf[65536];
      for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
         text.append(buf, n);
      if (std::ferror(f)) error = errno ? errno : EIO;
      std::fclose(f);
   }
   if (error) {
      err << path << ": cannot read the scenario: " << std::strerror(error) << "\n";
      return false;
   }
   return runText(path, text, err);
}

Orim::ChipId knownChipArg(Simulator& s, const Args& a, size_t i) {
   const uint64_t n = a.number(i, "chip id", 63);
   if (!s.world().devices->deviceIdColl().contains(
           XpXdk::XpDeviceId(static_cast<uint8_t>(n)))) {
      throw Error("unknown chip " + std::to_string(n) + ": no such device (use 'device add')");
   }
   return Orim::ChipId(static_cast<uint32_t>(n));
}

} // namespace Sim
