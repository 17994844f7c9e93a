#include "list_import/AsPathEntryParser.h"

#include "list_import/detail/Format.h"
#include "list_import/detail/OriginWord.h"
#include "list_import/detail/SourceLines.h"

// The cases of a line in the order in which they are decided:
//   1. how many words there are
//   2. the verdict
//   3. the expression: some engine must accept it
//   4. the origin
//   5. whether an earlier line has the same expression
// An expression that is in the set already is one that was accepted, and by which engines: they
// are not asked again, since that is the dear part of a line.

namespace Acl {

namespace {

using detail::formatted;
using detail::isWord;

/// The origin of this word; notSet when there is none.
BGPOrigin originOf(char const* word) {
  for (auto const& known : detail::kOriginWords) {
    if (isWord(word, known.word)) return known.origin;
  }
  return notSet;
}

}  // namespace

AsPathEntryParser::AsPathEntryParser(AsPathEntries& entries,
                                     UrlImportDuplicateOperation onDuplicate, bool isPosixMode)
    : entries_(entries),
      onDuplicate_(onDuplicate),
      isPosixMode_(isPosixMode),
      helper_(Routing::RouteMap::helperFactory()) {}

int AsPathEntryParser::parse(char* line, Orb::String& error) {
  fault_ = AsPathSourceFault::badLine;
  detail::splitLine(line, words_);
  if (words_.size() != 2 && words_.size() != 3) {
    error = "Error: Invalid number of tokens";
    return -1;
  }
  AsPathEntry entry;
  entry.permitIs(isWord(words_[0], "permit") ? permitMatch : denyMatch);
  if (entry.permit() == denyMatch && !isWord(words_[0], "deny")) {
    error = formatted("Error: Invalid permission %s", words_[0]);
    return -1;
  }
  userRegex_ = words_[1];
  entry.userRegexIs(userRegex_);
  AsPathEntries::Record const earlier = entries_.withRegex(userRegex_);
  if (!validate(entry, earlier)) {
    fault_ = AsPathSourceFault::badRegex;
    error = formatted("Error: Invalid AS PATH regular expression %s", words_[1]);
    return -1;
  }
  entry.originIs(words_.size() == 3 ? originOf(words_[2]) : bgpAny);
  if (entry.origin() == notSet) {
    error = formatted("Error: Invalid BGPOrigin %s", words_[2]);
    return -1;
  }
  if (earlier != AsPathEntries::kNone && onDuplicate_ != duplicateIgnore &&
      onDuplicate_ != duplicateOverride) {
    error = formatted("Error: Duplicate ASPATH regular expression found: %s", words_[1]);
    return -1;
  }
  fault_ = AsPathSourceFault::none;
  if (earlier != AsPathEntries::kNone && onDuplicate_ == duplicateIgnore) return 0;
  if (earlier != AsPathEntries::kNone) entries_.remove(earlier);
  entry.seqnoIs(entries_.nextSeqno());
  entries_.add(entry);
  entries_.nextSeqnoIs(entry.seqno() + 1);
  return (isPosixMode_ ? entry.validPosixRegex() : entry.validDfaRegex()) ? 0 : 1;
}

/// Sets which engines accept the expression; false when none does. `earlier` is an entry that has
/// the same, or kNone.
bool AsPathEntryParser::validate(AsPathEntry& entry, AsPathEntries::Record earlier) const {
  if (earlier != AsPathEntries::kNone) {
    entry.validDfaRegexIs(entries_.entry(earlier).validDfaRegex());
    entry.validPosixRegexIs(entries_.entry(earlier).validPosixRegex());
  } else {
    entry.validDfaRegexIs(helper_->validateDfaRegex(entry.userRegex()));
    entry.validPosixRegexIs(helper_->validatePosixRegex(entry.userRegex()));
  }
  return entry.validDfaRegex() || entry.validPosixRegex();
}

}  // namespace Acl
