#include <gtest/gtest.h>

#include "norv/HashMap.h"
#include "platform/PlexoIpGenPrefix.h"

using Plexo::IpGenPrefix;

namespace {

IpGenPrefix pfx(const char* s) {
   return IpGenPrefix::fromText(s).value();
}

TEST(IpGenPrefix, TextRoundTripsInCanonicalForm) {
   const std::pair<const char*, const char*> cases[] = {
       {"10.1.2.3/8", "10.0.0.0/8"},
       {"192.168.1.7", "192.168.1.7/32"},
       {"0.0.0.0/0", "0.0.0.0/0"},
       {"2001:DB8:0:0:1:0:0:1/128", "2001:db8::1:0:0:1/128"},
       {"::", "::/128"},
       {"::/0", "::/0"},
       {"0:0:0:0:0:0:10.0.0.1/128", "::a00:1/128"},
       {"fe80::1:2/64", "fe80::/64"},
       {"1:0:0:2:0:0:0:3/128", "1:0:0:2::3/128"},
   };
   for (const auto& [in, out] : cases)
      EXPECT_EQ(pfx(in).text(), out) << in;
   for (const char* bad : {"10.0.0/8", "10.0.0.256/8", "10.0.0.0/33", "1::2::3", "::/129", "x",
                           "1:2:3:4:5:6:7:8:9", "::1.2.3/64", ""}) {
      EXPECT_FALSE(IpGenPrefix::fromText(bad)) << bad;
   }
}

TEST(IpGenPrefix, OrderEqualityHashAndDefaultRoute) {
   EXPECT_LT(pfx("10.0.0.0/8"), pfx("10.0.0.0/16"));
   EXPECT_LT(pfx("10.0.0.0/16"), pfx("11.0.0.0/8"));
   EXPECT_LT(pfx("255.0.0.0/8"), pfx("::/0")); // IPv4 before IPv6
   EXPECT_EQ(pfx("10.9.9.9/8"), pfx("10.0.0.0/8"));
   Norv::HashMap<IpGenPrefix, int> m;
   m.insert(pfx("10.0.0.0/8"), 1);
   EXPECT_TRUE(m.contains(pfx("10.1.1.1/8")));
   EXPECT_FALSE(m.contains(pfx("10.0.0.0/9")));
   EXPECT_TRUE(pfx("0.0.0.0/0").isDefaultRoutePrefix());
   EXPECT_TRUE(pfx("::/0").isDefaultRoutePrefix());
   EXPECT_FALSE(pfx("::/1").isDefaultRoutePrefix());
   EXPECT_FALSE(IpGenPrefix().isDefaultRoutePrefix());
}

} // namespace
