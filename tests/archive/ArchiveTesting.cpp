#include "archive/ArchiveTesting.h"

#include <kr0/kr0.h>
#include <xxhash.h>
#include <zstd.h>

#include <cstdio>
#include <stdexcept>

namespace kr::zero::test {

namespace {

constexpr std::uint32_t kFirstSkippable = 0x184D2A50;
constexpr std::size_t kFrameHead = 8;
constexpr std::size_t kChecksum = 8;

std::uint64_t numberAt(std::string_view bytes, std::size_t offset, std::size_t count) {
  std::uint64_t number = 0;
  for (std::size_t i = count; i-- > 0;)
    number = number << 8 | static_cast<std::uint8_t>(bytes.at(offset + i));
  return number;
}

/// Takes a skippable frame off the beginning and gives its content.
std::string_view takeFrame(std::string_view& bytes) {
  const std::size_t size = numberAt(bytes, 4, 4);
  const std::string_view content = bytes.substr(kFrameHead, size);
  bytes.remove_prefix(kFrameHead + size);
  return content;
}

std::size_t require(std::size_t result) {
  if (ZSTD_isError(result) != 0) throw std::runtime_error(ZSTD_getErrorName(result));
  return result;
}

Model makeGoldenModel() {
  Model model(goldenArchiveRegistry());
  Element before;
  for (int i = 0; i < 12; ++i) {
    Element node = i % 4 == 0 ? model.createRoot("golden.Node") : before.create("children");
    node.set("name", "station " + std::to_string(i * 7919 % 97) + " of the northern line");
    node.set("size", i * i * 31);
    node.setTextForm("colour", i % 3 == 0 ? "red" : "green");
    if (i % 4 != 0) node.set("next", before);
    before = node;
  }
  return model;
}

}  // namespace

const meta::MetaRegistry& goldenArchiveRegistry() {
  static const meta::MetaRegistry& registry = [&]() -> const meta::MetaRegistry& {
    static meta::MetaRegistry made;
    meta::MetaModelBuilder package("urn:golden", "golden");
    package.enumeration("Colour").literal("red", 0).literal("green", 1);
    auto& node = package.classType("Node");
    node.property("name", "String");
    node.property("size", "Integer");
    node.property("colour", "Colour");
    node.property("next", "Node");
    node.property("children", "Node").many().composite();
    package.registerIn(made);
    return made;
  }();
  return registry;
}

const Model& goldenArchiveModel() {
  static const Model& model = *new Model(makeGoldenModel());
  return model;
}

ArchiveParts::ArchiveParts(std::string_view bytes) {
  manifest = takeFrame(bytes).substr(kChecksum);
  metaModel = takeFrame(bytes);
  document = bytes;
}

std::string ArchiveParts::manifestFrame() const {
  return skippableFrame(0, lowFirst(XXH3_64bits(manifest.data(), manifest.size()), kChecksum) + manifest);
}

std::string ArchiveParts::metaModelFrame() const { return skippableFrame(1, metaModel); }

std::string ArchiveParts::join() const { return manifestFrame() + metaModelFrame() + document; }

std::string skippableFrame(unsigned number, std::string_view content) {
  return lowFirst(kFirstSkippable + number, 4) + lowFirst(content.size(), 4) + std::string(content);
}

std::string compressed(std::string_view content, bool withChecksum) {
  const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> context(ZSTD_createCCtx(), &ZSTD_freeCCtx);
  require(ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, withChecksum ? 1 : 0));
  std::string frame(ZSTD_compressBound(content.size()), '\0');
  frame.resize(
      require(ZSTD_compress2(context.get(), frame.data(), frame.size(), content.data(), content.size())));
  return frame;
}

std::string decompressed(std::string_view frame) {
  std::string content(ZSTD_getFrameContentSize(frame.data(), frame.size()), '\0');
  require(ZSTD_decompress(content.data(), content.size(), frame.data(), frame.size()));
  return content;
}

std::string digitsOf(std::string_view content) {
  const XXH128_hash_t hash = XXH3_128bits(content.data(), content.size());
  char digits[33];
  std::snprintf(digits, sizeof digits, "%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                static_cast<unsigned long long>(hash.low64));
  return digits;
}

std::string lowFirst(std::uint64_t number, std::size_t bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i) & 0xFF);
  return text;
}

std::string replaced(std::string text, std::string_view what, std::string_view by) {
  const std::size_t at = text.find(what);
  if (at == text.npos) throw std::logic_error("there is no " + std::string(what));
  return text.replace(at, what.size(), by);
}

}  // namespace kr::zero::test
