#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/orb/base/Types.h"

/// The ways in which the runtime says that something is wrong: a value that is not allowed, a
/// text that does not read, and an invariant that does not hold.
namespace Orb {

/// A value that its type or attribute does not allow.
class ROUTEPOLICY_EXPORT RangeException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~RangeException() override;
};

/// A text that is not the text form of the type it was read as.
class ROUTEPOLICY_EXPORT ParseException : public RangeException {
 public:
  /// `attribute` is the full name of what was being read, such as "Acl::PrefixEntry::permit";
  /// empty when it has none.
  ParseException(std::string attribute, std::string const& reason);
  ~ParseException() override;

  std::string const& attribute() const noexcept { return attribute_; }
  std::string const& reason() const noexcept { return reason_; }

 private:
  std::string attribute_;
  std::string reason_;
};

/// What a mutator says of a null pointer: "null _symbol parameter to mutator for
/// Routing::RouteMap::AllPrefixListSymbol::symbol not allowed" and, on purpose, one stray
/// double quote behind it, which readers of old logs know.
ROUTEPOLICY_EXPORT std::string nullParameterMessage(std::string_view className,
                                                    std::string_view attribute);

/// Prints the text of a broken invariant with its place and aborts.
[[noreturn]] ROUTEPOLICY_EXPORT void assertionFailed(char const* text, char const* file, int line);

}  // namespace Orb

/// A fatal assertion, in every build type. The text printed is the condition as it stands.
#define ORB_ASSERT(...)                     \
  (static_cast<bool>(__VA_ARGS__) ? void(0) \
                                  : ::Orb::assertionFailed(#__VA_ARGS__, __FILE__, __LINE__))
