#include "tool/AsPathKind.h"

#include <nlohmann/json.hpp>

#include "list_import/CliHelper.h"
#include "policy_eval/MatchAsPathList.h"

namespace Tool {

namespace RouteMap = Routing::RouteMap;
using Json = nlohmann::ordered_json;
using Engines = PatternFaults::Engines;

namespace {

/// The code that routers show behind a path, and its origin.
struct OriginCode {
  char const* code;
  Acl::BGPOrigin origin;
};
constexpr OriginCode kOriginCodes[] = {
    {"i", Acl::bgpIGP}, {"e", Acl::bgpEGP}, {"?", Acl::bgpIncomplete}};

ListFault faultOf(Acl::AsPathSourceResult const& result) {
  using Fault = Acl::AsPathSourceFault;
  if (result.fault == Fault::empty) return {"the list is empty: no line has an entry"};
  std::string message = result.message.str();
  constexpr std::string_view kError = "Error: ";
  if (message.starts_with(kError)) message.erase(0, kError.size());
  ListFault fault{message, result.line, result.isFileError()};
  if (result.fault == Fault::badRegex) fault.pattern = {result.userRegex, Engines::both};
  return fault;
}

void appendEntry(std::string& text, Acl::AsPathEntry const& entry) {
  text.append("seq ").append(std::to_string(entry.seqno()));
  text += entry.permit() == Acl::permitMatch ? " permit " : " deny ";
  text.append(entry.userRegex().view()).append(" ");
  text += Acl::AsPathCliHelper::getBgpOriginCliStr(entry.origin()).view();
}

}  // namespace

Orb::Ptr<Acl::AsPathList> AsPathKind::newList(Acl::AclListConfig& config,
                                              Orb::Name const& name) const {
  config.regexModeIs(regexMode_);
  return config.pathListIs(name);
}

ListFindings AsPathKind::import(std::FILE& source, Acl::UrlImportDuplicateOperation onDuplicate,
                                List& list) const {
  Acl::AsPathEntries entries;
  Acl::AsPathEntryParser parser(entries, onDuplicate, isPosixMode());
  auto const result = Acl::readAsPathSource(source, parser);
  ListFindings findings;
  for (Acl::AsPathSourceWarning const& warning : result.warnings) {
    ListFault fault = refusal(warning.userRegex);
    fault.line = warning.line;
    findings.warn(std::move(fault));
  }
  if (result.isError()) {
    findings.fault = faultOf(result);
    return findings;
  }
  list.pathEntryIsEach(entries);
  for (Entry const& entry : list.pathEntry()) findings.withoutEffect += isValid(entry) ? 0 : 1;
  return findings;
}

ListFindings AsPathKind::findings(List const& list) const {
  ListFindings findings;
  for (Entry const& entry : list.pathEntry()) {
    ListFault fault = refusal(entry.userRegex());
    if (fault.pattern.empty()) {
      if (isValid(entry)) continue;
      fault.message = std::string(isPosixMode() ? "validPosixRegex" : "validDfaRegex") +
                      " is not set, so the entry matches nothing, though the " + engine() +
                      " accepts its pattern";
    }
    fault.seqno = entry.seqno();
    findings.warn(std::move(fault));
    ++findings.withoutEffect;
  }
  return findings;
}

ListFault AsPathKind::refusal(Orb::String const& userRegex) const {
  return {.message = "the " + engine() + " does not accept " + userRegex.str() +
                     ", so the entry matches nothing",
          .pattern = {userRegex, isPosixMode() ? Engines::posix : Engines::dfa}};
}

std::string AsPathKind::engine() const { return isPosixMode() ? "POSIX engine" : "DFA engine"; }

std::string AsPathKind::textOf(List const& list) const {
  return Acl::asPathListText(list, isPosixMode());
}

void AsPathKind::describe(List const& list, Json& json) const {
  json["name"] = list.name().str();
  json["family"] = "as-path";
  json["regexMode"] = isPosixMode() ? "posix" : "dfa";
}

Json AsPathKind::jsonOf(Entry const& entry) {
  return {{"seqno", entry.seqno()},
          {"action", entry.permit() == Acl::permitMatch ? "permit" : "deny"},
          {"pattern", entry.userRegex().str()},
          {"origin", Acl::AsPathCliHelper::getBgpOriginCliStr(entry.origin()).str()},
          {"dfa", entry.validDfaRegex()},
          {"posix", entry.validPosixRegex()}};
}

auto AsPathKind::machineOn(Orb::Ptr<Acl::AclListConfig const> const& config) const
    -> Orb::Ptr<Machine> {
  auto asnConfig = Orb::make<Routing::AsnConfig>();
  asnConfig->asnNotationIs(notation_);
  return Orb::make<Machine>(config, std::move(asnConfig), RouteMap::allAsPathListSymbolFactory(),
                            RouteMap::asPathListSymbolDedupTableFactory());
}

void AsPathKind::describe(Status const& status, std::string& text) {
  text += "automaton        ";
  auto const* const pathSet = status->pathSet();
  text += pathSet ? std::to_string(pathSet->bytes()) + " bytes\n" : "none\n";
}

void AsPathKind::describe(Status const& status, Json& json) {
  auto const* const pathSet = status->pathSet();
  json["automatonBytes"] = pathSet ? Json(pathSet->bytes()) : Json();
}

void AsPathKind::Matcher::read(std::string_view text) {
  origin_ = usualOrigin_;
  code_ = {};
  std::size_t const last = text.find_last_of(" \t") + 1;
  for (auto const& known : kOriginCodes) {
    if (text.substr(last) != known.code) continue;
    origin_ = known.origin;
    code_ = known.code;
    text = text.substr(0, last);
    break;
  }
  Routing::AsPath::readPath(text, path_);
}

void AsPathKind::Matcher::appendAsked(std::string& text) {
  bool const isAsdot = notation_ == Routing::asnNotationAsdot;
  Routing::AsPath::pathText(
      text_, path_,
      isAsdot ? Routing::AsPath::Notation::asdot : Routing::AsPath::Notation::asplain);
  text += text_;
  if (code_.empty()) return;
  if (!path_.empty()) text += ' ';
  text += code_;
}

MatchAnswer AsPathKind::Matcher::answer() {
  auto const match = Routing::PolicyEval::matchAsPathList(status_, path_, origin_, buffer_);
  if (!match.entry) return {};
  entry_.clear();
  appendEntry(entry_, *match.entry);
  return {match.isPermit, match.seqno, entry_};
}

}  // namespace Tool
