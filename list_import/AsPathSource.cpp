#include "list_import/AsPathSource.h"

#include "list_import/detail/SourceImport.h"

namespace Acl {

namespace {

struct AsPathSource {
  using Result = AsPathSourceResult;
  static constexpr std::size_t kLongestLine = kLongestAsPathLine;
  static constexpr Orb::U32 kFirstOrdinal = 1;
  static constexpr char kFileError[] = "Error: input file open error: %s";

  int parse(char* line, Orb::U64 number, Result& result) {
    int const status = parser.parse(line, result.message);
    result.fault = parser.fault();
    if (result.fault == AsPathSourceFault::badRegex) result.userRegex = parser.userRegex();
    if (status > 0) {
      result.warnings.push_back({number, parser.userRegex()});
      onWarning();
    }
    return status;
  }

  void end(Orb::U32 count, Result& result) {
    if (count != 0) return;
    result.fault = AsPathSourceFault::empty;
    result.message = "Error: Empty file given as input";
    result.error = result.message;
  }

  AsPathEntryParser& parser;
  Orb::FunctionRef<void()> onWarning;
};

}  // namespace

AsPathSourceResult readAsPathSource(std::FILE& source, AsPathEntryParser& parser) {
  auto const ignore = [] {};
  AsPathSource lines{parser, ignore};
  return detail::readSource(source, lines);
}

AsPathSourceResult AsPathLoader::operator()(Orb::String const& path, AsPathEntries& entries,
                                            UrlImportDuplicateOperation onDuplicate,
                                            bool isPosixMode,
                                            AsPathUrlLoadReturnStatus& status) const {
  AsPathEntryParser parser(entries, onDuplicate, isPosixMode);
  auto const warn = [&] { status.warningOnlyIs(true); };
  AsPathSource lines{parser, warn};
  AsPathSourceResult result = detail::readSource(path, lines);
  if (result.isError()) {
    status.warningOnlyIs(false);
    status.errorStrIs(result.error);
  }
  return result;
}

AsPathSourceResult importAsPathList(AsPathList& list, Orb::String const& path,
                                    UrlImportDuplicateOperation onDuplicate, bool isPosixMode,
                                    AsPathUrlLoadReturnStatus& status) {
  Orb::Ptr<AsPathUrlLoadReturnStatus> const kept(&status);
  status.errorStrIs({});
  status.warningOnlyIs(false);
  return detail::importSource<AsPathEntries>(
      list,
      [&](AsPathEntries& entries) {
        return AsPathLoader()(path, entries, onDuplicate, isPosixMode, status);
      },
      [&](AsPathEntries const& entries) {
        if (status.errorStr().empty()) list.pathEntryIsEach(entries);
      });
}

}  // namespace Acl
