#include "XmlDocument.h"

#include "Errors.h"

namespace kr::zero::ecore {

namespace {

// Blanks between elements are kept, because beside a comment or a CDATA section they may belong to a value.
constexpr unsigned parseFlags = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_wconv_attribute |
                                pugi::parse_eol | pugi::parse_ws_pcdata;

}  // namespace

XmlDocument::XmlDocument(std::string text, std::string_view name)
    : name_(name), text_(std::move(text)), lines_(text_) {
  checkXml(text_, lines_, name_);
  const pugi::xml_parse_result result =
      document_.load_buffer_inplace(text_.data(), text_.size(), parseFlags, pugi::encoding_utf8);
  if (result.status == pugi::status_no_document_element || (result && !root()))
    failIn(name_, "it is empty: there is no root element");
  if (!result)
    failAt(name_, lines_.lineOf(static_cast<std::size_t>(result.offset)),
           join("it is not well-formed XML: ", result.description()));
}

void XmlDocument::fail(pugi::xml_node element, std::string_view what) const {
  failAt(name_, lines_.lineOf(offsetOf(element)), what);
}

std::string textOf(pugi::xml_node element) {
  std::string text;
  for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling())
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) text += child.value();
  return text;
}

bool isBlank(std::string_view text) { return text.find_first_not_of(" \t\r\n") == std::string_view::npos; }

}  // namespace kr::zero::ecore
