#include "platform/orb/base/Binary.h"

#include <gtest/gtest.h>

#include <limits>

#include "platform/keel/MaybeU63.h"
#include "platform/orb/base/Error.h"
#include "policy_config/MapEntry.h"

namespace {

using Orb::U16;
using Orb::U32;
using Orb::U64;
using Orb::U8;

std::string bytes(std::initializer_list<int> list) {
  std::string out;
  for (int const byte : list) out += static_cast<char>(byte);
  return out;
}

/// The form is what is written, reads back, and is refused however it is cut short.
template <class T>
void expectForm(T const& value, std::string const& form) {
  EXPECT_EQ(Orb::toBinary(value), form);
  T read{};
  Orb::fromBinary(read, form);
  EXPECT_TRUE(Orb::sameValue<T>(read, value));
  for (std::size_t size = 0; size < form.size(); ++size) {
    EXPECT_THROW(Orb::fromBinary(read, std::string_view(form).substr(0, size)), Orb::ParseException)
        << size;
  }
  EXPECT_THROW(Orb::fromBinary(read, form + '\0'), Orb::ParseException) << "more than the value";
}

TEST(Binary, IsWhatItsHeaderSays) {
  expectForm(U8{0}, bytes({0}));
  expectForm(U8{255}, bytes({0xff, 1}));
  expectForm(U16{300}, bytes({0xac, 2}));
  expectForm(std::numeric_limits<U32>::max(), bytes({0xff, 0xff, 0xff, 0xff, 0x0f}));
  expectForm(std::numeric_limits<U64>::max(),
             bytes({0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 1}));
  expectForm(true, bytes({1}));
  expectForm(-0.0F, bytes({0, 0, 0, 0x80}));
  expectForm(std::numeric_limits<float>::quiet_NaN(), bytes({0, 0, 0xc0, 0x7f}));
  expectForm(Orb::String(), bytes({0}));
  expectForm(Orb::String("a"), bytes({1, 'a'}));
  expectForm(Acl::notSet, bytes({0xff, 0xff, 0xff, 0xff, 0x0f}));
  expectForm(Keel::MaybeU63(), bytes({0}));
  expectForm(Keel::MaybeU63(0), bytes({1}));
  expectForm(Keel::MaybeU63(~U64{0} >> 1), bytes({128, 128, 128, 128, 128, 128, 128, 128, 128, 1}));
  expectForm(Acl::CommunityValue::of(1U, 2U, 300U), bytes({1, 2, 0xac, 2}));
  expectForm(Routing::RouteMap::MapEntry::SetFlags(5), bytes({5}));

  // A value that has no text to read back has a binary form all the same.
  Routing::RouteMap::MatchRule rule(Routing::RouteMap::matchTag);
  Routing::RouteMap::CommListSet names;
  names.commListSetIs("b", false);
  names.commListSetIs("a", true);
  rule.commListSetIs(names);
  std::string form = bytes({115, 0, 0}) + std::string(20, '\0') + bytes({0});
  form += bytes({2, 1, 'a', 1, 1, 'b', 0});  // two names in ascending order
  form += bytes({0, 0, 0, 0});
  expectForm(rule, form);
}

TEST(Binary, RefusesWhatNoWriterWrites) {
  Routing::RouteMap::CommListSet names;
  auto const refuses = [](auto value, std::initializer_list<int> list) {
    auto const before = value;
    EXPECT_THROW(Orb::fromBinary(value, bytes(list)), Orb::RangeException);
    EXPECT_TRUE(value == before) << "it is unchanged";
  };
  refuses(U8{7}, {0x80, 2});   // 256
  refuses(U32{7}, {0x80, 0});  // 0, longer than need be
  refuses(U32{7}, {0xff, 0xff, 0xff, 0xff, 0x1f});
  refuses(U64{7}, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 3});
  refuses(U64{7}, {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 1});
  refuses(true, {2});
  refuses(Orb::String("x"), {0xff, 0xff, 0xff, 0xff, 0x0f, 'a'});
  refuses(Acl::permitMatch, {2});
  refuses(Routing::RouteMap::U32Range(), {2, 1});  // its low end above its high one
  refuses(Routing::RouteMap::MapEntry::SetFlags(1), {0xff, 0xff, 0xff, 0xff, 0x0f});
  refuses(names, {2, 1, 'b', 0, 1, 'a', 1});  // keys that do not ascend
  refuses(names, {2, 1, 'a', 0, 1, 'a', 1});
}

}  // namespace
