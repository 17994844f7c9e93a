#include "policy_status/AsPathListStatus.h"

#include <functional>

#include "platform/regex/RegexHelper.h"
#include "policy_status/detail/Trace.h"

namespace Routing::RouteMap {

ORB_ENTITY_TYPE(AsPathListStatus);

namespace {

using Keys = std::vector<Orb::U32>;

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

/// The keys under which two maps do not hold the same.
template <class Items>
Keys differingKeys(Items const& before, Items const& after) {
  Keys keys;
  for (auto const& item : before) {
    auto const* const other = after.find(Items::keyOf(item));
    if (!other || !(*other == item)) keys.push_back(Items::keyOf(item));
  }
  for (auto const& item : after) {
    if (!before.has(Items::keyOf(item))) keys.push_back(Items::keyOf(item));
  }
  return keys;
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

/// Everything is copied first, then put into place, and then notified.
void AsPathListStatus::clone(Keel::BaseNotifyingType const& other) {
  auto const& from = static_cast<AsPathListStatus const&>(other);
  if (&from == this) return;
  auto entries = from.asPathEntry_;
  auto posix = from.posixRegexMap_;
  auto dfa = from.dfaRegexMap_;
  bool const newVersion = configVersion() != from.configVersion();
  bool const newNotation = asnNotation() != from.asnNotation();
  bool const newMode = regexMode() != from.regexMode();
  bool const isSeen = isWatched();
  Keys const entryKeys = isSeen ? differingKeys(asPathEntry(), entries.all()) : Keys();
  Keys const posixKeys = isSeen ? differingKeys(posixRegexMap(), posix.all()) : Keys();
  Keys const dfaKeys = isSeen ? differingKeys(dfaRegexMap(), dfa.all()) : Keys();

  detail::dropMatchEntries(*this);
  swap(asPathEntry_, entries);
  swap(posixRegexMap_, posix);
  swap(dfaRegexMap_, dfa);
  configVersion_.assign(from.configVersion_);
  asnNotation_.assign(from.asnNotation_);
  regexMode_.assign(from.regexMode_);
  pathSetIs(Orb::Ptr<AsPath::PathSet const>(from.pathSet()));
  isModifiedIs(true);
  if (!isSeen) return;

  Orb::Ptr<AsPathListStatus const> const alive(this);
  Orb::FirstError error;
  error.guard([&] { notifyAll(Attr::asPathEntry, entryKeys); });
  for (auto const& [isNew, id] : {std::pair{newVersion, configVersionId_},
                                  {newNotation, asnNotationId_},
                                  {newMode, regexModeId_}}) {
    if (isNew) error.guard([&, changed = id] { notify(changed); });
  }
  error.guard([&] { notifyAll(Attr::posixRegexMap, posixKeys); });
  error.guard([&] { notifyAll(Attr::dfaRegexMap, dfaKeys); });
  error.rethrow();
}

/// Notifies of each key of a collection that was replaced. A Notifiee of ours knows the first of
/// them, of which it makes its one call, and passes over the others.
void AsPathListStatus::notifyAll(Attr attribute, Keys const& keys) const {
  Orb::FirstError error;
  auto const outer = std::exchange(replaced_, std::span<Orb::U32 const>(keys));
  for (Orb::U32 const& key : keys) {
    error.guard([&] { notify(static_cast<Orb::AttrId>(attribute), &key); });
  }
  replaced_ = outer;
  error.rethrow();
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
  leave();
  if (notifier) notifier->notifieeIs(*this);
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
  auto const replaced = static_cast<AsPathListStatus const&>(entity).replaced_;
  auto const* const seqno = static_cast<Orb::U32 const*>(key);
  bool const isReplaced = !std::less<>()(seqno, replaced.data()) &&
                          std::less<>()(seqno, replaced.data() + replaced.size());
  if (isReplaced && seqno != replaced.data()) return;
  auto const changed = [&](auto of, auto all) {
    if (isReplaced) {
      all();
    } else {
      of(*seqno);
    }
  };
  switch (static_cast<AsPathListStatus::Attr>(attribute)) {
    case Attr::asPathEntry:
      return changed([this](Orb::U32 k) { onAsPathEntry(k); }, [this] { onAsPathEntry(); });
    case Attr::configVersion:
      return onConfigVersion();
    case Attr::asnNotation:
      return onAsnNotation();
    case Attr::regexMode:
      return onRegexMode();
    case Attr::posixRegexMap:
      return changed([this](Orb::U32 k) { onPosixRegexMap(k); }, [this] { onPosixRegexMap(); });
    case Attr::dfaRegexMap:
      return changed([this](Orb::U32 k) { onDfaRegexMap(k); }, [this] { onDfaRegexMap(); });
    case Attr::name:
      break;
  }
}

void detail::dropMatchEntries(Orb::Entity const& status) noexcept {
  // Called by mutators alone, which had the status to change.
  auto& changing = const_cast<AsPathListStatus&>(static_cast<AsPathListStatus const&>(status));
  changing.matchEntries_.clear();
  changing.isPrepared_ = false;
  changing.pathSet_.drop();
}

Orb::Ptr<AsPathListStatus> asPathListStatusFactory(Orb::String name) {
  return Orb::make<AsPathListStatus>(std::move(name));
}

}  // namespace Routing::RouteMap
