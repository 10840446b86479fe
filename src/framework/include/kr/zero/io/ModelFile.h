/// @file
/// Models in files, in one call each way.
///
///     kr::zero::io::saveModel(model, u"books.krb");
///     kr::zero::Model again = kr::zero::io::loadModel(u"books.krb");
#pragma once

#include <stdexcept>
#include <string_view>

#include "kr/zero/Model.h"
#include "kr/zero/export.h"
#include "kr/zero/io/IOFormatProvider.h"

namespace kr::zero::io {

/// A document that was refused. The text names the file and says why.
class KR0_FRAMEWORK_API ParseRefused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~ParseRefused() override;
};

/// Writes a model to a file, all or nothing: to memory first, then to a temporary file beside the
/// target, synchronised to the disk, then renamed. A save that fails leaves the old file as it was and
/// no temporary file behind. An old file keeps its permissions and, where the system lets it, its owner;
/// a read-only one is not replaced; a symbolic link stays and what it points at is replaced. A device or
/// a pipe is written to as it stands, and so is an open file that is named by its descriptor (/dev/stdout,
/// /dev/fd/N, /proc/self/fd/N): where it stands, and at its end where it was opened for appending. A program
/// whose pipes may lose their reader should ignore SIGPIPE.
/// Where only the folder could not be synchronised after the renaming, the failure says so: the new file
/// is then in place. A program that sets a limit to its file sizes should ignore SIGXFSZ, as the signal
/// ends it before a failure can be reported.
/// @param format a name of IOFormatProvider; an empty one stands for the format whose suffix the path has,
/// and
///   for FORMAT_BINARY where there is none.
/// @throws SerializeError and what the format raises; std::ios_base::failure with the path and the
///   system's reason where the file cannot be written.
KR0_FRAMEWORK_API void saveModel(const Model& model, const ustring& path, const ustring& format = {});

/// The same for bytes that are there already.
KR0_FRAMEWORK_API void writeFileAtomically(const ustring& path, std::string_view bytes);

/// Writes all bytes to an open file, pipe, device or socket, and waits where it is full.
/// @throws std::ios_base::failure with the system's reason; what was written by then stays.
KR0_FRAMEWORK_API void writeToDescriptor(int descriptor, std::string_view bytes);

/// Reads a model from a file.
/// @param format a name of IOFormatProvider; an empty one stands for what the file's first bytes say, and for
///   FORMAT_BINARY where they say nothing. A pipe or a device is taken for FORMAT_BINARY: its bytes come
///   once.
/// @throws ParseRefused where the document is refused; otherwise what Parser::parse throws.
KR0_FRAMEWORK_API Model loadModel(const ustring& path,
                                  const meta::MetaRegistry& registry = meta::MetaRegistry::instance(),
                                  const ustring& format = {});

}  // namespace kr::zero::io
