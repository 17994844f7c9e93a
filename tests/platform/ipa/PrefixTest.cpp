#include "platform/ipa/Prefix.h"

#include <gtest/gtest.h>

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
  auto const refused = [](auto const& make) { return thrown<Orb::RangeException>(make); };
  EXPECT_EQ(refused([&] { Prefix(four, 31); }), "Prefix::validAsPrefix != true not allowed");
  EXPECT_EQ(refused([&] { Prefix::subnet(four, 33); }), "Prefix::length > 32 not allowed");
  EXPECT_EQ(refused([&] { Ip6Prefix(six, 127); }), "Ip6Prefix::validAsPrefix != true not allowed");
  EXPECT_EQ(refused([&] { Ip6Prefix(six, 129); }), "Ip6Prefix::length > 128 not allowed");
  EXPECT_EQ(refused([&] { IpGenPrefix(six, 127); }),
            "IpGenPrefix::validAsPrefix != true not allowed");
  EXPECT_EQ(refused([&] { IpGenPrefix(six, 129); }), "IpGenPrefix::length > 128 not allowed");
  EXPECT_EQ(refused([&] { IpGenPrefix::subnet(four, 256); }),
            "IpGenPrefix::length > 32 not allowed");
  EXPECT_EQ(refused([&] { static_cast<void>(Ip6Prefix(IpGenPrefix(four, 32))); }),
            "IpGenPrefix::family != ipv6 not allowed");
  EXPECT_EQ(refused([&] { static_cast<void>(Prefix(IpGenPrefix(six, 128))); }),
            "IpGenPrefix::family != ipv4 not allowed");
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
  EXPECT_FALSE(four.contains(six) || four.contains(IpGenAddr(Ip6Addr())));
  EXPECT_FALSE(six.contains(four) || six.contains(IpGenAddr()));
  EXPECT_LT(IpGenPrefix(Prefix(IpAddr(0xffffffff), 32)), six);
}

/// The text is bare, on a stream too, and reads from the front of a longer one; the binary form is
/// as given, and is refused however it is cut short.
template <class T>
void checkForms(char const* text, std::string_view binary) {
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

  EXPECT_EQ(Orb::toBinary(v), binary) << text;
  T read;
  Orb::fromBinary(read, binary);
  EXPECT_EQ(read, v);
  for (std::size_t size = 0; size < binary.size(); ++size) {
    EXPECT_THROW(Orb::fromBinary(read, binary.substr(0, size)), Orb::ParseException) << text;
  }
}

TEST(PrefixTest, formsReadBack) {
  using std::operator""sv;
  checkForms<IpAddr>("10.0.0.1", "\x0a\0\0\1"sv);
  checkForms<Ip6Addr>("2001:db8::1", "\x20\1\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\1"sv);
  checkForms<IpGenAddr>("10.0.0.1", "\0\x0a\0\0\1"sv);
  checkForms<IpGenAddr>("::", "\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"sv);
  checkForms<Prefix>("10.128.0.0/9", "\x09\x0a\x80"sv);
  checkForms<Prefix>("255.255.255.255/32", "\x20\xff\xff\xff\xff"sv);
  checkForms<Ip6Prefix>("2001:db8::/32", "\x20\x20\1\x0d\xb8"sv);
  checkForms<Ip6Prefix>("1111:2222:3333:4444:5555:6666:7777:8888/128",
                        "\x80\1\x11\x11\x22\x22\x33\x33\x44\x44\x55\x55\x66\x66\x77\x77\x88\x88"sv);
  checkForms<IpGenPrefix>("10.0.0.0/8", "\0\x08\x0a"sv);
  checkForms<IpGenPrefix>("ff00::/8", "\1\x08\xff"sv);
}

TEST(PrefixTest, noOtherFormIsRead) {
  Ip6Prefix v(Ip6Addr(1, 0), 64);
  EXPECT_EQ(thrown<Orb::RangeException>([&] { Orb::fromText(v, "2001:DB8::/32"); }),
            "'2001:DB8::/32' is not how 2001:db8::/32 is written");
  EXPECT_THROW(Orb::fromText(v, "2001:db8::1/32"), Orb::ParseException);
  EXPECT_EQ(v, Ip6Prefix(Ip6Addr(1, 0), 64));
  Prefix prefix;
  for (std::string_view const form : {"\x09\x0a\xc0", "\x21\1\2\3\4\5", "\x81\1\x80"}) {
    EXPECT_THROW(Orb::fromBinary(prefix, form), Orb::ParseException);
  }
  IpGenPrefix any;
  EXPECT_THROW(Orb::fromBinary(any, "\2\x08\x0a"), Orb::ParseException) << "a third family";
}

}  // namespace
}  // namespace Ipa
