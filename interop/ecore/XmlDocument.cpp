#include "XmlDocument.h"

#include <new>

#include "Errors.h"

namespace kr::zero::ecore {

namespace {

constexpr unsigned kParseFlags =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_wconv_attribute | pugi::parse_eol;

}  // namespace

XmlDocument::XmlDocument(std::string text, std::string_view name, bool keepsBlanks)
    : name_(name), text_(std::move(text)), lines_(text_) {
  // Beside a comment or a CDATA section blanks may belong to a value, which elsewhere is one piece.
  const bool isInPieces = checkXml(text_, lines_, name_);
  // A text that breaks off one character behind a "<" has an element that is not closed. Where the blanks
  // before are skipped the parser does not come to that, but calls the tag unknown.
  const bool breaksOff = text_.size() > 1 && text_[text_.size() - 2] == '<';
  const bool keepsAll = keepsBlanks || isInPieces || breaksOff;
  const unsigned blanks = keepsAll ? pugi::parse_ws_pcdata : pugi::parse_ws_pcdata_single;
  const pugi::xml_parse_result result =
      document_.load_buffer_inplace(text_.data(), text_.size(), kParseFlags | blanks, pugi::encoding_utf8);
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  if (result.status == pugi::status_no_document_element || (result && !root()))
    failIn(name_, "it is empty: there is no root element", ErrorCode::foreign);
  if (!result)
    failAt(name_, lines_.lineOf(static_cast<std::size_t>(result.offset)),
           join("it is not well-formed XML: ", result.description()), ErrorCode::damaged);
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

}  // namespace kr::zero::ecore
