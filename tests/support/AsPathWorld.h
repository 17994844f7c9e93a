#pragma once

#include <string>
#include <vector>

#include "policy_eval/MatchAsPathList.h"
#include "tests/support/MachineWorld.h"

namespace TestSupport {

/// AS-path lists.
struct AsPathWorld : MachineWorld<Routing::RouteMap::AsPathListConfigSm> {
  using List = Acl::AsPathList;
  using Status = Orb::Ptr<Routing::RouteMap::AsPathListStatus const>;
  static constexpr char const* kMachine = "AsPathList";
  static constexpr char const* kAttribute = "asPathList";
  static constexpr char const* kListInAssertions = "pathList";

  Orb::Ptr<Routing::AsnConfig> asn = Orb::make<Routing::AsnConfig>();

  void start() { machine = Machine::AsPathListConfigSmIs(config, asn, all, table); }
  auto lists() { return config->pathList(); }
  Orb::Ptr<List> list(Orb::Name const& name) { return config->pathListIs(name); }
  void listDel(Orb::Name const& name) { config->pathListDel(name); }

  /// Expressions, and which engines the configuration says accept them; of "(" that is wrong.
  static Acl::AsPathEntry entry(Orb::U32 seqno, Orb::U32 i, Acl::BGPOrigin origin = Acl::bgpAny) {
    struct {
      char const* text;
      bool isDfa, isPosix;
    } constexpr kExpressions[] = {
        {"_65001_", true, true},     {"^7_65001$", true, true}, {"[64512-65534]", true, false},
        {"^([0-9]+)$", false, true}, {"^$", true, true},        {"(", true, true}};
    auto const& e = kExpressions[i % std::size(kExpressions)];
    return Acl::AsPathEntry::of(seqno, Orb::String(e.text),
                                i % 2 ? Acl::permitMatch : Acl::denyMatch, origin, e.isDfa,
                                e.isPosix);
  }
  void add(Orb::Name const& name, Acl::AsPathEntry const& added) { list(name)->pathEntryIs(added); }

  /// Every answer of a status to a few routes, and all that it holds.
  static std::string contentOf(Status const& status) {
    if (!status) return "none";
    std::string text = status->toStrep().str() + Orb::toText(status->asnNotation()) + ' ' +
                       std::to_string(status->dfaRegexMapSize()) + '/' +
                       std::to_string(status->posixRegexMapSize());
    std::string buffer;
    using Path = std::vector<Orb::U32>;
    for (auto const& path : {Path(), Path{65001}, Path{7, 65001}, Path{9, 8}, Path{64600, 1}}) {
      for (auto const origin : {Acl::bgpIGP, Acl::bgpIncomplete}) {
        auto const match = Routing::PolicyEval::matchAsPathList(status, path, origin, buffer);
        text += ' ' + (match.entry ? std::to_string(match.seqno) : "-");
      }
    }
    return text;
  }
  static bool isWhole(Status const& status) {
    return (status->pathSet() != nullptr) == (status->dfaRegexMapSize() > 1);
  }
  std::string modelOf(List const& list) {
    return contentOf(statusOf(list, config->regexMode(), asn->asnNotation()));
  }
  /// The status that a list is to have, made in the slowest way.
  static Status statusOf(List const& list, Acl::RegexMode mode, Routing::AsnNotation notation) {
    auto const status = Routing::RouteMap::asPathListStatusFactory(list.name());
    status->configVersionIs(list.version());
    status->regexModeIs(mode);
    status->asnNotationIs(notation);
    for (auto const& e : list.pathEntry()) {
      status->asPathEntryIs(e);
      bool const isDfa = mode == Acl::regexModeDfa;
      if (isDfa && e.validDfaRegex()) status->dfaRegexAdd(e.seqno(), e.userRegex());
      if (!isDfa && e.validPosixRegex()) status->posixRegexAdd(e.seqno(), e.userRegex());
    }
    return status;
  }
};

}  // namespace TestSupport
