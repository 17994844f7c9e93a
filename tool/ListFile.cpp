#include "tool/ListFile.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "platform/orb/loop/ActivityLock.h"
#include "tool/ListSource.h"
#include "tool/RegularFile.h"

namespace Tool {

namespace {

constexpr char kStandardInputPlace[] = "<stdin>";

// The most characters of a line that an import reads as one, without the newline.
constexpr std::size_t kLongestPrefixLine = 510;
constexpr std::size_t kLongestAsPathLine = 4094;

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

ListFault unreadable(int error) { return {kRead + std::string(std::strerror(error)), 0, true}; }

void report(std::string const& file, ListFindings const& findings, Console& console) {
  auto const show = [&](PatternFaults const& pattern) {
    if (!pattern.empty()) console.paint(pattern.text());
  };
  for (ListFault const& warning : findings.warnings) {
    console.warning(placeOf(file, warning.line), warning.message);
    show(warning.pattern);
  }
  if (findings.moreWarnings != 0) {
    console.warning(placeOf(file), std::to_string(findings.moreWarnings) + " more such lines");
  }
  if (!findings.fault) return;
  ListFault const& fault = *findings.fault;
  if (fault.isUnreadable) {
    console.failure(placeOf(file), fault.message);
  } else {
    console.finding(placeOf(file, fault.line), fault.message);
  }
  show(fault.pattern);
}

}  // namespace

void ListFindings::addWarningsTo(nlohmann::ordered_json& json) const {
  if (!hasWarnings()) return;
  auto& list = json["warnings"] = nlohmann::ordered_json::array();
  for (ListFault const& warning : warnings) {
    nlohmann::ordered_json one;
    if (warning.line != 0) one["line"] = warning.line;
    one["warning"] = warning.message;
    if (!warning.pattern.empty()) warning.pattern.addTo(one);
    list.push_back(std::move(one));
  }
  if (moreWarnings != 0) json["moreWarnings"] = moreWarnings;
}

ListFindings readListFile(
    std::string const& file, Options const& options, Console& console,
    Orb::FunctionRef<ListFindings(std::FILE& source, Orb::Name const& name)> import) {
  console.workOn(file == kStandardInput ? kStandardInputPlace : file);
  Orb::ActivityLockAnchor const locked;
  std::size_t const longest = options.asPath ? kLongestAsPathLine : kLongestPrefixLine;
  ListSource source(file, longest);
  ListFindings findings;
  if (source.stream()) {
    findings = import(*source.stream(), listNameOf(file));
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
  if (options.strict && findings.hasWarnings() && !findings.fault) {
    findings.fault = ListFault{"a warning is an error with --strict"};
  }
  report(file, findings, console);
  return findings;
}

}  // namespace Tool
