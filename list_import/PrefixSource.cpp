#include "list_import/PrefixSource.h"

#include "list_import/detail/SourceImport.h"

namespace Acl {

PrefixSourceException::~PrefixSourceException() = default;

namespace {

template <class Family>
struct PrefixSource {
  using Result = PrefixSourceResult;
  static constexpr std::size_t kLongestLine = kLongestPrefixLine;
  static constexpr Orb::U32 kFirstOrdinal = 0;
  // The words name another call than the one that failed, on purpose: scripts look for them.
  static constexpr char kFileError[] = "Error: fdopen: %s";

  int parse(char* line, Orb::U64 number, Result& result) {
    try {
      int const status = parser.parse(line, result.message);
      result.fault = parser.fault();
      return status;
    } catch (Orb::RangeException const& error) {
      throw PrefixSourceException(error, number);
    }
  }
  void end(Orb::U32, Result&) {}

  PrefixEntryParser<Family>& parser;
};

}  // namespace

template <class Family>
PrefixSourceResult readPrefixSource(std::FILE& source, PrefixEntryParser<Family>& parser) {
  PrefixSource<Family> lines{parser};
  return detail::readSource(source, lines);
}

template <class Family>
PrefixSourceResult readPrefixSource(Orb::String const& path, PrefixEntryParser<Family>& parser) {
  PrefixSource<Family> lines{parser};
  return detail::readSource(path, lines);
}

template <class Family>
PrefixSourceResult importPrefixList(typename Family::List& list, Orb::String const& path,
                                    UrlImportDuplicateOperation onDuplicate) {
  using Entries = PfxEntries<Family>;
  return detail::importSource<Entries>(
      list,
      [&](Entries& entries) {
        PrefixEntryParser<Family> parser(entries, onDuplicate);
        return readPrefixSource(path, parser);
      },
      [&](Entries const& entries) { Family::entryIsEach(list, entries); });
}

#define LIST_IMPORT_SOURCE_(Family)                                                             \
  template PrefixSourceResult readPrefixSource<Family>(std::FILE&, PrefixEntryParser<Family>&); \
  template PrefixSourceResult readPrefixSource<Family>(Orb::String const&,                      \
                                                       PrefixEntryParser<Family>&);             \
  template PrefixSourceResult importPrefixList<Family>(Family::List&, Orb::String const&,       \
                                                       UrlImportDuplicateOperation)
LIST_IMPORT_SOURCE_(Ipv4Family);
LIST_IMPORT_SOURCE_(Ipv6Family);
#undef LIST_IMPORT_SOURCE_

}  // namespace Acl
