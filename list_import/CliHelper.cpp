#include "list_import/CliHelper.h"

#include "list_import/PrefixSource.h"
#include "list_import/detail/ListText.h"

namespace Acl {

ORB_ENTITY_TYPE(CliHelper);

namespace {

template <class List>
Orb::String show(List const& list) {
  return detail::shownInFile(list.name(), [&] { return prefixListText(list); });
}

}  // namespace

Orb::String CliHelper::prefixListEntryLocalDir(bool isIpv6) {
  return isIpv6 ? "/mnt/flash/ipv6-prefix-list-source" : "/mnt/flash/prefix-list-source";
}

Orb::String CliHelper::loadPrefixListEntries(PrefixList& list, Orb::String const& path,
                                             UrlImportDuplicateOperation onDuplicate) {
  return importPrefixList<Ipv4Family>(list, path, onDuplicate).error;
}
Orb::String CliHelper::loadIpv6PrefixListEntries(Ipv6PrefixList& list, Orb::String const& path,
                                                 UrlImportDuplicateOperation onDuplicate) {
  return importPrefixList<Ipv6Family>(list, path, onDuplicate).error;
}

void CliHelper::copyPrefixListEntries(PrefixList const& source, PrefixList& destination) {
  destination.prefixEntryCopy(source);
}
void CliHelper::copyIpv6PrefixListEntries(Ipv6PrefixList const& source,
                                          Ipv6PrefixList& destination) {
  destination.ipv6PrefixEntryCopy(source);
}

Orb::String CliHelper::showPrefixList(PrefixList const& list) { return show(list); }
Orb::String CliHelper::showIpv6PrefixList(Ipv6PrefixList const& list) { return show(list); }

Orb::String CliHelper::debugParsePrefixListEntry(Orb::String const& line) {
  bool const isIpv6 = line.view().find(':') != std::string_view::npos;
  return isIpv6 ? DebugParsePrefixEntry<Ipv6Family>()(line)
                : DebugParsePrefixEntry<Ipv4Family>()(line);
}

}  // namespace Acl
