#include "cpp/CppTesting.h"

#include "all.kr0.h"
#include "library.kr0.h"

namespace kr::zero::test {

const meta::MetaRegistry& generatedRegistry() {
  static const meta::MetaRegistry& registry = []() -> const meta::MetaRegistry& {
    auto* const made = new meta::MetaRegistry;
    models::library::registerIn(*made);
    test_models::all::registerIn(*made);
    return *made;
  }();
  return registry;
}

}  // namespace kr::zero::test
