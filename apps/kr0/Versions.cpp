// Documents of one meta model, for verbs that hold them against each other.
#include <algorithm>
#include <new>
#include <utility>

#include "Compare.h"
#include "Errors.h"
#include "ProgressBar.h"

namespace kr::zero::tool {

namespace {

// The document whose meta models all are read by.
std::size_t leaderOf(const std::vector<Document>& documents, const ReadOptions& options) {
  const auto found = std::find_if(documents.begin(), documents.end(), [&](const Document& document) {
    return !document.bytes.empty() && (document.format == Format::krz || hasMetaModels(document, options));
  });
  if (found != documents.end()) return static_cast<std::size_t>(found - documents.begin());
  const auto any = std::find_if(documents.begin(), documents.end(),
                                [](const Document& document) { return !document.bytes.empty(); });
  if (any == documents.end()) throw WrongCall("all of the documents are empty");
  return static_cast<std::size_t>(any - documents.begin());  // reading it says what is missing
}

Model readByOther(const Document& document, const Versions& versions, const ReadOptions& options,
                  ProgressBar& progress) {
  try {
    return readModel(document, versions.metaModels, progress, options);
  } catch (const Error& error) {
    if (error.getCode() != ErrorCode::doesNotFit || document.format != Format::krz) throw;
    ErrorDetails details = error.getDetails();
    details.problem =
        "the documents bring different meta models, and it cannot be read by that of the other: " +
        details.problem;
    throw Error(error.getCode(), std::move(details));
  }
}

}  // namespace

Versions loadVersions(const std::vector<std::string>& paths, const ReadOptions& options, Bytes bytes) {
  ProgressBar progress;
  std::vector<Document> documents;
  documents.reserve(paths.size());
  for (const std::string& path : paths)
    documents.push_back(readDocument(path, formatNamed(options.from), progress, options.limit));
  const std::size_t leader = leaderOf(documents, options);
  LoadedDocument first = readModel(documents[leader], options, progress);
  Versions versions{std::move(first.metaModels), {}, {}};
  for (std::size_t i = 0; i < documents.size(); ++i) {
    if (i == leader)
      versions.models.push_back(std::move(first.model));
    else if (documents[i].bytes.empty())
      versions.models.emplace_back(versions.metaModels.registry());
    else
      versions.models.push_back(readByOther(documents[i], versions, options, progress));
    if (bytes == Bytes::drop) documents[i].bytes = {};  // the model holds everything now
  }
  versions.documents = std::move(documents);
  return versions;
}

compare::CompareOptions compareOptions(const MetaModels& metaModels) {
  return {.ids = ecore::idAttributesOf(metaModels.mapping())};
}

void withTroubleAs2(const std::function<void()>& work) {
  try {
    work();
  } catch (const AnsweredNo&) {
    throw;
  } catch (const ReaderGone&) {
    throw;
  } catch (const std::bad_alloc&) {
    complainOfMemory();
    throw AlreadyTold(exitWrongCall);
  } catch (...) {
    complain(std::current_exception());
    throw AlreadyTold(exitWrongCall);
  }
}

}  // namespace kr::zero::tool
