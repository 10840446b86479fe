#include "direct/ParseDriver.h"

#include <stdexcept>

#include "direct/DocumentReader.h"
#include "direct/NamedTarget.h"
#include "values/Endianness.h"
#include "values/PrimitiveDecoding.h"

// A framework may know the named operations only.
#if __has_include("kr/zero/io/BulkParseProcessor.h")
#include "direct/BulkTarget.h"
#define KR0_HAS_BULK_PARSE_PROCESSOR 1
#else
#define KR0_HAS_BULK_PARSE_PROCESSOR 0
#endif

namespace kr::zero::io {

bool BinaryParseContext::parseBinary() {
  try {
    if (!readHeader() || !readElements()) return false;
  } catch (const std::runtime_error& error) {
    if (values::isInvalidInput(error)) reader_.noteDetail("Number cut short");
    throw;
  }
  processor_.processDeferred();
  return true;
}

bool BinaryParseContext::readHeader() {
  if (reader_.readNumber() != direct::kVersion) reader_.failCorrupt("Invalid version number");
  processor_.setVersion(u"1");
  if (!values::isLittleEndianMarker(reader_.readText())) reader_.failCorrupt("Invalid endian flag");
  std::vector<ustring> uris;
  for (std::uint64_t left = reader_.readCount(); left != 0; --left) reader_.readUtf16(uris.emplace_back());
  return processor_.getCustomizer().setPackageUris(uris);
}

bool BinaryParseContext::readElements() {
  ParseCustomizer& customizer = processor_.getCustomizer();
#if KR0_HAS_BULK_PARSE_PROCESSOR
  if (BulkParseProcessor* const bulk = bulkOf(processor_); bulk != nullptr)
    return DocumentReader<BulkTarget>(reader_, BulkTarget(*bulk), customizer).readElements();
#endif
  return DocumentReader<NamedTarget>(reader_, NamedTarget(processor_), customizer).readElements();
}

std::string describeUnknownProperty(const meta::StructuredType::Impl* type, std::uint64_t identifier) {
  const std::string number = "the number " + std::to_string(identifier);
  if (type == nullptr) return "a property with " + number + " stands outside of any element";
  return "class " + type->qualifiedName() + " of the package " + type->packageUri() +
         " has no property with " + number +
         " (another version of the meta model may have written the document)";
}

}  // namespace kr::zero::io
