/// @file
/// Byte sinks.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "kr/zero/export.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// Takes bytes. Failures to open or write raise std::ios_base::failure with a text that names the
/// path, where there is one.
///
/// A sink class with a member `kTakesBytesAsTheyCome = true` says that bytes may be handed to it in pieces,
/// or written directly to the string or the stream that it was made for. A writer gives any other sink each
/// byte through writeByte().
class KR0_FRAMEWORK_API Sink {
 public:
  virtual ~Sink();
  /// Writes all bytes.
  virtual Sink& write(const std::string& bytes) = 0;
  /// Writes one byte.
  virtual Sink& writeByte(const unsigned char& byte) = 0;
  /// Hands on what is kept back.
  virtual void flush() = 0;
};

/// Creates or truncates a file. flush() and close() report write errors; the destructor cannot.
class KR0_FRAMEWORK_API FileSink final : public Sink {
 public:
  /// See Sink.
  static constexpr bool kTakesBytesAsTheyCome = true;
  /// Opens the file.
  explicit FileSink(const ustring& path);
  ~FileSink() override;
  Sink& write(const std::string& bytes) override;
  Sink& writeByte(const unsigned char& byte) override;
  void flush() override;
  /// Ends writing; what is written afterwards fails. A second call does nothing.
  void close();

 private:
  std::string path_;
  std::unique_ptr<std::filebuf> file_;
};

/// Writes to a stream of the caller's, kept by reference.
class KR0_FRAMEWORK_API StreamSink final : public Sink {
 public:
  /// See Sink.
  static constexpr bool kTakesBytesAsTheyCome = true;
  /// The stream must outlive the sink.
  explicit StreamSink(std::ostream& stream);
  ~StreamSink() override;
  Sink& write(const std::string& bytes) override;
  Sink& writeByte(const unsigned char& byte) override;
  void flush() override;

 private:
  std::ostream& stream_;
};

/// Appends to a string of the caller's, kept by reference.
class KR0_FRAMEWORK_API StringSink final : public Sink {
 public:
  /// See Sink.
  static constexpr bool kTakesBytesAsTheyCome = true;
  /// The string must outlive the sink.
  explicit StringSink(std::string& string);
  ~StringSink() override;
  Sink& write(const std::string& bytes) override;
  Sink& writeByte(const unsigned char& byte) override;
  void flush() override;

 private:
  std::string& string_;
};

}  // namespace kr::zero::io
