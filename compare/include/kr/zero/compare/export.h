/// @file
/// Marks what the comparing library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_COMPARE_API __attribute__((visibility("default")))
