#include "list_import/CliHelper.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "list_import/PrefixSource.h"

namespace Acl {

ORB_ENTITY_TYPE(CliHelper);
ORB_ENTITY_TYPE(AsPathCliHelper);

namespace {

bool writeAndClose(std::FILE* file, std::string const& text) {
  bool const isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return std::fclose(file) == 0 && isWritten;  // a full disk may be reported only here
}

template <class List>
Orb::String show(List const& list) {
  std::string_view const name = list.name();
  char path[128];
  int const length = std::snprintf(path, sizeof path, "/tmp/%sXXXXXX", list.name().c_str());
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof path) return {};
  if (name.find('/') != name.npos || name.find('\0') != name.npos) return {};
  std::string const text = prefixListText(list);
  int const descriptor = mkstemp(path);
  if (descriptor < 0) return {};
  std::FILE* const file = fdopen(descriptor, "w");
  if (!file) close(descriptor);
  if (file && writeAndClose(file, text)) return path;
  unlink(path);
  return {};
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

Orb::String AsPathCliHelper::getBgpOriginCliStr(BGPOrigin origin) {
  switch (origin) {
    case bgpIGP:
      return "igp";
    case bgpEGP:
      return "egp";
    case bgpIncomplete:
      return "incomplete";
    case bgpAny:
      return "any";
    case notSet:
      break;
  }
  return stringValue(origin);
}

void AsPathCliHelper::delAsPathListEntries(AsPathList& list) { list.pathEntryDelAll(); }

}  // namespace Acl
