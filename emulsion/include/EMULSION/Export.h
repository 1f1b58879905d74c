#pragma once

/// Marks what libEMULSION.so gives to its callers; everything else is hidden.
#define EMULSION_API __attribute__((visibility("default")))
