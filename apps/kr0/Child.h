/// @file
/// Internal: other programs that the tool runs.
#pragma once

#include <sys/types.h>

namespace kr::zero::tool {

/// Waits until a child has ended.
/// @return how, as waitpid tells; 0: well.
int waitForEnd(pid_t child) noexcept;

}  // namespace kr::zero::tool
