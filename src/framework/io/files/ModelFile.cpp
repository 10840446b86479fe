#include "kr/zero/io/ModelFile.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fl/filesystem/path.h"

namespace kr::zero::io {

namespace {

constexpr std::size_t kMaxListedProblems = 10;

std::vector<unsigned char> serializeToBytes(const Model& model, Serializer& serializer) {
  std::vector<unsigned char> bytes;
  serializer.serialize(model, SerializationOutput::toByteSequence(bytes));
  return bytes;
}

std::ostringstream serializeToStream(const Model& model, Serializer& serializer) {
  std::ostringstream stream;
  stream.exceptions(std::ios::badbit | std::ios::failbit);  // memory that runs out must not go unseen
  serializer.serialize(model, SerializationOutput::toStream(stream));
  return stream;
}

std::string describeRefusal(const ustring& path, const std::vector<std::string>& problems) {
  std::string text = "\"" + toUtf8(path) + "\" was refused";
  const char* separator = ": ";
  const std::size_t listed = std::min(problems.size(), kMaxListedProblems);
  for (std::size_t i = 0; i < listed; ++i) {
    text += separator + problems[i];
    separator = "; ";
  }
  if (listed < problems.size()) text += "; and " + std::to_string(problems.size() - listed) + " more";
  return text;
}

/// The first bytes of a regular file; none where it cannot be read.
std::string readBeginning(const ustring& path) {
  std::error_code ignored;
  const std::filesystem::path native(fl::filesystem::detail::make_native_access_form_with_cleanup_i18n(path));
  if (!std::filesystem::is_regular_file(native, ignored)) return {};
  std::ifstream file(native, std::ios::binary);
  std::string bytes(IOFormatProvider::kMostBeginning, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

ustring orDirect(const ustring& name) { return name.empty() ? IOFormatProvider::FORMAT_BINARY : name; }

}  // namespace

ParseRefused::~ParseRefused() = default;

void saveModel(const Model& model, const ustring& path, const ustring& format) {
  const ustring name = orDirect(format.empty() ? IOFormatProvider::findBySuffix(toUtf8(path)) : format);
  const IOFormatProvider::Format chosen = IOFormatProvider::getFormat(name);
  const std::unique_ptr<Serializer> serializer = chosen.makeSerializer();
  if (chosen.fillsByteVectors) {
    const std::vector<unsigned char> bytes = serializeToBytes(model, *serializer);
    writeFileAtomically(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  } else {
    writeFileAtomically(path, serializeToStream(model, *serializer).view());
  }
}

Model loadModel(const ustring& path, const meta::MetaRegistry& registry, const ustring& format) {
  const ustring name =
      orDirect(format.empty() ? IOFormatProvider::findByContent(readBeginning(path)) : format);
  const std::unique_ptr<Parser> parser = IOFormatProvider::createParser(name, registry);
  if (!parser->parseFile(path)) throw ParseRefused(describeRefusal(path, parser->getProblems()));
  return parser->takeModel();
}

}  // namespace kr::zero::io
