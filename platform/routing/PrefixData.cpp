#include "platform/routing/PrefixData.h"

namespace Routing {

PrefixData::Ptr PrefixData::insertData(Ptr const& data) { return data; }

PrefixData::Ptr PrefixData::removeData(Ptr const&) { return nullptr; }

void PrefixData::onAddition() {}

void PrefixData::onDeletion() {}

Orb::U64 PrefixData::summary() const noexcept { return 0; }

}  // namespace Routing
