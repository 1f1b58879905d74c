#pragma once

/// Marks what a shared library of QUILT gives to its callers; everything else is hidden.
#define UTIL_API __attribute__((visibility("default")))
