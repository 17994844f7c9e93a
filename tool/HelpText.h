#pragma once

/// Every text of --help. The manual, docs/route-policy.1, says the same at length; a test holds
/// their options and exit statuses together.
namespace Tool::HelpText {

inline constexpr char kProgram[] =
    "Checks, shows, matches and compiles lists of prefixes, AS paths and communities, and edits a\n"
    "configuration of lists and route maps, with no router at hand.";

inline constexpr char kProgramEnd[] = R"(A prefix-list file has one entry a line:
  [seq NUMBER] permit|deny PREFIX [ge LENGTH] [le LENGTH] [eq LENGTH]
  seq 10 deny 10.0.0.0/8 le 32    10.0.0.0/8 and all inside it
  seq 20 permit 192.0.2.0/24      this prefix and no other
  seq 30 permit 128.0.0.0/1 ge 8 le 24
The entry of the lowest number that matches decides. Words are parted by blanks. There are no
comments, and an entry for length 0 is refused. Lines without "seq" are numbered 0, 1, 2 and so on.

So has an AS-path file, with a pattern over AS paths; --as-path says that a file is one:
  permit|deny PATTERN [any|igp|egp|incomplete]
  deny _64512_                    AS 64512 anywhere in the path
  permit ^65001(_65001)*$         AS 65001 alone, with prepends
  permit _65001$ igp              routes that originate in 65001, of origin IGP
Its lines are numbered 1, 2, 3 and so on.

A configuration has one attribute a line; lines that begin with "#" are comments:
  prefixList['CUSTOMER']
  routeMap['CUSTOMER-IN'].mapEntry[20].localPref=250
Edits wait beside it, in FILE.edits, until they are committed. check, show, match and compile work
on its lists when a KIND of them is the first word: prefix-list, ipv6-prefix-list, as-path-list or
community-list.

Examples:
  route-policy check bogons-ipv4.txt customer-ipv4.txt
  route-policy show --ipv6 bogons-ipv6.txt
  route-policy match bogons-ipv4.txt 10.1.0.0/16 8.8.8.8
  route-policy match --json bogons-ipv4.txt < table.txt
  route-policy compile bogons-ipv4.txt
  route-policy match --as-path as-paths.txt "65001 65002 64512"
  route-policy --config border.conf match prefix-list CUSTOMER 192.0.2.128/25
  route-policy --config border.conf match community-list NO-EXPORT "64496:100 no-export"
  route-policy --config border.conf set "routeMap['CUSTOMER-IN'].mapEntry[20].localPref=250"
  route-policy --config border.conf diff
  route-policy --config border.conf commit

Exit status:
  0  done, and nothing was found wrong
  1  a list has an error, is empty or is not there, a prefix, path or community is not one, a
     configuration or an edit of it is refused, or a commit failed; with --strict, a list has a
     warning
  2  wrong usage, a file that cannot be read or written, output that cannot be written, or not
     enough memory

"route-policy COMMAND --help" says more of a command; so does the manual, route-policy(1).)";

inline constexpr char kCheck[] = "report what is wrong with lists, and what they hold";
inline constexpr char kCheckEnd[] =
    R"(Imports each file and prints what it holds. An error reads "FILE:LINE: what is wrong" and ends the
import of that file; the other files are still checked. An empty list is an error. Below a pattern
that is refused stand the place and the reason, of each engine that refuses it:
  paths.txt:3: Invalid AS PATH regular expression 6451[2-9
      6451[2-9
          ^ both engines: a [ without its ]
A pattern that the other engine alone accepts is a warning: its entry matches nothing.

With --config, checks the lists of these names, or all of a kind, or all. A list that is not there
or is empty is an error, and an entry that matches nothing is a warning, with its path. So is, of a
community list, one without a community or with an empty expression, and one that has what its
listType ignores or does not mean.

Examples:
  route-policy check bogons-ipv4.txt customer-ipv4.txt
  route-policy check --as-path --regex-mode posix --strict as-paths.txt
  route-policy --config border.conf check
  route-policy --config border.conf check as-path-list FROM-CUSTOMER)";

inline constexpr char kShow[] = "print a list, or route maps, for the eye";
inline constexpr char kShowEnd[] =
    R"(Prints the entries of a list file in ascending sequence number, as the router shows them. The list
is named after the file. Without its first line, the output is a list file again, unless "#" marks
an entry of an AS-path list that matches nothing.

With --config and a kind, prints the lists of these names, or all of the kind, in that form. Without
a kind, prints the lists, route maps and peer filters of these names, or all: of prefix lists the
same form, of the rest what is not at its default. A first word that is a kind always is one.

Examples:
  route-policy show --on-duplicate override customer-ipv4.txt
  route-policy --config border.conf show CUSTOMER-IN
  route-policy --config border.conf show as-path-list)";

inline constexpr char kMatch[] = "show which entry decides about prefixes, AS paths or communities";
inline constexpr char kMatchEnd[] =
    R"(Prefixes are arguments or, when there are none, lines of standard input. Each answer is a line of
fields parted by tabs: the prefix, the verdict ("permit", "deny" or "no match"), and the entry that
decides:
  10.1.0.0/16     deny    seq 20 deny 10.0.0.0/8 le 32
An address without a length is a host route: /32, or /128 with --ipv6. What is no prefix is
reported on standard error, and the others are still answered. The verdict does not change the
exit status: it is 0 when every prefix was answered.

With --as-path, AS paths are asked: their numbers, in asplain or asdot, from the neighbour's to the
origin's. An argument, or a line of standard input, is one path; a blank one is the empty path. What
a router shows behind a path is its origin: i (IGP), e (EGP) or ? (incomplete).
  65001 64512     deny    seq 3 deny _64512_ any

With --config, the list is one of a configuration, and the words tell its kind and its name. The
engine and the notation of AS numbers are those of the configuration. Of a community list, the
communities of a route are asked, parted by blanks: 64496:100, no-export, rt 64496:1, soo 64496:1,
64496:0:1 and so on. Those of each family are matched against the entries of that family alone; of
the entries that match, of any family, the one of the lowest number decides. With --exact, an entry
of communities matches a route that carries these and no other of their family.
  no-export 64496:0:1     permit  seq 10 permit no-export

Examples:
  route-policy match bogons-ipv4.txt 10.1.0.0/16
  route-policy match --as-path as-paths.txt "65001 65002.7 3356" "65001 ?"
  route-policy match bogons-ipv4.txt < table.txt | grep permit
  route-policy --config border.conf match as-path-list FROM-CUSTOMER "64500 64501 i"
  route-policy --config border.conf match community-list NO-EXPORT "64496:100 rt 64496:1")";

inline constexpr char kCompile[] = "compile a list and print what that costs";
inline constexpr char kCompileEnd[] =
    R"(Compiles the list as the routing process does, in time slices of its event loop. Prints the number
of entries and of slices, the longest slice, and the time and memory that the compiled form takes
per entry. Of an AS-path list, each pattern is compiled at once, and in slices all of them into one
automaton, unless that is too large. Of a community list, each entry is compiled at once, and in
slices an index of those of a family, unless they are few. With --config, each list of these names,
or of the kind, is compiled by itself.

Examples:
  route-policy compile bogons-ipv4.txt
  route-policy --config border.conf compile prefix-list)";

inline constexpr char kGet[] = "print what paths of a configuration lead to";
inline constexpr char kGetEnd[] =
    R"(Prints the value of each path, a line each; of what owns attributes, its lines. Without a path, the
whole configuration as lines. A path leads through names and keys:
  routeMap['CUSTOMER-IN'].mapEntry[20].localPref   an attribute of a child of a child
  prefixList['CUSTOMER'].prefixEntry[10].le        a field of a member
  communityList['C'].communityListEntry[10].community[64496:100]   a community in its own text
  routeMap['CUSTOMER-IN']                          all of one route map
What attributes there are: get --json of something that is there shows them all.

Examples:
  route-policy --config border.conf get "routeMap['CUSTOMER-IN'].mapEntry[20].localPref"
  route-policy --config border.conf get --candidate --json)";

inline constexpr char kSet[] = "add edits to those that wait for the commit";
inline constexpr char kSetEnd[] =
    R"(An edit is PATH=VALUE, or a path alone, which makes a list, a map or an entry. Values are numbers,
True and False, names of enumerators, addresses, and strings in single quotes. The edits are tried
on top of those that wait already; when one is refused, or cannot be written, none is taken. An
action of a route map counts when its flag in setFlags is True.

Examples:
  route-policy --config border.conf set "routeMap['CUSTOMER-IN'].mapEntry[20].weight=10" \
      "routeMap['CUSTOMER-IN'].mapEntry[20].setFlags.hasWeight=True"
  route-policy --config border.conf set "prefixList['P'].prefixEntry[10].prefix=192.0.2.0/24" \
      "prefixList['P'].prefixEntry[10].permit=permitMatch"
  route-policy --config border.conf set "communityList['C'].communityListEntry[5].community[1:100]"
  route-policy --config border.conf set "routeMap['CUSTOMER-IN'].mapEntry[30]")";

inline constexpr char kUnset[] = "add removals to the edits that wait for the commit";
inline constexpr char kUnsetEnd[] =
    R"(Removes what each path leads to: a list, a map, an entry, a member; an attribute gets its default
back. Fields of a value are set, not removed. What is not there is an error, and then no removal is
taken.

Example:
  route-policy --config border.conf unset "routeMap['CUSTOMER-IN'].mapEntry[20].localPref")";

inline constexpr char kDiff[] = "print what a commit would change";
inline constexpr char kDiffEnd[] =
    R"(Prints a line for each difference, in the order of keys:
  + routeMap['CUSTOMER-IN'].mapEntry[30]                            it would be added
  - prefixList['OLD']                                               it would be removed
  ~ routeMap['CUSTOMER-IN'].mapEntry[20].localPref: 200 -> 250      it would change

Example:
  route-policy --config border.conf diff)";

inline constexpr char kCommit[] = "apply the edits that wait";
inline constexpr char kCommitEnd[] =
    R"(Applies the edits as a router's session does, and prints what became of each list and map, and each
version that rose:
  prefixList['CUSTOMER']: changed
  prefixList['CUSTOMER'].version: 3 -> 4
Then the file holds the new configuration, and no edit waits. A commit that fails leaves both as
they were; one that is stopped has been done or not, as a whole.

Example:
  route-policy --config border.conf commit)";

inline constexpr char kAbort[] = "drop the edits that wait";
inline constexpr char kAbortEnd[] =
    R"(Removes the edits, good or bad; the configuration stays as it is.

Example:
  route-policy --config border.conf abort)";

inline constexpr char kConfig[] = "a configuration to work on";
inline constexpr char kCandidate[] = "as it would be with the edits that wait";
inline constexpr char kGetPaths[] = "paths; none = everything";
inline constexpr char kUnsetPaths[] = "paths of what is to be removed";
inline constexpr char kEdits[] = "PATH=VALUE, or PATH alone";
inline constexpr char kGetJson[] = "answer in JSON, one object or value a path";
inline constexpr char kFilesOrKind[] =
    "list files; - is standard input. With --config a kind, and names\n"
    "of lists behind it; none = all";
inline constexpr char kFileOrNames[] =
    "a list file; - is standard input. With --config a kind, and names\n"
    "of lists behind it, or names of anything; none = all";
inline constexpr char kFileOrKind[] =
    "a list file; - is standard input. With --config a kind, and names\n"
    "of lists behind it; no name = all of the kind";
inline constexpr char kFile[] =
    "a list file; - is standard input. With --config a kind, and the\n"
    "name of a list behind it";
inline constexpr char kAsked[] =
    "what to match: prefixes or addresses, AS paths, or the\n"
    "communities of routes";
inline constexpr char kIpv6[] = "the list is an IPv6 one";
inline constexpr char kAsPath[] = "the list is an AS-path list";
inline constexpr char kRegexMode[] =
    "the engine that reads the patterns: dfa (the default) or posix";
inline constexpr char kNotation[] = "how AS numbers are written: asplain (the default) or asdot";
inline constexpr char kOrigin[] =
    "the origin of routes that do not say theirs: igp (the default),\n"
    "egp or incomplete";
inline constexpr char kExact[] =
    "an entry of communities matches a route that has no others of\n"
    "the family";
inline constexpr char kOnDuplicate[] =
    "a line that repeats the prefix and lengths, or the pattern, of\n"
    "an earlier one is refused (error, the default), skipped\n"
    "(ignore), or takes the earlier one's place (override)";
inline constexpr char kStrict[] = "a list with a warning is refused";
inline constexpr char kJson[] = "answer in JSON, one object a line";
inline constexpr char kListJson[] = "answer in JSON, one object, or one for each list of a kind";
inline constexpr char kOneJson[] = "answer in JSON, one object";
inline constexpr char kHelp[] = "print this help and exit";
inline constexpr char kVersion[] = "print the version and exit";
inline constexpr char kTryHelp[] = "Try \"route-policy --help\".";

}  // namespace Tool::HelpText
