#include "values/PrimitiveDecoding.h"

#include <stdexcept>

namespace kr::zero::io::values {

void raiseInvalidInput() {
  throw std::runtime_error("Invalid input of decodePrimitiveFromBinaryInLittleEndian");
}

}  // namespace kr::zero::io::values
