#pragma once

#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "platform/regex/PathText.h"
#include "policy_sm/RouteMapSm.h"
#include "tool/ListFile.h"
#include "tool/MatchAnswer.h"

namespace Tool {

/// The AS-path lists as a kind of lists, for one engine and notation.
class AsPathKind {
 public:
  using List = Acl::AsPathList;
  using Entry = Acl::AsPathEntry;
  using Machine = Routing::RouteMap::AsPathListConfigSm;
  using Status = Routing::RouteMap::AsPathListStatus;
  /// All of a list but its automaton is compiled before the first slice.
  static constexpr bool kCompilesAtOnce = true;

  explicit AsPathKind(Options const& options)
      : regexMode_(options.regexMode), notation_(options.notation), origin_(options.origin) {}

  Orb::Ptr<List> newList(Acl::AclListConfig& config, Orb::Name const& name) const;
  ListFindings import(std::FILE& source, Acl::UrlImportDuplicateOperation onDuplicate,
                      List& list) const;
  static auto const& entries(List const& list) { return list.pathEntry(); }

  std::string textOf(List const& list) const;
  void describe(List const& list, nlohmann::ordered_json& json) const;
  static nlohmann::ordered_json jsonOf(Entry const& entry);

  /// Counts the entries that match nothing, since the engine refuses their pattern.
  class Extent {
   public:
    explicit Extent(bool isPosixMode) : isPosixMode_(isPosixMode) {}
    void add(Entry const& entry) {
      idle_ += isPosixMode_ ? !entry.validPosixRegex() : !entry.validDfaRegex();
    }
    void appendTo(std::string& text) const;
    void addTo(nlohmann::ordered_json& json) const;

   private:
    bool isPosixMode_;
    std::size_t idle_ = 0;
  };
  Extent extent() const { return Extent(isPosixMode()); }

  Orb::Ptr<Machine> machineOn(Orb::Ptr<Acl::AclListConfig const> const& config) const;
  static Orb::U32 bookmark(Machine::ListSm const&) { return 0; }
  static std::optional<std::size_t> bytesHeld(Status const&, std::size_t) { return std::nullopt; }
  static void describe(Status const& status, std::string& text);
  static void describe(Status const& status, nlohmann::ordered_json& json);

  /// Answers AS paths; behind one, its origin may stand as routers show it: i, e or ?.
  class Matcher {
   public:
    static constexpr char kAsked[] = "path";
    static constexpr bool kIsBlankAsked = true;  // the path of a route of the own AS

    Matcher(AsPathKind const& kind, List const&, Orb::Ptr<Status const> status)
        : notation_(kind.notation_), usualOrigin_(kind.origin_), status_(std::move(status)) {}
    void read(std::string_view text);
    void appendAsked(std::string& text);
    MatchAnswer answer();

   private:
    Routing::AsnNotation const notation_;
    Acl::BGPOrigin const usualOrigin_;
    Orb::Ptr<Status const> const status_;
    std::vector<Orb::U32> path_;
    std::string text_;       // of the path, in the list's notation
    std::string buffer_;     // of matches
    std::string_view code_;  // of the origin, if one was given
    Acl::BGPOrigin origin_ = Acl::notSet;
    std::string entry_;
  };

 private:
  bool isPosixMode() const noexcept { return regexMode_ == Acl::regexModePosix; }

  Acl::RegexMode regexMode_;
  Routing::AsnNotation notation_;
  Acl::BGPOrigin origin_;
};

}  // namespace Tool
