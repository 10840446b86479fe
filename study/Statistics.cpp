#include "kr/zero/study/Statistics.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "kr/zero/Cells.h"
#include "kr/zero/Records.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::study {

namespace {

using meta::PropertyKind;

class Gathering {
 public:
  Statistics run(const Model& model, std::size_t frequentTexts) {
    for (const ConstElement root : model.roots()) {
      ++result_.roots;
      waiting_.push_back({root, 0});
      while (!waiting_.empty()) {
        const Waiting next = waiting_.back();
        waiting_.pop_back();
        visit(next);
      }
    }
    takeTypes();
    takeTexts(frequentTexts);
    return std::move(result_);
  }

 private:
  /// An element or datatype value that was met and not looked at.
  struct Waiting {
    ConstElement element;
    std::size_t depth;
  };
  struct Counts {
    std::uint64_t set = 0;
    std::uint64_t values = 0;
  };
  struct Row {
    meta::StructuredType type;
    std::uint64_t instances = 0;
    std::vector<Counts> slots = {};
  };

  void visit(const Waiting& next) {
    const std::size_t index = rowOf(next.element.getType());
    ++rows_[index].instances;
    if (next.element.getClass()) {
      ++result_.elements;
      if (next.depth >= result_.depths.size()) result_.depths.resize(next.depth + 1);
      ++result_.depths[next.depth];
    }
    const std::vector<meta::Property>& properties = rows_[index].type->getAllProperties();
    const internal::ElementRecord& record = *internal::ElementAccess::recordOf(next.element);
    for (std::size_t i = 0; i < record.count; ++i) {
      const std::size_t slot = cells::slotOf(record.slots()[i]);
      const meta::Property property = properties[slot];
      if (!property->isWritten() || property->getIdentifier() == 0) continue;
      const std::size_t size = next.element.size(property);
      Counts& counts = rows_[index].slots[slot];
      ++counts.set;
      counts.values += size;
      for (std::size_t k = 0; k < size; ++k) visitValue(next, property, k);
    }
  }

  void visitValue(const Waiting& holder, meta::Property property, std::size_t position) {
    switch (property->getKind()) {
      case PropertyKind::composition:
        return waiting_.push_back({holder.element.getElement(property, position), holder.depth + 1});
      case PropertyKind::datatype:
        return waiting_.push_back({holder.element.getElement(property, position), holder.depth});
      case PropertyKind::association:
        return visitReference(holder.element, property, position);
      case PropertyKind::text:
      case PropertyKind::dateTime:
        return visitText(holder.element.getText(property, position));
      default:
        return;
    }
  }

  void visitReference(ConstElement element, meta::Property property, std::size_t position) {
    ReferenceStatistics& references = result_.references;
    if (element.getReference(property, position))
      ++references.resolved;
    else
      ++(element.getUnresolved(property, position)->qualifier ? references.outside : references.unresolved);
  }

  void visitText(std::string_view text) {
    TextStatistics& texts = result_.texts;
    ++texts.count;
    texts.bytes += text.size();
    texts.longest = std::max<std::uint64_t>(texts.longest, text.size());
    ++texts_[text];
  }

  std::size_t rowOf(meta::StructuredType type) {
    const std::size_t index = type->getIndex();
    if (index >= rows_.size()) rows_.resize(index + 1);
    if (!rows_[index].type) rows_[index] = {type, 0, std::vector<Counts>(type->getAllProperties().size())};
    return index;
  }

  void takeTypes() {
    for (const Row& row : rows_) {
      if (!row.type) continue;
      TypeStatistics type{row.type, row.instances, {}};
      for (std::size_t slot = 0; slot < row.slots.size(); ++slot)
        if (row.slots[slot].set != 0)
          type.properties.push_back(
              {row.type->getAllProperties()[slot], row.slots[slot].set, row.slots[slot].values});
      result_.types.push_back(std::move(type));
    }
    std::sort(result_.types.begin(), result_.types.end(),
              [](const TypeStatistics& a, const TypeStatistics& b) {
                return a.type->qualifiedName() < b.type->qualifiedName();
              });
  }

  void takeTexts(std::size_t frequentTexts) {
    using Entry = std::pair<std::string_view, std::uint64_t>;
    result_.texts.different = texts_.size();
    std::vector<Entry> repeated;
    for (const auto& entry : texts_)
      if (entry.second > 1) repeated.push_back(entry);
    const std::size_t size = std::min(frequentTexts, repeated.size());
    std::partial_sort(repeated.begin(), repeated.begin() + static_cast<std::ptrdiff_t>(size), repeated.end(),
                      [](const Entry& a, const Entry& b) {
                        return std::pair(b.second, a.first) < std::pair(a.second, b.first);
                      });
    for (std::size_t i = 0; i < size; ++i)
      result_.texts.most.push_back({std::string(repeated[i].first), repeated[i].second});
  }

  Statistics result_;
  std::vector<Row> rows_;  // by type index
  std::vector<Waiting> waiting_;
  std::unordered_map<std::string_view, std::uint64_t, TextHash> texts_;  // views into the model
};

}  // namespace

Statistics gatherStatistics(const Model& model, std::size_t frequentTexts) {
  return Gathering().run(model, frequentTexts);
}

}  // namespace kr::zero::study
