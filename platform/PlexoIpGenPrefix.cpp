#include "platform/PlexoIpGenPrefix.h"

#include <cstdio>
#include <string_view>
#include <vector>

namespace Plexo {

namespace {

// Clears the host bits: bit positions at or past `len`, counted from the most significant bit
// of the first of `words`.
template <size_t N>
void maskTo(std::array<uint32_t, N>& words, size_t first, unsigned len) {
   for (size_t i = first; i < N; ++i) {
      const unsigned base = static_cast<unsigned>(i - first) * 32;
      if (len >= base + 32) continue;
      words[i] = len <= base ? 0 : words[i] & ~(~uint32_t{0} >> (len - base));
   }
}

bool parseNumber(std::string_view s, unsigned base, unsigned max, unsigned& out) {
   if (s.empty() || s.size() > (base == 10 ? 3u : 4u)) return false;
   out = 0;
   for (char c : s) {
      unsigned d;
      if (c >= '0' && c <= '9') {
         d = static_cast<unsigned>(c - '0');
      } else if (base == 16 && c >= 'a' && c <= 'f') {
         d = static_cast<unsigned>(c - 'a' + 10);
      } else if (base == 16 && c >= 'A' && c <= 'F') {
         d = static_cast<unsigned>(c - 'A' + 10);
      } else {
         return false;
      }
      out = out * base + d;
   }
   return out <= max;
}

// The parts of `s` between separators, views into it: rules full of prefixes are read in bulk.
std::vector<std::string_view> split(std::string_view s, char sep) {
   std::vector<std::string_view> parts;
   for (size_t start = 0;;) {
      const size_t at = s.find(sep, start);
      parts.push_back(s.substr(start, at == std::string_view::npos ? at : at - start));
      if (at == std::string_view::npos) return parts;
      start = at + 1;
   }
}

std::optional<uint32_t> parseV4(std::string_view s) {
   uint32_t a = 0;
   for (size_t start = 0, n = 0;; ++n) {
      const size_t dot = s.find('.', start);
      unsigned v;
      if (n == 4 ||
          !parseNumber(s.substr(start, dot == std::string_view::npos ? dot : dot - start), 10,
                       255, v)) {
         return std::nullopt;
      }
      a = (a << 8) | v;
      if (dot == std::string_view::npos) return n == 3 ? std::optional(a) : std::nullopt;
      start = dot + 1;
   }
}

// Appends the 16-bit groups of one side of "::"; a dotted quad may end the address.
bool parseGroups(std::string_view s, bool last, std::vector<uint16_t>& out) {
   if (s.empty()) return true;
   const auto parts = split(s, ':');
   for (size_t i = 0; i < parts.size(); ++i) {
      if (last && i + 1 == parts.size() && parts[i].find('.') != std::string_view::npos) {
         const auto v4 = parseV4(parts[i]);
         if (!v4) return false;
         out.push_back(static_cast<uint16_t>(*v4 >> 16));
         out.push_back(static_cast<uint16_t>(*v4));
         continue;
      }
      unsigned v;
      if (!parseNumber(parts[i], 16, 0xffff, v)) return false;
      out.push_back(static_cast<uint16_t>(v));
   }
   return true;
}

std::optional<std::array<uint32_t, 4>> parseV6(std::string_view s) {
   std::vector<uint16_t> head, tail;
   const size_t gap = s.find("::");
   if (gap == std::string::npos) {
      if (!parseGroups(s, true, head) || head.size() != 8) return std::nullopt;
   } else {
      if (s.find("::", gap + 1) != std::string::npos) return std::nullopt;
      if (!parseGroups(s.substr(0, gap), false, head) ||
          !parseGroups(s.substr(gap + 2), true, tail) || head.size() + tail.size() > 7) {
         return std::nullopt;
      }
      head.resize(8 - tail.size(), 0);
      head.insert(head.end(), tail.begin(), tail.end());
   }
   std::array<uint32_t, 4> w{};
   for (size_t i = 0; i < 4; ++i)
      w[i] = (uint32_t{head[2 * i]} << 16) | head[2 * i + 1];
   return w;
}

} // namespace

IpGenPrefix::IpGenPrefix(const Ip4Prefix& p)
    : type_(Type::ipv4), words_{0, 0, 0, p.address}, len_(p.len > 32 ? 32 : p.len) {
   maskTo(words_, 3, len_);
}

IpGenPrefix::IpGenPrefix(const Ip6Prefix& p)
    : type_(Type::ipv6), words_(p.address), len_(p.len > 128 ? 128 : p.len) {
   maskTo(words_, 0, len_);
}

std::optional<IpGenPrefix> IpGenPrefix::fromText(const std::string& s) {
   const size_t slash = s.find('/');
   const std::string_view addr = std::string_view(s).substr(0, slash);
   const bool v6 = addr.find(':') != std::string_view::npos;
   unsigned len = v6 ? 128 : 32;
   if (slash != std::string::npos &&
       !parseNumber(std::string_view(s).substr(slash + 1), 10, len, len)) {
      return std::nullopt;
   }
   if (v6) {
      const auto w = parseV6(addr);
      if (!w) return std::nullopt;
      return IpGenPrefix(Ip6Prefix{*w, static_cast<uint8_t>(len)});
   }
   const auto a = parseV4(addr);
   if (!a) return std::nullopt;
   return IpGenPrefix(Ip4Prefix{*a, static_cast<uint8_t>(len)});
}

size_t IpGenPrefix::hash() const {
   size_t h = static_cast<size_t>(type_) << 8 | len_;
   for (uint32_t w : words_)
      h = (h ^ w) * 0x9e3779b97f4a7c15ull;
   return h ^ (h >> 29);
}

std::string IpGenPrefix::addressText() const {
   char buf[64];
   if (type_ == Type::ipv4) {
      const uint32_t a = words_[3];
      std::snprintf(buf, sizeof buf, "%u.%u.%u.%u", a >> 24, (a >> 16) & 0xff, (a >> 8) & 0xff,
                    a & 0xff);
      return buf;
   }
   if (type_ != Type::ipv6) return "none";
   uint16_t g[8];
   for (size_t i = 0; i < 8; ++i)
      g[i] = static_cast<uint16_t>(words_[i / 2] >> (i % 2 ? 0 : 16));
   // The longest run of two or more zero groups (the first of equals) becomes "::".
   size_t best = 8, bestLen = 1;
   for (size_t i = 0; i < 8;) {
      size_t j = i;
      while (j < 8 && g[j] == 0)
         ++j;
      if (j - i > bestLen) {
         best = i;
         bestLen = j - i;
      }
      i = j == i ? i + 1 : j;
   }
   std::string out;
   for (size_t i = 0; i < 8; ++i) {
      if (i == best) {
         out += "::";
         i += bestLen - 1;
         continue;
      }
      if (!out.empty() && out.back() != ':') out += ':';
      std::snprintf(buf, sizeof buf, "%x", g[i]);
      out += buf;
   }
   return out;
}

std::string IpGenPrefix::text() const {
   if (type_ == Type::none) return "none";
   return addressText() + "/" + std::to_string(len_);
}

} // namespace Plexo
