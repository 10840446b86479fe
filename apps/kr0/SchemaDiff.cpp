#include "kr/zero/evolution/SchemaDiff.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

using evolution::DocumentFormat;
using evolution::Effect;
using evolution::SchemaChange;
using Json = nlohmann::ordered_json;

evolution::CompareOptions optionsOf(const std::vector<std::string>& renames) {
  evolution::CompareOptions options;
  for (const std::string& rename : renames) {
    const std::size_t equals = rename.find('=');
    if (equals == 0 || equals == std::string::npos || equals + 1 == rename.size())
      throw WrongCall("--rename: \"" + rename + "\" is not of the form OLD=NEW");
    options.renames[rename.substr(0, equals)] = rename.substr(equals + 1);
  }
  return options;
}

/// The worst effect on documents of the formats that count.
class Weight {
 public:
  explicit Weight(const std::vector<std::string>& names) {
    for (const DocumentFormat format : evolution::kDocumentFormats)
      if (names.empty() || std::find(names.begin(), names.end(), nameOf(format)) != names.end())
        formats_.push_back(format);
  }

  Effect of(const SchemaChange& change) const {
    Effect worst = Effect::nothing;
    for (const DocumentFormat format : formats_) worst = std::max(worst, change.effects.of(format));
    return worst;
  }
  bool breaks(const SchemaChange& change) const { return of(change) >= Effect::refused; }

 private:
  std::vector<DocumentFormat> formats_;
};

Json asJson(const SchemaChange& change) {
  Json effects;
  for (const DocumentFormat format : evolution::kDocumentFormats)
    effects[std::string(nameOf(format))] = nameOf(change.effects.of(format));
  return {{"kind", nameOf(change.kind)}, {"subject", change.subject}, {"before", change.before},
          {"after", change.after},       {"effects", effects},        {"sentence", change.sentence}};
}

void printJsonChanges(const std::vector<SchemaChange>& changes, bool breaks, TextOut& out) {
  Json list = Json::array();
  for (const SchemaChange& change : changes) list.push_back(asJson(change));
  out << Json{{"breaks", breaks}, {"changes", std::move(list)}}.dump(1) << '\n';
}

void printTextChanges(const std::vector<SchemaChange>& changes, const Weight& weight, TextOut& out) {
  constexpr std::size_t kWidest = 12;
  std::size_t breaking = 0;
  for (const SchemaChange& change : changes) {
    std::string effect(nameOf(weight.of(change)));
    effect.resize(kWidest, ' ');
    out << effect << asOneLine(change.subject) << ": " << asOneLine(change.sentence) << '\n';
    if (weight.breaks(change)) ++breaking;
  }
  const std::size_t count = changes.size();
  if (count == 0)
    out << "no change that documents could tell\n";
  else
    out << std::to_string(count) << (count == 1 ? " change, " : " changes, ")
        << (breaking == 0 ? "none" : std::to_string(breaking)) << (breaking == 1 ? " breaks" : " break")
        << " old documents\n";
}

}  // namespace

void diffSchemas(const SchemaDiffOptions& options) {
  if (options.after.empty())
    throw WrongCall("which files are the new ones? Give them behind --: kr0 schema diff OLD... -- NEW...");
  const evolution::CompareOptions compared = optionsOf(options.renames);
  const auto load = [&](const std::vector<std::string>& paths) {
    ReadOptions reading = options.reading;
    reading.metaModels = paths;
    return MetaModels(reading);
  };
  const MetaModels before = load(options.before), after = load(options.after);
  const auto changes = evolution::compareSchemas(before.registry(), after.registry(), compared);
  const Weight weight(options.formats);
  const bool breaks = std::any_of(changes.begin(), changes.end(),
                                  [&](const SchemaChange& change) { return weight.breaks(change); });
  TextOut out;
  options.json ? printJsonChanges(changes, breaks, out) : printTextChanges(changes, weight, out);
  out.flush();
  if (breaks) throw AnsweredNo();
}

}  // namespace kr::zero::tool
