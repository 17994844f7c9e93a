#include "list_import/PrefixSource.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <thread>

#include "list_import/CliHelper.h"
#include "platform/orb/loop/ActivityLock.h"
#include "platform/orb/model/Reactor.h"
#include "tests/list_import/TempFile.h"
#include "tests/support/ScarceMemory.h"

namespace {

using Acl::Ipv4Family;
using Acl::PrefixList;
using Acl::PrefixSourceException;
using Acl::PrefixSourceResult;
using namespace std::string_literals;

std::string entriesOf(PrefixList const& list) {
  std::string const text = Acl::prefixListText(list);
  return text.substr(text.find('\n') + 1);
}

PrefixSourceResult import(PrefixList& list, std::string const& text) {
  return Acl::importPrefixList<Ipv4Family>(list, TempFile(text).path(), Acl::duplicateError);
}

TEST(PrefixSource, CutsTheFileIntoLines) {
  // "permit 10.0.0.0/8", blanks, and " le 24" so that it ends at `length` characters.
  auto const padded = [](std::size_t length) {
    std::string const start = "permit 10.0.0.0/8";
    std::string const end = " le 24";
    return start + std::string(length - start.size() - end.size(), ' ') + end + '\n';
  };
  std::string const le24 = "    seq 0 permit 10.0.0.0/8 le 24\n";
  struct Case {
    char const* what;
    std::string text;
    std::string error;
    Orb::U64 line;
    std::string entries;
  };
  for (Case const& c : {
           Case{"empty file", "", "", 0, ""},
           Case{"blank lines", "\n \t\n\r\n\npermit 10.0.0.0/8 le 24\n\n", "", 0, le24},
           Case{"first line", "no\n", "0: Invalid command no", 1, ""},
           Case{"blank lines do not count", "\n\npermit 10.0.0.0/8\n \nno\n",
                "1: Invalid command no", 5, ""},
           Case{"last line without newline", "permit 10.0.0.0/8 le 242", "", 0, le24},
           Case{"one character without newline", "x", "", 0, ""},
           Case{"CR before the newline", "permit 10.0.0.0/8 le 24\r\n", "0: Invalid mask len 24\r",
                1, ""},
           Case{"511 read, newline too", padded(510), "", 0, le24},
           Case{"newline left over", padded(511), "0: Invalid entry 10.0.0.0/8/8, ge 0, le 2, eq 0",
                1, ""},
           Case{"one and newline left over", padded(512), "0: Invalid mask len type le", 1, ""},
           Case{"two pieces", std::string(511, ' ') + "permit 10.0.0.0/8 le 24\nno\n",
                "1: Invalid command no", 2, ""},
           Case{"NUL first", "\0no\n"s + "permit 10.0.0.0/8 le 24\n", "", 0, le24},
           Case{"NUL within", "\npermit 10.0.0.0/8 le 24\0 7\nno\n"s, "1: Invalid command no", 3,
                ""},
           Case{"NUL last", "permit 10.0.0.0/8 le 24\0"s, "", 0, le24},
       }) {
    PrefixList list("P");
    PrefixSourceResult const result = import(list, c.text);
    EXPECT_EQ(result.error, c.error) << c.what;
    EXPECT_EQ(result.line, c.line) << c.what;
    EXPECT_EQ(entriesOf(list), c.entries) << c.what;
    EXPECT_EQ(result.isError(), !c.error.empty()) << c.what;
    std::size_t const colon = c.error.find(": ");
    EXPECT_EQ(result.message, c.error.empty() ? "" : c.error.substr(colon + 2)) << c.what;
  }
}

TEST(PrefixSource, SaysWhyAFileCannotBeRead) {
  PrefixList list("P");
  for (auto [path, reason] :
       {std::pair{"/tmp/no/such/file", "No such file or directory"}, {"/tmp", "Is a directory"}}) {
    auto const result = Acl::importPrefixList<Ipv4Family>(list, path, Acl::duplicateError);
    EXPECT_EQ(result.error, "Error: fdopen: "s + reason);
    EXPECT_EQ(result.message, result.error);
    EXPECT_TRUE(result.isFileError());
    EXPECT_STREQ(std::strerror(result.errorNumber), reason);
  }
  // Fails within the third line.
  cookie_io_functions_t const functions{[](void* cookie, char* out, std::size_t) -> ssize_t {
                                          if (++*static_cast<int*>(cookie) > 1)
                                            return errno = EIO, -1;
                                          std::strcpy(out, "permit 1.0.0.0/8\ndeny 2.0.0.0/8\np");
                                          return static_cast<ssize_t>(std::strlen(out));
                                        },
                                        nullptr, nullptr, nullptr};
  int reads = 0;
  std::FILE* const failing = fopencookie(&reads, "r", functions);
  Acl::Ipv4PfxEntries entries;
  Acl::Ipv4PrefixEntryParser parser(entries, Acl::duplicateError);
  auto const result = Acl::readPrefixSource(*failing, parser);
  std::fclose(failing);
  EXPECT_EQ(entries.size(), 2U);
  EXPECT_EQ(result.error, "Error: fdopen: Input/output error");
  EXPECT_TRUE(result.isFileError());
}

TEST(PrefixSource, SaysWhatIsWrongWithALine) {
  using Fault = Acl::PrefixSourceFault;
  Acl::Ipv6PrefixList list6("P");
  PrefixList list("P");
  for (auto const& [line, asIpv4, asIpv6] :
       {std::tuple{"permit 10.0.0.0/33\n", Fault::badPrefix, Fault::otherFamily},
        {"permit 2001:db8::g/32\n", Fault::otherFamily, Fault::badPrefix},
        {"permit\n", Fault::badPrefix, Fault::badPrefix},
        {"no\n", Fault::badLine, Fault::badLine},
        {"\n", Fault::none, Fault::none}}) {
    EXPECT_EQ(import(list, line).fault, asIpv4) << line;
    TempFile const file(line);
    auto const path = file.path();
    auto const result = Acl::importPrefixList<Acl::Ipv6Family>(list6, path, Acl::duplicateError);
    EXPECT_EQ(result.fault, asIpv6) << line;
    EXPECT_FALSE(result.isFileError());
  }
}

TEST(PrefixSource, AddsToTheListOrLeavesItAlone) {
  PrefixList list("P");
  list.sourceIs("earlier");
  EXPECT_EQ(import(list, "seq 7 permit 7.0.0.0/8\nseq 8 permit 8.0.0.0/8\n").error, "");
  std::string const before = "    seq 7 permit 7.0.0.0/8\n    seq 8 permit 8.0.0.0/8\n";
  EXPECT_EQ(import(list, "seq 8 deny 9.0.0.0/8\nabort\n").error, "1: abort detected in sequence");
  EXPECT_THROW(import(list, "seq 8 deny 9.0.0.0/8\npermit 10.0.0.1/8\n"), Orb::RangeException);
  list.sourceIs("");
  EXPECT_EQ(entriesOf(list), before);
  // Number 8 twice, the second time automatically: the later line has it.
  EXPECT_EQ(import(list, "seq 1 deny 1.0.0.0/8\nseq 0 permit 2.0.0.0/8\npermit 3.0.0.0/8\n").error,
            "");
  EXPECT_EQ(entriesOf(list), "    seq 0 permit 3.0.0.0/8\n    seq 1 deny 1.0.0.0/8\n" + before);
  EXPECT_EQ(list.version(), 0U);
}

// Half of the numbers are in the list already, and one is in the file twice.
TEST(PrefixSource, AddsOrCopiesAllOrNothingWhenMemoryRunsOut) {
  std::string text = "seq 5 deny 5.0.0.0/8\n";
  for (int i = 0; i < 2000; ++i) {
    text += "permit 10." + std::to_string(i / 256) + '.' + std::to_string(i % 256) + ".0/24\n";
  }
  TempFile const file(text);
  auto const list = Orb::make<PrefixList>("P");
  auto const source = Orb::make<PrefixList>("S");
  for (Orb::U32 i = 1000; i < 3000; ++i) {
    for (auto const& l : {list, source})
      l->prefixEntryIs(Acl::PrefixEntry::of(i, Ipa::Prefix(), Acl::denyMatch, 0U, 0U, 0U));
  }
  auto const failures = [&](auto const& act) {
    auto const before = list->prefixEntry();
    return TestSupport::withEverMoreMemory(act, [&] { ASSERT_EQ(list->prefixEntry(), before); });
  };
  EXPECT_GT(
      failures([&] { Acl::importPrefixList<Ipv4Family>(*list, file.path(), Acl::duplicateError); }),
      20);
  EXPECT_EQ(list->prefixEntry().size(), 3000U);
  EXPECT_EQ(list->prefixEntry(5).prefix().toString(), "10.0.5.0/24");
  EXPECT_GT(failures([&] { Acl::CliHelper::copyPrefixListEntries(*source, *list); }), 3);
  EXPECT_EQ(source->prefixEntry(), list->prefixEntry());
}

// Each observer throws, and the first one lets go of the list.
TEST(PrefixSource, NotifiesOfTheWholeChangeWhateverObserversDo) {
  struct Observer final : Orb::Notifiee {
    void onAttribute(Orb::Entity const& entity, Orb::AttrId, void const* key) override {
      EXPECT_EQ(entriesOf(static_cast<PrefixList const&>(entity)), expected);
      keys.push_back(*static_cast<Orb::U32 const*>(key));
      list = nullptr;
      throw std::runtime_error(std::to_string(keys.back()));
    }
    std::string expected;
    std::vector<Orb::U32> keys;
    Orb::Ptr<PrefixList> list;
  };
  auto const expectKeys = [](std::vector<Orb::U32> const& keys, std::string const& expected,
                             auto const& change) {
    Observer observer;
    observer.list = Orb::make<PrefixList>("P");
    import(*observer.list, "seq 7 permit 7.0.0.0/8\nseq 8 permit 9.0.0.0/8\n");
    observer.list->notifieeIs(observer);
    observer.expected = expected;
    try {
      change(*observer.list);
      ADD_FAILURE() << "nothing was thrown";
    } catch (std::runtime_error const& error) {
      EXPECT_EQ(error.what(), std::to_string(keys.front()));
    }
    EXPECT_EQ(observer.keys, keys);
    EXPECT_FALSE(observer.isLinked()) << "the list is gone";
  };
  std::string const more = "permit 2.0.0.0/8\npermit 3.0.0.0/8\n";
  expectKeys(
      {8, 1, 0, 1},
      "    seq 0 permit 2.0.0.0/8\n    seq 1 permit 3.0.0.0/8\n"
      "    seq 7 permit 7.0.0.0/8\n    seq 8 permit 8.0.0.0/8\n",
      [&](PrefixList& list) {
        import(list,
               "seq 8 permit 8.0.0.0/8\nseq 7 permit 7.0.0.0/8\nseq 1 permit 1.0.0.0/8\n" + more);
      });
  auto source = Orb::make<PrefixList>("S");
  import(*source, more);
  expectKeys({7, 8, 0, 1}, entriesOf(*source), [&](PrefixList& list) {
    Acl::CliHelper::copyPrefixListEntries(*std::exchange(source, nullptr), list);
  });
}

TEST(PrefixSource, LetsGoOfEverythingWhenALineThrows) {
  int const firstFree = open("/dev/null", O_RDONLY);
  close(firstFree);
  Orb::ActivityLockAnchor const locked;
  PrefixList list("P");
  try {
    import(list, "permit 9.0.0.0/8\n\nseq 4 permit 10.0.0.1/8 le\n");
    ADD_FAILURE() << "no exception";
  } catch (PrefixSourceException const& e) {
    EXPECT_STREQ(e.what(), "Prefix::validAsPrefix != true not allowed");
    EXPECT_EQ(e.line(), 3U);
  }
  EXPECT_TRUE(Orb::activityLock().held());
  EXPECT_EQ(list.refCount(), 1U);
  int const free = open("/dev/null", O_RDONLY);
  close(free);
  EXPECT_EQ(free, firstFree);
}

TEST(ThreadsPrefixSource, ReadsWithoutTheLockAndAddsWithIt) {
  struct LockWatcher final : Orb::Notifiee {
    void onAttribute(Orb::Entity const&, Orb::AttrId, void const*) override {
      EXPECT_TRUE(Orb::activityLock().held());
    }
  } watcher;
  std::string const path = TempFile("").path();  // the name alone
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  Orb::ActivityLock& lock = Orb::activityLock();
  lock.lock();
  lock.lock();
  std::promise<void> gotLock;
  std::thread other([&] {
    Orb::ActivityLockAnchor const anchor;
    gotLock.set_value();
  });
  bool wasFree = false;
  std::thread writer([&, got = gotLock.get_future()] {
    std::FILE* const pipe = std::fopen(path.c_str(), "w");
    wasFree = got.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    std::fputs("permit 10.0.0.0/8\npermit 11.0.0.0/8\n", pipe);
    std::fclose(pipe);
  });
  auto const list = Orb::make<PrefixList>("P");
  list->notifieeIs(watcher);
  EXPECT_EQ(Acl::importPrefixList<Ipv4Family>(*list, path, Acl::duplicateError).error, "");
  EXPECT_EQ(list->prefixEntry().size(), 2U);
  lock.unlock();
  EXPECT_TRUE(lock.held()) << "taken back as often as it was taken";
  lock.unlock();
  writer.join();
  other.join();
  EXPECT_TRUE(wasFree);
  watcher.leave();
  unlink(path.c_str());
}

}  // namespace
