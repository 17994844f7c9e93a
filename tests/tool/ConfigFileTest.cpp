#include <gtest/gtest.h>

#include <string>

#include "tests/tool/RunsTool.h"

// The files of a configuration: whatever stops the tool, stands in their place or is closed.

namespace {

using TestSupport::Step;
using ConfigFiles = TestSupport::RunsTool;

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
  std::string const unknown =
      "T/c.edits: a commit was stopped, and the configuration has been changed since: whether "
      "these edits are in force is not known; drop them with abort, or keep them and remove the "
      "line \"# route-policy commit: ...\"";
  table(R"(stopped; c diff; c abort => nothing is pending
stopped; c set nope 2>&-; c diff; ls $T => c
stopped; c set useDeprecatedCmd=True; c diff; cat $T/c.edits => ~ useDeprecatedCmd: False -> True useDeprecatedCmd=True
stopped; echo useDeprecatedCmd=True >>$T/c.edits; c diff => ~ useDeprecatedCmd: False -> True
stopped; echo "$R " >$T/c; c diff => )" +
            unknown + " [2]\nc commit => " + unknown + R"( [2]
c abort; c diff; c set useDeprecatedCmd=True => 1 edit dropped
faulty KILL_AT=9 c commit 2>&-; c set noSetCommExplicitMembers=True; cat $T/c $T/c.edits =>
    regexMode=regexModePosix  useDeprecatedCmd=True noSetCommExplicitMembers=True
)",
        "stopped() { echo $R >$T/c.edits; rm -f $T/c; faulty KILL_AT=11 c commit 2>&-; }");
  // What is removed is what a Replacement leaves, beside this file, and not at work.
  table(R"(cd $T; n=route-policy-new; mkfifo c.FIFOFO.$n; ln -s c c.LINKED.$n =>
touch c.backup c.$n {c,c.edits,d}.ABCDEF.$n c-ABCDEF.$n c.ABCDEF{G.$n,.route-policy-old} c.LOCKED.$n =>
export -f t; flock c.LOCKED.$n bash -c 't --config $T/c commit' => useDeprecatedCmd: changed noSetCommExplicitMembers: changed
LC_ALL=C ls => c c-ABCDEF.route-policy-new c.ABCDEF.route-policy-old c.ABCDEFG.route-policy-new
    c.FIFOFO.route-policy-new c.LINKED.route-policy-new c.LOCKED.route-policy-new c.backup
    c.route-policy-new d.ABCDEF.route-policy-new
)",
        "cd $T; n=route-policy-new");
}

TEST_F(ConfigFiles, AreRegularOnes) {
  table(
      R"(mkdir d; mkfifo fifo e.edits; ln -s fifo link; ln -s /dev/zero z.edits; touch e z; truncate -s 1T big; echo x >big.edits =>
both d => 2 d: cannot be read: Is a directory 2
both fifo => 2 fifo: cannot be read: not a regular file 2
both link => 2 link: cannot be read: not a regular file 2
both /dev/zero => 2 /dev/zero: cannot be read: not a regular file 2
both big => 2 big: cannot be read: it is larger than 1 GiB 2
both e => 1 e.edits: cannot be read: not a regular file 2 1 e.edits: cannot be written: not a regular file 2
both z => 1 z.edits: cannot be read: not a regular file 2 1 z.edits: cannot be written: not a regular file 2
ln -s l1 c; ln -s d/../d/real l1; c set $R; ls d; c commit; cat d/real; ls d; readlink c =>
    real.edits regexMode: changed regexMode=regexModePosix real l1
ln -sf c l1; c commit => T/c: cannot be read: Too many levels of symbolic links [2]
ln -sf no/real l1; c set $R => T/no/real.edits: cannot be written: No such file or directory [2]
)",
      "cd $T; both() { for command in diff commit; do\n"
      "echo $(faulty MOST=100000 t --config $1 $command 2>&1; echo $?); done | count; }");
}

// Of the edits and, behind a commit, of the configuration.
TEST_F(ConfigFiles, HaveTheModeOfTheConfiguration) {
  table(R"(mode 600 000; mode 640 000; mode 664 077; mode 755 077 => 600 600 640 640 664 664 644 755
mode 4711 022; mode '' 027 => 600 4711 640 640
rm $T/c; c set $R; chmod 600 $T/c.edits; c set $R; stat -c %a $T/c.edits => 600
)",
        "mode() { umask $2; rm -f $T/c; [[ ! $1 ]] || { touch $T/c; chmod $1 $T/c; }; c set $R\n"
        "stat -c %a $T/c.edits; c commit >$T/.said; stat -c %a $T/c; }");
}

TEST_F(ConfigFiles, AreNotTakenForClosedStreams) {
  write("list", "permit 10.0.0.0/8\n");
  table(
      R"(c set $R; c set nope 2>&-; c set nope <&- >&- 2>&-; cat $T/c.edits => regexMode=regexModePosix
c diff >&- => standard output: cannot write: Bad file descriptor [2]
t check - <&- => <stdin>: cannot be read: Bad file descriptor [2]
t match $T/list <&- => <stdin>: cannot be read: Bad file descriptor [2]
(ulimit -f 0; c set nope=True; c set $R) 2>&1 | cat => edit 1: nope: no root has an attribute 'nope'
    T/c.edits: cannot be written: File too large
cat $T/c.edits => regexMode=regexModePosix
printf '%0300000d' 1 >$T/c; faulty MOST=100000 c get => T/c: not enough memory [2]
printf 'permit 10.%s.0/24\n' {0..15}.{0..255} >$T/list; faulty MOST=100000 t check $T/list =>
    T/list: not enough memory [2]
)");
}

}  // namespace
