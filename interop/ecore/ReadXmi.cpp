#include "XmiReader.h"
#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::ecore {

namespace {

Model readDocument(std::string bytes, std::string_view name, const Mapping& mapping,
                   const Progress& progress) {
  const Mapping::Impl& impl = mapping.impl();
  const XmlDocument document(decodeXml(std::move(bytes), name), name, impl.hasContent);
  return std::move(readContent(document, impl, progress)->model);
}

}  // namespace

Model readXmi(std::string_view document, std::string_view name, const Mapping& mapping,
              const Progress& progress) {
  return readDocument(std::string(document), name, mapping, progress);
}

Model readXmiFile(const std::string& path, const Mapping& mapping, const Progress& progress) {
  return readDocument(readFile(path), path, mapping, progress);
}

bool looksLikeXml(std::string_view head) {
  using namespace std::string_view_literals;
  // Where characters take more than one byte the others of each "<" and blank are 0.
  for (const std::string_view mark : {"\xEF\xBB\xBF"sv, "\xFF\xFE"sv, "\xFE\xFF"sv, "\0\0\xFE\xFF"sv})
    if (head.substr(0, mark.size()) == mark) {
      head.remove_prefix(mark.size());
      break;
    }
  const std::size_t first = head.find_first_not_of("\0 \t\r\n"sv);
  return first != std::string_view::npos && head[first] == '<';
}

}  // namespace kr::zero::ecore
