#include "config_copy/CopyHandlers.h"

#include <gtest/gtest.h>

#include "tests/support/FillTree.h"
#include "tests/support/Observer.h"
#include "tests/support/PolicyRoots.h"
#include "tests/support/Traced.h"

using namespace Routing::RouteMap;
using Cli::Session::EntityCopy;

namespace {

Orb::U32 versionOf(Orb::Entity const& e) {
  Orb::U32 version = 0;
  Orb::fromText(version, Orb::attributeText(e, "version"));
  return version;
}

TEST(CopyHandlersTest, RaiseTheVersionByOneWhenTheCopyChangedSomething) {
  auto const dir = Orb::make<RouteMapCopyHandlerDir>("dir");
  dir->nameIsFromBackup("other");
  EXPECT_EQ(dir->name(), "other");
  EXPECT_EQ(Orb::inspect(*dir),
            "Routing::RouteMap::RouteMapCopyHandlerDir\n  communityListEntryCopyHandler = None\n"
            "  prefixListCopyHandler = None\n  ipv6PrefixListCopyHandler = None\n"
            "  routeMapCopyHandler = None\n  asPathListCopyHandler = None");
  auto const table = Orb::make<Cli::Session::HandlerTable>();
  table->directoryIs(*dir);
  EXPECT_TRUE(table->handlers().empty()) << "it takes what is there";
  Cli::Session::HandlerTable::fillDirectory(*dir);
  table->directoryIs(*dir);
  EXPECT_EQ(table->handlers().size(), 5U);
  EXPECT_FALSE(table->handler(dir->type()));
  EXPECT_THROW(table->handlerIs(nullptr), Orb::RangeException);
  auto const engine = Orb::make<EntityCopy>();
  TestSupport::Traced traced(7, "RouteMapCopy");
  for (auto const& handler : table->handlers()) {
    SCOPED_TRACE(handler->type().name);
    Orb::TypeInfo const& type = *Orb::entityType(handler->handledType());
    EXPECT_EQ(table->handler(type), handler.get());
    auto const to = type.make("1");
    auto const from = type.make("1");
    EXPECT_FALSE(handler->handleEntity(engine, to, from, "it"));
    EXPECT_EQ(versionOf(*to), 0U);
    TestSupport::fillTree(*from);  // its version too, which is not copied
    EXPECT_TRUE(handler->handleEntity(engine, to, from, "it"));
    EXPECT_EQ(versionOf(*to), 1U);
    EXPECT_EQ(TestSupport::differenceText(*to, *from), "");
    EXPECT_EQ(traced.lines, "");
    Orb::traceLevelIs("RouteMapCopy", 8);
    EXPECT_FALSE(handler->handleEntity(engine, to, from, "it"));
    Orb::traceLevelIs("RouteMapCopy", 7);
    EXPECT_EQ(versionOf(*to), 1U);
    EXPECT_EQ(std::exchange(traced.lines, {}),
              "8 virtual bool " + std::string(handler->type().name) +
                  "::handleEntity(const Ptr&, const Ptr&, const PtrConst&, Orb::String): it\n");
  }
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

// The notice of the k-th counter removes the entry, or the map.
TEST(CopyHandlersTest, RaiseTheCountersOfEntriesThatObserversRemove) {
  auto const handler = Orb::make<RouteMapCopyHandler>();
  auto const from = Orb::make<Map>("m");
  for (Orb::U32 const seqno : {1U, 2U}) from->mapEntryIs(seqno);
  for (int k = 0; k < 12; ++k) {
    auto const maps = Orb::make<Config>();
    auto map = maps->routeMapIs("m");
    for (Orb::U32 const seqno : {1U, 2U}) map->mapEntryIs(seqno);
    TestSupport::Observer remover(*map->mapEntry(1));
    remover.changed = [&](auto...) {
      if (remover.notified != 1 + k / 2) return;
      k % 2 ? maps->routeMapDel("m") : map->mapEntryDel(1);
      map = nullptr;
    };
    EXPECT_FALSE(handler->handleEntity(Orb::make<EntityCopy>(), map, from, "routeMap"));
    EXPECT_FALSE(map || remover.isLinked()) << "the entry is gone";
  }
}

TEST(CopyHandlersTest, LeaveOutTheAttributesOfTheirFilter) {
  auto const handler = Orb::make<PrefixListCopyHandler>();
  auto const from = Orb::make<Acl::PrefixList>("l");
  auto const to = Orb::make<Acl::PrefixList>("l");
  from->sourceIs("x");
  handler->filteredAttributeIs()->attributeIs("source", true);
  EXPECT_FALSE(handler->handleEntity(Orb::make<EntityCopy>(), to, from, "prefixList"));
  handler->filteredAttributeDel();
  EXPECT_TRUE(handler->handleEntity(Orb::make<EntityCopy>(), to, from, "prefixList"));
}

TEST(CopyHandlersDeathTest, TheDestinationMustBeOfTheHandledType) {
  auto const handler = Orb::make<PrefixListCopyHandler>();
  auto const other = Orb::make<Acl::Ipv6PrefixList>("l");
  EXPECT_DEATH(handler->handleEntity(Orb::make<EntityCopy>(), other, other, "prefixList"),
               "assertion failed");
}

}  // namespace
