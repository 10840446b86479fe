/// @file
/// What something is refused with.
#pragma once

#include <string>

#include "kr/zero/Error.h"

namespace kr::zero::test {

/// Code and sentence of the Error that something throws: "damaged: x.krz: the document ...".
template <class Action>
std::string refusalOf(Action action) {
  try {
    action();
  } catch (const Error& error) {
    return std::string(nameOf(error.getCode())) + ": " + error.what();
  }
  return "nothing was refused";
}

}  // namespace kr::zero::test
