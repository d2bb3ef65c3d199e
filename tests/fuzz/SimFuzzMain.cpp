// Plays generated scenarios and fails on any outcome a user must never see: a signal (an
// assertion, a terminate, a sanitizer abort), a hang, an exit other than 0 or 1, or an exit 1
// whose last message is not "file:line: message".
//
// Each scenario runs in a child process: by default a fork of this process, which holds a
// simulator built once and plays the scenario and its teardown as xpacl-sim does; with
// --sim PATH, the xpacl-sim binary itself on a file.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>

#include "tests/fuzz/ScenarioGen.h"

namespace {

struct Options {
   uint64_t count = 3000;
   uint64_t seed = 1;
   std::string sim;                        // empty: in-process
   std::string keep = "sim-fuzz-failures"; // where failing scenarios are written
   bool verbose = false;
};

struct Result {
   int status = 0;
   std::string err;
};

std::string readAll(int fd) {
   std::string out;
   char buf[4096];
   for (ssize_t n; (n = read(fd, buf, sizeof buf)) != 0;) {
      if (n < 0) {
         if (errno == EINTR) continue;
         break;
      }
      out.append(buf, static_cast<size_t>(n));
   }
   return out;
}

// Runs `child` in a fork with stdout discarded and stderr captured.
template <class F>
Result inChild(F&& child) {
   int fds[2];
   if (pipe(fds) != 0) {
      perror("pipe");
      std::exit(2);
   }
   std::cout.flush();
   std::cerr.flush();
   const pid_t pid = fork();
   if (pid < 0) {
      perror("fork");
      std::exit(2);
   }
   if (pid == 0) {
      const int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(fds[1], 2);
      close(fds[0]);
      close(fds[1]);
      alarm(30); // a hang ends in SIGALRM, reported like any other signal
      child();
      _exit(127);
   }
   close(fds[1]);
   Result r;
   r.err = readAll(fds[0]);
   close(fds[0]);
   while (waitpid(pid, &r.status, 0) < 0 && errno == EINTR) {
   }
   return r;
}

// Empty when the outcome is one a user may see.
std::string verdict(const Result& r, const std::string& source) {
   if (WIFSIGNALED(r.status)) return "killed by signal " + std::to_string(WTERMSIG(r.status));
   if (!WIFEXITED(r.status)) return "did not exit";
   for (const char* bad : {"Sanitizer", "runtime error:", "terminate called", "Assertion"}) {
      if (r.err.find(bad) != std::string::npos) return std::string("reported '") + bad + "'";
   }
   const int code = WEXITSTATUS(r.status);
   if (code == 0) return "";
   if (code != 1) return "exit " + std::to_string(code);
   std::string last = r.err;
   while (!last.empty() && last.back() == '\n')
      last.pop_back();
   last = last.substr(last.rfind('\n') == std::string::npos ? 0 : last.rfind('\n') + 1);
   static const std::regex fileLine("[0-9]+: .+");
   if (last.rfind(source + ":", 0) != 0 ||
       !std::regex_match(last.substr(source.size() + 1), fileLine)) {
      return "exit 1 without 'file:line: message'";
   }
   return "";
}

bool parse(int argc, char** argv, Options& o) {
   for (int i = 1; i < argc; ++i) {
      const std::string a = argv[i];
      const bool more = i + 1 < argc;
      if (a == "--count" && more) {
         o.count = std::strtoull(argv[++i], nullptr, 10);
      } else if (a == "--seed" && more) {
         o.seed = std::strtoull(argv[++i], nullptr, 10);
      } else if (a == "--sim" && more) {
         o.sim = argv[++i];
      } else if (a == "--keep" && more) {
         o.keep = argv[++i];
      } else if (a == "-v") {
         o.verbose = true;
      } else {
         std::cerr
             << "usage: sim_fuzz [--count N] [--seed S] [--sim XPACL_SIM] [--keep DIR] [-v]\n";
         return false;
      }
   }
   return true;
}

} // namespace

int main(int argc, char** argv) {
   Options o;
   if (!parse(argc, argv, o)) return 2;
   namespace fs = std::filesystem;
   // Built once; every child starts from this state, as a fresh xpacl-sim does, and writes
   // to standard output as it does (a child's goes to /dev/null).
   auto* sim = new Sim::Simulator(std::cout);
   SimFuzz::ScenarioGen gen(SimFuzz::shapesOf(sim->commands()), o.seed);
   const fs::path scratch =
       fs::temp_directory_path() / ("sim-fuzz-" + std::to_string(getpid()));
   if (!o.sim.empty()) fs::create_directories(scratch);

   uint64_t clean = 0, stopped = 0, failed = 0;
   for (uint64_t i = 0; i < o.count && failed < 5; ++i) {
      const std::string text = gen.scenario();
      Result r;
      std::string source = "fuzz.scn";
      if (o.sim.empty()) {
         r = inChild([&] {
            std::ostringstream err;
            const bool ok = sim->runText(source, text, err);
            std::cerr << err.str();
            delete sim;
            std::cout.flush();
            std::exit(ok ? 0 : 1);
         });
      } else {
         source = (scratch / "fuzz.scn").string();
         std::ofstream(source, std::ios::binary) << text;
         r = inChild([&] {
            execl(o.sim.c_str(), o.sim.c_str(), source.c_str(), static_cast<char*>(nullptr));
            perror("exec");
         });
      }
      if ((i + 1) % 10000 == 0) std::cout << i + 1 << " scenarios played" << std::endl;
      const std::string why = verdict(r, source);
      if (why.empty()) {
         (WEXITSTATUS(r.status) == 0 ? clean : stopped)++;
         if (o.verbose && !r.err.empty()) std::cout << r.err;
         continue;
      }
      ++failed;
      fs::create_directories(o.keep);
      const fs::path kept = fs::path(o.keep) / ("seed" + std::to_string(o.seed) + "-" +
                                                std::to_string(i) + ".scn");
      std::ofstream(kept, std::ios::binary) << text;
      std::cout << "FAIL " << kept.string() << ": " << why << "\n"
                << r.err.substr(r.err.size() > 2000 ? r.err.size() - 2000 : 0) << "\n";
   }
   if (!o.sim.empty()) fs::remove_all(scratch);
   delete sim;
   std::cout << "seed " << o.seed << ": " << clean + stopped + failed << " scenarios, " << clean
             << " ran to the end, " << stopped << " stopped at an error, " << failed
             << " failed\n";
   return failed ? 1 : 0;
}
