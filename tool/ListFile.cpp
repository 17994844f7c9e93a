#include "tool/ListFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "list_import/PrefixSource.h"
#include "platform/orb/loop/ActivityLock.h"

namespace Tool {

namespace {

std::string pathOf(std::string const& file) { return file == kStandardInput ? "/dev/stdin" : file; }

std::string placeOf(std::string const& file) { return file == kStandardInput ? "<stdin>" : file; }

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
  std::string_view message = result.message;
  if (result.isFileError()) {
    // The import says which call failed; here the file is named, so the system's reason is enough.
    constexpr std::string_view kCall = "Error: fdopen: ";
    if (message.starts_with(kCall)) message.remove_prefix(kCall.size());
    return {"cannot be read: " + std::string(message), 0, true};
  }
  std::string hinted(message);
  bool const isBadPrefix = message.starts_with("Invalid prefix ");
  if (isBadPrefix && !isIpv6 && message.find(':') != message.npos) hinted += " (IPv6 needs --ipv6)";
  if (isBadPrefix && isIpv6 && message.find(':') == message.npos) hinted += " (not an IPv6 prefix)";
  return {hinted, result.line, false};
}

}  // namespace

template <class Family>
ListFile<Family> readListFile(std::string const& file,
                              Acl::UrlImportDuplicateOperation onDuplicate) {
  Orb::ActivityLockAnchor const locked;
  ListFile<Family> read;
  read.config = Orb::make<Acl::AclListConfig>("route-policy");
  read.list = newList(*read.config, Family(), listNameOf(file));
  try {
    auto const result = Acl::importPrefixList<Family>(*read.list, pathOf(file), onDuplicate);
    if (result.isError()) {
      read.fault = faultOf(result, Family::kFamily == Ipa::ipv6);
    } else if (Family::entries(*read.list).empty()) {
      read.fault = ListFault{"the list is empty: no line has a rule"};
    }
  } catch (Acl::PrefixSourceException const& error) {
    read.fault = ListFault{std::string(error.what()) + " (the address has bits beyond its length)",
                           error.line()};
  }
  return read;
}

template <class Family>
std::optional<ListFile<Family>> openListFile(Options const& options, Console& console) {
  std::string const& file = options.files.front();
  ListFile<Family> read = readListFile<Family>(file, options.onDuplicate);
  reportPitfalls(file, console);
  if (!read.fault) return read;
  reportFault(file, *read.fault, console);
  return std::nullopt;
}

void reportFault(std::string const& file, ListFault const& fault, Console& console) {
  std::string place = placeOf(file);
  if (fault.line != 0) place.append(":").append(std::to_string(fault.line));
  if (fault.isUnreadable) {
    console.failure(place, fault.message);
  } else {
    console.finding(place, fault.message);
  }
}

void reportPitfalls(std::string const& file, Console& console) {
  int const fd = ::open(pathOf(file).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return;
  struct stat about {};
  unsigned char last = '\n';
  bool const isKnown = ::fstat(fd, &about) == 0 && S_ISREG(about.st_mode) && about.st_size > 0 &&
                       ::pread(fd, &last, 1, about.st_size - 1) == 1;
  ::close(fd);
  if (isKnown && !std::isspace(last)) {
    console.warning(placeOf(file),
                    "the last line does not end in a newline, so its last character is not read");
  }
}

template ListFile<Acl::Ipv4Family> readListFile(std::string const&,
                                                Acl::UrlImportDuplicateOperation);
template ListFile<Acl::Ipv6Family> readListFile(std::string const&,
                                                Acl::UrlImportDuplicateOperation);
template std::optional<ListFile<Acl::Ipv4Family>> openListFile(Options const&, Console&);
template std::optional<ListFile<Acl::Ipv6Family>> openListFile(Options const&, Console&);

}  // namespace Tool
