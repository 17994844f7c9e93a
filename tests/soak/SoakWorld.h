#pragma once

#include <deque>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <thread>

#include "list_import/CliHelper.h"
#include "list_import/PrefixSource.h"
#include "platform/orb/base/Trace.h"
#include "tests/soak/SoakModel.h"
#include "tests/soak/SoakStatus.h"
#include "tests/support/RationedMemory.h"

namespace Soak {

/// What drives the system, observes or models it has memory.
struct Unrationed {
  Unrationed() { TestSupport::grantedAllocations = TestSupport::kPlenty; }
  Unrationed(Unrationed const&) = delete;
  Unrationed& operator=(Unrationed const&) = delete;
  ~Unrationed() { TestSupport::grantedAllocations = granted; }
  long const granted = TestSupport::grantedAllocations;
};

inline std::vector<std::string> split(std::string const& text, char separator) {
  Unrationed const unrationed;  // streams do not say what they had no memory for
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
  return parts;
}

/// A whole process: roots, machines, sessions, observers of everything. It does what lines say:
///   commit EDITS         edits of a session, parted by ';', and its commit
///   open I | in I EDITS | close I
///                        the same in steps, of several sessions at once
///   poke WHAT A B C      a change of the running configuration or state, past the sessions; 7 puts
///                        another machine in the place of one
///   import FAMILY A C LINES
///                        a file, lines parted by '|', into a prefix list
///   release              lets go of symbols and statuses held so far
///   trace LEVEL          traces go to a sink that meddles
///   meddle N ACTS        each N-th observer from then on, sink or reading of the clock does the
///                        next of these, parted by ';': "throw", or a poke
///   scarce G F LINE      the line twice: at first G allocations succeed, and F behind these fail
///   ~                    in front of any: the next line comes while builds are under way
class World : TestSupport::TestLoop {
 public:
  World() {
    manager.clock()->timeSourceIs([this] {
      if (isTraced_) quietly([this] { meddle(); });
      return time += 0.003;  // a slice takes a few entries
    });
    eachCollection([this](Kind kind, auto const& all) {
      watches_.push_back(std::make_unique<Observer>(*all, [this, kind, &all](auto, auto key) {
        auto const symbol = all->symbol(*static_cast<Orb::String const*>(key));
        if (symbol) hold(kind, symbol);
        meddle();
      }));
    });
    watchRoots();
    for (U32 i = 0; i < std::size(kMachines); ++i) start(kMachines[i]);
  }
  ~World() {
    meddling_ = {};
    Orb::traceReset();
    for (Kind const kind : {dynamic, standard, asPath, prefix6, prefix}) drop(kind);
  }

  /// Throws a Fault when what came of it is not as the model says.
  void run(std::string line) {
    bool const isLeftAlone = line.starts_with("~");
    if (isLeftAlone) line.erase(0, 1);
    if (line.starts_with("scarce ")) {
      std::istringstream words(line.substr(7));
      long granted = 0, failing = 0;
      words >> granted >> failing;
      std::getline(words >> std::ws, line);
      return void(runTwice(line, granted, failing));
    }
    quietly([&] { act(line); });
    if (isLeftAlone) {
      quietly([&] { manager.turn(); });
      return syncBuilds();
    }
    settleAll();
    check();
  }
  /// The same with so many allocations that succeed before others fail, and then again with all.
  /// Whether one failed. What is poked is compiled before it is poked again. What throws nothing,
  /// and reports nothing, has been done whole.
  bool runTwice(std::string const& line, long granted, long failing) {
    bool hasFailed = false;
    isScarce_ = true;
    hasThrown_ = false;
    quietly([&] {
      TestSupport::ScarceMemory const scarce(granted, failing);
      quietly([&] { act(line); });
      settleAll();
      hasFailed = scarce.isSpent();
    });
    isScarce_ = false;
    model_.hasAllIndexes &= !hasFailed;
    meddling_.hasActed = true;
    if (line.starts_with("poke") || !hasThrown_) {
      settleAll();
      check();
    }
    if (!hasThrown_) return hasFailed;
    meddling_.hasActed = true;  // what was done twice counts twice
    run(line);
    return hasFailed;
  }

  /// Every status, for readers on other threads: a function that reads it.
  std::vector<std::function<std::string()>> readers() const {
    std::vector<std::function<std::string()>> all;
    eachSymbol([&](Kind, auto const& symbol) {
      all.push_back([status = symbol->status()] { return contentOf(*status); });
    });
    return all;
  }
  /// The configuration, without counters.
  std::string text() const {
    std::string text;
    for (std::string const& line : split(roots_.text(), '\n')) {
      bool const isCounter = line.find("ersion=") != line.npos && !line.starts_with("dynamic");
      if (!isCounter) text += line + '\n';
    }
    return text;
  }

 private:
  static constexpr Kind kMachines[] = {prefix, prefix6, asPath, standard, dynamic};

  struct Observer final : Orb::Notifiee {
    using OnChange = std::function<void(Orb::AttrId, void const*)>;
    Observer(Orb::Entity const& entity, OnChange onChange) : change(std::move(onChange)) {
      entity.notifieeIs(*this);
    }
    void onAttribute(Orb::Entity const&, Orb::AttrId id, void const* key) override {
      Unrationed const unrationed;
      change(id, key);
    }
    OnChange const change;
  };

  template <class Do>
  static void quietly(Do const& act) {
    try {
      act();
    } catch (Fault const&) {
      throw;
    } catch (std::exception const&) {
      hasThrown_ = true;  // what an observer threw has come to the caller
    }
  }
  void settleAll() {
    for (int i = 0; (!isScarce_ && !dropped_.empty()) || manager.nextDue() <= time; ++i) {
      require(i < 100000, "the loop does not settle");
      if (!isScarce_ && !dropped_.empty()) restart(dropped_.extract(dropped_.begin()).value());
      quietly([&] { manager.turn(); });
    }
  }

  // Symbols and what they hold.

  template <class Visit>
  void eachCollection(Visit const& visit) const {
    visit(prefix, all4_), visit(prefix6, all6_), visit(asPath, allPath_);
    visit(standard, allComm_[0]), visit(extended, allComm_[1]), visit(large, allComm_[2]);
    visit(dynamic, allDyn_);
  }
  template <class Visit>
  void eachSymbol(Visit const& visit) const {
    eachCollection([&](Kind kind, auto const& all) {
      for (auto const& symbol : all->symbol()) visit(kind, symbol);
    });
  }

  /// A symbol that is held from the moment at which it is seen.
  struct Held {
    Orb::Ptr<PolicySymbol> symbol;
    std::function<bool()> hasStatus;
    U32 version = 0;  // at the last check
    std::unique_ptr<Observer> follower;
  };
  template <class Symbol>
  void hold(Kind kind, Orb::Ptr<Symbol> const& symbol) {
    Held& held = held_[{kind, symbol->name()}];
    if (held.symbol == symbol) return;
    held = {symbol, [s = symbol.get()] { return s->status() != nullptr; }, 0,
            std::make_unique<Observer>(*symbol->symbolNotifier(), [this](auto...) { meddle(); })};
  }
  /// What nobody holds begins anew; of prefix lists, dynamic ones may hold a symbol.
  void release() {
    statuses_.clear();
    held_.clear();
    eachSymbol([&](Kind kind, auto const& symbol) { hold(kind, symbol); });
    for (auto& [key, version] : model_.versions) {
      if (held_.contains(key)) continue;
      version = 0;
      if (key.kind > prefix6) continue;
      Orb::Ptr<PrefixListSymbolDedupTable const> const table =
          key.kind == prefix ? table4_ : table6_;
      auto const symbol = prefixListSymbolFactory(key.name)->dedup(table);
      version = symbol->symbolNotifier()->version();
      if (version != 0) hold(key.kind, symbol);
    }
  }

  // Changes.

  void start(Kind kind) {
    if (kind == prefix) sm4_ = prefixListConfigSmFactory(roots_.lists, all4_, table4_);
    if (kind == prefix6) sm6_ = ipv6PrefixListConfigSmFactory(roots_.lists, all6_, table6_);
    if (kind == asPath) {
      smPath_ = asPathListConfigSmFactory(roots_.lists, roots_.asn, allPath_, tablePath_);
    }
    if (kind == standard) {
      smComm_ = commListConfigSmFactory(roots_.lists, allComm_[0], allComm_[1], allComm_[2],
                                        tableComm_[0], tableComm_[1], tableComm_[2]);
    }
    if (kind == dynamic) {
      smDyn_ = dynPrefixListConfigSmFactory(roots_.dynamic, model_.state, table4_, table6_, allDyn_,
                                            tableDyn_);
    }
  }
  void drop(Kind kind) {
    if (kind == prefix) sm4_ = nullptr;
    if (kind == prefix6) sm6_ = nullptr;
    if (kind == asPath) smPath_ = nullptr;
    if (kind == standard) smComm_ = nullptr;
    if (kind == dynamic) smDyn_ = nullptr;
  }
  void restart(Kind kind) {
    drop(kind);
    {
      Unrationed const unrationed;
      model_.onRestart(kind);
    }
    bool isStarted = false;
    do {  // an observer that throws ends the constructor
      quietly([&] { start(kind), isStarted = true; });
    } while (!isStarted && !isScarce_);
    Unrationed const unrationed;
    if (!isStarted) dropped_.insert(kind);
  }

  void act(std::string const& line) {
    std::string const verb = line.substr(0, line.find(' '));
    std::string const rest = line.substr(std::min(line.size(), verb.size() + 1));
    if (verb == "commit") return commit(split(rest, ';'));
    if (verb == "poke") return poke(rest);
    if (verb == "import") return import(rest);
    if (verb == "release") return release();
    std::string const more = rest.substr(std::min(rest.size(), std::size_t{2}));
    int const i = std::stoi(rest);
    if (verb == "meddle") return void(meddling_ = {i, 0, split(more, ';'), meddling_.hasActed});
    if (verb == "trace") {
      isTraced_ = i != 0;
      Orb::traceSinkIs([this, own = std::this_thread::get_id()](auto...) {
        if (std::this_thread::get_id() == own) quietly([&] { meddle(); });
      });
      return Orb::traceLevelsAre("RouteMapSm/" + rest + ",RouteMapStatusType/" + rest);
    }
    Orb::Ptr<Cli::Session::Session>& session = sessions_[i];
    if (verb == "open") session = manager_->open("S" + rest);
    if (session && verb == "in") edit(*session, split(more, ';'));
    if (session && verb == "close") finish(*std::exchange(session, nullptr));
  }
  /// Those of the edits that are accepted.
  std::vector<std::string> edit(Cli::Session::Session& session,
                                std::vector<std::string> const& edits) {
    std::vector<std::string> accepted;
    for (std::string const& line : edits) {
      try {
        TestSupport::edit(session, line);
        accepted.push_back(line);
      } catch (Orb::RangeException const&) {
        continue;
      }
    }
    return accepted;
  }
  /// A commit of which an observer throws is done again.
  void finish(Cli::Session::Session& session) {
    for (int i = 0; session.isOpen() && (i == 0 || !isScarce_); ++i) {
      require(i < 100, "the commit does not succeed");
      hasThrown_ |= !session.commit().isComplete();
    }
  }
  /// A commit by itself makes the configuration what the same edits make of a plain copy, and
  /// raises the version of each list and map that differs then, by one.
  void commit(std::vector<std::string> const& edits) {
    auto const session = manager_->open("commit");
    if (!meddling_.acts.empty() || meddling_.hasActed || isScarce_) {
      edit(*session, edits);
      return finish(*session);
    }
    TestSupport::PolicyRoots plain;
    plain.load(roots_.text());
    auto const before = units();
    for (std::string const& line : edit(*session, edits)) plain.edit(line);
    finish(*session);
    auto const made = roots_.all();
    for (std::size_t i = 0; i < made.size(); ++i) {
      require(TestSupport::differenceText(*plain.all()[i], *made[i]).empty(), "other edits");
    }
    for (auto const& [unit, now] : units()) {
      auto const found = before.find(unit);
      if (found == before.end()) continue;
      U32 const raised = found->second.text != now.text ? 1 : 0;
      require(now.version == found->second.version + raised, now.text + "has a wrong version");
    }
  }
  struct Unit {
    std::string text;
    U32 version;
  };
  std::map<Orb::Ptr<Orb::Entity>, Unit> units() const {
    std::map<Orb::Ptr<Orb::Entity>, Unit> found;
    auto const add = [&](auto const& lists) {
      for (auto const& list : lists) {
        Unit& unit = found[list] = {{}, list->version()};
        Orb::assignments(*list, [&](std::string const& line) {
          if (line.find("ersion=") == line.npos) unit.text += line + '\n';  // no counters
        });
      }
    };
    add(roots_.lists->prefixList()), add(roots_.lists->ipv6PrefixList());
    add(roots_.lists->pathList());
    add(roots_.maps->routeMap()), add(roots_.filters->peerFilter());
    for (auto const& list : roots_.lists->communityList()) add(list->communityListEntry());
    return found;
  }

  /// Writers raise the version of what they have changed, whatever observers throw.
  template <class E, class Change>
  static void raise(Orb::Ptr<E> const& entity, Change const& change, U32 by = 1) {
    Orb::FirstError error;
    error.guard(change);
    error.guard([&] { entity->versionIs(entity->version() + by); });
    error.rethrow();
  }
  template <class V, class Family>
  void pokePrefixList(Orb::Name const& name, U32 b, U32 c) {
    if (c == 0) return Family::listDel(*roots_.lists, name);
    auto const list = Family::listIs(*roots_.lists, name);
    raise(list, [&] { Family::entryIs(*list, V::entry(b, c)); });
  }
  void poke(std::string const& what, bool isInside = false) {
    std::istringstream words(what);
    U32 kind = 0, a = 0, b = 0, c = 0;
    words >> kind >> a >> b >> c;
    Orb::Name const name("L" + std::to_string(a));
    auto& lists = *roots_.lists;
    if (kind == 0) {
      pokePrefixList<V4, Acl::Ipv4Family>(name, b, c);
    } else if (kind == 1) {
      pokePrefixList<V6, Acl::Ipv6Family>(name, b, c);
    } else if (kind == 2) {
      if (c == 0) return lists.pathListDel(name);
      auto const list = lists.pathListIs(name);
      raise(list, [&] { list->pathEntryIs(TestSupport::AsPathWorld::entry(b, c)); });
    } else if (kind == 3) {
      if (c == 0) return lists.communityListDel(name);
      auto const list = lists.communityListIs(name);
      if (c == 1) return list->communityListEntryDel(b);
      auto const entry = list->communityListEntryIs(b);
      raise(entry, [&] {
        entry->permitIs(c % 4 < 2 ? Acl::permitMatch : Acl::denyMatch);
        entry->communityIs(value(c % 4), c % 5 != 0);
        if (isInside) return;  // an entry that moves on meanwhile may be left in its last family
        entry->listTypeIs(static_cast<Acl::CommunityListType>(c % 6));
        entry->commRegexIs(std::array{"65000:1", "[", "^$", ""}[(b + c) % 4]);
      });
    } else if (kind == 4) {
      if (c == 0) return roots_.dynamic->dynamicPrefixListDel(name);
      auto const entry = roots_.dynamic->dynamicPrefixListIs(name);
      Orb::String const list("L" + std::to_string(b % 3));
      auto const change = [&] {
        entry->ipv4PrefixListIs(c % 4 ? list : "");
        entry->ipv6PrefixListIs(c % 3 ? list : "");
      };
      raise(entry, change, 1 + c % 2);
    } else if (kind == 5) {
      if (c == 0) return model_.state->dynamicPrefixListDel(name);
      auto const set = model_.state->dynamicPrefixListIs(name);
      if (c == 1) return set->activeInVrfDel(b);
      using namespace Routing::DynamicPrefixList;
      set->activeInVrfIs(b, c % 2 ? active : inactive);
    } else if (kind == 7) {
      if (!isInside) return restart(kMachines[b % std::size(kMachines)]);
      // The others leave symbols of lists that go unseen while there is no machine.
      drop(*dropped_.insert(kMachines[3 + b % 2]).first);
    } else if (c % 2) {
      lists.regexModeIs(b % 2 ? Acl::regexModePosix : Acl::regexModeDfa);
    } else {
      roots_.asn->asnNotationIs(b % 2 ? Routing::asnNotationAsdot : Routing::asnNotationAsplain);
    }
  }
  template <class Family>
  void import(Orb::Name const& name, std::string const& path,
              Acl::UrlImportDuplicateOperation operation) {
    auto const list = Family::listIs(*roots_.lists, name);
    std::string const before = Acl::prefixListText(*list);
    bool isWhole = false;
    raise(list, [&] {
      quietly([&] { isWhole = !Acl::importPrefixList<Family>(*list, path, operation).isError(); });
      isWhole |= meddling_.hasActed || isScarce_ || Acl::prefixListText(*list) == before;
    });
    require(isWhole, "half an import");
  }
  void import(std::string const& what) {
    U32 family = 0, a = 0, c = 0;
    std::string const path = testing::TempDir() + "soak" + std::to_string(getpid());
    {
      Unrationed const unrationed;
      std::istringstream words(what);
      words >> family >> a >> c;
      std::string lines;
      std::getline(words >> std::ws, lines);
      std::replace(lines.begin(), lines.end(), '|', '\n');
      std::ofstream(path) << lines << "\n";
    }
    Orb::Name const name("L" + std::to_string(a));
    auto const operation = static_cast<Acl::UrlImportDuplicateOperation>(c);
    family == 4 ? import <Acl::Ipv4Family>(name, path, operation)
                : import <Acl::Ipv6Family>(name, path, operation);
    std::remove(path.c_str());
  }

  // Observers.

  struct Meddling {
    int every = 0;  // of so many observers one acts
    int passed = 0;
    std::vector<std::string> acts = {};
    bool hasActed = false;
  };
  void meddle() {
    Unrationed const unrationed;
    if (meddling_.acts.empty() || ++meddling_.passed % meddling_.every != 0) return;
    meddling_.hasActed = true;
    std::string const what = meddling_.acts.front();
    meddling_.acts.erase(meddling_.acts.begin());
    if (what == "throw") throw std::runtime_error("an observer");
    poke(what.substr(what.find(' ') + 1), true);
  }

  /// Hands the changes of an entity to the model, whatever else they do.
  template <class E, class OnChange>
  void observe(E const& entity, OnChange const& onChange) {
    observers_[&entity] = std::make_unique<Observer>(entity, [this, onChange](auto id, auto key) {
      onChange(static_cast<typename E::Attr>(id), key);
      meddle();
    });
  }
  /// A list came or went; `current` gives the one that is there. What is changed in one that is not
  /// there any more does not count.
  template <class Current, class OnThere, class OnChange>
  void onMember(Current const& current, OnThere const& onThere, OnChange const& onChange) {
    auto const entity = current();
    onThere(entity != nullptr);
    if (!entity) return;
    observe(*entity, [current, onChange, entity = entity.get()](auto attribute, auto key) {
      if (current().get() == entity) onChange(attribute, key);
    });
  }
  void watchRoots() {
    using Attr = Acl::AclListConfig::Attr;
    auto const nameOf = [](auto key) { return *static_cast<Orb::Name const*>(key); };
    observe(*roots_.lists, [=, this, &lists = *roots_.lists](Attr attribute, auto key) {
      if (attribute == Attr::regexMode) return model_.onSetting();
      Orb::Name const name = nameOf(key);
      if (attribute == Attr::prefixList) {
        onPrefixList(prefix, name, [&lists, name] { return lists.prefixList(name); });
      } else if (attribute == Attr::ipv6PrefixList) {
        onPrefixList(prefix6, name, [&lists, name] { return lists.ipv6PrefixList(name); });
      } else if (attribute == Attr::pathList) {
        onMember([&lists, name] { return lists.pathList(name); },
                 [&](bool isThere) { model_.onPathList(name, isThere); },
                 [this, name](auto changed, auto) {
                   if (changed == Acl::AsPathList::Attr::version) model_.onPathVersion(name);
                 });
      } else if (attribute == Attr::communityList) {
        onMember([&lists, name] { return lists.communityList(name); },
                 [&](bool isThere) {
                   if (!isThere) model_.onCommunityListDel(name);
                 },
                 [this, name](auto, auto seqno) {
                   onCommunityEntry(name, *static_cast<U32 const*>(seqno));
                 });
      }
    });
    observe(*roots_.asn, [this](auto, auto) { model_.onSetting(); });
    observe(*roots_.dynamic, [=, this](auto, auto key) {
      onMember([this, name = nameOf(key)] { return model_.entry(name); },
               [&](bool) { model_.onDynamic(nameOf(key)); },
               [this, name = nameOf(key)](auto changed, auto) {
                 using Entry = Routing::DynamicPrefixList::DynamicPrefixListEntry;
                 if (changed == Entry::Attr::version) model_.onDynamicVersion(name);
               });
    });
    observe(*model_.state, [=, this](auto, auto key) {
      onMember([this, name = nameOf(key)] { return model_.state->dynamicPrefixList(name); },
               [&](bool) { model_.onDynamic(nameOf(key)); },
               [this, name = nameOf(key)](auto, auto) { model_.onVrf(name); });
    });
  }
  template <class Current>
  void onPrefixList(Kind kind, Orb::Name const& name, Current const& current) {
    onMember(
        current, [&](bool isThere) { model_.onPrefixList(kind, name, isThere); },
        [this, kind, name](auto changed, auto) {
          if (changed == decltype(changed)::version) model_.onPrefixVersion(kind, name);
        });
  }
  void onCommunityEntry(Orb::Name const& name, U32 seqno) {
    auto const current = [this, name, seqno]() -> Orb::Ptr<Acl::CommunityListEntry> {
      auto const list = roots_.lists->communityList(name);
      return list ? list->communityListEntry(seqno) : nullptr;
    };
    onMember(
        current,
        [&](bool isThere) {
          if (!isThere) model_.onCommunityEntryDel(name, seqno);
        },
        [this, name, current](auto changed, auto) {
          if (changed != Acl::CommunityListEntry::Attr::version) return;
          model_.onCommunityVersion(name, *current());
        });
  }

  // Checks.

  /// Builds that have ended between two lines.
  void syncBuilds() {
    std::erase_if(model_.pending, [this](Model::Key const& key) {
      auto const held = held_.find(key);
      bool const isDone = held != held_.end() && held->second.symbol->symbolNotifier()->version() ==
                                                     model_.versions[key] + 1;
      if (isDone) model_.bump(key);
      return isDone;
    });
  }
  void check() {
    auto const acts = std::exchange(meddling_.acts, {});  // what checks do is traced, too
    checkAll();
    meddling_.acts = acts;
  }
  void checkAll() {
    model_.settle();
    bool const isExact = !std::exchange(meddling_.hasActed, false);
    if (!isExact) {  // a list that came and went unseen has had no symbol
      std::erase_if(model_.versions, [&](auto const& item) { return !held_.contains(item.first); });
    }
    std::size_t count = 0;
    for (auto& [key, held] : held_) {
      U32 const version = held.symbol->symbolNotifier()->version();
      U32& expected = model_.versions[key];
      std::string const what = std::to_string(key.kind) + ' ' + key.name.str();
      require(version >= held.version, what + " went back");
      require(!isExact || version == expected, what + " is of version " + std::to_string(version) +
                                                   " instead of " + std::to_string(expected));
      held.version = expected = version;
      require(held.hasStatus() == model_.isPublished(key), what + " is published, or is not");
      if (held.hasStatus()) ++count;
    }
    eachSymbol([&](Kind kind, auto const& symbol) {
      --count;
      Model::Key const key{kind, symbol->name()};
      require(held_[key].symbol == symbol, "another symbol");
      checkStatus(model_, key, *symbol->status());
      statuses_.push_back({[status = symbol->status()] { return contentOf(*status); }, {}});
      statuses_.back().before = statuses_.back().content();
    });
    require(count == 0, "a status without a place");
    for (auto const& [name, list] : model_.dynamics) {
      if (list.isPublished && model_.entry(name)->version() != 0) checkFollowed(name);
    }
    for (int i = 0; i < 20 && statuses_.size() > 100; ++i) {
      require(statuses_.front().content() == statuses_.front().before, "a status has changed");
      statuses_.pop_front();
    }
  }
  /// A dynamic list has the prefix lists' own symbols, and the statuses that these have; but one
  /// that was never compiled has come without a version.
  void checkFollowed(Orb::Name const& name) {
    auto const& status = *allDyn_->symbol(name)->status();
    auto const checkList = [&](auto const& symbol, auto const& compiled, auto const& all) {
      if (!symbol) return;
      auto const configured = all->symbol(symbol->name());
      require(!configured || configured == symbol, "a symbol of its own");
      bool const isNew = symbol->status() && V4::contentOf(symbol->status()).empty();
      require(isNew || symbol->status() == compiled, name.str() + " is late");
    };
    checkList(status.ipv4PfxListSymbol(), status.ipv4PfxListStatus(), all4_);
    checkList(status.ipv6PfxListSymbol(), status.ipv6PfxListStatus(), all6_);
  }

  struct HeldStatus {
    std::function<std::string()> content;
    std::string before;
  };

  TestSupport::PolicyRoots roots_;
  Model model_{roots_};
  Orb::Ptr<Cli::Session::Manager> const manager_ = roots_.manager();
  std::map<int, Orb::Ptr<Cli::Session::Session>> sessions_;

  Orb::Ptr<AllPrefixListSymbol> const all4_ = allPrefixListSymbolFactory();
  Orb::Ptr<AllPrefixListSymbol> const all6_ = allPrefixListSymbolFactory();
  Orb::Ptr<AllAsPathListSymbol> const allPath_ = allAsPathListSymbolFactory();
  CommListSymbols const allComm_[3] = {allCommListSymbolFactory(), allCommListSymbolFactory(),
                                       allCommListSymbolFactory()};
  Orb::Ptr<AllDynPrefixListSymbol> const allDyn_ = allDynPrefixListSymbolFactory();
  Orb::Ptr<PrefixListSymbolDedupTable> const table4_ = prefixListSymbolDedupTableFactory();
  Orb::Ptr<PrefixListSymbolDedupTable> const table6_ = prefixListSymbolDedupTableFactory();
  Orb::Ptr<AsPathListSymbolDedupTable> const tablePath_ = asPathListSymbolDedupTableFactory();
  CommListSymbolTable const tableComm_[3] = {commListSymbolDedupTableFactory(),
                                             commListSymbolDedupTableFactory(),
                                             commListSymbolDedupTableFactory()};
  Orb::Ptr<DynPrefixListSymbolDedupTable> const tableDyn_ = dynPrefixListSymbolDedupTableFactory();
  Orb::Ptr<PrefixListConfigSm> sm4_;
  Orb::Ptr<Ipv6PrefixListConfigSm> sm6_;
  Orb::Ptr<AsPathListConfigSm> smPath_;
  Orb::Ptr<CommListConfigSm> smComm_;
  Orb::Ptr<DynPrefixListConfigSm> smDyn_;

  Meddling meddling_;
  bool isScarce_ = false;
  bool isTraced_ = false;
  static inline thread_local bool hasThrown_ = false;
  std::set<Kind> dropped_;  // by an observer, or not made for want of memory
  std::vector<std::unique_ptr<Observer>> watches_;
  std::map<Orb::Entity const*, std::unique_ptr<Observer>> observers_;
  std::map<Model::Key, Held> held_;
  std::deque<HeldStatus> statuses_;
};

}  // namespace Soak
