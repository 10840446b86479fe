#include "Archives.h"

#ifdef KR0_BENCH_HAS_ARCHIVES
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <stdexcept>

#include "Limits.h"
#include "Timing.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/ModelFile.h"
#endif

namespace kr::zero::bench {

#ifdef KR0_BENCH_HAS_ARCHIVES

namespace {

constexpr int kGzipLevel = 6;
constexpr int kFastLevel = 3;
constexpr std::size_t kRounds = 9;
constexpr const char* kGzip = "XMI, gzip -6";

class TemporaryFile {
 public:
  explicit TemporaryFile(const char* suffix)
      : path_(std::filesystem::temp_directory_path() / ("kr0-bench-" + std::to_string(::getpid()) + suffix)) {
  }
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::size_t size() const { return static_cast<std::size_t>(std::filesystem::file_size(path_)); }

 private:
  std::filesystem::path path_;
};

// --- gzip, from and to memory

void require(bool isGood) {
  if (!isGood) throw std::runtime_error("zlib fails");
}

/// @param to large enough; only what is used of it is kept.
void compressByGzip(const std::string& from, std::string& to) {
  constexpr int kGzipWrapper = 16;
  constexpr int kUsualMemory = 8;
  z_stream stream{};
  require(deflateInit2(&stream, kGzipLevel, Z_DEFLATED, MAX_WBITS + kGzipWrapper, kUsualMemory,
                       Z_DEFAULT_STRATEGY) == Z_OK);
  to.resize(deflateBound(&stream, from.size()));
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(from.data()));
  stream.avail_in = static_cast<uInt>(from.size());
  stream.next_out = reinterpret_cast<Bytef*>(to.data());
  stream.avail_out = static_cast<uInt>(to.size());
  const int result = deflate(&stream, Z_FINISH);
  to.resize(stream.total_out);
  deflateEnd(&stream);
  require(result == Z_STREAM_END);
}

// --- What is measured

/// One model in files: an archive, and the direct format.
class Files {
 public:
  explicit Files(const LoadedModel& loaded) : loaded_(loaded) { io::registerBinaryFormats(); }

  void saveArchive(int level = archive::kDefaultLevel) const {
    archive::saveArchive(loaded_.model, archive_.path(), {.mapping = loaded_.mapping.get(), .level = level});
  }
  void loadArchive() const { archive::loadArchive(archive_.path(), loaded_.registry); }
  void loadArchiveAlone() const { archive::loadArchive(archive_.path()); }
  void saveDirect() const {
    io::saveModel(loaded_.model, direct_.path(), io::IOFormatProvider::FORMAT_BINARY);
  }
  void loadDirect() const { io::loadModel(direct_.path(), loaded_.registry); }

  std::size_t archiveBytes() const { return archive_.size(); }
  /// Of the archive, those that are the compressed document.
  std::size_t documentBytes() const {
    constexpr std::size_t kFrameHead = 8;
    const std::string bytes = readFile(archive_.path().string());
    std::size_t at = 0;
    for (int frame = 0; frame < 2; ++frame) {
      std::uint32_t size = 0;
      for (std::size_t i = kFrameHead; i-- > kFrameHead / 2;)
        size = size << 8 | static_cast<unsigned char>(bytes.at(at + i));
      at += kFrameHead + size;
    }
    return bytes.size() - at;
  }
  void requireSameModel() const {
    if (findDifference(archive::loadArchive(archive_.path()).model, loaded_.model))
      throw std::runtime_error("another model from the archive");
  }

 private:
  const LoadedModel& loaded_;
  TemporaryFile archive_{".krz"};
  TemporaryFile direct_{".krb"};
};

/// By the clock on the wall, which goes on while the disk works.
template <class Work>
double medianWallMilliseconds(Work&& work) {
  std::vector<double> times;
  for (std::size_t round = 0; round < kRounds; ++round) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
  }
  return medianOf(std::move(times));
}

double asDouble(std::size_t bytes) { return static_cast<double>(bytes); }

/// Takes samples of both sides in turn.
template <class Ours, class Theirs>
Pairs pairsOf(Ours&& ours, Theirs&& theirs) {
  const std::size_t ourRuns = chooseRuns(ours);
  const std::size_t theirRuns = chooseRuns(theirs);
  Pairs pairs;
  for (std::size_t round = 0; round < kRounds; ++round) {
    const double their = nanosecondsOf(theirs, theirRuns) / 1e6;
    pairs.add(nanosecondsOf(ours, ourRuns) / 1e6, their);
  }
  return pairs;
}

Pairs pairOf(double ours, double theirs) {
  Pairs pairs;
  pairs.add(ours, theirs);
  return pairs;
}

/// The rows of one model; limits are for large ones, where the meta model is a small part.
void measureRowsOf(const RealModel& real, Rows& rows, std::vector<double>& documentRatios) {
  const LoadedModel loaded(real);
  const bool isLarge = loaded.document.size() >= kLargeDocument;
  const auto limitOf = [&](double limit) { return isLarge ? std::optional(limit) : std::nullopt; };
  const Files files(loaded);
  files.saveDirect();
  std::string zipped;
  const auto zip = [&] { compressByGzip(loaded.document, zipped); };
  rows.add(real.name + ": saving an archive, level 3 / gzip -6 of the XMI",
           pairsOf([&] { files.saveArchive(kFastLevel); }, zip), limitOf(kFastArchiveSaveLimit));
  rows.add(real.name + ": saving an archive / gzip -6 of the XMI", pairsOf([&] { files.saveArchive(); }, zip),
           limitOf(kArchiveSaveLimit));
  files.requireSameModel();
  rows.add(real.name + ": loading an archive / loading the .krb",
           pairsOf([&] { files.loadArchive(); }, [&] { files.loadDirect(); }), limitOf(kArchiveLoadLimit));
  rows.add(real.name + ": bytes of an archive / gzip -6 of the XMI",
           pairOf(asDouble(files.archiveBytes()), asDouble(zipped.size())), limitOf(kArchiveBytesLimit));
  const Pairs document = pairOf(asDouble(files.documentBytes()), asDouble(zipped.size()));
  documentRatios.push_back(document.ratio());
  rows.add(real.name + ": bytes of an archive's document / gzip -6 of the XMI", document, kArchiveBytesLimit);
}

double geometricMean(const std::vector<double>& values) {
  double sum = 0;
  for (const double value : values) sum += std::log(value);
  return std::exp(sum / asDouble(values.size()));
}

}  // namespace

void measureArchives(const LoadedModel& loaded, const std::string& name, Figures& figures) {
  const Files files(loaded);
  figures.add(name, "kr0 file", "write", medianMilliseconds([&] { files.saveDirect(); }));
  figures.add(name, "kr0 file", "write, wall", medianWallMilliseconds([&] { files.saveDirect(); }));
  figures.add(name, "kr0 file", "read", medianMilliseconds([&] { files.loadDirect(); }));
  const char* const fast = "kr0 archive, level 3";
  figures.add(name, fast, "write", medianMilliseconds([&] { files.saveArchive(kFastLevel); }));
  figures.add(name, fast, "bytes", asDouble(files.archiveBytes()));
  const char* const system = "kr0 archive";
  figures.add(name, system, "write", medianMilliseconds([&] { files.saveArchive(); }));
  figures.add(name, system, "write, wall", medianWallMilliseconds([&] { files.saveArchive(); }));
  figures.add(name, system, "bytes", asDouble(files.archiveBytes()));
  figures.add(name, system, "document bytes", asDouble(files.documentBytes()));
  figures.add(name, system, "read", medianMilliseconds([&] { files.loadArchive(); }));
  figures.add(name, system, "read alone", medianMilliseconds([&] { files.loadArchiveAlone(); }));
  std::string zipped;
  figures.add(name, kGzip, "write", medianMilliseconds([&] { compressByGzip(loaded.document, zipped); }));
  figures.add(name, kGzip, "bytes", asDouble(zipped.size()));
}

void measureArchiveRows(const std::vector<RealModel>& models, Rows& rows) {
  std::vector<double> ratios;
  for (const RealModel& real : models) measureRowsOf(real, rows, ratios);
  if (!ratios.empty())
    rows.add("real models: bytes of an archive's document / gzip -6 of the XMI, geometric mean",
             pairOf(geometricMean(ratios), 1), kArchiveDocumentMeanLimit);
}

#else

void measureArchives(const LoadedModel&, const std::string&, Figures&) {}
void measureArchiveRows(const std::vector<RealModel>&, Rows& rows) {
  rows.skip("archives of real models", "built without kr0::archive or zlib");
}

#endif

}  // namespace kr::zero::bench
