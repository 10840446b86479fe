#include "values/PrimitiveDecoding.h"

#include <stdexcept>
#include <string_view>

namespace kr::zero::io::values {

namespace {

constexpr const char* kInvalidInput = "Invalid input of decodePrimitiveFromBinaryInLittleEndian";

}  // namespace

void raiseInvalidInput() { throw std::runtime_error(kInvalidInput); }

bool isInvalidInput(const std::exception& error) noexcept {
  return std::string_view(error.what()) == kInvalidInput;
}

}  // namespace kr::zero::io::values
