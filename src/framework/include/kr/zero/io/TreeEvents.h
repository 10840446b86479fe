/// @file
/// A model as tree events, for whoever wants nothing but these: no output, no format of bytes.
///
///     modeling::sylvan::EventPrinter printer(std::cout);
///     kr::zero::io::sendEvents(model, printer);
#pragma once

#include "kr/zero/Model.h"
#include "kr/zero/export.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::io {

/// Sends a model as one document of the shape that KRSylvanSerializer describes.
/// @param target is used during the call only.
/// @throws SerializeError for a model that cannot be written; what the target throws passes through. The
///   target then has the events up to there.
/// Threads: several may send one model at a time, each to a target of its own.
KR0_FRAMEWORK_API void sendEvents(const Model& model, modeling::sylvan::SylvanEventProcessor<void>& target);

}  // namespace kr::zero::io
