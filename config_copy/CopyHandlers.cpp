#include "config_copy/CopyHandlers.h"

#include "platform/orb/base/Trace.h"

namespace Routing::RouteMap {

ORB_ENTITY_TYPE(CommunityListEntryCopyHandler);
ORB_ENTITY_TYPE(PrefixListCopyHandler);
ORB_ENTITY_TYPE(Ipv6PrefixListCopyHandler);
ORB_ENTITY_TYPE(AsPathListCopyHandler);
ORB_ENTITY_TYPE(RouteMapCopyHandler);
ORB_ENTITY_TYPE(RouteMapCopyHandlerDir);

namespace {

ORB_TRACE_FACILITY(traceCopy, "RouteMapCopy");

/// Raises the versions of what belongs to a list or map, which may have been rewritten.
template <class E>
void raiseParts(E const&) {}
void raiseParts(Map const& map) {
  for (auto const& held : map.mapEntry()) {
    Orb::Ptr<MapEntry> const entry(held.get());  // an observer may remove it, or the map
    entry->asPathPrependVersionInc(1);
    entry->asPathReplaceVersionInc(1);
    entry->communityAddReplaceVersionInc(1);
    entry->communityDeleteVersionInc(1);
    entry->extCommunityVersionInc(1);
    entry->largeCommunityVersionInc(1);
  }
}

}  // namespace

template <class Handler, class E>
bool VersionCopyHandler<Handler, E>::handleEntity(Orb::Ptr<Cli::Session::EntityCopy> const& engine,
                                                  Orb::Ptr<Orb::Entity> const& to,
                                                  Orb::Ptr<Orb::Entity const> const& from,
                                                  Orb::String attribute) {
  auto const list = Orb::ptrCast<E>(to);
  ORB_ASSERT(list);
  ORB_TRACE(traceCopy(), 8,
            "virtual bool " << Handler::typeName
                            << "::handleEntity(const Ptr&, const Ptr&, const PtrConst&, "
                               "Orb::String): "
                            << attribute);
  bool const changed = engine->doCopyEntityAttrs(to, from, attribute, filteredAttribute());
  raiseParts(*list);
  if (changed) list->versionIs(list->version() + 1);
  return changed;
}

template class VersionCopyHandler<CommunityListEntryCopyHandler, Acl::CommunityListEntry>;
template class VersionCopyHandler<PrefixListCopyHandler, Acl::PrefixList>;
template class VersionCopyHandler<Ipv6PrefixListCopyHandler, Acl::Ipv6PrefixList>;
template class VersionCopyHandler<AsPathListCopyHandler, Acl::AsPathList>;
template class VersionCopyHandler<RouteMapCopyHandler, Map>;

}  // namespace Routing::RouteMap
