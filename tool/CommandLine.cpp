#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>

#include "platform/orb/base/Text.h"
#include "tool/HelpText.h"

namespace Tool {

namespace {

using Command = Options::Command;

struct Duplicates {
  char const* word;
  Acl::UrlImportDuplicateOperation operation;
};
constexpr Duplicates kDuplicates[] = {{"error", Acl::duplicateError},
                                      {"ignore", Acl::duplicateIgnore},
                                      {"override", Acl::duplicateOverride}};

Acl::UrlImportDuplicateOperation duplicatesOf(std::string const& word) {
  for (auto const& known : kDuplicates) {
    if (word == known.word) return known.operation;
  }
  throw CLI::ValidationError("--on-duplicate", word + " is not error, ignore or override");
}

constexpr char kCommands[] = "check, show, match, compile, get, set, unset, diff, commit or abort";

/// What of a command line is checked once all of it is read.
struct Given {
  bool onDuplicate = false;
  std::vector<std::string> files;  // of show: names, with a configuration
};

/// A command with the options that all have; `json` is null for one that answers nothing.
CLI::App& addCommand(CLI::App& app, Options& options, Command command, char const* name,
                     char const* description, char const* end, char const* json) {
  CLI::App& sub = *app.add_subcommand(name, description);
  sub.group("Commands");
  sub.footer(end);
  sub.set_help_flag("-h,--help", HelpText::kHelp);
  if (json) sub.add_flag("--json", options.json, json);
  sub.callback([&options, command] { options.command = command; });
  return sub;
}

/// A command on list files.
CLI::App& addListCommand(CLI::App& app, Options& options, Given& given, Command command,
                         char const* name, char const* description, char const* end,
                         char const* json) {
  CLI::App& sub = addCommand(app, options, command, name, description, end, json);
  sub.add_flag("-6,--ipv6", options.ipv6, HelpText::kIpv6);
  sub.add_option_function<std::string>(
         "--on-duplicate",
         [&](std::string const& word) {
           options.onDuplicate = duplicatesOf(word);
           given.onDuplicate = true;
         },
         HelpText::kOnDuplicate)
      ->type_name("WHAT");
  return sub;
}

void addConfig(CLI::App& app, Options& options) {
  app.add_option("--config", options.config, HelpText::kConfig)->type_name("FILE");
}

void addCandidate(CLI::App& sub, Options& options) {
  sub.add_flag("--candidate", options.candidate, HelpText::kCandidate);
}

void addFile(CLI::App& sub, Options& options) {
  sub.add_option_function<std::string>(
         "FILE", [&options](std::string const& file) { options.files = {file}; }, HelpText::kFile)
      ->required()
      ->type_name("");
}

void addListCommands(CLI::App& app, Options& options, Given& given) {
  addListCommand(app, options, given, Command::check, "check", HelpText::kCheck,
                 HelpText::kCheckEnd, HelpText::kJson)
      .add_option("FILE", options.files, HelpText::kFiles)
      ->required()
      ->type_name("");
  CLI::App& show = addListCommand(app, options, given, Command::show, "show", HelpText::kShow,
                                  HelpText::kShowEnd, HelpText::kShowJson);
  show.add_option("FILE|NAME", given.files, HelpText::kFileOrNames)->type_name("");
  addConfig(show, options);
  addCandidate(show, options);
  CLI::App& match = addListCommand(app, options, given, Command::match, "match", HelpText::kMatch,
                                   HelpText::kMatchEnd, HelpText::kJson);
  addFile(match, options);
  match.add_option("PREFIX", options.prefixes, HelpText::kPrefixes)->type_name("");
  addFile(addListCommand(app, options, given, Command::compile, "compile", HelpText::kCompile,
                         HelpText::kCompileEnd, HelpText::kShowJson),
          options);
}

/// The commands on a configuration, but for show.
void addConfigCommands(CLI::App& app, Options& options) {
  auto const add = [&](Command command, char const* name, char const* description, char const* end,
                       char const* json) -> CLI::App& {
    CLI::App& sub = addCommand(app, options, command, name, description, end, json);
    addConfig(sub, options);
    return sub;
  };
  auto const addWords = [&](CLI::App& sub, char const* name, char const* description) {
    return sub.add_option(name, options.words, description)->type_name("");
  };
  CLI::App& get = add(Command::get, "get", HelpText::kGet, HelpText::kGetEnd, HelpText::kGetJson);
  addCandidate(get, options);
  addWords(get, "PATH", HelpText::kGetPaths);
  addWords(add(Command::set, "set", HelpText::kSet, HelpText::kSetEnd, nullptr), "EDIT",
           HelpText::kEdits)
      ->required();
  addWords(add(Command::unset, "unset", HelpText::kUnset, HelpText::kUnsetEnd, nullptr), "PATH",
           HelpText::kUnsetPaths)
      ->required();
  add(Command::diff, "diff", HelpText::kDiff, HelpText::kDiffEnd, HelpText::kJson);
  add(Command::commit, "commit", HelpText::kCommit, HelpText::kCommitEnd, HelpText::kShowJson);
  add(Command::abort, "abort", HelpText::kAbort, HelpText::kAbortEnd, HelpText::kShowJson);
}

/// Why options that are fine one by one make no sense together; empty when they do.
std::string problemOf(Options& options, Given& given, std::string const& command) {
  bool const isShow = options.command == Command::show;
  bool const isOnLists = isShow || options.command == Command::check ||
                         options.command == Command::match || options.command == Command::compile;
  bool const hasConfig = !options.config.empty();
  if (options.config == kStandardInput) return "a configuration cannot be standard input";
  if (hasConfig && isOnLists && !isShow) return command + " works on list files, not on --config";
  if (!hasConfig && !isOnLists) return command + " works on a configuration: --config is required";
  if (isShow && hasConfig) {
    options.words = std::move(given.files);
    if (options.ipv6 || given.onDuplicate) {
      return "--ipv6 and --on-duplicate go with a list file, not with --config";
    }
  } else if (isShow) {
    if (options.candidate) return "--candidate goes with --config";
    if (given.files.empty()) return "FILE is required";
    if (given.files.size() > 1) return "one list file is shown at a time: " + given.files[1];
    options.files = std::move(given.files);
  }
  bool const isInputFile = options.command == Command::match && options.prefixes.empty() &&
                           options.files.front() == kStandardInput;
  return isInputFile ? "standard input cannot be both the list and the prefixes" : "";
}

/// The help of the command that was named, or else of the program.
std::string helpOf(CLI::App& app) {
  auto const named = app.get_subcommands();
  return named.empty() ? app.help() : named.front()->help(app.get_name());
}

/// What is wrong with a command line in which no command was found.
std::string withoutCommand(int argc, char const* const* argv) {
  int at = 1;
  for (; at < argc; ++at) {
    std::string_view const word = argv[at];
    if (word == "--config") {
      ++at;  // and its file
    } else if (!word.starts_with("--config=")) {
      break;
    }
  }
  std::string const first = at < argc ? argv[at] : "";
  if (first.empty()) return std::string("a command is missing: ") + kCommands;
  if (first.starts_with('-')) {
    return "there is no option " + Orb::messageText(first) + " before the command: " + kCommands;
  }
  return "there is no command " + Orb::messageText(first) + ", only " + kCommands;
}

void wrongUsage(std::string_view message, Console& console) {
  console.failure({}, message);
  console.paint(std::string(HelpText::kTryHelp).append("\n"));
}

}  // namespace

std::optional<Options> parseCommandLine(int argc, char const* const* argv, Console& console) {
  Options options;
  CLI::App app(HelpText::kProgram, "route-policy");
  app.footer(HelpText::kProgramEnd);
  app.set_help_flag("-h,--help", HelpText::kHelp);
  app.set_version_flag("-V,--version", "route-policy " ROUTEPOLICY_VERSION, HelpText::kVersion);
  app.require_subcommand(1);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("REQUIRED", "");
  addConfig(app, options);
  Given given;
  addListCommands(app, options, given);
  addConfigCommands(app, options);
  try {
    app.parse(argc, argv);
  } catch (CLI::CallForHelp const&) {
    console.text() += helpOf(app);
    return std::nullopt;
  } catch (CLI::CallForVersion const& version) {
    console.text().append(version.what()).append("\n");
    return std::nullopt;
  } catch (CLI::ParseError const& error) {
    bool const hasCommand = !app.get_subcommands().empty();
    wrongUsage(hasCommand ? error.what() : withoutCommand(argc, argv), console);
    return std::nullopt;
  }
  std::string const problem = problemOf(options, given, app.get_subcommands().front()->get_name());
  if (!problem.empty()) {
    wrongUsage(problem, console);
    return std::nullopt;
  }
  return options;
}

}  // namespace Tool
