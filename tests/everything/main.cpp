// Generates code for the meta model with everything: everything FOLDER
#include <fstream>
#include <iostream>
#include <string>

#include "everything/EverythingModel.h"
#include "kr/zero/cpp/GenerateCpp.h"

int main(int count, char** arguments) {
  if (count != 2) return 2;
  kr::zero::meta::MetaRegistry registry;
  kr::zero::test::registerEverything(registry);
  for (const kr::zero::cpp::File& file : kr::zero::cpp::generate(registry, {}, "test_models")) {
    std::ofstream out(std::string(arguments[1]) + "/" + file.name, std::ios::binary);
    if (!(out << file.text).flush()) {
      std::cerr << "cannot write " << file.name << '\n';
      return 1;
    }
  }
  return 0;
}
