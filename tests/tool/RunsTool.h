#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace TestSupport {

inline std::string contentOf(std::filesystem::path const& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline std::vector<std::string> linesOf(std::string const& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

/// A test that runs the built tool, in the top folder of the sources, through the shell.
class RunsTool : public testing::Test {
 protected:
  RunsTool() {
    std::string pattern = (std::filesystem::temp_directory_path() / "route-policy-XXXXXX").string();
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    setenv("TOOL", ROUTE_POLICY_TOOL, 1);
    setenv("T", folder_.c_str(), 1);
  }
  ~RunsTool() override { std::filesystem::remove_all(folder_); }

  void write(char const* name, std::string const& text) {
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }

  /// Runs a line of bash, in which $TOOL is the tool and $T the folder of write().
  Result bash(std::string const& line) {
    write(".line", line);
    int const status =
        std::system("bash $T/.line >$T/.out 2>$T/.err </dev/null");  // NOLINT(cert-env33-c)
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(folder_ / ".out"),
            contentOf(folder_ / ".err")};
  }

  /// Runs the tool; what it says names the folder as T.
  Result tool(std::string const& arguments) {
    Result result = bash("$TOOL " + arguments);
    for (std::string* const text : {&result.out, &result.err}) {
      for (std::size_t at; (at = text->find(folder_.string())) != text->npos;) {
        text->replace(at, folder_.string().size(), "T");
      }
    }
    return result;
  }

  std::filesystem::path folder_;
};

}  // namespace TestSupport
