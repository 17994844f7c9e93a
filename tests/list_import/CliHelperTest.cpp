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

using namespace Acl;

PrefixEntry entry(Orb::U32 seqno, char const* prefix, Orb::U32 ge = 0, Orb::U32 le = 0,
                  Orb::U32 eq = 0) {
  return PrefixEntry::of(seqno, Ipa::Prefix::parse(prefix), permitMatch, ge, le, eq);
}

/// What the file holds, which goes then; "none" for no file.
std::string taken(Orb::String const& path) {
  if (path.empty()) return "none";
  std::ostringstream text;
  text << std::ifstream(path.c_str()).rdbuf();
  unlink(path.c_str());
  return text.str();
}

TEST(CliHelper, ShowsLists) {
  setenv("TZ", "XYZ-05:30", 1);
  tzset();
  PrefixList list("cust in");
  list.prefixEntryIs(entry(20, "10.0.0.0/8", 24, 24, 24));
  list.prefixEntryIs(entry(4294967295, "12.0.0.0/8", 0, 4294967295));
  list.prefixEntryIs(entry(10, "11.0.0.0/8", 9));
  list.prefixEntryIs(PrefixEntry::of(5U, Ipa::Prefix(), denyMatch, 1U, 32U, 0U));
  std::string const entries =
      "    seq 5 deny 0.0.0.0/0 ge 1 le 32\n"
      "    seq 10 permit 11.0.0.0/8 ge 9\n"
      "    seq 20 permit 10.0.0.0/8 eq 24\n"
      "    seq 4294967295 permit 12.0.0.0/8 le -1\n";
  std::string const header = "ip prefix-list cust in source ftp://host/%s\n! ";
  EXPECT_EQ(taken(CliHelper::showPrefixList(list)), "ip prefix-list cust in\n" + entries);
  list.sourceIs("ftp://host/%s");
  EXPECT_EQ(taken(CliHelper::showPrefixList(list)), header + "Failed to import from URL\n");
  list.sourceTimestampIs(4294967295);
  EXPECT_EQ(taken(CliHelper::showPrefixList(list)),
            header + "Num entries: 4. Update time: 2106-02-07 11:58:15\n" + entries);
  unsetenv("TZ");
  tzset();

  Ipv6PrefixList list6("V6");
  auto const prefix = Ipa::Ip6Prefix::parse("2001:db8::/32");
  list6.ipv6PrefixEntryIs(Ipv6PrefixEntry::of(7U, prefix, permitMatch, 48U, 64U, 0U));
  Orb::String const path = CliHelper::showIpv6PrefixList(list6);
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
  char directory[] = "/tmp/showXXXXXX";
  ASSERT_TRUE(mkdtemp(directory));
  for (std::string const& name :
       {longest + 'n', std::string(directory + 5) + "/x", own + std::string(1, '\0')}) {
    EXPECT_EQ(CliHelper::showPrefixList(PrefixList(name)), "");
  }
  EXPECT_EQ(rmdir(directory), 0) << "it is not empty";

  // A file that may not grow beyond some size is as good as a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  rlimit const small{10, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  PrefixList full(own);
  EXPECT_EQ(CliHelper::showPrefixList(full), "") << "the buffer is written when it is closed";
  for (Orb::U32 i = 1; i < 500; ++i) full.prefixEntryIs(entry(i, "10.0.0.0/8"));
  EXPECT_EQ(CliHelper::showPrefixList(full), "") << "it is written before";
  setrlimit(RLIMIT_FSIZE, &old);
  std::signal(SIGXFSZ, SIG_DFL);
  glob_t found{};
  EXPECT_EQ(glob(("/tmp/" + own + "*").c_str(), 0, nullptr, &found), GLOB_NOMATCH);
}

TEST(CliHelper, LoadsAndCopiesEntriesOnly) {
  TempFile const file("permit 10.0.0.0/8 le 24\ndeny 10.0.0.0/8 le 24\n");
  PrefixList list("P");
  EXPECT_EQ(CliHelper::loadPrefixListEntries(list, file.path(), duplicateError),
            "1: Duplicate prefix entry found: 10.0.0.0/8/8, ge 0, le 24, eq 0");
  EXPECT_EQ(CliHelper::loadPrefixListEntries(list, file.path(), duplicateIgnore), "");
  list.sourceIs("url");
  PrefixList copy("Q");
  copy.prefixEntryIs(entry(3, "3.0.0.0/8"));
  CliHelper::copyPrefixListEntries(list, copy);
  CliHelper::copyPrefixListEntries(copy, copy);
  EXPECT_EQ(prefixListText(copy), "ip prefix-list Q\n    seq 0 permit 10.0.0.0/8 le 24\n");

  Ipv6PrefixList list6("P");
  TempFile const file6("permit 2001:db8::/32\n");
  EXPECT_EQ(CliHelper::loadIpv6PrefixListEntries(list6, file6.path(), duplicateError), "");
  Ipv6PrefixList copy6("Q");
  CliHelper::copyIpv6PrefixListEntries(list6, copy6);
  EXPECT_EQ(prefixListText(copy6), "ipv6 prefix-list Q\n    seq 0 permit 2001:db8::/32\n");
}

TEST(CliHelper, AnswersTheCommandLine) {
  EXPECT_EQ(CliHelper::prefixListEntryLocalDir(true), "/mnt/flash/ipv6-prefix-list-source");
  EXPECT_EQ(CliHelper::prefixListEntryLocalDir(false), "/mnt/flash/prefix-list-source");
  for (auto const& [line, answer] :
       {std::pair{"deny 2001:db8::1/32 ge 48", "Entry: 0, 2001:db8::/32, eq 0, ge 48, le 0"},
        {"seq 7 permit 10.0.0.0/8 eq 24", "Entry: 7, 10.0.0.0/8, eq 24, ge 24, le 24"},
        {"permit 10.0.0.0/8:", "Error: Invalid prefix 10.0.0.0"},
        {" ", "Error: "}}) {
    EXPECT_EQ(CliHelper::debugParsePrefixListEntry(line), answer);
  }
  EXPECT_THROW(CliHelper::debugParsePrefixListEntry("permit 10.0.0.1/8"), Orb::RangeException);
  EXPECT_EQ(Orb::entityType("Acl::CliHelper"), &Orb::make<CliHelper>()->type());
  EXPECT_EQ(Orb::entityType("Acl::AsPathCliHelper"), &Orb::make<AsPathCliHelper>()->type());
}

TEST(AsPathCliHelper, ShowsAndCopiesLists) {
  AsPathList list("A");
  auto const regex = [](char const* text) { return Orb::String(text); };
  list.pathEntryIs(AsPathEntry::of(7U, regex("_1_"), denyMatch, bgpEGP, true, false));
  list.pathEntryIs(AsPathEntry::of(4U, regex("[[:digit:]]"), permitMatch, notSet, false, true));
  std::string const head = "ip as-path access-list A";
  EXPECT_EQ(taken(AsPathCliHelper::showAsPathList(list, false)),
            head + "\n# permit [[:digit:]] notSet\n  deny _1_ egp\n");
  EXPECT_EQ(taken(AsPathCliHelper::showAsPathList(list, true)),
            head + "\n  permit [[:digit:]] notSet\n# deny _1_ egp\n");
  list.sourceIs("url");
  EXPECT_EQ(taken(AsPathCliHelper::showAsPathList(list, true)),
            head + " source url\n! Failed to import from URL\n");
  AsPathList copy("B");
  copy.pathEntryIs(AsPathEntry::of(9U, regex("9"), permitMatch, bgpAny, true, true));
  AsPathCliHelper::copyAsPathListEntries(list, copy);
  EXPECT_EQ(copy.pathEntry(), list.pathEntry());
  EXPECT_TRUE(copy.source().empty());
  AsPathCliHelper::delAsPathListEntries(copy);
  EXPECT_TRUE(copy.pathEntry().empty());
}

TEST(AsPathCliHelper, AnswersTheCommandLine) {
  EXPECT_EQ(AsPathCliHelper::asPathListEntryLocalDir(), "/mnt/flash/as-path-access-list-source");
  for (auto const& [line, answer] :
       {std::pair{"permit [[:digit:]] egp",
                  "Entry: < seqno=1; userRegex=[[:digit:]]; permit=permitMatch; origin=bgpEGP; "
                  "validPosixRegex=yes; validDfaRegex=no >"},
        {"permit", "Error: Invalid number of tokens"}}) {
    EXPECT_EQ(AsPathCliHelper::debugParseAsPathListEntry(line, false), answer);
  }
  std::string words;
  for (auto origin : {bgpIGP, bgpEGP, bgpIncomplete, bgpAny, notSet}) {
    words += AsPathCliHelper::getBgpOriginCliStr(origin).str() + ' ';
  }
  EXPECT_EQ(words, "igp egp incomplete any notSet ");
}

}  // namespace
