#include "list_import/AsPathSource.h"
#include "list_import/CliHelper.h"
#include "list_import/detail/Format.h"
#include "list_import/detail/ListText.h"
#include "list_import/detail/OriginWord.h"

namespace Acl {

ORB_ENTITY_TYPE(AsPathCliHelper);

Orb::String AsPathCliHelper::asPathListEntryLocalDir() {
  return "/mnt/flash/as-path-access-list-source";
}

Orb::String AsPathCliHelper::getBgpOriginCliStr(BGPOrigin origin) {
  for (auto const& known : detail::kOriginWords) {
    if (origin == known.origin) return known.word;
  }
  return stringValue(origin);
}

void AsPathCliHelper::loadAsPathListEntries(AsPathList& list, Orb::String const& path,
                                            UrlImportDuplicateOperation onDuplicate,
                                            bool isPosixMode, AsPathUrlLoadReturnStatus& status) {
  importAsPathList(list, path, onDuplicate, isPosixMode, status);
}

void AsPathCliHelper::delAsPathListEntries(AsPathList& list) { list.pathEntryDelAll(); }

void AsPathCliHelper::copyAsPathListEntries(AsPathList const& source, AsPathList& destination) {
  destination.pathEntryCopy(source);
}

Orb::String AsPathCliHelper::showAsPathList(AsPathList const& list, bool isPosixMode) {
  return detail::shownInFile(list.name(), [&] { return asPathListText(list, isPosixMode); });
}

Orb::String AsPathCliHelper::debugParseAsPathListEntry(Orb::String const& line, bool isPosixMode) {
  AsPathEntries entries;
  AsPathEntryParser parser(entries, duplicateError, isPosixMode);
  std::string copy = line.str();
  Orb::String text;
  if (parser.parse(copy.data(), text) < 0) return text;
  entries.forEach([&](AsPathEntry const& entry) {
    text = detail::formatted("Entry: %s", entry.toStrep().c_str());
  });
  return text;
}

}  // namespace Acl
