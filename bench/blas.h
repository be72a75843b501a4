#pragma once

/// OpenBLAS's kernels for the same cross-products, on the columns of a batch where they lie: what they neither centre
/// nor weigh nor sum in a defined order. In a build without OpenBLAS there is none.

namespace bench::blas {

#ifdef VEXA_BENCH_OPENBLAS
constexpr bool kHere = true;
#else
constexpr bool kHere = false;
#endif

/// The kernels that OpenBLAS has chosen for this process, by the name of a processor core.
const char* Core();

/// Keeps OpenBLAS to the thread that calls it, whose clock would not see the others.
void StayOnOneThread();

/// The columns of a batch.
struct Columns {
  const double* base;
  int stride;  ///< doubles from one column to the next
  int columns;
  int rows;
};

/// Σ x·y of every column with every earlier one and itself; that of columns c ≤ r goes to cells[r × columns + c].
void Dsyrk(const Columns& run, double* cells);

/// Σ x·y of every column of the first half with every one of the second half; that of columns r and half + c goes to
/// cells[c × half + r].
void Dgemm(const Columns& run, double* cells);

/// Whether the cells are those that the two should write, to rounding: some of their kernels are wrong on some
/// machines. A sample of the cells is compared with plain sums.
bool RightDsyrk(const Columns& run, const double* cells);
bool RightDgemm(const Columns& run, const double* cells);

}  // namespace bench::blas
