#include <cstddef>

#include "yardsticks.h"

// Compiled once per instruction set, and once more with multiplications fused with additions. The text is always the
// same; the flags make the difference, and these names:
//   VEXA_YARDSTICK         the namespace
//   VEXA_YARDSTICK_LANES   doubles of a vector register
//   VEXA_YARDSTICK_CHAINS  registers, less some for the factor and the summand

namespace bench::VEXA_YARDSTICK {

namespace {

typedef double Vector __attribute__((vector_size(VEXA_YARDSTICK_LANES * sizeof(double))));

void Chains(long steps) {
  // Read at run time, or the compiler would do the arithmetic. The chains settle at 1.
  volatile double half = 0.5;
  const Vector factor = Vector{} + half;
  const Vector summand = Vector{} + half;
  Vector chains[VEXA_YARDSTICK_CHAINS];
  for (Vector& chain : chains) chain = factor;
  for (long step = 0; step < steps; ++step) {
#pragma GCC unroll 32
    for (Vector& chain : chains) chain = chain * factor + summand;
  }
  for (const Vector& chain : chains) asm volatile("" : : "m"(chain));
}

void Add(double* x, const double* y, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) x[k] += y[k];
}

}  // namespace

extern const Yardstick kYardstick;
const Yardstick kYardstick = {Chains, 2.0 * VEXA_YARDSTICK_LANES* VEXA_YARDSTICK_CHAINS, Add};

}  // namespace bench::VEXA_YARDSTICK
