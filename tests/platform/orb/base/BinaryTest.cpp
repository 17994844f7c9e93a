#include "platform/orb/base/Binary.h"

#include <gtest/gtest.h>

#include <limits>

#include "platform/keel/MaybeU63.h"
#include "platform/orb/base/Error.h"
#include "policy_config/MapEntry.h"

namespace {

using Orb::U32;
using Orb::U64;
using Routing::RouteMap::CommListSet;

std::string bytes(std::initializer_list<int> list) {
  std::string out;
  for (int const byte : list) out += static_cast<char>(byte);
  return out;
}

/// The form is what is written, and reads back. BinaryFormFuzz holds of every type that it is
/// refused when it is cut short, and that nothing else reads as the same value.
template <class T>
void expectForm(T const& value, std::initializer_list<int> form) {
  EXPECT_EQ(Orb::toBinary(value), bytes(form));
  T read{};
  Orb::fromBinary(read, bytes(form));
  EXPECT_TRUE(Orb::sameValue<T>(read, value));
}

TEST(Binary, IsWhatItsHeaderSays) {
  expectForm(Orb::U16{300}, {0xac, 2});
  expectForm(std::numeric_limits<U32>::max(), {0xff, 0xff, 0xff, 0xff, 0x0f});
  expectForm(~U64{0}, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 1});
  expectForm(true, {1});
  expectForm(-0.0F, {0, 0, 0, 0x80});
  expectForm(std::numeric_limits<float>::quiet_NaN(), {0, 0, 0xc0, 0x7f});
  expectForm(Orb::String("a"), {1, 'a'});
  expectForm(Acl::notSet, {0xff, 0xff, 0xff, 0xff, 0x0f});
  expectForm(Keel::MaybeU63(), {0});
  expectForm(Keel::MaybeU63(~U64{0} >> 1), {128, 128, 128, 128, 128, 128, 128, 128, 128, 1});
  expectForm(Acl::CommunityValue::of(1U, 2U, 300U), {1, 2, 0xac, 2});
  CommListSet names;
  names.commListSetIs("b", false);
  names.commListSetIs("a", true);
  expectForm(names, {2, 1, 'a', 1, 1, 'b', 0});  // in ascending order
}

TEST(Binary, IsAllOfTheBytesOrNothing) {
  U32 read = 7;
  EXPECT_THROW(Orb::fromBinary(read, bytes({8, 0})), Orb::ParseException);
  EXPECT_EQ(read, 7U);
}

}  // namespace
