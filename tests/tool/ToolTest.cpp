#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tool/RunsTool.h"
#include "tool/Progress.h"

namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;
using TestSupport::contentOf;
using TestSupport::linesOf;
using TestSupport::Result;
using Tool = TestSupport::RunsTool;

constexpr char kTryHelp[] = "\nTry \"route-policy --help\".\n";

TEST_F(Tool, AnswersEachCommandLine) {
  write("good", "seq 10 deny 10.0.0.0/8 le 32\n\nseq 5 permit 192.0.2.0/24\n");
  write("bad", "permit 10.0.0.0/8\n\n! a comment\npermit 10.0.0.0/8\n");
  write("host", "permit 10.0.0.0/8\npermit 10.0.0.1/8\n");
  write("twice", "permit 10.0.0.0/8\ndeny 10.0.0.0/8\n");
  write("cut", "permit 10.0.0.0/88");
  write("v6 list.txt", "permit 2001:db8::1/32\n");
  write("empty", "\n  \n");
  struct Case {
    std::string arguments;
    int status;
    std::string out;
    std::string err;  // "T/" is the folder
  };
  Case const cases[] = {
      {"check $T/good", 0,
       "T/good: 2 entries (1 permit, 1 deny), seq 5 to 10, prefixes /8 to /24\n", ""},
      {"check $T/bad $T/good", 1,
       "T/good: 2 entries (1 permit, 1 deny), seq 5 to 10, prefixes /8 to /24\n",
       "T/bad:3: Invalid command !\n"},
      {"check $T/host", 1, "",
       "T/host:2: Prefix::validAsPrefix != true not allowed (the address has bits beyond its "
       "length)\n"},
      {"check $T/twice", 1, "",
       "T/twice:2: Duplicate prefix entry found: 10.0.0.0/8/8, ge 0, le 0, eq 0\n"},
      {"show --on-duplicate ignore $T/twice", 0,
       "ip prefix-list twice\n    seq 0 permit 10.0.0.0/8\n", ""},
      {"show --on-duplicate=override $T/twice", 0,
       "ip prefix-list twice\n    seq 1 deny 10.0.0.0/8\n", ""},
      {"check $T/cut", 0, "T/cut: 1 entry (1 permit, 0 deny), seq 0 to 0, prefixes /8 to /8\n",
       "T/cut: warning: the last line does not end in a newline, so its last character is not "
       "read\n"},
      {"check $T/empty", 1, "", "T/empty: the list is empty: no line has a rule\n"},
      {"check $T/none $T $T/bad", 2, "",
       "T/none: cannot be read: No such file or directory\nT: cannot be read: Is a directory\n"
       "T/bad:3: Invalid command !\n"},
      {"check '$T/v6 list.txt'", 2, "",
       "$T/v6 list.txt: cannot be read: No such file or directory\n"},
      {"check \"$T/v6 list.txt\"", 1, "",
       "T/v6 list.txt:1: Invalid prefix 2001:db8::1/32 (IPv6 needs --ipv6)\n"},
      {"check -6 $T/good", 1, "", "T/good:1: Invalid prefix 10.0.0.0 (not an IPv6 prefix)\n"},
      {"show --ipv6 \"$T/v6 list.txt\"", 0,
       "ipv6 prefix-list v6-list\n    seq 0 permit 2001:db8::/32\n", ""},
      {"show - <$T/good", 0,
       "ip prefix-list stdin\n    seq 5 permit 192.0.2.0/24\n    seq 10 deny 10.0.0.0/8 le 32\n",
       ""},
      {"show - <$T/bad", 1, "", "<stdin>:3: Invalid command !\n"},
      {"show $T/none", 2, "", "T/none: cannot be read: No such file or directory\n"},
      {"match $T/empty 10.0.0.0/8", 1, "", "T/empty: the list is empty: no line has a rule\n"},
      {"match $T/good 10.1.0.0/16 10.0.0.1/8 192.0.2.0/24 192.0.2.1 x 1.0.0.0/33", 1,
       "10.1.0.0/16\tdeny\tseq 10 deny 10.0.0.0/8 le 32\n"
       "192.0.2.0/24\tpermit\tseq 5 permit 192.0.2.0/24\n192.0.2.1/32\tno match\n",
       "prefix 2: '10.0.0.1/8' is not an IPv4 prefix: the address has bits set beyond the length\n"
       "prefix 5: 'x' is not an IPv4 address\n"
       "prefix 6: '1.0.0.0/33' is not an IPv4 prefix: the length is not a decimal number in "
       "range\n"},
      {"match -6 \"$T/v6 list.txt\" 2001:DB8:0::/32 2001:db8::", 0,
       "2001:db8::/32\tpermit\tseq 0 permit 2001:db8::/32\n2001:db8::/128\tno match\n", ""},
      {"match - 10.0.0.1 <$T/good", 0, "10.0.0.1/32\tdeny\tseq 10 deny 10.0.0.0/8 le 32\n", ""},
      {"match $T/good <$T", 2, "", "<stdin>: cannot be read: Is a directory\n"},
      {"compile $T/bad", 1, "", "T/bad:3: Invalid command !\n"},
      {"match -", 2, "",
       std::string("route-policy: standard input cannot be both the list and the prefixes") +
           kTryHelp},
      {"", 2, "",
       std::string("route-policy: a command is missing: check, show, match, compile, get, set, "
                   "unset, diff, commit or abort") +
           kTryHelp},
      {"--config f --config=g frob x", 2, "",
       std::string("route-policy: there is no command frob, only check, show, match, compile, get, "
                   "set, unset, diff, commit or abort") +
           kTryHelp},
      {"--json", 2, "",
       std::string("route-policy: there is no option --json before the command: check, show, "
                   "match, compile, get, set, unset, diff, commit or abort") +
           kTryHelp},
      {"check", 2, "", std::string("route-policy: FILE is required") + kTryHelp},
      {"check --on-duplicate x $T/good", 2, "",
       std::string("route-policy: --on-duplicate: x is not error, ignore or override") + kTryHelp},
      {"show --nope $T/good", 2, "",
       std::string("route-policy: The following argument was not expected: --nope") + kTryHelp},
  };
  for (auto const& c : cases) {
    Result const result = tool(c.arguments);
    EXPECT_EQ(result.status, c.status) << c.arguments;
    EXPECT_EQ(result.out, c.out) << c.arguments;
    EXPECT_EQ(result.err, c.err) << c.arguments;
  }
}

TEST_F(Tool, ReadsPrefixesFromStandardInput) {
  write("list", "permit 10.0.0.0/8 le 32\n");
  std::string const longLine(600000, '1');
  write("input", "10.0.0.0/8\r\n\n \t 11.0.0.0/8  \n" + longLine + "\n10.0.0.0/8 x\n10.1.1.1");
  Result const result = bash("$TOOL match $T/list <$T/input");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "10.0.0.0/8\tpermit\tseq 0 permit 10.0.0.0/8 le 32\n11.0.0.0/8\tno match\n"
            "10.1.1.1/32\tpermit\tseq 0 permit 10.0.0.0/8 le 32\n");
  EXPECT_EQ(result.err, "<stdin>:4: '" + longLine.substr(0, 60) +
                            "'... is not an IPv4 address\n<stdin>:5: '10.0.0.0/8 x' is not an IPv4 "
                            "prefix: the length is not a decimal number in range\n");
  EXPECT_EQ(bash("$TOOL match $T/list").status, 0) << "no prefixes, no answers";
}

TEST_F(Tool, AnswersBeforeItWaitsForMore) {
  Result const result = bash(
      "coproc $TOOL match samples/bogons-ipv4.txt\n"
      "for p in 10.0.0.0/8 8.8.8.0/24; do\n"
      "  echo $p >&${COPROC[1]}; read -r line <&${COPROC[0]}; echo \"$line\"\n"
      "done");
  EXPECT_EQ(linesOf(result.out).size(), 2U);
  EXPECT_EQ(result.err, "");
}

// Numbers in even steps, with holes, and as far apart as they can be.
TEST_F(Tool, TellsTheRuleThatDecides) {
  std::string list;
  std::string routes;
  std::string expected;
  for (unsigned i = 0; i < 3000; ++i) {
    unsigned const seqno = i < 1000 ? 5 * i : i < 2000 ? 7 * i * i : 4294964295U + i;
    std::string const prefix = std::to_string(i / 256) + "." + std::to_string(i % 256) + ".0.0/16";
    std::string const rule = "seq " + std::to_string(seqno) + " permit " + prefix;
    list.insert(0, rule + "\n");
    routes += prefix + "\n";
    expected.append(prefix).append("\tpermit\t").append(rule).append("\n");
  }
  write("list", list);
  write("routes", routes);
  EXPECT_EQ(bash("$TOOL match $T/list <$T/routes").out, expected);
}

TEST_F(Tool, AnswersInJson) {
  write("bad", "abort\n");
  write("eq", "permit 10.0.0.0/8 eq 16\ndeny 10.0.0.0/8 ge 20 le 24\n");
  Result const check = bash("$TOOL check --json $T/eq $T/bad $T/none $'\\xff'");
  EXPECT_EQ(check.status, 2);
  auto const lines = linesOf(check.out);
  ASSERT_EQ(lines.size(), 4U);
  Json const fine = Json::parse(lines[0]);
  EXPECT_EQ(fine["ok"], true);
  EXPECT_EQ(fine["entries"], 2);
  EXPECT_EQ(Json::parse(lines[1])["line"], 1);
  EXPECT_EQ(Json::parse(lines[1])["error"], "abort detected in sequence");
  EXPECT_EQ(Json::parse(lines[2])["ok"], false);
  EXPECT_FALSE(Json::parse(lines[2]).contains("line"));
  EXPECT_EQ(Json::parse(lines[3])["file"], "\uFFFD") << "a name that is not UTF-8";

  EXPECT_EQ(Json::parse(bash("$TOOL show --json $T/eq").out), Json::parse(R"({
      "name": "eq", "family": "ipv4", "entries": [
        {"seqno": 0, "action": "permit", "prefix": "10.0.0.0/8", "eq": 16},
        {"seqno": 1, "action": "deny", "prefix": "10.0.0.0/8", "ge": 20, "le": 24}]})"));

  Result const match = bash("$TOOL match --json $T/eq 10.1.0.0/16 x 10.0.0.0/8");
  EXPECT_EQ(match.status, 1);
  auto const answers = linesOf(match.out);
  ASSERT_EQ(answers.size(), 3U);
  EXPECT_EQ(Json::parse(answers[0]), Json::parse(R"({"prefix": "10.1.0.0/16", "verdict": "permit",
      "seqno": 0, "rule": "seq 0 permit 10.0.0.0/8 eq 16"})"));
  EXPECT_EQ(Json::parse(answers[1])["error"], "'x' is not an IPv4 address");
  EXPECT_EQ(Json::parse(answers[2])["verdict"], "no match");
}

TEST_F(Tool, TellsWhatCompilingCosts) {
  for (char const* const options : {"samples/bogons-ipv4.txt", "-6 samples/bogons-ipv6.txt"}) {
    Result const text = bash(std::string("$TOOL compile ") + options);
    EXPECT_EQ(text.status, 0);
    std::string labels;
    for (std::string const& line : linesOf(text.out)) {
      labels += line.substr(0, line.find("  ")) + ",";
      EXPECT_GT(std::stod(line.substr(line.rfind("  "))), 0) << line;
    }
    EXPECT_EQ(labels, "entries,slices,longest slice,time per entry,bytes per entry,");
    EXPECT_EQ(text.err, "") << "no bar where there is no terminal";
    Json const json = Json::parse(bash(std::string("$TOOL compile --json ") + options).out);
    EXPECT_GE(json["slices"], 1);
    EXPECT_GT(json["longestSliceSeconds"], 0.0);
    EXPECT_GT(json["bytesPerEntry"], 56.0) << "a compiled rule alone takes that";
  }
  EXPECT_EQ(::Tool::progressBar(0, 3), "[" + std::string(40, '-') + "]   0 %");
  EXPECT_EQ(::Tool::progressBar(1, 2),
            "[" + std::string(20, '#') + std::string(20, '-') + "]  50 %");
  EXPECT_EQ(::Tool::progressBar(5, 3), "[" + std::string(40, '#') + "] 100 %");
}

TEST_F(Tool, ReportsWhatCannotBeWritten) {
  write("list", "permit 10.0.0.0/8 le 32\n");
  for (char const* const line :
       {"check $T/list", "show --json $T/list", "match $T/list 10.0.0.1", "compile $T/list",
        "match $T/list < <(yes 10.0.0.1)", "match --help", "--version"}) {
    Result const full = bash(std::string("$TOOL ") + line + " >/dev/full");
    EXPECT_EQ(full.status, 2) << line;
    EXPECT_EQ(full.err, "standard output: cannot write: No space left on device\n") << line;
  }
  Result const gone = bash(
      "yes 10.0.0.1 2>/dev/null | $TOOL match $T/list | head -1\n"
      "exit ${PIPESTATUS[1]}");
  EXPECT_EQ(gone.status, 0);
  EXPECT_EQ(gone.out, "10.0.0.1/32\tpermit\tseq 0 permit 10.0.0.0/8 le 32\n");
  EXPECT_EQ(gone.err, "");
}

TEST_F(Tool, SamplesSayWhatTheirReadmeSays) {
  std::string const readme = contentOf("samples/README.md");
  for (auto const& file : fs::directory_iterator("samples")) {
    if (file.path().extension() != ".txt") continue;
    std::string const name = file.path().string();
    EXPECT_NE(readme.find(file.path().filename().string()), readme.npos) << name;
    std::string const ipv6 = name.find("ipv6") == name.npos ? " " : " -6 ";
    EXPECT_EQ(bash("$TOOL check" + ipv6 + name).status, 0) << name;
    for (std::string const& line : linesOf(contentOf(file.path()))) {
      std::string seq;
      std::string number;
      std::string permit;
      std::string prefix;
      std::istringstream(line) >> seq >> number >> permit >> prefix;
      ASSERT_EQ(seq, "seq") << name;
      std::string const rule = line.substr(line.find(permit));
      bool const isExplained = readme.find("| " + number + " | " + prefix + " |") != readme.npos ||
                               readme.find("| " + number + " | " + rule + " |") != readme.npos;
      EXPECT_TRUE(isExplained) << name << ": " << line;
    }
    Result const shown = bash("$TOOL show" + ipv6 + name + " | tee $T/shown");
    EXPECT_EQ(
        bash("tail -n +2 $T/shown >$T/again; $TOOL show" + ipv6 + "$T/again | tail -n +2").out,
        shown.out.substr(shown.out.find('\n') + 1))
        << "what is shown can be imported";
  }
  EXPECT_EQ(bash("scripts/demo.sh $TOOL").status, 0);
}

TEST_F(Tool, SamplesTellBogonsFromTheRest) {
  struct Case {
    char const* list;
    char const* routes;
    char const* verdict;
  };
  Case const cases[] = {
      {"samples/bogons-ipv4.txt",
       "0.0.0.0/8 10.0.0.0/8 10.255.0.0/16 100.64.0.0/10 100.127.255.0/24 127.0.0.1 169.254.0.0/16 "
       "172.16.0.0/12 172.31.0.0/16 192.0.0.0/24 192.0.2.0/24 192.88.99.0/24 192.168.1.0/24 "
       "198.18.0.0/15 198.51.100.0/24 203.0.113.0/25 224.0.0.0/4 239.0.0.0/8 240.0.0.0/4 "
       "255.255.255.255",
       "deny"},
      {"samples/bogons-ipv4.txt",
       "1.0.0.0/8 8.8.8.0/24 100.63.0.0/16 100.128.0.0/9 172.32.0.0/11 192.31.196.0/24 "
       "192.52.193.0/24 192.175.48.0/24 198.20.0.0/14 223.255.255.0/24",
       "permit"},
      {"samples/bogons-ipv4.txt", "0.0.0.0/0 8.0.0.0/7 8.8.8.0/25 8.8.8.8", "no match"},
      {"-6 samples/bogons-ipv6.txt",
       ":: ::1 ::ffff:10.0.0.1 64:ff9b::/96 64:ff9b:1::/48 100::/64 100:0:0:1::/64 2001::/32 "
       "2001:2::/48 2001:10::/28 2001:20::/28 2001:30::/28 2001:db8:1::/48 2002:a00::/24 3ffe::/16 "
       "3fff::/20 5f00::/16 fc00::/8 fd00::/8 fe80::1 fec0::/10 ff02::1",
       "deny"},
      {"-6 samples/bogons-ipv6.txt",
       "2001:3::/32 2001:4:112::/48 2001:200::/32 2001:4860::/32 2600::/20 2620:4f:8000::/48 "
       "3000::/16",
       "permit"},
      {"-6 samples/bogons-ipv6.txt", "::/0 2000::/3 2600::/49 4000::/16 8000::/16", "no match"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(
        bash(std::string("$TOOL match ") + c.list + " " + c.routes + " | cut -f2 | sort -u").out,
        std::string(c.verdict) + "\n")
        << c.list;
  }
}

/// The words that begin with a hyphen and are more than that; a manual writes hyphens as "\-".
std::set<std::string> optionsIn(std::string const& text) {
  std::set<std::string> found;
  std::string word;
  for (char const c : text + "\n") {
    if (c == '\\') continue;
    if (c == '-' || std::isalnum(static_cast<unsigned char>(c))) {
      word += c;
      continue;
    }
    if (word.starts_with('-') && word.find_first_not_of('-') != word.npos) found.insert(word);
    word.clear();
  }
  return found;
}

TEST_F(Tool, ManualHelpAndCompletionNameTheSameOptions) {
  std::string help = bash("$TOOL --help").out;
  for (char const* const command :
       {"check", "show", "match", "compile", "get", "set", "unset", "diff", "commit", "abort"}) {
    Result const own = bash(std::string("$TOOL ") + command + " --help");
    EXPECT_EQ(own.status, 0);
    EXPECT_NE(own.out.find("Example"), own.out.npos) << command;
    help += own.out;
  }
  for (std::string const& line : linesOf(help)) EXPECT_LE(line.size(), 100U) << line;
  std::string const manual = contentOf("docs/route-policy.1");
  auto const options = optionsIn(help);
  EXPECT_EQ(options, (std::set<std::string>{"-6", "-V", "-h", "--candidate", "--config", "--help",
                                            "--ipv6", "--json", "--on-duplicate", "--version"}));
  EXPECT_EQ(optionsIn(manual), options);
  std::set<std::string> completed;
  for (char const* const words : {"-", "check -", "match x -", "get -", "unset -", "commit -"}) {
    auto const line = std::string("source docs/route-policy.bash; COMP_WORDS=(route-policy ") +
                      words +
                      "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _route_policy; "
                      "printf '%s\\n' \"${COMPREPLY[@]}\"";
    auto const replies = linesOf(bash(line).out);
    completed.insert(replies.begin(), replies.end());
  }
  EXPECT_EQ(completed, options);
  // The manual has the exit statuses as sentences, with a capital letter.
  for (char const* const status : {" list has an error or is empty, a prefix is not one, a ",
                                   "rong usage, a file that cannot be read, or output that cannot "
                                   "be written"}) {
    EXPECT_NE(help.find(status), help.npos) << status;
    EXPECT_NE(manual.find(status), manual.npos) << status;
  }
}

TEST_F(Tool, CompletesWordsInBash) {
  write("a list", "");
  struct Case {
    char const* words;
    char const* replies;
  };
  Case const cases[] = {
      {"c", "check compile commit "},
      {"''",
       "check show match compile get set unset diff commit abort --help -h --config --version -V "},
      {"--config a", "a list "},
      {"--config = a", "a list "},
      {"--config x s", "show set "},
      {"--config=x get --c", "--config --candidate "},
      {"--config x show a", ""},
      {"set a", ""},
      {"check --on", "--on-duplicate "},
      {"check --on-duplicate ''", "error ignore override "},
      {"check --on-duplicate =", "error ignore override "},
      {"check --on-duplicate = o", "override "},
      {"check --on-duplicate error a", "a list "},
      {"match a", "a list "},
      {"match --on-duplicate = error a", "a list "},
      {"match x a", ""},
      {"check x a", "a list "},
      {"show x a", ""},
  };
  for (auto const& c : cases) {
    auto const line =
        std::string("source docs/route-policy.bash; cd $T; COMP_WORDS=(route-policy ") + c.words +
        "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _route_policy; "
        "[[ ${COMPREPLY[0]} ]] && printf '%s ' \"${COMPREPLY[@]}\"";
    Result const result = bash(line);
    EXPECT_EQ(result.out, c.replies) << c.words;
    EXPECT_EQ(result.err, "") << c.words;
  }
}

}  // namespace
