/// @file
/// Marks what the evolution library exports; everything else stays hidden.
#pragma once

#define KR0_EVOLUTION_API __attribute__((visibility("default")))
