#pragma once

#include <cstddef>

#include "platform/orb/base/Types.h"

namespace Routing {

class PrefixData;

/// A prefix in a trie that covers another.
struct Cover {
  Orb::U64 summary;        ///< what its head's summary() said last
  PrefixData const* head;  ///< owned by the trie
  Orb::U8 length;          ///< its length
};

/// The most prefixes that can cover one: lengths 0 to 32, or 0 to 128.
constexpr std::size_t kMaxIp4Covers = 33;
constexpr std::size_t kMaxCovers = 129;

}  // namespace Routing
