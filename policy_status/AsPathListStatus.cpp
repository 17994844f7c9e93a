#include "policy_status/AsPathListStatus.h"

#include "platform/regex/RegexHelper.h"
#include "policy_status/detail/Trace.h"

namespace Routing::RouteMap {

ORB_ENTITY_TYPE(AsPathListStatus);

namespace {

struct FreeTranslation {
  void operator()(char* translated) const noexcept { asmatch_free_regex(translated); }
};
using AsPathTranslation = std::unique_ptr<char, FreeTranslation>;

/// Compiles an expression for one entry. Null when it is refused, which is traced: `function` is
/// what the trace says of the caller.
template <class Engine>
Orb::Ptr<Engine> compiledEngine(Orb::U32 seqno, Orb::String const& regexStr,
                                char* (*translate)(char const*), char const* function) {
  // A translator would stop at a NUL, and what stands in front of it may match more.
  bool const hasNul = regexStr.view().find('\0') != std::string_view::npos;
  AsPathTranslation const translated(hasNul ? nullptr : translate(regexStr.c_str()));
  if (!translated) {
    ORB_TRACE(traceStatusType(), 6, function << "Invalid regex '" << regexStr << "'");
    return nullptr;
  }
  auto engine = Orb::make<Engine>(seqno);
  int const result = engine->compile(translated.get());
  if (result == 0) return engine;
  // No pattern is so large: the bounds of a translation see to that.
  if (std::is_same_v<Engine, PosixRegex> && result == REG_ESPACE) throw std::bad_alloc();
  ORB_TRACE(traceStatusType(), 6, function << "Failed to compile '" << regexStr << "'");
  return nullptr;
}

}  // namespace

AsPathListStatus::AsPathListStatus(Orb::String name) : name_(std::move(name)) {}

Orb::U32 AsPathListStatus::posixRegexMapSize() const noexcept {
  return static_cast<Orb::U32>(posixRegexMap().size());
}

Orb::U32 AsPathListStatus::dfaRegexMapSize() const noexcept {
  return static_cast<Orb::U32>(dfaRegexMap().size());
}

void AsPathListStatus::posixRegexAdd(Orb::U32 seqno, Orb::String const& regexStr) {
  Orb::Ptr<PosixRegex const> const engine = compiledEngine<PosixRegex>(
      seqno, regexStr, asmatch_posix_regex_cli_to_gated,
      "void Routing::RouteMap::AsPathListStatus::posixRegexAdd(U32, Orb::String)");
  if (engine) posixRegexMapIs(engine);
}

void AsPathListStatus::dfaRegexAdd(Orb::U32 seqno, Orb::String const& regexStr) {
  Orb::Ptr<DfaRegex const> const engine = compiledEngine<DfaRegex>(
      seqno, regexStr, asmatch_dfa_regex_cli_to_gated,
      "void Routing::RouteMap::AsPathListStatus::dfaRegexAdd(U32, Orb::String)");
  if (engine) dfaRegexMapIs(engine);
}

Orb::String AsPathListStatus::toStrep() const {
  std::string out = "name=" + name_.str() + " configVersion=";
  Orb::writeText(out, configVersion());
  out += " regexMode=";
  writeText(out, regexMode());
  for (Acl::AsPathEntry const& entry : asPathEntry()) (out += ' ') += entry.toStrep().view();
  if (asPathEntry().empty()) out += ' ';
  return Orb::String(out);
}

void AsPathListStatus::clone(Keel::BaseNotifyingType const& other) {
  auto const& from = static_cast<AsPathListStatus const&>(other);
  if (&from == this) return;
  auto const with = [&](Attr attribute, auto object) {
    return Replacement(*this, attribute, this->*object, from.*object);
  };
  replace([&]() noexcept { pathSetIs(Orb::Ptr<AsPath::PathSet const>(from.pathSet())); },
          with(Attr::asPathEntry, &AsPathListStatus::asPathEntry_),
          with(Attr::configVersion, &AsPathListStatus::configVersion_),
          with(Attr::asnNotation, &AsPathListStatus::asnNotation_),
          with(Attr::regexMode, &AsPathListStatus::regexMode_),
          with(Attr::posixRegexMap, &AsPathListStatus::posixRegexMap_),
          with(Attr::dfaRegexMap, &AsPathListStatus::dfaRegexMap_));
}

std::optional<AsPathMatchEntry> AsPathListStatus::matchEntryOf(
    Acl::AsPathEntry const& entry) const {
  AsPathMatchEntry made{{nullptr},
                        &entry,
                        entry.seqno(),
                        originsOf(entry.origin()),
                        entry.permit() == Acl::permitMatch};
  if (regexMode() == Acl::regexModeDfa) {
    auto const* const engine = dfaRegexMap().find(entry.seqno());
    if (!engine || !(*engine)->compiled()) return std::nullopt;
    made.dfa = (*engine)->compiledRegex();
    if (!made.dfa) return std::nullopt;
  } else {
    auto const* const engine = posixRegexMap().find(entry.seqno());
    if (!engine || !(*engine)->compiled()) return std::nullopt;
    made.posix = engine->get();
  }
  return made;
}

void AsPathListStatus::prepare() {
  if (isPrepared_) return;
  matchEntries_.reserve(regexMode() == Acl::regexModeDfa ? dfaRegexMap().size()
                                                         : posixRegexMap().size());
  for (Acl::AsPathEntry const& entry : asPathEntry()) {
    if (auto const made = matchEntryOf(entry)) matchEntries_.push_back(*made);
  }
  isPrepared_ = true;
}

void AsPathListStatus::Notifiee::notifierIs(Orb::Ptr<AsPathListStatus const> const& notifier) {
  notifier ? notifier->notifieeIs(*this) : leave();
}

void AsPathListStatus::Notifiee::onAsPathEntry(Orb::U32 /*seqno*/) {}
void AsPathListStatus::Notifiee::onAsPathEntry() {}
void AsPathListStatus::Notifiee::onConfigVersion() {}
void AsPathListStatus::Notifiee::onAsnNotation() {}
void AsPathListStatus::Notifiee::onRegexMode() {}
void AsPathListStatus::Notifiee::onPosixRegexMap(Orb::U32 /*seqno*/) {}
void AsPathListStatus::Notifiee::onPosixRegexMap() {}
void AsPathListStatus::Notifiee::onDfaRegexMap(Orb::U32 /*seqno*/) {}
void AsPathListStatus::Notifiee::onDfaRegexMap() {}

void AsPathListStatus::Notifiee::onAttribute(Orb::Entity const& entity, Orb::AttrId attribute,
                                             void const* key) {
  auto const& status = static_cast<AsPathListStatus const&>(entity);
  switch (static_cast<AsPathListStatus::Attr>(attribute)) {
    case Attr::asPathEntry:
      return status.call(*this, &Notifiee::onAsPathEntry, &Notifiee::onAsPathEntry, key);
    case Attr::configVersion:
      return onConfigVersion();
    case Attr::asnNotation:
      return onAsnNotation();
    case Attr::regexMode:
      return onRegexMode();
    case Attr::posixRegexMap:
      return status.call(*this, &Notifiee::onPosixRegexMap, &Notifiee::onPosixRegexMap, key);
    case Attr::dfaRegexMap:
      return status.call(*this, &Notifiee::onDfaRegexMap, &Notifiee::onDfaRegexMap, key);
    case Attr::name:
      break;
  }
}

void AsPathListStatus::dropDerived() noexcept {
  matchEntries_.clear();
  isPrepared_ = false;
  pathSet_.drop();
}

Orb::Ptr<AsPathListStatus> asPathListStatusFactory(Orb::String name) {
  return Orb::make<AsPathListStatus>(std::move(name));
}

}  // namespace Routing::RouteMap
