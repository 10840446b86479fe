#include "kr/zero/inspect/Salvage.h"

#include <algorithm>
#include <iostream>

#include "Damaged.h"
#include "Errors.h"
#include "Files.h"
#include "Inspect.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

constexpr std::size_t kMostLossLines = 20;

/// Whatever is wrong with the frame of an archive concerns all that is in it.
std::vector<std::string> linesOf(const inspect::Salvaged& saved, const std::string& damage) {
  std::vector<std::string> lines;
  if (!damage.empty())
    lines.push_back("the document of the archive is damaged: " + damage +
                    "; what was unpacked is read, and any of its values may be wrong");
  for (const inspect::Loss& loss : saved.losses) lines.push_back(loss.text);
  return lines;
}

void report(const std::vector<std::string>& lines, const SalvageOptions& options, const std::string& name) {
  if (!options.report.empty()) {
    std::string text;
    for (const std::string& line : lines) text += asOneLine(line) + '\n';
    return writeOutput(options.report, text);
  }
  const std::size_t told = std::min(lines.size(), kMostLossLines);
  for (std::size_t i = 0; i < told; ++i) std::cerr << "kr0: " + name + ", " + asOneLine(lines[i]) + '\n';
  if (told != lines.size())
    std::cerr << "kr0: " << name << ", " << lines.size() - told << " more; --report FILE lists all\n";
}

inspect::Salvaged salvage(const Document& document, const InnerDocument& inner,
                          const MetaModels& metaModels) {
  const bool isInArchive = document.format == Format::krz;
  const std::string_view text(reinterpret_cast<const char*>(inner.bytes.data()), inner.bytes.size());
  return inspect::salvage(isInArchive ? text : document.text(),
                          {.registry = &metaModels.registry(), .tagged = inner.format == Format::krt});
}

}  // namespace

void salvage(const SalvageOptions& options) {
  const std::optional<Format> wanted = formatNamed(options.to);
  const Format format = wanted ? *wanted : outputFormat(options.output);
  ProgressBar progress;
  Document document =
      readDocument(options.input.path, formatNamed(options.input.from), progress, options.input.limit);
  requireBinary(document);
  progress.startStep("loading the meta models");
  const std::optional<MetaModels> metaModels = findMetaModels(document, options.input);
  if (!metaModels)
    throw WrongCall(document.name + ": saving what is left takes the meta model, give it with -m or --meta");
  progress.startStep("saving what is left of " + document.name);
  const InnerDocument inner =
      document.format == Format::krz ? readInner(document) : InnerDocument{.format = document.format};
  const inspect::Salvaged saved = salvage(document, inner, *metaModels);
  const std::vector<std::string> lines = linesOf(saved, inner.damage);
  if (saved.model.size() == 0 && !lines.empty())
    throw Error(ErrorCode::damaged,
                ErrorDetails{.file = document.name, .problem = "no element can be read: " + lines.front()});
  const std::string name = document.name;
  document.bytes = {};  // the model holds everything now
  writeModel(saved.model, options.output, format, *metaModels, progress);
  if (lines.empty()) return;
  report(lines, options, name);
  throw AlreadyTold(exitWithProblems);
}

}  // namespace kr::zero::tool
