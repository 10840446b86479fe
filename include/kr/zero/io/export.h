/// @file
/// Marks what the binary IO library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_IO_API __attribute__((visibility("default")))
