/// @file
/// Marks what the inspection library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_INSPECT_API __attribute__((visibility("default")))
