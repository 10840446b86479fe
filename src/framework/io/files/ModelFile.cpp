#include "kr/zero/io/ModelFile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <fstream>
#include <istream>
#include <ostream>
#include <sstream>
#include <system_error>
#include <type_traits>
#include <utility>

#include "kr/zero/io/AtomicFile.h"
#include "kr/zero/io/ReadFailure.h"

namespace kr::zero::io {

namespace {

using zero::Error;

// --- Writing

std::vector<std::uint8_t> serializeToBytes(const Model& model, Serializer& serializer) {
  std::vector<std::uint8_t> bytes;
  serializer.serialize(model, SerializationOutput::toByteSequence(bytes));
  return bytes;
}

std::ostringstream serializeToStream(const Model& model, Serializer& serializer) {
  std::ostringstream stream;
  stream.exceptions(std::ios::badbit | std::ios::failbit);  // memory that runs out must not go unseen
  serializer.serialize(model, SerializationOutput::toStream(stream));
  return stream;
}

std::string_view asText(const std::vector<std::uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

ustring orDirect(const ustring& name) { return name.empty() ? IOFormatProvider::FORMAT_BINARY : name; }

std::string_view asText(const std::ostringstream& stream) { return stream.view(); }

/// Writes a model to memory, and hands that over: a byte vector or a stream, whichever the format fills.
/// Whatever goes wrong is an Error.
/// @param suffixed a name that may tell the format.
template <class Deliver>
void write(const Model& model, const SaveOptions& options, const std::string& suffixed, Deliver deliver) {
  try {
    const ustring name =
        orDirect(options.format.empty() ? IOFormatProvider::findBySuffix(suffixed) : options.format);
    const IOFormatProvider::Format format = IOFormatProvider::getFormat(name);
    const std::unique_ptr<Serializer> serializer = format.makeSerializer();
    serializer->setProgress(options.progress);
    if (format.fillsByteVectors)
      deliver(serializeToBytes(model, *serializer));
    else
      deliver(serializeToStream(model, *serializer));
  } catch (...) {
    rethrowWriteFailure(suffixed);
  }
}

void put(std::ostream& stream, std::string_view bytes) {
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!stream.good()) throw std::ios_base::failure("the stream takes no bytes");
}

// --- Reading

[[noreturn]] void failToRead(const std::string& name, const std::string& problem) {
  throw Error(ErrorCode::unreadable, {.file = name, .problem = problem});
}

[[noreturn]] void failToRead(const std::string& name, int error) { failToRead(name, unreadableFor(error)); }

void requireWithin(const LoadOptions& options, std::uint64_t size) {
  if (size > options.limits.bytes)
    throw Error(ErrorCode::overLimit,
                {.file = options.name,
                 .problem = "the document has more than " + std::to_string(options.limits.bytes) + " bytes"});
}

/// Appends what a buffer gives, to its end. Room that was reserved is filled first, then more is made.
void readAll(std::streambuf& buffer, const LoadOptions& options, std::vector<std::uint8_t>& bytes) {
  constexpr std::size_t kPiece = std::size_t{1} << 18;
  while (!std::char_traits<char>::eq_int_type(buffer.sgetc(), std::char_traits<char>::eof())) {
    const std::size_t before = bytes.size();
    const std::size_t room = bytes.capacity() - before;
    const std::size_t piece = room == 0 ? kPiece : std::min(room, kPiece);
    bytes.resize(before + piece);
    const std::streamsize got =
        buffer.sgetn(reinterpret_cast<char*>(bytes.data() + before), static_cast<std::streamsize>(piece));
    bytes.resize(before + static_cast<std::size_t>(got));
    requireWithin(options, bytes.size());
  }
}

/// What the size of a regular file is said to be; 0 for anything else.
std::uint64_t expectedSize(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return 0;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

std::vector<std::uint8_t> readFile(const std::filesystem::path& path, const LoadOptions& options) {
  errno = 0;
  std::filebuf file;
  if (file.open(path, std::ios::in | std::ios::binary) == nullptr) failToRead(options.name, errno);
  const std::uint64_t size = expectedSize(path);
  requireWithin(options, size);
  std::vector<std::uint8_t> bytes;
  if (size > bytes.max_size())
    failToRead(options.name, "the document has more bytes than a program of this machine can hold");
  bytes.reserve(static_cast<std::size_t>(size));
  errno = 0;
  try {
    readAll(file, options, bytes);
  } catch (const std::ios_base::failure&) {  // a folder opens like a file, and fails here
    failToRead(options.name, errno == 0 ? EIO : errno);
  }
  return bytes;
}

std::vector<std::uint8_t> readStream(std::istream& stream, const LoadOptions& options) {
  std::vector<std::uint8_t> bytes;
  if (!stream.fail()) readAll(*stream.rdbuf(), options, bytes);
  if (stream.fail()) failToRead(options.name, "the input stream failed");
  return bytes;
}

Model parse(const std::vector<std::uint8_t>& bytes, const LoadOptions& options) {
  FailedDocument document{options.name, asText(bytes).substr(0, IOFormatProvider::kMostBeginning),
                          options.format};
  if (document.format.empty()) document.format = orDirect(IOFormatProvider::findByContent(document.head));
  const meta::MetaRegistry& registry =
      options.registry == nullptr ? meta::MetaRegistry::instance() : *options.registry;
  const std::unique_ptr<Parser> parser = IOFormatProvider::createParser(document.format, registry);
  parser->setOptions({options.limits, options.progress, options.skipped});
  try {
    if (parser->parseByteSequence(bytes)) return parser->takeModel();
  } catch (...) {
    rethrowReadFailure(document, *parser);
  }
  throwRefusal(document, *parser);
}

/// Gets the bytes of a document and reads them. Whatever goes wrong is an Error.
template <class GetBytes>
Model read(LoadOptions options, const std::string& name, GetBytes getBytes) {
  if (options.name.empty()) options.name = name;
  try {
    return parse(getBytes(options), options);
  } catch (const std::invalid_argument&) {
    rethrowAsError({.file = options.name}, ErrorCode::misuse);
  } catch (...) {
    rethrowAsError({.file = options.name});
  }
}

constexpr const char* kUnnamed = "the document";

}  // namespace

void saveModel(const Model& model, const std::filesystem::path& path, const SaveOptions& options) {
  write(model, options, path.string(),
        [&](const auto& written) { writeFileAtomically(path, asText(written)); });
}

void saveModel(const Model& model, const std::filesystem::path& path, const ustring& format) {
  saveModel(model, path, SaveOptions{.format = format});
}

void writeModel(const Model& model, std::vector<std::uint8_t>& bytes, const SaveOptions& options) {
  write(model, options, {}, [&](auto written) {
    if constexpr (std::is_same_v<decltype(written), std::vector<std::uint8_t>>) {
      bytes = std::move(written);
    } else {
      const std::string_view text = asText(written);
      bytes.assign(text.begin(), text.end());
    }
  });
}

void writeModel(const Model& model, std::string& bytes, const SaveOptions& options) {
  write(model, options, {}, [&](const auto& written) { bytes.assign(asText(written)); });
}

void writeModel(const Model& model, std::ostream& stream, const SaveOptions& options) {
  write(model, options, {}, [&](const auto& written) { put(stream, asText(written)); });
}

Model loadModel(const std::filesystem::path& path, const LoadOptions& options) {
  return read(options, path.string(), [&](const LoadOptions& named) { return readFile(path, named); });
}

Model loadModel(const std::filesystem::path& path, const meta::MetaRegistry& registry,
                const ustring& format) {
  return loadModel(path, LoadOptions{.registry = &registry, .format = format});
}

Model readModel(const std::vector<std::uint8_t>& bytes, const LoadOptions& options) {
  return read(options, kUnnamed, [&](const LoadOptions& named) -> const std::vector<std::uint8_t>& {
    requireWithin(named, bytes.size());
    return bytes;
  });
}

Model readModel(std::string_view bytes, const LoadOptions& options) {
  return read(options, kUnnamed, [&](const LoadOptions& named) {
    requireWithin(named, bytes.size());
    return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
  });
}

Model readModel(std::istream& stream, const LoadOptions& options) {
  return read(options, kUnnamed, [&](const LoadOptions& named) { return readStream(stream, named); });
}

}  // namespace kr::zero::io
