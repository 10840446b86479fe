/// @file
/// Marks what the evolution library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_EVOLUTION_API __attribute__((visibility("default")))
