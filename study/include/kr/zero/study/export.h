/// @file
/// Marks what the study library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_STUDY_API __attribute__((visibility("default")))
