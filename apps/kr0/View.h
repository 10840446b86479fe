/// @file
/// Internal: documents that are looked at where they lie, in files, however large they are.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Documents.h"

namespace kr::zero::tool {

/// The bytes of a file as memory, which the system reads as they are looked at.
class FileView {
 public:
  FileView() = default;
  /// @param descriptor of a regular file, which may be closed afterwards.
  /// @throws Error that the file of this name cannot be read.
  FileView(int descriptor, const std::string& name);
  /// What is given to a function piece by piece: it goes to a file without a name, in the folder for
  /// temporary ones.
  /// @throws Error where there is no room for it.
  static FileView of(const std::function<void(const std::function<void(std::string_view)>&)>& give);

  std::string_view text() const;
  /// Bytes before an offset are not looked at for a while: their memory is given back.
  void letGo(std::uint64_t offset) const;

 private:
  struct Mapping;
  std::shared_ptr<const Mapping> mapping_;
};

/// A document that is not loaded: its bytes are viewed.
struct ViewedDocument {
  Document document;
  FileView bytes;  ///< unpacked

  /// With its bytes.
  Document load() const;
};

/// What readDocument reads.
/// @throws Error where it cannot be read or unpacked.
ViewedDocument viewDocument(const InputOptions& input);

}  // namespace kr::zero::tool
