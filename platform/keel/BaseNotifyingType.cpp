#include "platform/keel/BaseNotifyingType.h"

namespace Keel {

BaseNotifyingType::~BaseNotifyingType() = default;

}  // namespace Keel
