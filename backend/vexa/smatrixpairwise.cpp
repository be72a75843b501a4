#include "vexa/smatrixpairwise.h"

#include <cassert>
#include <cstddef>

#include "accumulate.h"
#include "batchcolumns.h"
#include "packed.h"
#include "pairwise.h"
#include "pairwiseblock.h"

namespace vexa {

namespace {

/// Pairs of `rows` columns.
int MatrixRowCount(int rows) { return StrictTriangleRow(rows); }

}  // namespace

SMatrixPairwise::Data::Data(double missing, int col0, int col2) : _col0(col0), _col1(col0), _col2(col2) {
  _workArea._missing = missing;
}

SMatrixPairwise::Data::~Data() { DeleteRecords(*this); }

void SMatrixPairwise::Data::Init(DataBatch& data) {
  assert(!_xp.size());  // NOLINT(readability-container-size-empty): the text is what people read
  const int col2 = _col2 == 0 ? static_cast<int>(data.NColumns()) : _col2;
  const int nCols = col2 - _col0;
  AppendRecords(*this, nCols, nCols > 1 ? MatrixRowCount(nCols) : 0, data);
  _hasRegWeights = data.HasRegWeights();
  _col2 = col2;
  Update(data);
}

void SMatrixPairwise::Data::Update(DataBatch& data) {
  assert(_hasRegWeights == data.HasRegWeights());
  const unsigned int nRows = data.NRows();
  ReserveRows(_workArea, data, _varStats.size());
  _nRows += nRows;
  if (nRows == 0) return;
  const auto nCols = static_cast<std::size_t>(_col2 - _col0);
  assert(_varStats.size() == nCols);

  AddWeights(*this, data);
  const ColumnRun run = RunOf(data, static_cast<unsigned int>(_col0), static_cast<unsigned int>(nCols));
  PairwiseBatch(data, run, _workArea, _varStats, _xp).AddTriangle();
}

void SMatrixPairwise::Data::Update(const Data& d) {
  assert(_varStats.size() == d._varStats.size());
  assert(_hasRegWeights == d._hasRegWeights);
  if (d._weightSum == 0.0) return;

  const auto nCols = static_cast<int>(MergeRecords(_varStats, d._varStats));
  const auto xpindex = static_cast<int>(MergeRecords(_xp, d._xp));
  assert(xpindex == MatrixRowCount(nCols));
  AddRowTotals(*this, d);
}

void SMatrixPairwise::Data::Init(const Data& d) {
  if (&d != this) CopyState(*this, d);
}

SMatrixPairwise::SMatrixPairwise(double missing) : SMatrixPairwise(missing, 0, 0) {}

SMatrixPairwise::SMatrixPairwise(double missing, int col0, int col2) : _my(new Data(missing, col0, col2)) {}

SMatrixPairwise::~SMatrixPairwise() { delete _my; }

unsigned int SMatrixPairwise::NRows() const { return _my->_nRows; }

MatrixBase& SMatrixPairwise::operator+=(DataBatch& data) {
  AddBatchToRecords(*_my, _my->_varStats.empty(), data);
  return *this;
}

MatrixBase& SMatrixPairwise::operator+=(MatrixBase& other) {
  if (other.NRows() != 0) {
    MergeState(*_my, _my->_varStats.empty(), *dynamic_cast<const SMatrixPairwise&>(other)._my);
  }
  return *this;
}

unsigned int SMatrixPairwise::NColumns() const { return static_cast<unsigned int>(_my->_varStats.size()); }
double SMatrixPairwise::WeightSum() const { return _my->_weightSum; }
double SMatrixPairwise::RegWeightSum() const { return _my->_regWeightSum; }
bool SMatrixPairwise::HasRegWeights() const { return _my->_hasRegWeights; }
double SMatrixPairwise::MissingCode() const { return _my->_workArea._missing; }
int SMatrixPairwise::Col0() const { return _my->_col0; }
int SMatrixPairwise::Col1() const { return _my->_col1; }
int SMatrixPairwise::Col2() const { return _my->_col2; }

VarStat& SMatrixPairwise::Var(int col) const {
  assert(col < Col2() && col >= Col0());
  assert(0. < WeightSum());
  return *_my->_varStats[static_cast<std::size_t>(col - Col0())];
}

PairStat& SMatrixPairwise::Pair(int row, int col) const {
  assert(row < _my->_col2 && row >= _my->_col0);
  assert(col < _my->_col2 && col >= _my->_col0);
  assert(row != col);
  assert(0. < WeightSum());
  return *_my->_xp[static_cast<std::size_t>(StrictTriangleCell(row - Col0(), col - Col0()))];
}

}  // namespace vexa
