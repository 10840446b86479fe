// Any bytes for the reader of the direct format, with a fixed meta model.
#include "common/Documents.h"
#include "common/Mutations.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = 0, .documents = Documents::direct};

void examine(Input input) {
  static ModelReader reader(kDirect, test::goldenRegistry(), intactDocument(kDirect));
  reader.examine({input.begin(), input.end()});
}

}  // namespace kr::zero::fuzz
