#include "vexa/nsmatrixlistwise.h"

#include <algorithm>
#include <cassert>

#include "accumulate.h"
#include "batchcolumns.h"
#include "batchweights.h"
#include "packed.h"
#include "pooling.h"

namespace vexa {

NSMatrixListwise::Data::Data(int col0, int col1, int col2) : _col0(col0), _col1(col1), _col2(col2) {}

NSMatrixListwise::Data::~Data() { delete[] _xp; }

void NSMatrixListwise::Data::Init(DataBatch& data) {
  assert(!_xp);
  assert(_col0<_col1 && _col1<_col2);
  assert(_col2 <= (int)data.NColumns());
  const unsigned int nRows = data.NRows();
  if (nRows == 0) {
    _hasRegWeights = data.HasRegWeights();
    _nRows = 0;
    return;
  }

  const int i = _col1 - _col0;
  const int j = _col2 - _col1;
  const ColumnRun both =
      RunOf(data, static_cast<unsigned int>(_col0), static_cast<unsigned int>(_col2 - _col0));
  // Everything that can throw comes first: a failed allocation leaves an empty state empty and the batch as
  // it was.
  std::vector<double> ss(both.columns, 0.0);
  std::vector<double> means(both.columns, 0.0);
  std::vector<double> mins(both.columns, maxvalue);
  std::vector<double> maxs(both.columns, minvalue);
  _xp = new double[static_cast<std::size_t>(i * j)]();

  _ss.swap(ss);
  _means.swap(means);
  _mins.swap(mins);
  _maxs.swap(maxs);
  _hasRegWeights = data.HasRegWeights();
  _nRows = nRows;
  BatchWeights weights(data);

  const double* xprow =
      _xp + CenterAndFillRectangle(both, static_cast<unsigned int>(i), weights, _means.data(), _mins.data(),
                                   _maxs.data(), _ss.data(), _xp);
  _weightSum = weights.WeightSum();
  _regWeightSum = weights.RegWeightSum();
  assert(xprow == _xp+i*j);
}

void NSMatrixListwise::Data::Update(const Data& d) {
  assert(_means.size() == d._means.size());
  assert(_hasRegWeights == d._hasRegWeights);
  assert(_col0 == d._col0 && _col1 == d._col1 && _col2 == d._col2);
  if (d._weightSum == 0.0) return;

  const PooledMeans means(_means, _regWeightSum, d._means, d._regWeightSum);
  PoolExtremes(_mins, _maxs, d._mins, d._maxs);
  for (std::size_t col = 0; col < _ss.size(); ++col) {
    _ss[col] = PooledSquare(_ss[col], d._ss[col], means.Increment(col), means.WeightA(), means.FromB()[col],
                            means.WeightB());
  }

  const auto left = static_cast<std::size_t>(_col1 - _col0);
  int xpindex = 0;
  for (int row = 0; row < _col1 - _col0; ++row) {
    // The increment of the left mean as it came out of rounding, unlike in the symmetric block.
    const double a = means.FromA()[row] * means.WeightA();
    const double b = means.FromB()[row] * means.WeightB();
    PoolCells(_xp + xpindex, d._xp + xpindex, means.FromA() + left, a, means.FromB() + left, b,
              _means.size() - left);
    xpindex += _col2 - _col1;
    assert(xpindex == (row+1)*(_col2-_col1));
  }
  assert(xpindex == (_col1-_col0)*(_col2-_col1));

  means.CopyTo(_means);
  _nRows += d._nRows;
  _weightSum += d._weightSum;
  _regWeightSum = means.Weight();
}

void NSMatrixListwise::Data::Init(const Data& d) {
  if (&d == this) return;
  std::vector<double> ss = d._ss;
  std::vector<double> means = d._means;
  std::vector<double> mins = d._mins;
  std::vector<double> maxs = d._maxs;
  const int nCells = (d._col2 - d._col1) * (d._col1 - d._col0);
  double* xp = CopyCells(d._xp, static_cast<std::size_t>(nCells));

  delete[] _xp;
  _xp = xp;
  _ss.swap(ss);
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

NSMatrixListwise::NSMatrixListwise(int col0, int col1, int col2) : _my(new Data(col0, col1, col2)) {}

NSMatrixListwise::~NSMatrixListwise() { delete _my; }

unsigned int NSMatrixListwise::NRows() const { return _my->_nRows; }

MatrixBase& NSMatrixListwise::operator+=(DataBatch& batch) {
  AddBatch(*_my, !_my->_xp, batch, _my->_col0, _my->_col1, _my->_col2);
  return *this;
}

MatrixBase& NSMatrixListwise::operator+=(MatrixBase& other) {
  if (other.NRows() != 0) {
    MergeState(*_my, !_my->_xp, *dynamic_cast<const NSMatrixListwise&>(other)._my);
  }
  return *this;
}

unsigned int NSMatrixListwise::NColumns() const { return static_cast<unsigned int>(_my->_means.size()); }
double NSMatrixListwise::WeightSum() const { return _my->_weightSum; }
double NSMatrixListwise::RegWeightSum() const { return _my->_regWeightSum; }
bool NSMatrixListwise::HasRegWeights() const { return _my->_hasRegWeights; }
int NSMatrixListwise::Col0() const { return _my->_col0; }
int NSMatrixListwise::Col1() const { return _my->_col1; }
int NSMatrixListwise::Col2() const { return _my->_col2; }

double NSMatrixListwise::Mean(int c) const {
  assert(c < _my->_col2 && c >= _my->_col0);
  assert(0. < WeightSum());
  return _my->_means[static_cast<std::size_t>(c - _my->_col0)];
}

double NSMatrixListwise::Min(int c) const {
  assert(c < _my->_col2 && c >= _my->_col0);
  assert(0. < WeightSum());
  return _my->_mins[static_cast<std::size_t>(c - _my->_col0)];
}

double NSMatrixListwise::Max(int c) const {
  assert(c < _my->_col2 && c >= _my->_col0);
  assert(_my->_xp);
  return _my->_maxs[static_cast<std::size_t>(c - _my->_col0)];
}

double NSMatrixListwise::CCP(int row, int col) const {
  assert(row < _my->_col2 && row >= _my->_col0);
  assert(col < _my->_col2 && col >= _my->_col0);
  assert(0. < WeightSum());
  if (row == col) return _my->_ss[static_cast<std::size_t>(row - _my->_col0)];
  const auto [left, right] = std::minmax({row, col});
  assert(left < _my->_col1 && right >= _my->_col1);
  return _my->_xp[(right - _my->_col1) + (left - _my->_col0) * (_my->_col2 - _my->_col1)];
}

}  // namespace vexa
