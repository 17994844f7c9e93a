#include "platform/ipa/Prefix.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <tuple>

#include "platform/orb/base/Error.h"
#include "tests/support/Thrown.h"

namespace Ipa {
namespace {

using TestSupport::thrown;

TEST(PrefixTest, notAllowedValuesAreRefused) {
  IpAddr const four(0x0a000001);
  Ip6Addr const six(0x20010db800000000, 1);
  std::pair<std::function<void()>, char const*> const cases[] = {
      {[&] { Prefix(four, 31); }, "Prefix::validAsPrefix != true"},
      {[&] { Prefix::subnet(four, 33); }, "Prefix::length > 32"},
      {[&] { Ip6Prefix(six, 127); }, "Ip6Prefix::validAsPrefix != true"},
      {[&] { Ip6Prefix(six, 129); }, "Ip6Prefix::length > 128"},
      {[&] { IpGenPrefix(six, 127); }, "IpGenPrefix::validAsPrefix != true"},
      {[&] { IpGenPrefix(six, 129); }, "IpGenPrefix::length > 128"},
      {[&] { IpGenPrefix::subnet(four, 256); }, "IpGenPrefix::length > 32"},
      {[&] { std::ignore = Ip6Prefix(IpGenPrefix(four, 32)); }, "IpGenPrefix::family != ipv6"},
      {[&] { std::ignore = Prefix(IpGenPrefix(six, 128)); }, "IpGenPrefix::family != ipv4"}};
  for (auto const& [make, what] : cases) {
    EXPECT_EQ(thrown<Orb::RangeException>(make), std::string(what) + " not allowed");
  }
}

TEST(PrefixTest, badTextIsRefusedAndNamed) {
  char const* const length = ": the length is not a decimal number in range";
  for (auto const& [text, reason] :
       {std::pair{"10.0.0.0", ": a slash and the length must follow the address"},
        {"10.0.0/8", ": what stands before the slash is not an address"},
        {"10.0.0.0/", length},
        {"10.0.0.0/33", length},
        {"10.0.0.0/08", length},
        {"10.0.0.0/+8", length},
        {"10.0.0.0/8 ", length},
        {"10.0.0.0/4294967304", length},
        {"10.0.0.1/8", ": the address has bits set beyond the length"}}) {
    EXPECT_EQ(thrown<Orb::RangeException>([&, t = text] { Prefix::parse(t); }),
              "'" + std::string(text) + "' is not an IPv4 prefix" + reason);
    EXPECT_FALSE(Prefix::tryParse(text) || IpGenPrefix::tryParse(text)) << text;
  }
  for (auto const* text : {"2001:db8::1/32", "::/129", "::", "::1::/128"}) {
    EXPECT_FALSE(Ip6Prefix::tryParse(text) || IpGenPrefix::tryParse(text)) << text;
  }
}

/// Few set bits, so that prefixes nest and host bits are often clear.
template <class Address>
Address randomAddress(std::mt19937_64& random) {
  auto const bits = [&] { return random() & random() & random() & random(); };
  if constexpr (std::is_same_v<Address, IpAddr>) {
    return IpAddr(static_cast<U32>(bits()));
  } else {
    return Ip6Addr(bits(), bits());
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

template <class P>
void checkAgainstModel() {
  using Address = std::decay_t<decltype(P().address())>;
  std::mt19937_64 random(3);
  int contained = 0;
  EXPECT_EQ(P::parse(P().toString()), P::subnet(Address::mask(Address::kBits + 1), 0));
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
    ASSERT_EQ(p.contains(b), leadingBits(b, la) == bits);
    ASSERT_EQ(a <=> b, leadingBits(a, Address::kBits) <=> leadingBits(b, Address::kBits));
    ASSERT_EQ(p.contains(q), la <= lb && leadingBits(b, la) == bits);
    contained += p.contains(q) ? 1 : 0;
    ASSERT_EQ(p <=> q, std::tuple(p.address(), la) <=> std::tuple(q.address(), lb));
    ASSERT_EQ(P::parse(p.toString()), p);

    // The generic form says the same in everything.
    IpGenPrefix const gp = p;
    IpGenPrefix const gq = q;
    ASSERT_EQ(gp, IpGenPrefix::subnet(a, la));
    ASSERT_EQ(P(gp), p);
    ASSERT_EQ(gp.contains(gq), p.contains(q));
    ASSERT_EQ(gp.contains(IpGenAddr(b)), p.contains(b));
    ASSERT_EQ(gp <=> gq, p <=> q);
    ASSERT_EQ(IpGenAddr(a) <=> IpGenAddr(b), a <=> b);
    ASSERT_EQ(Address(IpGenAddr(a)), a);
    ASSERT_EQ(gp.toString(), p.toString());
    ASSERT_EQ(IpGenPrefix::parse(p.toString()), gp);
  }
  EXPECT_GT(contained, 1000);  // the pairs were worth comparing
}

TEST(PrefixTest, agreesWithTheModel) {
  checkAgainstModel<Prefix>();
  checkAgainstModel<Ip6Prefix>();
}

TEST(PrefixTest, familiesDoNotMeet) {
  IpGenPrefix const four = Prefix();
  IpGenPrefix const six = Ip6Prefix();
  EXPECT_EQ(IpGenPrefix(), four);
  EXPECT_EQ(IpGenAddr(), IpGenAddr(IpAddr()));
  EXPECT_FALSE(four.contains(six) || four.contains(IpGenAddr(Ip6Addr())));
  EXPECT_FALSE(six.contains(four) || six.contains(IpGenAddr()));
  EXPECT_LT(IpGenPrefix(Prefix(IpAddr(0xffffffff), 32)), six);
  EXPECT_LT(IpGenAddr(IpAddr(0xffffffff)), IpGenAddr(Ip6Addr()));
  EXPECT_NE(IpGenAddr(IpAddr(1)), IpGenAddr(Ip6Addr(U64{1} << 32, 0)));
  EXPECT_EQ(Ip6Addr(IpGenAddr(IpAddr(1))), Ip6Addr());
  EXPECT_EQ(IpAddr(IpGenAddr(Ip6Addr(U64{1} << 32, 0))), IpAddr());
}

/// The text is bare, on a stream too, and the bytes are as given. BinaryFormFuzz and TextFormFuzz
/// hold that each form reads back, and that nothing else reads.
template <class T>
void expectForms(char const* text, std::string_view binary) {
  T const v = T::parse(text);
  std::ostringstream stream;
  stream << v;
  EXPECT_EQ(stream.str(), text);
  EXPECT_EQ(Orb::toText(v), text);
  EXPECT_EQ(Orb::toBinary(v), binary) << text;
}

TEST(PrefixTest, formsAreThese) {
  using std::operator""sv;
  expectForms<IpAddr>("10.0.0.1", "\x0a\0\0\1"sv);
  expectForms<Ip6Addr>("2001:db8::1", "\x20\1\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\1"sv);
  expectForms<IpGenAddr>("10.0.0.1", "\0\x0a\0\0\1"sv);
  expectForms<IpGenAddr>("::", "\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"sv);
  expectForms<Prefix>("10.128.0.0/9", "\x09\x0a\x80"sv);
  expectForms<Ip6Prefix>("2001:db8::/32", "\x20\x20\1\x0d\xb8"sv);
  expectForms<IpGenPrefix>("10.0.0.0/8", "\0\x08\x0a"sv);
  expectForms<IpGenPrefix>("ff00::/8", "\1\x08\xff"sv);
  Ip6Prefix v;
  EXPECT_EQ(thrown<Orb::RangeException>([&] { Orb::fromText(v, "2001:DB8::/32"); }),
            "'2001:DB8::/32' is not how 2001:db8::/32 is written");
  EXPECT_THROW(Orb::fromBinary(v, "\x09\x0a\xc0"), Orb::ParseException) << "bits beyond the length";
}

}  // namespace
}  // namespace Ipa
