#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>

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

/// A command with the options that all have; its positional arguments are left to the caller.
CLI::App& addCommand(CLI::App& app, Options& options, Command command, char const* name,
                     char const* description, char const* end, char const* json) {
  CLI::App& sub = *app.add_subcommand(name, description);
  sub.group("Commands");
  sub.footer(end);
  sub.set_help_flag("-h,--help", HelpText::kHelp);
  sub.add_flag("-6,--ipv6", options.ipv6, HelpText::kIpv6);
  sub.add_option_function<std::string>(
         "--on-duplicate",
         [&options](std::string const& word) { options.onDuplicate = duplicatesOf(word); },
         HelpText::kOnDuplicate)
      ->type_name("WHAT");
  sub.add_flag("--json", options.json, json);
  sub.callback([&options, command] { options.command = command; });
  return sub;
}

void addFile(CLI::App& sub, Options& options) {
  sub.add_option_function<std::string>(
         "FILE", [&options](std::string const& file) { options.files = {file}; }, HelpText::kFile)
      ->required()
      ->type_name("");
}

void addCommands(CLI::App& app, Options& options) {
  addCommand(app, options, Command::check, "check", HelpText::kCheck, HelpText::kCheckEnd,
             HelpText::kJson)
      .add_option("FILE", options.files, HelpText::kFiles)
      ->required()
      ->type_name("");
  addFile(addCommand(app, options, Command::show, "show", HelpText::kShow, HelpText::kShowEnd,
                     HelpText::kShowJson),
          options);
  CLI::App& match = addCommand(app, options, Command::match, "match", HelpText::kMatch,
                               HelpText::kMatchEnd, HelpText::kJson);
  addFile(match, options);
  match.add_option("PREFIX", options.prefixes, HelpText::kPrefixes)->type_name("");
  addFile(addCommand(app, options, Command::compile, "compile", HelpText::kCompile,
                     HelpText::kCompileEnd, HelpText::kShowJson),
          options);
}

/// The help of the command that was named, or else of the program.
std::string helpOf(CLI::App& app) {
  auto const named = app.get_subcommands();
  return named.empty() ? app.help() : named.front()->help(app.get_name());
}

/// What is wrong with a command line in which no command was found.
std::string withoutCommand(int argc, char const* const* argv) {
  std::string const first = argc > 1 ? argv[1] : "";
  if (first.empty()) return "a command is missing: check, show, match or compile";
  std::string message = "there is no ";
  message.append(first.starts_with('-') ? "option " : "command ").append(first);
  return message.append("; the command, check, show, match or compile, comes first");
}

void wrongUsage(std::string message, Console& console) {
  console.failure("", message.append("\n").append(HelpText::kTryHelp));
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
  addCommands(app, options);
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
  bool const isInputFile = options.command == Command::match && options.prefixes.empty() &&
                           options.files.front() == kStandardInput;
  if (isInputFile) {
    wrongUsage("standard input cannot be both the list and the prefixes", console);
    return std::nullopt;
  }
  return options;
}

}  // namespace Tool
