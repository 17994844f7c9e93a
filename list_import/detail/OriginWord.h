#pragma once

#include "policy_config/ListTypes.h"

namespace Acl::detail {

/// An origin's word on the command line and in source files.
struct OriginWord {
  BGPOrigin origin;
  char const* word;
};
inline constexpr OriginWord kOriginWords[] = {
    {bgpIGP, "igp"}, {bgpEGP, "egp"}, {bgpIncomplete, "incomplete"}, {bgpAny, "any"}};

}  // namespace Acl::detail
