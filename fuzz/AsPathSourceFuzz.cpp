#include <cstdint>
#include <cstdio>
#include <memory>
#include <set>
#include <string>

#include "fuzz/Input.h"
#include "list_import/AsPathSource.h"
#include "list_import/CliHelper.h"
#include "platform/orb/base/Error.h"

// Source files of AS-path lists. The first byte, a digit from 0 to 5, chooses engine and duplicate
// operation; the rest is the file. Whatever stands in it, each entry that was accepted has an
// expression of its own that some engine accepts, and the line that it would be written as is
// accepted and gives it again. Of the lines one is checked: that compiles the expression twice.

namespace {

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

void checkLine(Acl::AsPathEntry const& entry, bool isPosixMode) {
  std::string line = entry.permit() == Acl::permitMatch ? "permit " : "deny ";
  line += entry.userRegex().view();
  line += ' ';
  line += Acl::AsPathCliHelper::getBgpOriginCliStr(entry.origin()).view();
  Acl::AsPathEntry first = entry;
  first.seqnoIs(1);
  ORB_ASSERT(Acl::AsPathCliHelper::debugParseAsPathListEntry(line, isPosixMode).view() ==
             "Entry: " + first.toStrep().str());
}

}  // namespace

FUZZ_MOST_BYTES(1024);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 2) return 0;
  std::string_view const input = Fuzz::textOf(data, size);
  std::string text(input.substr(1));
  bool const isPosixMode = data[0] % 2U == 0;
  auto const operation = static_cast<Acl::UrlImportDuplicateOperation>(data[0] % 6U / 2);
  std::unique_ptr<std::FILE, Close> const file(fmemopen(text.data(), text.size(), "r"));
  ORB_ASSERT(file);
  Acl::AsPathEntries entries;
  Acl::AsPathEntryParser parser(entries, operation, isPosixMode);
  Acl::AsPathSourceResult const result = Acl::readAsPathSource(*file, parser);
  ORB_ASSERT(!result.isFileError());
  ORB_ASSERT(result.isError() || entries.size() != 0);
  ORB_ASSERT((result.line != 0) ==
             (result.isError() && result.fault != Acl::AsPathSourceFault::empty));
  if (entries.size() == 0) return 0;
  std::size_t const chosenEntry = Fuzz::chosen(input, entries.size());
  std::set<std::string> expressions;
  Orb::U32 last = 0;
  entries.forEach([&](Acl::AsPathEntry const& entry) {
    ORB_ASSERT(entry.seqno() > last && entries.seqnoHas(entry.seqno()));
    last = entry.seqno();
    expressions.insert(entry.userRegex().str());
    ORB_ASSERT(entry.validDfaRegex() || entry.validPosixRegex());
    if (expressions.size() % entries.size() == chosenEntry) checkLine(entry, isPosixMode);
  });
  ORB_ASSERT(last < entries.nextSeqno());
  ORB_ASSERT(expressions.size() == entries.size());
  return 0;
}
