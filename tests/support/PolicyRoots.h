#pragma once

#include <string>
#include <vector>

#include "config_copy/RouteMapCopy.h"
#include "platform/session/Session.h"
#include "policy_config/RouteMap.h"

namespace TestSupport {

/// The roots of policy configuration, and what commits to them.
struct PolicyRoots {
  Orb::Ptr<Acl::AclListConfig> lists = Orb::make<Acl::AclListConfig>("lists");
  Orb::Ptr<Routing::RouteMap::Config> maps = Orb::make<Routing::RouteMap::Config>();
  Orb::Ptr<Routing::RouteMap::PeerFilterConfig> filters =
      Orb::make<Routing::RouteMap::PeerFilterConfig>();
  Orb::Ptr<Routing::DynamicPrefixList::Config> dynamic =
      Orb::make<Routing::DynamicPrefixList::Config>();
  Orb::Ptr<Routing::AsnConfig> asn = Orb::make<Routing::AsnConfig>();

  std::vector<Orb::Ptr<Orb::Entity>> all() const { return {lists, maps, filters, dynamic, asn}; }

  Orb::Ptr<Cli::Session::Manager> manager() const {
    return Orb::make<Cli::Session::Manager>(
        all(), Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("handlers"));
  }

  /// Makes an edit past all sessions: "PATH=TEXT" sets, "PATH" makes and "-PATH" removes.
  void edit(std::string_view line) const {
    bool const isRemoval = line.starts_with('-');
    auto const [path, text, hasText] = Orb::splitAssignment(line.substr(isRemoval));
    auto const roots = all();
    Orb::Entity& root = *roots[Orb::rootOf(roots, path)];
    if (isRemoval) {
      Orb::attributeDel(root, path);
    } else {
      hasText ? Orb::attributeTextIs(root, path, text) : void(Orb::attributeIs(root, path));
    }
  }
  /// Makes them what text() says.
  void load(std::string const& text) const {
    for (std::size_t from = 0; from < text.size();) {
      std::size_t const end = text.find('\n', from);
      edit(std::string_view(text).substr(from, end - from));
      from = end + 1;
    }
  }

  /// What makes them what they are, a line each.
  std::string text() const {
    std::string lines;
    for (auto const& root : all()) {
      Orb::assignments(*root, [&](std::string const& line) { lines += line + '\n'; });
    }
    return lines;
  }
};

/// The differences between two entities, a line each: + added, - removed, ~ changed. Counters,
/// which copies leave alone, are left out.
inline std::string differenceText(Orb::Entity const& before, Orb::Entity const& after) {
  std::string lines;
  Orb::differences(before, after, [&](Orb::Difference const& d) {
    if (d.attribute == Orb::AttributeKind::counter) return;
    lines += "+-~"[static_cast<int>(d.kind)] + d.path + '\n';
  });
  return lines;
}

/// Makes an edit of a session: "PATH=TEXT" sets, "PATH" makes and "-PATH" removes.
inline void edit(Cli::Session::Session& session, std::string_view line) {
  if (line.starts_with('-')) return void(session.attributeDel(line.substr(1)));
  auto const [path, text, hasText] = Orb::splitAssignment(line);
  hasText ? session.attributeTextIs(path, text) : void(session.attributeIs(path));
}

/// A new session with these edits.
inline Orb::Ptr<Cli::Session::Session> openWith(Cli::Session::Manager& manager,
                                                Orb::Name const& name,
                                                std::initializer_list<char const*> edits) {
  auto session = manager.open(name);
  for (auto const* const line : edits) edit(*session, line);
  return session;
}

/// What a session would change, a line each, with the texts before and after.
inline std::string differenceText(Cli::Session::Session& session) {
  std::string lines;
  session.difference([&](Orb::Difference const& d) {
    lines += "+-~"[static_cast<int>(d.kind)] + d.path;
    lines += d.hasText ? ' ' + d.before + '>' + d.after + '\n' : "\n";
  });
  return lines;
}

/// What became of each unit, a line each.
inline std::string reportText(Cli::Session::CommitReport const& report) {
  std::string lines;
  for (auto const& item : report.items) {
    lines += item.path + ' ' + std::string(outcomeName(item.outcome));
    lines += item.overwrote.empty() ? "\n" : " over " + item.overwrote + '\n';
  }
  return lines;
}

}  // namespace TestSupport
