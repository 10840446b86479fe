// Converts checklists between text and every format of kr0, which brings them what the formats have: small
// documents, checksums, differences, queries.

#include <kr0/kr0.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "TextForm.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/io/AtomicFile.h"

namespace fs = std::filesystem;
using kr::zero::Model;
using kr::zero::meta::MetaRegistry;

namespace {

bool isText(const fs::path& path) { return path.extension() == ".md"; }
bool isArchive(const fs::path& path) { return path.extension() == ".krz"; }

Model load(const fs::path& path, const MetaRegistry& registry) {
  if (isArchive(path)) return kr::zero::archive::loadArchive(path, registry);
  if (!isText(path)) return kr::zero::io::loadModel(path, registry);
  std::ifstream file(path);
  if (!file) throw std::runtime_error("it cannot be read");
  return checklist::readText(file, registry);
}

void save(const Model& model, const fs::path& path) {
  if (isArchive(path)) return kr::zero::archive::saveArchive(model, path);
  if (!isText(path)) return kr::zero::io::saveModel(model, path);
  std::ostringstream text;
  checklist::writeText(model, text);
  kr::zero::io::AtomicFile file(path);
  file.write(text.str());
  file.commit();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "checklist IN OUT: .md is text, .krb, .krt and .krz are documents of kr0\n";
    return 2;
  }
  try {
    MetaRegistry registry;
    checklist::defineTypes(registry);
    save(load(argv[1], registry), argv[2]);
    return EXIT_SUCCESS;
  } catch (const kr::zero::Error& error) {
    std::cerr << "checklist: " << error.what() << '\n';  // names the file
  } catch (const std::exception& error) {
    std::cerr << "checklist: " << argv[1] << ": " << error.what() << '\n';
  }
  return EXIT_FAILURE;
}
