#include "meta/RegistryContents.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace kr::zero::meta {

namespace {

// Doubles, so that many small additions cost no more than one large one.
template <class T>
void makeRoom(std::vector<T>& vector, std::size_t more) {
  if (more > vector.capacity() - vector.size())
    vector.reserve(std::max(vector.size() + more, 2 * vector.capacity()));
}

template <class Table>
void makeTableRoom(Table& table, std::size_t more) {
  const std::size_t needed = table.size() + more;
  if (static_cast<float>(needed) > table.max_load_factor() * static_cast<float>(table.bucket_count()))
    table.reserve(2 * needed);
}

template <class T>
void append(std::vector<T>& vector, std::vector<T>& more) noexcept {
  std::move(more.begin(), more.end(), std::back_inserter(vector));
}

}  // namespace

std::string RegistryContents::sharedName(std::string_view packageUri, std::string_view qualifiedName) {
  return std::string(packageUri) + '\0' + std::string(qualifiedName);
}

Type RegistryContents::find(std::string_view qualifiedName) const {
  const auto it = typesByUtf8.find(qualifiedName);
  return it == typesByUtf8.end() ? Type() : it->second;
}

Type RegistryContents::findShared(std::string_view packageUri, std::string_view qualifiedName) const {
  if (typesOfSharedNames.empty()) return {};
  const auto it = typesOfSharedNames.find(sharedName(packageUri, qualifiedName));
  return it == typesOfSharedNames.end() ? Type() : it->second;
}

void RegistryContents::absorb(RegistryContents&& more) {
  makeRoom(types, more.types.size());
  makeRoom(properties, more.properties.size());
  makeRoom(packages, more.packages.size());
  makeTableRoom(packageNamesByUri, more.packageNamesByUri.size());
  makeTableRoom(typesByUtf8, more.typesByUtf8.size());
  makeTableRoom(typesByName, more.typesByName.size());
  makeTableRoom(typesOfSharedNames, more.typesOfSharedNames.size());
  makeTableRoom(continued, more.continued.size());
  // From here on nothing allocates: there is room, and the tables' nodes move over as they are.
  append(types, more.types);
  append(properties, more.properties);
  append(packages, more.packages);
  packageNamesByUri.merge(more.packageNamesByUri);
  typesByUtf8.merge(more.typesByUtf8);
  typesByName.merge(more.typesByName);
  typesOfSharedNames.merge(more.typesOfSharedNames);
  continued.merge(more.continued);
  propertyCount += more.propertyCount;
  tableEntryCount += more.tableEntryCount;
}

}  // namespace kr::zero::meta
