#include <gtest/gtest.h>

#include "platform/ipa/Prefix.h"
#include "platform/orb/base/Error.h"

namespace {

template <class T>
void expectForm(char const* text, std::string_view form) {
  T const value = T::parse(text);
  EXPECT_EQ(Orb::toBinary(value), form) << text;
  T read;
  Orb::fromBinary(read, form);
  EXPECT_EQ(read, value) << text;
  for (std::size_t size = 0; size < form.size(); ++size) {
    EXPECT_THROW(Orb::fromBinary(read, form.substr(0, size)), Orb::ParseException) << text;
  }
}

TEST(AddressBinary, HoldsTheBytesThatCount) {
  using std::operator""sv;
  expectForm<Ipa::IpAddr>("10.0.0.1", "\x0a\0\0\1"sv);
  expectForm<Ipa::Ip6Addr>("2001:db8::1", "\x20\1\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\1"sv);
  expectForm<Ipa::IpGenAddr>("10.0.0.1", "\0\x0a\0\0\1"sv);
  expectForm<Ipa::IpGenAddr>("::", "\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"sv);
  expectForm<Ipa::Prefix>("0.0.0.0/0", "\0"sv);
  expectForm<Ipa::Prefix>("10.128.0.0/9", "\x09\x0a\x80"sv);
  expectForm<Ipa::Ip6Prefix>("2001:db8::/32", "\x20\x20\1\x0d\xb8"sv);
  expectForm<Ipa::IpGenPrefix>("10.0.0.0/8", "\0\x08\x0a"sv);
  expectForm<Ipa::IpGenPrefix>("ff00::/8", "\1\x08\xff"sv);
}

TEST(AddressBinary, RefusesWhatIsNoPrefix) {
  Ipa::Prefix prefix;
  Ipa::IpGenPrefix any;
  for (std::string_view const form : {"\x09\x0a\xc0", "\x21\1\2\3\4\5", "\x81\1\x80"}) {
    EXPECT_THROW(Orb::fromBinary(prefix, form), Orb::ParseException);
  }
  EXPECT_THROW(Orb::fromBinary(any, "\2\x08\x0a"), Orb::ParseException) << "a third family";
}

}  // namespace
