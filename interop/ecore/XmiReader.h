/// @file
/// Internal: reads XMI documents.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ClassTable.h"
#include "Fragments.h"
#include "MappingImpl.h"
#include "XmlDocument.h"
#include "kr/zero/Model.h"
#include "kr/zero/ecore/Imperfect.h"

namespace kr::zero::ecore {

/// A document as a model, with what leads from its elements back to the text and from texts to elements.
struct XmiContent {
  XmiContent(const XmlDocument& document, const Mapping::Impl& mapping)
      : name(document.name()),
        lines(document.lines()),
        model(*mapping.registry),
        tables(mapping),
        fragments(tables) {}

  std::size_t lineOf(ConstElement element) const { return lines.lineOf(offsets[element.getIndex()]); }

  std::string name;
  LineTable lines;
  std::vector<std::size_t> offsets;  ///< in the text, by the element's index
  Model model;
  ClassTables tables;
  Fragments fragments;
};

/// @throws EcoreError.
std::unique_ptr<XmiContent> readContent(const XmlDocument& document, const Mapping::Impl& mapping,
                                        const XmiReadOptions& options);

}  // namespace kr::zero::ecore
