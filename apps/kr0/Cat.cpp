#include "Commands.h"
#include "Files.h"
#include "TreePrinters.h"

namespace kr::zero::tool {

namespace {

Model load(const ShowOptions& options, const MetaModels& metaModels) {
  ProgressBar progress;  // gone before the first line is printed
  return readModel(readDocument(options.input, formatNamed(options.from), progress), metaModels, progress);
}

}  // namespace

void cat(const ShowOptions& options) {
  const MetaModels metaModels(options.metaModels);
  const Model model = load(options, metaModels);
  TextOut out;
  options.json ? printJson(model, out) : printText(model, out);
  out.flush();
}

}  // namespace kr::zero::tool
