/// @file
/// Internal: how the tool talks, which the options before all verbs say: set once, before anything is done.
#pragma once

#include <string>
#include <string_view>

namespace kr::zero::tool {

struct Manner {
  bool isQuiet = false;        ///< no progress, and nothing that is neither asked for nor an error
  bool isTalkative = false;    ///< every step on standard error
  std::string color = "auto";  ///< "always", "never", or where standard output is a terminal that can
};

/// That of this process.
Manner& manner();

/// Whether standard output gets colours: on a terminal that is not "dumb", unless NO_COLOR is set to anything
/// but an empty text (https://no-color.org); --color outweighs both.
bool usesColor();

/// Says a step, with the seconds since the program began, where that is wanted.
void sayStep(std::string_view what);

}  // namespace kr::zero::tool
