#pragma once

#include <vector>

#include "list_import/PfxEntries.h"
#include "list_import/SourceFile.h"

/// The lines of a prefix-list source file. A line is
///   [seq N] permit|deny PREFIX [ge N] [le N] [eq N]
/// with its words parted by blanks (tabs are part of a word), or "abort", with which the writer of
/// a file that could not be completed prevents that it is taken for a whole one.
namespace Acl {

/// Why a source file, or a line of one, was refused: for callers with messages of their own.
enum class PrefixSourceFault : Orb::U8 {
  none,         ///< it was not
  unreadable,   ///< the file could not be opened or read
  otherFamily,  ///< not a prefix: an IPv4 one with a ":", or an IPv6 one without
  badPrefix,    ///< not a prefix otherwise, or none at all
  badLine,      ///< any other fault of a line
};

/// 0 when an entry may have these lengths, else -1. `ge`, `le` and `eq` are 0 where not given.
/// A length of 0 is not allowed, on purpose: no file can let a default route through unseen.
ROUTEPOLICY_EXPORT int checkPrefixLengths(Orb::U32 length, Orb::U32 ge, Orb::U32 le, Orb::U32 eq,
                                          Orb::U32 maxLength);

/// Turns lines into entries of a staging set.
template <class Family>
class PrefixEntryParser {
 public:
  /// `entries` must outlive the parser. `onDuplicate` is what to do with a line that repeats the
  /// prefix and lengths of an earlier one.
  PrefixEntryParser(PfxEntries<Family>& entries, UrlImportDuplicateOperation onDuplicate)
      : entries_(entries), onDuplicate_(onDuplicate) {}

  /// Parses one line, which it cuts into its words. 0 when the line was accepted or ignored as a
  /// duplicate; -1 with the reason in `error` when not (the empty text for a line without words).
  /// Throws an Orb::RangeException for an IPv4 address with bits beyond its length. The entries
  /// are as before when it fails, but an automatic number may be used up.
  int parse(char* line, Orb::String& error);
  /// Why the last line was refused; none when it was not, and before the first.
  PrefixSourceFault fault() const noexcept { return fault_; }

 private:
  using Prefix = typename Family::Prefix;
  using Words = std::vector<char*>::const_iterator;

  /// The fields of a line; lengths that are not given are 0.
  struct Line {
    Orb::U32 seqno = 0;
    MatchPermit permit = denyMatch;
    char const* prefixText = "";  // with its length for IPv4, without for IPv6: messages show it
    Prefix prefix;
    Orb::U32 ge = 0;
    Orb::U32 le = 0;
    Orb::U32 eq = 0;
  };

  // Each takes words off the front; false with the reason in `error`.
  bool takeSeqno(Words& word, Line& line, Orb::String& error);
  bool takePrefix(Words& word, Line& line, Orb::String& error);
  bool takeMaskLengths(Words& word, Line& line, Orb::String& error);
  bool accept(Line const& line, Orb::String& error);

  PfxEntries<Family>& entries_;
  UrlImportDuplicateOperation const onDuplicate_;
  PrefixSourceFault fault_ = PrefixSourceFault::none;
  std::vector<char*> words_;  // of the current line; a member so that its memory is reused
};

/// Parses one line by itself, as an entry of an empty set: "Entry: ..." with what would be stored,
/// or "Error: ..." with the parser's message. Throws as the parser does.
template <class Family>
struct DebugParsePrefixEntry {
  Orb::String operator()(Orb::String const& line) const;
};

using Ipv4PrefixEntryParser = PrefixEntryParser<Ipv4Family>;
using Ipv6PrefixEntryParser = PrefixEntryParser<Ipv6Family>;

extern template class ROUTEPOLICY_EXPORT PrefixEntryParser<Ipv4Family>;
extern template class ROUTEPOLICY_EXPORT PrefixEntryParser<Ipv6Family>;
extern template struct ROUTEPOLICY_EXPORT DebugParsePrefixEntry<Ipv4Family>;
extern template struct ROUTEPOLICY_EXPORT DebugParsePrefixEntry<Ipv6Family>;

}  // namespace Acl
