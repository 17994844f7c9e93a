#pragma once

#include <cerrno>
#include <cstring>

#include "list_import/SourceFile.h"
#include "list_import/detail/Format.h"
#include "list_import/detail/SourceLines.h"
#include "platform/orb/base/Ptr.h"
#include "platform/orb/loop/ActivityLock.h"

// The import of a source file, whatever the kind of list. What is a kind's own stands in a class
// with
//   Result         a SourceResult, or what is derived from one
//   kLongestLine   the most characters of a line that are read as one, without the newline
//   kFirstOrdinal  the number of the first line that is not blank, in messages
//   kFileError     the message when the file cannot be opened or read, with "%s" for the reason
//   parse(line, number, result)  takes a line of the file, which it may change; -1 when it refuses
//                  it, with message and fault in the result
//   end(count, result)  the end of the file was reached, after so many lines that were not blank

namespace Acl::detail {

template <class Source>
typename Source::Result fileError(int error) {
  typename Source::Result result;
  result.message = formatted(Source::kFileError, std::strerror(error));
  result.error = result.message;
  result.fault = decltype(result.fault)::unreadable;
  result.errorNumber = error;
  return result;
}

template <class Source>
typename Source::Result readSource(std::FILE& file, Source& source) {
  typename Source::Result result;
  char buffer[Source::kLongestLine + 2];  // with the newline, and a NUL behind it
  SourceLines lines(file, buffer);
  Orb::U32 count = 0;
  while (char* const line = lines.next()) {
    if (source.parse(line, lines.number(), result) < 0) {
      result.error = formatted("%u: %s", Source::kFirstOrdinal + count, result.message.c_str());
      result.line = lines.number();
      return result;
    }
    ++count;
  }
  if (int const error = lines.error()) return fileError<Source>(error);
  source.end(count, result);
  return result;
}

template <class Source>
typename Source::Result readSource(Orb::String const& path, Source& source) {
  OwnedFile const file(std::fopen(path.c_str(), "r"));
  return file ? readSource(*file, source) : fileError<Source>(errno);
}

/// Calls `read`, which fills an empty set of Entries and gives a result, with the activity lock
/// released if the calling thread holds it; and with the lock taken again `apply`, with the set,
/// unless the result is an error. The list stays alive meanwhile, should another thread remove it.
template <class Entries, class List, class Read, class Apply>
auto importSource(List const& list, Read const& read, Apply const& apply) {
  Orb::Ptr<List const> const kept(&list);
  Entries entries;
  auto result = [&] {
    Orb::ActivityUnlockAnchor const unlocked;
    return read(entries);
  }();
  if (!result.isError()) apply(entries);
  return result;
}

}  // namespace Acl::detail
