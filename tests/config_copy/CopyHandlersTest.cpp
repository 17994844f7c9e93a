#include "config_copy/CopyHandlers.h"

#include <gtest/gtest.h>

#include "platform/orb/base/Trace.h"
#include "tests/support/FillTree.h"
#include "tests/support/PolicyRoots.h"

using namespace Routing::RouteMap;
using Cli::Session::EntityCopy;

namespace {

Orb::U32 versionOf(Orb::Entity const& e) {
  Orb::U32 version = 0;
  Orb::fromText(version, Orb::attributeText(e, "version"));
  return version;
}

/// A handler, two entities of its type, and the attribute under which commits copy them.
struct Case {
  Orb::Ptr<Cli::Session::EntityCopyGlobalSessionHandler> handler;
  Orb::Ptr<Orb::Entity> to;
  Orb::Ptr<Orb::Entity> from;
  Orb::String attribute;
};
std::vector<Case> cases(RouteMapCopyHandlerDir& dir) {
  auto const list = Orb::make<Acl::CommunityList>("c");
  auto const other = Orb::make<Acl::CommunityList>("c");
  return {
      {dir.communityListEntryCopyHandlerIs(), list->communityListEntryIs(1),
       other->communityListEntryIs(1), "communityListEntry"},
      {dir.prefixListCopyHandlerIs(), Orb::make<Acl::PrefixList>("l"),
       Orb::make<Acl::PrefixList>("l"), "prefixList"},
      {dir.ipv6PrefixListCopyHandlerIs(), Orb::make<Acl::Ipv6PrefixList>("l"),
       Orb::make<Acl::Ipv6PrefixList>("l"), "ipv6PrefixList"},
      {dir.routeMapCopyHandlerIs(), Orb::make<Map>("m"), Orb::make<Map>("m"), "routeMap"},
      {dir.asPathListCopyHandlerIs(), Orb::make<Acl::AsPathList>("l"),
       Orb::make<Acl::AsPathList>("l"), "pathList"},
  };
}

TEST(CopyHandlersTest, RaiseTheVersionByOneWhenTheCopyChangedSomething) {
  auto const dir = Orb::make<RouteMapCopyHandlerDir>("dir");
  auto const engine = Orb::make<EntityCopy>();
  std::string lines;
  Orb::traceSinkIs([&](std::string_view facility, int level, std::string_view line) {
    lines += std::string(facility) + '/' + std::to_string(level) + ' ' + std::string(line) + '\n';
  });
  for (Case const& c : cases(*dir)) {
    SCOPED_TRACE(c.handler->type().name);
    EXPECT_EQ(c.handler->handledType(), c.to->type().name);
    EXPECT_FALSE(c.handler->handleEntity(engine, c.to, c.from, c.attribute));
    EXPECT_EQ(versionOf(*c.to), 0U);
    TestSupport::fillTree(*c.from);  // its version too, which is not copied
    EXPECT_TRUE(c.handler->handleEntity(engine, c.to, c.from, c.attribute));
    EXPECT_EQ(versionOf(*c.to), 1U);
    EXPECT_EQ(TestSupport::differenceText(*c.to, *c.from), "");
    EXPECT_EQ(lines, "");
    Orb::traceLevelIs("RouteMapCopy", 8);
    EXPECT_FALSE(c.handler->handleEntity(engine, c.to, c.from, c.attribute));
    Orb::traceLevelIs("RouteMapCopy", 7);
    EXPECT_EQ(versionOf(*c.to), 1U);
    std::string const start =
        "RouteMapCopy/8 virtual bool " + std::string(c.handler->type().name) +
        "::handleEntity(const Ptr&, const Ptr&, const PtrConst&, Orb::String): ";
    EXPECT_EQ(std::exchange(lines, {}).substr(0, start.size()), start);
  }
  Orb::traceReset();
}

TEST(CopyHandlersTest, TheMapsEntriesAreRaisedByEveryCopy) {
  auto const handler = Orb::make<RouteMapCopyHandler>();
  auto const engine = Orb::make<EntityCopy>();
  auto const from = Orb::make<Map>("m");
  auto const to = Orb::make<Map>("m");
  from->mapEntryIs(10);
  from->mapEntryIs(5);
  for (Orb::U32 copies = 1; copies <= 3; ++copies) {
    // On purpose: the entries' counters rise even where nothing changed, the map's does not.
    EXPECT_EQ(handler->handleEntity(engine, to, from, "routeMap"), copies == 1);
    EXPECT_EQ(to->version(), 1U);
    for (auto const& entry : to->mapEntry()) {
      for (Orb::U32 const version :
           {entry->asPathPrependVersion(), entry->asPathReplaceVersion(),
            entry->communityAddReplaceVersion(), entry->communityDeleteVersion(),
            entry->extCommunityVersion(), entry->largeCommunityVersion()}) {
        EXPECT_EQ(version, copies) << entry->seqno();
      }
    }
  }
}

// The first notice of the k-th counter removes the entry, or the map.
TEST(CopyHandlersTest, RaiseTheCountersOfEntriesThatObserversRemove) {
  struct Remover final : Orb::Notifiee {
    void onAttribute(Orb::Entity const&, Orb::AttrId, void const*) override {
      if (++notified == removeAt) ofMap ? maps->routeMapDel("m") : map->mapEntryDel(1);
      if (notified == removeAt) map = nullptr;
    }
    Orb::Ptr<Config> maps = Orb::make<Config>();
    Orb::Ptr<Map> map = maps->routeMapIs("m");
    bool ofMap = false;
    int removeAt = 0;
    int notified = 0;
  };
  auto const handler = Orb::make<RouteMapCopyHandler>();
  auto const from = Orb::make<Map>("m");
  from->mapEntryIs(1);
  from->mapEntryIs(2);
  for (int k = 1; k <= 6; ++k) {
    for (bool const ofMap : {false, true}) {
      Remover remover;
      remover.ofMap = ofMap;
      remover.removeAt = k;
      for (Orb::U32 const seqno : {1U, 2U}) remover.map->mapEntryIs(seqno);
      remover.map->mapEntry(1)->notifieeIs(remover);
      EXPECT_FALSE(handler->handleEntity(Orb::make<EntityCopy>(), remover.map, from, "routeMap"));
      EXPECT_GE(remover.notified, k);
      EXPECT_FALSE(remover.isLinked()) << "the entry is gone";
    }
  }
}

TEST(CopyHandlersTest, LeaveOutTheAttributesOfTheirFilter) {
  auto const handler = Orb::make<PrefixListCopyHandler>();
  auto const from = Orb::make<Acl::PrefixList>("l");
  auto const to = Orb::make<Acl::PrefixList>("l");
  from->sourceIs("x");
  from->sourceTimestampIs(5);
  EXPECT_FALSE(handler->filteredAttribute());
  handler->filteredAttributeIs()->attributeIs("source", true);
  for (bool const isFirst : {true, false}) {
    EXPECT_EQ(handler->handleEntity(Orb::make<EntityCopy>(), to, from, "prefixList"), isFirst);
    EXPECT_EQ(to->source(), "");
    EXPECT_EQ(to->sourceTimestamp(), 5U);
  }
  handler->filteredAttributeDel();
  EXPECT_TRUE(handler->handleEntity(Orb::make<EntityCopy>(), to, from, "prefixList"));
}

TEST(CopyHandlersDeathTest, TheDestinationMustBeOfTheHandledType) {
  auto const handler = Orb::make<PrefixListCopyHandler>();
  auto const other = Orb::make<Acl::Ipv6PrefixList>("l");
  EXPECT_DEATH(handler->handleEntity(Orb::make<EntityCopy>(), other, other, "prefixList"),
               "assertion failed");
}

TEST(CopyHandlersTest, TheDirectoryOwnsOneOfEachByName) {
  auto const dir = Orb::make<RouteMapCopyHandlerDir>("dir");
  dir->nameIsFromBackup("other");
  EXPECT_EQ(dir->name(), "other");
  EXPECT_EQ(Orb::inspect(*dir),
            "Routing::RouteMap::RouteMapCopyHandlerDir\n  communityListEntryCopyHandler = None\n"
            "  prefixListCopyHandler = None\n  ipv6PrefixListCopyHandler = None\n"
            "  routeMapCopyHandler = None\n  asPathListCopyHandler = None");
  // A table takes what is there, and finds each by the type that it copies.
  auto const table = Orb::make<Cli::Session::HandlerTable>();
  table->directoryIs(*dir);
  EXPECT_TRUE(table->handlers().empty());
  Cli::Session::HandlerTable::fillDirectory(*dir);
  table->directoryIs(*dir);
  EXPECT_EQ(table->handlers().size(), 5U);
  EXPECT_EQ(table->handler(Orb::make<Map>("m")->type()), dir->routeMapCopyHandler().get());
  EXPECT_FALSE(table->handler(dir->type()));
  EXPECT_THROW(table->handlerIs(nullptr), Orb::RangeException);
}

}  // namespace
