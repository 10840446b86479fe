/// @file
/// Marks what the Ecore and XMI library exports; everything else stays hidden.
#pragma once

/// Put in front of what other libraries may use.
#define KR0_ECORE_API __attribute__((visibility("default")))
