/// @file
/// Models in files, streams and memory, in one call each way.
///
///     kr::zero::io::saveModel(model, "books.krb");
///     kr::zero::Model again = kr::zero::io::loadModel("books.krb");
///
/// saveModel, writeModel, loadModel and readModel throw kr::zero::Error and nothing else, an exception that
/// caused it nested in it; std::bad_alloc only where there is no memory left to say even that. Threads: each
/// call is on its own; a model may be written by several at once.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/Error.h"
#include "kr/zero/Model.h"
#include "kr/zero/export.h"
#include "kr/zero/io/IOFormatProvider.h"
#include "kr/zero/io/ParseOptions.h"

namespace kr::zero::io {

/// How a model is written.
struct SaveOptions {
  /// A name of IOFormatProvider. Empty: the format whose suffix the path has, and FORMAT_BINARY where there
  /// is none.
  ustring format = {};
  Progress progress = {};  ///< called while elements are written
};

/// How a document is read.
struct LoadOptions {
  /// Where its classes are looked up; it must outlive the model. Null: MetaRegistry::instance().
  const meta::MetaRegistry* registry = nullptr;
  /// A name of IOFormatProvider. Empty: the format that the first bytes tell, and FORMAT_BINARY where they
  /// tell nothing.
  ustring format = {};
  /// What errors call the document. Empty: its path, or "the document".
  std::string name = {};
  ReadLimits limits = {};     ///< how much the document may be
  Progress progress = {};     ///< called while elements are read
  SkipListener skipped = {};  ///< see ParseOptions
};

///@{
/// Writes a model to a file, all or nothing: to memory first, then to a temporary file beside the target,
/// synchronised to the disk, then renamed. A save that fails leaves the old file and no temporary file; one
/// of a killed program is removed by the next save of the same file. An old file keeps its permissions and,
/// where the system lets it, owner and group, but no other attributes; its other names (hard links) keep the
/// old content. A read-only one is not replaced; a symbolic link stays and what it leads to is replaced. A
/// device or pipe is written to as it stands, and so is an open file by its descriptor (/dev/stdout,
/// /dev/fd/N, /proc/self/fd/N): where it stands, or at its end where it was opened for appending. A program
/// whose pipes may lose their reader should ignore SIGPIPE. Where only the folder could not be synchronised,
/// the failure says so: the new file is in place. A program with a limit to its file sizes should ignore
/// SIGXFSZ, which ends it before a failure is told.
KR0_FRAMEWORK_API void saveModel(const Model& model, const std::filesystem::path& path,
                                 const SaveOptions& options = {});
KR0_FRAMEWORK_API void saveModel(const Model& model, const std::filesystem::path& path,
                                 const ustring& format);
///@}

///@{
/// Writes a model to memory, in place of what is there, or to a stream where that stands. A model that cannot
/// be written leaves them as they were.
KR0_FRAMEWORK_API void writeModel(const Model& model, std::vector<std::uint8_t>& bytes,
                                  const SaveOptions& options = {});
KR0_FRAMEWORK_API void writeModel(const Model& model, std::string& bytes, const SaveOptions& options = {});
KR0_FRAMEWORK_API void writeModel(const Model& model, std::ostream& stream, const SaveOptions& options = {});
///@}

///@{
/// Reads a model from a file, pipe or device.
KR0_FRAMEWORK_API Model loadModel(const std::filesystem::path& path, const LoadOptions& options = {});
KR0_FRAMEWORK_API Model loadModel(const std::filesystem::path& path, const meta::MetaRegistry& registry,
                                  const ustring& format = {});
///@}

///@{
/// Reads a model from memory, or from a stream, which holds nothing else, to its end.
KR0_FRAMEWORK_API Model readModel(const std::vector<std::uint8_t>& bytes, const LoadOptions& options = {});
KR0_FRAMEWORK_API Model readModel(std::string_view bytes, const LoadOptions& options = {});
KR0_FRAMEWORK_API Model readModel(std::istream& stream, const LoadOptions& options = {});
///@}

/// Writes bytes that are there already to a file, as saveModel does.
/// @throws std::ios_base::failure with the path and the system's reason; std::invalid_argument for a
///   path that holds a NUL.
KR0_FRAMEWORK_API void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

/// Writes all bytes to an open file, pipe, device or socket, and waits where it is full.
/// @throws std::ios_base::failure with the system's reason; what was written by then stays.
KR0_FRAMEWORK_API void writeToDescriptor(int descriptor, std::string_view bytes);

}  // namespace kr::zero::io
