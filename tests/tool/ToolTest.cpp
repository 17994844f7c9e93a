#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/tool/RunsTool.h"
#include "tool/Progress.h"

namespace {

using Json = nlohmann::json;
using TestSupport::Step;
using Tool = TestSupport::RunsTool;

std::string usage(std::string const& problem) {
  return "route-policy: " + problem + "\nTry \"route-policy --help\".\n";
}

TEST_F(Tool, AnswersEachCommandLine) {
  write("good", "seq 10 deny 10.0.0.0/8 le 32\n\nseq 5 permit 192.0.2.0/24\n");
  write("bad", "permit 10.0.0.0/8\n\n! a comment\n" + std::string(10000, 'x'));
  write("host", "permit 10.0.0.0/8\npermit 10.0.0.1/8\n");
  write("twice", "permit 10.0.0.0/8\ndeny 10.0.0.0/8\n");
  write("v6 list.txt", "permit 2001:db8::1/32\n");
  write("empty", "\n  \n");
  write("nul", std::string("permit 10.0.0.0/8\n\0permit 11.0.0.0/8\n", 37));
  std::string const good =
      "T/good: 2 entries (1 permit, 1 deny), seq 5 to 10, prefixes /8 to /24\n";
  std::string const bad = "T/bad:3: Invalid command !\n";
  std::string const commands =
      "check, show, match, compile, get, set, unset, diff, commit or abort";
  Step const steps[] = {
      {"t check $T/good", 0, good},
      {"t check $T/good $T/bad $T/good 2>&1", 1, good + bad + good},
      {"t check $T/host", 1, "",
       "T/host:2: Prefix::validAsPrefix != true not allowed (the address has bits beyond its "
       "length)\n"},
      {"t check $T/twice", 1, "",
       "T/twice:2: Duplicate prefix entry found: 10.0.0.0/8/8, ge 0, le 0, eq 0\n"},
      {"t show --on-duplicate ignore $T/twice", 0,
       "ip prefix-list twice\n    seq 0 permit 10.0.0.0/8\n"},
      {"t show --on-duplicate=override $T/twice", 0,
       "ip prefix-list twice\n    seq 1 deny 10.0.0.0/8\n"},
      {"printf 'permit 10.0.0.0/88' | t check -", 0,
       "-: 1 entry (1 permit, 0 deny), seq 0 to 0, prefixes /8 to /8\n",
       "<stdin>: warning: the last line does not end in a newline, so its last character is not "
       "read\n"},
      {"t check $T/empty", 1, "", "T/empty: the list is empty: no line has an entry\n"},
      {"t check $T/nul /dev/zero", 1, "",
       "T/nul:2: a NUL character: an import does not read what stands behind it in its line\n"
       "/dev/zero:1: a NUL character: an import does not read what stands behind it in its line\n"},
      {"t check $T/none '' $T $T/bad", 2, "",
       "T/none: cannot be read: No such file or directory\n"
       "'': cannot be read: No such file or directory\nT: cannot be read: Is a directory\n" +
           bad},
      {"t check \"$T/v6 list.txt\"", 1, "",
       "T/v6 list.txt:1: Invalid prefix 2001:db8::1/32 (IPv6 needs --ipv6)\n"},
      {"t check -6 $T/good", 1, "", "T/good:1: Invalid prefix 10.0.0.0 (not an IPv6 prefix)\n"},
      {"t show --ipv6 \"$T/v6 list.txt\"", 0,
       "ipv6 prefix-list v6-list\n    seq 0 permit 2001:db8::/32\n"},
      {"t show - <$T/good", 0,
       "ip prefix-list stdin\n    seq 5 permit 192.0.2.0/24\n    seq 10 deny 10.0.0.0/8 le 32\n"},
      {"t show - <$T/bad", 1, "", "<stdin>:3: Invalid command !\n"},
      {"t match $T/empty 10.0.0.0/8", 1, "", "T/empty: the list is empty: no line has an entry\n"},
      {"t match $T/good 10.1.0.0/16 10.0.0.1/8 192.0.2.0/24 192.0.2.1 x 1.0.0.0/33", 1,
       "10.1.0.0/16\tdeny\tseq 10 deny 10.0.0.0/8 le 32\n"
       "192.0.2.0/24\tpermit\tseq 5 permit 192.0.2.0/24\n192.0.2.1/32\tno match\n",
       "prefix 2: '10.0.0.1/8' is not an IPv4 prefix: the address has bits set beyond the length\n"
       "prefix 5: 'x' is not an IPv4 address\n"
       "prefix 6: '1.0.0.0/33' is not an IPv4 prefix: the length is not a decimal number in "
       "range\n"},
      {"t match -6 \"$T/v6 list.txt\" 2001:DB8:0::/32 2001:db8::", 0,
       "2001:db8::/32\tpermit\tseq 0 permit 2001:db8::/32\n2001:db8::/128\tno match\n"},
      {"t match - 10.0.0.1 <$T/good", 0, "10.0.0.1/32\tdeny\tseq 10 deny 10.0.0.0/8 le 32\n"},
      {"printf '10.0.0.0/8\\r\\n\\n \\t 11.0.0.0/8  \\n%0600000d\\n10.1.1.1' 1 | t match $T/good",
       1,
       "10.0.0.0/8\tdeny\tseq 10 deny 10.0.0.0/8 le 32\n11.0.0.0/8\tno match\n"
       "10.1.1.1/32\tdeny\tseq 10 deny 10.0.0.0/8 le 32\n",
       "<stdin>:4: '" + std::string(60, '0') + "'... is not an IPv4 address\n"},
      {"t match $T/good", 0, ""},
      {"t match $T/good <$T", 2, "", "<stdin>: cannot be read: Is a directory\n"},
      {"t compile $T/bad", 1, "", bad},
      {"t match -", 2, "", usage("standard input cannot be both the list and the prefixes")},
      {"t", 2, "", usage("a command is missing: " + commands)},
      {"t --config f --config=g frob x", 2, "",
       usage("there is no command frob, only " + commands)},
      {"t --json", 2, "", usage("there is no option --json before the command: " + commands)},
      {"t check", 2, "", usage("FILE is required")},
      {"t check --on-duplicate x $T/good", 2, "",
       usage("--on-duplicate: x is not error, ignore or override")},
      {"t show --nope $T/good", 2, "", usage("The following argument was not expected: --nope")},
  };
  run(steps);
}

// Whatever stands in files and arguments reaches a terminal and the messages as visible text.
TEST_F(Tool, ShowsNoControlCharacters) {
  write("\x1b[2J\n\u009b", "permit 10.0.0.0/8\n");
  write("c", "routeMap['A\u009bB\xff'].description[1]='\u00e9'\n");
  std::string const name = "/$'\\x1b[2J\\n\\u009b'";
  std::string const shown = R"(/\x1b[2J\n\xc2\x9b: )";
  std::string const many(5000, 'x');
  std::string const tty = "script -qec \"$TOOL --config $T/c ";
  Step const steps[] = {
      {"t check $T" + name, 0,
       "T" + shown + "1 entry (1 permit, 0 deny), seq 0 to 0, prefixes /8 to /8\n"},
      {"t --config no" + name + " get", 2, "",
       "no" + shown + "cannot be read: No such file or directory\n"},
      {"t check $T/$'\\xff'" + many, 2, "",
       "T/\\xff" + many.substr(0, 295 - folder_.string().size()) +
           "...: cannot be read: File name too long\n"},
      {"c set $'\\x1b'.x " + many + ".x", 1, "",
       "edit 1: \\x1b.x: no root has an attribute '\\x1b'\nedit 2: " + many.substr(0, 500) +
           "...: no root has an attribute '" + many.substr(0, 60) + "'...\n"},
      {"c show $'\\x9b'", 1, "",
       "route-policy: no list, route map or peer filter has the name '\\x9b'\n"},
      {"t $'\\x1b'", 2, "",
       usage("there is no command \\x1b, only check, show, match, compile, get, set, unset, diff, "
             "commit or abort")},
      {"c show", 0, "routeMap 'A\u009bB\xff'\n    description[1] = '\u00e9'\n"},
      {tty + "show\" /dev/null | tr -d '\\r'", 0,
       "routeMap 'A\\xc2\\x9bB\\xff'\n    description[1] = '\u00e9'\n"},
      {tty + "get --json routeMap\" /dev/null | cut -c1-35", 0,
       "{\"A\\u009bB\\ufffd\":{\"name\":\"A\\u009bB\n"}};
  run(steps);
}

TEST_F(Tool, AnswersBeforeItWaitsForMore) {
  Step const steps[] = {
      {"coproc $TOOL match samples/bogons-ipv4.txt\n"
       "for p in 10.0.0.0/8 8.8.8.0/25; do\n"
       "  echo $p >&${COPROC[1]}; read -r line <&${COPROC[0]}; echo \"$line\"\n"
       "done",
       0, "10.0.0.0/8\tdeny\tseq 20 deny 10.0.0.0/8 le 32\n8.8.8.0/25\tno match\n"}};
  run(steps);
}

// Numbers in even steps, with holes, and as far apart as they can be.
TEST_F(Tool, TellsTheEntryThatDecides) {
  std::string list;
  std::string routes;
  std::string expected;
  for (unsigned i = 0; i < 3000; ++i) {
    unsigned const seqno = i < 1000 ? 5 * i : i < 2000 ? 7 * i * i : 4294964295U + i;
    std::string const prefix = std::to_string(i / 256) + "." + std::to_string(i % 256) + ".0.0/16";
    std::string const entry = "seq " + std::to_string(seqno) + " permit " + prefix;
    list.insert(0, entry + "\n");
    routes += prefix + "\n";
    expected.append(prefix).append("\tpermit\t").append(entry).append("\n");
  }
  write("list", list);
  write("routes", routes);
  EXPECT_EQ(bash("t match $T/list <$T/routes").out, expected);
}

TEST_F(Tool, AnswersInJson) {
  write("bad", "abort\n");
  write("eq", "permit 10.0.0.0/8 eq 16\ndeny 10.0.0.0/8 ge 20 le 24\n");
  Step const steps[] = {
      {"t check --json $T/eq $T/bad no$'\\xff' 2>&-", 2,
       R"({"file":"T/eq","ok":true,"entries":2,"permit":1,"deny":1,"firstSeqno":0,"lastSeqno":1,)"
       R"("shortestLength":8,"longestLength":8}
{"file":"T/bad","ok":false,"line":1,"error":"abort detected in sequence"}
{"file":"no\ufffd","ok":false,"error":"cannot be read: No such file or directory"}
)"},
      {"t show --json $T/eq", 0, R"({"name":"eq","family":"ipv4","entries":[
{"seqno":0,"action":"permit","prefix":"10.0.0.0/8","eq":16},
{"seqno":1,"action":"deny","prefix":"10.0.0.0/8","ge":20,"le":24}
]}
)"},
      {"t match --json $T/eq 10.1.0.0/16 x 10.0.0.0/8 2>&-", 1,
       R"({"prefix":"10.1.0.0/16","verdict":"permit","seqno":0,)"
       R"("entry":"seq 0 permit 10.0.0.0/8 eq 16"}
{"prefix":"x","error":"'x' is not an IPv4 address"}
{"prefix":"10.0.0.0/8","verdict":"no match"}
)"}};
  run(steps);
}

TEST_F(Tool, TellsWhatCompilingCosts) {
  for (char const* const options : {"samples/bogons-ipv4.txt", "-6 samples/bogons-ipv6.txt"}) {
    // Labels of figures greater than 0, and no bar where there is no terminal.
    Step const steps[] = {
        {std::string("t compile ") + options + " | sed -nE 's/  +[0-9.]*[1-9].*//p'", 0,
         "entries\nslices\nlongest slice\ntime per entry\nbytes per entry\n"}};
    run(steps);
    Json const json = Json::parse(bash(std::string("t compile --json ") + options).out);
    EXPECT_GE(json["slices"], 1);
    EXPECT_GT(json["longestSliceSeconds"], 0.0);
    EXPECT_GT(json["bytesPerEntry"], 56.0) << "a compiled entry alone takes that";
  }
  EXPECT_EQ(::Tool::progressBar(0, 3), "[" + std::string(40, '-') + "]   0 %");
  EXPECT_EQ(::Tool::progressBar(1, 2),
            "[" + std::string(20, '#') + std::string(20, '-') + "]  50 %");
  EXPECT_EQ(::Tool::progressBar(5, 3), "[" + std::string(40, '#') + "] 100 %");
}

TEST_F(Tool, ReportsWhatCannotBeWritten) {
  write("list", "permit 10.0.0.0/8 le 32\n");
  std::string const lost = "standard output: cannot write: No space left on device\n";
  for (char const* const line :
       {"check $T/list", "show --json $T/list", "match $T/list 10.0.0.1", "compile $T/list",
        "match $T/list < <(yes 10.0.0.1)", "match --help", "--version"}) {
    Step const steps[] = {{std::string("t ") + line + " >/dev/full", 2, "", lost}};
    run(steps);
  }
  Step const steps[] = {
      {"t match $T/list 10.0.0.1 x >/dev/full", 2, "",
       "prefix 2: 'x' is not an IPv4 address\n" + lost},
      {"yes 10.0.0.1 2>/dev/null | t match $T/list | head -1; exit ${PIPESTATUS[1]}", 0,
       "10.0.0.1/32\tpermit\tseq 0 permit 10.0.0.0/8 le 32\n"}};
  run(steps);
}

// Each entry is explained, and what is shown of a list can be imported again.
TEST_F(Tool, SamplesSayWhatTheirReadmeSays) {
  Step const steps[] = {
      {"for f in samples/*.txt; do\n"
       "  o=$([[ $f != *ipv6* ]] || echo -6); t check $o $f | wc -l\n"
       "  grep -qF ${f##*/} samples/README.md || echo $f\n"
       "  while read -r seq number entry; do set -- $entry\n"
       "    grep -qF -e \"| $number | $2 |\" -e \"| $number | $entry |\" samples/README.md || echo "
       "$entry\n"
       "  done <$f\n"
       "  t show $o $f | tail -n +2 >$T/again; t show $o $T/again | tail -n +2 | diff - $T/again\n"
       "done",
       0, "1\n1\n1\n1\n"},
      {"scripts/demo.sh $TOOL >/dev/null", 0, ""}};
  run(steps);
}

TEST_F(Tool, SamplesTellBogonsFromTheRest) {
  Step const steps[] = {
      {"v4 0.0.0.0/8 10.0.0.0/8 10.255.0.0/16 100.64.0.0/10 100.127.255.0/24 127.0.0.1 "
       "169.254.0.0/16 172.16.0.0/12 172.31.0.0/16 192.0.0.0/24 192.0.2.0/24 192.88.99.0/24 "
       "192.168.1.0/24 198.18.0.0/15 198.51.100.0/24 203.0.113.0/25 224.0.0.0/4 239.0.0.0/8 "
       "240.0.0.0/4 255.255.255.255",
       0, "deny\n"},
      {"v4 1.0.0.0/8 8.8.8.0/24 100.63.0.0/16 100.128.0.0/9 172.32.0.0/11 192.31.196.0/24 "
       "192.52.193.0/24 192.175.48.0/24 198.20.0.0/14 223.255.255.0/24",
       0, "permit\n"},
      {"v4 0.0.0.0/0 8.0.0.0/7 8.8.8.0/25 8.8.8.8", 0, "no match\n"},
      {"v6 :: ::1 ::ffff:10.0.0.1 64:ff9b::/96 64:ff9b:1::/48 100::/64 100:0:0:1::/64 2001::/32 "
       "2001:2::/48 2001:10::/28 2001:20::/28 2001:30::/28 2001:db8:1::/48 2002:a00::/24 3ffe::/16 "
       "3fff::/20 5f00::/16 fc00::/8 fd00::/8 fe80::1 fec0::/10 ff02::1",
       0, "deny\n"},
      {"v6 2001:3::/32 2001:4:112::/48 2001:200::/32 2001:4860::/32 2600::/20 2620:4f:8000::/48 "
       "3000::/16",
       0, "permit\n"},
      {"v6 ::/0 2000::/3 2600::/49 4000::/16 8000::/16", 0, "no match\n"},
  };
  run(steps,
      "v4() { t match samples/bogons-ipv4.txt \"$@\" | cut -f2 | sort -u; }\n"
      "v6() { t match -6 samples/bogons-ipv6.txt \"$@\" | cut -f2 | sort -u; }\n");
}

/// Completes the last of the words behind "w".
constexpr char kComplete[] =
    "source docs/route-policy.bash; w() { cd $T; COMP_WORDS=(route-policy \"$@\"); COMP_CWORD=$#\n"
    "_route_policy; [[ ! ${COMPREPLY[0]} ]] || printf '%s ' \"${COMPREPLY[@]}\"; }\n";

TEST_F(Tool, ManualHelpAndCompletionNameTheSame) {
  std::string const options =
      "--candidate --config --help --ipv6 --json --on-duplicate --version -6 -V -h\n";
  std::string const help =
      "for c in '' check show match compile get set unset diff commit abort; do t $c --help; done "
      "| ";
  Step const steps[] = {
      // Options are words that begin with hyphens; a manual writes a hyphen as "\-".
      {help + "options", 0, options},
      {"options <docs/route-policy.1", 0, options},
      {"for c in '' check 'match x' get unset commit; do w $c -; done | options", 0, options},
      {help + "grep -c '^Examples*:'", 0, "11\n"},
      {help + "grep -E '.{101}'", 1, ""},
      // The manual has the exit statuses as sentences, with a capital letter.
      {"t --help >$T/help; for words in ' list has an error or is empty, a prefix is not one, a "
       "configuration or an edit of it is refused, or a commit failed' 'rong usage, a file that "
       "cannot be read or written, output that cannot be written, or not enough memory'; do\n"
       "  for f in $T/help docs/route-policy.1; do tr -s ' \\n' ' ' <$f | grep -cF \"$words\"; "
       "done\n"
       "done | uniq -c | xargs",
       0, "4 1\n"}};
  run(steps,
      kComplete + std::string("options() { tr -d '\\\\' | grep -oE '[-[:alnum:]]+' | grep -E "
                              "'^-.*[^-]' | LC_ALL=C sort -u | xargs; }\n"));
}

TEST_F(Tool, CompletesWordsInBash) {
  write("a list", "");
  Step const steps[] = {
      {"w c", 0, "check compile commit "},
      {"w ''", 0,
       "check show match compile get set unset diff commit abort --help -h --config --version -V "},
      {"w --config a", 0, "a list "},
      {"w --config = a", 0, "a list "},
      {"w --config x s", 0, "show set "},
      {"w --config=x get --c", 0, "--config --candidate "},
      {"w --config x show a", 0, ""},
      {"w set a", 0, ""},
      {"w check --on", 0, "--on-duplicate "},
      {"w check --on-duplicate ''", 0, "error ignore override "},
      {"w check --on-duplicate =", 0, "error ignore override "},
      {"w check --on-duplicate = o", 0, "override "},
      {"w check --on-duplicate error a", 0, "a list "},
      {"w match a", 0, "a list "},
      {"w match --on-duplicate = error a", 0, "a list "},
      {"w match x a", 0, ""},
      {"w check x a", 0, "a list "},
      {"w show x a", 0, ""},
  };
  run(steps, kComplete);
}

}  // namespace
