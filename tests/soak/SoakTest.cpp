// Everything at once, for long: random scripts against a model that works out everything anew.

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <random>
#include <thread>

#include "tests/soak/SoakWorld.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/Thrown.h"

// Of the leak sanitizer, where the program has one: a process that is forked looks by itself.
extern "C" [[gnu::weak]] int __lsan_do_recoverable_leak_check();  // NOLINT

namespace {

using Soak::World;
using TestSupport::thrown;
using Script = std::vector<std::string>;

/// The lines of a script, from a seed. Its pokes are at all kinds of lists or, nearly all, at one;
/// in those of every other six seeds, memory is scarce, and lists and entries are few.
class Lines {
 public:
  explicit Lines(unsigned seed)
      : random_(seed), focus_(kFoci[seed % 6]), isNarrow_(seed / 6 % 2 != 0) {}

  Script make(std::size_t count) {
    Script script;
    while (script.size() < count) script.push_back((below(6) ? "" : "~") + line());
    return script;
  }

 private:
  unsigned below(unsigned n) { return static_cast<unsigned>(random_() % n); }
  std::string number(unsigned n) { return std::to_string(below(n)); }
  template <std::size_t n>
  std::string anyOf(char const* const (&texts)[n]) {
    return texts[below(n)];
  }

  std::string line() {
    std::string const session = std::to_string(below(2));
    switch (below(24)) {
      case 0:
        return "open " + session;
      case 1:
      case 2:
        return "in " + session + ' ' + edits();
      case 3:
        return "close " + session;
      case 4:
        return "import 4 " + number(3) + ' ' + number(3) + ' ' +
               anyOf({"seq 7 permit 10.1.0.0/16|seq 5 deny 10.2.0.0/15 le 24",
                      "seq 7 permit 10.3.0.0/16", "permit 10.1.0.0/16|permit nonsense",
                      "seq 5 permit 10.9.0.0/16 ge 20", "permit 10.0.0.1/8"});
      case 5:
        return "import 6 " + number(3) + ' ' + number(3) + ' ' +
               anyOf(
                   {"permit 2001:db8::/32 le 64", "seq 9 deny 2001:db8:1::/48|seq 9 permit ::/0"});
      case 6:
        return "trace " + anyOf({"8", "6", "0"});
      case 7:
        return below(4) ? poke() : "release";
      case 8:
      case 9:
      case 10:
        return "meddle " + std::to_string(1 + below(6)) + ' ' + acts();
      case 11:
      case 12:
        return (isNarrow_ ? "scarce " + number(60) + (below(2) ? " 1 " : " 1000 ") : "") + poke();
      default:
        return below(8) ? poke() : "commit " + edits();
    }
  }
  std::string acts() {
    std::string all = below(3) ? poke() : "throw";
    for (unsigned more = below(8); more > 0; --more) all += below(4) ? ';' + poke() : ";throw";
    return all;
  }
  std::string poke() {
    bool const isDeletion = below(isNarrow_ ? 3 : 8) == 0;  // of a list by 0, of an entry by 1
    std::string const poke = std::string("poke ") + focus_[below(8)] + ' ';
    if (isNarrow_) return poke + number(2) + ' ' + number(2) + ' ' + number(isDeletion ? 2 : 24);
    return poke + number(3) + ' ' + number(30) + ' ' + (isDeletion ? "1" : number(60));
  }
  std::string edits() {
    std::string all = edit();
    for (unsigned more = below(4); more > 0; --more) all += ';' + edit();
    return all;
  }
  std::string edit() {
    std::string const list = "['L" + number(3) + "']";
    std::string const entry = '[' + number(12) + ']';
    switch (below(16)) {
      case 0:
        return '-' +
               anyOf({"prefixList", "ipv6PrefixList", "pathList", "communityList", "routeMap",
                      "dynamicPrefixList"}) +
               list;
      case 1:
        return '-' + anyOf({"prefixList", "pathList", "communityList"}) + list;
      case 2:
        return "-prefixList" + list + ".prefixEntry" + entry;
      case 3:
        return "-communityList" + list + ".communityListEntry" + entry;
      case 4:
        return "regexMode=" + anyOf({"regexModeDfa", "regexModePosix"});
      case 5:
        return "asnNotation=" + anyOf({"asnNotationAsplain", "asnNotationAsdot"});
      case 6:
        return "routeMap" + list + ".mapEntry" + entry + ".tag=" + number(3);
      case 7:
        return "peerFilter" + list + ".description[1]='" + number(3) + '\'';
      case 8:
        return "pathList" + list + ".pathEntry" + entry +
               anyOf({".permit=denyMatch", ".userRegex='_7_'", ".validDfaRegex=True",
                      ".validPosixRegex=True"});
      case 9:
        return "ipv6PrefixList" + list + ".ipv6PrefixEntry" + entry +
               anyOf({".permit=permitMatch", ".ip6Prefix=2001:db8::/32", ".le=64"});
      case 10:
        return "dynamicPrefixList" + list +
               anyOf({".ipv4PrefixList='L0'", ".ipv6PrefixList='L1'", ".ipv4PrefixList=''",
                      ".version=0", ".version=3", ".version=4", ".version=5"});
      case 11:
        return anyOf({"prefixList", "pathList", "communityList", "dynamicPrefixList"}) + list;
      case 12:
      case 13:
        return "communityList" + list + ".communityListEntry" + entry +
               anyOf({".listType=communityExpanded", ".listType=communityStandard",
                      ".listType=largeCommunityExpanded", ".commRegex='65000:1'", ".commRegex='['",
                      ".commRegex='^$'", ".permit=denyMatch", ".community[65000:1]=True",
                      ".community[65000:2]=True"});
      default:
        return "prefixList" + list + ".prefixEntry" + entry +
               anyOf({".permit=permitMatch", ".prefix=10.1.0.0/16", ".prefix=10.2.0.0/15", ".le=24",
                      ".ge=20", ".eq=20"});
    }
  }

  static constexpr std::string_view kFoci[] = {"01234567", "00000007", "11111117",
                                               "22222667", "33333337", "04444557"};
  std::mt19937 random_;
  std::string_view const focus_;
  bool const isNarrow_;
};

/// How a script ends: the number of the line that fails, or that of lines.
struct Outcome {
  std::size_t line = 0;
  std::string fault;
};
using RunScript = std::function<Outcome(Script const&)>;

Outcome runHere(Script const& script) {
  Outcome outcome;
  World world;
  for (; outcome.line < script.size(); ++outcome.line) {
    try {
      world.run(script[outcome.line]);
    } catch (Soak::Fault const& fault) {
      outcome.fault = fault.what();
      return outcome;
    }
  }
  return outcome;
}

/// In a process of its own, which may crash.
Outcome runApart(Script const& script) {
  int pipe[2];
  EXPECT_EQ(::pipe(pipe), 0);
  pid_t const child = fork();
  if (child == 0) {
    Outcome outcome = runHere(script);
    auto* const leaks = __lsan_do_recoverable_leak_check;
    if (outcome.fault.empty() && leaks && leaks() != 0) outcome.fault = "memory leaks";
    dprintf(pipe[1], "%zu %s", outcome.line, outcome.fault.c_str());
    _exit(outcome.fault.empty() ? 0 : 1);
  }
  close(pipe[1]);
  std::string text;
  char buffer[512];
  for (ssize_t n = 0; (n = read(pipe[0], buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(n));
  }
  close(pipe[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (status == 0) return {script.size(), ""};
  if (text.empty()) return {script.size() - 1, "the process died"};
  std::size_t const blank = text.find(' ');
  return {std::stoul(text), text.substr(blank + 1)};
}

std::string textOf(Script const& script) {
  std::string text;
  for (std::string const& line : script) text += line + '\n';
  return text;
}

/// What is left of a script that has a fault when no line, and none of the edits of a line, can be
/// left out any more.
Script shortest(Script script, std::string const& fault, RunScript const& run) {
  auto const takeIfSame = [&](Script const& shorter) {
    bool const isSame = run(shorter).fault == fault;
    if (isSame) script = shorter;
    return isSame;
  };
  std::size_t before = 0;
  do {
    before = textOf(script).size();
    for (std::size_t chunk = script.size(); chunk > 0; chunk /= 2) {
      for (std::size_t at = 0; at < script.size();) {
        Script shorter = script;
        auto const from = shorter.begin() + static_cast<std::ptrdiff_t>(at);
        shorter.erase(from,
                      from + static_cast<std::ptrdiff_t>(std::min(chunk, script.size() - at)));
        if (!takeIfSame(shorter)) at += chunk;
      }
    }
    for (std::size_t i = 0; i < script.size(); ++i) {
      for (std::size_t at = 0; (at = script[i].find(';', at)) != script[i].npos;) {
        Script shorter = script;
        shorter[i].erase(at, script[i].find(';', at + 1) - at);
        if (!takeIfSame(shorter)) ++at;
      }
    }
  } while (textOf(script).size() < before);
  return script;
}

unsigned long settingOf(char const* name, unsigned long otherwise) {
  char const* const text = std::getenv(name);
  return text ? std::stoul(text) : otherwise;
}

// ROUTEPOLICY_SOAK_STEPS lines from ROUTEPOLICY_SOAK_SEED, in scripts of 500 lines. With
// ROUTEPOLICY_SOAK_SCRIPT, a file, its lines instead.
TEST(Soak, EveryFormIsWhatTheModelSays) {
  if (char const* const file = std::getenv("ROUTEPOLICY_SOAK_SCRIPT")) {
    std::ifstream in(file);
    Script script;
    for (std::string line; std::getline(in, line);) script.push_back(line);
    Outcome const outcome = runHere(script);
    ASSERT_EQ(outcome.fault, "") << "line " << outcome.line + 1;
    return;
  }
  constexpr std::size_t kScript = 500;
  unsigned long const steps = settingOf("ROUTEPOLICY_SOAK_STEPS", 12000);
  unsigned long seed = settingOf("ROUTEPOLICY_SOAK_SEED", 1);
  for (unsigned long done = 0; done < steps; done += kScript, ++seed) {
    if (done != 0 && done % 10000 == 0) std::cout << done << " steps" << std::endl;
    Script script = Lines(static_cast<unsigned>(seed)).make(std::min(kScript, steps - done));
    Outcome const outcome = runApart(script);
    if (outcome.fault.empty()) continue;
    script.resize(outcome.line + 1);
    Script const left = shortest(script, outcome.fault, runApart);
    FAIL() << "seed " << seed << ", line " << outcome.line + 1 << ": " << outcome.fault
           << "\nThe shortest script that does it:\n\n"
           << textOf(left);
  }
}

/// Does the last one of so many lines with too little memory, and then again.
void checkScarce(Script const& script, std::size_t lines, long failing) {
  std::string wanted;
  bool hasFailed = true;
  for (long granted = -1; hasFailed; ++granted) {
    World world;
    for (std::size_t i = 0; i + 1 < lines; ++i) world.run(script[i]);
    std::string const& line = script[lines - 1];
    if (granted < 0) {
      world.run(line);
      wanted = world.text();
      continue;
    }
    auto const fault = thrown([&] { hasFailed = world.runTwice(line, granted, failing); });
    ASSERT_EQ(fault + world.text(), wanted) << granted << " granted of " << line;
  }
}

// Wherever an allocation fails, alone or with all behind it: what was poked is compiled as soon as
// there is memory, and what is done again is done whole.
TEST(Soak, IsWholeWhenMemoryRanOut) {
  Script const commits{
      "commit prefixList['L0'].prefixEntry[5].le=24;ipv6PrefixList['L1'].ipv6PrefixEntry[2].ge=9;"
      "pathList['L0']=;pathList['L0'].pathEntry[1].userRegex='_7_';"
      "pathList['L0'].pathEntry[1].validDfaRegex=True;"
      "communityList['L0'].communityListEntry[1].commRegex='65000:1';"
      "communityList['L0'].communityListEntry[1].listType=communityExpanded;"
      "dynamicPrefixList['L0'].ipv4PrefixList='L0';dynamicPrefixList['L0'].version=1",
      "import 4 0 2 seq 7 permit 10.1.0.0/16|seq 5 deny 10.2.0.0/15 le 24",
      "poke 5 0 1 3",
      "commit regexMode=regexModePosix;asnNotation=asnNotationAsdot",
      "poke 7 0 0 0",
      "poke 7 0 2 0",
      "poke 7 0 3 0",
      "poke 7 0 4 0",
      "commit -prefixList['L0'];-pathList['L0'];-communityList['L0'];-dynamicPrefixList['L0']"};
  // Lists come, change and go; an entry of communities gets another family, and leaves both.
  Script const pokes{"trace 8",      "poke 0 0 5 3", "poke 0 0 5 4", "poke 0 0 0 0", "poke 2 0 2 3",
                     "poke 2 0 1 0", "poke 2 0 1 1", "poke 2 0 2 3", "poke 6 0 1 0", "poke 6 0 1 1",
                     "poke 2 0 0 0", "poke 3 0 1 3", "poke 3 0 2 2", "poke 3 0 1 4", "poke 3 0 1 1",
                     "poke 3 0 1 9", "poke 3 0 0 0"};
  for (Script const& script : {commits, pokes, Script(pokes.begin() + 1, pokes.end())}) {
    for (long const failing : {1L, TestSupport::kPlenty}) {
      for (std::size_t lines = 1; lines <= script.size(); ++lines)
        checkScarce(script, lines, failing);
    }
  }
}

TEST(Soak, FindsTheShortestScript) {
  RunScript const fails = [](Script const& script) -> Outcome {
    std::size_t found = 0;
    for (std::string const& line : script) {
      if (found == 0 && line.find("b") != line.npos) found = 1;
      if (found == 1 && line == "c") return {0, "c behind b"};
    }
    return {script.size(), script.size() > 2 ? "too long" : ""};
  };
  EXPECT_EQ(shortest({"a", "b;x;b", "c", "b", "d", "c", "e"}, "c behind b", fails),
            (Script{"b", "c"}));
}

// What a reader holds stays as it is, whatever the first thread changes.
TEST(ThreadsSoak, ReadersMatchWhileEverythingChanges) {
  std::mutex mutex;
  std::vector<std::function<std::string()>> published;
  std::atomic<bool> isOver = false;
  auto const read = [&] {
    while (!isOver) {
      std::unique_lock lock(mutex);
      auto const statuses = published;
      lock.unlock();
      for (auto const& status : statuses) EXPECT_EQ(status(), status());
    }
  };
  std::thread readers[] = {std::thread(read), std::thread(read)};
  [&] {
    World world;
    bool isLeftAlone = false;  // builds go on, and are attached to what is read
    for (unsigned const seed : {1, 2, 3, 4, 5, 6}) {
      for (std::string const& line : Lines(seed).make(100)) {
        isLeftAlone = !isLeftAlone && line.front() != '~';
        auto const run = [&] { world.run(isLeftAlone ? '~' + line : line); };
        ASSERT_EQ(thrown(run), "") << line;
        std::lock_guard const lock(mutex);
        published = world.readers();
      }
    }
  }();
  isOver = true;
  for (auto& reader : readers) reader.join();
}

}  // namespace
