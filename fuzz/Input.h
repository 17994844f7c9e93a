#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

/// What the targets share. Whoever runs a target, libFuzzer or Driver.cpp, calls
/// LLVMFuzzerInitialize() before it reads its options, and LLVMFuzzerTestOneInput() for each input.
namespace Fuzz {

inline std::string_view textOf(std::uint8_t const* data, std::size_t size) noexcept {
  return {reinterpret_cast<char const*>(data), size};
}

/// A number below `count` that follows from the input, where to check each of so many would take
/// too long: other inputs choose otherwise. REQUIRES: `count` is not 0.
inline std::size_t chosen(std::string_view input, std::size_t count) noexcept {
  std::uint64_t hash = 14695981039346656037U;  // FNV-1a
  for (char const c : input) hash = (hash ^ static_cast<std::uint8_t>(c)) * 1099511628211U;
  return static_cast<std::size_t>((hash >> 32) % count);
}

/// Puts options in front of those of the command line, which count where both name one.
inline void addOptions(int* argc, char*** argv, std::initializer_list<char const*> options) {
  static std::vector<char*> arguments;
  arguments.assign(*argv, *argv + *argc);
  auto at = arguments.begin() + 1;
  for (char const* const option : options) at = arguments.insert(at, const_cast<char*>(option)) + 1;
  *argc = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  *argv = arguments.data();
}

}  // namespace Fuzz

#define FUZZ_OPTIONS(...)                                        \
  extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) { \
    Fuzz::addOptions(argc, argv, {__VA_ARGS__});                 \
    return 0;                                                    \
  }                                                              \
  static_assert(true)

/// Inputs of this target have so many bytes at most, and quick ones are preferred to slow ones.
#define FUZZ_MOST_BYTES(size) FUZZ_OPTIONS("-max_len=" #size, "-entropic_scale_per_exec_time=1")
