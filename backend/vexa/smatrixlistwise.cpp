#include "vexa/smatrixlistwise.h"

#include <cassert>

#include "accumulate.h"
#include "batchcolumns.h"
#include "batchweights.h"
#include "packed.h"
#include "pooling.h"

namespace vexa {

namespace {

/// Cells of a triangle of `rows` rows without its diagonal; one row less with its diagonal has as many.
int MatrixRowCount(int rows) { return StrictTriangleRow(rows); }

}  // namespace

SMatrixListwise::Data::Data(int col0, int col2) : _col0(col0), _col1(col0), _col2(col2) {}

SMatrixListwise::Data::~Data() { delete[] _xp; }

void SMatrixListwise::Data::Init(DataBatch& batch) {
  assert(!_xp);
  int col2 = _col2;
  {
    const int nCols = static_cast<int>(batch.NColumns());
    if (col2 == 0) {
      col2 = nCols;
      assert(_col0 == 0 && _col1 == 0);
    } else {
      assert(_col0==_col1 && _col0>=0);
      assert(_col2 <= nCols && _col2>_col0);
    }
  }
  const unsigned int nRows = batch.NRows();
  if (nRows == 0) {
    _col2 = col2;
    _hasRegWeights = batch.HasRegWeights();
    _nRows = 0;
    return;
  }

  const int nCols = col2 - _col0;
  const int nCells = MatrixRowCount(nCols + 1);
  const auto columns = static_cast<unsigned int>(nCols);
  const ColumnRun run = RunOf(batch, static_cast<unsigned int>(_col0), columns);
  // Everything that can throw comes first: a failed allocation leaves an empty state empty and the batch as
  // it was.
  std::vector<double> means(columns, 0.0);
  std::vector<double> mins(columns, maxvalue);
  std::vector<double> maxs(columns, minvalue);
  _xp = new double[static_cast<std::size_t>(nCells)];

  _means.swap(means);
  _mins.swap(mins);
  _maxs.swap(maxs);
  _col2 = col2;
  _hasRegWeights = batch.HasRegWeights();
  _nRows = nRows;
  BatchWeights weights(batch);

  const unsigned int written =
      CenterAndFillTriangle(run, weights, _means.data(), _mins.data(), _maxs.data(), _xp);
  _weightSum = weights.WeightSum();
  _regWeightSum = weights.RegWeightSum();
  const double* xprow = _xp + written - nCols;
  assert(xprow+nCols == _xp+nCells);
}

void SMatrixListwise::Data::Update(const Data& d) {
  assert(_means.size() == d._means.size());
  assert(_hasRegWeights == d._hasRegWeights);
  assert(_col0 == d._col0 && _col1 == d._col1 && _col2 == d._col2);
  if (d._weightSum == 0.0) return;

  const int nCols = _col2 - _col0;
  const PooledMeans means(_means, _regWeightSum, d._means, d._regWeightSum);
  PoolExtremes(_mins, _maxs, d._mins, d._maxs);
  const int xpindex = PoolTriangle(_xp, d._xp, means, nCols);
  assert(xpindex == MatrixRowCount(nCols+1));

  means.CopyTo(_means);
  _nRows += d._nRows;
  _weightSum += d._weightSum;
  _regWeightSum = means.Weight();
}

void SMatrixListwise::Data::Init(const Data& d) {
  if (&d == this) return;
  std::vector<double> means = d._means;
  std::vector<double> mins = d._mins;
  std::vector<double> maxs = d._maxs;
  double* xp = CopyCells(d._xp, static_cast<std::size_t>(MatrixRowCount(d._col2 - d._col0 + 1)));

  delete[] _xp;
  _xp = xp;
  _means.swap(means);
  _mins.swap(mins);
  _maxs.swap(maxs);
  _weightSum = d._weightSum;
  _regWeightSum = d._regWeightSum;
  _nRows = d._nRows;
  _col0 = d._col0;
  _col1 = d._col1;
  _col2 = d._col2;
  _hasRegWeights = d._hasRegWeights;
}

SMatrixListwise::SMatrixListwise(int col0, int col2) : _my(new Data(col0, col2)) {}

SMatrixListwise::SMatrixListwise() : SMatrixListwise(0, 0) {}

SMatrixListwise::~SMatrixListwise() { delete _my; }

unsigned int SMatrixListwise::NRows() const { return _my->_nRows; }

MatrixBase& SMatrixListwise::operator+=(DataBatch& batch) {
  AddBatch(*_my, !_my->_xp, batch, _my->_col0, _my->_col2);
  return *this;
}

MatrixBase& SMatrixListwise::operator+=(MatrixBase& other) {
  if (other.NRows() != 0) {
    MergeState(*_my, !_my->_xp, *dynamic_cast<const SMatrixListwise&>(other)._my);
  }
  return *this;
}

unsigned int SMatrixListwise::NColumns() const { return static_cast<unsigned int>(_my->_means.size()); }
double SMatrixListwise::WeightSum() const { return _my->_weightSum; }
double SMatrixListwise::RegWeightSum() const { return _my->_regWeightSum; }
bool SMatrixListwise::HasRegWeights() const { return _my->_hasRegWeights; }
int SMatrixListwise::Col0() const { return _my->_col0; }
int SMatrixListwise::Col1() const { return _my->_col1; }
int SMatrixListwise::Col2() const { return _my->_col2; }

double SMatrixListwise::Mean(int c) const {
  assert(c < _my->_col2 && c >= _my->_col0);
  assert(0. < WeightSum());
  return _my->_means[static_cast<std::size_t>(c - _my->_col0)];
}

double SMatrixListwise::Min(int c) const {
  assert(c < _my->_col2 && c >= _my->_col0);
  assert(0. < WeightSum());
  return _my->_mins[static_cast<std::size_t>(c - _my->_col0)];
}

double SMatrixListwise::Max(int c) const {
  assert(c < _my->_col2 && c >= _my->_col0);
  assert(_my->_xp);
  return _my->_maxs[static_cast<std::size_t>(c - _my->_col0)];
}

double SMatrixListwise::CCP(int row, int col) const {
  assert(row < _my->_col2 && row >= _my->_col0);
  assert(col < _my->_col2 && col >= _my->_col0);
  assert(0. < WeightSum());
  return _my->_xp[TriangleCell(row - _my->_col0, col - _my->_col1)];
}

}  // namespace vexa
