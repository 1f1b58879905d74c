#pragma once

/// Marks what a shared library of QUILT gives to its callers; everything else is hidden.
#define BRAMBLE_API __attribute__((visibility("default")))
