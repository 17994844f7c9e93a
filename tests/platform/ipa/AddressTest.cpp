#include "platform/ipa/Address.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/orb/base/Error.h"

namespace Ipa {
namespace {

std::string systemText(IpAddr address) {
  in_addr const raw{htonl(address.value())};
  char text[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &raw, text, sizeof text);
}

std::string systemText(Ip6Addr const& address) {
  char text[INET6_ADDRSTRLEN];
  return inet_ntop(AF_INET6, address.bytes().data(), text, sizeof text);
}

template <class T>
std::string parseError(std::string_view text) {
  try {
    T::parse(text);
  } catch (Orb::RangeException const& e) {
    return e.what();
  }
  return "accepted";
}

template <class Address>
bool bitOf(Address const& address, U32 bit) {
  if constexpr (std::is_same_v<Address, IpAddr>) {
    return address.value() >> (31 - bit) & 1;
  } else {
    return address.bytes()[bit / 8] >> (7 - bit % 8) & 1;
  }
}

TEST(AddressTest, ipv4TextAgreesWithTheSystem) {
  std::mt19937 random(1);
  for (U32 octet = 0; octet < 256; ++octet) {
    for (U32 const shift : {0U, 8U, 16U, 24U}) {
      IpAddr const address((static_cast<U32>(random()) & ~(0xffU << shift)) | octet << shift);
      EXPECT_EQ(address.toString(), systemText(address));
      EXPECT_EQ(IpAddr::parse(address.toString()), address);
    }
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
    EXPECT_EQ(address.toString(), systemText(address));
  }
}

TEST(AddressTest, ipv6TextIsCanonical) {
  struct {
    char const* text;
    char const* canonical;
  } const cases[] = {
      {"::", "::"},
      {"0:0:0:0:0:0:0:1", "::1"},
      {"1:0:0:0:0:0:0:0", "1::"},
      {"2001:0DB8::0001", "2001:db8::1"},
      {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
      {"2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
      {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},
      {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
      {"::FFFF:C000:0201", "::ffff:192.0.2.1"},
      {"::ffff:0:0", "::ffff:0.0.0.0"},
      {"::fffe:c000:201", "::fffe:c000:201"},
      {"::192.0.2.1", "::c000:201"},
      {"64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
      {"1111:2222:3333:4444:5555:6666:255.255.255.255", "1111:2222:3333:4444:5555:6666:ffff:ffff"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(Ip6Addr::parse(c.text).toString(), c.canonical) << c.text;
    EXPECT_EQ(IpGenAddr::parse(c.text).toString(), c.canonical) << c.text;
  }
}

TEST(AddressTest, badTextIsRefusedAndNamed) {
  using namespace std::string_view_literals;
  for (auto const text : {""sv, "10.0.0"sv, "10.0.0.256"sv, "10.0.0.01"sv, " 10.0.0.1"sv,
                          "10.0.0.1 "sv, "10.0.0.1/8"sv, "0x0a.0.0.1"sv, "10.0.0.1\0"sv, "::1"sv}) {
    EXPECT_FALSE(IpAddr::tryParse(text)) << text;
    EXPECT_THROW(IpAddr::parse(text), Orb::ParseException) << text;
  }
  for (auto const text :
       {""sv, ":"sv, ":::"sv, "1::2::3"sv, "12345::"sv, "::g"sv, "1:2:3:4:5:6:7"sv,
        "fe80::1%eth0"sv, "::1\0"sv, "::1 "sv, "::1.2.3"sv, "10.0.0.1"sv}) {
    EXPECT_FALSE(Ip6Addr::tryParse(text)) << text;
    EXPECT_THROW(Ip6Addr::parse(text), Orb::ParseException) << text;
  }
  EXPECT_FALSE(IpGenAddr::tryParse("host"));
  EXPECT_EQ(parseError<IpAddr>("10.0.0.256"), "'10.0.0.256' is not an IPv4 address");
  EXPECT_EQ(parseError<Ip6Addr>("it's"), "'it\\'s' is not an IPv6 address");
  EXPECT_EQ(parseError<IpGenAddr>(std::string(70, '1')),
            "'" + std::string(60, '1') + "'... is not an IP address");
}

template <class Address>
void checkMasks() {
  for (U32 length = 0; length <= Address::kBits + 1; ++length) {
    for (U32 bit = 0; bit < Address::kBits; ++bit) {
      ASSERT_EQ(bitOf(Address::mask(length), bit), bit < length) << length << ' ' << bit;
    }
  }
}

TEST(AddressTest, masksSetTheLeadingBits) {
  checkMasks<IpAddr>();
  checkMasks<Ip6Addr>();
}

TEST(AddressTest, bytesAreInNetworkOrder) {
  Ip6Addr const address(0x0001020304050607, 0x08090a0b0c0d0e0f);
  for (U8 i = 0; i < 16; ++i) EXPECT_EQ(address.bytes()[i], i);
  EXPECT_EQ(Ip6Addr(address.bytes()), address);
  EXPECT_EQ(IpAddr::parse("10.0.0.1"), IpAddr(0x0a000001));
}

TEST(AddressTest, genericAddressKnowsItsFamily) {
  EXPECT_EQ(IpGenAddr(), IpGenAddr(IpAddr()));
  IpGenAddr const four = IpAddr(0x0a000001);
  IpGenAddr const six = Ip6Addr(0x0a00000100000000, 0);
  EXPECT_EQ(four.family(), ipv4);
  EXPECT_EQ(four.high(), six.high());
  EXPECT_NE(four, six);
  EXPECT_EQ(IpAddr(four), IpAddr(0x0a000001));
  EXPECT_EQ(Ip6Addr(four), Ip6Addr());
  EXPECT_EQ(IpAddr(six), IpAddr());
  EXPECT_EQ(Ip6Addr(six), Ip6Addr(0x0a00000100000000, 0));
  EXPECT_EQ(IpGenAddr::parse("10.0.0.1"), four);
  EXPECT_EQ(IpGenAddr::parse("a00:1::"), six);
}

TEST(AddressTest, orderIsNumericAndIpv4First) {
  std::vector<IpGenAddr> const ascending = {
      IpAddr(0),     IpAddr(1),     IpAddr(0x80000000), IpAddr(0xffffffff),
      Ip6Addr(0, 0), Ip6Addr(0, 1), Ip6Addr(0, ~0ULL),  Ip6Addr(1, 0),
  };
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(ascending[i] <=> ascending[j], i <=> j) << i << ' ' << j;
    }
  }
}

// Neighbours, as lists hold them, must spread over the low bits that a table of 65536 uses: 63 %
// of its places are taken when every place is as likely as another.
template <class Make>
double placesTaken(Make make) {
  std::unordered_set<U32> places;
  for (U32 i = 0; i < 65536; ++i) places.insert(hashOf(make(i)) & 0xffff);
  return static_cast<double>(places.size()) / 65536;
}

TEST(AddressTest, hashSpreadsNeighbours) {
  EXPECT_GT(placesTaken([](U32 i) { return IpAddr(i << 16); }), 0.62);
  EXPECT_GT(placesTaken([](U32 i) { return Ip6Addr(U64{i} << 48, 0); }), 0.62);
  EXPECT_GT(placesTaken([](U32 i) { return Ip6Addr(0, i); }), 0.62);
  EXPECT_NE(hashOf(IpGenAddr(IpAddr(1 << 24))), hashOf(IpGenAddr(Ip6Addr(1ULL << 56, 0))));
  EXPECT_EQ(std::hash<IpAddr>()(IpAddr(7)), hashOf(IpAddr(7)));
}

}  // namespace
}  // namespace Ipa
