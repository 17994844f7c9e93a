#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>

#include "platform/orb/base/Text.h"
#include "tool/HelpText.h"

namespace Tool {

namespace {

using Command = Options::Command;

/// A word that an option takes, and what it stands for.
template <class Value>
struct Word {
  char const* word;
  Value value;
};
constexpr Word<Acl::UrlImportDuplicateOperation> kDuplicates[] = {
    {"error", Acl::duplicateError},
    {"ignore", Acl::duplicateIgnore},
    {"override", Acl::duplicateOverride}};
constexpr Word<Acl::RegexMode> kRegexModes[] = {{"dfa", Acl::regexModeDfa},
                                                {"posix", Acl::regexModePosix}};
constexpr Word<Routing::AsnNotation> kNotations[] = {{"asplain", Routing::asnNotationAsplain},
                                                     {"asdot", Routing::asnNotationAsdot}};
constexpr Word<Acl::BGPOrigin> kOrigins[] = {
    {"igp", Acl::bgpIGP}, {"egp", Acl::bgpEGP}, {"incomplete", Acl::bgpIncomplete}};

template <class Value, std::size_t count>
Value valueOf(char const* option, Word<Value> const (&words)[count], std::string const& word) {
  std::string known;
  for (std::size_t i = 0; i < count; ++i) {
    if (word == words[i].word) return words[i].value;
    known.append(i == 0 ? "" : i + 1 < count ? ", " : " or ").append(words[i].word);
  }
  throw CLI::ValidationError(option, word + " is not " + known);
}

/// An option that takes one of some words; `isGiven` is set with it.
template <class Value, std::size_t count>
void addWordOption(CLI::App& sub, char const* option, Word<Value> const (&words)[count],
                   Value& value, bool& isGiven, char const* help) {
  sub.add_option_function<std::string>(
         option,
         [option, &words, &value, &isGiven](std::string const& word) {
           value = valueOf(option, words, word);
           isGiven = true;
         },
         help)
      ->type_name("WHAT");
}

constexpr char kCommands[] = "check, show, match, compile, get, set, unset, diff, commit or abort";

/// What of a command line is checked once all of it is read.
struct Given {
  bool onDuplicate = false;
  bool ofAsPaths = false;          // an option that is for AS-path lists alone
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
  sub.add_flag("-a,--as-path", options.asPath, HelpText::kAsPath);
  addWordOption(sub, "--regex-mode", kRegexModes, options.regexMode, given.ofAsPaths,
                HelpText::kRegexMode);
  addWordOption(sub, "--notation", kNotations, options.notation, given.ofAsPaths,
                HelpText::kNotation);
  addWordOption(sub, "--on-duplicate", kDuplicates, options.onDuplicate, given.onDuplicate,
                HelpText::kOnDuplicate);
  sub.add_flag("--strict", options.strict, HelpText::kStrict);
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
  match.add_option("PREFIX|PATH", options.asked, HelpText::kAsked)->type_name("");
  addWordOption(match, "--origin", kOrigins, options.origin, given.ofAsPaths, HelpText::kOrigin);
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
  if (options.ipv6 && options.asPath) return "a list is an IPv6 one or an AS-path list, not both";
  if (isShow && hasConfig) {
    options.words = std::move(given.files);
    if (options.ipv6 || options.asPath || options.strict || given.onDuplicate || given.ofAsPaths) {
      return "options of list files do not go with --config";
    }
  } else if (isShow) {
    if (options.candidate) return "--candidate goes with --config";
    if (given.files.empty()) return "FILE is required";
    if (given.files.size() > 1) return "one list file is shown at a time: " + given.files[1];
    options.files = std::move(given.files);
  }
  if (given.ofAsPaths && !options.asPath) {
    return "--regex-mode, --notation and --origin are for AS-path lists: --as-path is missing";
  }
  bool const isInputFile = options.command == Command::match && options.asked.empty() &&
                           options.files.front() == kStandardInput;
  return isInputFile ? std::string("standard input cannot be both the list and the ") +
                           (options.asPath ? "paths" : "prefixes")
                     : "";
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
