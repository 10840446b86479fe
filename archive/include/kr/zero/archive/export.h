/// @file
/// Marks what the archive library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_ARCHIVE_API __attribute__((visibility("default")))
