#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace TestSupport {

inline std::string contentOf(std::filesystem::path const& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

/// A line of bash, and what it answers; "T" is the folder of the test.
struct Step {
  std::string line;
  int status;
  std::string out;
  std::string err = {};
};

/// A test that runs the built tool, in the top folder of the sources, through the shell.
class RunsTool : public testing::Test {
 protected:
  RunsTool() {
    std::string pattern = (std::filesystem::temp_directory_path() / "route-policy-XXXXXX").string();
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    setenv("TOOL", ROUTE_POLICY_TOOL, 1);
    setenv("FAULTS", TOOL_FAULTS, 1);
    setenv("T", folder_.c_str(), 1);
  }
  ~RunsTool() override { std::filesystem::remove_all(folder_); }

  void write(char const* name, std::string const& text) {
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }

  /// Runs lines of bash, with the words
  ///  $T      the folder of write(), which is "T" in what is said
  ///  t       the tool, of which nobody waits for more than a minute
  ///  c       the tool on the configuration $T/c, in which $M is the path of a route map
  ///          and $R an edit
  ///  faulty  V=N c ...: the same with a fault, see support/preload
  ///  count   uniq -c without its blanks
  Result bash(std::string const& lines) {
    write(".line",
          "M=\"routeMap['M']\"; R=regexMode=regexModePosix; t() { timeout 60 \"$TOOL\" \"$@\"; }; "
          "c() { t --config $T/c "
          "\"$@\"; }\n"
          "faulty() { (export $1 LD_PRELOAD=$FAULTS ASAN_OPTIONS=verify_asan_link_order=0\n"
          "shift; \"$@\"); }; count() { uniq -c | sed 's/^ *//'; }\n" +
              lines + "\n");
    int const status =
        std::system("bash $T/.line >$T/.out 2>$T/.err </dev/null");  // NOLINT(cert-env33-c)
    Result result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(folder_ / ".out"),
                  contentOf(folder_ / ".err")};
    for (std::string* const text : {&result.out, &result.err}) {
      for (std::size_t at; (at = text->find(folder_.string())) != text->npos;) {
        text->replace(at, folder_.string().size(), "T");
      }
    }
    return result;
  }

  /// Runs lines of bash one by one, each behind `before`.
  template <std::size_t n>
  void run(Step const (&steps)[n], std::string const& before = {}) {
    for (Step const& step : steps) {
      Result const result = bash(before + step.line);
      EXPECT_EQ(result.status, step.status) << step.line;
      EXPECT_EQ(result.out, step.out) << step.line;
      EXPECT_EQ(result.err, step.err) << step.line;
    }
  }

  /// Runs each line "COMMAND => ANSWER", behind `before`. The answer is all that it says, in one
  /// line, and its status in brackets unless that is 0. Indented lines go on with the line above.
  void table(std::string lines, std::string const& before = {}) {
    for (std::size_t at; (at = lines.find("\n ")) != lines.npos;) {
      lines.replace(at, lines.find_first_not_of(' ', at + 1) - at, " ");
    }
    EXPECT_EQ(bash(before + R"(
while IFS= read -r line; do c=${line%% =>*}
  o=$({ eval "$c" </dev/null 2>&1; s=$?; ((s)) && echo "[$s]"; } | paste -sd' ')
  echo "$c =>${o:+ $o}"
done <<'END'
)" + lines + "END")
                  .out,
              lines);
  }

  std::filesystem::path folder_;
};

}  // namespace TestSupport
