// Any bytes for the reader of models in the tagged format, with a fixed meta model.
#include "common/Documents.h"
#include "common/Mutations.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = 0, .documents = Documents::tagged};

void examine(Input input) {
  static ModelReader reader(kTagged, test::goldenRegistry(), intactDocument(kTagged));
  reader.examine({input.begin(), input.end()});
}

}  // namespace kr::zero::fuzz
