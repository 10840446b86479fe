#include <filesystem>
#include <map>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

namespace fs = std::filesystem;

// A document and where it goes.
struct Job {
  std::string output;
  Format format;
};

Format formatFor(const std::string& output, const ConvertOptions& options) {
  const std::optional<Format> wanted = formatNamed(options.to);
  return wanted ? *wanted : outputFormat(output, ", or give --to");
}

bool isFolder(const std::string& path) {
  std::error_code ignored;
  if (path.ends_with(".csv") || path.ends_with(".ndjson")) return false;  // a folder that is itself written
  return path.ends_with('/') || fs::is_directory(path, ignored);
}

// In a folder a document keeps its name, but for what tells the format.
std::string placeIn(const std::string& folder, const std::string& path, const ConvertOptions& options) {
  const std::string name = path == "-" ? "stdin" : fs::path(archive::unpackedName(path)).stem().string();
  return (fs::path(folder) / (name + "." + options.to)).string();
}

void refuseClashes(const std::vector<std::string>& paths, const std::vector<Job>& jobs) {
  std::map<std::string, std::string> taken;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const auto [place, isNew] = taken.emplace(jobs[i].output, paths[i]);
    if (!isNew)
      throw WrongCall(asName(place->second) + " and " + asName(paths[i]) + " would both become " +
                      asName(jobs[i].output));
  }
}

std::vector<Job> planIntoFolder(const std::vector<std::string>& paths, const ConvertOptions& options) {
  const std::optional<Format> wanted = formatNamed(options.to);
  if (!wanted) throw WrongCall("a folder tells no format: say with --to what the documents become");
  std::vector<Job> jobs;
  jobs.reserve(paths.size());
  for (const std::string& path : paths) jobs.push_back({placeIn(options.output, path, options), *wanted});
  refuseClashes(paths, jobs);
  return jobs;
}

std::vector<Job> plan(const std::vector<std::string>& paths, const ConvertOptions& options) {
  if (isFolder(options.output)) return planIntoFolder(paths, options);
  if (paths.size() != 1)
    throw WrongCall("several documents take a folder to go into: -o " + options.output +
                    "/, or join them with kr0 join");
  return {{options.output, formatFor(options.output, options)}};
}

// Without -o the last of the files is the one to write.
ConvertOptions withOutput(ConvertOptions options) {
  if (!options.output.empty()) return options;
  std::vector<std::string>& paths = options.inputs.paths;
  if (paths.size() != 2)
    throw WrongCall(
        "convert takes a document to read and one to write; several take -o DIR (see kr0 convert --help)");
  options.output = std::move(paths.back());
  paths.pop_back();
  return options;
}

void convertOne(const InputOptions& input, const Job& job, const WriteOptions& writing) {
  ProgressBar progress;
  Document document = readDocument(input.path, formatNamed(input.from), progress, input.limit);
  const LoadedDocument loaded = readModel(document, input, progress);
  document.bytes = {};  // the model holds everything now
  writeModel(loaded.model, job.output, job.format, loaded.metaModels, progress, writing);
}

}  // namespace

void requireUse(const WriteOptions& options, const std::string& output, Format format) {
  const bool isCompressed = format == Format::krz || archive::packingOfName(output) != archive::Packing::none;
  if (options.level && !isCompressed)
    throw WrongCall("--level is for outputs that are compressed: .krz, .gz and .zst");
  if (isTables(format) && archive::packingOfName(output) != archive::Packing::none)
    throw WrongCall(output + ": tables are not packed");
  if (isTables(format) && output == "-")
    throw WrongCall("tables go to files: standard output is none; kr0 query --csv prints one table");
  if (options.tagged && format != Format::krz)
    throw WrongCall("--tagged tells what is inside an archive: the output is none");
}

void convert(const ConvertOptions& call) {
  const ConvertOptions options = withOutput(call);
  const std::vector<Job> jobs = plan(options.inputs.paths, options);
  for (const Job& job : jobs) requireUse(options.writing, job.output, job.format);
  if (isFolder(options.output)) makeFolder(options.output);
  forEachInput(options.inputs, [&](const InputOptions& input, std::size_t position, TextOut&) {
    convertOne(input, jobs[position], options.writing);
  });
}

}  // namespace kr::zero::tool
