#pragma once

#include "policy_config/PrefixListFamily.h"

namespace Routing::RouteMap {

/// How the handlers of one family are called in trace lines and errors.
struct HandlerNames {
  char const* machine;
  char const* listSm;  ///< the attribute that holds the reactors
  char const* handleList;
  char const* addList;
  char const* handleInitial;
  char const* handleVersion;
};

template <class Family>
inline constexpr HandlerNames kHandlerNames{};
template <>
inline constexpr HandlerNames kHandlerNames<Acl::Ipv4Family>{
    "Routing::RouteMap::PrefixListConfigSm",
    "prefixList",
    "handlePrefixList",
    "addPrefixList",
    "handlePrefixEntry",
    "handlePrefixListVersion"};
template <>
inline constexpr HandlerNames kHandlerNames<Acl::Ipv6Family>{
    "Routing::RouteMap::Ipv6PrefixListConfigSm",
    "ipv6PrefixList",
    "handleIpv6PrefixList",
    "addIpv6PrefixList",
    "handleIpv6PrefixEntry",
    "handleIpv6PrefixListVersion"};

}  // namespace Routing::RouteMap
