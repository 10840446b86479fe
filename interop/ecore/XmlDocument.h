/// @file
/// Internal: an XML document in memory that knows the lines of its elements.
#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "XmlText.h"

namespace kr::zero::ecore {

class XmlDocument {
 public:
  /// @param text UTF-8, as decodeXml gives it.
  /// @param name what error texts call the document.
  /// @param keepsBlanks character data of nothing but blanks stays even beside elements.
  /// @throws EcoreError where it is not well-formed XML.
  XmlDocument(std::string text, std::string_view name, bool keepsBlanks = false);
  XmlDocument(const XmlDocument&) = delete;
  XmlDocument& operator=(const XmlDocument&) = delete;

  pugi::xml_node root() const { return document_.document_element(); }
  const std::string& name() const noexcept { return name_; }
  std::size_t size() const noexcept { return text_.size(); }
  const LineTable& lines() const noexcept { return lines_; }
  /// Where the name of an element begins.
  static std::size_t offsetOf(pugi::xml_node element) {
    return static_cast<std::size_t>(element.offset_debug());
  }
  /// @throws EcoreError with the line of an element.
  [[noreturn]] void fail(pugi::xml_node element, std::string_view what) const;

  ///@{
  /// The parser lets pass what XML does not have: an attribute that an element is given twice. So this is to
  /// be asked for each element that is read, and for each that is passed over with all elements inside.
  /// @throws EcoreError with line and column of the second one.
  void requireDifferentAttributes(pugi::xml_node element) const;
  void requireDifferentAttributesFrom(pugi::xml_node element) const;
  ///@}

 private:
  [[noreturn]] void failAtSecond(std::string_view attribute) const;

  std::string name_;
  std::string text_;  // the parser works in place: its texts are views into this
  LineTable lines_;
  pugi::xml_document document_;
};

/// The character data directly below an element, joined.
std::string textOf(pugi::xml_node element);

}  // namespace kr::zero::ecore
