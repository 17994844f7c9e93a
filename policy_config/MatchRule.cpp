#include "policy_config/MatchRule.h"

#include "platform/orb/base/Error.h"

namespace Routing::RouteMap {

U32Range::U32Range(Orb::U32 low, Orb::U32 high) : low_(low), high_(high) { check(); }

void U32Range::check() const {
  if (low_ > high_) throw Orb::RangeException("U32Range::low > U32Range::high not allowed");
}

Orb::String CommListSet::stringValue() const {
  std::string names;
  char const* separator = "";
  for (auto const& item : commListSet()) {
    names.append(std::exchange(separator, " ")).append(item.key);
  }
  return Orb::String(names);
}

void writeText(std::string& out, CommListSet const& /*set*/) { out += "None"; }

void readText(Orb::TextReader& /*in*/, CommListSet& /*set*/) {
  Orb::assertionFailed("No String constructor for CommListSet - has collection", __FILE__,
                       __LINE__);
}

}  // namespace Routing::RouteMap
