#include "tool/ListsAsked.h"

#include "config_copy/RouteMapCopy.h"

namespace Tool {

Acl::AclListConfig const& ConfiguredLists::config() const {
  return static_cast<Acl::AclListConfig const&>(tree.rootOf("regexMode"));
}

std::optional<ConfiguredLists> readLists(Options const& options, Console& console) {
  auto tree = readConfig(options, console,
                         Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("route-policy"));
  if (!tree) return std::nullopt;
  ConfiguredLists lists{std::move(*tree), options};
  lists.options.regexMode = lists.config().regexMode();
  lists.options.notation =
      static_cast<Routing::AsnConfig const&>(lists.tree.rootOf("asnNotation")).asnNotation();
  return lists;
}

}  // namespace Tool
