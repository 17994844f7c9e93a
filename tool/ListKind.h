#pragma once

#include "tool/AsPathKind.h"
#include "tool/PrefixKind.h"

namespace Tool {

/// Calls act(kind) with the kind of lists that the options ask for. The commands on list files are
/// written once for all kinds; a kind says what is its own:
///   List, Entry        what is imported, and what it holds
///   newList(config, name), import(source, onDuplicate, list), entries(list)
///   textOf(list)       the list as routers show it; describe(list, json), jsonOf(entry)
///   extent()           counts what check prints besides the numbers of entries
///   Machine, Status    what compiles, and what that gives; machineOn(config)
///   kCompilesAtOnce    the machine has compiled the list when it is made, but for what slices add
///   bookmark(reactor)  the sequence number at which the next slice goes on
///   bytesHeld(status, entries), describe(status, ...)
///   Matcher            reads what is asked, and answers it
template <class Do>
void withKind(Options const& options, Do const& act) {
  if (options.asPath) return act(AsPathKind(options));
  if (options.ipv6) return act(PrefixKind<Acl::Ipv6Family>(options));
  act(PrefixKind<Acl::Ipv4Family>(options));
}

}  // namespace Tool
