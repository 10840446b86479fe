/// @file
/// Internal: verbs and options as users type them.
#pragma once

namespace kr::zero::tool {

/// Does what a command line says.
/// @return the exit code.
/// @throws WrongCall where it cannot be understood; what its verb throws.
int performCall(int count, char** arguments);

}  // namespace kr::zero::tool
