/// @file
/// The catalogued errors of this library, as classes to catch.
///
///     try {
///       parser.parseFile(path);
///     } catch (const kr::zero::io::Error<kr0::io::CorruptInput>& e) {
///       complain(e.what());
///     }
///
/// Each is also an IMsgIDException, an IUserException, an IException and a std::exception, and carries
/// its message identifier.
#pragma once

#include <exception>

#include "foundation/core/except.h"
#include "kr/zero/io/export.h"

namespace kr0::io {

// One empty class per message of the catalog "kr0:io".

/// The input is damaged, or is no document of the format.
struct KR0_IO_API CorruptInput {};
/// The format neither reads nor writes intermediate forms.
struct KR0_IO_API IntermediateFormatNotSupported {};
/// The format does not write UTF-16 strings; for the tagged one, it does not read them either.
struct KR0_IO_API UstringNotSupported {};
/// The file was not found or cannot be opened.
struct KR0_IO_API FileNotFound {};
/// The parser does not read narrow strings.
struct KR0_IO_API StringNotSupportedByParser {};
/// The parser does not read UTF-16 strings.
struct KR0_IO_API UstringNotSupportedByParser {};
/// The output cannot be written to, or a text of the model cannot be written.
struct KR0_IO_API CannotSerialize {};
/// The format does not write narrow strings.
struct KR0_IO_API StringNotSupported {};

}  // namespace kr0::io

namespace kr0::messages {

// One empty class per message of the catalog "kr0:messages".

/// A value is not of the type that is asked for.
struct KR0_IO_API CannotCastIncompatibleTypes {};

}  // namespace kr0::messages

namespace kr::zero::io {

/// The exception of a message's tag class.
template <class Tag>
using Error = foundation::core::except::Exception<Tag, std::exception, void>;

}  // namespace kr::zero::io
