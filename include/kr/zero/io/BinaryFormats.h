/// @file
/// Makes this library's formats known to the framework.
#pragma once

#include "kr/zero/io/export.h"

namespace kr::zero::io {

/// Registers with IOFormatProvider, so that saveModel and loadModel find them: BinarySerializer and
/// BinaryParser under FORMAT_BINARY, BinaryKRSylvanSerializer and BinaryKRSylvanParser under
/// FORMAT_BINARY_KRSYLVAN. Call it once at start-up; calling it again changes nothing.
KR0_IO_API void registerBinaryFormats();

}  // namespace kr::zero::io
