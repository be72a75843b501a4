#pragma once

#include "tiles.h"

#if VEXA_ENGINE_LANES == 8
#include "direct.h"
#endif

/// The choice between the two ways to cross-products: with both factors packed, or with one of them taken from where its
/// columns lie.

namespace vexa::engine {
namespace VEXA_ENGINE_LEVEL {

/// A mirror's part comes second.
inline std::size_t PackedScratch(const CrossProducts& job) {
  return PackedRun::Scratch(job) + (job.mirrored ? PackedRun::Scratch(Mirror(job)) : 0);
}

inline std::size_t MultiplyPacked(const CrossProducts& job, double* scratch) {
  PackedRun run(job, scratch);
  if (!job.mirrored) return run.Run();
  const CrossProducts other = Mirror(job);
  PackedRun mirror(other, scratch + PackedRun::Scratch(job));
  if (PackedRun::TakesMirrored(job)) return run.RunMirrored(mirror);
  const std::size_t written = run.Run();
  mirror.Run();
  return written;
}

#if VEXA_ENGINE_LANES == 8
/// Enough for either way: who reserves it for the widest job does not know yet which one narrower jobs will go.
inline std::size_t CrossProductScratch(const CrossProducts& job) {
  return Max(PackedScratch(job), DirectRun::Scratch(job));
}

inline std::size_t CrossProductsOf(const CrossProducts& job, double* scratch) {
  return DirectRun::Takes(job) ? DirectRun(job, scratch).Run() : MultiplyPacked(job, scratch);
}
#else
// With narrower vectors a broadcast takes an instruction of its own, and addresses in as many columns as a tile has rows take
// more.
inline std::size_t CrossProductScratch(const CrossProducts& job) { return PackedScratch(job); }

inline std::size_t CrossProductsOf(const CrossProducts& job, double* scratch) {
  return MultiplyPacked(job, scratch);
}
#endif

}  // namespace VEXA_ENGINE_LEVEL
}  // namespace vexa::engine
