#pragma once

/// Marks what the shared library exports; everything else is built hidden.
#define VEXA_EXPORT __attribute__((visibility("default")))
