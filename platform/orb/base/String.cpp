#include "platform/orb/base/String.h"

#include <limits>
#include <new>
#include <ostream>

#include "platform/orb/base/Error.h"

namespace Orb {

String::String(std::string_view text) {
  if (text.empty()) return;
  if (text.size() > std::numeric_limits<U32>::max()) {
    throw RangeException("String::size > 4294967295 not allowed");
  }
  void* const memory = ::operator new(sizeof(Data) + text.size() + 1);
  data_ = new (memory) Data{1, static_cast<U32>(text.size())};
  std::memcpy(data_->text(), text.data(), text.size());
  data_->text()[text.size()] = '\0';
}

void String::Data::unref() const noexcept {
  if (threadSafePtr()) {
    if (refs.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  } else {
    U32 const left = refs.load(std::memory_order_relaxed) - 1;
    refs.store(left, std::memory_order_relaxed);
    if (left != 0) return;
  }
  ::operator delete(const_cast<Data*>(this));
}

U32 String::hash() const noexcept {
  if (empty()) return 0;
  U32 h = 2166136261U;
  for (char const c : view()) h = (h ^ static_cast<U8>(c)) * 16777619U;
  return h;
}

std::ostream& operator<<(std::ostream& out, String const& text) { return out << text.view(); }

}  // namespace Orb
