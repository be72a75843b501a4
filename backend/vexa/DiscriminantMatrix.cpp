#include "vexa/DiscriminantMatrix.h"

#include <cassert>
#include <memory>

#include "accumulate.h"
#include "batchcolumns.h"
#include "packed.h"
#include "vexa/kernels.h"

namespace vexa {

namespace {

std::size_t GroupCells(int nGroup, int nVar) {
  const int cells = nGroup * nVar;
  return static_cast<std::size_t>(cells);
}

std::size_t PairCells(int nVar) { return static_cast<std::size_t>(StrictTriangleRow(nVar)); }

}  // namespace

DiscriminantMatrix::Data::Data(int nGroup, int nVar) : _nGroup(nGroup), _nVar(nVar) {}

DiscriminantMatrix::Data::~Data() {
  delete[] _sumX1;
  delete[] _sumX2;
  delete[] _TSSP;
}

void DiscriminantMatrix::Data::Init(DataBatch& batch) {
  assert((!_sumX1)&&(!_sumX2)&&(!_TSSP));
  const int nCols = static_cast<int>(batch.NColumns());
  assert(nCols == _nVar);
  const unsigned int nRows = batch.NRows();
  if (nRows == 0) {
    _nRows = 0;
    return;
  }
  const unsigned int* groups = batch.Groups();
  assert(groups);

  const std::size_t nCellsTSSP = PairCells(_nVar);
  // Everything that can throw comes first: a failed allocation leaves an empty state empty.
  std::vector<double> sumW(static_cast<std::size_t>(_nGroup), 0.0);
  std::unique_ptr<double[]> sumX1(new double[GroupCells(_nGroup, _nVar)]());
  std::unique_ptr<double[]> sumX2(new double[GroupCells(_nGroup, _nVar)]());
  _TSSP = new double[nCellsTSSP]();

  _sumX1 = sumX1.release();
  _sumX2 = sumX2.release();
  _sumW.swap(sumW);
  _nRows = nRows;
  const double* weights = batch.Weights();
  WeightByGroup(groups, weights, _sumW, _weightSum, static_cast<int>(nRows));

  const ColumnRun run = RunOf(batch, 0, batch.NColumns());
  AddGroupSums(run, groups, weights, _sumW.size(), _sumX1, _sumX2);
  const std::size_t tsspIndex = FillTriangle(run, Diagonal::kWithout, weights, _TSSP);
  assert(tsspIndex == nCellsTSSP);
}

void DiscriminantMatrix::Data::Update(const Data& d) {
  assert(_nVar == d._nVar && _nGroup == d._nGroup);
  if (d._weightSum == 0.0) return;

  AddCells(_sumW.data(), d._sumW.data(), _sumW.size());
  AddCells(_sumX1, d._sumX1, GroupCells(_nGroup, _nVar));
  AddCells(_sumX2, d._sumX2, GroupCells(_nGroup, _nVar));
  AddCells(_TSSP, d._TSSP, PairCells(_nVar));
  _nRows += d._nRows;
  _weightSum += d._weightSum;
}

void DiscriminantMatrix::Data::Init(const Data& d) {
  if (&d == this) return;
  const std::size_t groupCells = GroupCells(d._nGroup, d._nVar);
  std::vector<double> sumW = d._sumW;
  std::unique_ptr<double[]> sumX1(CopyCells(d._sumX1, groupCells));
  std::unique_ptr<double[]> sumX2(CopyCells(d._sumX2, groupCells));
  double* tssp = CopyCells(d._TSSP, PairCells(d._nVar));

  delete[] _sumX1;
  delete[] _sumX2;
  delete[] _TSSP;
  _sumX1 = sumX1.release();
  _sumX2 = sumX2.release();
  _TSSP = tssp;
  _sumW.swap(sumW);
  _nGroup = d._nGroup;
  _nVar = d._nVar;
  _weightSum = d._weightSum;
  _nRows = d._nRows;
}

DiscriminantMatrix::DiscriminantMatrix(int nGroup, int nVar) : _my(new Data(nGroup, nVar)) {}

DiscriminantMatrix::DiscriminantMatrix() : DiscriminantMatrix(0, 0) {}

DiscriminantMatrix::~DiscriminantMatrix() { delete _my; }

unsigned int DiscriminantMatrix::NRows() const { return _my->_nRows; }

MatrixBase& DiscriminantMatrix::operator+=(DataBatch& batch) {
  AddBatch(*_my, !_my->_TSSP, batch, _my->_nGroup, _my->_nVar);
  return *this;
}

MatrixBase& DiscriminantMatrix::operator+=(MatrixBase& other) {
  if (other.NRows() == 0) return *this;
  const Data& d = *dynamic_cast<const DiscriminantMatrix&>(other)._my;
  const bool empty = !_my->_TSSP;
  if (empty) {
    assert(!(_my->_sumX1)&&!(_my->_sumX2));
  } else {
    assert(_my->_sumX1 && _my->_sumX2);
  }
  MergeState(*_my, empty, d);
  return *this;
}

double DiscriminantMatrix::WeightSum() const { return _my->_weightSum; }
int DiscriminantMatrix::NVar() const { return _my->_nVar; }
int DiscriminantMatrix::NGroup() const { return _my->_nGroup; }

double DiscriminantMatrix::sumW(int c) const {
  assert(c < NGroup() && c >= 0);
  assert(0. < WeightSum());
  return _my->_sumW[static_cast<std::size_t>(c)];
}

double DiscriminantMatrix::sumX1(int group, int var) const {
  assert(group < NGroup() && group >= 0);
  assert(var < NVar() && var >= 0);
  assert(0. < WeightSum());
  return _my->_sumX1[NGroup() * var + group];
}

double DiscriminantMatrix::sumX2(int group, int var) const {
  assert(group < NGroup() && group >= 0);
  assert(var < NVar() && var >= 0);
  assert(0. < WeightSum());
  return _my->_sumX2[NGroup() * var + group];
}

double DiscriminantMatrix::TSSP(int row, int col) const {
  assert(row < NVar() && row >= 0);
  assert(col < NVar() && col >= 0);
  assert(0. < WeightSum());
  assert(row != col);
  return _my->_TSSP[StrictTriangleCell(row, col)];
}

}  // namespace vexa
