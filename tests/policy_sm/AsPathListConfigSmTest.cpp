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

void expectInLine(AsPathWorld& w) {
  for (auto const& list : w.config->pathList()) {
    auto const symbol = w.symbol(list->name());
    ASSERT_TRUE(symbol && w.sm(list->name())) << list->name();
    auto const model = modelOf(w, *list);
    EXPECT_EQ(contentOf(symbol->status()), contentOf(model));
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
  EXPECT_EQ(w.machine->asnConfig(), w.asn);
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
      case 2: {
        auto const mode = Acl::RegexMode(below(2));
        bool const isNew = mode != w.config->regexMode();
        w.config->regexModeIs(mode);
        for (auto const& each : w.config->pathList()) isNew ? republish(*each) : void();
        break;
      }
      case 3: {
        auto const notation = Routing::AsnNotation(1 + below(2));
        bool const isNew = notation != w.asn->asnNotation();
        w.asn->asnNotationIs(notation);
        for (auto& [key, model] : models) {
          if (!isNew || !model.status) continue;
          auto const copy = asPathListStatusFactory(model.status->name());
          copy->clone(*model.status);
          copy->asnNotationIs(notation);
          model.status = copy;
          ++model.version;
        }
        break;
      }
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
      try {
        act();
      } catch (std::runtime_error const&) {
      }
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
    auto const follow = [&](Orb::Ptr<AsPathListSymbol> const& symbol) {
      auto& f = followed.emplace_back(symbol);
      f.observer.changed = [&](auto...) {
        EXPECT_EQ(f.symbol->symbolNotifier()->version(), ++f.version);
        EXPECT_TRUE(round % 2 || !f.last || f.symbol->status() != f.last) << "published twice";
        f.last = f.symbol->status();
      };
      f.meddler.changed = meddle;
    };
    for (auto const* name : {"L0", "L1", "L2"}) w.list(name);
    w.start();
    for (auto const& symbol : w.all->symbol()) follow(symbol);
    Observer const collection(*w.all, meddle);
    Orb::traceSinkIs([&](auto, auto, auto) {
      ++quiet;
      meddle();
      --quiet;
    });
    Orb::traceLevelsAre(round % 3 ? "RouteMapStatusType/6" : "RouteMapStatusType/6,RouteMapSm/8");
    if (round % 2) {
      w.manager.clock()->timeSourceIs([&] {
        ++quiet;
        meddle();
        --quiet;
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
    while (w.settle() > 0) {
    }
    for (auto const& list : w.config->pathList()) {
      EXPECT_EQ(w.symbol(list->name())->status()->regexMode(), w.config->regexMode());
    }
    expectInLine(w);
    if (HasFailure()) FAIL() << "round " << round;
  }
}

}  // namespace
