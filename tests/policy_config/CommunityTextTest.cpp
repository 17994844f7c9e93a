#include "policy_config/CommunityText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "platform/orb/base/Error.h"
#include "tests/support/Thrown.h"

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

// A family, three parts in hexadecimal, and the text; parted by semicolons.
constexpr char const* kForms =
    R"(0 0 0 fde80064 65000:100;0 0 0 0 0:0;0 0 0 ffff0000 graceful-shutdown;0 0 0 ffff0002 65535:2;
0 0 0 ffff0001 accept-own;0 0 0 ffff0006 llgr-stale;0 0 0 ffff0007 no-llgr;
0 0 0 ffff0009 standby-pe;0 0 0 ffff029a blackhole;0 0 0 ffffff01 no-export;
0 0 0 ffffff02 no-advertise;0 0 0 ffffff03 no-export-subconfed;0 0 0 ffffff04 no-peer;
0 0 1 2 raw 0x0000000100000002;0 1 0 ab raw 0x0000000100000000000000ab;
1 0 2fde8 64 rt 65000:100;1 0 102c000 2010064 rt 192.0.2.1:100;1 0 2020001 ffff rt 65536:65535;
1 0 2020000 fde80064 rt 65000L:100;1 0 2020000 ffff0001 rt 65535L:1;
1 0 3ffff ffffffff soo 65535:4294967295;
1 0 103ffff ffffffff soo 255.255.255.255:65535;1 0 203ffff ffffffff soo 4294967295:65535;
1 0 4004fde8 4cee6b28 lbw 65000:1.25e+08;1 0 4004fde8 0 lbw 65000:0;
1 0 4004fde8 80000000 raw 0x4004fde880000000;1 0 4004fde8 7f800000 raw 0x4004fde87f800000;
1 0 40020001 2 raw 0x4002000100000002;1 0 0 5 raw 0x0000000000000005;
1 7 2fde8 64 raw 0x000000070002fde800000064;2 fde8 1 2 65000:1:2;2 0 0 ffffffff 0:0:4294967295)";

TEST(CommunityText, EachFamilyHasItsForms) {
  std::istringstream forms(kForms);
  for (std::string form; std::getline(forms, form, ';');) {
    std::istringstream in(form);
    U32 family = 0;
    U32 parts[3]{};
    in >> family >> std::hex >> parts[0] >> parts[1] >> parts[2] >> std::ws;
    std::string text;
    std::getline(in, text);
    auto const value = CommunityValue::of(parts[0], parts[1], parts[2]);
    EXPECT_EQ(written(kFamilies[family], value), text);
    EXPECT_EQ(readCommunity(text, kFamilies[family]), value) << text;
  }
  EXPECT_EQ(readCommunity("65535:65281"), readCommunity("no-export"));
  EXPECT_EQ(readCommunity("local-as"), readCommunity("no-export-subconfed"));
  EXPECT_EQ(readCommunity("lbw 1:125000000"), readCommunity("lbw 1:1.25e+08"));
  EXPECT_EQ(readCommunity("raw 0x00000000fde80064"), readCommunity("65000:100"));
}

// A family, a text, and what is wrong; parted by semicolons. "$" stands for an excess.
constexpr char const* kRefused =
    R"(0|neither the name of a well-known one nor 65000:100;
0No-export|neither the name of a well-known one nor 65000:100;065000|expected : at '';
01:01|needless zeros at '01';01:1 |unexpected text at ' ';065536:1|$ 65535;01:65536|$ 65535;
11:2|rt, soo, lbw or raw was expected at '1:2';1rt|a value was expected behind it, such as rt 65000:100;
1rt  1:2|a number was expected at ' 1:2';1rt 65536:65536|$ 65535;1rt 1.2.3.4:65536|$ 65535;
1rt 65536L:1|a needless L at '65536L';1rt 1.2.3:1|'1.2.3' is not an IPv4 address;
1lbw 1L:1|an AS number up to 65535, without L, stands behind lbw;1lbw 1:1]|unexpected text at ']';
1lbw 1:-1|a bandwidth is finite and not negative, not '-1';
1raw 0x01|16 or 24 hexadecimal digits, in lower case, were expected at '01';
1raw 0x000000000000000A|16 or 24 hexadecimal digits, in lower case, were expected at
'000000000000000A';
1raw 0x00000000000000001|16 or 24 hexadecimal digits, in lower case, were expected at
'00000000000000001';1raw 0x000000000000000000000001|needless zeros at '000000000000000000000001';
21:2|expected : at '';21:2:3:4|unexpected text at ':4')";

TEST(CommunityText, WhatIsRefusedSaysWhatIsWrong) {
  std::istringstream refused(kRefused);
  char const* const kinds[] = {"a standard", "an extended", "a large"};
  for (std::string row; std::getline(refused, row, ';');) {
    if (row.front() == '\n') row.erase(0, 1);
    std::replace(row.begin(), row.end(), '\n', ' ');
    auto const family = static_cast<std::size_t>(row.front() - '0');
    std::string const text = row.substr(1, row.find('|') - 1);
    std::string reason = row.substr(row.find('|') + 1);
    if (reason.starts_with('$')) reason = "the number '65536' is greater than" + reason.substr(1);
    EXPECT_EQ(
        TestSupport::thrown<Orb::ParseException>([&] { readCommunity(text, kFamilies[family]); }),
        Orb::quotedForMessage(text) + " is not " + kinds[family] + " community: " + reason);
  }
  EXPECT_TRUE(TestSupport::thrown([] {
                readCommunity("a\n");
              }).starts_with(R"('a\n' is not a community: expected 65000:100, a name)"));
}

}  // namespace
