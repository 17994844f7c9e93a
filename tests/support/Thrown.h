#pragma once

#include <exception>
#include <string>

namespace TestSupport {

/// The message of the Error that it throws, or "".
template <class Error = std::exception, class Act>
std::string thrown(Act const& act) {
  try {
    act();
  } catch (Error const& error) {
    return error.what();
  }
  return {};
}

}  // namespace TestSupport
