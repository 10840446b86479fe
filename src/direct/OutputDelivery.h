/// @file
/// Internal: hands finished bytes to the output that the caller chose.
#pragma once

#include "kr/zero/io/SerializationOutput.h"
#include "values/ByteBuffer.h"

namespace kr::zero::io {

/// File, stream and byte vector take the bytes; the others raise "StringNotSupported",
/// "UstringNotSupported" and "IntermediateFormatNotSupported", a stream or file that cannot be written
/// to "CannotSerialize". Errors in the middle of the writing are not looked for: the caller's stream
/// shows them.
void deliver(const values::ByteBuffer& bytes, const SerializationOutput& output);

}  // namespace kr::zero::io
