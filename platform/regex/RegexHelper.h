#pragma once

#include "platform/orb/base/String.h"

/// The regex helper library: which AS-path patterns an engine accepts, and their translation into
/// its own language.
namespace Routing::RouteMap {

/// Says which engines accept a pattern: exactly those that translate and compile it. No side
/// effects; any thread.
class ROUTEPOLICY_EXPORT Helper final : public Orb::RefCounted {
 public:
  bool validatePosixRegex(Orb::String const& pattern) const;
  bool validateDfaRegex(Orb::String const& pattern) const;
};

ROUTEPOLICY_EXPORT Orb::Ptr<Helper> helperFactory();

}  // namespace Routing::RouteMap

// NOLINTBEGIN(readability-identifier-naming): these names are given

/// The pattern in the language of the engine: an extended regular expression (POSIX), or what
/// rd_parse_dfa() reads. Null when the pattern is invalid. The caller frees it with
/// asmatch_free_regex(), which takes a null too. Any thread.
ROUTEPOLICY_EXPORT char* asmatch_posix_regex_cli_to_gated(char const* pattern);
ROUTEPOLICY_EXPORT char* asmatch_dfa_regex_cli_to_gated(char const* pattern);
ROUTEPOLICY_EXPORT void asmatch_free_regex(char* translated) noexcept;

// NOLINTEND(readability-identifier-naming)
