#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/tool/RunsTool.h"
#include "tool/Progress.h"

namespace {

using Json = nlohmann::json;
using TestSupport::Step;
using Tool = TestSupport::RunsTool;

TEST_F(Tool, AnswersEachCommandLine) {
  write("good", "seq 10 deny 10.0.0.0/8 le 32\n\nseq 5 permit 192.0.2.0/24\n");
  write("bad", "permit 10.0.0.0/8\n\n! a comment\n" + std::string(10000, 'x'));
  write("host", "permit 10.0.0.0/8\npermit 10.0.0.1/8\n");
  write("twice", "permit 10.0.0.0/8\ndeny 10.0.0.0/8\n");
  write("v6 list.txt", "permit 2001:db8::1/32\n");
  write("empty", "\n  \n");
  write("nul", std::string("permit 10.0.0.0/8\n\0permit 11.0.0.0/8\n", 37));
  table(R"(t check $T/good => T/good: 2 entries (1 permit, 1 deny), seq 5 to 10, prefixes /8 to /24
t check $T/bad $T/host | wc -l => T/bad:3: Invalid command ! T/host:2: Prefix::validAsPrefix != true not allowed (the address has bits beyond its length) 0
t check $T/twice => T/twice:2: Duplicate prefix entry found: 10.0.0.0/8/8, ge 0, le 0, eq 0 [1]
t show --on-duplicate ignore $T/twice => ip prefix-list twice     seq 0 permit 10.0.0.0/8
t show --on-duplicate=override $T/twice => ip prefix-list twice     seq 1 deny 10.0.0.0/8
t check - <<<'permit 10.0.0.0/8' => -: 1 entry (1 permit, 0 deny), seq 0 to 0, prefixes /8 to /8
printf 'deny 10.0.0.0/88' | t show - => <stdin>: warning: the last line does not end in a newline, so its last character is not read ip prefix-list stdin     seq 0
    deny 10.0.0.0/8
printf '%511s\n%510s\n' 'deny 128.0.0.0/16' 'deny 10.0.0.0/16' | t show - => <stdin>:1: warning: the line has more than 510 characters, so it is read as several, each
    without its last character ip prefix-list stdin     seq 0 deny 128.0.0.0/1     seq 1 deny 10.0.0.0/16
t check $T/empty => T/empty: the list is empty: no line has an entry [1]
t check $T/nul /dev/zero | wc -l => T/nul:2: a NUL character: an import does not read what stands behind it in its line /dev/zero:1: a NUL character: an import does
    not read what stands behind it in its line 0
t check $T/none '' $T => T/none: cannot be read: No such file or directory '': cannot be read: No such file or directory T: cannot be read: Is a directory [2]
t check $T/none $T/bad 2>&- => [2]
t check $T/bad $T/good 2>&- => T/good: 2 entries (1 permit, 1 deny), seq 5 to 10, prefixes /8 to /24 [1]
t check "$T/v6 list.txt" => T/v6 list.txt:1: Invalid prefix 2001:db8::1/32 (IPv6 needs --ipv6) [1]
t check -6 $T/good => T/good:1: Invalid prefix 10.0.0.0 (not an IPv6 prefix) [1]
t show --ipv6 "$T/v6 list.txt" => ipv6 prefix-list v6-list     seq 0 permit 2001:db8::/32
t show - <$T/bad => <stdin>:3: Invalid command ! [1]
t match $T/good 10.1.0.0/16 192.0.2.0/24 192.0.2.1 | tr '\t' , => 10.1.0.0/16,deny,seq 10 deny 10.0.0.0/8 le 32 192.0.2.0/24,permit,seq 5 permit 192.0.2.0/24
    192.0.2.1/32,no match
t match $T/good 1.0.0.0/33 10.0.0.1/8 x 1.0.0.0 2>&1 | cut -f1 => prefix 1: '1.0.0.0/33' is not an IPv4 prefix: the length is not a decimal number in range prefix 2:
    '10.0.0.1/8' is not an IPv4 prefix: the address has bits set beyond the length prefix 3: 'x' is not an IPv4 address 1.0.0.0/32
t match $T/good 1.0.0.0 x 2>&- | cut -f2; (exit ${PIPESTATUS[0]}) => no match [1]
t match -6 "$T/v6 list.txt" 2001:DB8:0::/32 2001:db8:: | cut -f-2 | tr '\t' , => 2001:db8::/32,permit 2001:db8::/128,no match
t match - 10.0.0.1 <$T/good | cut -f2 => deny
printf '10.0.0.0/8\r\n\n \t 11.0.0.0/8  \n%0600000d\n10.1.1.1' 1 | t match $T/good | cut -f2 => <stdin>:4:
    '000000000000000000000000000000000000000000000000000000000000'... is not an IPv4 address deny no match deny
t match $T/good =>
t match $T/good <$T => <stdin>: cannot be read: Is a directory [2]
t match $T/empty 10.0.0.0/8 => T/empty: the list is empty: no line has an entry [1]
t compile $T/bad => T/bad:3: Invalid command ! [1]
t match - => route-policy: standard input cannot be both the list and the prefixes Try "route-policy --help". [2]
t => route-policy: a command is missing: check, show, match, compile, get, set, unset, diff, commit or abort Try "route-policy --help". [2]
t --config f --config=g frob x 2>&1 | cut -d, -f1 => route-policy: there is no command frob Try "route-policy --help".
t --json 2>&1 | cut -d: -f-2 => route-policy: there is no option --json before the command Try "route-policy --help".
t check => route-policy: FILE is required Try "route-policy --help". [2]
t check --on-duplicate x $T/good => route-policy: --on-duplicate: x is not error, ignore or override Try "route-policy --help". [2]
t show --nope $T/good => route-policy: The following argument was not expected: --nope Try "route-policy --help". [2]
)");
}

TEST_F(Tool, AnswersForAsPathLists) {
  write("warn",
        "permit ^65001(_65001)*$\ndeny [[:digit:]]+x igp\ndeny _65000_ egp\npermit _1.2_\n");
  write("bad", "permit 1\n\ndeny 6451[2-9\n");
  write("apart", "deny [64512-65534]x\n");
  write("twice", "permit 1\ndeny 1 igp\n");
  write("empty", "\n \n");
  write("nul", std::string("permit 1\n\0permit 2\n", 19));
  std::string const ones(80, '1');
  write("long", "permit " + ones + '[' + ones + "\n");
  std::string many;
  for (int i = 0; i < 102; ++i) many += "permit " + std::to_string(i) + "x\n";
  write("many", many);
  table(
      R"t(t check -a $T/warn => T/warn:2: warning: the DFA engine does not accept [[:digit:]]+x, so the entry matches nothing     [[:digit:]]+x     ^ DFA engine: not a part of an AS number T/warn: 4
    entries (2 permit, 2 deny), seq 1 to 4, 1 without effect
t check -a --regex-mode posix --strict $T/warn => T/warn: 4 entries (2 permit, 2 deny), seq 1 to 4
t check -a --strict $T/warn $T/twice --on-duplicate override 2>&1 | grep -v '^ ' => T/warn:2: warning: the DFA engine does not accept [[:digit:]]+x, so the entry matches nothing
    T/warn: a warning is an error with --strict T/twice: 1 entry (0 permit, 1 deny), seq 2 to 2
t match -a --strict $T/warn 1 2>&- => [1]
printf 'deny 10.0.0.0/88' | t check --strict - 2>&- => [1]
t check -a $T/bad => T/bad:3: Invalid AS PATH regular expression 6451[2-9     6451[2-9         ^ both engines: a [ without its ] [1]
t check -a $T/apart => T/apart:1: Invalid AS PATH regular expression [64512-65534]x     [64512-65534]x                  ^ DFA engine: not a part of an AS number     ^ POSIX engine: a class of AS numbers: the DFA engine alone reads these [1]
t check -a $T/long 2>&1 | tail -n 2 | sed 's/1\{60\}/1/; s/1\{39\}/1/' =>     ...1[1...                                                                    ^ both engines: a [ without its ]
t check -a $T/twice => T/twice:2: Duplicate ASPATH regular expression found: 1 [1]
t check -a $T/empty $T/nul => T/empty: the list is empty: no line has an entry T/nul:2: a NUL character: an import does not read what stands behind it in its line [1]
printf '%4095s\n%4094s\n' 'deny _12' 'deny _13' | t show -a - => <stdin>:1: warning: the line has more than 4094 characters, so it is read as several, each without
    its last character ip as-path access-list stdin   deny _1 any   deny _13 any
t check -a $T/many 2>&1 | tail -n 2 => T/many: warning: 2 more such lines T/many: 102 entries (102 permit, 0 deny), seq 1 to 102, 102 without effect
t show --as-path $T/warn 2>&- => ip as-path access-list warn   permit ^65001(_65001)*$ any # deny [[:digit:]]+x igp   deny _65000_ egp   permit _1.2_ any
t match -a $T/warn 65001 '65001 65001 i' 65000 '65000 e' '3 65538' '' 2>&- | tr '\t' , => 65001,permit,seq 1 permit ^65001(_65001)*$ any
    65001 65001 i,permit,seq 1 permit ^65001(_65001)*$ any 65000,no match 65000 e,deny,seq 3 deny _65000_ egp 3 65538,permit,seq 4 permit _1.2_ any ,no match
t match -a --origin egp --notation asdot $T/warn 65000 '65000 ?' 65538 2>&- | tr '\t' , => 65000,deny,seq 3 deny _65000_ egp 65000 ?,no match 1.2,permit,seq 4 permit _1.2_ any
printf '65001\n\n x\n65000 e' | t match -a --regex-mode posix $T/warn | tr '\t' , => <stdin>:3: 'x' is not an AS number 65001,permit,seq 1 permit ^65001(_65001)*$ any ,no match 65000 e,deny,seq 3
    deny _65000_ egp
t match -a --regex-mode posix --notation asdot $T/warn 65538 | cut -f-2 | tr '\t' , => 1.2,permit
t match -a - => route-policy: standard input cannot be both the list and the paths Try "route-policy --help". [2]
t check -a -6 f => route-policy: a list is an IPv6 one or an AS-path list, not both Try "route-policy --help". [2]
t match --origin egp f => route-policy: --regex-mode, --notation and --origin are for AS-path lists: --as-path is missing Try "route-policy --help". [2]
t check -a --notation dot f => route-policy: --notation: dot is not asplain or asdot Try "route-policy --help". [2]
t check --json -a $T/warn $T/bad 2>&- => {"file":"T/warn","ok":true,"entries":4,"permit":2,"deny":2,"firstSeqno":1,"lastSeqno":4,"withoutEffect":1,"warnings":[{"line":2,"warning":"the DFA engine does not accept [[:digit:]]+x,
    so the entry matches nothing","pattern":"[[:digit:]]+x","faults":[{"engine":"dfa","place":0,"reason":"not a part of an AS number"}]}]}
    {"file":"T/bad","ok":false,"line":3,"error":"Invalid AS PATH regular expression 6451[2-9","pattern":"6451[2-9","faults":[{"engine":"dfa","place":4,"reason":"a [ without its ]"},{"engine":"posix","place":4,"reason":"a [ without its ]"}]} [1]
t show --json -a $T/twice --on-duplicate ignore => {"name":"twice","family":"as-path","regexMode":"dfa","entries":[ {"seqno":1,"action":"permit","pattern":"1","origin":"any","dfa":true,"posix":true} ]}
t match --json -a $T/twice --on-duplicate ignore 1 x 2>&- => {"path":"1","verdict":"permit","seqno":1,"entry":"seq 1 permit 1 any"} {"path":"x","error":"'x' is not an AS number"} [1]
t compile -a $T/warn 2>&- | cut -c-15 | grep -v bytes => entries         at once         slices          longest slice   time per entry  automaton      
t compile -a --regex-mode posix $T/warn | tail -n 1 => automaton        none
t compile --json -a $T/warn 2>&- | grep -oE '"(atOnceSeconds|secondsPerEntry|automatonBytes)":[0-9.e-]*[1-9]' | cut -d: -f1 => "atOnceSeconds" "secondsPerEntry" "automatonBytes"
)t");
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
      {"t check no" + name + " $T/$'\\xff'" + many, 2, "",
       "no" + shown + "cannot be read: No such file or directory\nT/\\xff" +
           many.substr(0, 295 - folder_.string().size()) +
           "...: cannot be read: File name too long\n"},
      {"c set $'\\x1b'.x " + many + ".x", 1, "",
       "edit 1: \\x1b.x: no root has an attribute '\\x1b'\nedit 2: " + many.substr(0, 500) +
           "...: no root has an attribute '" + many.substr(0, 60) + "'...\n"},
      {"(c show $'\\x9b'; t $'\\x1b') 2>&1 | grep -o \"'.*\\|command [^,]*\"", 0,
       "'\\x9b'\ncommand \\x1b\n"},
      {"c show", 0, "routeMap 'A\u009bB\xff'\n    description[1] = '\u00e9'\n"},
      {tty + "show\" /dev/null | tr -d '\\r'", 0,
       "routeMap 'A\\xc2\\x9bB\\xff'\n    description[1] = '\u00e9'\n"}};
  run(steps);
}

TEST_F(Tool, AnswersBeforeItWaitsForMore) {
  table(R"(coproc $TOOL match samples/bogons-ipv4.txt; for p in 10.0.0.0/8 8.8.8.0/25; do
    echo $p >&${COPROC[1]}; read -r line <&${COPROC[0]}; echo "${line//$'\t'/,}"; done =>
    10.0.0.0/8,deny,seq 20 deny 10.0.0.0/8 le 32 8.8.8.0/25,no match
)");
}

// Numbers in even steps, with holes, and as far apart as they can be.
TEST_F(Tool, ShowsTheEntryThatDecides) {
  table(
      R"(for i in {0..2999}; do echo seq $((i < 1000 ? 5 * i : i < 2000 ? 7 * i * i : 4294964295 + i))
    permit $((i / 256)).$((i % 256)).0.0/16; done >$T/list =>
cut -d' ' -f4 $T/list | t match $T/list | cut -f3 | diff $T/list - && wc -l <$T/list => 3000
)");
}

TEST_F(Tool, AnswersInJson) {
  write("bad", "abort\n");
  write("eq", "permit 10.0.0.0/8 eq 16\ndeny 10.0.0.0/8 ge 20 le 24\n");
  table(
      R"(t check --json $T/eq => {"file":"T/eq","ok":true,"entries":2,"permit":1,"deny":1,"firstSeqno":0,"lastSeqno":1,"shortestLength":8,"longestLength":8,"withoutEffect":0}
t check --json $T/bad 2>&- => {"file":"T/bad","ok":false,"line":1,"error":"abort detected in sequence"} [1]
t check --json no$'\xff' 2>&- => {"file":"no\ufffd","ok":false,"error":"cannot be read: No such file or directory"} [2]
t show --json $T/eq => {"name":"eq","family":"ipv4","entries":[ {"seqno":0,"action":"permit","prefix":"10.0.0.0/8","eq":16},
    {"seqno":1,"action":"deny","prefix":"10.0.0.0/8","ge":20,"le":24} ]}
t match --json $T/eq 10.1.0.0/16 => {"prefix":"10.1.0.0/16","verdict":"permit","seqno":0,"entry":"seq 0 permit 10.0.0.0/8 eq 16"}
t match --json $T/eq x 10.0.0.0/8 2>&- => {"prefix":"x","error":"'x' is not an IPv4 address"} {"prefix":"10.0.0.0/8","verdict":"no match"} [1]
)");
}

TEST_F(Tool, ShowsWhatCompilingCosts) {
  for (char const* const list : {"samples/bogons-ipv4.txt", "-6 samples/bogons-ipv6.txt"}) {
    // Labels of figures greater than 0, and no bar where there is no terminal.
    table(std::string("t compile ") + list +
          " | sed -nE 's/  +[0-9.]*[1-9].*/,/p' => entries, slices, longest slice, time per entry, "
          "bytes per entry,\n");
    Json const json = Json::parse(bash(std::string("t compile --json ") + list).out);
    EXPECT_TRUE(json["slices"] >= 1 && json["longestSliceSeconds"] > 0.0) << json;
    EXPECT_GT(json["bytesPerEntry"], 56.0) << "a compiled entry alone takes that";
  }
  std::string const half = std::string(20, '#') + std::string(20, '-');
  EXPECT_EQ(::Tool::progressBar(0, 3), "[" + std::string(40, '-') + "]   0 %");
  EXPECT_EQ(::Tool::progressBar(1, 2), "[" + half + "]  50 %");
  EXPECT_EQ(::Tool::progressBar(5, 3), "[" + std::string(40, '#') + "] 100 %");
}

TEST_F(Tool, ReportsWhatCannotBeWritten) {
  table(R"(t check samples/border.conf $T samples/bogons-ipv4.txt >/dev/full 2>&- => [2]
t show --json $B >/dev/full => standard output: cannot write: No space left on device [2]
t match $B < <(yes 10.0.0.1) >/dev/full => standard output: cannot write: No space left on device [2]
t match --help >/dev/full => standard output: cannot write: No space left on device [2]
t --version >/dev/full => standard output: cannot write: No space left on device [2]
t match $B 10.0.0.1 x >/dev/full => prefix 2: 'x' is not an IPv4 address standard output: cannot write: No space left on device [2]
yes 10.0.0.1 2>&- | t match $B | head -1 | cut -f2; (exit ${PIPESTATUS[1]}) => deny
)",
        "B=samples/bogons-ipv4.txt");
}

// Each entry is explained, and what is shown of a list can be imported again.
TEST_F(Tool, SamplesSayWhatTheirReadmeSays) {
  table(R"(for f in samples/*.txt; do o=; case $f in *ipv6*) o=-6;; *as-path*) o=-a;; esac;
    t check --strict $o $f | wc -l; grep -qF ${f##*/} samples/README.md || echo $f; n=0;
    while read -r entry; do if [[ $o == -a ]]; then
    grep -qF "| $((++n)) | \`$entry\` |" samples/README.md || echo $entry; continue; fi;
    set -- $entry; grep -qF -e "| $2 | $4 |" -e "| $2 | ${entry#* * } |" samples/README.md || echo $entry;
    done <$f; t show $o $f | tail -n +2 >$T/again; t show $o $T/again | tail -n +2 | diff - $T/again;
    done => 1 1 1 1 1 1
scripts/demo.sh $TOOL >/dev/null =>
)");
}

TEST_F(Tool, SamplesKeepBogonsOut) {
  table(
      R"t(v4 0.0.0.0/8 10.255.0.0/16 100.127.255.0/24 127.0.0.1 172.31.0.0/16 203.0.113.0/25 239.0.0.0/8 255.255.255.255 => deny
v4 1.0.0.0/8 8.8.8.0/24 100.128.0.0/9 172.32.0.0/11 192.175.48.0/24 198.20.0.0/14 223.255.255.0/24 => permit
v4 0.0.0.0/0 8.0.0.0/7 8.8.8.0/25 8.8.8.8 => no match
v6 ::1 ::ffff:10.0.0.1 64:ff9b:1::/48 100:0:0:1::/64 2001:20::/28 2001:db8:1::/48 2002:a00::/24 3fff::/20 fd00::/8 fe80::1 ff02::1 => deny
v6 2001:3::/32 2001:4:112::/48 2001:200::/32 2600::/20 3000::/16 => permit
v6 ::/0 2000::/3 2600::/49 4000::/16 8000::/16 => no match
as '' 0 '1 23456' 64496 64511 65536 65551 64512 '1 65534 1' 65535 65552 131071 4200000000 4294967294 4294967295 "$(seq -s' ' 50)" => deny
as 1 '64495 23455' 131072 4199999999 '112 112' "$(seq -s' ' 49)" => permit
)t",
      "v4() { t match samples/bogons-ipv4.txt $* | cut -f2 | sort -u; }\n"
      "v6() { t match -6 samples/bogons-ipv6.txt $* | cut -f2 | sort -u; }\n"
      "as() { t match -a samples/bogons-as-path.txt \"$@\" | cut -f2 | sort -u; }\n");
}

TEST_F(Tool, ManualAndHelpNameTheSame) {
  std::string const options =
      "--as-path --candidate --config --exact --help --ipv6 --json --notation --on-duplicate "
      "--origin "
      "--regex-mode --strict --version -6 -V -a -h\n";
  // Options are words that begin with hyphens; a manual writes a hyphen as "\-". It has the exit
  // statuses as sentences, with a capital letter.
  table(
      "help | options => " + options + "options <docs/route-policy.1 => " + options +
          R"(help | grep -c '^Examples*:' => 11
help | grep -E '.{101}' => [1]
status 'list has an error, is empty or is not there, a prefix, path or community is not one, a configuration or an edit of it is refused, or a commit failed' => 1 1
status 'rong usage, a file that cannot be read or written, output that cannot be written, or not enough memory' => 1 1
)",
      R"(options() { tr -d '\\' | grep -oE '[-[:alnum:]]+' | grep -E '^-.*[^-]' | LC_ALL=C sort -u; }
status() { for f in <(t --help) docs/route-policy.1; do tr -s ' \n' ' ' <$f | grep -cF "$1"; done; }
help() {
  for c in '' check show match compile get set unset diff commit abort; do t $c --help; done
})");
}

TEST_F(Tool, CompletesWordsInEachShell) {
  write("a list", "");
  write("-d", "");
  table(R"(w c => check commit compile
w '' => abort check commit compile diff get match set show unset
w - => --config --help --version -V -h
w --config a => a list
w --config=a => a list
w --config x s => set show
w --config x match '' => as-path-list community-list ipv6-prefix-list prefix-list
w --config=x get --c => --candidate --config
w --config=x show a => as-path-list
w --config x show as-path-list a =>
w set a =>
w frob =>
w check --on => --on-duplicate
w check --on-duplicate '' => error ignore override
w check --on-duplicate=o => override
w check --on-duplicate= => error ignore override
w match --on-duplicate=error a => a list
w check --regex-mode '' => dfa posix
w check --notation asd => asdot
w match --origin '' => egp igp incomplete
w match --ipv6 --e => --exact
w match x a =>
w check x a => a list
w show - a =>
w check --json= =>
w check -- - => -d
in_fish check 'a\ l' => a list
t --complete | cut -f1 | tail -1 => abort
t --complete check --notation '' => asplain asdot
t --complete match --e | grep exact | cut -f2 => an entry of communities matches a route that has no others of the family
)",
        R"(export HOME=$T PATH=${TOOL%/*}:$PATH
source docs/route-policy.bash
in_bash() {  # which parts words at "="
  COMP_WORDS=(route-policy)
  for word; do COMP_WORDS+=("${word%%=*}")
    if [[ $word == *=* ]]; then COMP_WORDS+=(=); fi
    if [[ $word == *=?* ]]; then COMP_WORDS+=("${word#*=}"); fi
  done
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); (cd $T; IFS=c; set -u; _route_policy; printf '%s\n' "${COMPREPLY[@]}")
}
in_fish() {
  fish -c 'source docs/route-policy.fish; cd $HOME; complete -C "route-policy $argv"' -- "$*"
}
in_zsh() {  # what its completion system offers stands in for that here
  zsh -fc 'words=(route-policy "$@") CURRENT=$(($# + 1)) PREFIX=${@[-1]}
    compset() { PREFIX=${PREFIX#$~2}; }; _files() { print -l -- $PREFIX*(N); }
    _describe() { print -l -- ${${(M)${(P)2}:#$PREFIX*}%%:*}; }
    complete() { local file=$PWD/docs/route-policy.zsh; cd $HOME; . $file; }; complete' - "$@"
}
w() {  # the answer of all three shells, or else of each
  for s in bash fish zsh; do
    in_$s "$@" | sed 's/\t.*//; s/^--[^=]*=//; /^$/d' | LC_ALL=C sort >$T/.$s
  done
  if cmp -s $T/.bash $T/.fish && cmp -s $T/.bash $T/.zsh; then cat $T/.bash; else tail $T/.??*sh; fi
})");
}

}  // namespace
