#include "EcoreTesting.h"

#include <filesystem>

#include "support/Paths.h"

namespace kr::zero::test {

namespace {

constexpr std::string_view nodeClassifiers = R"(
  <eClassifiers xsi:type="ecore:EEnum" name="Color">
    <eLiterals name="red"/>
    <eLiterals name="green" value="1" literal="Green!"/>
    <eLiterals name="crimson"/>
  </eClassifiers>
  <eClassifiers xsi:type="ecore:EDataType" name="Isbn" instanceClassName="java.lang.String"/>
  <eClassifiers xsi:type="ecore:EClass" name="Base" abstract="true"/>
  <eClassifiers xsi:type="ecore:EClass" name="Node" eSuperTypes="#//Base">
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="name" E(EString)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="key" iD="true" E(EString)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="must" lowerBound="1" E(EString)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="flag" E(EBoolean)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="small" E(EByte)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="count" E(EInt)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="big" E(ELong)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="real" E(EDouble)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="narrow" E(EFloat)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="when" E(EDate)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="digits" E(EBigDecimal)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="color" eType="#//Color"/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="isbn" eType="#//Isbn"/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="tags" upperBound="-1" E(EString)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="numbers" upperBound="-1" E(EInt)/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="colors" upperBound="-1" eType="#//Color"/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="passing" transient="true" E(EString)/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="nodes" upperBound="-1" eType="#//Node"
        containment="true" eOpposite="#//Node/parent"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="node" eType="#//Node" containment="true"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="parent" eType="#//Node" eOpposite="#//Node/nodes"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="next" eType="#//Node"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="others" upperBound="-1" eType="#//Base"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="anything" upperBound="-1"
        eType="ecore:EClass http://www.eclipse.org/emf/2002/Ecore#//EObject"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="bases" upperBound="-1" eType="#//Base"
        containment="true"/>
  </eClassifiers>
  <eClassifiers xsi:type="ecore:EClass" name="Special" eSuperTypes="#//Node"/>
)";

/// Replaces each E(Type) by the reference to that type of Ecore.
std::string expandTypes(std::string text) {
  for (std::size_t at = text.find("E("); at != std::string::npos; at = text.find("E(", at)) {
    const std::size_t close = text.find(')', at);
    text.replace(at, close - at + 1, ecoreType(text.substr(at + 2, close - at - 2)));
  }
  return text;
}

MetaModels load(const std::vector<std::string>& paths) {
  MetaModels models;
  models.registry = std::make_unique<meta::MetaRegistry>();
  models.mapping = ecore::loadMetaModels({paths.begin(), paths.end()}, *models.registry);
  return models;
}

}  // namespace

meta::Class MetaModels::classOf(std::string_view name) const { return meta::Class(registry->findType(name)); }

meta::Property MetaModels::property(std::string_view className, std::string_view name) const {
  return classOf(className)->findProperty(name);
}

MetaModels loadTexts(const std::vector<NamedText>& files) {
  static int folders = 0;
  const std::string folder = temporaryPath("ecore" + std::to_string(++folders));
  std::vector<std::string> paths;
  for (const auto& [name, text] : files) {
    const std::filesystem::path path = std::filesystem::path(folder) / name;
    std::filesystem::create_directories(path.parent_path());
    writeFile(path.string(), text);
    paths.push_back(path.string());
  }
  return load(paths);
}

MetaModels loadClassifiers(std::string_view classifiers) {
  return loadTexts({{"p.ecore", packageText("p", "urn:p", expandTypes(std::string(classifiers)))}});
}

MetaModels loadFiles(const std::vector<std::string>& paths) {
  std::vector<std::string> whole;
  for (const std::string& path : paths) whole.push_back(modelsDir() + "/" + path);
  return load(whole);
}

std::string packageText(std::string_view name, std::string_view uri, std::string_view contents) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ecore:EPackage xmi:version=\"2.0\" "
         "xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
         "xmlns:ecore=\"http://www.eclipse.org/emf/2002/Ecore\" name=\"" +
         std::string(name) + "\" nsURI=\"" + std::string(uri) + "\" nsPrefix=\"" + std::string(name) + "\">" +
         std::string(contents) + "</ecore:EPackage>\n";
}

std::string ecoreType(std::string_view name) {
  return "eType=\"ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//" + std::string(name) + "\"";
}

const MetaModels& nodeModels() {
  static const MetaModels models = loadClassifiers(nodeClassifiers);
  return models;
}

std::string nodeDocument(std::string_view attributes, std::string_view children) {
  return "<p:Node xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
         "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:p=\"urn:p\" " +
         std::string(attributes) + ">" + std::string(children) + "</p:Node>\n";
}

std::string refusalOf(std::string_view classifiers) {
  try {
    loadClassifiers(classifiers);
  } catch (const ecore::EcoreError& error) {
    return error.what();
  }
  return "nothing was refused";
}

std::string refusalOf(const MetaModels& models, std::string_view document) {
  try {
    models.read(document);
  } catch (const ecore::EcoreError& error) {
    return error.what();
  }
  return "nothing was refused";
}

std::string roundTrip(const MetaModels& models, std::string_view document) {
  const Model first = models.read(document);
  const Model second = models.read(models.write(first));
  return findDifference(first, second).value_or("equal");
}

}  // namespace kr::zero::test
