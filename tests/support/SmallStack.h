/// @file
/// Runs work on a thread with little stack, so that recursion as deep as the input shows itself.
#pragma once

#include <cstddef>
#include <functional>

namespace kr::zero::test {

constexpr std::size_t smallStackBytes = 256 * 1024;

/// Runs `work` on a thread of its own with a stack of 256 KiB and waits for it. What it throws comes out
/// here. A stack that does not suffice ends the process.
void onSmallStack(const std::function<void()>& work);

}  // namespace kr::zero::test
