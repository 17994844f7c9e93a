#pragma once

namespace TestSupport {

/// Whether the system's regexec() finds no memory, in the programs that have their own in front of
/// it.
inline bool hasNoRegexMemory = false;

}  // namespace TestSupport
