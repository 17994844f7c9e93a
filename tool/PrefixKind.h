#pragma once

#include <algorithm>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "list_import/CliHelper.h"
#include "list_import/PrefixSource.h"
#include "policy_config/PrefixListFamily.h"
#include "policy_eval/MatchPrefixList.h"
#include "policy_sm/RouteMapSm.h"
#include "tool/ByListMachine.h"
#include "tool/EntryText.h"
#include "tool/ListFindings.h"
#include "tool/MatchAnswer.h"

namespace Tool {

/// The prefix lists of a family, Acl::Ipv4Family or Acl::Ipv6Family, as a kind of lists.
template <class Family>
class PrefixKind : public ByListMachine<Routing::RouteMap::MachineOf<Family>> {
 public:
  using List = typename Family::List;
  using Entry = typename Family::Entry;
  using Machine = Routing::RouteMap::MachineOf<Family>;
  using Status = Orb::Ptr<Routing::RouteMap::PrefixListStatus const>;
  static constexpr std::size_t kLongestLine = Acl::kLongestPrefixLine;
  static constexpr bool kIsIpv4 = Family::kFamily == Ipa::ipv4;
  static constexpr char const* kLists = kIsIpv4 ? "prefixList" : "ipv6PrefixList";
  static constexpr char const* kEntries = kIsIpv4 ? "prefixEntry" : "ipv6PrefixEntry";
  static constexpr bool kCompilesAtOnce = false;

  explicit PrefixKind(Options const&) {}

  Orb::Ptr<List> newList(Acl::AclListConfig& config, Orb::Name const& name) const {
    return Family::listIs(config, name);
  }
  ListFindings import(std::FILE& source, Acl::UrlImportDuplicateOperation onDuplicate,
                      List& list) const;
  static auto lists(Acl::AclListConfig const& config) { return Family::lists(config); }
  static Orb::Ptr<List const> list(Acl::AclListConfig const& config, Orb::Name const& name) {
    return Family::list(config, name);
  }
  static auto const& entries(List const& list) { return Family::entries(list); }
  static void copyEntries(List const& from, List& to);
  ListFindings findings(List const& list) const;

  std::string textOf(List const& list) const { return Acl::prefixListText(list); }
  void describe(List const& list, nlohmann::ordered_json& json) const;
  static nlohmann::ordered_json jsonOf(Entry const& entry);

  /// Counts the lengths of the prefixes.
  class Extent {
   public:
    void add(Entry const& entry) {
      shortest_ = std::min(shortest_, entry.prefix().length());
      longest_ = std::max(longest_, entry.prefix().length());
    }
    void appendTo(std::string& text) const;
    void addTo(nlohmann::ordered_json& json) const;

   private:
    Orb::U32 shortest_ = 128;
    Orb::U32 longest_ = 0;
  };

  Orb::Ptr<Machine> machineOn(Orb::Ptr<Acl::AclListConfig const> const& config) const;
  static Orb::U32 bookmark(Machine const& machine, Orb::Name const& name) {
    return machine.listSm(name)->bookmark();
  }
  static std::optional<std::size_t> bytesHeld(Status const& status, std::size_t entries);
  static void describe(Status const&, std::string&) {}
  static void describe(Status const&, nlohmann::ordered_json&) {}

  /// Answers prefixes; an address is the host route to it.
  class Matcher {
   public:
    static constexpr char kAsked[] = "prefix";
    static constexpr bool kIsBlankAsked = false;

    Matcher(PrefixKind const&, List const& list, Status status)
        : entries_(list), status_(std::move(status)) {}
    void read(std::string_view text);
    void appendAsked(std::string& text) const { prefix_.appendTo(text); }
    MatchAnswer answer();

   private:
    EntryText const entries_;
    Status const status_;
    typename Family::Prefix prefix_;
  };
};

extern template class PrefixKind<Acl::Ipv4Family>;
extern template class PrefixKind<Acl::Ipv6Family>;

}  // namespace Tool
