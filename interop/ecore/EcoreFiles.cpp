#include "EcoreFiles.h"

#include <algorithm>

#include "Errors.h"
#include "Namespaces.h"

namespace kr::zero::ecore {

namespace {

namespace fs = std::filesystem;

// Definitions of packages nest as deep as the packages do, and are taken apart by recursion.
constexpr std::size_t kDeepestPackage = 100;

fs::path placeOf(const fs::path& path) { return fs::absolute(path).lexically_normal(); }

/// Number of last segments that two places share.
std::size_t sharedSegments(const fs::path& a, const fs::path& b) {
  std::size_t shared = 0;
  auto itA = a.end();
  auto itB = b.end();
  while (itA != a.begin() && itB != b.begin() && *--itA == *--itB) ++shared;
  return shared;
}

bool hasScheme(std::string_view uri) {
  const std::size_t colon = uri.find(':');
  return colon != std::string_view::npos && colon > 1 && uri.find('/') > colon;
}

std::string lastSegment(std::string_view text) { return percentDecoded(text.substr(text.rfind('/') + 1)); }

}  // namespace

EcoreFiles::EcoreFiles(const std::vector<fs::path>& paths, const meta::MetaRegistry& registry,
                       const MetaModelOptions& options)
    : registry_(registry), options_(options) {
  for (const fs::path& path : paths) read(path);
  completeFiles();
}

EcoreFiles::EcoreFiles(const std::vector<EcoreFile>& files, const meta::MetaRegistry& registry,
                       const MetaModelOptions& options)
    : registry_(registry), options_(options) {
  for (const EcoreFile& file : files) add(file);
  completeFiles();
}

void EcoreFiles::read(const fs::path& path) {
  const fs::path place = placeOf(path);
  if (!has(place)) add(place, path.string(), readFile(path));
}

void EcoreFiles::add(const EcoreFile& file) {
  add(placeOf(fs::path(std::u8string(file.name.begin(), file.name.end()))), file.name, file.text);
}

bool EcoreFiles::has(const fs::path& place) const {
  return std::any_of(files_.begin(), files_.end(), [&](const File& file) { return file.place == place; });
}

void EcoreFiles::add(fs::path place, const std::string& name, std::string bytes) {
  File file;
  file.place = std::move(place);
  file.text = decodeXml(std::move(bytes), name);
  const XmlDocument document(file.text, name);
  file.content = readContent(document, ecoreSchema(), {.onProblem = options_.onProblem});
  files_.push_back(std::move(file));
  filesByUri_.clear();
}

// --- What the files refer to

namespace {

/// References that the import follows.
std::vector<const char*> followedReferences(ConstElement element) {
  const std::string& type = element.getType()->name();
  if (type == "EClass") return {"eSuperTypes"};
  if (type == "EAttribute") return {"eType"};
  if (type == "EReference") return {"eType", "eOpposite"};
  if (type != "EGenericType" || !element.getContainer()) return {};
  const std::string& around = element.getContainer().getType()->name();
  const bool isUsed = around == "EAttribute" || around == "EReference" ||
                      element.getContainingProperty()->name() == "eGenericSuperTypes";
  return isUsed ? std::vector<const char*>{"eClassifier"} : std::vector<const char*>();
}

}  // namespace

void EcoreFiles::completeFiles() {
  const std::size_t given = files_.size();
  for (std::size_t file = 0; file < given; ++file) collectPackages(file);
  std::vector<Missing> missing;
  for (std::size_t file = 0; file < files_.size(); ++file) completeFile(file, missing);  // which adds more
  if (!missing.empty()) tellMissing(missing);
}

void EcoreFiles::completeFile(std::size_t file, std::vector<Missing>& missing) {
  TextSet seen;
  for (const ConstElement element : std::as_const(files_[file].content->model).elements())
    for (const char* property : followedReferences(element))
      for (std::size_t i = 0; i < element.size(property); ++i) {
        const auto reference = element.getUnresolved(property, i);
        if (!reference || !seen.insert(*reference->qualifier).second) continue;
        const std::string uri = options_.uriMap.map(*reference->qualifier);
        if (!isKnown(file, uri) && !bring(file, uri))
          missing.push_back(
              {*reference->qualifier, file, element,
               join("the ", property, " ", inQuotes(*reference->qualifier + "#" + reference->id2))});
      }
}

bool EcoreFiles::isKnown(std::size_t from, const std::string& uri) const {
  return packageByUri_.contains(uri) || findFile(from, uri) != kNowhere || registry_.hasPackage(uri) ||
         findBuiltInPackage(uri) != nullptr || findBuiltInFile(lastSegment(uri)) != nullptr;
}

/// Adds the file for a URI, if there is one.
bool EcoreFiles::bring(std::size_t from, const std::string& uri) {
  if (!options_.findFile) return false;
  const auto found = options_.findFile(uri);
  if (!found || has(placeOf(fs::path(std::u8string(found->name.begin(), found->name.end()))))) return false;
  add(*found);
  collectPackages(files_.size() - 1);
  return isKnown(from, uri);
}

void EcoreFiles::tellMissing(const std::vector<Missing>& missing) const {
  constexpr std::string_view kAdvice = " (--meta-path or --map-uri can help)";
  std::vector<std::string> uris;
  for (const Missing& each : missing)
    if (std::find(uris.begin(), uris.end(), each.uri) == uris.end()) uris.push_back(each.uri);
  const Missing& first = missing.front();
  std::string list;
  for (const std::string& uri : uris) list += join(list.empty() ? "" : ", ", inQuotes(uri));
  const std::string sentence =
      uris.size() == 1 ? join(first.text, " is in none of the given files", kAdvice)
                       : join("what these URIs mean is in none of the given files: ", list, kAdvice);
  if (!options_.onProblem) fail(first.file, first.source, sentence);
  const XmiContent& file = content(first.file);
  options_.onProblem({ProblemKind::missingType, file.name, file.lineOf(first.source), sentence});
}

void EcoreFiles::fail(std::size_t file, ConstElement element, std::string_view what) const {
  failAt(content(file).name, content(file).lineOf(element), what);
}

void EcoreFiles::collectPackages(std::size_t file) {
  struct Waiting {
    Element element;
    std::size_t parent;
    std::size_t depth;
  };
  std::vector<Waiting> waiting;
  const auto wait = [&waiting](const std::vector<Element>& elements, std::size_t parent, std::size_t depth) {
    for (auto it = elements.rbegin(); it != elements.rend(); ++it)
      if ((*it).getType()->name() == "EPackage") waiting.push_back({*it, parent, depth});
  };
  wait(files_[file].content->model.getRoots(), kNowhere, 1);
  if (waiting.empty()) failIn(content(file).name, "it holds no package of Ecore");
  while (!waiting.empty()) {
    const Waiting next = waiting.back();
    waiting.pop_back();
    if (next.depth > kDeepestPackage)
      fail(file, next.element,
           join("packages are nested more than ", std::to_string(kDeepestPackage), " deep"));
    packages_.push_back(describe(file, next.element, next.parent));
    if (!packages_.back().uri.empty()) packageByUri_.emplace(packages_.back().uri, packages_.size() - 1);
    wait(next.element.getChildren(), packages_.size() - 1, next.depth + 1);
  }
}

EcorePackage EcoreFiles::describe(std::size_t file, Element element, std::size_t parent) const {
  const std::string name(element.getText("name"));
  if (name.empty()) fail(file, element, "a package has no name");
  const std::string around = parent == kNowhere ? "" : packages_[parent].qualifiedName + ".";
  EcorePackage package{file, element, parent, std::string(element.getText("nsURI")), around + name};
  if (package.qualifiedName.size() > kLongestName)
    fail(file, element, tooLong("the name of a package, with those around it,"));
  if (package.uri.size() > kLongestName) fail(file, element, tooLong("the URI of a package"));
  return package;
}

EcoreTarget EcoreFiles::follow(std::size_t file, ConstElement source, const char* property,
                               std::size_t position) const {
  if (const ConstElement target = source.getReference(property, position)) {
    EcoreTarget found;
    found.file = file;
    found.element = target;
    return found;
  }
  const auto reference = source.getUnresolved(property, position);
  EcoreTarget found = followOut(file, options_.uriMap.map(*reference->qualifier), reference->id2);
  if (found.file == kNowhere && found.package == nullptr && !found.known)
    fail(file, source,
         join("the ", property, " ", inQuotes(*reference->qualifier + "#" + reference->id2),
              " is in none of the given files"));
  return found;
}

EcoreTarget EcoreFiles::followOut(std::size_t file, std::string_view uri, std::string_view fragment) const {
  if (packageByUri_.contains(uri))
    if (EcoreTarget target = findInPackage(uri, fragment); target.file != kNowhere) return target;
  if (const std::size_t other = findFile(file, uri); other != kNowhere) return find(other, fragment);
  if (EcoreTarget known = findInRegistry(uri, fragment); known.known) return known;
  const BuiltInPackage* package = findBuiltInPackage(uri);
  if (package == nullptr) package = findBuiltInFile(lastSegment(uri));
  return package == nullptr ? EcoreTarget() : findBuiltIn(*package, fragment);
}

EcoreTarget EcoreFiles::findBuiltIn(const BuiltInPackage& package, std::string_view fragment) const {
  EcoreTarget target;
  target.package = &package;
  target.builtIn = lastSegment(fragment);
  // The registry may hold the package from an earlier load; standard types are in none of its packages.
  const BuiltInType* dataType = package.findDataType(target.builtIn);
  if (dataType != nullptr && dataType->standardType != nullptr) return target;
  EcoreTarget known = findInRegistry(package.uri, fragment);
  return known.known ? known : target;
}

EcoreTarget EcoreFiles::findEcoreType(std::string_view name) const {
  return followOut(0, kEcoreNamespace, join("//", name));
}

EcoreTarget EcoreFiles::find(std::size_t file, std::string_view fragment) const {
  // The look-up fills tables that only it sees.
  const Fragments::Result result = files_[file].content->fragments.find(fragment);
  EcoreTarget target;
  if (result.outcome != Fragments::Outcome::found) return target;
  target.file = file;
  target.element = result.element;
  return target;
}

EcoreTarget EcoreFiles::findInPackage(std::string_view uri, std::string_view fragment) const {
  const EcorePackage& package = packages_[packageByUri_.find(uri)->second];
  const Fragments::Result result =
      files_[package.file].content->fragments.findFrom(package.element, fragment);
  if (result.outcome != Fragments::Outcome::found) return find(package.file, fragment);
  EcoreTarget target;
  target.file = package.file;
  target.element = result.element;
  return target;
}

EcoreTarget EcoreFiles::findInRegistry(std::string_view uri, std::string_view fragment) const {
  EcoreTarget target;
  const auto package = registry_.findPackageName(uri);
  if (!package) return target;
  const std::string name = join(*package, ".", lastSegment(fragment));
  meta::Type type = registry_.findType(std::string_view(name));
  if (type && type->packageUri() != uri)  // packages may share a name
    type = registry_.findType(type->getQualifiedName(), {toUstring(std::string(uri))});
  if (type && type->packageUri() == uri) target.known = type;
  return target;
}

std::size_t EcoreFiles::findFile(std::size_t from, std::string_view uri) const {
  TextMap<std::size_t>& known = filesByUri_[from];
  const auto [entry, isNew] = known.try_emplace(std::string(uri), kNowhere);
  if (isNew) entry->second = lookForFile(from, uri);
  return entry->second;
}

std::size_t EcoreFiles::lookForFile(std::size_t from, std::string_view uri) const {
  const std::string decoded = percentDecoded(uri.substr(0, uri.find('?')));
  const std::u8string path(decoded.begin(), decoded.end());
  if (!hasScheme(uri)) {
    const fs::path place = placeOf(files_[from].place.parent_path() / fs::path(path));
    for (std::size_t i = 0; i < files_.size(); ++i)
      if (files_[i].place == place) return i;
  }
  // Files move more often than they are renamed: the one whose path ends most alike is meant.
  std::size_t best = kNowhere;
  std::size_t shared = 0;
  bool isUnique = true;
  for (std::size_t i = 0; i < files_.size(); ++i) {
    const std::size_t count = sharedSegments(files_[i].place, fs::path(path));
    if (count == 0 || count < shared) continue;
    isUnique = count > shared;
    shared = count;
    best = i;
  }
  if (!isUnique) failIn(content(from).name, join("several of the given files could be ", inQuotes(uri)));
  return best;
}

}  // namespace kr::zero::ecore
