/// @file
/// What kind of thing a log entry is.
#pragma once

namespace foundation::log {

/// How grave an entry is.
enum class logging_event_types { info, warning, error };

}  // namespace foundation::log
