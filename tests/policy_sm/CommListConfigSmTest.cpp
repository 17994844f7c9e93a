#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>

#include "config_copy/RouteMapCopy.h"
#include "platform/orb/base/Trace.h"
#include "platform/session/Manager.h"
#include "platform/session/Session.h"
#include "policy_eval/MatchCommunityList.h"
#include "tests/support/CommListWorld.h"
#include "tests/support/Observer.h"
#include "tests/support/RationedMemory.h"
#include "tests/support/Thrown.h"

namespace {

using namespace Routing::RouteMap;
using Acl::CommunityListType;
using Orb::U32;
using Entry = Acl::CommunityListEntry;
using Status = Orb::Ptr<CommListStatus const>;
using TestSupport::CommListWorld;
using TestSupport::Observer;

constexpr std::size_t kFamilies = 3;
/// Expressions, and which of two texts their engines match; "[" is wrong.
constexpr char const* kTexts[] = {"65000:1", "1:7"};
constexpr std::pair<char const*, char const*> kExpressions[] = {
    {"^65000:", "10"}, {":7$", "01"}, {"", "11"}, {"[", nullptr}};

std::size_t familyOf(Entry const& entry) { return static_cast<std::size_t>(entry.listType()) / 2; }
bool isExpanded(Entry const& entry) { return static_cast<U32>(entry.listType()) % 2 != 0; }

/// What is copied of an entry, and what its engine matches.
std::string textOf(Entry const& entry, std::string const& engine) {
  std::string text = std::to_string(entry.seqno()) + ' ' + Orb::toText(entry.permit());
  text += Orb::toText(entry.listType()) + entry.commRegex().str() + '/' + engine;
  for (auto const& [value, flag] : entry.community()) {
    text += ' ' + Orb::toText(value) + (flag ? "+" : "-");
  }
  return text + '\n';
}
std::string contentOf(Status const& status) {
  if (!status) return "";
  EXPECT_TRUE(status->commVectorRawPtr()->empty() && !status->fromCommSet());
  std::string text = status->name().str() + '\n';
  for (auto const& entry : status->communityListEntry()) {
    EXPECT_TRUE(entry->version() == 0 && entry->commRegexDisplay().empty());
    EXPECT_TRUE(entry->lbwDisplay().empty());
    std::string matches;
    auto const engine = status->regex(entry->seqno());
    for (auto const* route : kTexts) {
      if (engine) matches += engine->execute(route) == 0 ? '1' : '0';
    }
    text += textOf(*entry, matches);
  }
  return text;
}
/// What the engine of an entry matches that has none yet; null for a wrong expression.
char const* engineOf(Entry const& entry) {
  for (auto const& [regex, matches] : kExpressions) {
    if (isExpanded(entry) && entry.commRegex() == regex) return matches;
  }
  return "";
}

/// Gives an entry any content.
template <class Below>
void edit(Entry& entry, Below const& below, U32 expressions) {
  entry.listTypeIs(static_cast<CommunityListType>(below(6)));
  entry.permitIs(below(2) ? Acl::permitMatch : Acl::denyMatch);
  if (below(4) == 0) entry.communityDelAll();
  entry.communityIs(Acl::CommunityValue::of(0U, 0U, below(9)), below(2) != 0);
  entry.commRegexIs(kExpressions[below(expressions)].first);
  entry.commRegexDisplayIs("shown");
  entry.lbwDisplayIs(0, "shown");
}

/// All is compiled as configured, without wrong expressions; copies in families that entries have
/// left may be there. Each status that is long enough has an index, made of what it holds itself.
void expectInLine(CommListWorld& w, bool hasIndexes = true) {
  for (auto const& list : w.config->communityList()) {
    auto const sm = w.machine->communityList(list->name());
    ASSERT_TRUE(sm && sm->list() == list && sm->isInLine());
    EXPECT_EQ(sm->communityListEntry().size(), list->communityListEntry().size());
    std::string contents[kFamilies];
    for (std::size_t i = 0; i < kFamilies; ++i) contents[i] = contentOf(w.status(i, list->name()));
    for (auto const& entry : list->communityListEntry()) {
      if (entry->version() == 0) continue;
      std::string const& content = contents[familyOf(*entry)];
      EXPECT_NE(content.find('\n' + textOf(*entry, engineOf(*entry))), content.npos)
          << content << "; not " << textOf(*entry, engineOf(*entry)) << " version "
          << entry->version() << " done " << sm->communityListEntry(entry->seqno())->isDone();
    }
  }
  for (auto const& all : w.all) {
    for (auto const& symbol : all->symbol()) {
      auto const list = w.config->communityList(Orb::Name(symbol->name()));
      auto const status = symbol->status();
      ASSERT_TRUE(list && status && !status->communityListEntry().empty());
      auto const* const index = status->index();
      bool const isLong = status->communityListEntry().size() >= CommListReactor::kMinIndexed;
      EXPECT_TRUE(!hasIndexes || (index != nullptr) == isLong);
      for (auto const& copy : status->communityListEntry()) {
        EXPECT_TRUE(list->communityListEntryHas(copy->seqno())) << copy->toStrep();
        if (!index || isExpanded(*copy)) continue;
        std::vector<Acl::CommunityValue> values;
        for (auto const& member : copy->community()) values.push_back(member.key);
        auto const* const first = index->firstExplicit(values, true);
        ASSERT_TRUE(first && status->communityListEntry(first->seqno()) == first);
      }
      EXPECT_TRUE(!index || index->expanded().size() == status->regexMap().size());
    }
  }
  EXPECT_EQ(w.machine->communityList().size(), w.config->communityList().size());
}

std::string traced(std::function<void()> const& act) {
  std::string lines;
  Orb::traceSinkIs([&](auto, int level, auto line) {
    EXPECT_EQ(level, 8);
    (lines += line) += '\n';
  });
  Orb::traceLevelIs("RouteMapSm", 8);
  act();
  Orb::traceReset();
  return lines;
}

// Every row of the table of events, for each type.
TEST(CommListSm, AnswersEachEventWithItsTraces) {
  for (U32 type = 0; type < 6; ++type) {
    CommListWorld w;
    w.start();
    auto const list = w.list("L");
    std::string const of = " community-list: L seqno: ";
    EXPECT_EQ(traced([&] { w.entry("L", 10); }),
              "handleVersion" + of + "10\nversion is yet to be set\n");
    for (U32 const seqno : {10U, 20U}) {
      for (auto const& all : w.all)
        EXPECT_EQ(all->symbol().empty(), seqno == 10 || all != w.all[type / 2]);
      auto const entry = w.entry("L", seqno);
      edit(
          *entry, [](U32) { return 0; }, 1);
      entry->listTypeIs(static_cast<CommunityListType>(type));
      EXPECT_EQ(traced([&] { entry->versionIs(7); }),
                "handleVersion" + of + std::to_string(seqno) +
                    (seqno == 10 ? "\ncreating the symbol for community list L\n" : "\n"));
      EXPECT_EQ(w.version(type / 2, "L"), seqno / 10);
    }
    auto const symbol = w.symbol(type / 2, "L");
    EXPECT_EQ(symbol->status()->communityListEntry(10)->toStrep().view().find("  seq 10 permit"),
              Orb::toText(w.entry("L", 10)->listType()).size())
        << "no list's name";
    EXPECT_EQ(traced([&] { list->communityListEntryDel(10); }),
              "handleCommListEntryDel" + of + "10\nRemoving seqno 10 from community L\n");
    std::string const deletion = "deleting the symbol for community list L\n";
    EXPECT_EQ(traced([&] { list->communityListEntryDel(20); }),
              "handleCommListEntryDel" + of + "20\n" + deletion);
    EXPECT_TRUE(!symbol->status() && symbol->symbolNotifier()->version() == 4U);
    w.entry("L", 30)->versionIs(1);
    EXPECT_EQ(traced([&] { w.config->communityListDel("L"); }),
              " community-list: L\n" + deletion + "handleCommListEntryDel" + of + "30\n");
    for (auto const& all : w.all) EXPECT_TRUE(all->symbol().empty());
  }
}

// A model has the table's answer to everything: what each symbol holds, and at which version.
TEST(CommListSm, KeepsEverySymbolAsItsTableSays) {
  std::mt19937 random(9);
  auto const below = [&](U32 n) { return static_cast<U32>(random() % n); };
  CommListWorld w;
  struct Model {
    Orb::Ptr<CommListSymbol> symbol;
    U32 version = 0;
    std::map<U32, std::pair<std::string, char const*>> entries;  // text and engine
  };
  std::map<Orb::Name, Model> models[kFamilies];
  std::map<std::pair<Orb::Name, U32>, U32> lives;  // the families that each entry was compiled into
  std::vector<std::pair<Status, std::string>> held;
  auto const compile = [&](Orb::Name const& name, Entry const& entry) {
    if (entry.version() == 0) return;
    Model& model = models[familyOf(entry)][name];
    auto& [text, engine] = model.entries.try_emplace(entry.seqno(), "", "").first->second;
    if (auto const* const compiled = engineOf(entry)) engine = compiled;
    text = textOf(entry, engine);
    ++model.version;
    lives[{name, entry.seqno()}] |= 1U << familyOf(entry);
  };
  auto const drop = [&](Orb::Name const& name) {
    for (auto& family : models) {
      family[name].version += family[name].entries.empty() ? 0 : 1;
      family[name].entries.clear();
    }
    std::erase_if(lives, [&](auto const& life) { return life.first.first == name; });
  };
  w.start();
  for (int step = 0; step < 8000; ++step) {
    Orb::Name const name("L" + std::to_string(below(3)));
    auto const list = w.list(name);
    U32 const seqno = below(16);
    U32 const what = below(200);
    if (what < 2) {
      w.config->communityListDel(name);
      drop(name);
    } else if (what < 30) {
      list->communityListEntryDel(seqno);
      bool const isInMany = std::popcount(std::exchange(lives[{name, seqno}], 0)) > 1;
      for (auto& family : models) {
        if (family[name].entries.erase(seqno) == 0) continue;
        ++family[name].version;
        if (!isInMany) break;
      }
    } else if (what == 30) {
      w.machine = nullptr;  // another one starts
      for (auto const& all : w.all) ASSERT_TRUE(all->symbol().empty());
      w.start();
      for (auto const& each : w.config->communityList()) {
        drop(each->name());
        for (auto const& entry : each->communityListEntry()) compile(each->name(), *entry);
      }
    } else if (what < 40) {
      w.manager.turn();
    } else {
      edit(*w.entry(name, seqno), below, 4);
      if (what < 60) continue;  // not stamped
      w.entry(name, seqno)->versionIs(what < 80 ? 0 : w.entry(name, seqno)->version() + 1);
      if (what >= 80) compile(name, *w.entry(name, seqno));
    }
    for (std::size_t i = 0; i < kFamilies; ++i) {
      Model& model = models[i][name];
      auto const symbol = w.symbol(i, name);
      if (symbol) model.symbol = symbol;  // and holds it from then on
      ASSERT_EQ(!symbol, model.entries.empty()) << step;
      if (!model.symbol) continue;
      std::string content = model.entries.empty() ? "" : name.str() + '\n';
      for (auto const& [key, entry] : model.entries) content += entry.first;
      ASSERT_EQ(contentOf(model.symbol->status()), content) << step;
      ASSERT_EQ(model.symbol->symbolNotifier()->version(), model.version) << step;
      if (below(40) == 0) held.emplace_back(model.symbol->status(), content);
    }
  }
  for (auto const& [status, content] : held) EXPECT_EQ(contentOf(status), content);
}

// Observers, trace sinks and the time source change everything, drop the machine and throw, from
// within whatever goes on. In the end all is as configured.
TEST(CommListSm, IsInLineWhateverChangesMeanwhile) {
  std::mt19937 random(11);
  auto const below = [&](U32 n) { return static_cast<U32>(random() % n); };
  for (int round = 0; round < 1000; ++round) {
    CommListWorld w;
    int left = 0;
    bool throws = round % 3 != 0;
    auto const meddle = [&](auto...) {
      if (left == 0 || below(3) == 0) return;
      --left;
      auto const list = w.list(Orb::Name("L" + std::to_string(below(2))));
      U32 const seqno = below(round % 4 < 2 ? 3 : 24);
      U32 const what = below(24);
      if (what < 2) w.config->communityListDel(list->name());
      if (what == 2 && round % 4 == 0) w.machine = nullptr;
      if (what > 2 && what < 10) list->communityListEntryDel(seqno);
      if (what < 10) return;
      auto const entry = list->communityListEntryIs(seqno);
      edit(*entry, below, 3);
      entry->versionIs(what == 10 ? 0 : entry->version() + 1);
    };
    auto const silently = [&] {
      Orb::FirstError error;
      error.guard(meddle);
    };
    auto const loudly = [&](auto...) {
      meddle();
      if (throws && left > 0 && below(5) == 0) throw std::runtime_error("observer");
    };
    struct Followed {
      Followed(Orb::Ptr<CommListSymbol> const& s, std::function<void()> const& act)
          : symbol(s), meddler(*s->symbolNotifier(), [act](auto...) { act(); }) {}
      Orb::Ptr<CommListSymbol> const symbol;
      Observer meddler;
    };
    std::map<CommListSymbol*, Followed> followed;
    std::list<Observer> collections;
    for (auto const& all : w.all) {
      collections.emplace_back(*all, [&](auto, auto key) {
        auto const symbol = all->symbol(*static_cast<Orb::String const*>(key));
        if (symbol) followed.try_emplace(symbol.get(), symbol, loudly);
        loudly();
      });
    }
    for (U32 i = below(12); i > 0; --i) w.entry("L0", i)->versionIs(1);
    if (!throws) {  // the symbol of a list that is not there yet
      dedupCommListSym(w.tables[0], w.all[0], "L1");
      Orb::traceSinkIs([&](auto...) { silently(); });
      Orb::traceLevelIs("RouteMapSm", 8);
    }
    left = 2;
    try {
      w.start();
    } catch (std::runtime_error const&) {
      for (auto const& all : w.all) EXPECT_TRUE(all->symbol().empty());
      left = 0;
      w.start();
    }
    left = 0;
    for (auto const& entry : w.list("L1")->communityListEntry()) {
      auto const status = w.status(familyOf(*entry), "L1");
      EXPECT_TRUE(entry->version() == 0 ||
                  (status && status->communityListEntryHas(entry->seqno())));
    }
    throws = true;
    Orb::traceSinkIs([&](auto...) { silently(); });
    if (round % 3) Orb::traceLevelsAre("RouteMapStatusType/8,RouteMapSm/8");
    if (round % 2) {
      w.manager.clock()->timeSourceIs([&] {
        silently();
        return w.time += 0.004;
      });
    }
    for (int i = 0; i < 30 && w.machine; ++i) {
      left = 5;
      silently();
      Orb::FirstError error;
      error.guard([&] { w.manager.turn(); });
    }
    left = 0;
    Orb::traceReset();
    for (auto const& all : w.all) EXPECT_TRUE(w.machine || all->symbol().empty());
    if (!w.machine) w.start();
    w.settle();
    expectInLine(w);
    if (HasFailure()) FAIL() << "round " << round;
  }
}

// Whatever allocation fails, alone or with all behind it: nothing half-made is published, and all
// lists follow once there is memory, in one step; with more steps when a trace sink stamps an entry
// anew meanwhile.
TEST(CommListSm, CatchesUpWhenThereIsMemoryAgain) {
  constexpr U32 kRises[][kFamilies] = {{}, {0, 0, 1}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 0, 0}};
  for (std::size_t variant = 0; variant < 4 * 9; ++variant) {
    int const level = variant & 1 ? 8 : Orb::TraceFacility::kOff;
    for (char const* facility : {"RouteMapSm", "RouteMapStatusType"}) {
      Orb::traceLevelIs(facility, level);
    }
    bool hasFailed = true;
    for (long granted = 0; hasFailed; ++granted) {
      CommListWorld w;
      for (U32 i = 0; i < 18; ++i) {
        auto const entry = w.entry("A", i);
        entry->listTypeIs(i % 4 < 2 ? Acl::communityStandard : Acl::largeCommunityExpanded);
        entry->commRegexIs("^65000:");
        entry->versionIs(1);
      }
      w.start();
      w.settle();
      std::size_t const what = variant / 4;
      auto const a = w.list("A");
      auto const entry = w.entry("A", 2);  // a large one
      if (what == 0) w.machine = nullptr;
      if (what == 1) entry->commRegexIs(":7$");
      if (what == 2) entry->listTypeIs(Acl::extCommunityExpanded);
      if (what == 4) entry->listTypeIs(Acl::communityStandard);
      if (what == 4) entry->versionInc(1);  // now in two families
      if (what == 5) a->communityListEntryDel(0);
      if (what == 6) w.machine->communityListDel("A");
      auto const versionOf = [&](std::size_t i) {
        return w.symbol(i, "A") ? w.version(i, "A") : 0;
      };
      U32 const before[] = {versionOf(0), versionOf(1), versionOf(2)};
      bool const isStamped = variant % 2 != 0 && granted % 2 != 0;
      Orb::traceSinkIs([&, left = granted % 6](auto...) mutable {
        if (!isStamped || --left != 0 || a->communityListEntry(2) != entry) return;
        entry->commRegexIs("");
        Orb::FirstError dropped;
        dropped.guard([&] { entry->versionInc(1); });
      });
      try {
        TestSupport::ScarceMemory const scarce(granted, variant & 2 ? 1 : TestSupport::kPlenty);
        if (what == 0) w.start();
        if (what == 1 || what == 2) entry->versionInc(1);
        if (what == 3 || what == 4) a->communityListEntryDel(2);
        if (what == 5) a->communityListEntryIs(0)->versionIs(1);
        if (what == 6) w.machine->communityListIs(a);
        if (what == 7) w.config->communityListDel(a->name());
        if (what == 8) w.machine->communityList("A")->communityListEntryDel(2);
        w.settle();
        hasFailed = scarce.isSpent();
      } catch (std::bad_alloc const&) {
      }
      Orb::traceSinkIs([](auto...) {});
      for (auto const& all : w.all) {
        for (auto const& symbol : all->symbol()) {
          ASSERT_TRUE(symbol->status() && !symbol->status()->communityListEntry().empty());
          for (auto const& copy : symbol->status()->communityListEntry()) {
            EXPECT_EQ(symbol->status()->regex(copy->seqno()) != nullptr, isExpanded(*copy));
          }
        }
      }
      if (!w.machine) {
        for (auto const& all : w.all) EXPECT_TRUE(all->symbol().empty());
        w.start();
      }
      if (what == 5) w.entry("A", 0)->versionIs(1);
      if (what == 6) w.machine->communityListIs(a);
      if (what == 8) w.machine->communityList("A")->communityListEntryIs(entry);
      w.settle();
      if (what == 8) entry->permitIs(Acl::denyMatch);
      if (what == 8) entry->versionInc(1);
      expectInLine(w, false);
      for (std::size_t i = 0; what > 0 && what < 6 && !isStamped && i < kFamilies; ++i) {
        EXPECT_EQ(versionOf(i), before[i] + kRises[what][i]) << i;
      }
      if (HasFailure()) FAIL() << granted << " allocations granted, variant " << variant;
    }
  }
  Orb::traceReset();
}

TEST(CommListSm, StartsOverWhatIsThere) {
  CommListWorld w;
  auto const other = commListStatusFactory("L");
  other->communityListEntryIs(Orb::make<Entry>(20U));
  auto const fill = [&](std::size_t family, char const* name, Status const& status) {
    auto const symbol = dedupCommListSym(w.tables[family], w.all[family], name);
    EXPECT_TRUE(symbol->status()->communityListEntry().empty());
    symbol->statusIs(status);
    return symbol;
  };
  auto const gone = fill(2, "GONE", other);
  {
    Observer const remover(*w.all[2], [&](auto, auto) { w.all[2]->symbolDel("GONE3"); });
    EXPECT_FALSE(dedupCommListSym(w.tables[2], w.all[2], "GONE3")->status());
  }
  auto const gone2 = fill(0, "GONE2", other);
  fill(1, "GONE2", other);
  Observer const thrower(*gone2->symbolNotifier(),
                         [](auto, auto) { throw std::runtime_error(""); });
  auto const kept = fill(0, "L", other);
  auto const null = fill(1, "L", nullptr);
  w.entry("L", 10)->versionIs(1);
  w.entry("L", 20)->listTypeIs(Acl::extCommunityStandard);
  w.entry("L", 20)->versionIs(1);
  EXPECT_EQ(deleteSymbolSeq(w.all[1], "L", 20), 0U) << "a null status holds nothing";
  EXPECT_EQ(traced([&] { EXPECT_THROW(w.start(), std::runtime_error); }),
            "deleting the symbol for community list GONE2\n"
            "deleting the symbol for community list GONE2\n"
            "deleting the symbol for community list GONE\n");
  w.start();
  EXPECT_TRUE(w.machine->initialized() && !gone->status() && w.all[2]->symbol().empty());
  EXPECT_EQ(gone->symbolNotifier()->version(), 1U);
  EXPECT_TRUE(w.symbol(0, "L") == kept && kept->status()->communityListEntry().size() == 2U);
  w.list("L")->communityListEntryDel(20);  // in one family by what its reactor knows
  EXPECT_FALSE(kept->status()->communityListEntryHas(20)) << "the first that holds the number";
  EXPECT_TRUE(w.symbol(1, "L") == null && null->status()->communityListEntryHas(20));
  w.entry("L", 30)->listTypeIs(Acl::largeCommunityStandard);
  w.entry("L", 30)->versionIs(1);
  std::string removed;
  std::list<Observer> removals;
  for (char const family : {'2', '1', '0'}) {
    removals.emplace_back(*w.all[family - '0'], [&, family](auto...) { removed += family; });
  }
  w.config->communityListDel("L");
  EXPECT_EQ(removed, "012");
  EXPECT_TRUE(!null->status() && null->symbolNotifier()->version() == 2U);
  kept->statusIs(other);  // as when another collection has it still
  w.entry("L", 10)->versionIs(1);
  EXPECT_TRUE(w.symbol(0, "L") == kept && !kept->status()->communityListEntryHas(20));
  w.machine->communityList("L")->communityListEntryDel(10);  // though it is configured
  EXPECT_TRUE(!kept->status() && w.all[0]->symbol().empty());
  w.list("L");
  fill(0, "L", other);
  EXPECT_EQ(deleteSymbolSeq(w.all[0], "L", 10) + 2 * deleteSymbolSeq(w.all[0], "L", 20), 2U);
  for (int i = 0; i < 2; ++i) deleteSymbolIfExists(w.all[0], "L");
  int left = 5000;
  Observer const remover(*w.all[0], [&](auto...) {
    if (left-- > 0) w.all[0]->symbolDel("L");
  });
  w.entry("L", 30)->versionIs(1);
  EXPECT_GT(left, 1000) << "what observers undo again and again waits for the next turn";
  w.settle();
  expectInLine(w);
}

TEST(CommListSm, DeletesWhatIsMissingWhateverObserversThrow) {
  CommListWorld w;
  std::list<Observer> throwers;
  for (char const* name : {"A", "B"}) {
    auto const symbol = dedupCommListSym(w.tables[0], w.all[0], name);
    throwers.emplace_back(*symbol->symbolNotifier(), [](auto...) { throw std::runtime_error(""); });
  }
  EXPECT_THROW(deleteSymbolIfMissingInConfig(w.all[0], w.config), std::runtime_error);
  EXPECT_TRUE(w.all[0]->symbol().empty());
}

// A session stamps what it has changed: an entry with all attributes at their defaults stays out.
TEST(CommListSm, CompilesWhatASessionStamps) {
  CommListWorld w;
  w.start();
  auto const sessions = Orb::make<Cli::Session::Manager>(
      std::vector<Orb::Ptr<Orb::Entity>>{w.config}, Orb::make<RouteMapCopyHandlerDir>("handlers"));
  auto const session = sessions->open("session");
  auto const list = session->edit<Acl::CommunityList>("communityList['L']");
  list->communityListEntryIs(10);
  list->communityListEntryIs(20)->permitIs(Acl::denyMatch);
  ASSERT_TRUE(session->commit().isComplete());
  EXPECT_EQ(w.entry("L", 10)->version(), 0U);
  EXPECT_EQ(contentOf(w.status(0, "L")), "L\n" + textOf(*w.entry("L", 20), ""));
  EXPECT_EQ(w.version(0, "L"), 1U);
}

TEST(CommListSm, MakesIndexesBehindTheStatuses) {
  for (long granted = -1, made = 0; made < 2; ++granted) {
    CommListWorld w;
    w.start();
    for (U32 i = 0; i < (granted < 0 ? 2000 : 20); ++i) {
      auto const entry = w.entry("L", i);
      entry->listTypeIs(i % 2 ? Acl::communityStandard : Acl::largeCommunityStandard);
      entry->communityIs(Acl::CommunityValue::of(0U, 0U, i), true);
      entry->versionIs(1);
    }
    auto const sm = w.machine->communityList("L");
    if (granted < 0) {
      sm->clockQuantumIs(0);
      w.manager.turn();
      auto const replaced = w.status(0, "L");
      w.list("L")->communityListEntryDel(1);
      EXPECT_GT(w.settle(), 10) << "in slices";
      EXPECT_FALSE(replaced->index()) << "not gone on with";
      {
        TestSupport::ScarceMemory const few(40);
        w.list("L")->communityListEntryDel(3);
        w.entry("L", 5)->versionIs(2);
      }
      w.settle();
      expectInLine(w);
      for (U32 i = 0; i < 17000; ++i) w.entry("M", i)->versionIs(1);
      std::size_t const pending = Orb::pendingGarbage();
      w.config->communityListDel("M");
      EXPECT_GT(Orb::pendingGarbage(), pending) << "freed in slices";
      continue;
    }
    {
      TestSupport::ScarceMemory const scarce(granted, 1);
      w.settle();
    }
    made = (w.status(0, "L")->index() ? 1 : 0) + (w.status(2, "L")->index() ? 1 : 0);
    EXPECT_TRUE(made > 0 && !sm->isBuilding()) << "the other family's is made, " << granted;
    expectInLine(w, false);
  }
}

TEST(CommListSm, RefusesWhatIsNone) {
  CommListWorld w;
  w.start();
  auto const entry = w.entry("L", 1);
  auto const sm = w.machine->communityList("L");
  auto const text = [](auto const& act) { return TestSupport::thrown<Orb::RangeException>(act); };
  std::string const of = " parameter to mutator for Routing::RouteMap::CommList";
  EXPECT_EQ(text([&] { w.machine->communityListIs(nullptr); }),
            "null _communityList" + of + "ConfigSm::communityList not allowed\"");
  std::string const none =
      "null _communityListEntry" + of + "Reactor::communityListEntry not allowed\"";
  EXPECT_EQ(text([&] { sm->communityListEntryIs(nullptr); }), none);
  EXPECT_EQ(text([&] { sm->newCommunityListEntry(nullptr); }), none);
  entry->listTypeIs(static_cast<CommunityListType>(6));
  Orb::traceLevelIs("RouteMapSm", 0);
  EXPECT_DEATH(entry->versionIs(1), "unrecognized community list ype: 6\n.*assertion failed");
  Orb::traceReset();
  entry->listTypeIs(Acl::communityStandard);
  entry->versionIs(2);
  sm->communityListEntryIs(entry);
  sm->newCommunityListEntry(entry);
  EXPECT_EQ(w.version(0, "L"), 1U) << "they are there";
  w.machine->communityListDelAll();
  sm->communityListEntryIs(entry);
  EXPECT_TRUE(sm->communityListEntry().empty()) << "it has been let go of";
}

TEST(ThreadsCommListSm, StatusesAreReadWhileTheListChanges) {
  std::mutex mutex;
  Status published = commListStatusFactory("L");
  std::atomic<bool> isOver = false;
  auto const read = [&] {
    std::string text;
    constexpr auto kContained = Routing::PolicyEval::CommunityMatch::contained;
    while (!isOver) {
      std::unique_lock lock(mutex);
      auto const status = published;
      lock.unlock();
      auto const before = matchCommunityList(status, {}, kContained, text);
      std::string const content = contentOf(status);
      EXPECT_EQ(matchCommunityList(status, {}, kContained, text), before);
      EXPECT_EQ(contentOf(status), content);
    }
  };
  std::thread readers[] = {std::thread(read), std::thread(read)};
  {
    CommListWorld w;
    w.start();
    std::mt19937 random(13);
    auto const below = [&](U32 n) { return static_cast<U32>(random() % n); };
    for (int step = 0; step < 3000; ++step) {
      if (below(3) == 0) w.list("L")->communityListEntryDel(below(100));
      auto const entry = w.entry("L", below(100));
      edit(*entry, below, 4);
      entry->versionInc(1);
      {
        std::lock_guard const lock(mutex);
        published = w.status(familyOf(*entry), "L");
      }
      if (below(2) == 0) w.manager.turn();
    }
  }
  isOver = true;
  for (auto& reader : readers) reader.join();
}

}  // namespace
