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
}
#endif

namespace bench::blas {

namespace {

bool RightCell(vexa::DataBatch& batch, unsigned int left, unsigned int right, double cell) {
  const double* x = batch.Column(left);
  const double* y = batch.Column(right);
  double sum = 0.0;
  for (unsigned int row = 0; row < batch.NRows(); ++row) sum += x[row] * y[row];
  return std::fabs(cell - sum) <= 1e-11 * std::fabs(sum);
}

/// Cells in the first and last columns, and some of those between.
bool Sampled(unsigned int cell, unsigned int columns) {
  return cell < 2 || cell + 2 >= columns || cell % 29 == 0;
}

}  // namespace

#ifdef VEXA_BENCH_OPENBLAS

const char* Core() { return openblas_get_corename(); }

void Dsyrk(vexa::DataBatch& batch, double* cells) {
  const int columns = static_cast<int>(batch.NColumns());
  const int rows = static_cast<int>(batch.NRows());
  const int stride = static_cast<int>(batch.MaxRows());
  const double one = 1.0;
  const double zero = 0.0;
  dsyrk_("U", "T", &columns, &rows, &one, batch.Column(0), &stride, &zero, cells, &columns);
}

void Dgemm(vexa::DataBatch& batch, double* cells) {
  const int half = static_cast<int>(batch.NColumns() / 2);
  const int rows = static_cast<int>(batch.NRows());
  const int stride = static_cast<int>(batch.MaxRows());
  const double one = 1.0;
  const double zero = 0.0;
  dgemm_("T", "N", &half, &half, &rows, &one, batch.Column(0), &stride,
         batch.Column(static_cast<unsigned int>(half)), &stride, &zero, cells, &half);
}

#else

const char* Core() { return "none"; }
void Dsyrk(vexa::DataBatch& /*batch*/, double* /*cells*/) {}
void Dgemm(vexa::DataBatch& /*batch*/, double* /*cells*/) {}

#endif

bool RightDsyrk(vexa::DataBatch& batch, const double* cells) {
  const unsigned int columns = batch.NColumns();
  for (unsigned int row = 0; row < columns; ++row) {
    if (!Sampled(row, columns)) continue;
    for (unsigned int col = 0; col <= row; ++col) {
      if (!RightCell(batch, row, col, cells[std::size_t{row} * columns + col])) return false;
    }
  }
  return true;
}

bool RightDgemm(vexa::DataBatch& batch, const double* cells) {
  const unsigned int half = batch.NColumns() / 2;
  for (unsigned int row = 0; row < half; ++row) {
    if (!Sampled(row, half)) continue;
    for (unsigned int col = 0; col < half; ++col) {
      if (!RightCell(batch, row, half + col, cells[std::size_t{col} * half + row])) return false;
    }
  }
  return true;
}

}  // namespace bench::blas
