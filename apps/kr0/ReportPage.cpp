#include "ReportPage.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "Errors.h"
#include "kr/zero/archive/Packing.h"

#ifdef KR0_REPORT_PAGE
// The page as gzip packed it. The assembler takes the file in as it is, so nothing has to be compiled.
asm(".section .rodata\n"
    ".global kr0_report_page\n.hidden kr0_report_page\n"
    "kr0_report_page:\n.incbin \"" KR0_REPORT_PAGE
    "\"\n"
    ".global kr0_report_page_end\n.hidden kr0_report_page_end\n"
    "kr0_report_page_end:\n.byte 0\n"
    ".previous\n");
extern "C" const char kr0_report_page[];
extern "C" const char kr0_report_page_end[];
#endif

namespace kr::zero::tool {

namespace {

std::string_view packedPage() {
#ifdef KR0_REPORT_PAGE
  return {kr0_report_page, static_cast<std::size_t>(kr0_report_page_end - kr0_report_page)};
#else
  return {};
#endif
}

std::string unpackedPage() {
  requirePage();
  const std::vector<std::uint8_t> page = archive::unpack(packedPage(), archive::Packing::gzip);
  return {page.begin(), page.end()};
}

void appendBase64(std::string& out, std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  out.reserve(out.size() + (bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i)
      group = group << 8 | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0u);
    const std::size_t digits = std::min<std::size_t>(bytes.size() - at, 3) + 1;
    for (std::size_t i = 0; i < 4; ++i) out += i < digits ? kDigits[group >> (18 - 6 * i) & 63u] : '=';
  }
}

// Base64 holds nothing that could end the element.
void appendData(std::string& out, const std::string& id, std::string_view bytes) {
  constexpr int kLevel = 6;
  out += "<script type=\"application/octet-stream\" id=\"" + id + "\">";
  appendBase64(out, archive::pack(bytes, archive::Packing::gzip, kLevel));
  out += "</script>\n";
}

std::string allData(const PageContent& content) {
  std::string html;
  appendData(html, "kr0-data", content.data);
  for (std::size_t i = 0; i < content.bytes.size(); ++i)
    if (content.bytes[i]) appendData(html, "kr0-bytes-" + std::to_string(i), *content.bytes[i]);
  return html;
}

}  // namespace

void requirePage() {
  if (packedPage().empty())
    throw WrongCall(
        "this kr0 was built without the page of reports, which takes Node.js and npm where it is built; "
        "--json writes the data alone");
}

std::string fillPage(const PageContent& content) {
  const std::string page = unpackedPage();
  const std::pair<std::string_view, std::string> parts[] = {{"<!--kr0:title-->", content.title},
                                                            {"<!--kr0:tables-->", content.tables},
                                                            {"<!--kr0:data-->", allData(content)}};
  std::string filled;
  std::size_t begin = 0;
  // What was filled in is never looked at again: it may hold the words of a place, too.
  for (const auto& [place, text] : parts) {
    const std::size_t at = page.find(place, begin);
    if (at == page.npos) throw std::logic_error("the page of reports lacks " + std::string(place));
    filled.append(page, begin, at - begin) += text;
    begin = at + place.size();
  }
  return filled.append(page, begin);
}

}  // namespace kr::zero::tool
