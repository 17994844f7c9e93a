#pragma once

#include <gtest/gtest.h>

#include "policy_status/AsPathListStatus.h"

namespace TestSupport {

/// The path set of a prepared list.
inline Orb::Ptr<Routing::AsPath::PathSet const> pathSetOf(
    Routing::RouteMap::AsPathListStatus const& status) {
  Routing::AsPath::PathSetBuilder builder;
  for (auto const& match : status.matchEntries()) {
    EXPECT_TRUE(builder.add(match.entry->userRegex(), match.origins)) << *match.entry;
  }
  EXPECT_TRUE(builder.work([] { return false; }));
  return builder.take();
}

}  // namespace TestSupport
