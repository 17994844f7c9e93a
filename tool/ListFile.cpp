#include "tool/ListFile.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "list_import/PrefixSource.h"
#include "platform/orb/loop/ActivityLock.h"
#include "tool/ListSource.h"
#include "tool/RegularFile.h"

namespace Tool {

namespace {

constexpr char kStandardInputPlace[] = "<stdin>";

Subject placeOf(std::string const& file, std::size_t line = 0) {
  return file == kStandardInput ? Subject(std::string_view(kStandardInputPlace), line)
                                : Subject(file, line);
}

/// The file's name without its folder and ending, as one word.
Orb::Name listNameOf(std::string const& file) {
  if (file == kStandardInput) return "stdin";
  std::string name = std::filesystem::path(file).stem().string();
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return c <= ' '; }, '-');
  return name;
}

Orb::Ptr<Acl::PrefixList> newList(Acl::AclListConfig& config, Acl::Ipv4Family,
                                  Orb::Name const& name) {
  return config.prefixListIs(name);
}
Orb::Ptr<Acl::Ipv6PrefixList> newList(Acl::AclListConfig& config, Acl::Ipv6Family,
                                      Orb::Name const& name) {
  return config.ipv6PrefixListIs(name);
}

ListFault faultOf(Acl::PrefixSourceResult const& result, bool isIpv6) {
  std::string message = result.message.str();
  if (result.fault == Acl::PrefixSourceFault::otherFamily) {
    message += isIpv6 ? " (not an IPv6 prefix)" : " (IPv6 needs --ipv6)";
  }
  return {message, result.line, false};
}

ListFault unreadable(int error) { return {kRead + std::string(std::strerror(error)), 0, true}; }

/// Reads the source into the list, as an import does; why it was refused.
template <class Family>
std::optional<ListFault> import(ListSource& source, typename Family::List& list,
                                Acl::UrlImportDuplicateOperation onDuplicate) {
  if (!source.stream()) return unreadable(source.error());
  Acl::PfxEntries<Family> entries;
  Acl::PrefixEntryParser<Family> parser(entries, onDuplicate);
  auto const result = Acl::readPrefixSource(*source.stream(), parser);
  if (source.lineWithNul() != 0) {
    return ListFault{"a NUL character: an import does not read what stands behind it in its line",
                     source.lineWithNul()};
  }
  if (result.isFileError()) return unreadable(source.error());
  if (result.isError()) return faultOf(result, Family::kFamily == Ipa::ipv6);
  entries.forEach([&](typename Family::Entry const& entry) { Family::entryIs(list, entry); });
  if (entries.size() == 0) return ListFault{"the list is empty: no line has an entry"};
  return std::nullopt;
}

void report(std::string const& file, bool isLastLineCut, std::optional<ListFault> const& fault,
            Console& console) {
  if (isLastLineCut) {
    console.warning(placeOf(file),
                    "the last line does not end in a newline, so its last character is not read");
  }
  if (!fault) return;
  if (fault->isUnreadable) {
    console.failure(placeOf(file), fault->message);
  } else {
    console.finding(placeOf(file, fault->line), fault->message);
  }
}

}  // namespace

template <class Family>
ListFile<Family> readListFile(std::string const& file, Acl::UrlImportDuplicateOperation onDuplicate,
                              Console& console) {
  console.workOn(file == kStandardInput ? kStandardInputPlace : file);
  Orb::ActivityLockAnchor const locked;
  ListFile<Family> read;
  read.config = Orb::make<Acl::AclListConfig>("route-policy");
  read.list = newList(*read.config, Family(), listNameOf(file));
  ListSource source(file);
  try {
    read.fault = import <Family>(source, *read.list, onDuplicate);
  } catch (Acl::PrefixSourceException const& error) {
    read.fault = ListFault{std::string(error.what()) + " (the address has bits beyond its length)",
                           error.line()};
  }
  report(file, source.isLastLineCut(), read.fault, console);
  return read;
}

template ListFile<Acl::Ipv4Family> readListFile(std::string const&,
                                                Acl::UrlImportDuplicateOperation, Console&);
template ListFile<Acl::Ipv6Family> readListFile(std::string const&,
                                                Acl::UrlImportDuplicateOperation, Console&);

}  // namespace Tool
