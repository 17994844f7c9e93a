#include <cstring>
#include <nlohmann/json.hpp>

#include "policy_eval/MatchPrefixList.h"
#include "tool/Commands.h"
#include "tool/Compiler.h"
#include "tool/EntryText.h"
#include "tool/LineReader.h"
#include "tool/ListFile.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;
using Routing::PolicyEval::PrefixListMatch;

constexpr char kBlanks[] = " \t\r\v\f";

std::string_view trimmed(std::string_view text) {
  std::size_t const begin = text.find_first_not_of(kBlanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

/// Answers prefixes, one at a time.
template <class Family>
class Matcher {
 public:
  Matcher(ListFile<Family> const& file, bool isJson, Console& console)
      : entries_(*file.list), status_(compiled(file)), isJson_(isJson), console_(console) {}

  /// `place` and `number` say where the text stands, for the message when it is not a prefix.
  void answer(std::string_view text, char const* place, std::size_t number) {
    try {
      Prefix const prefix = read(text);
      auto const match = Routing::PolicyEval::matchPrefixList(status_, prefix);
      if (isJson_) {
        answerJson(prefix, match);
      } else {
        answerText(prefix, match);
      }
      console_.lineDone();
    } catch (Orb::ParseException const& error) {
      console_.finding(place + std::to_string(number), error.what());
      if (isJson_) console_.jsonLine({{"prefix", text}, {"error", error.what()}});
    }
  }

 private:
  using Prefix = typename Family::Prefix;
  using Address = decltype(Prefix().address());

  static Orb::Ptr<Routing::RouteMap::PrefixListStatus const> compiled(
      ListFile<Family> const& file) {
    Compiler<Family> compiler(file.config, file.list);
    while (!compiler.isDone()) compiler.slice();
    return compiler.status();
  }

  /// A prefix, or an address as the host route to it. Throws an Orb::ParseException.
  static Prefix read(std::string_view text) {
    if (text.find('/') != text.npos) return Prefix::parse(text);
    return Prefix(std::decay_t<Address>::parse(text), Prefix::kMaxLength);
  }

  static char const* verdictOf(PrefixListMatch const& match) {
    if (match.outcome != PrefixListMatch::Outcome::match) return "no match";
    return match.isPermit ? "permit" : "deny";
  }

  void answerText(Prefix const& prefix, PrefixListMatch const& match) {
    std::string& out = console_.text();
    prefix.appendTo(out);
    out.append("\t").append(verdictOf(match));
    if (match.entry) out.append("\t").append(entries_.of(match.seqno));
    out += '\n';
  }

  void answerJson(Prefix const& prefix, PrefixListMatch const& match) {
    Json json = {{"prefix", prefix.toString()}, {"verdict", verdictOf(match)}};
    if (match.entry) {
      json["seqno"] = match.seqno;
      json["entry"] = entries_.of(match.seqno);
    }
    console_.jsonLine(json);
  }

  EntryText const entries_;
  Orb::Ptr<Routing::RouteMap::PrefixListStatus const> const status_;
  bool const isJson_;
  Console& console_;
};

template <class Family>
void answerInput(Matcher<Family>& matcher, Console& console) {
  LineReader input(STDIN_FILENO);
  std::string_view line;
  // The other side may wait for an answer before it asks on: nothing is held back while we wait.
  while (input.isReady() || (console.flush(), true)) {
    if (!input.next(line)) break;
    std::string_view const text = trimmed(line);
    if (!text.empty()) matcher.answer(text, "<stdin>:", input.number());
  }
  if (int const error = input.error()) {
    console.failure("<stdin>", std::string("cannot be read: ") + std::strerror(error));
  }
}

template <class Family>
void matchFile(Options const& options, Console& console) {
  auto const file = readListFile<Family>(options.files.front(), options.onDuplicate, console);
  if (file.fault) return;
  Matcher<Family> matcher(file, options.json, console);
  if (options.prefixes.empty()) return answerInput(matcher, console);
  std::size_t number = 0;
  for (std::string const& text : options.prefixes) matcher.answer(text, "prefix ", ++number);
}

}  // namespace

void match(Options const& options, Console& console) {
  if (options.ipv6) {
    matchFile<Acl::Ipv6Family>(options, console);
  } else {
    matchFile<Acl::Ipv4Family>(options, console);
  }
}

}  // namespace Tool
