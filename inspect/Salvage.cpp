#include "kr/zero/inspect/Salvage.h"

#include <exception>
#include <memory>
#include <optional>

#include "DirectScan.h"
#include "ModelOfItems.h"
#include "Resume.h"
#include "TaggedScan.h"
#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryParser.h"

namespace kr::zero::inspect {

namespace {

/// What the library's own parser makes of a document that is whole.
template <class Parser>
std::optional<Model> readWhole(const std::vector<std::uint8_t>& document,
                               const meta::MetaRegistry& registry) {
  Parser parser(std::make_unique<io::ParseCustomizer>(registry),
                std::make_unique<io::ParsingModelBuilder>(false));
  try {
    if (parser.parse(io::ParsingInput::fromByteSequence(document))) return parser.takeModel();
  } catch (const std::exception&) {
    // It is damaged. Want of memory says that too: a length may be anything.
  }
  return std::nullopt;
}

template <class Scan>
Salvaged readDamaged(std::string_view document, const meta::MetaRegistry& registry) {
  TypeTable types(registry);
  Scan scan(document, &types);
  ModelOfItems model(registry);
  TolerantReader<Scan>(scan, model).readAll();
  return model.finish();
}

template <class Parser, class Scan>
Salvaged salvageAs(std::string_view document, const meta::MetaRegistry& registry) {
  if (std::optional<Model> whole = readWhole<Parser>({document.begin(), document.end()}, registry))
    return {std::move(*whole), {}};
  return readDamaged<Scan>(document, registry);
}

}  // namespace

Salvaged salvage(std::string_view document, const SalvageOptions& options) {
  const meta::MetaRegistry& registry =
      options.registry != nullptr ? *options.registry : meta::MetaRegistry::instance();
  try {
    if (options.tagged) return salvageAs<io::BinaryKRSylvanParser, TaggedScan>(document, registry);
    return salvageAs<io::BinaryParser, DirectScan>(document, registry);
  } catch (...) {
    rethrowAsError({.file = "the document"});
  }
}

}  // namespace kr::zero::inspect
