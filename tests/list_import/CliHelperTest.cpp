#include "list_import/CliHelper.h"

#include <glob.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <ctime>
#include <fstream>
#include <sstream>

#include "platform/orb/base/Error.h"
#include "tests/list_import/TempFile.h"

namespace {

using Acl::AsPathCliHelper;
using Acl::CliHelper;
using Acl::Ipv6PrefixEntry;
using Acl::Ipv6PrefixList;
using Acl::PrefixEntry;
using Acl::PrefixList;

PrefixEntry entry(Orb::U32 seqno, char const* prefix, Orb::U32 ge, Orb::U32 le, Orb::U32 eq) {
  return PrefixEntry::of(seqno, Ipa::Prefix::parse(prefix), Acl::permitMatch, ge, le, eq);
}

/// What the file holds, which goes then; "none" for no file.
std::string taken(Orb::String const& path) {
  if (path.empty()) return "none";
  std::ostringstream text;
  text << std::ifstream(path.c_str()).rdbuf();
  unlink(path.c_str());
  return text.str();
}

std::size_t filesOf(std::string const& pattern) {
  glob_t found{};
  glob(pattern.c_str(), 0, nullptr, &found);
  std::size_t const count = found.gl_pathc;
  globfree(&found);
  return count;
}

TEST(CliHelper, ShowsIpv4Lists) {
  setenv("TZ", "XYZ-05:30", 1);
  tzset();
  PrefixList list("cust in");
  EXPECT_EQ(taken(CliHelper::showPrefixList(list)), "ip prefix-list cust in\n");
  list.prefixEntryIs(entry(20, "10.0.0.0/8", 24, 24, 24));
  list.prefixEntryIs(entry(4294967295, "12.0.0.0/8", 0, 4294967295, 0));
  list.prefixEntryIs(entry(10, "11.0.0.0/8", 9, 0, 0));
  list.prefixEntryIs(PrefixEntry::of(5U, Ipa::Prefix(), Acl::denyMatch, 1U, 32U, 0U));
  std::string const entries =
      "    seq 5 deny 0.0.0.0/0 ge 1 le 32\n"
      "    seq 10 permit 11.0.0.0/8 ge 9\n"
      "    seq 20 permit 10.0.0.0/8 eq 24\n"
      "    seq 4294967295 permit 12.0.0.0/8 le -1\n";
  EXPECT_EQ(taken(CliHelper::showPrefixList(list)), "ip prefix-list cust in\n" + entries);
  list.sourceIs("ftp://host/%s");
  EXPECT_EQ(taken(CliHelper::showPrefixList(list)),
            "ip prefix-list cust in source ftp://host/%s\n! Failed to import from URL\n");
  list.sourceTimestampIs(951782400);  // 2000-02-29 00:00:00 UTC
  EXPECT_EQ(taken(CliHelper::showPrefixList(list)),
            "ip prefix-list cust in source ftp://host/%s\n"
            "! Num entries: 4. Update time: 2000-02-29 05:30:00\n" +
                entries);
  list.sourceTimestampIs(4294967295);
  EXPECT_NE(Acl::prefixListText(list).find("Update time: 2106-02-07 11:58:15\n"),
            std::string::npos);
  unsetenv("TZ");
  tzset();
}

TEST(CliHelper, ShowsIpv6Lists) {
  Ipv6PrefixList list("V6");
  auto const prefix = Ipa::Ip6Prefix::parse("2001:db8::/32");
  list.ipv6PrefixEntryIs(Ipv6PrefixEntry::of(7U, prefix, Acl::permitMatch, 48U, 64U, 0U));
  Orb::String const path = CliHelper::showIpv6PrefixList(list);
  EXPECT_EQ(path.view().substr(0, 7), "/tmp/V6");
  EXPECT_EQ(path.size(), 13U);
  EXPECT_EQ(taken(path), "ipv6 prefix-list V6\n    seq 7 permit 2001:db8::/32 ge 48 le 64\n");
}

TEST(CliHelper, LeavesNoFileThatItCannotShow) {
  std::string const own = "show" + std::to_string(getpid());
  std::string longest = own;
  longest.resize(116, 'n');  // with "/tmp/", six characters and NUL: 128
  EXPECT_EQ(taken(CliHelper::showPrefixList(PrefixList(longest))),
            "ip prefix-list " + longest + '\n');
  EXPECT_EQ(CliHelper::showPrefixList(PrefixList(longest + 'n')), "");
  EXPECT_EQ(filesOf("/tmp/" + own + "*"), 0U);

  char directory[] = "/tmp/showXXXXXX";
  ASSERT_TRUE(mkdtemp(directory));
  EXPECT_EQ(CliHelper::showPrefixList(PrefixList(std::string(directory + 5) + "/x")), "");
  EXPECT_EQ(filesOf(std::string(directory) + "/*"), 0U);
  rmdir(directory);

  // A file that may not grow beyond some size is as good as a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  rlimit const small{10, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  PrefixList full(own);
  EXPECT_EQ(CliHelper::showPrefixList(full), "") << "the buffer is written when it is closed";
  for (Orb::U32 i = 1; i < 500; ++i) full.prefixEntryIs(entry(i, "10.0.0.0/8", 0, 0, 0));
  EXPECT_EQ(CliHelper::showPrefixList(full), "") << "it is written before";
  setrlimit(RLIMIT_FSIZE, &old);
  std::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(filesOf("/tmp/" + own + "*"), 0U);
}

TEST(CliHelper, LoadsAndCopiesEntriesOnly) {
  TempFile const file("permit 10.0.0.0/8 le 24\ndeny 10.0.0.0/8 le 24\n");
  PrefixList list("P");
  EXPECT_EQ(CliHelper::loadPrefixListEntries(list, file.path(), Acl::duplicateError),
            "1: Duplicate prefix entry found: 10.0.0.0/8/8, ge 0, le 24, eq 0");
  EXPECT_EQ(CliHelper::loadPrefixListEntries(list, file.path(), Acl::duplicateIgnore), "");
  list.sourceIs("url");
  PrefixList copy("Q");
  copy.prefixEntryIs(entry(3, "3.0.0.0/8", 0, 0, 0));
  CliHelper::copyPrefixListEntries(list, copy);
  CliHelper::copyPrefixListEntries(copy, copy);
  EXPECT_EQ(Acl::prefixListText(copy), "ip prefix-list Q\n    seq 0 permit 10.0.0.0/8 le 24\n");

  TempFile const file6("permit 2001:db8::/32\n");
  Ipv6PrefixList list6("P");
  EXPECT_EQ(CliHelper::loadIpv6PrefixListEntries(list6, file.path(), Acl::duplicateError),
            "0: Invalid prefix 10.0.0.0");
  EXPECT_EQ(CliHelper::loadIpv6PrefixListEntries(list6, file6.path(), Acl::duplicateError), "");
  Ipv6PrefixList copy6("Q");
  CliHelper::copyIpv6PrefixListEntries(list6, copy6);
  EXPECT_EQ(Acl::prefixListText(copy6), "ipv6 prefix-list Q\n    seq 0 permit 2001:db8::/32\n");
}

// The last reference to either list goes with the k-th notice of the copy.
TEST(CliHelper, CopiesToTheEndWhoeverLetsGoOfAList) {
  struct Mortal final : PrefixList {
    Mortal(char const* name, bool& isGone) : PrefixList(name), gone(isGone) {}
    ~Mortal() override { gone = true; }
    bool& gone;
  };
  struct Dropper final : Orb::Notifiee {
    void onAttribute(Orb::Entity const& entity, Orb::AttrId, void const*) override {
      EXPECT_FALSE(destinationGone);
      EXPECT_EQ(static_cast<PrefixList const&>(entity).prefixEntry().size(), 3U);
      if (++told == dropAt) *dropped = nullptr;
    }
    bool sourceGone = false;
    bool destinationGone = false;
    int told = 0;
    int dropAt = 0;
    Orb::Ptr<PrefixList>* dropped = nullptr;
  };
  for (int dropAt = 1; dropAt <= 4; ++dropAt) {
    for (bool const ofSource : {true, false}) {
      Dropper dropper;
      Orb::Ptr<PrefixList> source = Orb::make<Mortal>("S", dropper.sourceGone);
      Orb::Ptr<PrefixList> destination = Orb::make<Mortal>("D", dropper.destinationGone);
      destination->prefixEntryIs(entry(1, "1.0.0.0/8", 0, 0, 0));
      for (Orb::U32 i = 7; i < 10; ++i) source->prefixEntryIs(entry(i, "2.0.0.0/8", 0, 0, 0));
      destination->notifieeIs(dropper);
      dropper.dropAt = dropAt;
      dropper.dropped = ofSource ? &source : &destination;
      CliHelper::copyPrefixListEntries(*source, *destination);
      EXPECT_EQ(dropper.told, 4);
      EXPECT_TRUE(ofSource ? dropper.sourceGone : dropper.destinationGone);
    }
  }
}

TEST(CliHelper, AnswersTheCommandLine) {
  EXPECT_EQ(CliHelper::prefixListEntryLocalDir(true), "/mnt/flash/ipv6-prefix-list-source");
  EXPECT_EQ(CliHelper::prefixListEntryLocalDir(false), "/mnt/flash/prefix-list-source");
  EXPECT_EQ(CliHelper::debugParsePrefixListEntry("permit 2001:db8::/32"),
            "Entry: 0, 2001:db8::/32, eq 0, ge 0, le 0");
  EXPECT_EQ(CliHelper::debugParsePrefixListEntry("permit 10.0.0.0/8"),
            "Entry: 0, 10.0.0.0/8, eq 0, ge 0, le 0");
  EXPECT_EQ(CliHelper::debugParsePrefixListEntry("permit 10.0.0.0/8:"),
            "Error: Invalid prefix 10.0.0.0");
  for (auto [origin, word] : {std::pair{Acl::bgpIGP, "igp"},
                              {Acl::bgpEGP, "egp"},
                              {Acl::bgpIncomplete, "incomplete"},
                              {Acl::bgpAny, "any"},
                              {Acl::notSet, "notSet"}}) {
    EXPECT_EQ(AsPathCliHelper::getBgpOriginCliStr(origin), word);
  }
  Acl::AsPathList paths("A");
  paths.pathEntryIs(Acl::AsPathEntry());
  AsPathCliHelper::delAsPathListEntries(paths);
  EXPECT_TRUE(paths.pathEntry().empty());
  EXPECT_EQ(Orb::entityType("Acl::CliHelper"), &Orb::make<CliHelper>()->type());
  EXPECT_EQ(Orb::entityType("Acl::AsPathCliHelper"), &Orb::make<AsPathCliHelper>()->type());
}

}  // namespace
