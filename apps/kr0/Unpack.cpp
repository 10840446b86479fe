#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include "Commands.h"
#include "Faults.h"
#include "Files.h"
#include "Visible.h"
#include "kr/zero/io/IOFormatProvider.h"

namespace kr::zero::tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* kManifestName = "manifest.json";

std::string_view asText(const std::vector<std::uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// What a file in the folder is called that is named like the archive.
std::string stemOf(const std::string& path) {
  const std::string stem = fs::path(archive::unpackedName(path)).stem().string();
  return path == "-" || stem.empty() ? "document" : stem;
}

// Whether a name of an archive, which anybody can have made, is a place below a folder, spelt in the one way
// that it has.
bool isPlain(const std::string& name) {
  const auto isControl = [](unsigned char c) { return c < ' ' || c == 0x7F; };
  if (std::any_of(name.begin(), name.end(), isControl)) return false;
  std::size_t start = 0;
  for (std::size_t end = 0; end != name.npos; start = end + 1) {
    end = name.find('/', start);
    const std::string part = name.substr(start, end - start);
    if (part.empty() || part == "." || part == "..") return false;
  }
  return true;
}

/// The folder that an archive is unpacked into.
class Folder {
 public:
  Folder(std::string archive, std::string path) : archive_(std::move(archive)), path_(std::move(path)) {
    makeFolder(path_);
  }

  /// @throws Error for a name that is not of a file of its own in the folder.
  void reserve(const std::string& name) {
    if (!isPlain(name)) refuse(name, "is not the name of a file below the folder");
    for (const std::string& other : names_)
      if (other == name || other.starts_with(name + '/') || name.starts_with(other + '/'))
        refuse(name, "is there twice");
    refuseLinks(name);
    names_.insert(name);
  }

  /// Writes a file that was reserved, all or nothing.
  void write(const std::string& name, std::string_view bytes) const {
    const fs::path place = fs::path(path_) / name;
    makeFolder(place.parent_path().string());
    writeOutput(place.string(), bytes);
  }

 private:
  [[noreturn]] void refuse(const std::string& name, const std::string& why) const {
    throw Error(ErrorCode::damaged,
                {.file = archive_, .problem = "the file " + inQuotes(name) + " of the archive " + why});
  }

  // Links in the folder may lead out of it, and writing follows them.
  void refuseLinks(const std::string& name) const {
    fs::path place = path_;
    for (const fs::path& part : fs::path(name)) {
      std::error_code unknown;
      if (fs::is_symlink(fs::symlink_status(place /= part, unknown)))
        refuse(name, "would be written through the link " + inQuotes(place.string()));
    }
  }

  std::string archive_;
  std::string path_;
  std::set<std::string> names_;
};

void unpackMetaModel(const Document& document, archive::ArchiveReader& reader, Folder& folder) {
  const std::vector<ecore::EcoreFile> files = withinLimit(document, [&] { return reader.readMetaModel(); });
  for (const ecore::EcoreFile& file : files) folder.reserve(file.name);
  for (const ecore::EcoreFile& file : files) folder.write(file.name, file.text);
}

void unpackDocument(const Document& document, archive::ArchiveReader& reader, const std::string& stem,
                    Folder& folder) {
  const std::vector<std::uint8_t> bytes = withinLimit(document, [&] { return reader.readDocument(); });
  folder.write(stem + '.' + std::string(nameOf(innerFormatOf(reader, asText(bytes)))), asText(bytes));
}

void unpackManifest(archive::ArchiveReader& reader, Folder& folder) {
  folder.write(kManifestName, reader.getManifestText());
}

}  // namespace

void unpack(const UnpackOptions& options) {
  ProgressBar progress;
  const InputOptions& input = options.input;
  const Document document = readDocument(input.path, Format::krz, progress, input.limit);
  archive::ArchiveReader reader(document.asArchive(), {.bytes = document.limit});
  progress.startStep("unpacking " + document.name);
  Folder folder(document.name, options.folder);
  const std::string stem = stemOf(input.path);
  for (const std::string& own : {std::string(kManifestName), stem + ".krb", stem + ".krt"})
    folder.reserve(own);
  Faults faults(document.name);
  faults.attempt([&] { unpackManifest(reader, folder); });
  faults.attempt([&] { unpackMetaModel(document, reader, folder); });
  faults.attempt([&] { unpackDocument(document, reader, stem, folder); });
  faults.raise();
}

}  // namespace kr::zero::tool
