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

void RegistryContents::absorb(RegistryContents&& more) {
  makeRoom(types, more.types.size());
  makeRoom(properties, more.properties.size());
  makeRoom(packages, more.packages.size());
  makeTableRoom(packageUris, more.packageUris.size());
  makeTableRoom(packageNames, more.packageNames.size());
  makeTableRoom(typesByUtf8, more.typesByUtf8.size());
  makeTableRoom(typesByName, more.typesByName.size());
  makeTableRoom(continued, more.continued.size());
  // From here on nothing allocates: there is room, and the tables' nodes move over as they are.
  append(types, more.types);
  append(properties, more.properties);
  append(packages, more.packages);
  packageUris.merge(more.packageUris);
  packageNames.merge(more.packageNames);
  typesByUtf8.merge(more.typesByUtf8);
  typesByName.merge(more.typesByName);
  continued.merge(more.continued);
  propertyCount += more.propertyCount;
  tableEntryCount += more.tableEntryCount;
}

}  // namespace kr::zero::meta
