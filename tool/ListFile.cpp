#include "tool/ListFile.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "platform/orb/loop/ActivityLock.h"
#include "tool/ListSource.h"
#include "tool/RegularFile.h"

namespace Tool {

namespace {

/// The file's name without its folder and ending, as one word.
Orb::Name listNameOf(std::string const& file) {
  if (file == kStandardInput) return "stdin";
  std::string name = std::filesystem::path(file).stem().string();
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return c <= ' '; }, '-');
  return name;
}

ListFault unreadable(int error) { return {kRead + std::string(std::strerror(error)), 0, true}; }

}  // namespace

ListFindings readListFile(
    ListPlace const& file, std::size_t longest, Options const& options, Console& console,
    Orb::FunctionRef<ListFindings(std::FILE& source, Orb::Name const& name)> import) {
  console.workOn(file.subject());
  Orb::ActivityLockAnchor const locked;
  ListSource source(file.text(), longest);
  ListFindings findings;
  if (source.stream()) {
    findings = import(*source.stream(), listNameOf(file.text()));
    if (source.lineWithNul() != 0) {
      findings.fault =
          ListFault{"a NUL character: an import does not read what stands behind it in its line",
                    source.lineWithNul()};
    } else if (findings.fault && findings.fault->isUnreadable) {
      findings.fault = unreadable(source.error());
    }
  } else {
    findings.fault = unreadable(source.error());
  }
  auto const warn = [&](std::string message, std::size_t line) {
    findings.warnings.insert(findings.warnings.begin(), ListFault{std::move(message), line});
  };
  if (source.isLastLineCut()) {
    warn("the last line does not end in a newline, so its last character is not read", 0);
  }
  // Of a refused file, more may have been read than the import came to.
  bool const isReached = !findings.fault || source.longLine() <= findings.fault->line;
  if (source.longLine() != 0 && isReached) {
    warn("the line has more than " + std::to_string(longest) +
             " characters, so it is read as several, each without its last character",
         source.longLine());
  }
  file.report(findings, options, console);
  return findings;
}

}  // namespace Tool
