#include "platform/ipa/Address.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_set>

#include "platform/ipa/Prefix.h"
#include "platform/orb/base/Error.h"
#include "tests/support/Thrown.h"

namespace Ipa {
namespace {

using namespace std::string_view_literals;

TEST(AddressTest, ipv4TextAgreesWithTheSystem) {
  std::mt19937 random(1);
  for (U32 i = 0; i < 1024; ++i) {  // every octet at every place
    U32 const shift = i % 4 * 8;
    IpAddr const address((static_cast<U32>(random()) & ~(0xffU << shift)) | (i / 4) << shift);
    in_addr const raw{htonl(address.value())};
    char text[INET_ADDRSTRLEN];
    EXPECT_EQ(address.toString(), inet_ntop(AF_INET, &raw, text, sizeof text));
    EXPECT_EQ(IpAddr::parse(address.toString()), address);
  }
}

// Every pattern of zero fields, with fields of each width. The system still writes ::/96 as the
// withdrawn IPv4-compatible form; the next test pins ours.
TEST(AddressTest, ipv6TextAgreesWithTheSystem) {
  constexpr U64 kFields[] = {0x1, 0xf, 0x10, 0xabc, 0x1000, 0xffff};
  std::mt19937 random(2);
  for (U32 pattern = 0; pattern < 256 * 20; ++pattern) {
    U64 half[2] = {};
    for (U32 i = 0; i < 8; ++i) {
      half[i / 4] = half[i / 4] << 16 | (pattern >> i & 1 ? kFields[random() % 6] : 0);
    }
    Ip6Addr const address(half[0], half[1]);
    EXPECT_EQ(Ip6Addr::parse(address.toString()), address);
    if (half[0] == 0 && half[1] >> 32 == 0) continue;
    char text[INET6_ADDRSTRLEN];
    EXPECT_EQ(address.toString(), inet_ntop(AF_INET6, address.bytes().data(), text, sizeof text));
  }
}

TEST(AddressTest, ipv6TextIsCanonical) {
  for (auto const& [text, canonical] :
       {std::pair{"::", "::"},
        {"0:0:0:0:0:0:0:1", "::1"},
        {"2001:0DB8::0001", "2001:db8::1"},
        {"::FFFF:C000:0201", "::ffff:192.0.2.1"},
        {"::ffff:0:0", "::ffff:0.0.0.0"},
        {"::fffe:c000:201", "::fffe:c000:201"},
        {"::192.0.2.1", "::c000:201"},
        {"1111:2222:3333:4444:5555:6666:255.255.255.255",  // no text is longer
         "1111:2222:3333:4444:5555:6666:ffff:ffff"}}) {
    EXPECT_EQ(Ip6Addr::parse(text).toString(), canonical) << text;
    EXPECT_EQ(IpGenAddr::parse(text).toString(), canonical) << text;
  }
}

TEST(AddressTest, badTextIsRefusedAndNamed) {
  auto const parse = [](auto type, std::string_view text) {
    EXPECT_FALSE(decltype(type)::tryParse(text));
    return TestSupport::thrown<Orb::ParseException>([&] { type.parse(text); });
  };
  EXPECT_EQ(parse(IpAddr(), "10.0.0.256"), "'10.0.0.256' is not an IPv4 address");
  EXPECT_EQ(parse(Ip6Addr(), "it's"), "'it\\'s' is not an IPv6 address");
  EXPECT_EQ(parse(IpGenAddr(), std::string(70, '1')),
            "'" + std::string(60, '1') + "'... is not an IP address");
  EXPECT_NE(parse(IpAddr(), "10.0.0.1\0"sv), "");
  EXPECT_NE(parse(Ip6Addr(), "::1\0"sv), "");
}

// Neighbours, as lists hold them, must spread over the low bits that a table of 65536 uses: 63 %
// of its slots are taken when each is as likely as another.
template <class Make>
double slotsTaken(Make make) {
  std::unordered_set<std::size_t> slots;
  for (U32 i = 0; i < 65536; ++i) {
    auto const v = make(i);
    slots.insert(std::hash<std::decay_t<decltype(v)>>()(v) & 0xffff);
  }
  return static_cast<double>(slots.size()) / 65536;
}

TEST(AddressTest, hashSpreadsNeighbours) {
  EXPECT_GT(slotsTaken([](U32 i) { return IpAddr(i << 16); }), 0.62);
  EXPECT_GT(slotsTaken([](U32 i) { return Ip6Addr(U64{i} << 48, 0); }), 0.62);
  EXPECT_GT(slotsTaken([](U32 i) { return Ip6Addr(0, i); }), 0.62);
  EXPECT_GT(slotsTaken([](U32 i) { return Prefix::subnet(IpAddr(i << 10), 22 + i % 11); }), 0.62);
  EXPECT_GT(slotsTaken([](U32 i) { return Ip6Prefix(Ip6Addr(U64{i / 64} << 52, 0), 64 + i % 64); }),
            0.62);
  EXPECT_NE(hashOf(IpGenAddr(IpAddr(1 << 24))), hashOf(IpGenAddr(Ip6Addr(1ULL << 56, 0))));
  EXPECT_NE(hashOf(IpGenPrefix()), hashOf(IpGenPrefix(Ip6Prefix())));
}

}  // namespace
}  // namespace Ipa
