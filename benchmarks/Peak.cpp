#include "Peak.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "Content.h"
#include "ModelContent.h"
#include "Timing.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"

namespace kr::zero::bench {

namespace {

/// A line of /proc/self/status in bytes; 0 where there is none.
std::size_t readStatus(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    std::size_t kibibytes = 0;
    if (word == name && status >> kibibytes) return kibibytes * 1024;
  }
  return 0;
}

std::size_t residentBytes() { return readStatus("VmRSS:"); }

/// Makes the peak what is resident now.
bool forgetPeak() {
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << "5" << std::flush;
  const std::size_t peak = readStatus("VmHWM:");
  constexpr std::size_t noise = std::size_t{256} * 1024;
  return peak != 0 && peak <= residentBytes() + noise;
}

/// What was resident at most during `run`, over what was before.
template <class Run>
std::size_t peakOf(Run&& run) {
  const std::size_t before = residentBytes();
  run();
  return readStatus("VmHWM:") - before;
}

class TemporaryFile {
 public:
  explicit TemporaryFile(const std::vector<std::uint8_t>& bytes)
      : path_(std::filesystem::temp_directory_path() / ("kr0-bench-" + std::to_string(getpid()) + ".krb")) {
    std::ofstream file(path_, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + path_.string());
  }
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ustring path() const { return path_.u16string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace

std::optional<Peak> measurePeak(std::size_t elements) {
  Peak peak{};
  meta::MetaRegistry registry;
  registerLibrary(registry);
  std::vector<std::uint8_t> bytes;
  std::size_t written = 0;
  {
    const Model model = makeModel(makeContent(elements, kLibrarySeed), registry);
    written = model.size();
    if (!forgetPeak()) return std::nullopt;
    peak.writing = peakOf([&] {
      peak.writingSeconds = secondsOf(
          [&] { io::BinarySerializer().serialize(model, io::SerializationOutput::toByteSequence(bytes)); });
    });
  }
  peak.document = bytes.size();
  peak.writing -= std::min(peak.writing, bytes.size());

  const TemporaryFile file(bytes);
  bytes = std::vector<std::uint8_t>();
  if (!forgetPeak()) return std::nullopt;
  const std::size_t before = residentBytes();
  std::optional<Model> model;
  peak.reading = peakOf([&] {
    peak.readingSeconds = secondsOf([&] {
      io::BinaryParser parser(std::make_unique<io::ParseCustomizer>(registry),
                              std::make_unique<io::ParsingModelBuilder>(false));
      if (!parser.parseFile(file.path())) throw std::runtime_error("the file was refused");
      model = parser.takeModel();
    });
  });
  if (model->size() != written) throw std::runtime_error("the file holds another number of elements");
  malloc_trim(0);
  peak.model = residentBytes() - before;
  return peak;
}

}  // namespace kr::zero::bench
