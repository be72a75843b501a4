#include "vexa/matrixlistwise.h"

#include <cassert>

#include "accumulate.h"
#include "batchcolumns.h"
#include "batchweights.h"
#include "packed.h"
#include "pooling.h"

namespace vexa {

namespace {

/// Where a row of the triangle begins, which is also the size of the triangle above it.
unsigned int MatrixRow(unsigned int row) { return TriangleRow(row); }

}  // namespace

MatrixListwise::Data::Data() = default;

MatrixListwise::Data::~Data() { delete[] _xp; }

void MatrixListwise::Data::Init(DataBatch& batch) {
  assert(!_xp);
  const unsigned int nRows = batch.NRows();
  if (nRows == 0) {
    _hasRegWeights = batch.HasRegWeights();
    _nRows = 0;
    return;
  }

  const unsigned int nCols = batch.NColumns();
  const unsigned int nCells = MatrixRow(nCols);
  // Everything that can throw comes first: a failed allocation leaves an empty state empty and the batch as
  // it was.
  std::vector<double> means(nCols, 0.0);
  _xp = new double[nCells];

  _means.swap(means);
  _hasRegWeights = batch.HasRegWeights();
  _nRows = nRows;
  BatchWeights weights(batch);

  const ColumnRun run = RunOf(batch, 0, nCols);
  const unsigned int written = CenterAndFillTriangle(run, weights, _means.data(), nullptr, nullptr, _xp);
  _weightSum = weights.WeightSum();
  _regWeightSum = weights.RegWeightSum();
  const double* xprow = _xp + written - nCols;
  assert(xprow+nCols == _xp+nCells);
}

void MatrixListwise::Data::Update(const Data& d) {
  assert(_means.size() == d._means.size());
  assert(_hasRegWeights == d._hasRegWeights);
  if (d._weightSum == 0.0) return;

  const auto nCols = static_cast<unsigned int>(_means.size());
  const PooledMeans means(_means, _regWeightSum, d._means, d._regWeightSum);
  const unsigned int xpindex = PoolTriangle(_xp, d._xp, means, nCols);
  assert(xpindex == MatrixRow(nCols));

  means.CopyTo(_means);
  _nRows += d._nRows;
  _weightSum += d._weightSum;
  _regWeightSum = means.Weight();
}

void MatrixListwise::Data::Init(const Data& d) {
  if (&d == this) return;
  std::vector<double> means = d._means;
  double* xp = CopyCells(d._xp, MatrixRow(static_cast<unsigned int>(means.size())));

  delete[] _xp;
  _xp = xp;
  _means.swap(means);
  _weightSum = d._weightSum;
  _regWeightSum = d._regWeightSum;
  _nRows = d._nRows;
  _hasRegWeights = d._hasRegWeights;
}

MatrixListwise::MatrixListwise() : _my(new Data) {}

MatrixListwise::~MatrixListwise() { delete _my; }

MatrixListwise& MatrixListwise::operator+=(DataBatch& batch) {
  AddBatch(*_my, !_my->_xp, batch);
  return *this;
}

MatrixListwise& MatrixListwise::operator+=(const MatrixListwise& other) {
  if (other.NRows() != 0) MergeState(*_my, !_my->_xp, *other._my);
  return *this;
}

unsigned int MatrixListwise::NColumns() const { return static_cast<unsigned int>(_my->_means.size()); }
std::uint64_t MatrixListwise::NRows() const { return _my->_nRows; }
double MatrixListwise::WeightSum() const { return _my->_weightSum; }
double MatrixListwise::RegWeightSum() const { return _my->_regWeightSum; }
bool MatrixListwise::HasRegWeights() const { return _my->_hasRegWeights; }

double MatrixListwise::Mean(unsigned int col) const {
  assert(col < NColumns());
  assert(0. < WeightSum());
  return _my->_means[col];
}

double MatrixListwise::CCP(unsigned int row, unsigned int col) const {
  assert(row < NColumns());
  assert(col < NColumns());
  assert(0. < WeightSum());
  return _my->_xp[TriangleCell(row, col)];
}

}  // namespace vexa
