#include "blas.h"

#include <cmath>
#include <cstddef>

#ifdef VEXA_BENCH_OPENBLAS
extern "C" {
void dsyrk_(const char* triangle, const char* transposed, const int* n, const int* k, const double* alpha,
            const double* a, const int* lda, const double* beta, double* c, const int* ldc);
void dgemm_(const char* transposedA, const char* transposedB, const int* m, const int* n, const int* k,
            const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
            const double* beta, double* c, const int* ldc);
char* openblas_get_corename();
void openblas_set_num_threads(int threads);
}
#endif

namespace bench::blas {

namespace {

bool RightCell(const Columns& run, int left, int right, double cell) {
  const double* x = run.base + std::ptrdiff_t{left} * run.stride;
  const double* y = run.base + std::ptrdiff_t{right} * run.stride;
  double sum = 0.0;
  for (int row = 0; row < run.rows; ++row) sum += x[row] * y[row];
  return std::fabs(cell - sum) <= 1e-11 * std::fabs(sum);
}

/// Cells in the first and last columns, and some of those between.
bool Sampled(int cell, int columns) { return cell < 2 || cell + 2 >= columns || cell % 29 == 0; }

}  // namespace

#ifdef VEXA_BENCH_OPENBLAS

const char* Core() { return openblas_get_corename(); }

void StayOnOneThread() { openblas_set_num_threads(1); }

void Dsyrk(const Columns& run, double* cells) {
  const double one = 1.0;
  const double zero = 0.0;
  dsyrk_("U", "T", &run.columns, &run.rows, &one, run.base, &run.stride, &zero, cells, &run.columns);
}

void Dgemm(const Columns& run, double* cells) {
  const int half = run.columns / 2;
  const double one = 1.0;
  const double zero = 0.0;
  const double* right = run.base + std::ptrdiff_t{half} * run.stride;
  dgemm_("T", "N", &half, &half, &run.rows, &one, run.base, &run.stride, right, &run.stride, &zero, cells,
         &half);
}

#else

const char* Core() { return "none"; }
void StayOnOneThread() {}
void Dsyrk(const Columns& /*run*/, double* /*cells*/) {}
void Dgemm(const Columns& /*run*/, double* /*cells*/) {}

#endif

bool RightDsyrk(const Columns& run, const double* cells) {
  for (int row = 0; row < run.columns; ++row) {
    if (!Sampled(row, run.columns)) continue;
    for (int col = 0; col <= row; ++col) {
      if (!RightCell(run, row, col, cells[std::ptrdiff_t{row} * run.columns + col])) return false;
    }
  }
  return true;
}

bool RightDgemm(const Columns& run, const double* cells) {
  const int half = run.columns / 2;
  for (int row = 0; row < half; ++row) {
    if (!Sampled(row, half)) continue;
    for (int col = 0; col < half; ++col) {
      if (!RightCell(run, row, half + col, cells[std::ptrdiff_t{col} * half + row])) return false;
    }
  }
  return true;
}

}  // namespace bench::blas
