#include "list_import/PrefixSource.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <future>
#include <thread>

#include "list_import/AsPathSource.h"
#include "list_import/CliHelper.h"
#include "platform/orb/loop/ActivityLock.h"
#include "platform/orb/model/Reactor.h"
#include "tests/list_import/TempFile.h"
#include "tests/support/Observer.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/Thrown.h"

namespace {

using namespace Acl;
using namespace std::string_literals;
using TestSupport::Observer;

std::string entriesOf(PrefixList const& list) {
  std::string const text = prefixListText(list);
  return text.substr(text.find('\n') + 1);
}

template <class Family = Ipv4Family>
PrefixSourceResult imported(typename Family::List& list, std::string const& text) {
  return importPrefixList<Family>(list, TempFile(text).path(), duplicateError);
}

TEST(PrefixSource, CutsTheFileIntoLines) {
  std::string const good = "permit 10.0.0.0/8 le 24";
  // The good line with so many blanks in it that it is `length` characters long.
  auto const padded = [&](std::size_t length) {
    return "permit 10.0.0.0/8" + std::string(length - good.size(), ' ') + " le 24\n";
  };
  for (auto const& [what, text, error, line] : {
           std::tuple<char const*, std::string, std::string, Orb::U64>{
               "blank lines", "\n \t\n\r\n\n" + good + "\n\n", "", 0},
           {"blank lines do not count", "\n\n" + good + "\n \nno\n", "1: Invalid command no", 5},
           {"last line without newline", good + '2', "", 0},
           {"CR before the newline", good + "\r\n", "0: Invalid mask len 24\r", 1},
           {"511 read, newline too", padded(510), "", 0},
           {"newline left over", padded(511), "0: Invalid entry 10.0.0.0/8/8, ge 0, le 2, eq 0", 1},
           {"two pieces", std::string(511, ' ') + good + "\nno\n", "1: Invalid command no", 2},
           {"NUL first", "\0no\n"s + good + '\n', "", 0},
           {"NUL within", '\n' + good + "\0 7\nno\n"s, "1: Invalid command no", 3},
       }) {
    PrefixList list("P");
    PrefixSourceResult const result = imported(list, text);
    EXPECT_EQ(result.error, error) << what;
    EXPECT_EQ(result.message, error.empty() ? "" : error.substr(3)) << what;
    EXPECT_EQ(result.line, line) << what;
    EXPECT_EQ(entriesOf(list), line ? "" : "    seq 0 " + good + '\n') << what;
  }
}

TEST(Sources, SayWhyAFileCannotBeRead) {
  PrefixList list("P");
  AsPathList asPathList("A");
  AsPathUrlLoadReturnStatus status;
  for (auto [path, reason] :
       {std::pair{"/tmp/no/such/file", "No such file or directory"}, {"/tmp", "Is a directory"}}) {
    auto const result = importPrefixList<Ipv4Family>(list, path, duplicateError);
    EXPECT_EQ(result.error, "Error: fdopen: "s + reason);
    EXPECT_EQ(result.message, result.error);
    EXPECT_TRUE(result.isFileError());
    EXPECT_STREQ(std::strerror(result.errorNumber), reason);
    EXPECT_TRUE(importAsPathList(asPathList, path, duplicateError, false, status).isFileError());
    EXPECT_EQ(status.errorStr(), "Error: input file open error: "s + reason);
  }
  std::string const text = "permit 1.0.0.0/8\ndeny 2.0.0.0/8\nper";
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  std::FILE* const failing = fdopen(ends[0], "r");  // fails within the third line
  Ipv4PfxEntries entries;
  Ipv4PrefixEntryParser parser(entries, duplicateError);
  auto const result = readPrefixSource(*failing, parser);
  std::fclose(failing);
  close(ends[1]);
  EXPECT_EQ(entries.size(), 2U);
  EXPECT_EQ(result.error, "Error: fdopen: Resource temporarily unavailable");
  EXPECT_TRUE(result.isFileError());
}

TEST(PrefixSource, SaysWhatIsWrongWithALine) {
  using Fault = PrefixSourceFault;
  Ipv6PrefixList list6("P");
  PrefixList list("P");
  for (auto const& [line, asIpv4, asIpv6] :
       {std::tuple{"permit 10.0.0.0/33\n", Fault::badPrefix, Fault::otherFamily},
        {"permit 2001:db8::g/32\n", Fault::otherFamily, Fault::badPrefix},
        {"permit\n", Fault::badPrefix, Fault::badPrefix},
        {"no\n", Fault::badLine, Fault::badLine},
        {"\n", Fault::none, Fault::none}}) {
    EXPECT_EQ(imported(list, line).fault, asIpv4) << line;
    EXPECT_EQ(imported<Ipv6Family>(list6, line).fault, asIpv6) << line;
  }
}

TEST(PrefixSource, AddsToTheListOrLeavesItAlone) {
  PrefixList list("P");
  EXPECT_EQ(imported(list, "seq 7 permit 7.0.0.0/8\nseq 8 permit 8.0.0.0/8\n").error, "");
  std::string const before = "    seq 7 permit 7.0.0.0/8\n    seq 8 permit 8.0.0.0/8\n";
  EXPECT_EQ(imported(list, "seq 8 deny 9.0.0.0/8\nabort\n").error, "1: abort detected in sequence");
  EXPECT_THROW(imported(list, "seq 8 deny 9.0.0.0/8\npermit 10.0.0.1/8\n"), Orb::RangeException);
  EXPECT_EQ(entriesOf(list), before);
  // Number 8 twice, the second time automatically: the later line has it.
  EXPECT_EQ(
      imported(list, "seq 1 deny 1.0.0.0/8\nseq 0 permit 2.0.0.0/8\npermit 3.0.0.0/8\n").error, "");
  EXPECT_EQ(entriesOf(list), "    seq 0 permit 3.0.0.0/8\n    seq 1 deny 1.0.0.0/8\n" + before);
  EXPECT_EQ(list.version(), 0U);
}

/// Whatever fails for want of memory leaves the entries of the list as they were. Returns how often
/// it failed.
template <class Entries, class Do>
long failures(Entries const& entries, Do const& act) {
  auto const before = entries;
  return TestSupport::withEverMoreMemory(act, [&] { ASSERT_EQ(entries, before); });
}

// Half of the numbers are in the lists already, and one is in each file twice.
TEST(Sources, AreAddedOrCopiedAsAWholeOrNotAtAllWhenMemoryRunsOut) {
  std::string text = "seq 5 deny 5.0.0.0/8\n";
  for (int i = 0; i < 2000; ++i) {
    text += "permit 10." + std::to_string(i / 256) + '.' + std::to_string(i % 256) + ".0/24\n";
  }
  TempFile const file(text);
  TempFile const asPathFile("permit 1\npermit 2\npermit 3\npermit 4\npermit 5\ndeny 2\n");
  PrefixList list("P"), source("S");
  AsPathList asPathList("P"), asPathSource("S");
  for (Orb::U32 i = 1000; i < 3000; ++i) {
    for (auto* to : {&list, &source})
      to->prefixEntryIs(PrefixEntry::of(i, Ipa::Prefix(), denyMatch, 0U, 0U, 0U));
    for (auto* to : {&asPathList, &asPathSource})
      to->pathEntryIs(AsPathEntry::of(i - 996, Orb::String("1"), denyMatch, bgpAny, true, true));
  }
  auto const& entries = list.prefixEntry();
  auto const import = [&] { importPrefixList<Ipv4Family>(list, file.path(), duplicateError); };
  EXPECT_GT(failures(entries, import), 20);
  EXPECT_EQ(entries.size(), 3000U);
  EXPECT_EQ(list.prefixEntry(5).prefix().toString(), "10.0.5.0/24");
  EXPECT_GT(failures(entries, [&] { CliHelper::copyPrefixListEntries(source, list); }), 1);
  EXPECT_EQ(source.prefixEntry(), entries);

  AsPathUrlLoadReturnStatus status;
  auto const load = [&] {
    AsPathCliHelper::loadAsPathListEntries(asPathList, asPathFile.path(), duplicateOverride, false,
                                           status);
  };
  EXPECT_GT(failures(asPathList.pathEntry(), load), 30);
  EXPECT_EQ(asPathList.pathEntry().size(), 2002U);
  EXPECT_EQ(asPathList.pathEntry(6).userRegex(), "2");
  auto const copy = [&] { AsPathCliHelper::copyAsPathListEntries(asPathSource, asPathList); };
  EXPECT_GT(failures(asPathList.pathEntry(), copy), 1);
  EXPECT_EQ(asPathSource.pathEntry(), asPathList.pathEntry());
}

// Each observer throws, and the first one drops the list.
TEST(PrefixSource, NotifiesOfTheWholeChangeWhateverObserversDo) {
  std::string const more = "permit 2.0.0.0/8\npermit 3.0.0.0/8\n";
  for (bool const isCopy : {false, true}) {
    auto source = Orb::make<PrefixList>("S");
    imported(*source, more);
    auto list = Orb::make<PrefixList>("P");
    PrefixList& changed = *list;
    imported(changed, "seq 7 permit 7.0.0.0/8\nseq 8 permit 9.0.0.0/8\n");
    std::string const expected =
        entriesOf(*source) +
        (isCopy ? "" : "    seq 7 permit 7.0.0.0/8\n    seq 8 permit 8.0.0.0/8\n");
    std::string keys;
    Observer const observer(changed, [&](Orb::AttrId, void const* key) {
      EXPECT_EQ(entriesOf(changed), expected);
      keys += std::to_string(*static_cast<Orb::U32 const*>(key)) + ' ';
      list = nullptr;
      throw std::runtime_error(keys);
    });
    auto const change = [&] {
      if (isCopy) return CliHelper::copyPrefixListEntries(*std::exchange(source, nullptr), changed);
      imported(changed,
               "seq 8 permit 8.0.0.0/8\nseq 7 permit 7.0.0.0/8\nseq 1 deny 1.0.0.0/8\n" + more);
    };
    EXPECT_EQ(TestSupport::thrown(change), isCopy ? "7 " : "8 ");
    EXPECT_EQ(keys, isCopy ? "7 8 0 1 " : "8 1 0 1 ");
    EXPECT_FALSE(observer.isLinked()) << "the list is gone";
  }
}

TEST(PrefixSource, LetsGoOfEverythingWhenALineThrows) {
  auto const firstFree = [] {
    int const descriptor = open("/dev/null", O_RDONLY);
    return close(descriptor), descriptor;
  };
  int const before = firstFree();
  Orb::ActivityLockAnchor const locked;
  PrefixList list("P");
  try {
    imported(list, "permit 9.0.0.0/8\n\nseq 4 permit 10.0.0.1/8 le\n");
    ADD_FAILURE() << "no exception";
  } catch (PrefixSourceException const& e) {
    EXPECT_STREQ(e.what(), "Prefix::validAsPrefix != true not allowed");
    EXPECT_EQ(e.line(), 3U);
  }
  EXPECT_TRUE(Orb::activityLock().held());
  EXPECT_EQ(list.refCount(), 1U);
  EXPECT_EQ(firstFree(), before);
}

TEST(ThreadsPrefixSource, ReadsWithoutTheLockAndAddsWithIt) {
  int notices = 0;
  auto list = Orb::make<PrefixList>("P");
  Observer const watcher(*list, [&](Orb::AttrId, void const*) {
    EXPECT_TRUE(Orb::activityLock().held());
    ++notices;
  });
  std::string const path = TempFile("").path();  // the name alone
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  Orb::activityLock().lock();
  std::promise<void> gotLock;
  std::thread other([&] {
    Orb::ActivityLockAnchor const anchor;
    list = nullptr;  // the import alone holds it now
    gotLock.set_value();
  });
  std::thread writer([&, got = gotLock.get_future()] {
    std::FILE* const pipe = std::fopen(path.c_str(), "w");
    EXPECT_EQ(got.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    std::fputs("permit 10.0.0.0/8\npermit 11.0.0.0/8\n", pipe);
    std::fclose(pipe);
  });
  EXPECT_EQ(importPrefixList<Ipv4Family>(*list, path, duplicateError).error, "");
  EXPECT_EQ(notices, 2);
  Orb::activityLock().unlock();
  writer.join();
  other.join();
  unlink(path.c_str());
}

}  // namespace
