#include "Commands.h"

namespace kr::zero::tool {

void convert(const ConvertOptions& options) {
  const std::optional<Format> wanted = formatNamed(options.to);
  const Format format = wanted ? *wanted : outputFormat(options.output);
  ProgressBar progress;
  progress.startStep("loading the meta models");
  const MetaModels metaModels(options.metaModels);
  Document document = readDocument(options.input, formatNamed(options.from), progress);
  const Model model = readModel(document, metaModels, progress);
  document.bytes = {};  // the model holds everything now
  writeModel(model, options.output, format, metaModels, progress);
}

}  // namespace kr::zero::tool
