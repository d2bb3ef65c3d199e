#include "tests/fuzz/ScenarioGen.h"

#include <cctype>
#include <sstream>

namespace SimFuzz {

namespace {

std::vector<std::string> words(const std::string& s) {
   std::vector<std::string> out;
   std::istringstream in(s);
   for (std::string w; in >> w;)
      out.push_back(w);
   return out;
}

// Words that are wrong almost everywhere, and numbers that are wrong in a subtle way.
const char* const kGarbage[] = {"x",     "-1", "nan",  "inf", "-inf",   "0x1p3",
                                "1e400", "1.", "",     "0x",  "999999", "1x",
                                "+",     "--", "1\t2", "#c",  "0x40",   "4294967296"};

} // namespace

std::vector<Shape> shapesOf(const std::vector<Sim::Command>& commands) {
   std::vector<Shape> shapes;
   for (const auto& c : commands) {
      Shape s{c.family + (c.verb.empty() ? "" : " " + c.verb), words(c.usage)};
      shapes.push_back(std::move(s));
   }
   return shapes;
}

std::string ScenarioGen::slotValue(const std::string& raw) {
   std::string slot = raw;
   if (slot.size() > 2 && slot.front() == '[' && slot.back() == ']') {
      if (chance(0.5)) return "";
      slot = slot.substr(1, slot.size() - 2);
   }
   if (slot.size() > 3 && slot.ends_with("...")) {
      std::string out;
      for (size_t n = pick(4); n > 0; --n)
         out += (out.empty() ? "" : " ") + slotValue(slot.substr(0, slot.size() - 3));
      return out;
   }
   if (const auto bar = slot.find('|'); bar != std::string::npos) {
      std::vector<std::string> alts;
      for (size_t from = 0;;) {
         const auto to = slot.find('|', from);
         alts.push_back(slot.substr(from, to - from));
         if (to == std::string::npos) break;
         from = to + 1;
      }
      return slotValue(alts[pick(alts.size())]);
   }
   if (chance(0.005)) return oneOf(kGarbage);
   // Lower-case slots are literal words.
   if (slot.empty() || !std::isupper(static_cast<unsigned char>(slot[0]))) return slot;
   if (slot == "DEV" || slot == "CHIP") {
      if (chance(0.95)) return std::to_string(pick(devices_));
      static const char* const v[] = {"2", "3", "63", "64"};
      return oneOf(v);
   }
   if (slot == "INTF" || slot == "PORT") {
      static const char* const ports[] = {"Ethernet1", "Ethernet2", "Ethernet3", "Ethernet4"};
      static const char* const others[] = {"Vlan10", "Port-Channel1", "Ethernet0"};
      return chance(slot == "PORT" ? 0.95 : 0.8) ? oneOf(ports) : oneOf(others);
   }
   if (slot == "LAG") {
      static const char* const v[] = {"Port-Channel1", "Port-Channel2"};
      return chance(0.95) ? oneOf(v) : "Ethernet1";
   }
   if (slot == "INST") {
      // The port-range commands know two instances, the prefix commands four.
      static const char* const l4[] = {"src", "dst"};
      static const char* const prefix[] = {"src4", "dst4", "src6", "dst6"};
      static const char* const all[] = {"src", "dst", "src4", "dst4", "src6", "dst6"};
      inst_ = family_.find("l4") != std::string::npos       ? oneOf(l4)
              : family_.find("prefix") != std::string::npos ? oneOf(prefix)
                                                            : oneOf(all);
      return chance(0.01) ? oneOf(all) : inst_;
   }
   if (slot == "START" || slot == "END") {
      static const char* const v[] = {"0",    "1",    "79",    "80",    "81",   "1000",
                                      "1003", "2000", "65534", "65535", "65536"};
      return chance(0.2) ? std::to_string(pick(65536)) : oneOf(v);
   }
   if (slot == "LABEL") {
      static const char* const v[] = {"0", "1", "2", "3", "7", "4095", "65535", "4294967295"};
      return oneOf(v);
   }
   if (slot == "ID" || slot == "S" || slot == "+S") {
      static const char* const good[] = {"0", "1", "2", "3", "0.5", "2.5", "10", "1e1"};
      static const char* const bad[] = {"nan",   "inf",   "0x10", "-0",  "",    "1e-320",
                                        "0x1p4", "1e999", "-1",   "1_0", "1..", "infinity"};
      const std::string v = chance(0.95) ? oneOf(good) : oneOf(bad);
      return slot == "+S" ? "+" + v : v;
   }
   if (slot == "PREFIX") {
      static const char* const v4[] = {"10.0.0.0/8",    "10.1.0.0/16", "192.168.1.0/24",
                                       "172.16.0.0/12", "0.0.0.0/0",   "10.0.0.1/32",
                                       "10.1.2.3/8",    "1.2.3.4/33",  "10.0.0.0"};
      static const char* const v6[] = {"2001:db8::/32",   "::/0",           "fe80::/10",
                                       "2001:db8:1::/48", "2001:db8::1/32", "banana/8"};
      const bool six = inst_.ends_with('6') != chance(0.02);
      return six ? oneOf(v6) : oneOf(v4);
   }
   if (slot == "SRC" || slot == "DST") {
      static const char* const v4[] = {"10.1.2.3", "192.168.1.7", "10.0.0.0", "255.255.255.255",
                                       "1.2.3.4/8"};
      static const char* const v6[] = {"2001:db8::1", "::", "fe80::1", "::ffff:1.2.3.4"};
      // Mostly one family per packet: the other makes the line an error.
      if (slot == "SRC") six_ = chance(0.3);
      return six_ != chance(0.03) ? oneOf(v6) : oneOf(v4);
   }
   if (slot == "RULELIST" || slot == "STAGE") {
      static const char* const v[] = {"0", "1", "2", "3", "5", "6", "10", "11"};
      return oneOf(v);
   }
   if (slot == "SIPLEN" || slot == "DIPLEN") {
      static const char* const v[] = {"0",  "1",  "3", "5",  "7",  "9",   "11",
                                      "13", "16", "2", "24", "32", "128", "255"};
      return oneOf(v);
   }
   if (slot == "TYPE") return std::to_string(pick(6));
   if (slot == "WAY") {
      static const char* const v[] = {"0", "1", "2", "3", "4", "9"};
      return oneOf(v);
   }
   if (slot == "INDEX") {
      static const char* const v[] = {"0", "5", "100", "8191", "8192", "70000"};
      return chance(0.8) ? std::to_string(pick(8)) : oneOf(v);
   }
   if (slot == "LIST" || slot == "RULE" || slot == "PACKETS") {
      static const char* const v[] = {"0", "1", "2", "3", "7", "255", "256", "100000"};
      return oneOf(v);
   }
   // A rule's options: each one given now and then, with a value that is mostly sensible.
   if (slot.find('=') != std::string::npos) {
      std::string key = slot;
      std::erase(key, '[');
      std::erase(key, ']');
      if (chance(0.7)) return "";
      if (key.starts_with("match=")) {
         static const char* const v[] = {"ttl", "frag", "proto", "ttl+frag+proto", "x"};
         return key.substr(0, 6) + oneOf(v);
      }
      static const char* const v[] = {"0",   "1",   "3",      "on",   "off",
                                      "in",  "out", "permit", "deny", "0x101",
                                      "255", "256", "4095",   "8191", "x"};
      return key + oneOf(v);
   }
   if (slot == "SETTING") {
      static const char* const v[] = {"XpAclL4PortXformSm/0-9", "*/0-3", "Nope/x", "/",
                                      "a/1-0"};
      return oneOf(v);
   }
   // A slot this generator has no vocabulary for: small numbers and plain words.
   static const char* const v[] = {"0", "1", "2", "3", "7", "src", "on", "all", "x"};
   return oneOf(v);
}

std::string ScenarioGen::line() {
   // Device life cycle and batches are what breaks invariants; they come more often.
   const double r = std::uniform_real_distribution<double>(0, 1)(rng_);
   if (r < 0.06) return "device up " + slotValue("DEV");
   if (r < 0.10) return "device down " + slotValue("DEV");
   if (r < 0.12) return "device remove " + slotValue("DEV");
   if (r < 0.14) {
      return "device add " +
             (chance(0.8) ? std::to_string(devices_ + pick(2)) : slotValue("DEV"));
   }
   const Shape& s = shapes_[pick(shapes_.size())];
   // Batches are opened and closed by the scenario's structure; a stray one now and then.
   if ((s.head == "batch" || s.head == "end") && chance(0.9)) return "show common";
   if (s.head == "device add" && chance(0.9))
      return "device add " + std::to_string(devices_ + pick(2));
   family_ = s.head;
   std::string out = s.head;
   for (const auto& slot : s.slots) {
      const std::string v = slotValue(slot);
      if (!v.empty()) out += " " + v;
   }
   return out;
}

// A line broken the way a hand-written scenario is: a word missing, one too many, a typo, a
// stray byte.
std::string ScenarioGen::broken(std::string l) {
   switch (pick(6)) {
   case 0:
      if (const auto sp = l.rfind(' '); sp != std::string::npos) l.erase(sp);
      return l;
   case 1:
      return l + " " + oneOf(kGarbage);
   case 2:
      if (!l.empty()) l[pick(l.size())] = static_cast<char>('a' + pick(26));
      return l;
   case 3:
      return l + std::string(1, '\0') + "9";
   case 4:
      return "  " + l + "   # trailing comment";
   default:
      return oneOf(kGarbage);
   }
}

std::string ScenarioGen::scenario() {
   std::string text;
   // Most scenarios start from a live device or two, so the commands after it reach the driver.
   devices_ = 1 + pick(3);
   for (size_t d = 0; d < devices_; ++d) {
      text += "device add " + std::to_string(d) + "\n";
      const bool up = chance(0.8);
      if (up) text += "device up " + std::to_string(d) + "\n";
      if (chance(0.5)) {
         const std::string intf = "Ethernet" + std::to_string(d + 1);
         text += "intf add " + intf + " " + std::to_string(d) + "\n";
         // A chip port, so that packets can cross it.
         if (chance(0.5)) text += "hwacl port " + intf + " " + std::to_string(d + 1) + "\n";
      }
      // Configuration the commands after the preamble can change, request and remove.
      const std::string chip = " " + std::to_string(d);
      if (chance(0.6)) text += "l4 range src" + chip + " 80 80 1\n";
      if (chance(0.6)) text += "l4 range dst" + chip + " 1000 1003 2\n";
      if (chance(0.6)) text += "prefix attempt src4" + chip + " 10.0.0.0/8 7\n";
      if (chance(0.6)) text += "prefix attempt dst4" + chip + " 192.168.1.0/24 8\n";
      if (chance(0.6)) text += "prefix attempt src6" + chip + " 2001:db8::/32 9\n";
      if (chance(0.6)) text += "prefix attempt dst6" + chip + " ::/0 0\n";
      if (up && chance(0.5)) text += "seprofile config" + chip + " 1 2 16 3\n";
      if (chance(0.4))
         text += "rule add" + chip + " 1 0 " + std::to_string(pick(4)) + " 1 1 24 0 1\n";
   }
   bool inBatch = false;
   for (size_t n = 3 + pick(20); n > 0; --n) {
      if (chance(0.08)) {
         text += inBatch ? "end\n" : "batch\n";
         inBatch = !inBatch;
         continue;
      }
      std::string l = line();
      if (chance(0.01)) l = broken(l);
      text += l + "\n";
   }
   if (inBatch && chance(0.85)) text += "end\n";
   if (chance(0.5)) text += "show common\n";
   return text;
}

} // namespace SimFuzz
