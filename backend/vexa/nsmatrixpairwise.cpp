#include "vexa/nsmatrixpairwise.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

#include "accumulate.h"
#include "batchcolumns.h"
#include "pairwise.h"
#include "pairwiseblock.h"

namespace vexa {

NSMatrixPairwise::Data::Data(double missing, int col0, int col1, int col2)
    : _col0(col0), _col1(col1), _col2(col2) {
  _workArea._missing = missing;
}

NSMatrixPairwise::Data::~Data() { DeleteRecords(*this); }

void NSMatrixPairwise::Data::Init(DataBatch& data) {
  assert(!_xp.size());  // NOLINT(readability-container-size-empty): the text is what people read
  AppendRecords(*this, _col2 - _col0, (_col2 - _col1) * (_col1 - _col0), data);
  _hasRegWeights = data.HasRegWeights();
  Update(data);
}

void NSMatrixPairwise::Data::Update(DataBatch& data) {
  assert(_hasRegWeights == data.HasRegWeights());
  const unsigned int nRows = data.NRows();
  ReserveRows(_workArea, data, _varStats.size());
  _nRows += nRows;
  if (nRows == 0) return;
  const auto nCols = static_cast<std::size_t>(_col2 - _col0);
  assert(_varStats.size() == nCols);

  AddWeights(*this, data);
  const ColumnRun run = RunOf(data, static_cast<unsigned int>(_col0), static_cast<unsigned int>(nCols));
  const PairwiseBatch batch(data, run, _workArea, _varStats, _xp);
  // Bounds out of order make no pairs, and the assertion says so.
  const bool ordered = _col0 <= _col1 && _col1 <= _col2;
  const auto left = static_cast<unsigned int>(ordered ? _col1 - _col0 : 0);
  const auto right = static_cast<unsigned int>(ordered ? _col2 - _col1 : 0);
  const auto xpi = static_cast<int>(batch.AddRectangle(left, right));
  assert(xpi == (_col1-_col0)*(_col2-_col1));
}

void NSMatrixPairwise::Data::Update(const Data& d) {
  assert(_varStats.size() == d._varStats.size());
  assert(_hasRegWeights == d._hasRegWeights);
  // As many columns split in another place make another number of pairs.
  assert(_xp.size() == d._xp.size());
  if (d._weightSum == 0.0) return;

  MergeRecords(_varStats, d._varStats);
  const auto xpindex = static_cast<int>(MergeRecords(_xp, d._xp));
  assert(xpindex == (_col1-_col0)*(_col2-_col1));
  AddRowTotals(*this, d);
}

void NSMatrixPairwise::Data::Init(const Data& d) {
  if (&d != this) CopyState(*this, d);
}

NSMatrixPairwise::NSMatrixPairwise(double missing, int col0, int col1, int col2)
    : _my(new Data(missing, col0, col1, col2)) {}

NSMatrixPairwise::~NSMatrixPairwise() { delete _my; }

unsigned int NSMatrixPairwise::NRows() const { return _my->_nRows; }

MatrixBase& NSMatrixPairwise::operator+=(DataBatch& data) {
  AddBatchToRecords(*_my, _my->_varStats.empty(), data);
  return *this;
}

MatrixBase& NSMatrixPairwise::operator+=(MatrixBase& other) {
  if (other.NRows() != 0) {
    MergeState(*_my, _my->_varStats.empty(), *dynamic_cast<const NSMatrixPairwise&>(other)._my);
  }
  return *this;
}

unsigned int NSMatrixPairwise::NColumns() const { return static_cast<unsigned int>(_my->_varStats.size()); }
double NSMatrixPairwise::WeightSum() const { return _my->_weightSum; }
double NSMatrixPairwise::RegWeightSum() const { return _my->_regWeightSum; }
bool NSMatrixPairwise::HasRegWeights() const { return _my->_hasRegWeights; }
double NSMatrixPairwise::MissingCode() const { return _my->_workArea._missing; }
int NSMatrixPairwise::Col0() const { return _my->_col0; }
int NSMatrixPairwise::Col1() const { return _my->_col1; }
int NSMatrixPairwise::Col2() const { return _my->_col2; }

VarStat& NSMatrixPairwise::Var(int col) const {
  assert(col < Col2() && col >= Col0());
  assert(0. < WeightSum());
  return *_my->_varStats[static_cast<std::size_t>(col - Col0())];
}

PairStat& NSMatrixPairwise::Pair(int row, int col) const {
  assert(row < _my->_col2 && row >= _my->_col0);
  assert(col < _my->_col2 && col >= _my->_col0);
  assert(row != col);
  assert(0. < WeightSum());
  const auto [left, right] = std::minmax({row, col});
  assert(left < _my->_col1 && right >= _my->_col1);
  const int pair = (left - Col0()) * (Col2() - Col1()) + (right - Col1());
  return *_my->_xp[static_cast<std::size_t>(pair)];
}

}  // namespace vexa
