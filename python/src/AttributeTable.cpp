#include "AttributeTable.h"

#include <utility>

#include "ElementObject.h"
#include "Names.h"

namespace kr::zero::python {

namespace {

// So many names are learnt: a program that makes up names as it goes would fill memory otherwise.
constexpr std::size_t kMostNames = 4096;

// Also what every object has.
bool isOwn(PyObject* name) {
  return textOf(name).starts_with("__") || PyDict_Contains(elementType()->tp_dict, name) == 1;
}

bool isOwnOrWord(const py::object& name) {
  return isOwn(name.ptr()) || importedName("keyword", "iskeyword")(name).cast<bool>();
}

}  // namespace

AttributeTable::~AttributeTable() {
  for (const Entry& entry : entries_) Py_XDECREF(entry.name);
}

std::uint32_t AttributeTable::findExact(std::string_view name) const {
  const std::size_t slot = type_->findSlot(name);
  return slot == meta::StructuredType::Impl::npos ? kNone : static_cast<std::uint32_t>(slot);
}

std::uint32_t AttributeTable::learn(PyObject* name) {
  std::uint32_t slot = kNone;
  if (!isOwn(name)) {
    const std::string_view text = textOf(name);
    slot = findExact(text);
    if (slot == kNone && text.ends_with('_')) {
      const std::string_view plain = text.substr(0, text.size() - 1);
      if (isOwnOrWord(toStr(plain))) slot = findExact(plain);
    }
  }
  if (!PyUnicode_CHECK_INTERNED(name) || count_ == kMostNames) return slot;
  if (2 * (count_ + 1) > entries_.size()) {
    std::vector<Entry> old = std::exchange(entries_, std::vector<Entry>(2 * entries_.size()));
    mask_ = entries_.size() - 1;
    for (const Entry& entry : old)
      if (entry.name != nullptr) enter(entry);
  }
  Py_INCREF(name);
  enter({name, slot});
  ++count_;
  return slot;
}

void AttributeTable::enter(Entry entry) noexcept {
  std::size_t at = hash(entry.name) & mask_;
  while (entries_[at].name != nullptr) at = (at + 1) & mask_;
  entries_[at] = entry;
}

py::list AttributeTable::names() const {
  py::list names;
  for (const meta::Property property : type_->getAllProperties()) {
    if (!property->isStored()) continue;
    const py::object name = toStr(property->name());
    names.append(isOwnOrWord(name) ? toStr(property->name() + "_") : name);
  }
  return names;
}

}  // namespace kr::zero::python
