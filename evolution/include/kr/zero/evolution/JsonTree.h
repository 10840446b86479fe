/// @file
/// Trees of values of the JSON library (nlohmann-json), where there may be no memory left.
#pragma once

namespace kr::zero::evolution {

/// @cond
/// Holds a tree and drops it from its leaves up. The library's own destructor asks for memory for each object
/// and array that is not empty, and ends the program where there is none. So nothing else may hold one while
/// something can fail: trees are built in place, value by value, and parsed into get(). Nor may a null value
/// be used as an object or array: where there is no memory for one it stays broken, so begin with
/// Json::object(). Only for trees whose depth is bounded by whoever builds them.
template <class Json>
class JsonTree {
 public:
  JsonTree() = default;
  JsonTree(const JsonTree&) = delete;
  JsonTree& operator=(const JsonTree&) = delete;
  ~JsonTree() { drop(json_); }  // NOLINT(bugprone-exception-escape): see there

  Json& get() noexcept { return json_; }
  const Json& get() const noexcept { return json_; }

 private:
  // Iterators over what is structured throw nothing. NOLINTNEXTLINE(bugprone-exception-escape)
  static void drop(Json& json) noexcept {
    if (!json.is_structured()) return;
    for (Json& child : json) drop(child);
    json.clear();
  }

  Json json_ = Json::object();
};
/// @endcond

}  // namespace kr::zero::evolution
