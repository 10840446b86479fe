// The verbs that put documents together and take them apart: join, extract.

#include <CLI/CLI.hpp>

#include "CommandOptions.h"

namespace kr::zero::tool {

void addAssembleCommands(CLI::App&) {}

}  // namespace kr::zero::tool
