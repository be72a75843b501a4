#include "vexa/DscIndividualMatrix.h"

#include <cassert>
#include <utility>
#include <vector>

#include "accumulate.h"
#include "batchcolumns.h"
#include "packed.h"
#include "vexa/kernels.h"

namespace vexa {

namespace {

/// Cells of one group: the triangle over the variables and the constant.
int CountMatrix(int nVar) { return TriangleRow(nVar + 1); }

std::size_t AllCells(int nGroup, int nVar) {
  const int cells = CountMatrix(nVar) * nGroup;
  return static_cast<std::size_t>(cells);
}

}  // namespace

DiscIndividualMatrix::Data::Data(int nGroup, int nVar) : _nGroup(nGroup), _nVar(nVar) {}

DiscIndividualMatrix::Data::~Data() { delete[] _TSSP; }

void DiscIndividualMatrix::Data::Init(DataBatchByGroup& batch) {
  assert(!_TSSP);
  const int nCols = static_cast<int>(batch.NColumns());
  assert(nCols == _nVar);
  const unsigned int nRows = batch.NRows();
  if (nRows == 0) {
    _nRows = 0;
    return;
  }
  assert(std::cmp_less_equal(batch.MaxGroup(), _nGroup));

  const ColumnRun run = RunOf(batch, 0, batch.NColumns());
  // Everything that can throw comes first. The constant is a column like any other: its products with the variables are
  // their weighted sums, to the bit.
  std::vector<double> constant(nRows, 1.0);
  std::vector<double*> columns;
  for (unsigned int col = 0; col < run.columns; ++col) columns.push_back(run.Column(col));
  columns.push_back(constant.data());
  std::vector<unsigned int> groupRows;
  for (unsigned int group = 0; group < batch.MaxGroup(); ++group)
    groupRows.push_back(batch.groupCount(group));
  const std::size_t cells = AllCells(_nGroup, _nVar);
  // Groups that this batch cannot have keep their cells at 0.
  const bool all = groupRows.size() == static_cast<std::size_t>(_nGroup);
  _TSSP = all ? new double[cells] : new double[cells]();

  _nRows = nRows;
  const auto nCellsCrossProduct = static_cast<unsigned int>(TriangleRow(_nVar));
  const unsigned int written =
      FillGroupTriangles(columns, groupRows, batch.Weights(), _TSSP, static_cast<std::size_t>(_nGroup));
  const unsigned int tsspIndex = written - (run.columns + 1);
  _weightSum = WeightedSum(batch.Weights(), static_cast<int>(nRows));
  assert(tsspIndex == nCellsCrossProduct);
}

void DiscIndividualMatrix::Data::Update(const Data& d) {
  assert(_nVar == d._nVar && _nGroup == d._nGroup);
  if (d._weightSum == 0.0) return;

  AddCells(_TSSP, d._TSSP, AllCells(_nGroup, _nVar));
  _nRows += d._nRows;
  _weightSum += d._weightSum;
}

void DiscIndividualMatrix::Data::Init(const Data& d) {
  if (&d == this) return;
  double* tssp = CopyCells(d._TSSP, AllCells(d._nGroup, d._nVar));

  delete[] _TSSP;
  _TSSP = tssp;
  _nGroup = d._nGroup;
  _nVar = d._nVar;
  _weightSum = d._weightSum;
  _nRows = d._nRows;
}

DiscIndividualMatrix::DiscIndividualMatrix(int nGroup, int nVar) : _my(new Data(nGroup, nVar)) {}

DiscIndividualMatrix::DiscIndividualMatrix() : DiscIndividualMatrix(0, 0) {}

DiscIndividualMatrix::~DiscIndividualMatrix() { delete _my; }

unsigned int DiscIndividualMatrix::NRows() const { return _my->_nRows; }

MatrixBase& DiscIndividualMatrix::operator+=(DataBatch& /*batch*/) {
  assert(false);
  return *this;
}

MatrixBase& DiscIndividualMatrix::operator+=(DataBatchByGroup& batch) {
  AddBatch(*_my, !_my->_TSSP, batch, _my->_nGroup, _my->_nVar);
  return *this;
}

MatrixBase& DiscIndividualMatrix::operator+=(MatrixBase& other) {
  if (other.NRows() != 0) {
    MergeState(*_my, !_my->_TSSP, *dynamic_cast<const DiscIndividualMatrix&>(other)._my);
  }
  return *this;
}

double DiscIndividualMatrix::WeightSum() const { return _my->_weightSum; }
int DiscIndividualMatrix::NVar() const { return _my->_nVar; }
int DiscIndividualMatrix::NGroup() const { return _my->_nGroup; }

double DiscIndividualMatrix::TSSP(int row, int col, int groupVal) const {
  assert(row <= NVar() && row >= 0);
  assert(col <= NVar() && col >= 0);
  assert(groupVal < NGroup() && groupVal >= 0);
  assert(0. < WeightSum());
  return _my->_TSSP[TriangleCell(row, col) * NGroup() + groupVal];
}

double DiscIndividualMatrix::TSSP(int tsspIndex, int groupVal) const {
  const int countMatrix = CountMatrix(NVar());
  assert(0 <= tsspIndex && tsspIndex < countMatrix);
  assert(groupVal < NGroup() && groupVal >= 0);
  assert(0. < WeightSum());
  return _my->_TSSP[NGroup() * tsspIndex + groupVal];
}

}  // namespace vexa
