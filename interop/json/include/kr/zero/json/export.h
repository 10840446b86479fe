/// @file
/// Marks what the JSON library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_JSON_API __attribute__((visibility("default")))
