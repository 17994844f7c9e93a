#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "fuzz/Input.h"
#include "list_import/PrefixSource.h"
#include "platform/orb/base/Error.h"

// Source files of prefix lists. The first byte, a digit from 0 to 5, chooses family and duplicate
// operation; the rest is the file. Whatever stands in it, each entry that was accepted has lengths
// that are allowed, and the line that it would be written as is accepted and gives it again.

namespace {

using Acl::Ipv4Family;
using Acl::Ipv6Family;

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

template <class Family>
void checkEntry(typename Family::Entry const& entry) {
  bool const hasEq = entry.eq() != 0;
  ORB_ASSERT(!hasEq || (entry.ge() == entry.eq() && entry.le() == entry.eq()));
  Orb::U32 const ge = hasEq ? 0 : entry.ge();
  Orb::U32 const le = hasEq ? 0 : entry.le();
  Orb::U32 const length = entry.prefix().length();
  ORB_ASSERT(Acl::checkPrefixLengths(length, ge, le, entry.eq(), Family::kMaxLength) == 0);

  std::string const seqno = std::to_string(entry.seqno());
  std::string const prefix = entry.prefix().toString();
  std::string line = "seq " + seqno;
  line += (entry.permit() == Acl::permitMatch ? " permit " : " deny ") + prefix;
  if (hasEq) line += " eq " + std::to_string(entry.eq());
  if (ge != 0) line += " ge " + std::to_string(ge);
  if (le != 0) line += " le " + std::to_string(le);
  std::string const expected = "Entry: " + seqno + ", " + prefix + ", eq " +
                               std::to_string(entry.eq()) + ", ge " + std::to_string(entry.ge()) +
                               ", le " + std::to_string(entry.le());
  ORB_ASSERT(Acl::DebugParsePrefixEntry<Family>()(line).view() == expected);
}

template <class Family>
void load(std::string& text, Acl::UrlImportDuplicateOperation operation) {
  std::unique_ptr<std::FILE, Close> const file(fmemopen(text.data(), text.size(), "r"));
  ORB_ASSERT(file);
  Acl::PfxEntries<Family> entries;
  Acl::PrefixEntryParser<Family> parser(entries, operation);
  try {
    Acl::PrefixSourceResult const result = Acl::readPrefixSource(*file, parser);
    ORB_ASSERT(result.isError() == (result.line != 0) && !result.isFileError());
  } catch (Acl::PrefixSourceException const& error) {
    ORB_ASSERT(error.line() != 0);
  }
  std::size_t count = 0;
  entries.forEach([&](typename Family::Entry const& entry) {
    ++count;
    ORB_ASSERT(operation == Acl::duplicateOverride || entries.seqnoHas(entry.seqno()));
    checkEntry<Family>(entry);
  });
  ORB_ASSERT(count == entries.size());
}

}  // namespace

FUZZ_MOST_BYTES(1024);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 2) return 0;
  std::string text(Fuzz::textOf(data, size).substr(1));
  unsigned const choice = data[0] % 6U;
  auto const operation = static_cast<Acl::UrlImportDuplicateOperation>(choice / 2);
  choice % 2 == 0 ? load<Ipv4Family>(text, operation) : load<Ipv6Family>(text, operation);
  return 0;
}
