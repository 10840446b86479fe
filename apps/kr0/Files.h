/// @file
/// Internal: files and standard streams as the tool reads and writes them. "-" names the standard
/// stream.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kr::zero::tool {

/// Keeps descriptors 0 to 2 taken, so that no file that is opened later passes for a standard stream.
void holdStandardStreams();

/// What messages call a path: the path itself, or the name of the standard stream.
std::string inputName(const std::string& path);

/// @throws Error that the input of this name cannot be read, for the reason in errno.
[[noreturn]] void failToRead(const std::string& name);

/// A file that is open for reading.
class InputFile {
 public:
  /// @param path "-": standard input.
  /// @throws Error where it cannot be opened.
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  int get() const { return descriptor_; }
  /// Its bytes, where it is a regular file that was not read from yet; else 0. Some special files say 0, too.
  std::size_t knownSize() const;
  /// What comes, to its end.
  /// @throws Error where that fails, and what the function throws.
  void readPieces(const std::function<void(std::string_view)>& take) const;

 private:
  std::string name_;
  int descriptor_;
};

/// The whole content of a file.
/// @throws Error where it cannot be read.
std::vector<std::uint8_t> readInput(const std::string& path);

/// Puts a result in its place: a file is written all or nothing; a device, a pipe and what /dev/stdout or
/// /dev/fd/N name directly.
/// @throws std::ios_base::failure where that fails; ReaderGone.
void writeOutput(const std::string& path, std::string_view bytes);

/// Makes a folder, and those around it, where it is not there.
/// @throws Error where that fails.
void makeFolder(const std::string& path);

/// Text on its way to standard output, in large pieces, and without what a terminal would obey.
class TextOut {
 public:
  TextOut() = default;
  /// Text that goes to a string instead.
  explicit TextOut(std::string& target) : target_(&target) {}
  TextOut& operator<<(std::string_view text);
  TextOut& operator<<(char character);
  /// Writes what is left. A text that is never flushed is not written.
  void flush();

 private:
  std::string pending_;
  std::string* target_ = nullptr;
};

}  // namespace kr::zero::tool
