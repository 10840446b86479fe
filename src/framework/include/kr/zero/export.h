/// @file
/// Marks what the framework library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_FRAMEWORK_API __attribute__((visibility("default")))
