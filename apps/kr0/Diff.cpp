// kr0 diff: what differs between two documents.
#include <algorithm>
#include <array>
#include <map>

#include "Compare.h"
#include "Errors.h"
#include "Files.h"
#include "Manner.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

using compare::Difference;
using compare::DifferenceKind;
using compare::ModelDiff;

// Lines on their way to standard output, in colors where these are wanted.
class Lines {
 public:
  void add(std::string_view line, std::string_view color = {}) {
    const bool isColored = !color.empty() && usesColor();
    if (isColored) text_.append("\x1b[").append(color).append("m");
    appendVisible(text_, line);
    if (isColored) text_ += "\x1b[m";
    text_ += '\n';
    if (text_.size() >= kMostKept) flush();
  }
  void flush() {
    writeOutput("-", text_);
    text_.clear();
  }

 private:
  static constexpr std::size_t kMostKept = 1 << 16;
  std::string text_;
};

std::string_view colorOf(DifferenceKind kind) {
  switch (kind) {
    case DifferenceKind::added:
      return "32";  // green
    case DifferenceKind::removed:
      return "31";  // red
    case DifferenceKind::moved:
    case DifferenceKind::reordered:
      return "36";  // cyan
    default:
      return "33";  // yellow
  }
}

const std::string& classOf(const Difference& difference) {
  return (difference.before ? difference.before : difference.after).getType()->qualifiedName();
}

void printLines(const ModelDiff& diff) {
  Lines lines;
  for (const Difference& difference : diff.differences())
    lines.add(difference.sentence(), colorOf(difference.kind));
  lines.flush();
}

// How many there are of each kind, in all and by class.
void printStat(const ModelDiff& diff) {
  using Counts = std::array<std::size_t, kDifferenceKinds.size()>;
  std::map<std::string, Counts> counts;
  Counts all{};
  for (const Difference& difference : diff.differences()) {
    const auto kind = static_cast<std::size_t>(difference.kind);
    ++all[kind];
    ++counts[classOf(difference)][kind];
  }
  const auto listed = [](const Counts& of) {
    std::string text;
    for (const DifferenceKind kind : kDifferenceKinds) {
      const std::size_t count = of[static_cast<std::size_t>(kind)];
      if (count != 0)
        text += (text.empty() ? "" : ", ") + std::to_string(count) + ' ' + std::string(compare::nameOf(kind));
    }
    return text;
  };
  Lines lines;
  if (!diff.isEmpty()) lines.add("differences: " + listed(all));
  for (const auto& [name, of] : counts) lines.add("  " + asName(name) + ": " + listed(of));
  lines.flush();
}

// Members of a JSON object, in a line.
class JsonObject {
 public:
  void add(std::string_view name, std::string_view text) { addRaw(name, inQuotes(text)); }
  void add(std::string_view name, std::size_t number) { addRaw(name, std::to_string(number)); }
  std::string text() const { return '{' + members_ + '}'; }

 private:
  void addRaw(std::string_view name, const std::string& value) {
    members_ += (members_.empty() ? "" : ", ") + inQuotes(name) + ": " + value;
  }
  std::string members_;
};

std::string asJson(const Difference& difference) {
  JsonObject object;
  object.add("kind", compare::nameOf(difference.kind));
  object.add("class", classOf(difference));
  if (difference.before) object.add("before", difference.pathBefore);
  if (difference.after) object.add("after", difference.pathAfter);
  switch (difference.kind) {
    case DifferenceKind::added:
    case DifferenceKind::removed:
      object.add("elements", difference.elements);
      break;
    case DifferenceKind::changed:
      object.add("property", difference.property->name());
      [[fallthrough]];
    case DifferenceKind::identity:
      object.add("from", difference.valueBefore);
      object.add("to", difference.valueAfter);
      break;
    default:
      break;
  }
  return object.text();
}

void printJson(const ModelDiff& diff) {
  Lines lines;
  lines.add("{");
  lines.add(diff.isEmpty() ? "  \"equal\": true," : "  \"equal\": false,");
  lines.add(diff.isEmpty() ? "  \"differences\": []" : "  \"differences\": [");
  for (std::size_t left = diff.differences().size(); const Difference& difference : diff.differences())
    lines.add("    " + asJson(difference) + (--left == 0 ? "" : ","));
  if (!diff.isEmpty()) lines.add("  ]");
  lines.add("}");
  lines.flush();
}

void print(const ModelDiff& diff, const DiffOptions& options) {
  if (options.json)
    printJson(diff);
  else if (options.stat)
    printStat(diff);
  else
    printLines(diff);
}

// git passes PATH OLD-FILE OLD-HEX OLD-MODE NEW-FILE NEW-HEX NEW-MODE, and of a renamed file two words more;
// of one in conflict it passes PATH alone. It takes any exit code but 0 for the end of everything.
void diffForGit(const DiffOptions& options) {
  constexpr std::size_t kOld = 1, kNew = 4, kWords = 7;
  const std::vector<std::string>& words = options.paths;
  Lines lines;
  lines.add("kr0 diff " + asName(words.at(0)), "1");
  if (words.size() < kWords) {
    lines.add("  in conflict");
    return lines.flush();
  }
  lines.flush();
  try {
    const Versions versions = loadVersions({words[kOld], words[kNew]}, options);
    print(compare::compareModels(versions.models[0], versions.models[1], compareOptions(versions.metaModels)),
          options);
  } catch (const ReaderGone&) {
    throw;
  } catch (...) {
    complain(std::current_exception());
  }
}

void diffTwo(const DiffOptions& options) {
  if (options.json && options.stat) throw WrongCall("--json and --stat are two ways of printing");
  if (options.paths.size() != 2) throw WrongCall("diff takes two documents (see kr0 diff --help)");
  const Versions versions = loadVersions(options.paths, options);
  const ModelDiff diff =
      compare::compareModels(versions.models[0], versions.models[1], compareOptions(versions.metaModels));
  print(diff, options);
  if (!diff.isEmpty()) throw AnsweredNo();
}

}  // namespace

void diff(const DiffOptions& options) {
  if (options.isForGit) return diffForGit(options);
  withTroubleAs2([&] { diffTwo(options); });
}

}  // namespace kr::zero::tool
