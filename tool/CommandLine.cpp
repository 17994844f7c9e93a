#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>

#include "platform/orb/base/Text.h"
#include "tool/Completion.h"
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
constexpr Word<ListKind> kKinds[] = {{"prefix-list", ListKind::prefix},
                                     {"ipv6-prefix-list", ListKind::ipv6Prefix},
                                     {"as-path-list", ListKind::asPath},
                                     {"community-list", ListKind::community}};

template <class Value, std::size_t count>
std::optional<Value> valueOf(Word<Value> const (&words)[count], std::string const& word) {
  for (auto const& known : words) {
    if (word == known.word) return known.value;
  }
  return std::nullopt;
}

/// "A, B or C".
template <class Value, std::size_t count>
std::string textOf(Word<Value> const (&words)[count]) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text.append(i == 0 ? "" : i + 1 < count ? ", " : " or ").append(words[i].word);
  }
  return text;
}

template <class Value, std::size_t count>
std::vector<std::string> allOf(Word<Value> const (&words)[count]) {
  std::vector<std::string> all;
  for (auto const& known : words) all.emplace_back(known.word);
  return all;
}

constexpr char kCommands[] = "check, show, match, compile, get, set, unset, diff, commit or abort";

/// What of a command line is checked once all of it is read.
struct Given {
  bool ipv6 = false;
  bool asPath = false;
  bool onDuplicate = false;
  bool engine = false;  // --regex-mode or --notation
  bool origin = false;
  std::vector<std::string> words;  // of the commands on lists: files, or a kind and names
  std::vector<std::string> more;   // of match: behind the first
  Choices choices{{"KIND", allOf(kKinds)}};
};

/// An option that takes one of some words; `isGiven` is set with it.
template <class Value, std::size_t count>
void addWordOption(CLI::App& sub, Given& given, char const* option,
                   Word<Value> const (&words)[count], Value& value, bool Given::*isGiven,
                   char const* help) {
  sub.add_option_function<std::string>(
         option,
         [&given, option, &words, &value, isGiven](std::string const& word) {
           auto const known = valueOf(words, word);
           if (!known) throw CLI::ValidationError(option, word + " is not " + textOf(words));
           value = *known;
           given.*isGiven = true;
         },
         help)
      ->type_name("WHAT");
  given.choices[option] = allOf(words);
}

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

void addConfig(CLI::App& app, Options& options) {
  auto const take = [&options](std::string const& file) {
    if (!options.config.empty()) {  // before the command, and behind it
      throw CLI::ValidationError("--config", "is given twice: " + options.config + " and " + file);
    }
    options.config = file;
  };
  app.add_option_function<std::string>("--config", take, HelpText::kConfig)->type_name("FILE");
}

void addCandidate(CLI::App& sub, Options& options) {
  sub.add_flag("--candidate", options.candidate, HelpText::kCandidate);
}

/// A command on lists: list files, or lists of a configuration.
CLI::App& addListCommand(CLI::App& app, Options& options, Given& given, Command command,
                         char const* name, char const* description, char const* end,
                         char const* json) {
  CLI::App& sub = addCommand(app, options, command, name, description, end, json);
  addConfig(sub, options);
  addCandidate(sub, options);
  sub.add_flag("-6,--ipv6", given.ipv6, HelpText::kIpv6);
  sub.add_flag("-a,--as-path", given.asPath, HelpText::kAsPath);
  addWordOption(sub, given, "--regex-mode", kRegexModes, options.regexMode, &Given::engine,
                HelpText::kRegexMode);
  addWordOption(sub, given, "--notation", kNotations, options.notation, &Given::engine,
                HelpText::kNotation);
  addWordOption(sub, given, "--on-duplicate", kDuplicates, options.onDuplicate, &Given::onDuplicate,
                HelpText::kOnDuplicate);
  sub.add_flag("--strict", options.strict, HelpText::kStrict);
  return sub;
}

void addListCommands(CLI::App& app, Options& options, Given& given) {
  auto const add = [&](Command command, char const* name, char const* description, char const* end,
                       char const* json) -> CLI::App& {
    return addListCommand(app, options, given, command, name, description, end, json);
  };
  auto const addWords = [&](CLI::App& sub, char const* name, char const* description) {
    sub.add_option(name, given.words, description)->type_name("");
  };
  addWords(add(Command::check, "check", HelpText::kCheck, HelpText::kCheckEnd, HelpText::kJson),
           "FILE|KIND", HelpText::kFilesOrKind);
  addWords(add(Command::show, "show", HelpText::kShow, HelpText::kShowEnd, HelpText::kListJson),
           "FILE|KIND|NAME", HelpText::kFileOrNames);
  CLI::App& match =
      add(Command::match, "match", HelpText::kMatch, HelpText::kMatchEnd, HelpText::kJson);
  match
      .add_option_function<std::string>(
          "FILE|KIND", [&given](std::string const& word) { given.words = {word}; }, HelpText::kFile)
      ->type_name("");
  match.add_option("NAME|PREFIX|PATH|COMMUNITIES", given.more, HelpText::kAsked)->type_name("");
  match.add_flag("--exact", options.exact, HelpText::kExact);
  addWordOption(match, given, "--origin", kOrigins, options.origin, &Given::origin,
                HelpText::kOrigin);
  addWords(add(Command::compile, "compile", HelpText::kCompile, HelpText::kCompileEnd,
               HelpText::kListJson),
           "FILE|KIND", HelpText::kFileOrKind);
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
  add(Command::commit, "commit", HelpText::kCommit, HelpText::kCommitEnd, HelpText::kOneJson);
  add(Command::abort, "abort", HelpText::kAbort, HelpText::kAbortEnd, HelpText::kOneJson);
}

// Why options that are fine one by one make no sense together; empty when they do.

constexpr char kExactElsewhere[] = "--exact is for community lists of a configuration";

/// Of a command on list files.
std::string problemOfFiles(Options& options, Given& given, std::string const& command) {
  bool const isMatch = options.command == Command::match;
  if (options.candidate) return "--candidate goes with --config";
  if (given.words.empty()) return "FILE is required";
  if (valueOf(kKinds, given.words.front())) {
    return given.words.front() + " is a kind of lists of a configuration: --config is required";
  }
  if (options.exact) return kExactElsewhere;
  if (given.ipv6 && given.asPath) return "a list is an IPv6 one or an AS-path list, not both";
  if ((given.engine || given.origin) && !given.asPath) {
    return "--regex-mode, --notation and --origin are for AS-path lists: --as-path is missing";
  }
  if (options.command != Command::check && given.words.size() > 1) {
    return command + " takes one list file: " + given.words[1];
  }
  options.kind = given.asPath ? ListKind::asPath
                 : given.ipv6 ? ListKind::ipv6Prefix
                              : ListKind::prefix;
  options.files = std::move(given.words);
  options.asked = std::move(given.more);
  if (isMatch && options.asked.empty() && options.files.front() == kStandardInput) {
    return std::string("standard input cannot be both the list and the ") +
           (given.asPath ? "paths" : "prefixes");
  }
  return "";
}

/// Of a command on lists of a configuration: a first word that is a kind is taken for one.
std::string problemOfConfigured(Options& options, Given& given) {
  bool const isMatch = options.command == Command::match;
  if (given.ipv6 || given.asPath || given.engine || given.onDuplicate) {
    return "options of list files do not go with --config";
  }
  auto& words = given.words;
  words.insert(words.end(), given.more.begin(), given.more.end());
  if (!words.empty()) options.kind = valueOf(kKinds, words.front());
  if (!options.kind && options.command == Command::show) {
    if (options.strict) return "--strict goes with a kind of lists: " + textOf(kKinds);
    options.words = std::move(words);
    return "";
  }
  if (words.empty() && options.command == Command::check) return "";
  if (words.empty()) return "KIND is required: " + textOf(kKinds);
  if (!options.kind) return words.front() + " is no kind of lists: " + textOf(kKinds);
  if (given.origin && options.kind != ListKind::asPath) return "--origin is for AS-path lists";
  if (options.exact && options.kind != ListKind::community) return kExactElsewhere;
  if (isMatch && words.size() == 1) return "NAME is required";
  auto const names = words.begin() + 1;
  auto const asked = isMatch ? names + 1 : words.end();
  options.names.assign(names, asked);
  options.asked.assign(asked, words.end());
  return "";
}

std::string problemOf(Options& options, Given& given, std::string const& command) {
  bool const isOnLists = options.command == Command::check || options.command == Command::show ||
                         options.command == Command::match || options.command == Command::compile;
  if (options.config == kStandardInput) return "a configuration cannot be standard input";
  if (options.config.empty()) {
    return isOnLists ? problemOfFiles(options, given, command)
                     : command + " works on a configuration: --config is required";
  }
  return isOnLists ? problemOfConfigured(options, given) : "";
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
      if (++at >= argc) return "--config: FILE is required";
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
  if (argc > 1 && argv[1] == kCompleteOption) {
    console.text() += completionsOf(app, given.choices, {argv + 2, argv + argc});
    return std::nullopt;
  }
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
