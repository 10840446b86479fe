#include "View.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "Files.h"
#include "kr/zero/io/ModelFile.h"

namespace kr::zero::tool {

namespace {

// A file that grows and that nobody else sees.
class Spool {
 public:
  Spool()
      : name_((std::filesystem::temp_directory_path() / "kr0-XXXXXX").string()),
        file_(::mkstemp(name_.data())) {
    if (file_ < 0) fail();
    ::unlink(name_.c_str());
  }
  ~Spool() {
    if (file_ >= 0) ::close(file_);
  }
  Spool(const Spool&) = delete;
  Spool& operator=(const Spool&) = delete;
  void write(std::string_view bytes) const {
    try {
      io::writeToDescriptor(file_, bytes);
    } catch (const std::ios_base::failure&) {
      fail();
    }
  }
  FileView view() const { return {file_, name_}; }

 private:
  [[noreturn]] void fail() const {
    const std::string reason = std::generic_category().message(errno);
    throw Error(ErrorCode::unwritable,
                ErrorDetails{.file = name_,
                             .problem = "cannot be written, and is needed for a large document, " + reason});
  }

  std::string name_;
  int file_;
};

FileView viewInput(const std::string& path) {
  const InputFile file(path);
  if (file.knownSize() != 0) return {file.get(), inputName(path)};
  return FileView::of([&](const auto& take) { file.readPieces(take); });
}

FileView unpacked(const FileView& packed, const Document& document) {
  return FileView::of([&](const auto& take) {
    withinLimit(document, [&] {
      archive::unpackPieces(packed.text(), document.packing, take,
                            {.name = document.name, .limit = document.limit});
    });
  });
}

}  // namespace

struct FileView::Mapping {
  void* start = nullptr;
  std::size_t size = 0;

  Mapping() = default;
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;
  ~Mapping() {
    if (start != nullptr) ::munmap(start, size);
  }
};

FileView::FileView(int descriptor, const std::string& name) {
  struct stat status {};
  const auto mapping = std::make_shared<Mapping>();
  const bool isThere = ::fstat(descriptor, &status) == 0;
  mapping->size = static_cast<std::size_t>(status.st_size);
  if (isThere && mapping->size != 0) {
    void* const start = ::mmap(nullptr, mapping->size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (start != MAP_FAILED) mapping->start = start;
  }
  if (!isThere || (mapping->start == nullptr && mapping->size != 0)) failToRead(name);
  mapping_ = mapping;
}

FileView FileView::of(const std::function<void(const std::function<void(std::string_view)>&)>& give) {
  const Spool spool;
  give([&](std::string_view piece) { spool.write(piece); });
  return spool.view();
}

std::string_view FileView::text() const {
  if (mapping_ == nullptr) return {};
  return {static_cast<const char*>(mapping_->start), mapping_->size};
}

void FileView::letGo(std::uint64_t offset) const {
  if (mapping_ == nullptr || mapping_->start == nullptr) return;
  const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  const std::uint64_t whole = std::min<std::uint64_t>(offset, mapping_->size) / page * page;
  if (whole != 0) ::madvise(mapping_->start, static_cast<std::size_t>(whole), MADV_DONTNEED);
}

Document ViewedDocument::load() const {
  Document loaded = document;
  const std::string_view text = bytes.text();
  loaded.bytes.assign(text.begin(), text.end());
  return loaded;
}

ViewedDocument viewDocument(const InputOptions& input) {
  const std::optional<Format> wanted = formatNamed(input.from);
  refuseTables(input.path, wanted);
  ViewedDocument viewed;
  viewed.bytes = viewInput(input.path);
  Document& document = viewed.document;
  document.name = inputName(input.path);
  document.limit = input.limit;
  document.packedBytes = viewed.bytes.text().size();
  document.packing = archive::packingOf(viewed.bytes.text());
  if (document.packing != archive::Packing::none) {
    viewed.bytes = unpacked(viewed.bytes, document);
    requireOneLayer(viewed.bytes.text(), document.name);
  }
  document.viewed = viewed.bytes.text();
  document.format = wanted ? *wanted : formatOf(viewed.bytes.text(), input.path);
  return viewed;
}

}  // namespace kr::zero::tool
