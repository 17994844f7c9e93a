#include <gtest/gtest.h>

#include <list>
#include <map>
#include <random>
#include <set>
#include <stdexcept>

#include "platform/orb/base/Trace.h"
#include "policy_eval/MatchAsPathList.h"
#include "tests/support/AsPathWorld.h"
#include "tests/support/Observer.h"
#include "tests/support/RationedMemory.h"
#include "tests/support/Thrown.h"

namespace {

using namespace Routing::RouteMap;
using Orb::U32;
using Status = Orb::Ptr<AsPathListStatus const>;
using TestSupport::AsPathWorld;
using TestSupport::Observer;

/// Expressions, and which engines the configuration says accept them; of "(" that is wrong.
constexpr std::tuple<char const*, bool, bool> kExpressions[] = {
    {"_65001_", true, true},     {"^7_65001$", true, true}, {"[64512-65534]", true, false},
    {"^([0-9]+)$", false, true}, {"^$", true, true},        {"(", true, true}};

Acl::AsPathEntry entry(U32 seqno, std::size_t i, Acl::BGPOrigin origin = Acl::bgpAny) {
  auto const& [text, isDfa, isPosix] = kExpressions[i];
  return Acl::AsPathEntry::of(seqno, Orb::String(text), i % 2 ? Acl::permitMatch : Acl::denyMatch,
                              origin, isDfa, isPosix);
}

/// Every answer of a status to a few routes, and all that it holds.
std::string contentOf(Status const& status) {
  if (!status) return "none";
  std::string text = status->toStrep().str() + Orb::toText(status->asnNotation()) + ' ' +
                     std::to_string(status->dfaRegexMapSize()) + '/' +
                     std::to_string(status->posixRegexMapSize());
  std::string buffer;
  using Path = std::vector<U32>;
  for (auto const& path : {Path(), Path{65001}, Path{7, 65001}, Path{9, 8}, Path{64600, 1}}) {
    for (auto const origin : {Acl::bgpIGP, Acl::bgpIncomplete}) {
      auto const match = Routing::PolicyEval::matchAsPathList(status, path, origin, buffer);
      text += ' ' + (match.entry ? std::to_string(match.seqno) : "-");
    }
  }
  return text;
}

/// The status that a list is to have, made in the slowest way.
Status modelOf(AsPathWorld& w, Acl::AsPathList const& list) {
  auto const status = asPathListStatusFactory(list.name());
  status->configVersionIs(list.version());
  status->regexModeIs(w.config->regexMode());
  status->asnNotationIs(w.asn->asnNotation());
  for (auto const& e : list.pathEntry()) {
    status->asPathEntryIs(e);
    bool const isDfa = w.config->regexMode() == Acl::regexModeDfa;
    if (isDfa && e.validDfaRegex()) status->dfaRegexAdd(e.seqno(), e.userRegex());
    if (!isDfa && e.validPosixRegex()) status->posixRegexAdd(e.seqno(), e.userRegex());
  }
  return status;
}

void expectInLine(AsPathWorld& w, bool hasPathSets = true) {
  for (auto const& list : w.config->pathList()) {
    auto const symbol = w.symbol(list->name());
    ASSERT_TRUE(symbol && w.sm(list->name())) << list->name();
    auto const model = modelOf(w, *list);
    EXPECT_EQ(contentOf(symbol->status()), contentOf(model));
    if (!hasPathSets) continue;
    EXPECT_EQ(symbol->status()->pathSet() != nullptr, model->dfaRegexMapSize() > 1);
  }
  EXPECT_EQ(w.all->symbol().size(), w.config->pathList().size());
  EXPECT_EQ(w.machine->asPathList().size(), w.config->pathList().size());
}

/// What a session's commit does to a list.
void change(AsPathWorld& w, Orb::Name const& name, Acl::AsPathEntry const& changed) {
  auto const list = w.list(name);
  list->pathEntryIs(changed);
  list->versionInc(1);
}

// Lists and settings change at random. A model says what each symbol holds, and at which version;
// holders of old statuses see them as they were.
TEST(AsPathListSm, KeepsEverySymbolAsConfigured) {
  std::mt19937 random(3);
  auto const below = [&](U32 n) { return static_cast<U32>(random() % n); };
  AsPathWorld w;
  struct Model {
    Orb::Ptr<AsPathListSymbol> symbol;
    U32 version = 0;
    Status status;
  };
  std::map<Orb::Name, Model> models;
  std::vector<std::pair<Status, std::string>> held;
  auto const republish = [&](Acl::AsPathList const& list) {
    models[list.name()].status = modelOf(w, list);
    ++models[list.name()].version;
  };
  w.config->regexModeIs(Acl::regexModePosix);
  w.asn->asnNotationIs(Routing::asnNotationAsdot);
  for (int i = 0; i < 3; ++i) w.list("L0")->pathEntryIs(entry(i, i));
  w.start();
  republish(*w.list("L0"));
  for (int step = 0; step < 6000; ++step) {
    Orb::Name const name("L" + std::to_string(below(4)));
    auto const list = w.config->pathList(name);
    Status const before = models[name].symbol ? models[name].symbol->status() : nullptr;
    switch (below(9)) {
      case 0:
        if (!list) break;
        w.config->pathListDel(name);
        models[name].status = nullptr;
        ++models[name].version;
        break;
      case 1:
        if (!list) models[name].status = modelOf(w, *w.list(name));
        break;
      case 2:
        w.config->regexModeIs(w.config->regexMode() == Acl::regexModeDfa ? Acl::regexModePosix
                                                                         : Acl::regexModeDfa);
        for (auto const& each : w.config->pathList()) republish(*each);
        break;
      case 3:
        w.asn->asnNotationIs(w.asn->isAsdotConfigured() ? Routing::asnNotationAsplain
                                                        : Routing::asnNotationAsdot);
        for (auto& [key, model] : models) {
          if (!model.status) continue;
          auto const copy = asPathListStatusFactory(model.status->name());
          copy->clone(*model.status);
          copy->asnNotationIs(w.asn->asnNotation());
          model.status = copy;
          ++model.version;
        }
        break;
      case 4:
        if (below(20) != 0) break;
        w.machine = nullptr;  // another one starts over what is there
        w.start();
        for (auto const& each : w.config->pathList()) {
          models[each->name()].status = modelOf(w, *each);
          if (!each->pathEntry().empty()) ++models[each->name()].version;
        }
        break;
      case 5:
        if (auto const sm = list ? w.sm(name) : nullptr) sm->clockQuantumIs(0);
        if (below(3) == 0) w.manager.turn();
        break;
      case 6:
        if (list) list->pathEntryDel(below(8));
        break;  // which compiles nothing
      default:
        if (!list) break;
        if (below(8)) list->pathEntryIs(entry(below(8), below(6), Acl::BGPOrigin(below(4))));
        list->versionInc(1);
        republish(*list);
        if (!before || before->regexMode() != w.config->regexMode()) break;
        for (auto const& engine : models[name].symbol->status()->dfaRegexMap()) {
          auto const old = before->dfaRegex(engine->seqno());
          bool const isSame = before->asPathEntry(engine->seqno()).userRegex() ==
                              list->pathEntry(engine->seqno()).userRegex();
          EXPECT_EQ(old == engine, old && isSame) << "an engine is handed over";
        }
    }
    for (auto& [key, model] : models) {
      if (auto const symbol = w.symbol(key)) model.symbol = symbol;  // and holds it from then on
      ASSERT_EQ(w.all->symbolHas(key), model.status != nullptr) << step;
      if (!model.symbol) continue;
      auto const status = model.symbol->status();
      ASSERT_EQ(contentOf(status), contentOf(model.status)) << step << ' ' << key;
      ASSERT_EQ(model.symbol->symbolNotifier()->version(), model.version) << step << ' ' << key;
      if (below(40) == 0) held.emplace_back(status, contentOf(model.status));
    }
  }
  w.settle();
  expectInLine(w);
  for (auto const& [status, content] : held) EXPECT_EQ(contentOf(status), content);
}

// Observers, trace sinks and the time source change everything, drop the machine and throw, from
// within whatever goes on. In the end all is as configured, and each status was published once.
TEST(AsPathListSm, IsInLineWhateverChangesMeanwhile) {
  std::mt19937 random(5);
  auto const below = [&](U32 n) { return static_cast<U32>(random() % n); };
  for (int round = 0; round < 400; ++round) {
    AsPathWorld w;
    int left = 0;
    int quiet = 0;  // no exceptions
    auto const meddle = [&](auto...) {
      if (left == 0 || below(3) == 0) return;
      --left;
      Orb::Name const name("L" + std::to_string(below(3)));
      U32 const what = below(24);
      if (what < 4) w.config->regexModeIs(Acl::RegexMode(what % 2));
      if (what == 4) w.asn->asnNotationIs(Routing::AsnNotation(1 + below(2)));
      if (what == 5) w.config->pathListDel(name);
      if (what == 6 && round % 4 == 0) w.machine = nullptr;
      if (what > 8) change(w, name, entry(below(6), below(6)));
      if (what % 5 == 0 && quiet == 0) throw std::runtime_error("observer");
    };
    auto const silently = [&](auto const& act) {
      Orb::FirstError error;
      error.guard(act);
    };
    auto const quietly = [&] {
      ++quiet;
      meddle();
      --quiet;
    };
    struct Followed {
      explicit Followed(Orb::Ptr<AsPathListSymbol> const& s)
          : symbol(s), observer(*s->symbolNotifier()), meddler(*s->symbolNotifier()) {}
      Orb::Ptr<AsPathListSymbol> const symbol;
      Status last;
      U32 version = 0;
      Observer observer, meddler;
    };
    std::list<Followed> followed;
    for (auto const* name : {"L0", "L1", "L2"}) w.list(name);
    w.start();
    for (auto const& symbol : w.all->symbol()) {
      auto& f = followed.emplace_back(symbol);
      f.observer.changed = [&f, round](auto...) {
        EXPECT_EQ(f.symbol->symbolNotifier()->version(), ++f.version);
        EXPECT_TRUE(round % 2 || !f.last || f.symbol->status() != f.last) << "published twice";
        f.last = f.symbol->status();
      };
      f.meddler.changed = meddle;
    }
    Observer const collection(*w.all, meddle);
    Orb::traceSinkIs([&](auto...) { quietly(); });
    Orb::traceLevelsAre(round % 3 ? "RouteMapStatusType/6" : "RouteMapStatusType/6,RouteMapSm/8");
    if (round % 2) {
      w.manager.clock()->timeSourceIs([&] {
        quietly();
        return w.time += 0.004;
      });
    }
    for (int i = 0; i < 30 && w.machine; ++i) {
      left = 4;
      silently(meddle);
      silently([&] { w.manager.turn(); });
    }
    left = 0;
    Orb::traceReset();
    if (!w.machine) silently([&] { w.start(); });
    w.settle();
    expectInLine(w);
    if (HasFailure()) FAIL() << "round " << round;
  }
}

// A setting changes while a list is compiled, by the trace sink that is shown a broken expression;
// the version of an empty list while its symbol is installed, before there is a reactor.
TEST(AsPathListSm, PublishesNothingInStaleSettings) {
  AsPathWorld empty;
  empty.start();
  Observer const observer(*empty.all, [&](auto...) { empty.list("L")->versionInc(1); });
  empty.list("L");
  expectInLine(empty);
  for (bool const isMode : {true, false}) {
    AsPathWorld w;
    w.list("L")->pathEntryIs(entry(1, 5));
    w.start();
    Orb::traceSinkIs([&](auto...) {
      isMode ? w.config->regexModeIs(Acl::regexModeDfa)
             : w.asn->asnNotationIs(Routing::asnNotationAsdot);
    });
    Orb::traceLevelIs("RouteMapStatusType", 6);
    isMode ? w.config->regexModeIs(Acl::regexModePosix) : void(w.list("L")->versionInc(1));
    Orb::traceReset();
    expectInLine(w);
    EXPECT_EQ(w.version("L"), isMode ? 1U : 3U);  // back where it was, or both changes
  }
}

TEST(AsPathListSm, CompilesAPathSetBehindTheStatus) {
  AsPathWorld w;
  w.start();
  auto const list = w.list("L");
  for (U32 i = 0; i < 4; ++i) list->pathEntryIs(entry(i, i));
  list->versionInc(1);
  auto const sm = w.sm("L");
  sm->clockQuantumIs(0);  // one expression in each slice
  auto const first = w.symbol("L")->status();
  std::string const content = contentOf(first);
  w.manager.turn();
  w.asn->asnNotationIs(Routing::asnNotationAsdot);
  auto const second = w.symbol("L")->status();
  EXPECT_EQ(sm->indexed(), second) << "it goes on for the new status";
  sm->clockQuantumIs(1);
  EXPECT_EQ(sm->processClock(), 2U) << "and does not begin anew";
  EXPECT_TRUE(second->pathSet() && !first->pathSet());
  EXPECT_EQ(contentOf(first), content);
  EXPECT_EQ(w.version("L"), 2U) << "a path set is no change";
  w.asn->asnNotationIs(Routing::asnNotationAsplain);
  EXPECT_EQ(w.symbol("L")->status()->pathSet(), second->pathSet());
  EXPECT_EQ(contentOf(w.symbol("L")->status()), content);

  sm->clockQuantumIs(0);
  list->versionInc(1);
  w.manager.turn();
  list->versionInc(1);
  EXPECT_EQ(sm->indexed(), w.symbol("L")->status()) << "begun anew";
  w.config->regexModeIs(Acl::regexModePosix);
  EXPECT_FALSE(sm->isBuilding());
  w.config->regexModeIs(Acl::regexModeDfa);
  w.settle();
  expectInLine(w);
  // Each has 4,096 states, both together 3^12; with the "$" in a group they are read forwards.
  list->pathEntryDelAll();
  for (auto const* text : {"(1 .{11}$)", "(2 .{11}$)"}) {
    change(w, "L",
           Acl::AsPathEntry::of(U32(list->pathEntry().size()), Orb::String(text), Acl::permitMatch,
                                Acl::bgpAny, true, false));
    w.settle();
    EXPECT_FALSE(sm->isBuilding() || w.symbol("L")->status()->pathSet()) << text;
  }
  EXPECT_EQ(w.symbol("L")->status()->dfaRegexMapSize(), 2U);
}

// Whatever allocation fails, alone or with all behind it: all lists follow once there is memory,
// in one step.
TEST(AsPathListSm, CatchesUpWhenThereIsMemoryAgain) {
  Orb::traceSinkIs([](auto...) {});
  for (int variant = 0; variant < 4 * 6; ++variant) {
    Orb::traceLevelIs("RouteMapSm", variant & 1 ? 8 : Orb::TraceFacility::kOff);
    bool hasFailed = true;
    for (long granted = 0; hasFailed; ++granted) {
      AsPathWorld w;
      for (U32 i = 0; i < 4; ++i) w.list("A")->pathEntryIs(entry(i, i));
      w.list("B")->pathEntryIs(entry(1, 1));
      w.start();
      w.settle();
      int const what = variant / 4;
      auto const a = w.list("A");
      Orb::Name const c("C");
      if (what == 0) w.machine = nullptr;
      if (what == 1) a->pathEntryIs(entry(2, 0));
      try {
        TestSupport::ScarceMemory const scarce(granted, variant & 2 ? 1 : TestSupport::kPlenty);
        if (what == 0) w.start();
        if (what == 1) a->versionInc(1);
        if (what == 2) w.config->regexModeIs(Acl::regexModePosix);
        if (what == 3) w.asn->asnNotationIs(Routing::asnNotationAsdot);
        if (what == 4) w.list(c);
        if (what == 5) w.config->pathListDel(a->name());
        w.settle();
        hasFailed = TestSupport::grantedAllocations == 0;
      } catch (std::bad_alloc const&) {
      }
      if (!w.machine) w.start();
      w.settle();
      expectInLine(w, false);
      if (what > 0 && what < 4) {
        EXPECT_EQ(w.version("A"), 2U);
        EXPECT_EQ(w.version("B"), what == 1 ? 1U : 2U);
      }
      if (HasFailure()) FAIL() << granted << " allocations granted, variant " << variant;
    }
  }
  Orb::traceReset();
}

TEST(AsPathListSm, HasItsNamesAndTraces) {
  AsPathWorld w;
  std::string lines;
  auto const traced = [&](auto const& act) {
    lines.clear();
    act();
    return lines;
  };
  Orb::traceSinkIs([&](auto, int level, auto line) {
    if (level == 8) (lines += line) += '\n';
  });
  Orb::traceLevelIs("RouteMapSm", 8);
  w.list("L")->pathEntryIs(entry(1, 1));
  EXPECT_EQ(traced([&] { w.start(); }),
            "handleRegexMode regexMode: regexModeDfa\nNo change in regexMode\n"
            "handleAsnNotation asnNotation: asnNotationAsplain\nNo change in asnNotation\n"
            "handleAsPathList\naddAsPathList as-path-list: L\nhandleAsPathEntry\n"
            "handleAsPathListVersion version: 0\n");
  w.machine->regexModeIs(Acl::regexModePosix);  // applied by nobody
  w.machine->asnNotationIs(Routing::asnNotationAsdot);
  EXPECT_EQ(traced([&] { w.machine->handleRegexMode(); }),
            "handleRegexMode regexMode: regexModeDfa\nNo change in regexMode for L\n");
  EXPECT_EQ(traced([&] { w.machine->handleAsnNotation(); }),
            "handleAsnNotation asnNotation: asnNotationAsplain\nNo change in asnNotation for L\n");
  EXPECT_EQ(traced([&] { w.config->pathListDel("L"); }), "handleAsPathList as-path-list: L\n");
  Orb::traceReset();

  change(w, "L", entry(1, 1));
  w.machine->asPathListDelAll();
  w.config->regexModeIs(Acl::regexModePosix);
  EXPECT_EQ(w.symbol("L")->status()->posixRegexMapSize(), 1U) << "without a reactor";
  w.machine->handleAsPathList("L");
  EXPECT_TRUE(w.symbol("L")->status()->asPathEntry().empty()) << "anew, as it was asked for";
  w.symbol("L")->statusIs(nullptr);
  U32 const version = w.version("L");
  w.config->regexModeIs(Acl::regexModeDfa);
  w.asn->asnNotationIs(Routing::asnNotationAsdot);
  EXPECT_TRUE(!w.symbol("L")->status() && w.version("L") == version) << "left as it is";
  w.machine->asPathListIs(w.list("L"));
  w.all->symbolDel("L");
  w.list("L")->versionInc(1);
  EXPECT_FALSE(w.symbol("L") || w.sm("L")->isBuilding());

  EXPECT_DEATH(w.machine->addAsPathList("L", nullptr), "assertion failed: pathList");
  EXPECT_EQ(
      TestSupport::thrown<Orb::RangeException>([&] { w.machine->asPathListIs(nullptr); }),
      "null _asPathList parameter to mutator for Routing::RouteMap::AsPathListConfigSm::asPathList "
      "not allowed\"");
}

}  // namespace
