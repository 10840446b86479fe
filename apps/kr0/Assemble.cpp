#include "Assemble.h"

#include <deque>
#include <filesystem>
#include <iostream>
#include <optional>

#include "Commands.h"
#include "Errors.h"
#include "Manner.h"
#include "Visible.h"
#include "kr/zero/Assemble.h"
#include "kr/zero/ElementPath.h"

namespace kr::zero::tool {

namespace {

Format formatOf(const OutputOptions& output) {
  const std::optional<Format> wanted = formatNamed(output.to);
  const Format format = wanted ? *wanted : outputFormat(output.path, ", or give --to");
  requireUse(output.writing, output.path, format);
  return format;
}

// The name by which other documents in the same folder mean it.
std::string documentName(const std::string& path) {
  return path == "-" ? "stdin" : std::filesystem::path(path).filename().string();
}

void write(const Model& model, const OutputOptions& output, Format format, const MetaModels& metaModels) {
  ProgressBar progress;
  writeModel(model, output.path, format, metaModels, progress, output.writing);
}

// The meta models of the first document count for all.
class Documents {
 public:
  explicit Documents(const InputsOptions& inputs) : inputs_(inputs) {
    for (std::size_t i = 0; i < inputs.paths.size(); ++i) read(inputs.at(i));
  }
  std::vector<JoinSource> sources() const {
    std::vector<JoinSource> sources;
    for (std::size_t i = 0; i < models_.size(); ++i)
      sources.push_back({&models_[i], documentName(inputs_.paths[i])});
    return sources;
  }
  const MetaModels& metaModels() const { return *metaModels_; }

 private:
  void read(const InputOptions& input) {
    if (!metaModels_) {
      LoadedDocument loaded = loadDocument(input);
      metaModels_ = loaded.metaModels;
      models_.push_back(std::move(loaded.model));
      return;
    }
    ProgressBar progress;
    const Document document = readDocument(input.path, formatNamed(input.from), progress, input.limit);
    try {
      models_.push_back(readModel(document, *metaModels_, progress, input));
    } catch (const Error& error) {
      if (document.format != Format::krz || error.getCode() != ErrorCode::doesNotFit) throw;
      throw Error(ErrorCode::doesNotFit,
                  ErrorDetails{.file = document.name,
                               .problem = "it does not go with the meta model that " +
                                          inputName(inputs_.paths.front()) + " brings (" +
                                          error.getDetails().problem + "); give that of all with -m"});
    }
  }

  const InputsOptions& inputs_;
  std::optional<MetaModels> metaModels_;
  std::deque<Model> models_;
};

JoinedModels joinAll(const std::vector<JoinSource>& sources, const JoinOptions& options) {
  try {
    return joinModels(sources, {.dropClashes = options.dropClashes});
  } catch (const ModelError& error) {
    ErrorDetails details = error.getDetails();
    details.problem += "; --drop-clashes takes it from the later one";
    throw Error(error.getCode(), details);
  }
}

void sayDropped(std::size_t dropped) {
  if (dropped == 0 || manner().isQuiet) return;
  std::cerr << "kr0: " + std::to_string(dropped) +
                   (dropped == 1 ? " identity was that of an element before it, and is dropped\n"
                                 : " identities were those of elements before them, and are dropped\n");
}

std::vector<ConstElement> findAll(const Model& model, const ExtractOptions& options) {
  std::vector<ConstElement> elements;
  for (const std::string& path : options.paths) {
    elements.push_back(findElement(model, path));
    if (!elements.back())
      throw Error(ErrorCode::misuse, ErrorDetails{.file = inputName(options.input.path),
                                                  .problem = "no element has the path " + asName(path)});
  }
  return elements;
}

}  // namespace

void join(const JoinOptions& options) {
  const Format format = formatOf(options.output);
  const Documents documents(options.inputs);
  const JoinedModels joined = joinAll(documents.sources(), options);
  write(joined.model, options.output, format, documents.metaModels());
  sayDropped(joined.dropped);
}

void extract(const ExtractOptions& options) {
  const Format format = formatOf(options.output);
  const LoadedDocument loaded = loadDocument(options.input);
  const Model part = extractElements(
      loaded.model, findAll(loaded.model, options),
      {.document = documentName(options.input.path), .withReferences = options.withReferences});
  write(part, options.output, format, loaded.metaModels);
}

}  // namespace kr::zero::tool
