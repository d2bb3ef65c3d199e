#include "sim/MaskGroupWords.h"

#include <algorithm>
#include <utility>

namespace Sim {

namespace {

using Flag = std::pair<const char*, bool (Orim::MaskGroupDescriptor::*)() const>;
constexpr Flag kFlags[] = {{"ttl", &Orim::MaskGroupDescriptor::ttl},
                           {"frag", &Orim::MaskGroupDescriptor::ipFrag},
                           {"proto", &Orim::MaskGroupDescriptor::ipProto},
                           {"sport", &Orim::MaskGroupDescriptor::srcPort},
                           {"dport", &Orim::MaskGroupDescriptor::dstPort},
                           {"est", &Orim::MaskGroupDescriptor::established}};

} // namespace

void matchFieldsIs(Orim::MaskGroupDescriptor& mgd, const std::string& value) {
   for (size_t from = 0; from <= value.size();) {
      const size_t to = std::min(value.find('+', from), value.size());
      const std::string f = value.substr(from, to - from);
      if (f == "ttl") {
         mgd.ttlIs(true);
      } else if (f == "frag") {
         mgd.ipFragIs(true);
      } else if (f == "proto") {
         mgd.ipProtoIs(true);
      } else if (f == "sport") {
         mgd.srcPortIs(true);
      } else if (f == "dport") {
         mgd.dstPortIs(true);
      } else if (f == "est") {
         mgd.establishedIs(true);
      } else {
         throw Error("bad match field '" + f +
                     "': ttl, frag, proto, sport, dport or est, joined by +");
      }
      from = to + 1;
   }
}

std::string matchFields(const Orim::MaskGroupDescriptor& mgd) {
   std::string words;
   for (const auto& [name, get] : kFlags) {
      if ((mgd.*get)()) words += (words.empty() ? "" : "+") + std::string(name);
   }
   return words;
}

Orim::MaskGroupDescriptor maskGroupArgs(const Args& a, size_t first, uint64_t maxMaskLength) {
   Orim::MaskGroupDescriptor mgd;
   mgd.srcIpMaskLengthIs(
       static_cast<uint8_t>(a.number(first, "source mask length", maxMaskLength)));
   mgd.dstIpMaskLengthIs(
       static_cast<uint8_t>(a.number(first + 1, "destination mask length", maxMaskLength)));
   size_t next = first + 2;
   mgd.aclTypeIs(1);
   if (a.has(next) && a.word(next, "ACL type").rfind("match=", 0) != 0)
      mgd.aclTypeIs(static_cast<uint8_t>(a.number(next++, "ACL type", 255)));
   if (a.has(next)) {
      const std::string& w = a.word(next, "match=FIELDS");
      if (w.rfind("match=", 0) != 0) throw Error("expected match=FIELDS, got '" + w + "'");
      matchFieldsIs(mgd, w.substr(6));
      ++next;
   }
   a.atMost(next);
   return mgd;
}

std::string maskGroupWords(const Orim::MaskGroupDescriptor& mgd, const std::string& owner) {
   Orim::MaskGroupDescriptor plain;
   plain.srcIpMaskLengthIs(mgd.srcIpMaskLength());
   plain.dstIpMaskLengthIs(mgd.dstIpMaskLength());
   plain.aclTypeIs(mgd.aclType());
   const std::string match = matchFields(mgd);
   if (!match.empty()) matchFieldsIs(plain, match);
   if (!(plain == mgd)) throw Error(owner + " has fields no command sets: " + mgd.text());
   return std::to_string(mgd.srcIpMaskLength()) + " " + std::to_string(mgd.dstIpMaskLength()) +
          " " + std::to_string(mgd.aclType()) + (match.empty() ? "" : " match=" + match);
}

} // namespace Sim
