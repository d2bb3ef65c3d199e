#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "sim/SimWorld.h"

namespace Sim {

// A scenario error: reported as "file:line: message", and the run stops with a non-zero exit.
// A NUL byte of the scenario shows as "\0" (a message is a C string).
class Error : public std::runtime_error {
public:
   explicit Error(const std::string& what) : std::runtime_error(visible(what)) {}

private:
   static std::string visible(std::string s) {
      for (size_t at; (at = s.find('\0')) != std::string::npos;)
         s.replace(at, 1, "\\0");
      return s;
   }
};

// The words of one command line, with checked conversions that name what was expected.
class Args {
public:
   explicit Args(std::vector<std::string> words) : words_(std::move(words)) {}
   size_t size() const { return words_.size(); }
   const std::string& word(size_t i, const char* what) const;
   bool has(size_t i) const { return i < words_.size(); }
   // An unsigned number (decimal or 0x hex) no larger than `max`.
   uint64_t number(size_t i, const char* what, uint64_t max) const;
   double real(size_t i, const char* what) const;
   bool flag(size_t i, const char* what) const; // true/false, on/off, 1/0
   // Rejects words beyond `n`.
   void atMost(size_t n) const;

private:
   std::vector<std::string> words_;
};

class Simulator;

struct Command {
   std::string family; // first word
   std::string verb;   // second word, empty when the family takes none
   std::string usage;
   std::string help;
   std::function<void(Simulator&, const Args&)> run;
};

// A part of the simulated agent: creates its top-level objects at start-up and adds its
// commands. Modules start in ascending `order`, the agent's start-up order.
struct Module {
   const char* name;
   int order;
   void (*start)(Simulator&);
   // This module's part of the built-in scenario; the parts are played in module order.
   const char* scenario;
};

// Registers a module at load time.
struct ModuleRegistration {
   explicit ModuleRegistration(Module m);
};

class Simulator {
public:
   explicit Simulator(std::ostream& out);
   // A second agent in a process whose first one stays: it leaves the process-wide settings
   // (the clock, where traces and log messages go) as the first one has them.
   struct Secondary {};
   Simulator(std::ostream& out, Secondary);
   ~Simulator();
   bool secondary() const { return secondary_; }

   std::ostream& out() { return out_; }
   SimWorld& world() { return world_; }
   void addCommand(Command c);

   // Plays a scenario; returns false after reporting the first error on `err`.
   bool runText(const std::string& source, const std::string& text, std::ostream& err);
   bool runFile(const std::string& path, std::ostream& err);

   void printHelp();
   const std::vector<Command>& commands() const { return commands_; }
   // The line being played, counted from 1.
   int line() const { return line_; }
   // Print each command, after "> ", before its output (an 'echo' prints its text only), so
   // that a transcript shows the language along with what it does.
   void echoIs(bool on) { echo_ = on; }

private:
   void runLine(std::vector<std::string> words);
   std::ostream& out_;
   bool secondary_ = false;
   SimWorld world_;
   std::vector<Command> commands_;
   int line_ = 0;
   bool echo_ = false;
};

// Argument i as the id of a chip whose device the scenario added.
Orim::ChipId knownChipArg(Simulator& s, const Args& a, size_t i);

// The scenario played when the simulator is given none.
std::string builtinScenario();

} // namespace Sim
