#include "policy_status/AsPathListStatus.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/orb/base/Error.h"
#include "platform/orb/base/Trace.h"
#include "platform/orb/model/Path.h"
#include "policy_status/AsPathListSymbol.h"
#include "policy_status/Regex.h"
#include "tests/support/AsPathLists.h"
#include "tests/support/Observer.h"
#include "tests/support/RationedMemory.h"

namespace {

using namespace Routing::RouteMap;
using Lines = std::vector<std::string>;
using Status = Orb::Ptr<AsPathListStatus>;

/// The lines that the facility of compiled lists traces.
struct Traced {
  explicit Traced(int level) {
    Orb::traceSinkIs([this](std::string_view, int at, std::string_view line) {
      lines.push_back(std::to_string(at) + ' ' + std::string(line));
    });
    Orb::traceLevelIs("RouteMapStatusType", level);
  }
  ~Traced() { Orb::traceReset(); }
  Lines lines;
};

Acl::AsPathEntry entry(Orb::U32 seqno, char const* regex) {
  return Acl::AsPathEntry::of(seqno, Orb::String(regex), Acl::permitMatch, Acl::bgpAny, true, true);
}

/// A list of two entries, compiled for both modes.
Status twoEntries() {
  auto const status = asPathListStatusFactory("L");
  for (auto const& e : {entry(20, "_65002_"), entry(10, "^65001_")}) {
    status->asPathEntryIs(e);
    status->posixRegexAdd(e.seqno(), e.userRegex());
    status->dfaRegexAdd(e.seqno(), e.userRegex());
  }
  status->configVersionIs(3);
  return status;
}

TEST(Engines, CompileAndExecute) {
  struct Case {
    char const* pattern;
    bool isValid;
    char const* text;
    bool matches;
  };
  auto const posix = posixRegexFactory(7);
  Regex regex;
  for (auto const& [pattern, isValid, text, matches] :
       std::vector<Case>{{"^65", true, "65000", true},
                         {"^66", true, "65000", false},
                         {"a(", false, "a(", false},
                         {"[", false, "[", false},
                         {"a|b", true, "b", true},
                         {"", true, "", true}}) {
    SCOPED_TRACE(pattern);
    EXPECT_EQ(posix->compile(pattern) == 0, isValid);
    EXPECT_EQ(regex.compile(pattern) == 0, isValid);
    EXPECT_TRUE(posix->compiled()) << "also when it failed, on purpose";
    EXPECT_EQ(posix->execute(text), matches ? 0 : REG_NOMATCH);
    EXPECT_EQ(regex.execute(text), matches ? 0 : REG_NOMATCH);
  }
  EXPECT_EQ(regex.compile("a|b", 0), 0);
  EXPECT_EQ(regex.execute("b"), REG_NOMATCH) << "basic syntax";
  EXPECT_EQ(posix->compile(nullptr), REG_BADPAT);
  EXPECT_EQ(posix->execute(""), REG_NOMATCH);

  auto const dfa = dfaRegexFactory(7);
  std::vector<Orb::U32> const path{65001, 65002};
  std::string bytes(1 + sizeof(Orb::U32) * path.size(), '\0');
  std::memcpy(bytes.data() + 1, path.data(), bytes.size() - 1);  // not aligned
  for (auto const& [pattern, length, matches] : {std::tuple{"^65001$", 7U, true},
                                                 {"^65001$", 8U, false},
                                                 {"^65001_65002$", 8U, true},
                                                 {"^$", 3U, true}}) {
    EXPECT_EQ(dfa->compile(pattern), 0);
    EXPECT_EQ(dfa->execute(bytes.data() + 1, length), matches ? 0 : 1) << pattern << length;
  }
  for (char const* const refused : {"(", static_cast<char const*>(nullptr)}) {
    EXPECT_EQ(dfa->compile(refused), 1);
    EXPECT_FALSE(dfa->compiled() || dfa->compiledRegex());
  }
}

TEST(EnginesDeathTest, AreNotExecutedBeforeTheyAreCompiled) {
  EXPECT_DEATH(posixRegexFactory(1)->execute(""), "assertion failed: compiled_");
  EXPECT_DEATH(dfaRegexFactory(1)->execute("", 0), "assertion failed: compiled_");
  EXPECT_DEATH(Regex().execute(""), "assertion failed: compiled[^_]");
  // The flag alone, set from outside, makes nothing executable.
  auto const posix = posixRegexFactory(1);
  posix->compiledIs(true);
  EXPECT_EQ(posix->execute(""), REG_NOMATCH);
  auto const dfa = dfaRegexFactory(1);
  dfa->compiledIs(true);
  EXPECT_EQ(dfa->execute("", 0), 1);
}

TEST(Engines, ShareWhatEqualPatternsCompileTo) {
  auto const a = posixRegexFactory(1);
  auto const b = posixRegexFactory(2);
  a->compile("_65001$");
  b->compile("_65001$");
  EXPECT_EQ(a->compiledRegex(), b->compiledRegex());
  b->compile("_65002$");
  EXPECT_NE(a->compiledRegex(), b->compiledRegex());
  EXPECT_EQ(a->execute("_65001"), 0) << "it was not freed with the other one";
}

TEST(Engines, TraceTheirUse) {
  Traced traced(8);
  std::string address;
  {
    auto const posix = posixRegexFactory(1);
    std::ostringstream out;
    out << static_cast<void const*>(posix.get());
    address = ' ' + out.str();
    posix->compile("^65");
    posix->execute("65000");
    posix->compile(nullptr);
    dfaRegexFactory(1)->compile("^65");
  }
  std::string const engine = "Routing::RouteMap::PosixRegex::";
  EXPECT_EQ(traced.lines,
            (Lines{"8 void " + engine + "handleInitialized()" + address,
                   "8 S32 " + engine + "compile(Orb::CharPtrConst)" + address + " '^65'",
                   "8 S32 " + engine + "execute(Orb::CharPtrConst) const" + address + " '65000'",
                   "8 S32 " + engine + "compile(Orb::CharPtrConst)" + address + " '",
                   "8 void " + engine + "handleDestroy()" + address}));
}

TEST(AsPathListStatus, KeepsWhatIsCompiledWhenAnExpressionIsRefused) {
  auto const status = twoEntries();
  auto const posix = status->posixRegex(10);
  auto const dfa = status->dfaRegex(10);
  Traced traced(6);
  status->posixRegexAdd(10, "(");
  status->dfaRegexAdd(10, "(");
  status->dfaRegexAdd(10, std::string_view("1\0", 2));
  std::string const method = "6 void Routing::RouteMap::AsPathListStatus::";
  EXPECT_EQ(traced.lines,
            (Lines{method + "posixRegexAdd(U32, Orb::String)Invalid regex '('",
                   method + "dfaRegexAdd(U32, Orb::String)Invalid regex '('",
                   method + "dfaRegexAdd(U32, Orb::String)Invalid regex '1" + '\0' + "'"}));
  EXPECT_EQ(status->posixRegex(10), posix);
  EXPECT_EQ(status->dfaRegex(10), dfa);
  EXPECT_EQ(status->posixRegexMapSize(), 2U);
  status->posixRegexDel(10);
  status->posixRegexDel(10);
  EXPECT_EQ(status->posixRegexMapSize(), 1U);
  EXPECT_EQ(status->dfaRegexMapSize(), 2U);
}

TEST(AsPathListStatus, RefusesNulls) {
  auto const status = asPathListStatusFactory("L");
  auto const messageOf = [](auto const& act) -> std::string {
    try {
      act();
    } catch (Orb::RangeException const& error) {
      return error.what();
    }
    return "";
  };
  std::string const kind = "parameter to mutator for Routing::RouteMap::";
  EXPECT_EQ(messageOf([&] { status->posixRegexMapIs(nullptr); }),
            "null _posixRegexMap " + kind + "AsPathListStatus::posixRegexMap not allowed\"");
  EXPECT_EQ(messageOf([&] { status->dfaRegexMapIs(nullptr); }),
            "null _dfaRegexMap " + kind + "AsPathListStatus::dfaRegexMap not allowed\"");
  EXPECT_EQ(messageOf([] { allAsPathListSymbolFactory()->symbolIs(nullptr); }),
            "null _symbol " + kind + "AllAsPathListSymbol::symbol not allowed\"");
}

/// Writes down what it is notified of.
struct Listener final : AsPathListStatus::Notifiee {
  explicit Listener(Status const& status) { notifierIs(status); }
  ~Listener() = default;
  void onAsPathEntry(Orb::U32 k) override { heard += "entry " + std::to_string(k) + '\n'; }
  void onAsPathEntry() override { heard += "entries\n"; }
  void onConfigVersion() override { heard += "version\n"; }
  void onAsnNotation() override { heard += "notation\n"; }
  void onRegexMode() override { heard += "mode\n"; }
  void onPosixRegexMap(Orb::U32 k) override { heard += "posix " + std::to_string(k) + '\n'; }
  void onPosixRegexMap() override { heard += "posixes\n"; }
  void onDfaRegexMap(Orb::U32 k) override { heard += "dfa " + std::to_string(k) + '\n'; }
  void onDfaRegexMap() override { heard += "dfas\n"; }
  std::string take() { return std::exchange(heard, ""); }
  std::string heard;
};

TEST(AsPathListStatus, NotifiesOfRealChanges) {
  auto const status = asPathListStatusFactory("L");
  Listener listener(status);
  for (int i = 0; i < 2; ++i) {
    status->asPathEntryIs(entry(10, "^65001_"));
    status->configVersionIs(3);
    status->asnNotationIs(Routing::asnNotationAsdot);
    status->regexModeIs(Acl::regexModePosix);
  }
  EXPECT_EQ(listener.take(), "entry 10\nversion\nnotation\nmode\n") << "once each";
  status->asPathEntryIs(entry(10, "^65003_"));
  status->posixRegexAdd(10, "^65003_");
  status->dfaRegexAdd(10, "^65003_");
  status->dfaRegexDel(10);
  status->asPathEntryDelAll();
  EXPECT_EQ(listener.take(), "entry 10\nposix 10\ndfa 10\ndfa 10\nentry 10\n");
  EXPECT_EQ(status->toStrep(), "name=L configVersion=3 regexMode=regexModePosix ");
}

TEST(AsPathListStatus, ACloneSharesAndNotifiesOncePerAttribute) {
  auto const from = twoEntries();
  auto const to = asPathListStatusFactory("M");
  to->asPathEntryIs(entry(5, "^1_"));
  Listener listener(to);
  std::string keys;
  TestSupport::Observer const observer(*to, [&](Orb::AttrId, TestSupport::Observer::Key key) {
    if (key) keys += std::to_string(*static_cast<Orb::U32 const*>(key)) + ' ';
    if (key) to->asPathEntryDel(20);  // in the midst of it
  });
  to->clone(*from);
  EXPECT_EQ(listener.take(), "entries\nentry 20\nversion\nposixes\ndfas\n");
  EXPECT_EQ(keys, "5 20 10 20 20 10 20 10 ");
  EXPECT_EQ(to->posixRegex(20), from->posixRegex(20));
  EXPECT_EQ(to->dfaRegex(10), from->dfaRegex(10));
  EXPECT_EQ(to->toStrep(), "name=M configVersion=3 regexMode=regexModeDfa " +
                               entry(10, "^65001_").toStrep().str());
  EXPECT_TRUE(from->asPathEntryHas(20)) << "either changes without the other";
  to->clone(*from);
  EXPECT_EQ(listener.take(), "entries\nentry 20\n");
}

TEST(AsPathListStatus, ChangesDropWhatIsDerivedFromWhatTheyChange) {
  using Change = std::function<void(AsPathListStatus&)>;
  struct Case {
    char const* name;
    bool drops;
    Change change;
  };
  for (auto const& [name, drops, change] : std::vector<Case>{
           {"entry", true, [](auto& s) { s.asPathEntryIs(entry(30, "_1_")); }},
           {"entryDel", true, [](auto& s) { s.asPathEntryDel(10); }},
           {"entries", true, [](auto& s) { s.asPathEntryDelAll(); }},
           {"mode", true, [](auto& s) { s.regexModeIs(Acl::regexModePosix); }},
           {"modeByName", true,
            [](auto& s) { Orb::attributeTextIs(s, "regexMode", "regexModePosix"); }},
           {"entryByName", true,
            [](auto& s) { Orb::attributeTextIs(s, "asPathEntry[10].permit", "denyMatch"); }},
           {"entryDelByName", true, [](auto& s) { Orb::attributeDel(s, "asPathEntry[10]"); }},
           {"add", true, [](auto& s) { s.dfaRegexAdd(10, "_2_"); }},
           {"del", true, [](auto& s) { s.dfaRegexDel(10); }},
           {"delAll", true, [](auto& s) { s.dfaRegexMapDelAll(); }},
           {"clone", true, [](auto& s) { s.clone(*asPathListStatusFactory("M")); }},
           {"refused", false, [](auto& s) { s.dfaRegexAdd(10, "("); }},
           {"again", false, [](auto& s) { s.prepare(); }},
           {"notation", false, [](auto& s) { s.asnNotationIs(Routing::asnNotationAsdot); }},
           {"version", false, [](auto& s) { s.configVersionIs(4); }}}) {
    SCOPED_TRACE(name);
    auto const status = twoEntries();
    status->prepare();
    auto const set = TestSupport::pathSetOf(*status);
    status->pathSetIs(set);
    status->pathSetIs(TestSupport::pathSetOf(*status));
    EXPECT_EQ(status->pathSet(), set.get()) << "the first one stays";
    auto const copy = asPathListStatusFactory("L");
    copy->clone(*status);
    copy->prepare();
    EXPECT_EQ(copy->pathSet(), set.get());
    change(*status);
    EXPECT_EQ(status->isPrepared(), !drops);
    EXPECT_EQ(status->matchEntries().size(), drops ? 0U : 2U);
    EXPECT_EQ(status->pathSet(), drops ? nullptr : set.get());
  }
}

TEST(AsPathListStatus, WhatFindsNoMemoryChangesNothing) {
  auto const from = twoEntries();
  auto const status = asPathListStatusFactory("L");
  auto const isEmpty = [&] {
    EXPECT_TRUE(status->asPathEntry().empty() && status->dfaRegexMap().empty() &&
                status->posixRegexMap().empty() && !status->isPrepared());
  };
  long failed = TestSupport::withEverMoreMemory([&] { status->dfaRegexAdd(1, "_7_"); }, isEmpty);
  status->dfaRegexDel(1);
  failed += TestSupport::withEverMoreMemory([&] { status->posixRegexAdd(1, "_7_"); }, isEmpty);
  status->posixRegexDel(1);
  TestSupport::Observer const observer(*status, [](Orb::AttrId, TestSupport::Observer::Key) {});
  failed += TestSupport::withEverMoreMemory([&] { status->clone(*from); }, isEmpty);
  failed += TestSupport::withEverMoreMemory([&] { status->prepare(); },
                                            [&] { EXPECT_FALSE(status->isPrepared()); });
  EXPECT_GT(failed, 12);
  EXPECT_EQ(status->matchEntries().size(), 2U);
}

}  // namespace
