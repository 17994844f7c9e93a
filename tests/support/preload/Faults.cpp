#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>

// Preloaded into a program that a test runs. What it does is in the environment:
//  KILL_AT=N  the process is killed in front of its N-th step, which is a call that changes a file,
//  FAIL_AT=N  that step fails as on a full disk,
//  MOST=N     no allocation by new is of more than N bytes.
// Of a write that does not happen, half does.

namespace {

long fromEnvironment(char const* name) {
  char const* const text = std::getenv(name);
  return text ? std::atol(text) : 0;
}

long stepsDone = 0;

template <class... Args>
long step(long call, Args... args) {
  ++stepsDone;
  if (stepsDone == fromEnvironment("KILL_AT")) std::raise(SIGKILL);
  if (stepsDone != fromEnvironment("FAIL_AT")) return ::syscall(call, args...);
  errno = ENOSPC;
  return -1;
}

void* allocate(std::size_t size) {
  static auto const most = static_cast<std::size_t>(fromEnvironment("MOST"));
  void* const memory = most != 0 && size > most ? nullptr : std::malloc(size != 0 ? size : 1);
  if (memory) return memory;
  if (auto const handler = std::get_new_handler()) handler();
  throw std::bad_alloc();
}

}  // namespace

#define OFFERED [[gnu::visibility("default"), gnu::noinline]]

extern "C" {

OFFERED ssize_t write(int fd, void const* data, std::size_t size) {
  if (fd <= STDERR_FILENO) return ::syscall(SYS_write, fd, data, size);
  long const next = stepsDone + 1;
  if (next == fromEnvironment("KILL_AT") || next == fromEnvironment("FAIL_AT")) {
    ::syscall(SYS_write, fd, data, size / 2);
  }
  return step(SYS_write, fd, data, size);
}
OFFERED int fsync(int fd) { return static_cast<int>(step(SYS_fsync, fd)); }
OFFERED int fchmod(int fd, mode_t mode) noexcept {
  return static_cast<int>(step(SYS_fchmod, fd, mode));
}
OFFERED int unlink(char const* path) noexcept {
  return static_cast<int>(step(SYS_unlinkat, AT_FDCWD, path, 0));
}
OFFERED int rename(char const* from, char const* to) noexcept {
  return static_cast<int>(step(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}

}  // extern "C"

OFFERED void* operator new(std::size_t size) { return allocate(size); }
OFFERED void operator delete(void* memory) noexcept { std::free(memory); }
OFFERED void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
