#pragma once

#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "list_import/AsPathSource.h"
#include "platform/regex/PathText.h"
#include "policy_sm/RouteMapSm.h"
#include "tool/ByListMachine.h"
#include "tool/ListFindings.h"
#include "tool/MatchAnswer.h"

namespace Tool {

/// The AS-path lists as a kind of lists, for one engine and notation.
class AsPathKind : public ByListMachine<Routing::RouteMap::AsPathListConfigSm> {
 public:
  using List = Acl::AsPathList;
  using Entry = Acl::AsPathEntry;
  using Machine = Routing::RouteMap::AsPathListConfigSm;
  using Status = Orb::Ptr<Routing::RouteMap::AsPathListStatus const>;
  static constexpr std::size_t kLongestLine = Acl::kLongestAsPathLine;
  static constexpr char kLists[] = "pathList";
  static constexpr char kEntries[] = "pathEntry";
  /// All of a list but its automaton is compiled before the first slice.
  static constexpr bool kCompilesAtOnce = true;

  explicit AsPathKind(Options const& options)
      : regexMode_(options.regexMode), notation_(options.notation), origin_(options.origin) {}

  Orb::Ptr<List> newList(Acl::AclListConfig& config, Orb::Name const& name) const;
  ListFindings import(std::FILE& source, Acl::UrlImportDuplicateOperation onDuplicate,
                      List& list) const;
  static auto lists(Acl::AclListConfig const& config) { return config.pathList(); }
  static Orb::Ptr<List const> list(Acl::AclListConfig const& config, Orb::Name const& name) {
    return config.pathList(name);
  }
  static auto const& entries(List const& list) { return list.pathEntry(); }
  static void copyEntries(List const& from, List& to) { to.pathEntryCopy(from); }
  ListFindings findings(List const& list) const;

  std::string textOf(List const& list) const;
  void describe(List const& list, nlohmann::ordered_json& json) const;
  static nlohmann::ordered_json jsonOf(Entry const& entry);

  /// Counts nothing more.
  class Extent {
   public:
    void add(Entry const&) const noexcept {}
    void appendTo(std::string&) const {}
    void addTo(nlohmann::ordered_json&) const {}
  };

  Orb::Ptr<Machine> machineOn(Orb::Ptr<Acl::AclListConfig const> const& config) const;
  static void describe(Status const& status, std::string& text);
  static void describe(Status const& status, nlohmann::ordered_json& json);

  /// Answers AS paths; behind one, its origin may stand as routers show it: i, e or ?.
  class Matcher {
   public:
    static constexpr char kAsked[] = "path";
    static constexpr bool kIsBlankAsked = true;  // the path of a route of the own AS

    Matcher(AsPathKind const& kind, List const&, Status status)
        : notation_(kind.notation_), usualOrigin_(kind.origin_), status_(std::move(status)) {}
    void read(std::string_view text);
    void appendAsked(std::string& text);
    MatchAnswer answer();

   private:
    Routing::AsnNotation const notation_;
    Acl::BGPOrigin const usualOrigin_;
    Status const status_;
    std::vector<Orb::U32> path_;
    std::string text_;       // of the path, in the list's notation
    std::string buffer_;     // of matches
    std::string_view code_;  // of the origin, if one was given
    Acl::BGPOrigin origin_ = Acl::notSet;
    std::string entry_;
  };

 private:
  bool isPosixMode() const noexcept { return regexMode_ == Acl::regexModePosix; }
  bool isValid(Entry const& entry) const {
    return isPosixMode() ? entry.validPosixRegex() : entry.validDfaRegex();
  }
  std::string engine() const;
  /// The warning of a pattern, without a place: that the engine in use refuses it. Its `pattern` is
  /// empty when the engine accepts it.
  ListFault refusal(Orb::String const& userRegex) const;

  Acl::RegexMode regexMode_;
  Routing::AsnNotation notation_;
  Acl::BGPOrigin origin_;
};

}  // namespace Tool
