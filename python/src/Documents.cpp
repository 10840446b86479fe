// Models from documents, and documents from models.
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Failures.h"
#include "Models.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/archive/Packing.h"
#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/io/ReadFailure.h"
#include "kr/zero/json/Json.h"
#ifdef KR0_HAS_TABLES
#include "kr/zero/tables/Tables.h"
#endif

namespace kr::zero::python {

namespace {

namespace fs = std::filesystem;

enum class Format { krb, krt, krz, xmi, json };

constexpr std::pair<const char*, Format> kFormats[] = {{"krb", Format::krb},
                                                       {"krt", Format::krt},
                                                       {"krz", Format::krz},
                                                       {"xmi", Format::xmi},
                                                       {"json", Format::json}};

std::optional<Format> findFormat(std::string_view name) {
  for (const auto& [known, format] : kFormats)
    if (name == known) return format;
  return std::nullopt;
}

Format formatNamed(const std::string& name) {
  const std::optional<Format> format = findFormat(name);
  if (!format) raise(PyExc_ValueError, "\"" + name + "\" is no format: krb, krt, krz, xmi and json are");
  return *format;
}

// The format that a file's name tells; .gz and .zst behind it tell nothing of it.
std::optional<Format> formatOfName(const std::string& path) {
  const std::string extension = fs::path(archive::unpackedName(path)).extension().string();
  if (extension == ".ecore") return Format::xmi;
  return extension.empty() ? std::nullopt : findFormat(std::string_view(extension).substr(1));
}

std::optional<Format> formatOfContent(std::string_view bytes) {
  const ustring name = io::IOFormatProvider::findByContent(bytes);
  if (name == io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN) return Format::krt;
  if (name == io::IOFormatProvider::FORMAT_BINARY) return Format::krb;
  if (io::looksLikeXml(bytes)) return Format::xmi;
  if (json::looksLikeJson(bytes)) return Format::json;
  return std::nullopt;
}

// A document to read.
struct Source {
  std::string name;
  std::string_view bytes;
  std::optional<Format> format;  // what the caller says
  std::uint64_t limit = archive::ArchiveLimits{}.bytes;
};

Format formatOf(const Source& source) {
  if (source.format) return *source.format;
  if (archive::looksLikeArchive(source.bytes)) return Format::krz;
  if (const auto format = formatOfName(source.name)) return *format;
  if (const auto format = formatOfContent(source.bytes)) return *format;
  throw Error(ErrorCode::foreign,
              {.file = source.name, .problem = "it looks like no document of a known format"});
}

using Meta = std::shared_ptr<RegistryState>;

struct Read {
  Meta registry;
  Model model;
};

Read readArchive(const Source& source, const Meta& registry) {
  const archive::ArchiveBytes bytes{source.bytes, source.name};
  const archive::ArchiveLimits limits{source.limit};
  if (registry) return {registry, archive::loadArchive(bytes, registry->registry(), limits)};
  archive::LoadedArchive loaded = archive::loadArchive(bytes, limits);
  auto own = std::make_shared<RegistryState>(std::move(loaded.registry), std::move(loaded.mapping));
  return {std::move(own), std::move(loaded.model)};
}

Model readByRegistry(const Source& source, Format format, const Meta& registry) {
  const io::LoadOptions options{.registry = &registry->registry(),
                                .format = format == Format::krt ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                                                                : io::IOFormatProvider::FORMAT_BINARY,
                                .name = source.name,
                                .limits = {.bytes = source.limit}};
  switch (format) {
    case Format::xmi:
      return ecore::readXmi(source.bytes, source.name, registry->mapping());
    case Format::json:
      return json::readJson(source.bytes, options);
    default:
      return io::readModel(source.bytes, options);
  }
}

Read read(const Source& source, const Meta& registry) {
  if (const auto packing = archive::packingOf(source.bytes); packing != archive::Packing::none) {
    const std::vector<std::uint8_t> bytes =
        archive::unpack(source.bytes, packing, {.name = source.name, .limit = source.limit});
    const Source inside{source.name,
                        {reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                        source.format,
                        source.limit};
    if (archive::packingOf(inside.bytes) != archive::Packing::none)
      throw Error(ErrorCode::foreign, {.file = source.name, .problem = "what it unpacks to is packed again"});
    return read(inside, registry);
  }
  const Format format = formatOf(source);
  if (format == Format::krz) return readArchive(source, registry);
  if (!registry)
    throw Error(ErrorCode::misuse,
                {.file = source.name,
                 .problem = "only an archive (.krz) brings its meta model; this document needs a "
                            "registry"});
  return {registry, readByRegistry(source, format, registry)};
}

std::string contentOf(const fs::path& path) {
  std::error_code failure;
  const bool isFolder = fs::is_directory(path, failure);
  std::ifstream file(path, std::ios::binary);
  if (!file || isFolder)
    throw Error(ErrorCode::unreadable,
                {.file = path.string(),
                 .problem = isFolder ? "it is a folder" : std::generic_category().message(errno)});
  std::string bytes;
  if (const auto size = fs::file_size(path, failure); !failure) bytes.reserve(size);
  bytes.assign(std::istreambuf_iterator<char>(file), {});
  if (file.bad()) throw Error(ErrorCode::unreadable, {.file = path.string(), .problem = "reading failed"});
  return bytes;
}

std::optional<Format> formatGiven(const std::optional<std::string>& name) {
  if (!name) return std::nullopt;
  return formatNamed(*name);
}

std::uint64_t limitGiven(const std::optional<std::uint64_t>& limit) {
  return limit.value_or(archive::ArchiveLimits{}.bytes);
}

// What XMI and archives need is made before Python's lock is given away.
void prepare(const Meta& registry) {
  if (registry) registry->mapping();
}

py::object load(const fs::path& path, const Meta& registry, const std::optional<std::string>& format,
                std::optional<std::uint64_t> limit) {
  const std::optional<Format> given = formatGiven(format);
  prepare(registry);
  Read found = [&] {
    const py::gil_scoped_release release;
    const std::string bytes = contentOf(path);
    return read({path.string(), bytes, given, limitGiven(limit)}, registry);
  }();
  return toModel(std::move(found.registry), std::move(found.model));
}

py::object loads(const py::buffer& data, const Meta& registry, const std::optional<std::string>& format,
                 const std::string& name, std::optional<std::uint64_t> limit) {
  const py::buffer_info info = data.request();
  const std::string_view bytes(static_cast<const char*>(info.ptr),
                               static_cast<std::size_t>(info.size * info.itemsize));
  const std::optional<Format> given = formatGiven(format);
  prepare(registry);
  Read found = [&] {
    const py::gil_scoped_release release;
    return read({name, bytes, given, limitGiven(limit)}, registry);
  }();
  return toModel(std::move(found.registry), std::move(found.model));
}

std::string encode(const ModelState& state, Format format, int level, const ecore::Mapping& mapping) {
  const Model& model = state.read();
  switch (format) {
    case Format::xmi:
      return ecore::writeXmi(model, mapping);
    case Format::json:
      return json::writeJson(model);
    case Format::krz: {
      std::string bytes;
      archive::writeArchive(model, bytes, {.mapping = &mapping, .level = level});
      return bytes;
    }
    default: {
      std::string bytes;
      io::writeModel(model, bytes,
                     {.format = format == Format::krt ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                                                      : io::IOFormatProvider::FORMAT_BINARY});
      return bytes;
    }
  }
}

py::bytes toBytes(ModelState& state, const std::string& format, std::optional<int> level) {
  const Format given = formatNamed(format);
  const ecore::Mapping& mapping = state.registry()->mapping();
  const std::string bytes = [&] {
    const Reading reading(state);
    return encode(state, given, level.value_or(archive::kDefaultLevel), mapping);
  }();
  return py::bytes(bytes);
}

void save(ModelState& state, const fs::path& path, const std::optional<std::string>& format,
          std::optional<int> level) {
  const std::optional<Format> given = format ? formatNamed(*format) : formatOfName(path.string());
  if (!given)
    raise(PyExc_ValueError,
          path.string() + ": its name tells no format: end it in .krb, .krt, .krz, .xmi or .json");
  const ecore::Mapping& mapping = state.registry()->mapping();
  const Reading reading(state);
  try {
    const auto packing = archive::packingOfName(path.string());
    std::string bytes = encode(state, *given, level.value_or(archive::kDefaultLevel), mapping);
    if (packing != archive::Packing::none) {
      constexpr int kUsualGzipLevel = 6;
      const int usual = packing == archive::Packing::gzip ? kUsualGzipLevel : archive::kDefaultLevel;
      bytes = archive::pack(bytes, packing, level.value_or(usual));
    }
    io::writeFileAtomically(path, bytes);
  } catch (const std::ios_base::failure&) {
    rethrowAsError({.file = path.string()}, ErrorCode::unwritable);
  } catch (...) {
    rethrowAsError({.file = path.string()});
  }
}

#ifdef KR0_HAS_TABLES
void writeSqlite(ModelState& state, const fs::path& path) {
  const Reading reading(state);
  tables::writeSqlite(state.read(), path);
}

void writeTables(ModelState& state, const fs::path& folder, const std::string& format) {
  if (format != "csv" && format != "ndjson")
    raise(PyExc_ValueError, "\"" + format + "\" is no form of tables: csv and ndjson are");
  const Reading reading(state);
  tables::writeTextTables(state.read(), folder,
                          format == "csv" ? tables::TextTables::csv : tables::TextTables::ndjson);
}
#endif

}  // namespace

void bindDocuments(py::module_& module, ModelClass& model) {
  io::registerBinaryFormats();
  const auto none = py::none();
  module.def("load", &load, py::arg("path"), py::arg("registry") = none, py::arg("format") = none,
             py::kw_only(), py::arg("limit") = none,
             R"(Reads a model from a file: .krb, .krt, .krz, .xmi or .json, also compressed (.gz, .zst).

The format is told by the content and the name. An archive (.krz) brings its meta model; every other document
needs a registry. An archive that is read by a registry of another version of its packages is carried over to it.
Other Python threads run meanwhile.

`format` says what the document is where neither its name nor its content tells. `limit` is how many bytes a
packed document may unpack to: 4 GiB.

>>> model = kr0.load(folder / "library.krz")
>>> [book.title for book in model.elements("library.Book")]
['Moby Dick', 'Emma']
>>> kr0.load(folder / "damaged.krz")
Traceback (most recent call last):
...
kr0.Error: ...damaged.krz: ...
)");
  module.def("loads", &loads, py::arg("data"), py::arg("registry") = none, py::arg("format") = none,
             py::kw_only(), py::arg("name") = "the document", py::arg("limit") = none,
             R"(Reads a model from bytes, as load() does from a file. `name` is what errors call it.

>>> kr0.loads(model.to_bytes("krb"), model.registry).difference(model) is None
True
)");
  module.def("save", &save, py::arg("model"), py::arg("path"), py::arg("format") = none, py::kw_only(),
             py::arg("level") = none,
             R"(Writes a model to a file, all or nothing, in the format that its name tells.

A failure leaves the old file as it was. `level` is of compression, from 1 (fast) to 19 (small), for .krz, .gz and
.zst. Other Python threads run meanwhile; they can read the model, and not change it.

>>> kr0.save(model, folder / "copy.krz")
)");
  model.def("to_bytes", &toBytes, py::arg("format") = "krb", py::kw_only(), py::arg("level") = none,
            "The bytes of a document: \"krb\", \"krt\", \"krz\", \"xmi\" or \"json\".");
#ifdef KR0_HAS_TABLES
  module.def("write_sqlite", &writeSqlite, py::arg("model"), py::arg("path"),
             "Writes a model as an SQLite database.");
  module.def("write_tables", &writeTables, py::arg("model"), py::arg("folder"), py::arg("format"),
             "Writes a model as a folder of tables, \"csv\" or \"ndjson\".");
#endif
}

}  // namespace kr::zero::python
