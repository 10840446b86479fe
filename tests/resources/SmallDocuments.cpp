#include "resources/SmallDocuments.h"

namespace kr::zero::test {

namespace {

std::string ecoreText(const std::string& literals, const std::string& features) {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<ecore:EPackage xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI"
  xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:ecore="http://www.eclipse.org/emf/2002/Ecore"
  name="s" nsURI="urn:s" nsPrefix="s">
 <eClassifiers xsi:type="ecore:EEnum" name="Colour"><eLiterals name="red"/>)" +
         literals + R"(</eClassifiers>
 <eClassifiers xsi:type="ecore:EClass" name="Node">
  <eAnnotations source="http://www.eclipse.org/emf/2002/GenModel">
   <details key="documentation" value="What a tree is made of."/></eAnnotations>
)" + features +
         R"(
  <eStructuralFeatures xsi:type="ecore:EAttribute" name="words" upperBound="-1" eType="ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString"/>
  <eStructuralFeatures xsi:type="ecore:EAttribute" name="colour" eType="#//Colour"/>
  <eStructuralFeatures xsi:type="ecore:EReference" name="nodes" upperBound="-1" eType="#//Node" containment="true"/>
  <eStructuralFeatures xsi:type="ecore:EReference" name="next" eType="#//Node" eOpposite="#//Node/before"/>
  <eStructuralFeatures xsi:type="ecore:EReference" name="before" upperBound="-1" eType="#//Node" eOpposite="#//Node/next"/>
 </eClassifiers>
</ecore:EPackage>
)";
}

std::string attribute(const std::string& name, const std::string& type) {
  return "  <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"" + name +
         "\" eType=\"ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//" + type + "\"/>";
}

}  // namespace

const std::string& smallEcore() {
  static const std::string text = ecoreText("", attribute("name", "EString") + attribute("size", "EInt"));
  return text;
}

const std::string& laterEcore() {
  static const std::string text = ecoreText("<eLiterals name=\"green\" value=\"1\"/>",
                                            attribute("title", "EString") + attribute("size", "ELong"));
  return text;
}

LoadedEcore loadEcore(const std::string& text, const std::string& name) {
  LoadedEcore loaded{std::make_unique<meta::MetaRegistry>(), nullptr};
  loaded.mapping = ecore::loadEcoreFiles({{name, text}}, *loaded.registry);
  return loaded;
}

const LoadedEcore& smallMetaModel() {
  static const LoadedEcore loaded = loadEcore(smallEcore());
  return loaded;
}

Model makeSmall() {
  Model model(*smallMetaModel().registry);
  Element root = model.createRoot("s.Node");
  root.set("name", "the root of a tree that is small");
  root.setIdentity("tree", "1");
  Element before = root;
  for (int i = 0; i < 4; ++i) {
    Element node = i == 3 ? before.create("nodes") : root.create("nodes");
    node.set("name", "node number " + std::to_string(i) + " of the tree");
    node.set("size", i * 1000);
    node.add("words", "first");
    node.add("words", "second & \"last\"");
    node.setTextForm("colour", "red");
    before.set("next", node);
    before = node;
  }
  return model;
}

}  // namespace kr::zero::test
