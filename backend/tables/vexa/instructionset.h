#pragma once

#include "export.h"

namespace vexa {

/// Which vector instructions the accumulators use on this machine: "v4" (AVX-512), "v3" (AVX2) or "baseline" (SSE2),
/// the best that processor and operating system offer. For logs and reports of faults: the bits of every result are
/// the same with each of them. The text lives as long as the library and is the same for the life of the process. May
/// be called from any thread; does not allocate.
VEXA_EXPORT const char* InstructionSet();

}  // namespace vexa
