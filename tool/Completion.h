#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace Tool {

/// The words that may stand for the value of an option, by its name, or for a positional, by what
/// the help calls it.
using Choices = std::map<std::string, std::vector<std::string>>;

/// The option, not named in any help, by which the shells' completion scripts ask what may follow.
inline constexpr std::string_view kCompleteOption = "--complete";

/// What may stand in place of the last of `words`, which are those behind the program's name: a
/// line "WORD" or "WORD<tab>DESCRIPTION" each, whatever that last word is by now, or the one line
/// "FILE" when it is to be a file.
std::string completionsOf(CLI::App const& app, Choices const& choices,
                          std::vector<std::string> words);

}  // namespace Tool
