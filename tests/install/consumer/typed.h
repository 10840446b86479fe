#pragma once

#include <string>

/// A text on its way through a model, by generated code.
std::string titleByType();
