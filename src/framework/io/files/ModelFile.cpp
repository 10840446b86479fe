#include "kr/zero/io/ModelFile.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

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

}  // namespace

ParseRefused::~ParseRefused() = default;

void saveModel(const Model& model, const ustring& path, const ustring& format) {
  const IOFormatProvider::Format chosen = IOFormatProvider::getFormat(format);
  const std::unique_ptr<Serializer> serializer = chosen.makeSerializer();
  if (chosen.fillsByteVectors) {
    const std::vector<unsigned char> bytes = serializeToBytes(model, *serializer);
    writeFileAtomically(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  } else {
    writeFileAtomically(path, serializeToStream(model, *serializer).view());
  }
}

Model loadModel(const ustring& path, const meta::MetaRegistry& registry, const ustring& format) {
  const std::unique_ptr<Parser> parser = IOFormatProvider::createParser(format, registry);
  if (!parser->parseFile(path)) throw ParseRefused(describeRefusal(path, parser->getProblems()));
  return parser->takeModel();
}

}  // namespace kr::zero::io
