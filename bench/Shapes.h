#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <unordered_set>
#include <vector>

#include "platform/ipa/Prefix.h"

/// The lists of prefixes that the benchmarks are run on, all distinct and in random order, and the
/// prefixes to look up in them. The same seed gives the same list on every machine.
namespace Shapes {

using Prefixes = std::vector<Ipa::IpGenPrefix>;
using Random = std::mt19937_64;

/// The share of a length in a list, in percent.
struct Share {
  unsigned length;
  double percent;
};

inline Ipa::IpGenPrefix ip4(std::uint64_t address, unsigned length) {
  return Ipa::Prefix::subnet(Ipa::IpAddr(static_cast<std::uint32_t>(address)), length);
}
inline Ipa::IpGenPrefix ip6(std::uint64_t high, std::uint64_t low, unsigned length) {
  return Ipa::Ip6Prefix::subnet(Ipa::Ip6Addr(high, low), length);
}
inline Ipa::IpGenPrefix subnet(Ipa::IpGenPrefix const& prefix, unsigned length) {
  return Ipa::IpGenPrefix::subnet(prefix.address(), length);
}

/// The prefix with bit `at` changed, counted from the left.
inline Ipa::IpGenPrefix flipped(Ipa::IpGenPrefix const& prefix, std::uint64_t at) {
  std::uint64_t const high = at < 64 ? std::uint64_t{1} << (63 - at) : 0;
  std::uint64_t const low = at < 64 ? 0 : std::uint64_t{1} << (127 - at);
  return prefix.family() == Ipa::ipv4
             ? ip4((prefix.high() ^ high) >> 32, prefix.length())
             : ip6(prefix.high() ^ high, prefix.low() ^ low, prefix.length());
}

/// Draws prefixes until `count` distinct ones are there.
template <class Draw>
Prefixes distinct(std::size_t count, Draw const& draw) {
  std::unordered_set<Ipa::IpGenPrefix> seen;
  seen.reserve(count);
  Prefixes prefixes;
  prefixes.reserve(count);
  while (prefixes.size() < count) {
    Ipa::IpGenPrefix const prefix = draw();
    if (seen.insert(prefix).second) prefixes.push_back(prefix);
  }
  return prefixes;
}

/// The lengths of the Internet's table: the six most frequent ones, and the rest spread over /8 to
/// /32. Of no length more than a sixteenth of what exists is used, as there, so that a million
/// prefixes do not cover everything by short ones; what is over goes to the others. Addresses are
/// uniform in 1.0.0.0 to 223.255.255.255.
inline Prefixes distributedIp4(std::size_t count, std::uint64_t seed = 1) {
  std::array<double, 33> percent{};
  for (auto [length, share] : {Share{24, 39}, {23, 18}, {22, 18}, {21, 8}, {20, 6}, {19, 4}}) {
    percent[length] = share;
  }
  for (unsigned length = 8; length <= 32; ++length) {
    if (percent[length] == 0) percent[length] = 7.0 / 19;
  }
  std::array<std::size_t, 33> left{};
  for (unsigned length = 8; length <= 32; ++length) {
    left[length] = length >= 19 ? count : std::size_t{14} << (length - 8);
  }
  Random random(seed);
  std::discrete_distribution<unsigned> lengths(percent.begin(), percent.end());
  std::uniform_int_distribution<std::uint32_t> addresses(0x01000000, 0xdfffffff);
  return distinct(count, [&] {
    unsigned length = lengths(random);
    while (left[length] == 0) length = lengths(random);
    --left[length];
    return ip4(addresses(random), length);
  });
}

/// Lengths and nesting of the Internet's IPv6 table: allocations of /29 and /32 in the five
/// registries' blocks, and longer prefixes within the same allocations.
inline Prefixes distributedIp6(std::size_t count, std::uint64_t seed = 1) {
  static constexpr std::array<std::uint64_t, 8> kBlocks{0x2001, 0x2400, 0x2600, 0x2604,
                                                        0x2800, 0x2a00, 0x2a0a, 0x2c0f};
  static constexpr std::array<Share, 9> kShares{
      {{48, 47}, {44, 10}, {40, 10}, {36, 6}, {32, 14}, {29, 5}, {46, 4}, {47, 2}, {64, 2}}};
  Random random(seed);
  std::vector<std::uint64_t> allocations(count / 4 + 1);
  for (auto& allocation : allocations) {
    std::uint64_t const block = kBlocks[random() % kBlocks.size()] + random() % 4;
    allocation = block << 48 | (random() & 0xffff) << 32;
  }
  std::array<double, kShares.size()> percent{};
  std::transform(kShares.begin(), kShares.end(), percent.begin(),
                 [](Share share) { return share.percent; });
  std::discrete_distribution<unsigned> lengths(percent.begin(), percent.end());
  return distinct(count, [&] {
    std::uint64_t const high = allocations[random() % allocations.size()];
    unsigned const length = kShares[lengths(random)].length;
    return ip6(high | (length > 32 ? random() & 0xffffffff : 0), 0, length);
  });
}

/// Addresses and lengths /16 to /32 all alike frequent.
inline Prefixes uniformIp4(std::size_t count, std::uint64_t seed = 1) {
  Random random(seed);
  return distinct(count, [&] {
    unsigned const length = 16 + static_cast<unsigned>(random() % 17);
    return ip4(random(), length);
  });
}

/// Host addresses: nothing nests and nothing is shared but the top.
inline Prefixes hostsIp4(std::size_t count, std::uint64_t seed = 1) {
  Random random(seed);
  return distinct(count, [&] { return ip4(random(), 32); });
}
inline Prefixes hostsIp6(std::size_t count, std::uint64_t seed = 1) {
  Random random(seed);
  return distinct(count, [&] { return ip6(random() >> 3 | 0x2000000000000000, random(), 128); });
}

/// All /24s of /16s that stand side by side, from 10.0.0.0/16 on.
inline Prefixes denseIp4(std::size_t count, std::uint64_t seed = 1) {
  Prefixes prefixes;
  for (std::size_t i = 0; i < count; ++i) prefixes.push_back(ip4(0x0a000000 + (i << 8), 24));
  std::shuffle(prefixes.begin(), prefixes.end(), Random(seed));
  return prefixes;
}
/// The first /48s of 2001:db8::/32 and what follows it.
inline Prefixes denseIp6(std::size_t count, std::uint64_t seed = 1) {
  Prefixes prefixes;
  for (std::size_t i = 0; i < count; ++i) {
    prefixes.push_back(ip6(0x20010db800000000 + (i << 16), 0, 48));
  }
  std::shuffle(prefixes.begin(), prefixes.end(), Random(seed));
  return prefixes;
}

/// All prefixes of random host addresses, from length 0 on: each is covered by all shorter ones.
inline Prefixes chains(Ipa::AddressFamily family, std::size_t count, std::uint64_t seed = 1) {
  Random random(seed);
  unsigned const longest = family == Ipa::ipv4 ? 32 : 128;
  Ipa::IpGenPrefix host;
  unsigned next = longest + 1;
  Prefixes prefixes = distinct(count, [&] {
    if (next > longest) {
      host = family == Ipa::ipv4 ? ip4(random(), 32) : ip6(random(), random(), 128);
      next = 0;
    }
    return subnet(host, next++);
  });
  std::shuffle(prefixes.begin(), prefixes.end(), random);
  return prefixes;
}

/// What to look up: half of it lies in one of the prefixes (the prefix itself, or a longer one, for
/// a third of them), half of it in none, as far as there is such a prefix; drawn like those of
/// `others`, which should be another list of the same shape.
inline Prefixes probes(Prefixes const& list, Prefixes const& others, std::size_t count,
                       std::uint64_t seed = 2) {
  std::unordered_set<Ipa::IpGenPrefix> const members(list.begin(), list.end());
  std::array<bool, 129> lengths{};
  for (auto const& prefix : list) lengths[prefix.length()] = true;
  auto const covered = [&](Ipa::IpGenPrefix const& prefix) {
    for (unsigned length = 0; length <= prefix.length(); ++length) {
      if (lengths[length] && members.contains(subnet(prefix, length))) return true;
    }
    return false;
  };
  Random random(seed);
  Prefixes probes;
  probes.reserve(count);
  while (probes.size() < count) {
    Ipa::IpGenPrefix hit = list[random() % list.size()];
    if (random() % 3 == 0 && hit.length() < hit.maxLength()) {
      // One bit more, a 1: the address is never the prefix's own.
      hit = flipped(subnet(hit, hit.length() + 1), hit.length());
    }
    probes.push_back(hit);
    Ipa::IpGenPrefix miss = others[random() % others.size()];
    for (int tries = 0; tries < 50 && covered(miss); ++tries) {
      miss = others[random() % others.size()];
      // Where all lists of the shape are alike, only what lies beside it is in none.
      if (tries > 10 && miss.length() != 0) miss = flipped(miss, random() % miss.length());
    }
    probes.push_back(miss);
  }
  std::shuffle(probes.begin(), probes.end(), random);
  return probes;
}

__extension__ using Key6 = unsigned __int128;
using Key4 = std::uint64_t;

/// What a look-up costs at least: a binary search without branches over the sorted prefixes, by
/// address and for IPv4 by length too, for the last one that is not behind the one sought.
template <class Key>
class Floor {
 public:
  explicit Floor(Prefixes const& prefixes) {
    for (auto const& prefix : prefixes) keys_.push_back(keyOf(prefix));
    std::sort(keys_.begin(), keys_.end());
  }

  static Key keyOf(Ipa::IpGenPrefix const& prefix) {
    if constexpr (sizeof(Key) == sizeof(Key4)) {
      return prefix.high() | prefix.length();
    } else {
      return Key{prefix.high()} << 64 | prefix.low();
    }
  }

  std::size_t find(Key key) const {
    Key const* base = keys_.data();
    for (std::size_t count = keys_.size(); count > 1;) {
      std::size_t const half = count / 2;
      base += half & (std::size_t{0} - static_cast<std::size_t>(base[half] <= key));
      count -= half;
    }
    return static_cast<std::size_t>(base - keys_.data());
  }

 private:
  std::vector<Key> keys_;
};

}  // namespace Shapes
