#include <cstring>
#include <nlohmann/json.hpp>

#include "platform/orb/base/Error.h"
#include "tool/Commands.h"
#include "tool/Compiler.h"
#include "tool/LineReader.h"
#include "tool/ListsAsked.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kBlanks[] = " \t\r\v\f";

std::string_view trimmed(std::string_view text) {
  std::size_t const begin = text.find_first_not_of(kBlanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

/// Answers what is asked of a list: prefixes, or paths, one at a time.
template <class Kind>
class Answers {
 public:
  Answers(Kind const& kind, typename Kind::List const& list, bool isJson, Console& console)
      : config_(configOf(kind, list)),
        matcher_(kind, *Kind::list(*config_, list.name()), compiled(kind, list.name())),
        isJson_(isJson),
        console_(console) {}

  /// `place` and `number` say where the text stands, for the message when it cannot be read.
  void answer(std::string_view text, std::string const& place, std::size_t number) {
    try {
      matcher_.read(text);
      if (isJson_) {
        answerJson();
      } else {
        answerText();
      }
      console_.lineDone();
    } catch (Orb::ParseException const& error) {
      console_.finding(place + std::to_string(number), error.what());
      if (isJson_) console_.jsonLine({{Kind::Matcher::kAsked, text}, {"error", error.what()}});
    }
  }

 private:
  auto compiled(Kind const& kind, Orb::Name const& name) {
    Compiler<Kind> compiler(kind, config_, name);
    while (!compiler.isDone()) compiler.slice();
    return compiler.status();
  }

  void answerText() {
    std::string& out = console_.text();
    matcher_.appendAsked(out);
    MatchAnswer const answer = matcher_.answer();
    out.append("\t").append(answer.verdict);
    if (answer.isMatch) out.append("\t").append(answer.entry);
    out += '\n';
  }

  void answerJson() {
    std::string asked;
    matcher_.appendAsked(asked);
    MatchAnswer const answer = matcher_.answer();
    Json json = {{Kind::Matcher::kAsked, asked}, {"verdict", answer.verdict}};
    if (answer.isMatch) {
      json["seqno"] = answer.seqno;
      json["entry"] = answer.entry;
    }
    console_.jsonLine(json);
  }

  Orb::Ptr<Acl::AclListConfig const> const config_;
  typename Kind::Matcher matcher_;
  bool const isJson_;
  Console& console_;
};

template <class Kind>
void answerInput(Answers<Kind>& answers, Console& console) {
  LineReader input(STDIN_FILENO);
  std::string_view line;
  // The other side may wait for an answer before it asks on: nothing is held back while we wait.
  while (input.isReady() || (console.flush(), true)) {
    if (!input.next(line)) break;
    std::string_view const text = trimmed(line);
    if (!text.empty() || Kind::Matcher::kIsBlankAsked) {
      answers.answer(text, "<stdin>:", input.number());
    }
  }
  if (int const error = input.error()) {
    console.failure("<stdin>", std::string("cannot be read: ") + std::strerror(error));
  }
}

template <class Kind>
void matchList(Kind const& kind, typename Kind::List const& list, Options const& options,
               Console& console) {
  Answers<Kind> answers(kind, list, options.json, console);
  if (options.asked.empty()) return answerInput(answers, console);
  std::size_t number = 0;
  std::string const place = std::string(Kind::Matcher::kAsked).append(" ");
  for (std::string const& text : options.asked) answers.answer(text, place, ++number);
}

}  // namespace

void match(Options const& options, Console& console) {
  eachList(options, console, [&]<class Kind>(Kind const& kind, ReadList<Kind> const& read) {
    if (read.isOfUse()) matchList(kind, *read.list, options, console);
  });
}

}  // namespace Tool
