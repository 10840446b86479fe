/// @file
/// Internal: tagged documents as tree events, without any meta model.
#pragma once

#include "Documents.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::tool {

using TreeEvents = modeling::sylvan::SylvanEventProcessor<void>;

/// Reads a tagged document once to see that it is whole: its bytes, its texts and its shape.
/// @throws BadInput where it is not.
void checkTagged(const Document& document);

/// Sends the events of a document that checkTagged has found to be whole.
void sendTagged(const Document& document, TreeEvents& target);

/// Sends the events that a model would be written as.
void sendModel(const Model& model, TreeEvents& target);

}  // namespace kr::zero::tool
