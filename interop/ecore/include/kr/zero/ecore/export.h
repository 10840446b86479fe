/// @file
/// Marks what the Ecore and XMI library exports; everything else stays hidden.
#pragma once

#define KR0_ECORE_API __attribute__((visibility("default")))
