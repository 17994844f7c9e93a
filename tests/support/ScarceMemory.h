#pragma once

#include "tests/support/RationedMemory.h"

// Replaces the operators new and delete of the program, so that a test can have memory run out.
// To be included by one file of a program.

#ifndef __clang_analyzer__  // which would see what is new meet delete elsewhere, and object

// Not inline: the compiler would see new meet free.
[[gnu::noinline]] void* operator new(std::size_t size) {
  return TestSupport::allocateOrThrow(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size) {
  return TestSupport::allocateOrThrow(size);
}
[[gnu::noinline]] void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  return TestSupport::allocate(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
  return TestSupport::allocate(size);
}
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment) {
  return TestSupport::allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}

#endif
