#include "tool/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace Tool {

namespace {

constexpr char kFile[] = "FILE\n";

void addCandidate(std::string& lines, std::string const& word, std::string description) {
  std::replace(description.begin(), description.end(), '\n', ' ');
  if (!description.empty()) description.insert(0, "\t");
  lines.append(word).append(description).append("\n");
}

bool isOption(std::string const& word) { return word.size() > 1 && word.starts_with('-'); }

bool takesValue(CLI::Option const& option) { return option.get_items_expected_max() > 0; }

CLI::App const* commandNamed(CLI::App const& app, std::string const& name) {
  auto const found =
      app.get_subcommands([&name](CLI::App const* command) { return command->get_name() == name; });
  return found.empty() ? nullptr : found.front();
}

/// What has been typed before the word that is completed.
struct Before {
  CLI::App const* command;              ///< the program itself until a command is named
  CLI::Option const* option = nullptr;  ///< the one whose value comes next
  std::size_t positionals = 0;          ///< behind the command
  bool hasConfig = false;
  bool endsOptions = false;  ///< a "--"
};

Before read(CLI::App const& app, std::vector<std::string> const& words) {
  Before before{&app};
  for (auto const& word : words) {
    if (before.option) {
      before.option = nullptr;
    } else if (word == "--") {
      before.endsOptions = true;
    } else if (isOption(word) && !before.endsOptions) {
      auto const equals = word.find('=');
      auto const name = word.substr(0, equals);
      auto const* const option = before.command->get_option_no_throw(name);
      before.hasConfig |= name == "--config";
      if (option && takesValue(*option) && equals == word.npos) before.option = option;
    } else if (before.command != &app) {
      ++before.positionals;
    } else if (auto const* const command = commandNamed(app, word)) {
      before.command = command;
    }
  }
  return before;
}

/// The values of an option; each behind `start`.
std::string valuesOf(CLI::Option const& option, Choices const& choices, std::string const& start) {
  auto const found = choices.find(option.get_name());
  if (found == choices.end()) return option.get_type_name() == "FILE" ? kFile : "";
  std::string lines;
  for (auto const& word : found->second) addCandidate(lines, start + word, "");
  return lines;
}

std::string optionsOf(CLI::App const& command) {
  std::string lines;
  for (auto const* const option : command.get_options()) {
    for (auto const& name : option->get_lnames()) {
      addCandidate(lines, "--" + name, option->get_description());
    }
    for (auto const& name : option->get_snames()) {
      addCandidate(lines, "-" + name, option->get_description());
    }
  }
  return lines;
}

std::string commandsOf(CLI::App const& app) {
  std::string lines;
  for (auto const* const command : app.get_subcommands([](CLI::App const*) { return true; })) {
    addCandidate(lines, command->get_name(), command->get_description());
  }
  return lines;
}

/// List files, or a kind of lists of a configuration. Names of lists, and what is to be matched or
/// edited, are not completed.
std::string positionalsOf(Before const& before, Choices const& choices) {
  for (auto const* const option : before.command->get_options()) {
    auto const name = option->get_name(true);
    if (!name.starts_with("FILE|KIND")) continue;
    if (!before.hasConfig) {
      return before.positionals == 0 || before.command->get_name() == "check" ? kFile : "";
    }
    std::string lines;
    if (before.positionals == 0) {
      for (auto const& kind : choices.at("KIND")) addCandidate(lines, kind, "");
    }
    return lines;
  }
  return "";
}

}  // namespace

std::string completionsOf(CLI::App const& app, Choices const& choices,
                          std::vector<std::string> words) {
  if (words.empty()) words.emplace_back();
  std::string const last = std::move(words.back());
  words.pop_back();
  auto const before = read(app, words);
  if (before.option) return valuesOf(*before.option, choices, "");
  if (last.starts_with('-') && !before.endsOptions) {
    auto const equals = last.find('=');
    if (equals == last.npos) return optionsOf(*before.command);
    auto const* const option = before.command->get_option_no_throw(last.substr(0, equals));
    return option ? valuesOf(*option, choices, last.substr(0, equals + 1)) : "";
  }
  return before.command == &app ? commandsOf(app) : positionalsOf(before, choices);
}

}  // namespace Tool
