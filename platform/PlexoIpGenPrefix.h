#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "norv/Export.h"

namespace Plexo {

struct Ip4Prefix {
   uint32_t address = 0; // host byte order
   uint8_t len = 0;
};

struct Ip6Prefix {
   std::array<uint32_t, 4> address{}; // most significant word first, each in host byte order
   uint8_t len = 0;
};

// An IPv4 or IPv6 prefix. The address is kept masked to the length, so two spellings of one
// prefix are one value. Order: family, then address, then length.
class NORV_EXPORT IpGenPrefix {
public:
   enum class Type : uint8_t { none = 0, ipv4 = 1, ipv6 = 2 };

   IpGenPrefix() = default;
   IpGenPrefix(const Ip4Prefix& p);
   IpGenPrefix(const Ip6Prefix& p);
   // "a.b.c.d/n" or an IPv6 address in any of its usual spellings with "/n"; a missing length
   // means a host prefix. Nothing when the text is not a prefix.
   static std::optional<IpGenPrefix> fromText(const std::string& s);

   Type type() const { return type_; }
   uint8_t len() const { return len_; }
   bool isV4() const { return type_ == Type::ipv4; }
   bool isV6() const { return type_ == Type::ipv6; }
   Ip4Prefix v4Prefix() const { return Ip4Prefix{words_[3], len_}; }
   Ip6Prefix v6Prefix() const { return Ip6Prefix{words_, len_}; }
   bool isDefaultRoutePrefix() const { return type_ != Type::none && len_ == 0; }

   auto operator<=>(const IpGenPrefix&) const = default;
   bool operator==(const IpGenPrefix&) const = default;
   // The order of <=>, inline: ordered maps and sorted tables of prefixes compare a lot.
   friend bool operator<(const IpGenPrefix& a, const IpGenPrefix& b) {
      if (a.type_ != b.type_) return a.type_ < b.type_;
      for (size_t i = 0; i < 4; ++i) {
         if (a.words_[i] != b.words_[i]) return a.words_[i] < b.words_[i];
      }
      return a.len_ < b.len_;
   }
   size_t hash() const;
   // "10.0.0.0/8", "2001:db8::/32"; "none" for a prefix of no family.
   std::string text() const;
   // The address alone, as text() writes it.
   std::string addressText() const;

private:
   Type type_ = Type::none;
   // An IPv4 address sits in the last word, so that family, words and length order as wanted.
   std::array<uint32_t, 4> words_{};
   uint8_t len_ = 0;
};

} // namespace Plexo
