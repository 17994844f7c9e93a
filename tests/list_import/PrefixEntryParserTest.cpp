#include "list_import/PrefixEntryParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <sstream>

#include "platform/orb/base/Error.h"

namespace {

using namespace Acl;
using Operation = UrlImportDuplicateOperation;

template <class Family>
std::string brief(PfxEntries<Family> const& entries) {
  std::ostringstream out;
  entries.forEach([&](auto const& e) {
    out << e.seqno() << (e.permit() == permitMatch ? " permit " : " deny ") << e.prefix().toString()
        << ' ' << e.ge() << ' ' << e.le() << ' ' << e.eq() << '\n';
  });
  return out.str();
}

/// The entries that the lines give, automatic numbers counted from `next`, or the first message.
template <class Family>
std::string parse(std::string const& lines, Orb::U64 next = 0) {
  PfxEntries<Family> entries;
  entries.nextSeqnoIs(next);
  PrefixEntryParser<Family> parser(entries, duplicateError);
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) {
    Orb::String error = "unset";
    try {
      if (parser.parse(line.data(), error) != 0) return error.str();
    } catch (Orb::RangeException const& e) {
      return std::string("throws ") + e.what();
    }
  }
  return brief(entries);
}

struct Case {
  char const* lines;
  char const* outcome;
};

TEST(PrefixEntryParser, TakesOrRefusesIpv4Lines) {
  for (Case const& c : {
           // words and verdicts
           Case{"  deny   10.0.0.0/8  ge  16 ", "0 deny 10.0.0.0/8 16 0 0\n"},
           Case{"abort and more", "abort detected in sequence"},
           Case{"\tpermit 10.0.0.0/8", "Invalid command \tpermit"},
           Case{"seq 5 permit\t 10.0.0.0/8", "Invalid permission permit\t"},
           // sequence numbers
           Case{"seq 0x10 permit 1.0.0.0/8", "16 permit 1.0.0.0/8 0 0 0\n"},
           Case{"seq \t+4294967295 permit 1.0.0.0/8", "4294967295 permit 1.0.0.0/8 0 0 0\n"},
           Case{"seq 5 permit", "Invalid prefix list sequence seq"},
           Case{"seq 4294967296 permit 1.0.0.0/8", "Seqno 4294967296 exceeds max seqno 4294967295"},
           Case{"seq 99999999999999999999x permit 1.0.0.0/8",
                "Seqno 18446744073709551615 exceeds max seqno 4294967295"},
           Case{"seq 08 permit 1.0.0.0/8", "Invalid sequence number 08"},
           Case{"seq -1 permit 1.0.0.0/8", "Invalid sequence number -1"},
           Case{"seq \t-18446744073709551615 permit 1.0.0.0/8",
                "Invalid sequence number \t-18446744073709551615"},
           Case{"permit 1.0.0.0/8\nseq 0 allow 2.0.0.0/8", "Duplicate seqno 0 found"},
           // lengths; prefixes are below
           Case{"permit 10.0.0.0/8 le 32 ge 0x10", "0 permit 10.0.0.0/8 16 32 0\n"},
           Case{"permit 10.0.0.0/8 eq 8", "0 permit 10.0.0.0/8 8 8 8\n"},
           Case{"permit 10.0.0.0/8 ge 9 ge 8 le 8", "0 permit 10.0.0.0/8 8 8 0\n"},
           Case{"permit 10.0.0.0/8 gt 24", "Invalid mask len type gt"},
           Case{"permit 10.0.0.0/8 le", "Invalid mask len type le"},
           Case{"permit 10.0.0.0/8 le 24x", "Invalid mask len 24x"},
           Case{"permit 10.0.0.0/8 le 0", "Invalid mask len 0"},
           Case{"permit 10.0.0.0/8 le 33", "Invalid mask len 33"},
           Case{"permit 10.0.0.0/8 le -1", "Invalid mask len 4294967295"},
           Case{"permit 10.0.0.0/8 le 4294967304", "Invalid mask len 4294967295"},
           // lengths that do not go together
           Case{"permit 10.0.0.0/8 ge 7", "Invalid entry 10.0.0.0/8/8, ge 7, le 0, eq 0"},
           Case{"permit 10.0.0.0/8 le 7", "Invalid entry 10.0.0.0/8/8, ge 0, le 7, eq 0"},
           Case{"permit 10.0.0.0/8 eq 7", "Invalid entry 10.0.0.0/8/8, ge 0, le 0, eq 7"},
           Case{"permit 10.0.0.0/8 ge 17 le 16", "Invalid entry 10.0.0.0/8/8, ge 17, le 16, eq 0"},
           Case{"permit 10.0.0.0/8 eq 24 le 24", "Invalid entry 10.0.0.0/8/8, ge 0, le 24, eq 24"},
           Case{"permit 10.0.0.0/8 eq 24 ge 24", "Invalid entry 10.0.0.0/8/8, ge 24, le 0, eq 24"},
       }) {
    EXPECT_EQ(parse<Ipv4Family>(c.lines), c.outcome) << c.lines;
  }
}

TEST(PrefixEntryParser, TakesOrRefusesIpv6Lines) {
  for (Case const& c : {
           Case{"permit 2001:DB8::/\t+032x ge 128", "0 permit 2001:db8::/32 128 0 0\n"},
           Case{"permit 2001:db8::", "Invalid prefix 2001:db8::"},
           Case{"permit 2001:db8:::/32", "Invalid prefix 2001:db8:::"},
           Case{"permit 2001:db8::/129", "Invalid prefix 2001:db8::"},
           Case{"permit 2001:db8::/-1", "Invalid prefix 2001:db8::"},
           Case{"permit 2001:db8::/4294967328", "Invalid prefix 2001:db8::"},
           Case{"permit", "Invalid prefix "},
           Case{"permit 2001:db8::/32 le 129", "Invalid mask len 129"},
           Case{"permit ::/", "Invalid entry ::/0, ge 0, le 0, eq 0"},
           Case{"permit 2001:db8::1/32\ndeny 2001:DB8::2/32",
                "Duplicate prefix entry found: 2001:DB8::2/32, ge 0, le 0, eq 0"},
       }) {
    EXPECT_EQ(parse<Ipv6Family>(c.lines), c.outcome) << c.lines;
  }
}

TEST(PrefixEntryParser, ReadsIpv4PrefixesAsScanfDoes) {
  constexpr char const* kPieces[] = {
      "0", "8", "10", "128", "255", "256", "-0", "-1", "+3",  "08",         ".",         ".",
      ".", ".", "/",  "/",   "\t",  "x",   "-",  "",   "0x1", "4294967296", "4294967304"};
  std::mt19937 random(1);
  int accepted = 0;
  for (int i = 0; i < 50000; ++i) {
    std::string pieces[] = {"128", ".", "0", ".", "0", ".", "0", "/", "8", ""};
    pieces[random() % 10] += kPieces[random() % std::size(kPieces)];
    pieces[random() % 10] = kPieces[random() % std::size(kPieces)];
    std::string word;
    for (auto const& piece : pieces) word += piece;
    unsigned long f[5] = {};
    bool const matches =
        std::sscanf(word.c_str(), "%lu.%lu.%lu.%lu/%lu", &f[0], &f[1], &f[2], &f[3], &f[4]) == 5 &&
        f[0] < 256 && f[1] < 256 && f[2] < 256 && f[3] < 256 && f[4] <= 32;
    std::string expected = "Invalid prefix " + word;
    if (matches) {
      Ipa::IpAddr const address(static_cast<Orb::U32>(f[0] << 24 | f[1] << 16 | f[2] << 8 | f[3]));
      auto const length = static_cast<Orb::U32>(f[4]);
      ++accepted;
      expected = !Ipa::Prefix::validAsPrefix(address, length)
                     ? "throws Prefix::validAsPrefix != true not allowed"
                 : length == 0 ? "Invalid entry " + word + "/0, ge 0, le 0, eq 0"
                               : "0 permit " + Ipa::Prefix(address, length).toString() + " 0 0 0\n";
    }
    ASSERT_EQ(parse<Ipv4Family>("permit " + word), expected);
  }
  EXPECT_GT(accepted, 1000);
}

TEST(PrefixEntryParser, RunsOutOfAutomaticNumbers) {
  EXPECT_EQ(parse<Ipv4Family>("permit 10.0.0.0/8", 4294967295),
            "4294967295 permit 10.0.0.0/8 0 0 0\n");
  EXPECT_EQ(parse<Ipv4Family>("permit 10.0.0.0/8\ndeny 11.0.0.0/8", 4294967295),
            "Max seqno reached");
}

/// The staging set as it is described: dictionaries of entries, searched from front to back.
struct Model {
  struct Entry {
    Orb::U32 seqno;
    std::string prefix;
    Orb::U32 ge, le, eq;
  };
  std::vector<std::shared_ptr<Entry>> all;
  std::map<std::string, std::vector<std::shared_ptr<Entry>>> ofPrefix;
  std::map<Orb::U32, std::shared_ptr<Entry>> ofSeqno;
  Orb::U32 next = 0;

  /// "" when the line was taken.
  std::string line(Operation operation, bool isNumbered, Entry e) {
    if (!isNumbered) e.seqno = next++;
    if (isNumbered && ofSeqno.count(e.seqno)) return "Duplicate seqno";
    for (auto const& old : ofPrefix[e.prefix]) {
      if (e.eq ? old->eq != e.eq : old->ge != e.ge || old->le != e.le) continue;
      if (operation == duplicateError) return "Duplicate prefix";
      if (operation == duplicateIgnore) return "";
      auto const gone = old;
      if (ofSeqno.count(gone->seqno) && ofSeqno[gone->seqno] == gone) ofSeqno.erase(gone->seqno);
      ofPrefix.erase(e.prefix);
      all.erase(std::find(all.begin(), all.end(), gone));
      break;
    }
    if (e.eq) e.ge = e.le = e.eq;
    all.push_back(std::make_shared<Entry>(e));
    ofPrefix[e.prefix].push_back(all.back());
    ofSeqno[e.seqno] = all.back();
    return "";
  }
};

TEST(PrefixEntryParser, StagesAsTheModelDoes) {
  std::mt19937 random(2);
  auto const pick = [&](std::initializer_list<Orb::U32> from) {
    return from.begin()[random() % from.size()];
  };
  for (int round = 0; round < 1000; ++round) {
    auto const operation = Operation{static_cast<Orb::U32>(random() % 3)};
    Ipv4PfxEntries entries;
    Ipv4PrefixEntryParser parser(entries, operation);
    Model model;
    auto const prefixes = 1 + random() % 40;
    for (auto left = random() % 200; left > 0; --left) {
      bool const isNumbered = random() % 4 == 0;
      Model::Entry e{static_cast<Orb::U32>(random() % 300),
                     std::to_string(random() % prefixes) + ".0.0.0/8", pick({0, 0, 16, 24}),
                     pick({0, 24}), 0};
      if (random() % 4 == 0) e = {e.seqno, e.prefix, 0, 0, pick({16, 24})};
      std::string line = isNumbered ? "seq " + std::to_string(e.seqno) + " deny " : "deny ";
      line += e.prefix;
      for (auto const& [word, length] : {std::pair{" ge ", e.ge}, {" le ", e.le}, {" eq ", e.eq}}) {
        if (length) line += word + std::to_string(length);
      }
      std::string const expected = model.line(operation, isNumbered, e);
      Orb::String error;
      ASSERT_EQ(parser.parse(line.data(), error), expected.empty() ? 0 : -1) << error;
      ASSERT_EQ(error.view().substr(0, expected.size()), expected);
    }
    std::ostringstream all;
    for (auto const& e : model.all) {
      all << e->seqno << " deny " << e->prefix << ' ' << e->ge << ' ' << e->le << ' ' << e->eq
          << '\n';
    }
    ASSERT_EQ(brief(entries), all.str());
    ASSERT_EQ(entries.size(), model.all.size());
    for (Orb::U32 seqno = 0; seqno < 300; ++seqno) {
      ASSERT_EQ(entries.seqnoHas(seqno), model.ofSeqno.count(seqno) > 0) << seqno;
    }
  }
}

TEST(PfxEntries, RemovesTheVeryEntry) {
  Ipa::Prefix const p(Ipa::IpAddr(0x0a000000), 8);
  Ipa::Prefix const q(Ipa::IpAddr(0x0b000000), 8);
  Ipv4PfxEntries entries;
  for (auto [seqno, prefix, ge] :
       {std::tuple{1U, p, 9U}, {2U, p, 10U}, {3U, p, 11U}, {1U, q, 9U}}) {
    entries.add(PrefixEntry::of(seqno, prefix, denyMatch, ge, 0U, 0U));
  }
  entries.removeEntry(1, p);
  EXPECT_TRUE(entries.seqnoHas(1)) << "the number leads to the later entry";
  EXPECT_DEATH(entries.removeEntry(2, p), "pfxDictIter != prefixDict.end\\(\\)");
  entries.add(PrefixEntry::of(4U, p, denyMatch, 12U, 0U, 0U));
  entries.removeEntry(2, p);  // not seen by duplicate checks any more, but there
  EXPECT_EQ(brief(entries),
            "3 deny 10.0.0.0/8 11 0 0\n1 deny 11.0.0.0/8 9 0 0\n4 deny 10.0.0.0/8 12 0 0\n");
  EXPECT_DEATH(entries.removeEntry(2, q), "seqnoDictIter != seqnoDict.end\\(\\)");
  EXPECT_DEATH(entries.removeEntry(3, q), "collIter != collection.end\\(\\)");
}

}  // namespace
