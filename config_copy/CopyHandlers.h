#pragma once

#include "platform/session/EntityCopy.h"
#include "policy_config/AsPathList.h"
#include "policy_config/CommunityList.h"
#include "policy_config/PrefixList.h"
#include "policy_config/RouteMapConfig.h"

/// What a commit does beyond copying: the readers of lists and maps take a raised version for a
/// list or map that was rewritten. What the copy throws is rethrown, and nothing is raised then.
/// Traced by the facility RouteMapCopy, level 8.
namespace Routing::RouteMap {

/// A handler that raises the `version` of an E by one when the copy changed it.
template <class Handler, class E>
class ROUTEPOLICY_EXPORT VersionCopyHandler : public Cli::Session::EntityCopyGlobalSessionHandler {
 public:
  std::string_view handledType() const noexcept final { return E::typeName; }
  bool handleEntity(Orb::Ptr<Cli::Session::EntityCopy> const& engine,
                    Orb::Ptr<Orb::Entity> const& to, Orb::Ptr<Orb::Entity const> const& from,
                    Orb::String attribute) final;

 protected:
  VersionCopyHandler() = default;
};

class ROUTEPOLICY_EXPORT CommunityListEntryCopyHandler
    : public VersionCopyHandler<CommunityListEntryCopyHandler, Acl::CommunityListEntry> {
 public:
  ORB_ENTITY_LIKE_BASE(CommunityListEntryCopyHandler,
                       "Routing::RouteMap::CommunityListEntryCopyHandler");
};

class ROUTEPOLICY_EXPORT PrefixListCopyHandler
    : public VersionCopyHandler<PrefixListCopyHandler, Acl::PrefixList> {
 public:
  ORB_ENTITY_LIKE_BASE(PrefixListCopyHandler, "Routing::RouteMap::PrefixListCopyHandler");
};

class ROUTEPOLICY_EXPORT Ipv6PrefixListCopyHandler
    : public VersionCopyHandler<Ipv6PrefixListCopyHandler, Acl::Ipv6PrefixList> {
 public:
  ORB_ENTITY_LIKE_BASE(Ipv6PrefixListCopyHandler, "Routing::RouteMap::Ipv6PrefixListCopyHandler");
};

class ROUTEPOLICY_EXPORT AsPathListCopyHandler
    : public VersionCopyHandler<AsPathListCopyHandler, Acl::AsPathList> {
 public:
  ORB_ENTITY_LIKE_BASE(AsPathListCopyHandler, "Routing::RouteMap::AsPathListCopyHandler");
};

/// Raises the map's version by one when the copy changed it, and before that, on purpose whether
/// it did or not, the six version counters of every entry of the map.
class ROUTEPOLICY_EXPORT RouteMapCopyHandler : public VersionCopyHandler<RouteMapCopyHandler, Map> {
 public:
  ORB_ENTITY_LIKE_BASE(RouteMapCopyHandler, "Routing::RouteMap::RouteMapCopyHandler");
};

/// Owns one handler of each kind, by the names under which commits look for them. Each is made by
/// its ...Is(), which returns the one that is there, and removed by its ...Del(); both notify.
class ROUTEPOLICY_EXPORT RouteMapCopyHandlerDir : public Orb::Entity {
 public:
  ORB_ENTITY(RouteMapCopyHandlerDir, "Routing::RouteMap::RouteMapCopyHandlerDir",
             communityListEntryCopyHandler, prefixListCopyHandler, ipv6PrefixListCopyHandler,
             routeMapCopyHandler, asPathListCopyHandler);
  explicit RouteMapCopyHandlerDir(Orb::Name name) : name_(std::move(name)) {}

  Orb::Name const& name() const noexcept { return name_; }
  /// Gives a directory that was restored from a backup its name back. No observer is notified; the
  /// same name again does nothing.
  void nameIsFromBackup(Orb::Name const& name) { name_ = name; }

  ORB_CHILD(communityListEntryCopyHandler, CommunityListEntryCopyHandler);
  ORB_CHILD(prefixListCopyHandler, PrefixListCopyHandler);
  ORB_CHILD(ipv6PrefixListCopyHandler, Ipv6PrefixListCopyHandler);
  ORB_CHILD(routeMapCopyHandler, RouteMapCopyHandler);
  ORB_CHILD(asPathListCopyHandler, AsPathListCopyHandler);

 private:
  Orb::Name name_;
};

}  // namespace Routing::RouteMap
