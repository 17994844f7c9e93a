#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"
#include "policy_config/CommunityText.h"

// The text of communities. The first byte, a letter from A on, chooses: A to C the text of a
// family, D a text of any, E the bytes of three parts. A text that reads is written in a way that
// reads as the same value, in its family and without; parts come back from every family's text.

namespace {

using Acl::CommunityType;
using Acl::CommunityValue;

constexpr CommunityType kFamilies[] = {Acl::communityTypeStandard, Acl::communityTypeExtended,
                                       Acl::communityTypeLarge};

void checkValue(CommunityValue const& value) {
  for (CommunityType const family : kFamilies) {
    std::string text;
    writeCommunity(text, family, value);
    ORB_ASSERT(Acl::readCommunity(text, family) == value);
    ORB_ASSERT(Acl::readCommunity(text) == value);
    std::string again;
    writeCommunity(again, family, Acl::readCommunity(text));
    ORB_ASSERT(again == text);
  }
}

/// What a family reads, a reader of any family reads as the same.
void checkText(std::string_view text, CommunityType family) {
  CommunityValue value;
  try {
    value = Acl::readCommunity(text, family);
  } catch (Orb::ParseException const&) {
    return;
  }
  ORB_ASSERT(Acl::readCommunity(text) == value);
  checkValue(value);
}

void checkText(std::string_view text) {
  try {
    checkValue(Acl::readCommunity(text));
  } catch (Orb::ParseException const&) {
    return;
  }
  int readers = 0;
  for (CommunityType const family : kFamilies) {
    try {
      static_cast<void>(Acl::readCommunity(text, family));
      ++readers;
    } catch (Orb::ParseException const&) {
      continue;
    }
  }
  ORB_ASSERT(readers == (text.starts_with("raw ") ? 3 : 1));
}

}  // namespace

FUZZ_MOST_BYTES(128);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  std::string_view const text = Fuzz::textOf(data, size).substr(1);
  unsigned const choice = data[0] % 5U;  // 'A' is divisible by 5
  if (choice < 3) {
    checkText(text, kFamilies[choice]);
  } else if (choice == 3) {
    checkText(text);
  } else {
    Orb::U32 parts[3]{};
    std::memcpy(parts, text.data(), std::min(text.size(), sizeof parts));
    checkValue(CommunityValue::of(parts[0], parts[1], parts[2]));
  }
  return 0;
}
