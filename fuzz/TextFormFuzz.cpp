#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "fuzz/Input.h"
#include "platform/ipa/Prefix.h"
#include "platform/keel/MaybeU63.h"
#include "platform/orb/base/Error.h"
#include "platform/orb/base/Text.h"
#include "policy_config/AsPathList.h"
#include "policy_config/CommunityValue.h"
#include "policy_config/PrefixEntry.h"
#include "policy_status/GenPrefixEntry.h"

// The readers of text forms. The first byte, a letter from A on, chooses the type; the rest is the
// text. A text that reads is written the very same way; one that does not is a RangeException and
// leaves the value as it was.

namespace {

template <class T>
void check(std::string_view text) {
  T const before{};
  T v{};
  try {
    Orb::fromText(v, text);
  } catch (Orb::RangeException const&) {
    ORB_ASSERT(v == before);
    return;
  }
  ORB_ASSERT(Orb::toText(v) == text);
}

/// Addresses and prefixes have, besides, what people type: it may be written another way, but that
/// way reads as the same value.
template <class T>
void checkAddress(std::string_view text) {
  check<T>(text);
  if (auto const typed = T::tryParse(text)) {
    std::string const canonical = typed->toString();
    ORB_ASSERT(canonical.size() <= T::kTextSize);
    T read;
    Orb::fromText(read, canonical);
    ORB_ASSERT(read == *typed && hashOf(read) == hashOf(*typed));
  }
}

constexpr void (*kChecks[])(std::string_view text) = {
    check<Acl::PrefixEntry>,                   // A
    check<Acl::Ipv6PrefixEntry>,               // B
    check<Acl::AsPathEntry>,                   // C
    check<Acl::CommunityValue>,                // D
    check<Routing::RouteMap::GenPrefixEntry>,  // E
    check<Routing::RouteMap::SeqPrefix>,       // F
    check<Orb::String>,                        // G
    check<Orb::Name>,                          // H
    check<Keel::MaybeU63>,                     // I
    check<Orb::U64>,                           // J
    check<Orb::U32>,                           // K
    check<Orb::U16>,                           // L
    check<Orb::U8>,                            // M
    check<bool>,                               // N
    check<Acl::BGPOrigin>,                     // O
    check<Acl::UrlImportDuplicateOperation>,   // P
    check<Ipa::AddressFamily>,                 // Q
    checkAddress<Ipa::IpAddr>,                 // R
    checkAddress<Ipa::Ip6Addr>,                // S
    checkAddress<Ipa::IpGenAddr>,              // T
    checkAddress<Ipa::Prefix>,                 // U
    checkAddress<Ipa::Ip6Prefix>,              // V
    checkAddress<Ipa::IpGenPrefix>,            // W
};

}  // namespace

FUZZ_MOST_BYTES(512);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  std::string_view const text = Fuzz::textOf(data, size).substr(1);
  kChecks[(data[0] + std::size(kChecks) * 5 - 'A') % std::size(kChecks)](text);
  return 0;
}
