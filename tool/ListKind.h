#pragma once

#include "tool/AsPathKind.h"
#include "tool/CommunityKind.h"
#include "tool/PrefixKind.h"

namespace Tool {

/// Whether there are list files of a kind.
template <class Kind>
inline constexpr bool kHasFiles = requires {
  Kind::kLongestLine;
};

/// An entry of a list, be it a value or an entity.
template <class Entry>
Entry const& entryIn(Entry const& entry) noexcept {
  return entry;
}
template <class Entry>
Entry const& entryIn(Orb::Ptr<Entry> const& entry) noexcept {
  return *entry;
}

/// Calls act(kind) with a kind of lists. The commands on lists are written once for all kinds; a
/// kind says what is its own:
///   List, Entry         what is read, and what it holds: values or entities
///   newList(config, name), entries(list), copyEntries(from, to)
///   kLongestLine, import(source, onDuplicate, list)
///                       of list files, for kinds that have them
///   lists(config), list(config, name), kLists, kEntries, findings(list)
///                       of a configuration: its lists, the names of the attributes that hold lists
///                       and entries, and what is wrong with a list
///   textOf(list)        the list as routers show it; describe(list, json), jsonOf(entry)
///   Extent              counts what check prints besides the numbers of entries
///   Machine, Status     what compiles, and what that gives; machineOn(config)
///   isBuilding(machine, name), statusOf(machine, name)
///   kCompilesAtOnce     the machine has compiled the list when it is made, but for what slices add
///   bookmark(machine, name), bytesHeld(status, entries)
///                       of kinds that do not: the sequence number at which the next slice goes on,
///                       and what a compiled list takes where the allocator does not say
///   describe(status, ...)
///   Matcher             reads what is asked, and answers it
template <class Do>
void withKind(ListKind kind, Options const& options, Do const& act) {
  switch (kind) {
    case ListKind::prefix:
      return act(PrefixKind<Acl::Ipv4Family>(options));
    case ListKind::ipv6Prefix:
      return act(PrefixKind<Acl::Ipv6Family>(options));
    case ListKind::asPath:
      return act(AsPathKind(options));
    case ListKind::community:
      return act(CommunityKind(options));
  }
}

}  // namespace Tool
