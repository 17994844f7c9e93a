#include "platform/session/Session.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/support/Observer.h"
#include "tests/support/PolicyRoots.h"
#include "tests/support/Thrown.h"

namespace {

using Cli::Session::CommitReport;
using Cli::Session::Manager;
using Cli::Session::Session;
using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;
using Edits = std::initializer_list<char const*>;
using TestSupport::differenceText;
using TestSupport::edit;
using TestSupport::Observer;
using TestSupport::PolicyRoots;
using TestSupport::reportText;
using TestSupport::thrown;

bool isSource(Orb::AttrId id) {
  return TestSupport::isAttribute(id, Acl::PrefixList::Attr::source);
}

constexpr auto kThrow = [](Orb::AttrId, void const*) { throw std::runtime_error("no"); };

struct SessionTest : testing::Test {
  PolicyRoots roots;
  Orb::Ptr<Routing::RouteMap::RouteMapCopyHandlerDir> dir;
  Orb::Ptr<Manager> manager;

  /// A running configuration with a list, a map and a community list, at their first versions.
  void SetUp() override {
    roots = PolicyRoots();
    dir = Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("dir");
    manager = Orb::make<Manager>(roots.all(), dir);
    commit({"prefixList['P'].prefixEntry[10].ge=8", "prefixList['P'].source='here'",
            "communityList['C'].communityListEntry[1].commRegex='x'",
            "routeMap['M'].mapEntry[10].localPref=100"});
  }
  Orb::Ptr<Session> open(Orb::Name const& name, Edits const& edits) {
    return TestSupport::openWith(*manager, name, edits);
  }
  void commit(Edits const& edits) { EXPECT_TRUE(open("o", edits)->commit().isComplete()); }
};

TEST_F(SessionTest, NothingShowsOutsideBeforeTheCommitWhichReportsWhatBecameOfEachUnit) {
  std::string const before = roots.text();
  auto const session = open(
      "s", {"prefixList['P'].source='there'", "prefixList['A].b'].source='new'", "routeMap['M']",
            "regexMode=regexModePosix", "useDeprecatedCmd=False", "communityList['D']"});
  EXPECT_FALSE(session->attributeDel("communityList['none']"));
  EXPECT_TRUE(session->attributeDel("communityList"));
  EXPECT_EQ(roots.text(), before);

  // What is touched is read from the candidate, the rest from the running tree.
  EXPECT_EQ(session->attributeText("prefixList"), "{ 'A].b', 'P' }") << "in the order of the keys";
  EXPECT_EQ(session->attributeText("communityList"), "{}");
  EXPECT_EQ(manager->open("t")->attributeText("prefixList['P'].source"), "'here'");
  EXPECT_EQ(differenceText(*session),
            "~prefixList['P'].source 'here'>'there'\n+prefixList['A].b']\n"
            "~prefixList['A].b'].source ''>'new'\n~regexMode regexModeDfa>regexModePosix\n"
            "-communityList['C']\n");
  auto const aborted = open("a", {"regexMode=regexModePosix"});
  aborted->abort();
  EXPECT_EQ(roots.text(), before);
  EXPECT_EQ(aborted->status()->state(), Cli::Session::sessionAborted);
  EXPECT_THROW(aborted->commit(), Orb::RangeException);

  CommitReport const report = session->commit();
  EXPECT_TRUE(report.isComplete());
  EXPECT_EQ(reportText(report),
            "prefixList['P'] changed\nprefixList['A].b'] created\nrouteMap['M'] unchanged\n"
            "regexMode changed\nuseDeprecatedCmd unchanged\ncommunityList['D'] unchanged\n"
            "communityList['C'] deleted\n");
  EXPECT_EQ(roots.lists->prefixList("P")->version(), 2U);
  EXPECT_EQ(roots.lists->prefixList("A].b")->version(), 1U);
  EXPECT_EQ(roots.maps->routeMap("M")->version(), 1U);
  EXPECT_EQ(roots.lists->regexMode(), Acl::regexModePosix);
  EXPECT_TRUE(roots.lists->communityList().empty());
  EXPECT_EQ(session->status()->state(), Cli::Session::sessionCommitted);
  EXPECT_THROW(session->attributeText("regexMode"), Orb::RangeException);
}

// Of entities, the random plays show it.
TEST_F(SessionTest, WhoseValueOfARootWinsDoesNotDependOnWhoLooked) {
  for (bool const looks : {false, true}) {
    for (bool const runsAlready : {false, true}) {
      SCOPED_TRACE(std::string(looks ? "looks " : "") + (runsAlready ? "runs" : ""));
      SetUp();
      auto const first = open("first", {"regexMode=regexModePosix"});
      if (runsAlready) first->commit();
      auto const third = open("third", {"regexMode=regexModePosix"});
      auto const second = open("second", {"regexMode=regexModeDfa"});
      if (!runsAlready) first->commit();
      if (looks) differenceText(*third);
      EXPECT_TRUE(second->commit().isComplete());
      if (looks) third->attributeText("regexMode");
      EXPECT_EQ(reportText(third->commit()), "regexMode changed over second\n");
      EXPECT_EQ(roots.lists->regexMode(), Acl::regexModePosix);
    }
  }
}

TEST_F(SessionTest, NoOtherSessionWorksWhileOneCommits) {
  auto const session = open("s", {"prefixList['P'].source='x'"});
  auto const other = open("o", {"routeMap['M'].mapEntry[10].weight=1"});
  int refused = 0;
  Observer const doer(*roots.lists->prefixList("P"), [&](Orb::AttrId id, void const*) {
    if (!isSource(id)) return;
    for (auto const& act : std::vector<std::function<void()>>{
             [&] { other->commit(); }, [&] { other->attributeText("regexMode"); },
             [&] { session->abort(); }, [&] { session->attributeDel("routeMap"); }}) {
      refused += thrown<Orb::RangeException>(act).empty() ? 0 : 1;
    }
    manager->open("late");  // opening and dropping one is nothing
  });
  EXPECT_TRUE(session->commit().isComplete());
  EXPECT_EQ(refused, 4);
  EXPECT_EQ(reportText(other->commit()), "routeMap['M'] changed\n");
  // The state is shown, not asked.
  session->status()->stateIs(Cli::Session::sessionOpen);
  EXPECT_THROW(session->attributeText("regexMode"), Orb::RangeException);
}

TEST_F(SessionTest, ObserversOfACandidateAreNotifiedOfWhatItFollows) {
  commit({"routeMap['M'].mapEntry[40]"});
  auto const session = manager->open("s");
  auto const map = session->edit<Map>("routeMap['M']");
  map->descriptionIs(1, "mine");
  session->attributeIs("routeMap['M'].mapEntry[20]");
  map->mapEntryDel(20);  // what it made and removed again stays away
  std::string seen;
  Observer const ofMap(*map, [&](Orb::AttrId id, void const* key) {
    seen += std::string(map->type().attributes[id].name) + ' ';
    if (key) seen += std::to_string(*static_cast<Orb::U32 const*>(key)) + '\n';
  });
  Observer const ofRemoved(
      *map->mapEntry(10), [&](Orb::AttrId id, void const*) { seen += std::to_string(id); },
      [&] { seen += "gone\n"; });
  Observer const ofOther(*map->mapEntry(40), [&](Orb::AttrId id, void const*) {
    if (TestSupport::isAttribute(id, MapEntry::Attr::communityDelete)) seen += "set\n";
  });
  commit({"routeMap['M'].mapEntry[20]", "routeMap['M'].mapEntry[30]", "-routeMap['M'].mapEntry[10]",
          "routeMap['M'].mapEntry[40].communityDelete['C']"});
  EXPECT_EQ(session->attributeText("routeMap['M'].mapEntry[40].communityDelete"), "'C'");
  EXPECT_EQ(seen, "set\ngone\nmapEntry 10\nmapEntry 30\nversion ");
  EXPECT_EQ(map->version(), 3U) << "counters follow, whatever was edited";
}

TEST_F(SessionTest, ObserversOfACandidateMayTouchMoreWhileItFollows) {
  auto const watched = manager->open("w");
  auto const list = watched->edit<Acl::PrefixList>("prefixList['P']");
  Observer const doer(*list, [&](Orb::AttrId id, void const*) {
    if (!isSource(id)) return;
    for (auto const* const name : {"A", "B", "C", "D"}) {
      watched->attributeIs(std::string("prefixList['") + name + "']");
    }
  });
  commit({"prefixList['P'].source='x'"});
  EXPECT_TRUE(watched->commit().isComplete());
  EXPECT_TRUE(roots.lists->prefixListHas("D"));
}

TEST_F(SessionTest, ACandidateFollowsWhatAnObserverCommitsMeanwhile) {
  using Act = std::function<std::string(Session&)>;
  for (Act const& act : std::vector<Act>{[](auto& s) { return differenceText(s); },
                                         [](auto& s) { return s.attributeText("routeMap"); },
                                         [](auto& s) { return reportText(s.commit()); }}) {
    SetUp();
    auto const session = open("s", {"routeMap['M'].mapEntry[20].weight=1", "routeMap['N']"});
    auto const late = session->edit<Map>("routeMap['N']");
    bool once = true;
    Observer const doer(*late, [&](Orb::AttrId, void const*) {
      if (std::exchange(once, false)) commit({"routeMap['M'].mapEntry[10].weight=7"});
    });
    commit({"routeMap['N'].mapEntry[10].weight=7"});
    std::string const seen = act(*session);
    EXPECT_EQ(seen.find("over"), seen.npos);
    EXPECT_EQ(seen.find("7"), seen.npos) << "no difference in what the session has not edited";
    if (session->isOpen()) session->commit();
    EXPECT_EQ(roots.maps->routeMap("M")->mapEntry(10)->weight(), Keel::MaybeU63(7));
  }
}

TEST_F(SessionTest, AnEditStandsWhateverObserversThrow) {
  auto const session = open("s", {"regexMode=regexModePosix"});
  auto const map = session->edit<Map>("routeMap['M']");
  map->mapEntryIs(20);
  {
    Observer const thrower(*map, kThrow);
    EXPECT_THROW(session->attributeDel("routeMap['M'].mapEntry[20]"), std::runtime_error);
    EXPECT_THROW(session->attributeDel("routeMap['M'].mapEntry[10]"), std::runtime_error);
  }
  commit({"routeMap['M'].mapEntry[10].weight=7", "routeMap['M'].mapEntry[20].weight=7"});
  EXPECT_TRUE(session->commit().isComplete());
  EXPECT_TRUE(roots.maps->routeMap("M")->mapEntry().empty());
}

TEST_F(SessionTest, ObserversOfACandidateMayCloseTheSessionInTheMiddleOfAnything) {
  using Act = std::function<void(Session&)>;
  std::string const path = "prefixList['P'].source";
  for (Act const& act : std::vector<Act>{
           [&](auto& s) { s.attributeTextIs(path, "'z'"); }, [&](auto& s) { s.attributeDel(path); },
           [&](auto& s) { s.attributeDel("prefixList['P']"); },
           [&](auto& s) { s.attributeDel("prefixList"); },
           [&](auto& s) { s.attributeIs("prefixList['P']"); },
           [&](auto& s) { s.template edit<Acl::PrefixList>("prefixList['P']"); },
           [&](auto& s) { s.attributeText(path); }, [&](auto& s) { s.attributeText("prefixList"); },
           [&](auto& s) { differenceText(s); }, [&](auto& s) { s.commit(); }}) {
    for (bool const follows : {false, true}) {
      for (bool const drops : {false, true}) {
        auto watched = manager->open("w");
        Session& session = *watched;
        auto const close = [&](Orb::AttrId id, void const*) {
          if (watched && isSource(id)) drops ? void(watched = nullptr) : watched->abort();
        };
        auto const list = session.edit<Acl::PrefixList>("prefixList['P']");
        Observer const doer(*list, close);
        if (follows) {
          bool const isX = roots.lists->prefixList("P")->source() == "x";
          commit({isX ? "prefixList['P'].source='y'" : "prefixList['P'].source='x'"});
        }
        try {
          act(session);
        } catch (Orb::RangeException const&) {
          EXPECT_TRUE(follows) << "an edit that was made is not refused";
        }
      }
    }
  }
}

TEST_F(SessionTest, WhatIsWrongLeavesTheCandidateAsItWas) {
  auto const session = open("s", {"routeMap['M'].mapEntry[10].asPathPrependLastAs=3",
                                  "routeMap['M'].mapEntry[10].communityDelete['C']"});
  std::string const before = differenceText(*session);
  auto const refuses = [&](auto const& act) {
    EXPECT_THROW(act(), Orb::RangeException);
    EXPECT_EQ(differenceText(*session), before);
  };
  for (auto const* const line :
       {"routeMap['M'].mapEntry[10].asPathPrependLastAs=16", "isAsdotConfigured",
        "isAsdotConfigured=True", "-isAsdotConfigured",
        "routeMap['M'].mapEntry[30].asPathPrependLastAs=16", "routeMap['M'].version=9",
        "prefixList['Q'].version=9", "prefixList['Q'].nothing=9", "prefixList['P].source='x'",
        "nothing=9", "prefixList", "prefixList.x=1", "-prefixList['none'].nothing"}) {
    SCOPED_TRACE(line);
    refuses([&] { edit(*session, line); });
  }
  for (auto const* const path : {"ipv6PrefixList['Q']", "routeMap['M'].mapEntry[30]",
                                 "routeMap['M'].mapEntry[10].communityDelete['D']",
                                 "routeMap['M'].mapEntry[30].communityDelete['D']"}) {
    SCOPED_TRACE(path);
    refuses([&] { session->edit<Acl::PrefixList>(path); });
  }
  refuses([&] { session->attributeText("prefixList['Q'].source"); });
  EXPECT_EQ(reportText(session->commit()), "routeMap['M'] changed\n");
}

TEST_F(SessionTest, ACommitThatFailsSaysWhatWasApplied) {
  auto const session = open("s", {"prefixList['P'].source='first'",
                                  "routeMap['M'].description[13]='x'", "-communityList['C']"});
  auto const other = open("other", {"routeMap['M'].mapEntry[20]"});
  {
    Observer const objector(*roots.maps->routeMap("M"), [](Orb::AttrId id, void const* key) {
      if (TestSupport::isAttribute(id, Map::Attr::description) &&
          *static_cast<Orb::U32 const*>(key) == 13) {
        throw std::runtime_error("no line 13");
      }
    });
    CommitReport const report = session->commit();
    EXPECT_FALSE(report.isComplete());
    EXPECT_EQ(report.error, "routeMap['M']: no line 13");
    EXPECT_THROW(std::rethrow_exception(report.cause), std::runtime_error);
    EXPECT_EQ(reportText(report),
              "prefixList['P'] changed\nrouteMap['M'] failed\ncommunityList['C'] not applied\n");
    EXPECT_EQ(roots.maps->routeMap("M")->version(), 1U) << "what failed is not announced";
    EXPECT_TRUE(roots.lists->communityListHas("C"));
  }
  EXPECT_EQ(other->attributeText("routeMap['M'].description[13]"), "'x'")
      << "others follow what was applied";
  // The session stays open: with what was wrong mended, the rest is committed. The line is there
  // already, but no version has announced it.
  EXPECT_EQ(reportText(session->commit()),
            "prefixList['P'] unchanged\nrouteMap['M'] changed\ncommunityList['C'] deleted\n");
  EXPECT_EQ(roots.maps->routeMap("M")->version(), 2U);
  EXPECT_EQ(roots.maps->routeMap("M")->description(13), "x");
  auto const again = open("again", {"routeMap['M']"});
  EXPECT_EQ(reportText(again->commit()), "routeMap['M'] unchanged\n") << "it has been announced";
}

TEST_F(SessionTest, ACommitThatFailsReportsOnlyWhatItWroteOver) {
  // The weight comes before the text.
  auto const late =
      open("late", {"routeMap['M'].description[1]='2'", "routeMap['M'].mapEntry[10].weight=2"});
  auto const early = open("early", {"routeMap['M'].description[1]='1'"});
  EXPECT_TRUE(early->commit().isComplete());
  {
    Observer const thrower(*roots.maps->routeMap("M")->mapEntry(10), kThrow);
    EXPECT_EQ(reportText(late->commit()), "routeMap['M'] failed\n");
  }
  EXPECT_EQ(reportText(late->commit()), "routeMap['M'] changed over early\n");
}

// An observer throws at each of the notifications in turn that come before the version is raised.
TEST_F(SessionTest, WhatACommitChangedIsAnnouncedWhateverObserversThrow) {
  for (int at = 1;; ++at) {
    SCOPED_TRACE(at);
    SetUp();
    auto const map = roots.maps->routeMap("M");
    int left = at;
    auto const act = [&](Orb::AttrId, void const*) {
      if (map->version() == 1 && --left == 0) throw std::runtime_error("no");
    };
    Observer const ofRoot(*roots.maps, act);
    Observer const ofMap(*map, act);
    Observer const ofEntry(*map->mapEntry(10), act);
    auto const session = open("s", {"routeMap['N']", "routeMap['M'].mapEntry[10].weight=7",
                                    "routeMap['M'].mapEntry[20]"});
    bool const isMade = at == 1;
    std::string const report = reportText(session->commit());
    if (left > 0) {
      EXPECT_GT(at, 5);
      return;
    }
    EXPECT_EQ(report, isMade ? "routeMap['N'] failed\nrouteMap['M'] not applied\n"
                             : "routeMap['N'] created\nrouteMap['M'] failed\n");
    EXPECT_EQ(reportText(session->commit()),
              isMade ? "routeMap['N'] changed\nrouteMap['M'] changed\n"
                     : "routeMap['N'] unchanged\nrouteMap['M'] changed\n");
    EXPECT_EQ(roots.maps->routeMap("N")->version(), isMade ? 1U : 0U);
    EXPECT_EQ(map->version(), 2U);
    EXPECT_EQ(map->mapEntry(10)->weight(), Keel::MaybeU63(7));
  }
}

TEST_F(SessionTest, WhatIsNotAllowedFailsEveryTime) {
  auto const session = manager->open("s");
  auto const entry = session->edit<MapEntry>("routeMap['M'].mapEntry[10]");
  EXPECT_THROW(entry->asPathPrependLastAsIs(16), Orb::RangeException);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(reportText(session->commit()), "routeMap['M'] failed\n");
    EXPECT_EQ(roots.maps->routeMap("M")->mapEntry(10)->asPathPrependLastAs(), 0U);
    EXPECT_EQ(roots.maps->routeMap("M")->mapEntry(10)->asPathPrependVersion(), 1U);
    EXPECT_EQ(roots.maps->routeMap("M")->version(), 1U);
  }
  entry->asPathPrependLastAsIs(15);
  EXPECT_TRUE(session->commit().isComplete());
}

TEST_F(SessionTest, ObserversOfTheStateDoNotStopACommit) {
  Observer const ofHandler(*dir->prefixListCopyHandler(), kThrow);
  auto const session = open("s", {"prefixList['P'].source='x'"});
  Observer const ofSession(*session->status(), [&](Orb::AttrId, void const*) {
    if (session->status()->state() == Cli::Session::sessionCommitted) {
      EXPECT_FALSE(session->isOpen()) << "it is closed when its state says so";
      commit({"prefixList['P'].source='y'"});
    }
    throw std::runtime_error("no");
  });
  CommitReport const report = session->commit();
  EXPECT_TRUE(report.isComplete());
  EXPECT_EQ(report.error, "the session's state: no");
  EXPECT_EQ(session->status()->state(), Cli::Session::sessionCommitted);
  EXPECT_EQ(roots.lists->prefixList("P")->version(), 3U);
}

TEST_F(SessionTest, HandlersKnowForWhomTheyWork) {
  auto const handler = dir->prefixListCopyHandler();
  ASSERT_TRUE(handler);
  std::string worksFor;
  auto const list = roots.lists->prefixList("P");
  Observer const watcher(*list, [&](Orb::AttrId id, void const*) {
    if (!TestSupport::isAttribute(id, Acl::PrefixList::Attr::version)) return;
    worksFor = handler->sessionStatus()->name().str();
    EXPECT_EQ(handler->sessionStatus()->state(), Cli::Session::sessionCommitting);
    EXPECT_TRUE(handler->handlerDir() && handler->handlerTable() && handler->externalDest());
  });
  EXPECT_TRUE(open("mine", {"prefixList['P'].source='x'"})->commit().isComplete());
  EXPECT_EQ(worksFor, "mine");
  EXPECT_FALSE(handler->sessionStatus() || handler->handlerDir() || handler->externalDest());

  dir->prefixListCopyHandlerDel();  // a commit uses those that the directory holds
  auto const session = open("s", {"prefixList['P'].source='y'"});
  EXPECT_EQ(reportText(session->commit()), "prefixList['P'] changed\n");
  EXPECT_EQ(list->version(), 2U) << "no handler raised it";
}

TEST(HandlerTableTest, ALaterHandlerOfATypeReplacesTheEarlierOne) {
  auto const table = Orb::make<Cli::Session::HandlerTable>();
  auto const dir = Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("dir");
  auto const later = Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("later");
  table->handlerIs(dir->prefixListCopyHandlerIs());
  table->handlerIs(later->prefixListCopyHandlerIs());
  ASSERT_EQ(table->handlers().size(), 1U);
  EXPECT_EQ(table->handlers()[0], later->prefixListCopyHandler());
}

TEST(SessionManagerTest, RootsMustDiffer) {
  auto const maps = Orb::make<Routing::RouteMap::Config>();
  EXPECT_THROW(Orb::make<Manager>(std::vector<Orb::Ptr<Orb::Entity>>{nullptr}),
               Orb::RangeException);
  EXPECT_THROW(Orb::make<Manager>(std::vector<Orb::Ptr<Orb::Entity>>{maps, maps}),
               Orb::RangeException);
}

}  // namespace
