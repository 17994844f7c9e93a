#pragma once

#include <charconv>
#include <iterator>
#include <string>

#include "platform/orb/base/FunctionRef.h"
#include "platform/orb/base/String.h"

// What is common to the texts of lists as the command line shows them.

namespace Acl::detail {

template <class Number>
void appendNumber(std::string& text, Number number) {
  char digits[12];
  text.append(digits, std::to_chars(digits, std::end(digits), number).ptr);
}

/// Writes the text to a new file "/tmp/NAMEXXXXXX" that the caller removes, and returns its path.
/// Empty, with no file left behind, when that cannot be done: also for a name that does not fit a
/// path of 127 characters, or that holds a "/" or a NUL.
Orb::String shownInFile(Orb::Name const& name, Orb::FunctionRef<std::string()> text);

/// Appends the lines above the entries; false when no entries belong below them.
bool appendListHead(std::string& text, Orb::String const& words, Orb::Name const& name,
                    Orb::String const& source, Orb::U32 sourceTimestamp, std::size_t entries);

/// The text of a list: its first line, which begins with `words` and its name, where and when it
/// was imported from, and, unless that failed, appendEntry(text, entry) for each entry.
template <class List, class Entries, class AppendEntry>
std::string listText(Orb::String const& words, List const& list, Entries const& entries,
                     AppendEntry const& appendEntry) {
  constexpr std::size_t kUsualLine = 48;
  std::string text;
  if (!appendListHead(text, words, list.name(), list.source(), list.sourceTimestamp(),
                      entries.size())) {
    return text;
  }
  text.reserve(text.size() + kUsualLine * entries.size());
  for (auto const& entry : entries) appendEntry(text, entry);
  return text;
}

}  // namespace Acl::detail
