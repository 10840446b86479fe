// Uses code that was generated for a meta model, from another package than the one that the main program
// knows.
#include "kr/zero/Typed.h"

#include "library.kr0.h"
#include "typed.h"

std::string titleByType() {
  kr::zero::meta::MetaRegistry registry;
  acme::library::registerIn(registry);
  kr::zero::Model model(registry);
  const auto book = kr::zero::createRoot<acme::library::AudioBook>(model);
  book.setTitle("it came back");
  return std::string(kr::zero::as<acme::library::Book>(model.getRoots().front()).getTitle());
}
