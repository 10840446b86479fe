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
struct KR0_IO_API CorruptInput {};
struct KR0_IO_API IntermediateFormatNotSupported {};
struct KR0_IO_API UstringNotSupported {};
struct KR0_IO_API FileNotFound {};
struct KR0_IO_API StringNotSupportedByParser {};
struct KR0_IO_API UstringNotSupportedByParser {};
struct KR0_IO_API CannotSerialize {};
struct KR0_IO_API StringNotSupported {};

}  // namespace kr0::io

namespace kr0::messages {

// One empty class per message of the catalog "kr0:messages".
struct KR0_IO_API CannotCastIncompatibleTypes {};

}  // namespace kr0::messages

namespace kr::zero::io {

/// The exception of a message's tag class.
template <class Tag>
using Error = foundation::core::except::Exception<Tag, std::exception, void>;

}  // namespace kr::zero::io
