#pragma once

#include <array>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <vector>

#include "policy_config/AclListConfig.h"
#include "policy_eval/MatchCommunityList.h"
#include "policy_sm/CommListConfigSm.h"
#include "tool/ListFindings.h"
#include "tool/MatchAnswer.h"

namespace Tool {

/// Something of each family of communities.
template <class T>
struct ByFamily {
  std::array<T, 3> all = {};

  T& operator[](Acl::CommunityType family) { return all[static_cast<std::size_t>(family)]; }
  constexpr T const& operator[](Acl::CommunityType family) const {
    return all[static_cast<std::size_t>(family)];
  }
};

/// The community lists as a kind of lists, which no files hold. A list may have entries of all
/// three families.
class CommunityKind {
 public:
  using List = Acl::CommunityList;
  using Entry = Acl::CommunityListEntry;
  using Machine = Routing::RouteMap::CommListConfigSm;
  using FamilyStatus = Orb::Ptr<Routing::RouteMap::CommListStatus const>;
  /// Null where the list has no compiled entry.
  using Status = ByFamily<FamilyStatus>;
  static constexpr char kLists[] = "communityList";
  static constexpr char kEntries[] = "communityListEntry";
  static constexpr bool kCompilesAtOnce = true;

  explicit CommunityKind(Options const& options)
      : how_(options.exact ? Routing::PolicyEval::CommunityMatch::exact
                           : Routing::PolicyEval::CommunityMatch::contained) {}

  Orb::Ptr<List> newList(Acl::AclListConfig& config, Orb::Name const& name) const {
    return config.communityListIs(name);
  }
  static auto lists(Acl::AclListConfig const& config) { return config.communityList(); }
  static Orb::Ptr<List const> list(Acl::AclListConfig const& config, Orb::Name const& name) {
    return config.communityList(name);
  }
  static auto entries(List const& list) { return list.communityListEntry(); }
  /// With their versions.
  static void copyEntries(List const& from, List& to);
  ListFindings findings(List const& list) const;

  std::string textOf(List const& list) const;
  void describe(List const& list, nlohmann::ordered_json& json) const;
  static nlohmann::ordered_json jsonOf(Entry const& entry);

  /// Counts the entries of each family.
  class Extent {
   public:
    void add(Entry const& entry);
    void appendTo(std::string& text) const;
    void addTo(nlohmann::ordered_json& json) const;

   private:
    ByFamily<std::size_t> counts_;
  };

  Orb::Ptr<Machine> machineOn(Orb::Ptr<Acl::AclListConfig const> const& config) const;
  static bool isBuilding(Machine const& machine, Orb::Name const& name) {
    return machine.communityList(name)->isBuilding();
  }
  static Status statusOf(Machine const& machine, Orb::Name const& name);
  /// Says what the indexes take, which is part of the bytes held.
  static void describe(Status const& status, std::string& text);
  static void describe(Status const& status, nlohmann::ordered_json& json);

  /// Answers routes: their communities, parted by blanks, of any family. Each family is matched
  /// against the entries of its own; the lowest sequence number among what these give decides.
  class Matcher {
   public:
    static constexpr char kAsked[] = "communities";
    static constexpr bool kIsBlankAsked = true;  // of a route that has none

    Matcher(CommunityKind const& kind, List const& list, Status status);
    void read(std::string_view text);
    void appendAsked(std::string& text) const;
    MatchAnswer answer();

   private:
    void add(std::string_view text);

    Routing::PolicyEval::CommunityMatch const how_;
    Orb::Ptr<List const> const list_;
    Status const status_;
    ByFamily<std::vector<Acl::CommunityValue>> route_;  // sorted
    std::string buffer_;                                // of matches
    std::string entry_;
  };

 private:
  Routing::PolicyEval::CommunityMatch how_;
};

}  // namespace Tool
