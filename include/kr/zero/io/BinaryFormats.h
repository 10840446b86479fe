/// @file
/// Makes this library's formats known to the framework.
#pragma once

#include "kr/zero/io/export.h"

namespace kr::zero::io {

/// Registers BinarySerializer and BinaryParser with IOFormatProvider under FORMAT_BINARY, so that
/// saveModel and loadModel find them. Call it once at start-up; calling it again changes nothing.
KR0_IO_API void registerBinaryFormats();

}  // namespace kr::zero::io
