#include <gtest/gtest.h>

#include <string>

#include "tests/tool/RunsTool.h"

// The files of a configuration: whatever stops the tool, stands in their place or is closed.

namespace {

using TestSupport::Step;
using ConfigFiles = TestSupport::RunsTool;
constexpr char kR[] = "regexMode=regexModePosix\n";  // $R

// Every step that changes a file is the last one once, and fails once. The edits are one command's:
// they are pending all, or in force and counted once, or not there.
TEST_F(ConfigFiles, AreBeforeOrAfterWhereverTheToolStops) {
  constexpr char kOutcomes[] = R"(
typed() { printf "# typed\n$M.mapEntry[1].tag=25" >$T/c.edits; }
outcomes() {  # STEPS EDITS COMMAND...
  for v in KILL_AT FAIL_AT; do for ((n = 1; n <= $1; ++n)); do
    echo "$M" >$T/c; $2
    faulty $v=$n c "${@:3}" &>$T/.said; s=$?
    echo $v $s $(grep -o 'cannot be .*[dn]:' $T/.said) pending: $(c diff | wc -l) version: $(
      grep -c version=1 $T/c; c commit >/dev/null; grep -c version=1 $T/c) $(ls $T)
    rm $T/c*
  done; done | sort -u
}
)";
  Step const steps[] = {{"outcomes 13 typed commit", 0, R"(FAIL_AT 0 pending: 0 version: 1 1 c
FAIL_AT 2 cannot be removed: pending: 0 version: 1 1 c
FAIL_AT 2 cannot be written: pending: 2 version: 0 1 c
KILL_AT 0 pending: 0 version: 1 1 c
KILL_AT 137 pending: 0 version: 1 1 c
KILL_AT 137 pending: 2 version: 0 1 c
)"},
                        {"outcomes 6 : set $M.mapEntry[1].tag=2500 $M.mapEntry[2]", 0,
                         R"(FAIL_AT 0 pending: 3 version: 0 1 c
FAIL_AT 2 cannot be written: pending: 0 version: 0 0 c
KILL_AT 0 pending: 3 version: 0 1 c
KILL_AT 137 pending: 0 version: 0 0 c
KILL_AT 137 pending: 3 version: 0 1 c
)"},
                        {"outcomes 3 typed abort", 0, R"(FAIL_AT 0 pending: 0 version: 0 0 c
FAIL_AT 2 cannot be removed: pending: 2 version: 0 1 c
KILL_AT 0 pending: 0 version: 0 0 c
KILL_AT 137 pending: 0 version: 0 0 c
KILL_AT 137 pending: 2 version: 0 1 c
)"}};
  run(steps, kOutcomes);
}

TEST_F(ConfigFiles, SettleWhatAStoppedCommitLeft) {
  std::string const stopped = "echo $R >$T/c.edits; rm -f $T/c; faulty KILL_AT=11 c commit 2>&-; ";
  std::string const unknown =
      "T/c.edits: a commit was stopped, and the configuration has been changed since: whether "
      "these edits are in force is not known; drop them with abort, or keep them and remove the "
      "line \"# route-policy commit: ...\"\n";
  Step const steps[] = {
      {stopped + "c diff; c abort", 0, "nothing is pending\n"},
      {stopped + "c set nope 2>&-; c diff; ls $T", 0, "c\n"},
      {stopped + "c set useDeprecatedCmd=True; c diff; cat $T/c.edits", 0,
       "~ useDeprecatedCmd: False -> True\nuseDeprecatedCmd=True\n"},
      {stopped + "echo useDeprecatedCmd=True >>$T/c.edits; c diff", 0,
       "~ useDeprecatedCmd: False -> True\n"},
      {stopped + "echo \"$R \" >$T/c; c diff; c commit", 2, "", unknown + unknown},
      {"c abort; c diff; c set useDeprecatedCmd=True; faulty KILL_AT=9 c commit 2>&-\n"
       "c set noSetCommExplicitMembers=True; cat $T/c $T/c.edits",
       0,
       "1 edit dropped\nregexMode=regexModePosix \nuseDeprecatedCmd=True\n"
       "noSetCommExplicitMembers=True\n"},
      // What it removes is what a Replacement leaves, beside this file, and not at work.
      {"cd $T; n=route-policy-new\n"
       "touch c.backup c.$n {c,c.edits,d}.ABCDEF.$n c-ABCDEF.$n c.ABCDEF{G.$n,.route-policy-old} "
       "c.LOCKED.$n\n"
       "mkfifo c.FIFOFO.$n; ln -s c c.LINKED.$n\n"
       "export -f t; flock c.LOCKED.$n bash -c 't --config $T/c commit'; LC_ALL=C ls | xargs",
       0,
       "useDeprecatedCmd: changed\nnoSetCommExplicitMembers: changed\n"
       "c c-ABCDEF.route-policy-new c.ABCDEF.route-policy-old c.ABCDEFG.route-policy-new "
       "c.FIFOFO.route-policy-new c.LINKED.route-policy-new c.LOCKED.route-policy-new c.backup "
       "c.route-policy-new d.ABCDEF.route-policy-new\n"}};
  run(steps);
}

TEST_F(ConfigFiles, AreRegularOnes) {
  std::string const irregular = ": cannot be read: not a regular file 2\n";
  Step const steps[] = {
      {"cd $T; mkdir d; mkfifo fifo e.edits; ln -s fifo link; ln -s /dev/zero z.edits; touch e z\n"
       "truncate -s 1T big; echo x >big.edits\n"
       "for f in d fifo link /dev/zero big e z; do for command in diff commit; do\n"
       "  echo $(faulty MOST=100000 t --config $f $command 2>&1; echo $?)\n"
       "done; done | uniq",
       0,
       "d: cannot be read: Is a directory 2\nfifo" + irregular + "link" + irregular + "/dev/zero" +
           irregular + "big: cannot be read: it is larger than 1 GiB 2\ne.edits" + irregular +
           "e.edits: cannot be written: not a regular file 2\nz.edits" + irregular +
           "z.edits: cannot be written: not a regular file 2\n"},
      // Links are followed, wherever they lead.
      {"ln -s l1 $T/c; ln -s d/../d/real $T/l1; c set $R; ls $T/d; c commit; cat $T/d/real; "
       "ls $T/d; readlink $T/c",
       0, std::string("real.edits\nregexMode: changed\n") + kR + "real\nl1\n"},
      {"ln -sf c $T/l1; c commit; ln -sf no/real $T/l1; c set $R", 2, "",
       "T/c: cannot be read: Too many levels of symbolic links\n"
       "T/no/real.edits: cannot be written: No such file or directory\n"}};
  run(steps);
}

// Of the edits and, behind a commit, of the configuration.
TEST_F(ConfigFiles, HaveTheModeOfTheConfiguration) {
  Step const steps[] = {
      {"m 600 000; m 640 000; m 664 077; m 755 077; m 4711 022; m '' 027", 0,
       "600 600\n640 640\n664 664\n644 755\n600 4711\n640 640\n"},
      {"rm $T/c; c set $R; chmod 600 $T/c.edits; c set $R; stat -c %a $T/c.edits", 0, "600\n"}};
  run(steps,
      "m() { umask $2; rm -f $T/c; [[ ! $1 ]] || { touch $T/c; chmod $1 $T/c; }; c set $R\n"
      "e=$(stat -c %a $T/c.edits); c commit >$T/.said; echo $e $(stat -c %a $T/c); }\n");
}

TEST_F(ConfigFiles, AreNotTakenForClosedStreams) {
  write("list", "permit 10.0.0.0/8\n");
  Step const steps[] = {
      {"c set $R; c set nope 2>&-; c set nope <&- >&- 2>&-; cat $T/c.edits", 0, kR},
      {"c diff >&-; t check - <&-; t match $T/list <&-", 2, "",
       "standard output: cannot write: Bad file descriptor\n"
       "<stdin>: cannot be read: Bad file descriptor\n"
       "<stdin>: cannot be read: Bad file descriptor\n"},
      // A limit on the size of files; the pipe has none.
      {"(ulimit -f 0; c set $R) 2>&1 | cat; cat $T/c.edits", 0,
       std::string("T/c.edits: cannot be written: File too large\n") + kR},
      {"printf '%0300000d' 1 >$T/c; faulty MOST=100000 c get", 2, "", "T/c: not enough memory\n"},
      {"printf 'permit 10.%s.0/24\\n' {0..15}.{0..255} >$T/list; faulty MOST=100000 t check "
       "$T/list",
       2, "", "T/list: not enough memory\n"}};
  run(steps);
}

}  // namespace
