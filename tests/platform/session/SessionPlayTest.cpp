#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "platform/session/Session.h"
#include "tests/support/PolicyRoots.h"

// Random plays of three sessions over two route maps, held against a model that keeps no candidate:
// it works out what a session shows anew each time, from what runs, from what ran when the session
// touched the map, and from the edits of the session alone. Few values, so that they coincide.

namespace {

using Cli::Session::Session;
using Strings = std::set<std::string>;

/// An entity: its name, where it is a single child, and its one attribute; empty for the default.
struct Node {
  std::string name;
  std::string value;
  bool operator==(Node const&) const = default;
  friend void PrintTo(Node const& node, std::ostream* out) {
    *out << node.name << '=' << node.value;
  }
};
/// By place: a map, an entry of one, the set of an entry. A set has its name in its node.
using Tree = std::map<std::string, Node>;

bool isWithin(std::string const& path, std::string const& top) {
  return path.starts_with(top) &&
         (path.size() == top.size() || path[top.size()] == '.' || path[top.size()] == '[');
}
std::string parentOf(std::string const& place) {
  auto const dot = place.rfind('.');
  return dot == place.npos ? std::string() : place.substr(0, dot);
}
bool isSet(std::string const& place) { return place.ends_with("communityDelete"); }
bool isEntry(std::string const& place) { return !isSet(place) && place.find('.') != place.npos; }

std::string pathOf(std::string const& place, std::string const& name) {
  return isSet(place) ? place + "['" + name + "']" : place;
}
std::string valuePath(std::string const& place, std::string const& name) {
  return pathOf(place, name) + (isSet(place)     ? ".flag"
                                : isEntry(place) ? ".weight"
                                                 : ".description[1]");
}

Tree within(Tree const& tree, std::string const& top) {
  Tree part;
  for (auto const& [place, node] : tree) {
    if (isWithin(place, top)) part[place] = node;
  }
  return part;
}

/// The paths under which two trees differ; of what is gone, the outermost alone.
Strings changesOf(Tree const& before, Tree const& after) {
  Strings paths;
  for (auto const& [place, was] : before) {
    auto const is = after.find(place);
    bool const isGone = is == after.end() || is->second.name != was.name;
    if (isGone && (parentOf(place).empty() || after.contains(parentOf(place)))) {
      paths.insert(pathOf(place, was.name));
    }
  }
  for (auto const& [place, is] : after) {
    auto const found = before.find(place);
    bool const isNew = found == before.end() || found->second.name != is.name;
    if (isNew) paths.insert(pathOf(place, is.name));
    if (is.value != (isNew ? "" : found->second.value)) paths.insert(valuePath(place, is.name));
  }
  return paths;
}
bool writesOver(Strings const& paths, std::string const& other) {
  return std::any_of(paths.begin(), paths.end(), [&](auto const& p) { return isWithin(other, p); });
}

/// What a session says of a place.
enum Claim : unsigned { modified = 1, masked = 2, kept = 4, made = 8 };

/// What a session has done to one map.
struct Edits {
  Tree base;
  Tree mine;  // the entities that it made, modified or wants to be there
  std::map<std::string, unsigned> claims;
  std::vector<std::pair<std::string, Strings>> foreign;  // who changed what since

  bool has(std::string const& place, unsigned claim) const {
    auto const at = claims.find(place);
    return at != claims.end() && (at->second & claim) != 0;
  }
  bool reach(std::string const& place) const {
    return std::any_of(claims.begin(), claims.end(),
                       [&](auto const& claim) { return isWithin(claim.first, place); });
  }

  void show(Tree const& running, Tree const& from, std::string const& place, Tree& shown) const {
    if (has(place, masked)) return void(shown.merge(within(mine, place)));
    auto const own = mine.find(place);
    auto const runs = running.find(place);
    std::string const name = own == mine.end() ? "" : own->second.name;
    bool const isOurs = reach(place);
    bool const isThere = runs != running.end() && (!isOurs || runs->second.name == name);
    if (!isThere && !isOurs) return;
    auto const began = from.find(place);
    Tree const ofBase =  // what it made has nothing of the base
        began == from.end() || has(place, made) ? Tree() : within(from, place);
    Tree source;
    if (isThere) {
      source = within(running, place);
    } else if (!ofBase.empty() && began->second.name == name) {
      source = ofBase;
    }
    Node& node = shown[place] = source.contains(place) ? source[place] : Node{name, ""};
    if (has(place, modified)) node = own->second;
    Strings below;
    auto const add = [&](std::string p) {  // the place right below, on the way to p
      if (!isWithin(p, place)) return;
      while (p != place && parentOf(p) != place) p = parentOf(p);
      if (p != place) below.insert(p);
    };
    for (auto const& [p, ignored] : source) add(p);
    for (auto const& [p, ignored] : claims) add(p);
    for (std::string const& p : below) show(source, ofBase, p, shown);
  }
};

struct Model {
  std::map<std::string, Edits> units;
  std::vector<std::string> order;

  Tree view(Tree const& running, std::string const& unit) const {
    auto const touched = units.find(unit);
    if (touched == units.end()) return within(running, unit);
    Tree shown;
    touched->second.show(running, touched->second.base, unit, shown);
    return shown;
  }
  Edits& touch(Tree const& running, std::string const& unit) {
    auto const [at, isNew] = units.try_emplace(unit);
    if (isNew) {
      at->second.base = within(running, unit);
      order.push_back(unit);
    }
    return at->second;
  }
  /// Makes what is missing on the way to a place; the entity there.
  Node make(Tree const& running, std::string const& place, std::string const& name) {
    std::string const parent = parentOf(place);
    std::string const unit = place.substr(0, place.find('.'));
    if (!parent.empty()) make(running, parent, "");
    Tree const shown = view(running, unit);
    Edits& edits = touch(running, unit);
    auto const there = shown.find(place);
    if (there != shown.end() && there->second.name == name) return there->second;
    unsigned& claim = edits.claims[place];
    claim = (claim & ~modified) | made | (running.contains(place) ? masked : 0U);
    return edits.mine[place] = {name, ""};
  }
};

class SessionPlay : public testing::TestWithParam<unsigned> {
 protected:
  static constexpr char const* kMaps[] = {"routeMap['M']", "routeMap['N']"};

  SessionPlay() {
    for (int i = 0; i < 3; ++i) reopen(i);
  }
  int pick(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }
  void reopen(int i) {
    name_[i] = "s" + std::to_string(++opened_);
    session_[i] = manager_->open(name_[i]);
    model_[i] = {};
  }

  std::string pickPlace() {
    std::string place = kMaps[pick(2)];
    if (pick(5) > 0) place += pick(2) ? ".mapEntry[10]" : ".mapEntry[20]";
    if (isEntry(place) && pick(3) == 0) place += ".communityDelete";
    return place;
  }
  std::string pickValue(std::string const& place) {
    char const* const values[3][3] = {
        {"'a'", "'b'", "'c'"}, {"1", "2", ""}, {"commSetNone", "commSetAdditive", ""}};
    return values[isSet(place) ? 2 : isEntry(place) ? 1 : 0][pick(3)];
  }
  static std::string textOf(std::string const& place, std::string const& value) {
    return !value.empty() ? value : isSet(place) ? "commSetDefault" : "None";
  }

  void set(int i, std::string const& place, std::string const& name, std::string const& value) {
    log("set " + valuePath(place, name) + "=" + value);
    session_[i]->attributeTextIs(valuePath(place, name), textOf(place, value));
    model_[i].make(running_, place, name);
    modify(i, place, {name, value});
  }
  void mutate(int i, std::string const& place, std::string const& value) {
    log("mutate " + place + "=" + value);
    auto const entry = session_[i]->edit<Routing::RouteMap::MapEntry>(place);
    Keel::MaybeU63 weight;
    Orb::fromText(weight, textOf(place, value));
    entry->weightIs(weight);
    // A mutator that changes nothing is no edit.
    if (model_[i].make(running_, place, "").value != value) modify(i, place, {"", value});
  }
  void modify(int i, std::string const& place, Node const& node) {
    Edits& edits = model_[i].touch(running_, place.substr(0, place.find('.')));
    edits.mine[place] = node;
    edits.claims[place] |= modified;
  }
  void make(int i, std::string const& place, std::string const& name) {
    log("make " + pathOf(place, name));
    session_[i]->attributeIs(pathOf(place, name));
    Node const node = model_[i].make(running_, place, name);
    Edits& edits = model_[i].touch(running_, place.substr(0, place.find('.')));
    edits.claims[place] |= kept;
    edits.mine.try_emplace(place, node);
  }
  void remove(int i, std::string const& place, std::string const& name) {
    log("remove " + pathOf(place, name));
    std::string const unit = place.substr(0, place.find('.'));
    Tree const shown = model_[i].view(running_, unit);
    auto const there = shown.find(place);
    bool const isThere = there != shown.end() && there->second.name == name;
    Edits* const had = model_[i].units.contains(unit) ? &model_[i].units[unit] : nullptr;
    // By a mutator, that is an edit if there is something of others to remove.
    bool const isOwn = had && had->has(place, made | masked);
    if (place != unit && isThere && running_.contains(place) && !isOwn && pick(2)) {
      removeByMutator(*session_[i], place);
    } else {
      ASSERT_EQ(session_[i]->attributeDel(pathOf(place, name)), isThere) << log_;
    }
    if (!isThere) return;
    Edits& edits = model_[i].touch(running_, unit);
    std::erase_if(edits.mine, [&](auto const& item) { return isWithin(item.first, place); });
    for (auto& [p, claim] : edits.claims) {
      if (isWithin(p, place)) claim &= masked;
    }
    std::erase_if(edits.claims, [](auto const& item) { return item.second == 0; });
    edits.claims[place] |= masked;
  }

  static void removeByMutator(Session& session, std::string const& place) {
    if (isSet(place)) {
      session.edit<Routing::RouteMap::MapEntry>(parentOf(place))->communityDeleteDel();
    } else {
      session.edit<Routing::RouteMap::Map>(parentOf(place))
          ->mapEntryDel(place.ends_with("[10]") ? 10 : 20);
    }
  }

  /// What a session shows: the keys, read at once, and then attribute by attribute.
  void look(int i) {
    log("look");
    Session& s = *session_[i];
    std::string const keys = s.attributeText("routeMap");
    auto const read = [&](std::string const& path) {
      try {
        return s.attributeText(path);
      } catch (Orb::RangeException const&) {
        return std::string();
      }
    };
    for (std::string const unit : kMaps) {
      Tree shown;
      std::string const ten = unit + ".mapEntry[10]";
      std::string const twenty = unit + ".mapEntry[20]";
      for (std::string const& place :
           {unit, ten, ten + ".communityDelete", twenty, twenty + ".communityDelete"}) {
        std::string name = read(place);
        if (name.empty() || name == "None") continue;
        name = isSet(place) ? name.substr(1, name.size() - 2) : "";
        std::string const text = read(valuePath(place, name));
        shown[place] = {name, text == "None" || text == "commSetDefault" ? "" : text};
      }
      ASSERT_EQ(shown, model_[i].view(running_, unit)) << unit << '\n' << log_;
      bool const isListed = keys.find(unit.substr(9, 3)) != keys.npos;
      ASSERT_EQ(isListed, shown.contains(unit)) << unit << '\n' << log_;
    }
  }

  void commit(int i) {
    log("commit");
    std::string expected;
    for (std::string const& unit : model_[i].order) {
      Tree const before = within(running_, unit);
      Tree const after = model_[i].view(running_, unit);
      Strings const mine = changesOf(before, after);
      std::string authors;
      Strings later;
      auto const& foreign = model_[i].units[unit].foreign;
      for (auto at = foreign.rbegin(); at != foreign.rend(); ++at) {
        bool const isHit = std::any_of(at->second.begin(), at->second.end(), [&](auto const& p) {
          return writesOver(mine, p) && !writesOver(later, p);
        });
        if (isHit) authors = at->first + (authors.empty() ? "" : ", ") + authors;
        later.insert(at->second.begin(), at->second.end());
      }
      expected += unit + (before == after  ? " unchanged"
                          : before.empty() ? " created"
                          : after.empty()  ? " deleted"
                                           : " changed");
      expected += authors.empty() ? "\n" : " over " + authors + '\n';
      std::erase_if(running_, [&](auto const& item) { return isWithin(item.first, unit); });
      running_.insert(after.begin(), after.end());
      for (int other = 0; other < 3; ++other) {
        auto const touched = model_[other].units.find(unit);
        if (other != i && touched != model_[other].units.end()) {
          touched->second.foreign.emplace_back(name_[i], mine);
        }
      }
    }
    ASSERT_EQ(TestSupport::reportText(session_[i]->commit()), expected) << log_;
    reopen(i);
    look(i);
  }

  void step() {
    int const i = actor_ = pick(3);
    std::string const place = pickPlace();
    std::string const name = isSet(place) ? (pick(2) ? "X" : "Y") : "";
    int const act = pick(12);
    if (act < 2) return commit(i);
    if (act < 4) return look(i);
    if (act < 5) return make(i, place, name);
    if (act < 7) return remove(i, place, name);
    if (act > 7) return set(i, place, name, pickValue(place));
    if (isEntry(place)) mutate(i, place, pickValue(place));
  }

  void log(std::string const& what) { log_ += name_[actor_] + ' ' + what + '\n'; }

  std::mt19937 random_{GetParam()};
  TestSupport::PolicyRoots roots_;
  Orb::Ptr<Cli::Session::Manager> manager_ = roots_.manager();
  Orb::Ptr<Session> session_[3];
  std::string name_[3];
  Model model_[3];
  Tree running_;
  int opened_ = 0;
  int actor_ = 0;
  std::string log_;
};

TEST_P(SessionPlay, ShowsCommitsAndReportsWhatTheModelDoes) {
  for (int i = 0; i < 400 && !HasFatalFailure(); ++i) step();
}

INSTANTIATE_TEST_SUITE_P(Seeds, SessionPlay, testing::Range(1U, 41U));

}  // namespace
