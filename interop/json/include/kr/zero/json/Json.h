/// @file
/// Models as JSON, and back. Nothing is lost: a model that went through JSON is written to the same binary
/// bytes. docs/formats/json.md tells how a document looks.
///
///     std::string text = kr::zero::json::writeJson(model);
///     kr::zero::Model again = kr::zero::json::readJson(text, {.registry = &registry});
///
/// Both work piece by piece: no tree of the document is ever in memory. Everything here throws
/// kr::zero::Error and nothing else. Threads: each call is on its own.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "kr/zero/Model.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/json/export.h"

namespace kr::zero::json {

/// Writes a model as a JSON document in UTF-8, one element a line.
KR0_JSON_API std::string writeJson(const Model& model, const io::Progress& progress = {});
/// The same into a stream.
/// @throws Error also where the stream takes no more (ErrorCode::unwritable).
KR0_JSON_API void writeJson(const Model& model, std::ostream& stream, const io::Progress& progress = {});

/// Reads a JSON document.
/// @param options as for io::readModel; the format says nothing.
/// @throws Error for what is no JSON, is not of this form, or does not fit the meta models; the path is the
///   element's.
KR0_JSON_API Model readJson(std::string_view text, const io::LoadOptions& options = {});
/// The same from a stream, which is read to its end.
KR0_JSON_API Model readJson(std::istream& stream, const io::LoadOptions& options = {});

/// Whether a document begins like one of these.
KR0_JSON_API bool looksLikeJson(std::string_view beginning);

}  // namespace kr::zero::json
