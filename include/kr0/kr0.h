/// @file
/// Everything public of the framework and of the binary formats, and the formats registered: a program that
/// includes this saves and loads models without any call before.
#pragma once

#include "kr/zero/DateTime.h"
#include "kr/zero/Error.h"
#include "kr/zero/Model.h"
#include "kr/zero/Validate.h"
#include "kr/zero/Value.h"
#include "kr/zero/io/BinaryAssembler.h"
#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/BinaryFormatter.h"
#include "kr/zero/io/BinaryKRGrammarTransformer.h"
#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/Errors.h"
#include "kr/zero/io/IOFormatProvider.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/io/ReadFailure.h"
#include "kr/zero/io/TreeEvents.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/meta/StandardTypes.h"
#include "kr/zero/meta/Type.h"
#include "modeling/sylvan/EventCounter.h"
#include "modeling/sylvan/EventPrinter.h"
#include "modeling/sylvan/EventRecorder.h"
#include "modeling/sylvan/NullEventProcessor.h"

namespace kr::zero::io::internal {

/// Set up before any code of a program that includes this header can use a format.
inline const bool formatsAreRegistered = (registerBinaryFormats(), true);

}  // namespace kr::zero::io::internal
