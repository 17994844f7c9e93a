#include "policy_config/CommunityText.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/orb/base/Error.h"

namespace {

using namespace Acl;
using Orb::U32;

constexpr CommunityType kFamilies[] = {communityTypeStandard, communityTypeExtended,
                                       communityTypeLarge};

std::string written(CommunityType family, CommunityValue const& value) {
  std::string out = "before ";
  writeCommunity(out, family, value);
  return out.substr(out.find(' ') + 1);
}

/// The value of a text, or why it has none.
std::string readOrReason(std::string_view text, auto... family) {
  try {
    CommunityValue const v = readCommunity(text, family...);
    return std::to_string(v.part0()) + ' ' + std::to_string(v.part1()) + ' ' +
           std::to_string(v.part2());
  } catch (Orb::ParseException const& error) {
    return error.what();
  }
}

TEST(CommunityText, EachFamilyHasItsForms) {
  for (auto const& [family, part0, part1, part2, text] :
       std::initializer_list<std::tuple<CommunityType, U32, U32, U32, char const*>>{
           {communityTypeStandard, 0, 0, 65000U << 16 | 100, "65000:100"},
           {communityTypeStandard, 0, 0, 0, "0:0"},
           {communityTypeStandard, 0, 0, 0xffff0000, "graceful-shutdown"},
           {communityTypeStandard, 0, 0, 0xffff0001, "accept-own"},
           {communityTypeStandard, 0, 0, 0xffff0002, "65535:2"},
           {communityTypeStandard, 0, 0, 0xffff0006, "llgr-stale"},
           {communityTypeStandard, 0, 0, 0xffff0007, "no-llgr"},
           {communityTypeStandard, 0, 0, 0xffff0009, "standby-pe"},
           {communityTypeStandard, 0, 0, 0xffff029a, "blackhole"},
           {communityTypeStandard, 0, 0, 0xffffff01, "no-export"},
           {communityTypeStandard, 0, 0, 0xffffff02, "no-advertise"},
           {communityTypeStandard, 0, 0, 0xffffff03, "no-export-subconfed"},
           {communityTypeStandard, 0, 0, 0xffffff04, "no-peer"},
           {communityTypeStandard, 0, 1, 2, "raw 0x0000000100000002"},
           {communityTypeStandard, 1, 0, 0xab, "raw 0x0000000100000000000000ab"},
           {communityTypeExtended, 0, 0x0002fde8, 100, "rt 65000:100"},
           {communityTypeExtended, 0, 0x0102c000, 0x02010064, "rt 192.0.2.1:100"},
           {communityTypeExtended, 0, 0x02020001, 0xffff, "rt 65536:65535"},
           {communityTypeExtended, 0, 0x02020000, 0xfde80064, "rt 65000L:100"},
           {communityTypeExtended, 0, 0x0003ffff, ~0U, "soo 65535:4294967295"},
           {communityTypeExtended, 0, 0x0103ffff, ~0U, "soo 255.255.255.255:65535"},
           {communityTypeExtended, 0, 0x0203ffff, ~0U, "soo 4294967295:65535"},
           {communityTypeExtended, 0, 0x4004fde8, 0x4cee6b28, "lbw 65000:1.25e+08"},
           {communityTypeExtended, 0, 0x4004fde8, 0, "lbw 65000:0"},
           {communityTypeExtended, 0, 0x4004fde8, 0x80000000, "raw 0x4004fde880000000"},  // -0
           {communityTypeExtended, 0, 0x4004fde8, 0x7f800000, "raw 0x4004fde87f800000"},  // inf
           {communityTypeExtended, 0, 0x4004fde8, 0xffc00000, "raw 0x4004fde8ffc00000"},  // -nan
           {communityTypeExtended, 0, 0x40020001, 2, "raw 0x4002000100000002"},
           {communityTypeExtended, 0, 0, 5, "raw 0x0000000000000005"},
           {communityTypeExtended, 7, 0x0002fde8, 100, "raw 0x000000070002fde800000064"},
           {communityTypeLarge, 65000, 1, 2, "65000:1:2"},
           {communityTypeLarge, 0, 0, ~0U, "0:0:4294967295"},
       }) {
    auto const value = CommunityValue::of(part0, part1, part2);
    EXPECT_EQ(written(family, value), text);
    EXPECT_EQ(readCommunity(text, family), value) << text;
    EXPECT_EQ(readCommunity(text), value) << text;
  }
}

TEST(CommunityText, ReadersTakeAFewOtherWaysToWriteAValue) {
  EXPECT_EQ(readCommunity("65535:65281"), readCommunity("no-export"));
  EXPECT_EQ(readCommunity("local-as"), readCommunity("no-export-subconfed"));
  EXPECT_EQ(readCommunity("lbw 1:125000000"), readCommunity("lbw 1:1.25e+08"));
  EXPECT_EQ(readCommunity("raw 0x00000000fde80064"), readCommunity("65000:100"));
  EXPECT_EQ(readCommunity("raw 0x000000010000000200000003", communityTypeLarge),
            readCommunity("1:2:3"));
}

TEST(CommunityText, WhatIsRefusedSaysWhatIsWrong) {
  for (auto const& [text, family, reason] :
       {std::tuple{"", 0, "neither the name of a well-known one nor 65000:100"},
        {"No-export", 0, "neither the name of a well-known one nor 65000:100"},
        {"65000", 0, "expected : at ''"},
        {"65000:", 0, "a number was expected at ''"},
        {"65536:1", 0, "the number '65536' is greater than 65535"},
        {"1:65536", 0, "the number '65536' is greater than 65535"},
        {"1:01", 0, "needless zeros at '01'"},
        {"1:+1", 0, "a number was expected at '+1'"},
        {"1:1 ", 0, "unexpected text at ' '"},
        {"1:2:3", 0, "unexpected text at ':3'"},
        {"rt 1:2", 0, "neither the name of a well-known one nor 65000:100"},
        {"1:2", 1, "rt, soo, lbw or raw was expected at '1:2'"},
        {"rt", 1, "expected   at ''"},
        {"rt  1:2", 1, "a number was expected at ' 1:2'"},
        {"rt 1:4294967296", 1, "the number '4294967296' is greater than 4294967295"},
        {"rt 65536:65536", 1, "the number '65536' is greater than 65535"},
        {"rt 65536L:1", 1, "a needless L at '65536L'"},
        {"rt 1.2.3:1", 1, "'1.2.3' is not an IPv4 address"},
        {"rt 1.2.3.4", 1, "expected : at ''"},
        {"rt 1.2.3.4:65536", 1, "the number '65536' is greater than 65535"},
        {"lbw 1L:1", 1, "an AS number up to 65535, without L, stands behind lbw"},
        {"lbw 1:-1", 1, "a bandwidth is finite and not negative, not '-1'"},
        {"lbw 1:inf", 1, "a bandwidth is finite and not negative, not 'inf'"},
        {"lbw 1:1]", 1, "unexpected text at ']'"},
        {"raw 0x01", 1, "16 or 24 hexadecimal digits, in lower case, were expected at '01'"},
        {"raw 0x000000000000000A", 1,
         "16 or 24 hexadecimal digits, in lower case, were expected at '000000000000000A'"},
        {"raw 0x000000000000000000000001", 1, "needless zeros at '000000000000000000000001'"},
        {"1:2", 2, "expected : at ''"},
        {"1:2:4294967296", 2, "the number '4294967296' is greater than 4294967295"}}) {
    char const* const kind[] = {"a standard", "an extended", "a large"};
    EXPECT_EQ(readOrReason(text, kFamilies[family]),
              Orb::quotedForMessage(text) + " is not " + kind[family] + " community: " + reason);
  }
  EXPECT_EQ(readOrReason("a\n"),
            R"('a\n' is not a community: expected 65000:100, a name such as no-export, rt, soo or )"
            "lbw with a value, 65000:1:2 or raw 0x with digits");
  EXPECT_EQ(readOrReason("1:2:x"),
            "'1:2:x' is not a large community: a number was expected at 'x'");
}

TEST(CommunityText, EveryValueReadsBackInEveryFamily) {
  std::mt19937 random(4360);  // NOLINT: the same values in every run
  U32 const likely[] = {0, 1, 65535, 65536, 0x0002fde8, 0x01030102, 0x02020000, 0x40040001, ~0U};
  for (int i = 0; i < 20000; ++i) {
    auto const part = [&] { return random() % 4 == 0 ? U32(random()) : likely[random() % 9]; };
    auto const value = CommunityValue::of(part(), part(), part());
    for (CommunityType const family : kFamilies) {
      std::string const text = written(family, value);
      ASSERT_EQ(readCommunity(text, family), value) << text;
      ASSERT_EQ(readCommunity(text), value) << text;
    }
  }
}

TEST(CommunityText, ListsHaveTheirFamily) {
  for (U32 type = 0; type < 6; ++type) {
    EXPECT_EQ(communityTypeOf(CommunityListType{type}), kFamilies[type / 2]);
    bool const hasWord = Orb::toText(CommunityListType{type}).ends_with("Expanded");
    EXPECT_EQ(isExpanded(CommunityListType{type}), hasWord);
  }
}

}  // namespace
