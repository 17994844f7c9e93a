#include "list_import/AsPathSource.h"

#include <gtest/gtest.h>

#include <cstring>

#include "list_import/CliHelper.h"
#include "platform/orb/loop/ActivityLock.h"
#include "tests/list_import/TempFile.h"
#include "tests/support/Observer.h"

namespace {

using namespace Acl;
using namespace std::string_literals;
using Fault = AsPathSourceFault;
using TestSupport::isAttribute;
using TestSupport::Observer;

constexpr char kDfaOnly[] = "[64512-65534]";
constexpr char kPosixOnly[] = "[[:digit:]]+";

std::string numbered(AsPathList const& list, bool isPosixMode = false) {
  std::string text;
  for (AsPathEntry const& entry : list.pathEntry()) text += std::to_string(entry.seqno()) + ' ';
  std::string const shown = asPathListText(list, isPosixMode);
  return text + shown.substr(shown.find('\n'));
}

struct Imported {
  AsPathList list{"A"};
  AsPathUrlLoadReturnStatus status;
  AsPathSourceResult result;

  explicit Imported(std::string const& text, UrlImportDuplicateOperation op = duplicateError,
                    bool isPosixMode = false)
      : result(importAsPathList(list, TempFile(text).path(), op, isPosixMode, status)) {}
  /// The error, or else the numbers and the list.
  std::string outcome() const {
    EXPECT_EQ(result.error, status.errorStr());
    EXPECT_EQ(status.warningOnly(), !result.isError() && !result.warnings.empty());
    EXPECT_TRUE(!result.isError() || list.pathEntry().empty());
    return result.isError() ? result.error.str() : numbered(list);
  }
};

TEST(AsPathSource, TakesOrRefusesFiles) {
  std::string const wide(4095 - std::strlen("permit 1"), ' ');  // between the words
  struct Case {
    std::string text, outcome;
    Orb::U64 line = 0;
    Fault fault = Fault::badLine;
  };
  for (Case const& c : {
           Case{"  permit   ^1_  \ndeny 1 any\n\n \t\npermit 2 igp\ndeny _2_ egp\npermit 3$ "
                "incomplete\n",
                "1 2 3 4 5 \n  permit ^1_ any\n  deny 1 any\n  permit 2 igp\n  deny _2_ egp\n"
                "  permit 3$ incomplete\n"},
           {"permit [1-2]\t\n", "1: Error: Invalid AS PATH regular expression [1-2]\t", 1,
            Fault::badRegex},
           {"\npermit 1\n\ndeny 2\n \ndeny 1)\n", "3: Error: Invalid AS PATH regular expression 1)",
            6, Fault::badRegex},
           {"permit\n", "1: Error: Invalid number of tokens", 1},
           {"deny 1 egp more\n", "1: Error: Invalid number of tokens", 1},
           {"allow 1\n", "1: Error: Invalid permission allow", 1},
           {"\tpermit 1\n", "1: Error: Invalid permission \tpermit", 1},
           {"! a comment\n", "1: Error: Invalid permission !", 1},
           {"seq 5 permit\n", "1: Error: Invalid permission seq", 1},
           {"abort 1\n", "1: Error: Invalid permission abort", 1},
           {"permit 1 IGP\n", "1: Error: Invalid BGPOrigin IGP", 1},
           {"permit 1 igp\r\n", "1: Error: Invalid BGPOrigin igp\r", 1},
           {"permit 1\ndeny 1 igp\n", "2: Error: Duplicate ASPATH regular expression found: 1", 2},
           {"", "Error: Empty file given as input", 0, Fault::empty},
           {"\n \t\r\n\n", "Error: Empty file given as input", 0, Fault::empty},
           // Lines as fgets() reads them: the first piece loses its last character, too.
           {"permit 12", "1 \n  permit 1 any\n"},
           {"permit" + wide + "1\n", "1 \n  permit 1 any\n"},
           {"permit" + wide + " 1\n", "1: Error: Invalid number of tokens", 1},
           {std::string(4095, ' ') + "permit 1\nno\n", "2: Error: Invalid number of tokens", 2},
           {"\0no\npermit 1\0 2 3\nno\n"s, "2: Error: Invalid number of tokens", 3},
       }) {
    Imported const i(c.text);
    EXPECT_EQ(i.outcome(), c.outcome) << c.text;
    EXPECT_EQ(i.result.line, c.line) << c.text;
    EXPECT_EQ(i.result.fault, i.result.isError() ? c.fault : Fault::none) << c.text;
    EXPECT_EQ(i.result.userRegex.empty(), i.result.fault != Fault::badRegex) << c.text;
  }
}

TEST(AsPathSource, KeepsWhatOneEngineAccepts) {
  std::string const text = "permit 1\ndeny "s + kPosixOnly + "\n\npermit " + kDfaOnly + " igp\n";
  for (bool const isPosixMode : {false, true}) {
    Imported const i(text, duplicateError, isPosixMode);
    i.outcome();
    ASSERT_EQ(i.result.warnings.size(), 1U);
    EXPECT_EQ(i.result.warnings[0].line, isPosixMode ? 4U : 2U);
    EXPECT_EQ(i.result.warnings[0].userRegex, isPosixMode ? kDfaOnly : kPosixOnly);
    EXPECT_TRUE(i.list.pathEntry(1).validDfaRegex() && i.list.pathEntry(1).validPosixRegex());
    EXPECT_TRUE(!i.list.pathEntry(2).validDfaRegex() && i.list.pathEntry(2).validPosixRegex());
    EXPECT_TRUE(i.list.pathEntry(3).validDfaRegex() && !i.list.pathEntry(3).validPosixRegex());
    EXPECT_EQ(
        numbered(i.list, isPosixMode),
        isPosixMode
            ? "1 2 3 \n  permit 1 any\n  deny [[:digit:]]+ any\n# permit [64512-65534] igp\n"
            : "1 2 3 \n  permit 1 any\n# deny [[:digit:]]+ any\n  permit [64512-65534] igp\n");
  }
}

TEST(AsPathSource, HandlesRepeatedExpressions) {
  std::string const text =
      "permit 1\ndeny "s + kPosixOnly + "\ndeny 1 igp\npermit " + kPosixOnly + "\npermit 2\n";
  EXPECT_EQ(Imported(text, duplicateIgnore).outcome(),
            "1 2 3 \n  permit 1 any\n# deny [[:digit:]]+ any\n  permit 2 any\n");
  EXPECT_EQ(Imported(text, duplicateIgnore).result.warnings.size(), 1U);
  EXPECT_EQ(Imported(text, duplicateOverride).outcome(),
            "3 4 5 \n  deny 1 igp\n# permit [[:digit:]]+ any\n  permit 2 any\n");
  EXPECT_EQ(Imported("permit 1\npermit 1 x\n", duplicateIgnore).outcome(),
            "2: Error: Invalid BGPOrigin x");
}

TEST(AsPathEntries, AreRemovedByNumberAndExpression) {
  AsPathEntries entries;
  for (auto const& [seqno, regex] : {std::pair{1U, "p"}, {2U, "p"}, {3U, "q"}}) {
    entries.add(AsPathEntry::of(seqno, Orb::String(regex), denyMatch, bgpAny, true, true));
  }
  entries.removeEntry(1, "p");
  EXPECT_EQ(entries.withRegex("p"), AsPathEntries::kNone) << "the whole key is gone";
  EXPECT_DEATH(entries.removeEntry(1, "q"), "seqnoDictIter != seqnoDict.end\\(\\)");
  EXPECT_DEATH(entries.removeEntry(2, "p"), "asPathDictIter != asPathDict.end\\(\\)");
  EXPECT_DEATH(entries.removeEntry(2, "q"), "collIter != collection.end\\(\\)");
}

// The status is written while the file is read, without the lock; the list once that is held again.
TEST(AsPathSource, KeepsTheStatusUpToDate) {
  using Attr = AsPathUrlLoadReturnStatus::Attr;
  Orb::ActivityLockAnchor const locked;
  for (auto const& [last, notices] : {std::pair{"permit 2\n", "W+ 1 2 "}, {"no\n", "W+ W- E- "}}) {
    AsPathUrlLoadReturnStatus status;
    status.errorStrIs("of the last import");
    std::string seen;
    AsPathList list("A");
    Observer const onStatus(status, [&](Orb::AttrId id, void const*) {
      bool const isWarning = isAttribute(id, Attr::warningOnly);
      bool const isReset = !isWarning && status.errorStr().empty();
      EXPECT_EQ(Orb::activityLock().held(), isReset);
      if (!isReset) seen += isWarning ? status.warningOnly() ? "W+ " : "W- " : "E- ";
    });
    Observer const onList(list, [&](Orb::AttrId, void const* key) {
      EXPECT_TRUE(Orb::activityLock().held());
      EXPECT_EQ(list.pathEntry().size(), 2U) << "all are there";
      seen += std::to_string(*static_cast<Orb::U32 const*>(key)) + ' ';
    });
    TempFile const file("permit "s + kPosixOnly + '\n' + last);
    AsPathCliHelper::loadAsPathListEntries(list, file.path(), duplicateError, false, status);
    EXPECT_EQ(seen, notices);
  }
}

TEST(AsPathSource, AddsNothingWhenAnotherLeavesAnErrorInTheStatus) {
  AsPathList list("A");
  AsPathUrlLoadReturnStatus status;
  Observer const stopper(status, [&](Orb::AttrId, void const*) { status.errorStrIs("stopped"); });
  TempFile const file("permit "s + kPosixOnly + '\n');
  importAsPathList(list, file.path(), duplicateError, false, status);
  EXPECT_TRUE(list.pathEntry().empty());
}

}  // namespace
