/// @file
/// Meta models and documents as texts, for the tests of Ecore and XMI.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {

/// Meta models in a registry of their own.
struct MetaModels {
  std::unique_ptr<meta::MetaRegistry> registry;
  std::shared_ptr<const ecore::Mapping> mapping;

  meta::Class classOf(std::string_view name) const;
  meta::Property property(std::string_view className, std::string_view name) const;
  Model read(std::string_view document) const { return ecore::readXmi(document, "document.xmi", *mapping); }
  std::string write(const Model& model) const { return ecore::writeXmi(model, *mapping); }
};

using NamedText = std::pair<std::string, std::string>;

/// Writes texts into files of those names (which may hold folders) and loads the files together.
MetaModels loadTexts(const std::vector<NamedText>& files);
/// The same for one file that holds the package "p" of the URI "urn:p" with these classifiers.
MetaModels loadClassifiers(std::string_view classifiers);
/// Loads files of the folder of real models.
MetaModels loadFiles(const std::vector<std::string>& paths);

/// An .ecore text: a package with these contents.
std::string packageText(std::string_view name, std::string_view uri, std::string_view contents);
/// The start of an element of Ecore's own data types: `eType="ecore:EDataType ...#//EString"`.
std::string ecoreType(std::string_view name);

/// A meta model with one class, "p.Node", that has every kind of feature, its subclass "p.Special", the
/// abstract class "p.Base", and the enumeration "p.Color".
const MetaModels& nodeModels();
/// A document whose root is a "p.Node" with these attributes and children.
std::string nodeDocument(std::string_view attributes, std::string_view children = {});

/// What loading these classifiers, or reading this document, is refused with.
std::string refusalOf(std::string_view classifiers);
std::string refusalOf(const MetaModels& models, std::string_view document);

/// Whether a document reads, writes, and reads as an equal model; else says what is different.
std::string roundTrip(const MetaModels& models, std::string_view document);

}  // namespace kr::zero::test
