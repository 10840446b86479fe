/// @file
/// Marks what the framework library exports; everything else stays hidden.
#pragma once

#define KR0_FRAMEWORK_API __attribute__((visibility("default")))
