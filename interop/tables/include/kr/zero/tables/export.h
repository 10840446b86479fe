/// @file
/// Marks what the tables library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_TABLES_API __attribute__((visibility("default")))
