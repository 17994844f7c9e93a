#include "policy_status/AsPathListStatus.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <sstream>

#include "platform/orb/model/Path.h"
#include "policy_status/Regex.h"
#include "tests/support/AsPathLists.h"
#include "tests/support/Observer.h"
#include "tests/support/RationedMemory.h"
#include "tests/support/Traced.h"

namespace {

using namespace Routing::RouteMap;
using Key = TestSupport::Observer::Key;
using TestSupport::Traced;

Acl::AsPathEntry entry(Orb::U32 seqno, char const* regex) {
  return Acl::AsPathEntry::of(seqno, Orb::String(regex), Acl::permitMatch, Acl::bgpAny, true, true);
}

/// A list of two entries, compiled for both modes.
Orb::Ptr<AsPathListStatus> twoEntries() {
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
  auto const posix = posixRegexFactory(7);
  auto const other = posixRegexFactory(8);
  Regex regex;
  for (auto const& [pattern, isValid, text, matches] : {std::tuple{"^65", true, "65000", true},
                                                        {"^66", true, "65000", false},
                                                        {"(", false, "(", false},
                                                        {"[", false, "[", false},
                                                        {"a|b", true, "b", true}}) {
    SCOPED_TRACE(pattern);
    other->compile(pattern);
    EXPECT_EQ(posix->compile(pattern) == 0, isValid);
    EXPECT_EQ(posix->compiledRegex(), other->compiledRegex()) << "shared";
    EXPECT_TRUE(posix->compiled()) << "also when it failed, on purpose";
    EXPECT_EQ(posix->execute(text), matches ? 0 : REG_NOMATCH);
    EXPECT_EQ(regex.compile(pattern) == 0, isValid);
    EXPECT_EQ(regex.execute(text), matches ? 0 : REG_NOMATCH);
  }
  EXPECT_EQ(other->compile(nullptr), REG_BADPAT);
  EXPECT_EQ(other->execute("b"), REG_NOMATCH);
  EXPECT_EQ(posix->execute("b"), 0) << "what one lets go of, the other one has";
  EXPECT_EQ(regex.compile("a|b", 0), 0);
  EXPECT_EQ(regex.execute("b"), REG_NOMATCH) << "basic syntax";

  auto const dfa = dfaRegexFactory(7);
  Orb::U32 const path[]{65001, 65002};
  char bytes[1 + sizeof path];
  std::memcpy(bytes + 1, path, sizeof path);  // not aligned
  for (auto const& [pattern, length, result] :
       {std::tuple{"^65001$", 7U, 0}, {"^65001$", 8U, 1}, {"^65001_65002$", 8U, 0}}) {
    EXPECT_EQ(dfa->compile(pattern), 0);
    EXPECT_EQ(dfa->execute(bytes + 1, length), result) << pattern << length;
  }
  for (char const* const refused : {"(", static_cast<char const*>(nullptr)}) {
    EXPECT_EQ(dfa->compile(refused), 1);
    EXPECT_FALSE(dfa->compiled() || dfa->compiledRegex());
  }
  dfa->compiledIs(true);  // the flag alone
  EXPECT_EQ(dfa->execute("", 0), 1);
}

TEST(EnginesDeathTest, AreNotExecutedBeforeTheyAreCompiled) {
  EXPECT_DEATH(posixRegexFactory(1)->execute(""), "assertion failed: compiled_");
  EXPECT_DEATH(dfaRegexFactory(1)->execute("", 0), "assertion failed: compiled_");
  EXPECT_DEATH(Regex().execute(""), "assertion failed: compiled[^_]");
}

TEST(Engines, TraceTheirUse) {
  Traced traced(8);
  std::ostringstream address;
  {
    auto const posix = posixRegexFactory(1);
    address << ' ' << static_cast<void const*>(posix.get());
    posix->compile("^65");
    posix->execute("65000");
    posix->compile(nullptr);
  }
  std::string const at = address.str();
  std::string const posix = "Routing::RouteMap::PosixRegex::";
  EXPECT_EQ(traced.lines, "8 void " + posix + "handleInitialized()" + at + "\n8 S32 " + posix +
                              "compile(Orb::CharPtrConst)" + at + " '^65'\n8 S32 " + posix +
                              "execute(Orb::CharPtrConst) const" + at + " '65000'\n8 S32 " + posix +
                              "compile(Orb::CharPtrConst)" + at + " '\n8 void " + posix +
                              "handleDestroy()" + at + '\n');
}

TEST(AsPathListStatus, KeepsWhatIsCompiledWhenAnExpressionIsRefused) {
  auto const status = twoEntries();
  auto const posix = status->posixRegex(10);
  auto const dfa = status->dfaRegex(10);
  Traced traced(6);
  status->posixRegexAdd(10, "(");
  status->dfaRegexAdd(10, std::string_view("1\0", 2));
  status->dfaRegexAdd(10, "((_1){255}){255}");
  std::string const method = "6 void Routing::RouteMap::AsPathListStatus::";
  EXPECT_EQ(traced.lines,
            method + "posixRegexAdd(U32, Orb::String)Invalid regex '('\n" + method +
                "dfaRegexAdd(U32, Orb::String)Invalid regex '1" + '\0' + "'\n" + method +
                "dfaRegexAdd(U32, Orb::String)Failed to compile '((_1){255}){255}'\n");
  EXPECT_EQ(status->posixRegex(10), posix);
  EXPECT_EQ(status->dfaRegex(10), dfa);
  status->posixRegexDel(10);
  status->posixRegexDel(10);
  EXPECT_EQ(status->posixRegexMapSize(), 1U);
  EXPECT_EQ(status->dfaRegexMapSize(), 2U);

  // Engines that are not compiled, whatever their flag says.
  auto const flagged = dfaRegexFactory(20);
  flagged->compiledIs(true);
  status->dfaRegexMapIs(flagged);
  status->posixRegexMapIs(posixRegexFactory(10));
  for (auto const& [mode, left] : {std::pair{Acl::regexModeDfa, 10U}, {Acl::regexModePosix, 20U}}) {
    status->regexModeIs(mode);
    status->prepare();
    ASSERT_EQ(status->matchEntries().size(), 1U);
    EXPECT_EQ(status->matchEntries()[0].seqno, left);
  }
}

/// Writes down what it is notified of.
struct Listener final : AsPathListStatus::Notifiee {
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
  std::string heard;
};

TEST(AsPathListStatus, NotifiesOfRealChangesAndOfAClone) {
  auto const status = asPathListStatusFactory("M");
  Listener listener;
  listener.notifierIs(status);
  for (int i = 0; i < 2; ++i) {
    status->asPathEntryIs(entry(5, "_1_"));
    status->asnNotationIs(Routing::asnNotationAsdot);
    status->regexModeIs(Acl::regexModePosix);
  }
  status->posixRegexAdd(10, "_2_");
  status->dfaRegexAdd(10, "_2_");
  EXPECT_EQ(std::exchange(listener.heard, ""), "entry 5\nnotation\nmode\nposix 10\ndfa 10\n");

  auto const from = twoEntries();
  bool isNested = false;
  std::string keys;
  TestSupport::Observer const observer(*status, [&](Orb::AttrId, Key key) {
    if (key) keys += std::to_string(*static_cast<Orb::U32 const*>(key)) + ' ';
    if (!key || std::exchange(isNested, true)) return;
    status->asPathEntryDel(20);
    status->clone(*from);
  });
  status->clone(*from);
  EXPECT_EQ(listener.heard, "entries\nentry 20\nentries\nversion\nnotation\nmode\nposixes\ndfas\n");
  EXPECT_EQ(keys, "5 20 20 10 20 20 10 20 10 ");
  EXPECT_EQ(status->posixRegex(20), from->posixRegex(20));
  EXPECT_EQ(status->asnNotation(), Routing::asnNotationAsplain);
  status->asPathEntryDel(20);
  EXPECT_EQ(from->asPathEntry().size(), 2U) << "either changes without the other";
  std::string const head = "name=M configVersion=3 regexMode=regexModeDfa ";
  EXPECT_EQ(status->toStrep(), head + entry(10, "^65001_").toStrep().str());
  status->asPathEntryDel(10);
  EXPECT_EQ(status->toStrep(), head);
}

TEST(AsPathListStatus, ChangesDropWhatIsDerivedFromWhatTheyChange) {
  auto const empty = asPathListStatusFactory("M");
  empty->prepare();
  auto const from = twoEntries();
  constexpr auto kEntries = static_cast<Orb::AttrId>(AsPathListStatus::Attr::asPathEntry);
  Orb::attributeOf(*empty, kEntries).copy(Orb::attributeOf(std::as_const(*from), kEntries));
  EXPECT_FALSE(empty->isPrepared()) << "copied by name";
  using Change = std::function<void(AsPathListStatus&)>;
  for (auto const& [name, drops, change] :
       {std::tuple{"mode", true, Change([](auto& s) { s.regexModeIs(Acl::regexModePosix); })},
        {"name", true,
         [](auto& s) { Orb::attributeTextIs(s, "asPathEntry[10].origin", "bgpIGP"); }},
        {"del", true, [](auto& s) { s.asPathEntryDel(10); }},
        {"add", true, [](auto& s) { s.dfaRegexAdd(10, "_2_"); }},
        {"delAll", true, [](auto& s) { s.posixRegexMapDelAll(); }},
        {"clone", true, [](auto& s) { s.clone(*asPathListStatusFactory("M")); }},
        {"refused", false, [](auto& s) { s.dfaRegexAdd(10, "("); }},
        {"notation", false, [](auto& s) { s.asnNotationIs(Routing::asnNotationAsdot); }}}) {
    SCOPED_TRACE(name);
    auto const status = twoEntries();
    status->prepare();
    status->prepare();
    auto const set = TestSupport::pathSetOf(*status);
    status->pathSetIs(set);
    status->pathSetIs(TestSupport::pathSetOf(*status));
    auto const copy = asPathListStatusFactory("L");
    copy->clone(*status);
    copy->prepare();
    EXPECT_EQ(copy->pathSet(), set.get()) << "the first one stays";
    change(*status);
    EXPECT_EQ(status->isPrepared(), !drops);
    EXPECT_EQ(status->matchEntries().size(), drops ? 0U : 2U);
    EXPECT_EQ(status->pathSet(), drops ? nullptr : set.get());
  }
}

TEST(AsPathListStatus, WhatFindsNoMemoryChangesNothing) {
  auto const from = twoEntries();
  auto const status = asPathListStatusFactory("L");
  TestSupport::Observer const observer(*status, [](Orb::AttrId, Key) {});
  long failed = 0;
  for (auto const& act : {std::function([&] { status->dfaRegexAdd(1, "_7_"); }),
                          {[&] { status->posixRegexAdd(1, "_7_"); }},
                          {[&] { status->clone(*from); }},
                          {[&] { status->prepare(); }}}) {
    Orb::U32 const before = status->dfaRegexMapSize() + status->posixRegexMapSize();
    failed += TestSupport::withEverMoreMemory(act, [&] {
      EXPECT_EQ(status->dfaRegexMapSize() + status->posixRegexMapSize(), before);
      EXPECT_FALSE(status->isPrepared());
    });
  }
  EXPECT_GT(failed, 12);
  EXPECT_EQ(status->matchEntries().size(), 2U);
}

}  // namespace
