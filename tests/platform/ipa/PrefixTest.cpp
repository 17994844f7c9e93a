#include "platform/ipa/Prefix.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <unordered_set>

#include "platform/orb/base/Error.h"

namespace Ipa {
namespace {

template <class Action>
std::string errorOf(Action action) {
  try {
    action();
  } catch (Orb::RangeException const& e) {
    return e.what();
  }
  return "accepted";
}

/// Few set bits, so that prefixes nest and host bits are often clear.
U64 sparseBits(std::mt19937_64& random) {
  U64 bits = random();
  for (int i = 0; i < 3; ++i) bits &= random();
  return bits;
}

template <class Address>
Address randomAddress(std::mt19937_64& random) {
  U64 const high = sparseBits(random);
  U64 const low = sparseBits(random);
  if constexpr (std::is_same_v<Address, IpAddr>) {
    return IpAddr(static_cast<U32>(high));
  } else {
    return Ip6Addr(high, low);
  }
}

/// The leading bits of an address as characters: the obvious model of a prefix.
std::string leadingBits(IpGenAddr const& address, U32 length) {
  std::string bits;
  for (U32 i = 0; i < length; ++i) {
    U64 const half = i < 64 ? address.high() : address.low();
    bits += half >> (63 - i % 64) & 1 ? '1' : '0';
  }
  return bits;
}

TEST(PrefixTest, notAllowedValuesAreRefused) {
  IpAddr const four(0x0a000001);
  Ip6Addr const six(0x20010db800000000, 1);
  struct {
    std::string error;
    char const* expected;
  } const cases[] = {
      {errorOf([&] { Prefix(four, 31); }), "Prefix::validAsPrefix != true not allowed"},
      {errorOf([&] { Prefix(four, 33); }), "Prefix::length > 32 not allowed"},
      {errorOf([&] { Prefix::subnet(four, 33); }), "Prefix::length > 32 not allowed"},
      {errorOf([&] { Ip6Prefix(six, 127); }), "Ip6Prefix::validAsPrefix != true not allowed"},
      {errorOf([&] { Ip6Prefix(six, 129); }), "Ip6Prefix::length > 128 not allowed"},
      {errorOf([&] { IpGenPrefix(four, 31); }), "IpGenPrefix::validAsPrefix != true not allowed"},
      {errorOf([&] { IpGenPrefix(six, 127); }), "IpGenPrefix::validAsPrefix != true not allowed"},
      {errorOf([&] { IpGenPrefix(four, 33); }), "IpGenPrefix::length > 32 not allowed"},
      {errorOf([&] { IpGenPrefix(six, 129); }), "IpGenPrefix::length > 128 not allowed"},
      {errorOf([&] { IpGenPrefix::subnet(four, 256); }), "IpGenPrefix::length > 32 not allowed"},
      {errorOf([&] { static_cast<void>(Ip6Prefix(IpGenPrefix(four, 32))); }),
       "IpGenPrefix::family != ipv6 not allowed"},
      {errorOf([&] { static_cast<void>(Prefix(IpGenPrefix(six, 128))); }),
       "IpGenPrefix::family != ipv4 not allowed"},
      {errorOf([&] { Prefix(four, 32), Ip6Prefix(six, 128); }), "accepted"},
  };
  for (auto const& c : cases) EXPECT_EQ(c.error, c.expected);
}

TEST(PrefixTest, textReads) {
  EXPECT_EQ(Prefix::parse("0.0.0.0/0"), Prefix());
  EXPECT_EQ(Prefix::parse("10.0.0.0/8"), Prefix(IpAddr(0x0a000000), 8));
  EXPECT_EQ(Ip6Prefix::parse("::/0"), Ip6Prefix());
  EXPECT_EQ(Ip6Prefix::parse("2001:DB8::/32"), Ip6Prefix(Ip6Addr(0x20010db800000000, 0), 32));
  EXPECT_EQ(IpGenPrefix::parse("0.0.0.0/0"), IpGenPrefix());
  EXPECT_EQ(IpGenPrefix::parse("10.0.0.0/8"), IpGenPrefix(Prefix(IpAddr(0x0a000000), 8)));
  EXPECT_EQ(IpGenPrefix::parse("::/0"), IpGenPrefix(Ip6Prefix()));
  EXPECT_NE(IpGenPrefix::parse("::/0"), IpGenPrefix());
}

TEST(PrefixTest, badTextIsRefusedAndNamed) {
  struct {
    std::string_view text;
    char const* reason;
  } const cases[] = {
      {"10.0.0.0", ": a slash and the length must follow the address"},
      {"10.0.0/8", ": what stands before the slash is not an address"},
      {"/8", ": what stands before the slash is not an address"},
      {"10.0.0.0/", ": the length is not a decimal number in range"},
      {"10.0.0.0/33", ": the length is not a decimal number in range"},
      {"10.0.0.0/08", ": the length is not a decimal number in range"},
      {"10.0.0.0/+8", ": the length is not a decimal number in range"},
      {"10.0.0.0/-8", ": the length is not a decimal number in range"},
      {"10.0.0.0/ 8", ": the length is not a decimal number in range"},
      {"10.0.0.0/8 ", ": the length is not a decimal number in range"},
      {"10.0.0.0/8/8", ": the length is not a decimal number in range"},
      {"10.0.0.0/4294967304", ": the length is not a decimal number in range"},
      {"10.0.0.1/8", ": the address has bits set beyond the length"},
  };
  for (auto const& c : cases) {
    std::string const expected = "'" + std::string(c.text) + "' is not an IPv4 prefix" + c.reason;
    EXPECT_EQ(errorOf([&] { Prefix::parse(c.text); }), expected);
    EXPECT_FALSE(Prefix::tryParse(c.text)) << c.text;
    EXPECT_FALSE(Ip6Prefix::tryParse(c.text)) << c.text;
    EXPECT_FALSE(IpGenPrefix::tryParse(c.text)) << c.text;
  }
  for (auto const* text : {"2001:db8::1/32", "::/129", "::", "::1::/128"}) {
    EXPECT_FALSE(Ip6Prefix::tryParse(text)) << text;
    EXPECT_FALSE(IpGenPrefix::tryParse(text)) << text;
  }
}

template <class P>
void checkAgainstModel() {
  using Address = std::decay_t<decltype(P().address())>;
  std::mt19937_64 random(3);
  int contained = 0;
  for (int i = 0; i < 20000; ++i) {
    auto const a = randomAddress<Address>(random);
    Address const b = random() % 2 ? randomAddress<Address>(random) : a;
    auto const la = static_cast<U32>(random() % (Address::kBits + 1));
    auto const lb = static_cast<U32>(random() % (Address::kBits + 1));
    P const p = P::subnet(a, la);
    P const q = P::subnet(b, lb);
    std::string const bits = leadingBits(a, la);
    ASSERT_EQ(leadingBits(p.address(), Address::kBits),
              bits + std::string(Address::kBits - la, '0'));
    ASSERT_EQ(P::validAsPrefix(a, la), p.address() == a);
    ASSERT_EQ(P(p.address(), la), p);
    ASSERT_EQ(p.contains(b), leadingBits(b, la) == bits);
    ASSERT_EQ(p.contains(q), la <= lb && leadingBits(b, la) == bits);
    contained += p.contains(q) ? 1 : 0;
    ASSERT_EQ(p <=> q, std::tuple(p.address(), la) <=> std::tuple(q.address(), lb));
    ASSERT_EQ(P::parse(p.toString()), p);

    // The generic form says the same in everything.
    IpGenPrefix const gp = p;
    IpGenPrefix const gq = q;
    ASSERT_EQ(gp, IpGenPrefix::subnet(a, la));
    ASSERT_EQ(gp.address(), IpGenAddr(p.address()));
    ASSERT_EQ(gp.length(), la);
    ASSERT_EQ(P(gp), p);
    ASSERT_EQ(gp.contains(gq), p.contains(q));
    ASSERT_EQ(gp.contains(IpGenAddr(b)), p.contains(b));
    ASSERT_EQ(gp <=> gq, p <=> q);
    ASSERT_EQ(gp.toString(), p.toString());
    ASSERT_EQ(IpGenPrefix::parse(p.toString()), gp);
  }
  EXPECT_GT(contained, 1000);  // the pairs were worth comparing
}

TEST(PrefixTest, ipv4AgreesWithTheModel) { checkAgainstModel<Prefix>(); }
TEST(PrefixTest, ipv6AgreesWithTheModel) { checkAgainstModel<Ip6Prefix>(); }

TEST(PrefixTest, familiesDoNotMeet) {
  IpGenPrefix const four = Prefix();
  IpGenPrefix const six = Ip6Prefix();
  EXPECT_FALSE(four.contains(six));
  EXPECT_FALSE(six.contains(four));
  EXPECT_FALSE(four.contains(IpGenAddr(Ip6Addr())));
  EXPECT_FALSE(six.contains(IpGenAddr()));
  EXPECT_LT(IpGenPrefix(Prefix(IpAddr(0xffffffff), 32)), six);
  EXPECT_NE(hashOf(four), hashOf(six));
}

template <class T>
void checkTextForm(char const* text) {
  T v;
  std::string const all = std::string(text) + ", 'ge': 0})";
  Orb::TextReader reader(all);
  readText(reader, v);
  EXPECT_EQ(reader.rest(), ", 'ge': 0})");
  std::string out = "'prefix': ";
  writeText(out, v);
  EXPECT_EQ(out, "'prefix': " + std::string(text));
  std::ostringstream stream;
  stream << v;
  EXPECT_EQ(stream.str(), text);
}

TEST(PrefixTest, textFormsAreBareAndReadBack) {
  checkTextForm<IpAddr>("10.0.0.1");
  checkTextForm<Ip6Addr>("2001:db8::1");
  checkTextForm<IpGenAddr>("10.0.0.1");
  checkTextForm<IpGenAddr>("::ffff:10.0.0.1");
  checkTextForm<Prefix>("255.255.255.255/32");
  checkTextForm<Ip6Prefix>("1111:2222:3333:4444:5555:6666:7777:8888/128");
  checkTextForm<IpGenPrefix>("10.0.0.0/8");
  checkTextForm<IpGenPrefix>("2001:db8::/32");
}

TEST(PrefixTest, textFormIsTheCanonicalOneAlone) {
  Ip6Prefix v(Ip6Addr(1, 0), 64);
  EXPECT_EQ(errorOf([&] { Orb::fromText(v, "2001:DB8::/32"); }),
            "'2001:DB8::/32' is not how 2001:db8::/32 is written");
  EXPECT_THROW(Orb::fromText(v, "2001:db8::1/32"), Orb::ParseException);
  EXPECT_EQ(v, Ip6Prefix(Ip6Addr(1, 0), 64));
}

TEST(PrefixTest, hashTellsLengthsApart) {
  std::unordered_set<std::size_t> hashes;
  for (U32 length = 1; length <= 128; ++length) {
    hashes.insert(std::hash<Ip6Prefix>()(Ip6Prefix(Ip6Addr(), length)) & 0xffff);
    hashes.insert(std::hash<IpGenPrefix>()(Ip6Prefix(Ip6Addr(), length)) & 0xffff);
    if (length > 32) continue;
    hashes.insert(std::hash<Prefix>()(Prefix(IpAddr(0x80000000), length)) & 0xffff);
  }
  EXPECT_GT(hashes.size(), 280U);  // of 288
}

}  // namespace
}  // namespace Ipa
