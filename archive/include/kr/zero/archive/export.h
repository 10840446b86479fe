/// @file
/// Marks what the archive library exports; everything else stays hidden.
#pragma once

#define KR0_ARCHIVE_API __attribute__((visibility("default")))
