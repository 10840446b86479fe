#include "TextForm.h"

#include <istream>
#include <ostream>
#include <vector>

#include "kr/zero/meta/MetaModelBuilder.h"

namespace checklist {

using kr::zero::ConstElement;
using kr::zero::Element;

namespace {

constexpr std::string_view kTitle = "# ", kOpen = "- [ ] ", kDone = "- [x] ";
constexpr std::size_t kBlanksPerLevel = 2;

/// A task as it stands in a line.
struct Line {
  std::size_t level;
  bool isDone;
  std::string_view text;
};

Line parse(std::string_view line, std::size_t number) {
  const std::size_t blanks = std::min(line.find_first_not_of(' '), line.size());
  if (blanks % kBlanksPerLevel != 0) throw BadLine(number, "tasks are indented by two blanks for each level");
  const std::string_view rest = line.substr(blanks);
  const bool isDone = rest.starts_with(kDone);
  if (!isDone && !rest.starts_with(kOpen))
    throw BadLine(number, "a task begins with \"- [ ] \" or \"- [x] \"");
  return {blanks / kBlanksPerLevel, isDone, rest.substr(kOpen.size())};
}

}  // namespace

void defineTypes(kr::zero::meta::MetaRegistry& registry) {
  kr::zero::meta::MetaModelBuilder types("http://www.example.org/checklist", "checklist");
  // The numbers are what documents hold, so they are written down and never used for anything else.
  auto& list = types.classType("List");
  list.property("title", "String").id(1).required();
  list.property("tasks", "Task").id(2).many().composite();
  auto& task = types.classType("Task");
  task.property("text", "String").id(1).required();
  task.property("done", "Boolean").id(2);
  task.property("tasks", "Task").id(3).many().composite();
  types.registerIn(registry);
}

kr::zero::Model readText(std::istream& in, const kr::zero::meta::MetaRegistry& registry) {
  kr::zero::Model model(registry);
  std::vector<Element> open;  // the list, and the task above on each level
  std::string line;
  for (std::size_t number = 1; std::getline(in, line); ++number) {
    if (line.empty()) continue;
    if (open.empty()) {
      if (!line.starts_with(kTitle)) throw BadLine(number, "a checklist begins with \"# \" and its title");
      open.push_back(model.createRoot("checklist.List"));
      open.back().set("title", line.substr(kTitle.size()));
      continue;
    }
    const Line task = parse(line, number);
    if (task.level >= open.size()) throw BadLine(number, "there is no task above that it belongs to");
    open.resize(task.level + 1);
    Element element = open.back().create("tasks");
    element.set("text", task.text);
    element.set("done", task.isDone);
    open.push_back(element);
  }
  if (open.empty()) throw BadLine(1, "the checklist is empty");
  return model;
}

void writeText(const kr::zero::Model& model, std::ostream& out) {
  for (const ConstElement list : model.elements("checklist.List")) {
    out << kTitle << list.getText("title") << '\n';
    // Elements come in document order: a task before those below it.
    for (const ConstElement task : list.descendants()) {
      std::size_t level = 0;
      for (ConstElement above = task.getContainer(); above != list; above = above.getContainer()) ++level;
      out << std::string(level * kBlanksPerLevel, ' ') << (task.getBoolean("done") ? kDone : kOpen)
          << task.getText("text") << '\n';
    }
  }
}

}  // namespace checklist
