#pragma once

#include <regex.h>

#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

#include "policy_config/PrefixListFamily.h"
#include "tests/support/PolicyRoots.h"

namespace Soak {

using Orb::U32;

/// A promise that was not kept.
struct Fault : std::runtime_error {
  using runtime_error::runtime_error;
};
inline void require(bool holds, std::string const& what) {
  if (!holds) throw Fault(what);
}

/// The kinds of symbols, a collection each.
enum Kind { prefix, prefix6, asPath, standard, extended, large, dynamic };

/// What the symbols are to be, worked out in the slowest way from the changes of the configuration,
/// each of which is handed to it when it is notified: the version of every symbol, and of what has
/// been compiled all that the configuration does not say any more.
struct Model {
  struct Key {
    Kind kind;
    Orb::Name name;
    auto operator<=>(Key const&) const = default;
  };
  /// A compiled entry of a community list.
  struct Community {
    std::string text;  // all that is copied of it
    bool isPermit;
    bool isExpanded;
    std::set<Acl::CommunityValue> values;
    std::optional<std::string> expression;  // the last one that compiled
  };
  /// A dynamic list that has a generator.
  struct Dynamic {
    using State = Routing::DynamicPrefixList::DplEvalState;
    Orb::String ipv4, ipv6;  // the lists that are followed
    bool isPublished = false;
    Orb::String publishedIpv4, publishedIpv6;
    std::map<U32, State> published;  // by VRF
  };

  explicit Model(TestSupport::PolicyRoots const& r) : roots(r) {}

  TestSupport::PolicyRoots const& roots;
  Orb::Ptr<Routing::DynamicPrefixList::AllDynamicPrefixListVrfSet> const state =
      Orb::make<Routing::DynamicPrefixList::AllDynamicPrefixListVrfSet>();
  bool hasAllIndexes = true;  // unless there was no memory for one
  std::map<Key, U32> versions;
  std::set<Key> pending;  // prefix lists that are being built
  std::map<Orb::Name, std::pair<Acl::RegexMode, Routing::AsnNotation>> asPaths;
  std::map<Key, std::map<U32, Community>> communities;
  std::map<Orb::Name, Dynamic> dynamics;

  void bump(Key const& key) {
    ++versions[key];
    if (key.kind > prefix6) return;
    for (auto& [name, list] : dynamics) {
      if ((key.kind == prefix ? list.ipv4 : list.ipv6) == key.name) publish(name, list);
    }
  }
  /// The builds that are under way have ended.
  void settle() {
    for (Key const& key : std::exchange(pending, {})) bump(key);
  }

  void onPrefixList(Kind kind, Orb::Name const& name, bool isThere) {
    pending.erase({kind, name});
    if (!isThere) bump({kind, name});
  }
  void onPrefixVersion(Kind kind, Orb::Name const& name) { pending.insert({kind, name}); }

  auto settings() const { return std::pair(roots.lists->regexMode(), roots.asn->asnNotation()); }
  void onPathList(Orb::Name const& name, bool isThere) {
    if (isThere) return void(asPaths[name] = settings());
    asPaths.erase(name);
    bump({asPath, name});
  }
  void onPathVersion(Orb::Name const& name) {
    asPaths[name] = settings();
    bump({asPath, name});
  }
  void onSetting() {
    for (auto& [name, compiled] : asPaths) {
      if (compiled == settings()) continue;
      compiled = settings();
      bump({asPath, name});
    }
  }

  void onCommunityListDel(Orb::Name const& name) {
    for (Kind const kind : {standard, extended, large}) {
      if (communities.erase({kind, name}) != 0) bump({kind, name});
    }
  }
  void onCommunityEntryDel(Orb::Name const& list, U32 seqno) {
    for (Kind const kind : {standard, extended, large}) {
      auto const found = communities.find({kind, list});
      if (found == communities.end() || found->second.erase(seqno) == 0) continue;
      if (found->second.empty()) communities.erase(found);
      bump({kind, list});
    }
  }
  static std::string textOf(Acl::CommunityListEntry const& entry) {
    std::string text = Orb::toText(entry.permit()) + Orb::toText(entry.listType());
    text += entry.commRegex().str();
    for (auto const& [value, flag] : entry.community()) {
      text += ' ' + Orb::toText(value) + (flag ? "+" : "-");
    }
    return text;
  }
  static bool compiles(std::string const& expression) {
    regex_t compiled;
    if (regcomp(&compiled, expression.c_str(), REG_EXTENDED) != 0) return false;
    regfree(&compiled);
    return true;
  }
  void onCommunityVersion(Orb::Name const& list, Acl::CommunityListEntry const& entry) {
    if (entry.version() == 0) return;
    auto const type = static_cast<U32>(entry.listType());
    Key const key{static_cast<Kind>(standard + type / 2), list};
    auto& compiled = communities[key][entry.seqno()];
    compiled.text = textOf(entry);
    bool const isExpanded = type % 2 != 0;
    // Explicit values have no expression; a wrong one leaves the one before in force.
    if (!isExpanded) compiled.expression.reset();
    if (isExpanded && compiles(entry.commRegex().str())) {
      compiled.expression = entry.commRegex().str();
    }
    compiled.isPermit = entry.permit() == Acl::permitMatch;
    compiled.isExpanded = isExpanded;
    compiled.values.clear();
    for (auto const& member : entry.community()) compiled.values.insert(member.key);
    bump(key);
  }

  /// Whether a symbol is to have a status.
  bool isPublished(Key const& key) const {
    auto const& lists = *roots.lists;
    if (key.kind == prefix) return lists.prefixListHas(key.name);
    if (key.kind == prefix6) return lists.ipv6PrefixListHas(key.name);
    if (key.kind == asPath) return lists.pathListHas(key.name);
    if (key.kind < dynamic) return communities.contains(key);
    auto const found = dynamics.find(key.name);
    return found != dynamics.end() && found->second.isPublished;
  }

  auto entry(Orb::Name const& name) const { return roots.dynamic->dynamicPrefixList(name); }
  void publish(Orb::Name const& name, Dynamic& list) {
    if (!entry(name)) return;
    bool const was = std::exchange(list.isPublished, entry(name)->version() != 0);
    if (!list.isPublished) return void(was ? bump({dynamic, name}) : void());
    list.publishedIpv4 = list.ipv4;
    list.publishedIpv6 = list.ipv6;
    list.published.clear();
    for (auto const& [vrf, now] : state->dynamicPrefixList(name)->activeInVrf()) {
      list.published[vrf] = now;
    }
    bump({dynamic, name});
  }
  void lookUp(Orb::Name const& name, Dynamic& list) {
    list.ipv4 = entry(name)->ipv4PrefixList();
    list.ipv6 = entry(name)->ipv6PrefixList();
  }
  /// It came or went, in the configuration or the state.
  void onDynamic(Orb::Name const& name) {
    bool const isThere = entry(name) && state->dynamicPrefixListHas(name);
    auto const found = dynamics.find(name);
    if (found != dynamics.end()) {
      if (isThere) return;
      if (found->second.isPublished) bump({dynamic, name});
      dynamics.erase(found);
    } else if (isThere) {
      Dynamic& list = dynamics[name];
      if (entry(name)->version() == 0) return;
      lookUp(name, list);
      for (int i = 0; i < 2; ++i) publish(name, list);
    }
  }
  void onDynamicVersion(Orb::Name const& name) {
    auto const found = dynamics.find(name);
    if (found == dynamics.end()) return;
    lookUp(name, found->second);
    publish(name, found->second);
  }
  void onVrf(Orb::Name const& name) {
    if (auto const found = dynamics.find(name); found != dynamics.end()) {
      publish(name, found->second);
    }
  }

  template <class Family>
  void restartPrefixLists(Kind kind) {
    for (auto const& list : Family::lists(*roots.lists)) {
      pending.erase(Key{kind, list->name()});
      if (!Family::entries(*list).empty()) pending.insert(Key{kind, list->name()});
    }
  }
  /// A machine has been replaced by a new one.
  void onRestart(Kind kind) {
    if (kind == prefix) {
      restartPrefixLists<Acl::Ipv4Family>(kind);
    } else if (kind == prefix6) {
      restartPrefixLists<Acl::Ipv6Family>(kind);
    } else if (kind == asPath) {
      for (auto const& list : roots.lists->pathList()) {
        if (!list->pathEntry().empty()) onPathVersion(list->name());
      }
    } else if (kind == standard) {
      for (auto const& [key, entries] : std::exchange(communities, {})) bump(key);
      for (auto const& list : roots.lists->communityList()) {
        for (auto const& e : list->communityListEntry()) onCommunityVersion(list->name(), *e);
      }
    } else if (kind == dynamic) {
      for (auto const& [name, list] : std::exchange(dynamics, {})) {
        if (list.isPublished) bump({dynamic, name});
        onDynamic(name);
      }
    }
  }
};

}  // namespace Soak
