#pragma once

/// Every text of --help. The manual, docs/route-policy.1, says the same at length; a test holds
/// their options and exit statuses together.
namespace Tool::HelpText {

inline constexpr char kProgram[] =
    "Checks, shows, matches and compiles prefix lists, with no router at hand.";

inline constexpr char kProgramEnd[] = R"(A list file has one rule a line:
  [seq NUMBER] permit|deny PREFIX [ge LENGTH] [le LENGTH] [eq LENGTH]
  seq 10 deny 10.0.0.0/8 le 32    10.0.0.0/8 and all inside it
  seq 20 permit 192.0.2.0/24      this prefix and no other
  seq 30 permit 128.0.0.0/1 ge 8 le 24
The rule of the lowest number that matches decides. Words are parted by blanks. There are no
comments, and a rule for length 0 is refused. Lines without "seq" are numbered 0, 1, 2 and so on.

Examples:
  route-policy check *.txt
  route-policy show --ipv6 bogons-ipv6.txt
  route-policy match bogons-ipv4.txt 10.1.0.0/16 8.8.8.8
  route-policy match --json bogons-ipv4.txt < table.txt
  route-policy compile bogons-ipv4.txt

Exit status:
  0  done, and nothing was found wrong
  1  a list has an error or is empty, or a prefix is not one
  2  wrong usage, a file that cannot be read, or output that cannot be written

"route-policy COMMAND --help" tells more of a command; so does the manual, route-policy(1).)";

inline constexpr char kCheck[] = "import files and report what is refused";
inline constexpr char kCheckEnd[] =
    R"(Imports each file and tells what it holds. An error reads "FILE:LINE: what is wrong" and ends the
import of that file; the other files are still checked. An empty list is an error.

Example:
  route-policy check bogons-ipv4.txt customer-ipv4.txt)";

inline constexpr char kShow[] = "print a list as the router shows it";
inline constexpr char kShowEnd[] =
    R"(Prints the entries in ascending sequence number. The list is named after the file. Without its
first line, the output is a list file again.

Example:
  route-policy show --on-duplicate override customer-ipv4.txt)";

inline constexpr char kMatch[] = "tell which rule decides about prefixes";
inline constexpr char kMatchEnd[] =
    R"(Prefixes are arguments or, when there are none, lines of standard input. Each answer is a line of
fields parted by tabs: the prefix, the verdict ("permit", "deny" or "no match"), and the rule that
decides:
  10.1.0.0/16     deny    seq 20 deny 10.0.0.0/8 le 32
An address without a length is a host route: /32, or /128 with --ipv6. What is no prefix is
reported on standard error, and the others are still answered. The verdict does not change the
exit status: it is 0 when every prefix was answered.

Examples:
  route-policy match bogons-ipv4.txt 10.1.0.0/16
  route-policy match bogons-ipv4.txt < table.txt | grep permit)";

inline constexpr char kCompile[] = "compile a list and tell what that costs";
inline constexpr char kCompileEnd[] =
    R"(Compiles the list as the routing process does, in time slices of its event loop. Prints the number
of entries and of slices, the longest slice, and the time and memory that the compiled form takes
per entry.

Example:
  route-policy compile bogons-ipv4.txt)";

inline constexpr char kFile[] = "a list file; - is standard input";
inline constexpr char kFiles[] = "list files; - is standard input";
inline constexpr char kPrefixes[] = "prefixes or addresses to match";
inline constexpr char kIpv6[] = "the list is an IPv6 one";
inline constexpr char kOnDuplicate[] =
    "a line that repeats the prefix and lengths of an earlier one is\n"
    "refused (error, the default), skipped (ignore), or takes the\n"
    "earlier one's place (override)";
inline constexpr char kJson[] = "answer in JSON, one object a line";
inline constexpr char kShowJson[] = "answer in JSON, one object";
inline constexpr char kHelp[] = "print this help and exit";
inline constexpr char kVersion[] = "print the version and exit";
inline constexpr char kTryHelp[] = "Try \"route-policy --help\".";

}  // namespace Tool::HelpText
