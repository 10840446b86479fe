#include "modeling/sylvan/grammar/EventKinds.h"

#include <cstddef>
#include <vector>

namespace modeling::sylvan::grammar {

std::string describe(EventKinds kinds) {
  std::vector<std::string_view> names;
  for (std::size_t i = 0; i < sylvanEventNames.size(); ++i)
    if (kinds.contains(static_cast<SylvanEventCode>(i))) names.push_back(sylvanEventNames[i]);
  if (names.empty()) return "nothing";
  std::string text(names.front());
  for (std::size_t i = 1; i < names.size(); ++i)
    text.append(i + 1 == names.size() ? " or " : ", ").append(names[i]);
  return text;
}

}  // namespace modeling::sylvan::grammar
