#include "policy_config/MapEntry.h"

namespace Routing::RouteMap {

ORB_ENTITY_TYPE(CommunitySet);
ORB_ENTITY_TYPE(MapEntry);

MapEntry::MapEntry(Orb::U32 seqno) : NumberedEntity(seqno) {}

CommunitySet::CommunitySet(Orb::Name name) : NamedEntity(std::move(name)) {}

void MapEntry::checkLastAs(Orb::U8 count) {
  constexpr Orb::U8 kMost = 15;
  if (count > kMost) {
    throw Orb::RangeException("MapEntry::asPathPrependLastAs < 0 or > 15 not allowed");
  }
}

Ipa::IpAddr MapEntry::nextHop() const {
  SetNextHopArg const& arg = setNextHopArg();
  return arg.tag() == nextHopArgAddr ? Ipa::IpAddr(arg.address()) : Ipa::IpAddr();
}

Ipa::Ip6Addr MapEntry::ipv6NextHop() const {
  SetNextHopArg const& arg = setNextHopArg();
  return arg.tag() == nextHopArgIpv6Addr ? Ipa::Ip6Addr(arg.address()) : Ipa::Ip6Addr();
}

bool MapEntry::nextHopPeerAddr() const { return setNextHopArg().tag() == nextHopArgPeerAddr; }

bool MapEntry::ipv6NextHopPeerAddr() const {
  return setNextHopArg().tag() == nextHopArgIpv6PeerAddr;
}

bool MapEntry::nextHopUnchanged() const { return setNextHopArg().tag() == nextHopArgUnchanged; }

bool MapEntry::ipv6NextHopUnchanged() const {
  return setNextHopArg().tag() == nextHopArgIpv6Unchanged;
}

}  // namespace Routing::RouteMap
