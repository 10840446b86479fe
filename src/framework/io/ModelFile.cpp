#include "kr/zero/io/ModelFile.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/core/except.h"

namespace kr::zero::io {

namespace {

constexpr std::size_t kMaxListedProblems = 10;

bool isRefusedOutputKind(const foundation::core::except::IMsgIDException& error) {
  return foundation::core::except::IMsgIDException::get_error_id(error.GetMsgID()) ==
         "kr0:io:IntermediateFormatNotSupported";
}

// Formats that collect their bytes anyway hand them over as a whole, which is fastest.
// false where the format writes to streams only.
bool serializeToBytes(const Model& model, const ustring& format, std::vector<unsigned char>& bytes) {
  try {
    IOFormatProvider::createSerializer(format)->serialize(model, SerializationOutput::toByteSequence(bytes));
    return true;
  } catch (const foundation::core::except::IMsgIDException& error) {
    if (!isRefusedOutputKind(error)) throw;
    return false;
  }
}

std::ostringstream serializeToStream(const Model& model, const ustring& format) {
  std::ostringstream stream;
  stream.exceptions(std::ios::badbit | std::ios::failbit);  // memory that runs out must not go unseen
  IOFormatProvider::createSerializer(format)->serialize(model, SerializationOutput::toStream(stream));
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
  std::vector<unsigned char> bytes;
  if (serializeToBytes(model, format, bytes)) {
    writeFileAtomically(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  } else {
    writeFileAtomically(path, serializeToStream(model, format).view());
  }
}

Model loadModel(const ustring& path, const meta::MetaRegistry& registry, const ustring& format) {
  const std::unique_ptr<Parser> parser = IOFormatProvider::createParser(format, registry);
  if (!parser->parseFile(path)) throw ParseRefused(describeRefusal(path, parser->getProblems()));
  return parser->takeModel();
}

}  // namespace kr::zero::io
