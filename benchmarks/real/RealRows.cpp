#include "RealRows.h"

#include <stdexcept>

#include "Forms.h"
#include "Limits.h"
#include "Timing.h"

namespace kr::zero::bench {

namespace {

constexpr std::size_t kRoundsOfLarge = 9;
constexpr std::size_t kRoundsOfSmall = 21;

// Of one run; a sample is several where they are short.
template <class Work>
double sampleMilliseconds(Work&& work, std::size_t runs) {
  return nanosecondsOf(work, runs) / 1e6;
}

// One sample of ours for both forms of EMF, between their samples.
void measureEmfRows(const RealModel& real, const LoadedModel& loaded, EmfProcess* emf, Rows& rows) {
  const bool large = loaded.document.size() >= kLargeDocument;
  std::vector<Pairs> pairs(std::size(kEmfForms));
  if (emf != nullptr) {
    Bytes bytes;
    writeDirect(loaded.model, bytes);
    if (findDifference(loaded.model, readDirect(bytes, loaded.registry)))
      throw std::runtime_error(real.name + ": another model from the direct format");
    const auto read = [&] { readDirect(bytes, loaded.registry); };
    const std::size_t runs = chooseRuns(read);
    for (std::size_t round = large ? kRoundsOfLarge : kRoundsOfSmall; round > 0; --round)
      for (std::size_t i = 0; i < pairs.size(); ++i) {
        const double theirs = emf->read(real.name, kEmfForms[i]);
        pairs[i].add(sampleMilliseconds(read, runs), theirs);
      }
  }
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const std::string what = real.name + ": direct read / " + kEmfForms[i] + " read";
    if (emf == nullptr)
      rows.skip(what, "EMF is not installed");
    else
      rows.add(what, pairs[i], large ? kLargeEmfLimit : kSmallEmfLimit);
  }
}

void measureXmiRow(const RealModel& real, const LoadedModel& loaded, Rows& rows) {
  const auto parse = [&] { parseDom(loaded.document); };
  const std::size_t runs = chooseRuns(parse);
  Pairs pairs;
  for (std::size_t round = 0; round < kRoundsOfLarge; ++round) {
    const double theirs = sampleMilliseconds(parse, runs);
    pairs.add(nanosecondsOf([&] { ecore::readXmi(loaded.document, real.name, *loaded.mapping); }) / 1e6,
              theirs);
  }
  rows.add(real.name + ": XMI into a model / pugixml's parse", pairs, kXmiLimit);
}

}  // namespace

double EmfProcess::read(const std::string& model, const std::string& form) {
  to_ << model << '\t' << form << std::endl;
  double milliseconds = 0;
  if (!(from_ >> milliseconds)) throw std::runtime_error("EMF does not answer about " + model);
  return milliseconds;
}

void measureRealRows(const std::vector<RealModel>& models, EmfProcess* emf, Rows& rows) {
  for (const RealModel& real : models) {
    const LoadedModel loaded(real);
    measureEmfRows(real, loaded, emf, rows);
    if (real.name == kXmiModel) measureXmiRow(real, loaded, rows);
  }
}

}  // namespace kr::zero::bench
