#include "ModelRows.h"

#include <algorithm>
#include <bit>
#include <deque>
#include <limits>

#include "kr/zero/SetValues.h"

namespace kr::zero::tables {

namespace {

using cells::Cell;
using meta::Property;
using meta::PropertyKind;
using Form = SlotPlan::Form;

constexpr std::uint64_t kProgressStep = 4096;

class Sender {
 public:
  Sender(const Model& model, Layout& layout, RowSink& sink, std::string_view document, std::int64_t before,
         const io::Progress& progress)
      : model_(model),
        layout_(layout),
        sink_(sink),
        document_(document),
        progress_(progress),
        plans_(layout.planFor(model)),
        last_(before) {}

  std::int64_t send() {
    notePlaces();
    for (const ConstElement element : model_.elements()) {
      if (placeOf(element).number == 0) continue;
      if (progress_ && ++sent_ % kProgressStep == 0 && !progress_(sent_))
        throw Error(ErrorCode::cancelled, "writing was cancelled");
      sendElement(element);
    }
    return last_;
  }

 private:
  static constexpr std::uint32_t kNowhere = std::numeric_limits<std::uint32_t>::max();

  /// Number of an element, and position below its container; what is not written has none.
  struct Place {
    std::int64_t number = 0;
    std::uint32_t position = kNowhere;
  };

  /// An element or datatype value whose row comes next.
  struct Row {
    ConstElement element;
    std::int64_t number;
    Field container;
    Field property;
    Field position;
  };

  Place& placeOf(ConstElement element) {
    const std::size_t index = element.getIndex();
    if (index >= places_.size()) places_.resize(index + index / 2 + 1);
    return places_[index];
  }

  /// Each element before its children: those of what is not written stay without a place.
  void notePlaces() {
    std::uint32_t position = 0;
    for (const ConstElement root : model_.roots()) placeOf(root).position = position++;
    for (const ConstElement element : model_.elements()) {
      if (placeOf(element).position == kNowhere) continue;
      placeOf(element).number = ++last_;
      const TypePlan& plan = *plans_[element.getType()->getIndex()];
      const SetValues set(element);
      for (std::size_t at = 0; at < set.size(); ++at) {
        if (plan.slots[set.slot(at)].form != Form::children) continue;
        std::uint32_t place = 0;
        for (const Cell cell : set.cells(at)) placeOf(set.element(cell)).position = place++;
      }
    }
  }

  static Field integer(std::int64_t value) { return value; }
  static Field text(std::string_view value) { return value; }

  void sendElement(ConstElement element) {
    const Place place = placeOf(element);
    Row row{element, place.number, {}, {}, integer(place.position)};
    if (const ConstElement container = element.getContainer()) {
      row.container = integer(placeOf(container).number);
      row.property = text(element.getContainingProperty()->name());
    }
    send(row);
    // Values of datatypes may hold others: each is a row of its own, as an element is.
    while (!parts_.empty()) {
      const Row part = parts_.front();
      parts_.pop_front();
      send(part);
    }
  }

  void send(const Row& row) {
    const meta::StructuredType type = row.element.getType();
    const TypePlan& plan = *plans_[type->getIndex()];
    sendToElements(row, type);
    const std::size_t columns = layout_.tables()[plan.table].columns.size();
    fields_.assign(columns, Field());
    fields_[0] = row.number;
    fields_[1] = row.container;
    fields_[2] = row.property;
    fields_[3] = row.position;
    if (layout_.isOfSeveral()) fields_[kRowColumns] = document_;
    scratch_.clear();
    const SetValues set(row.element);
    for (std::size_t at = 0; at < set.size(); ++at) {
      const SlotPlan slot = plan.slots[set.slot(at)];
      if (slot.form == Form::column && !set.isEmpty(at))
        fields_[slot.place] = fieldOf(set, at, 0);
      else if (slot.form == Form::reference && !set.isEmpty(at))
        fields_[slot.place] = targetOf(set, at, set.cells(at)[0]);
    }
    sink_.addRow(plan.table, fields_);
    for (std::size_t at = 0; at < set.size(); ++at) sendCollection(row, set, at, plan.slots[set.slot(at)]);
  }

  void sendToElements(const Row& row, meta::StructuredType type) {
    const auto identity = row.element.getClass() ? row.element.getIdentity() : std::nullopt;
    fields_ = {row.number,
               text(type->qualifiedName()),
               row.container,
               row.property,
               row.position,
               identity ? text(identity->first) : Field(),
               identity ? text(identity->second) : Field()};
    if (layout_.isOfSeveral()) fields_.emplace_back(document_);
    sink_.addRow(kElements, fields_);
  }

  void sendCollection(const Row& row, const SetValues& set, std::size_t at, const SlotPlan& slot) {
    const std::span<const Cell> cells = set.cells(at);
    for (std::size_t i = 0; i < cells.size(); ++i) {
      switch (slot.form) {
        case Form::parts:
          parts_.push_back({set.element(cells[i]), ++last_, row.number, text(set.property(at)->name()),
                            static_cast<std::int64_t>(i)});
          break;
        case Form::values:
          scratch_.clear();
          fields_ = {row.number, static_cast<std::int64_t>(i), fieldOf(set, at, i)};
          sink_.addRow(slot.place, fields_);
          break;
        case Form::reference:
        case Form::references:
          sendReference(row, set, at, i);
          break;
        default:
          return;
      }
    }
  }

  void sendReference(const Row& row, const SetValues& set, std::size_t at, std::size_t i) {
    const Cell cell = set.cells(at)[i];
    fields_.assign(8, Field());
    fields_[0] = row.number;
    fields_[1] = text(set.property(at)->name());
    fields_[2] = static_cast<std::int64_t>(i);
    if (!set.isUnresolved(at, cell)) {
      fields_[3] = targetOf(set, at, cell);
      fields_[4] = text(set.target(cell).getType()->qualifiedName());
    } else if (const cells::ReferenceTexts* const texts = cells::asUnresolved(cell)) {
      fields_[4] = texts->targetType->view();
      fields_[5] = texts->id1->view();
      fields_[6] = texts->id2->view();
      if (texts->qualifier != nullptr) fields_[7] = texts->qualifier->view();
    }
    if (layout_.isOfSeveral()) fields_.emplace_back(document_);
    sink_.addRow(kRefs, fields_);
  }

  /// The number of what a reference leads to; none where that is not among the rows.
  Field targetOf(const SetValues& set, std::size_t at, Cell cell) {
    const std::int64_t number = set.isUnresolved(at, cell) ? 0 : placeOf(set.target(cell)).number;
    return number == 0 ? Field() : integer(number);
  }

  Field fieldOf(const SetValues& set, std::size_t at, std::size_t i) {
    const Property property = set.property(at);
    const Cell cell = set.cells(at)[i];
    switch (property.get()->getKind()) {
      case PropertyKind::number:
        return numberOf(property.get()->getNumberInfo().kind, cell);
      case PropertyKind::text:
      case PropertyKind::dateTime:
        return cells::asText(cell)->view();
      case PropertyKind::enumeration:
        if (const auto* literal =
                meta::Enum(property->getType())->findByNumber(static_cast<std::int64_t>(cell)))
          return text(literal->name);
        [[fallthrough]];
      default:
        return text(scratch_.emplace_back(set.element().getTextForm(property, i)));
    }
  }

  static Field numberOf(meta::StandardKind kind, Cell cell) {
    switch (kind) {
      case meta::StandardKind::boolean:
        return cell != 0;
      case meta::StandardKind::real:
        return std::bit_cast<double>(cell);
      case meta::StandardKind::unsignedInteger:
        return std::uint64_t{cell};
      default:
        return static_cast<std::int64_t>(cell);
    }
  }

  const Model& model_;
  Layout& layout_;
  RowSink& sink_;
  std::string_view document_;
  const io::Progress& progress_;
  Plans plans_;
  std::vector<Place> places_;  // by index
  std::int64_t last_;          // number given last
  std::uint64_t sent_ = 0;
  std::deque<Row> parts_;
  std::vector<Field> fields_;
  std::deque<std::string> scratch_;  // texts of the row that is being made
};

}  // namespace

std::int64_t sendRows(const Model& model, Layout& layout, RowSink& sink, std::string_view document,
                      std::int64_t before, const io::Progress& progress) {
  return Sender(model, layout, sink, document, before, progress).send();
}

}  // namespace kr::zero::tables
