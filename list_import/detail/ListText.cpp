#include "list_import/detail/ListText.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "list_import/detail/Format.h"

namespace Acl::detail {

namespace {

Orb::String localTime(Orb::U32 seconds) {
  std::time_t const time = seconds;
  std::tm local{};
  char text[64];
  if (!localtime_r(&time, &local)) return {};
  return std::string_view(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local));
}

bool writeAndClose(std::FILE* file, std::string const& text) {
  bool const isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return std::fclose(file) == 0 && isWritten;  // a full disk may be reported only here
}

}  // namespace

bool appendListHead(std::string& text, Orb::String const& words, Orb::Name const& name,
                    Orb::String const& source, Orb::U32 sourceTimestamp, std::size_t entries) {
  text += formatted("%s %s", words.c_str(), name.c_str());
  if (source.empty()) {
    text += '\n';
    return true;
  }
  text += formatted(" source %s\n", source.c_str());
  if (sourceTimestamp == 0) {
    text += "! Failed to import from URL\n";
    return false;
  }
  text += formatted("! Num entries: %u. Update time: %s\n", static_cast<Orb::U32>(entries),
                    localTime(sourceTimestamp).c_str());
  return true;
}

Orb::String shownInFile(Orb::Name const& name, Orb::FunctionRef<std::string()> text) {
  char path[128];
  int const length = std::snprintf(path, sizeof path, "/tmp/%sXXXXXX", name.c_str());
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof path) return {};
  if (name.view().find('/') != std::string_view::npos) return {};
  if (name.view().find('\0') != std::string_view::npos) return {};
  std::string const content = text();
  int const descriptor = mkstemp(path);
  if (descriptor < 0) return {};
  std::FILE* const file = fdopen(descriptor, "w");
  if (!file) close(descriptor);
  if (file && writeAndClose(file, content)) return path;
  unlink(path);
  return {};
}

}  // namespace Acl::detail
