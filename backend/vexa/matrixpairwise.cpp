#include "vexa/matrixpairwise.h"

#include <cassert>
#include <utility>
#include <vector>

#include "accumulate.h"
#include "batchcolumns.h"
#include "packed.h"
#include "pairwise.h"
#include "records.h"

namespace vexa {

namespace {

/// Where a row of the strict triangle begins, which is also the number of pairs of the columns above it.
unsigned int MatrixRow(unsigned int row) { return StrictTriangleRow(row); }

}  // namespace

void VarStatsData::Init(const double* x, const double* weights, const double* regWeights, WorkArea& work,
                        unsigned int n) {
  InitVariable(*this, x, weights, regWeights, work, static_cast<int>(n));
}

void VarStatsData::Update(const VarStatsData& other) { MergeVariable(*this, other); }

void PairStatsData::Init(const double* x, const double* y, const double* weights, const double* regWeights,
                         WorkArea& work, unsigned int n) {
  InitPair(*this, x, y, weights, regWeights, work, static_cast<int>(n));
}

void PairStatsData::Update(const PairStatsData& other) { MergePair(*this, other); }

VarStats::VarStats(const VarStatsData* data) : _data(data) {}

std::uint64_t VarStats::NRows() const { return _data->_nRows; }
double VarStats::WeightSum() const { return _data->_weightSum; }
double VarStats::RegWeightSum() const { return _data->_regWeightSum; }
double VarStats::Mean() const { return _data->_mean; }
double VarStats::CSS() const { return _data->_css; }

PairStats::PairStats(const PairStatsData* data) : _data(data) {}

std::uint64_t PairStats::NRows() const { return _data->_nRows; }
double PairStats::WeightSum() const { return _data->_weightSum; }
double PairStats::RegWeightSum() const { return _data->_regWeightSum; }
double PairStats::Mean0() const { return _data->_mean0; }
double PairStats::Mean1() const { return _data->_mean1; }
double PairStats::CSS0() const { return _data->_css0; }
double PairStats::CSS1() const { return _data->_css1; }
double PairStats::CSCP() const { return _data->_cscp; }

MatrixPairwise::Data::Data(double missing) { _workArea._missing = missing; }

MatrixPairwise::Data::~Data() = default;

void MatrixPairwise::Data::Init(DataBatch& data) {
  assert(!_xp.size());  // NOLINT(readability-container-size-empty): the text is what people read
  const unsigned int nCols = data.NColumns();
  // Everything that can throw comes first: a failed allocation leaves an empty state empty.
  ReserveRows(_workArea, data, data.NColumns());
  _varStats.reserve(nCols);
  _xp.reserve(MatrixRow(nCols));

  _hasRegWeights = data.HasRegWeights();
  _varStats.resize(nCols);
  _xp.resize(MatrixRow(nCols));
  Update(data);
}

void MatrixPairwise::Data::Update(DataBatch& data) {
  assert(_hasRegWeights == data.HasRegWeights());
  const unsigned int nRows = data.NRows();
  ReserveRows(_workArea, data, data.NColumns());
  _nRows += nRows;
  if (nRows == 0) return;
  const unsigned int nCols = data.NColumns();
  assert(_varStats.size() == nCols);

  const RowTotals totals = TotalsOf(data);
  _weightSum += totals.weightSum;
  _regWeightSum += totals.regWeightSum;
  const unsigned int xpindex =
      PairwiseBatch(data, RunOf(data, 0, nCols), _workArea, _varStats, _xp).AddTriangle();
  assert(xpindex == MatrixRow(nCols));
}

void MatrixPairwise::Data::Init(const Data& d) {
  if (&d == this) return;
  std::vector<VarStatsData> varStats = d._varStats;
  std::vector<PairStatsData> xp = d._xp;
  WorkArea workArea = d._workArea;

  _varStats.swap(varStats);
  _xp.swap(xp);
  std::swap(_workArea, workArea);
  _weightSum = d._weightSum;
  _regWeightSum = d._regWeightSum;
  _nRows = d._nRows;
  _hasRegWeights = d._hasRegWeights;
}

void MatrixPairwise::Data::Update(const Data& d) {
  assert(_varStats.size() == d._varStats.size());
  assert(_hasRegWeights == d._hasRegWeights);
  if (d._weightSum == 0.0) return;

  const auto nCols = static_cast<unsigned int>(MergeRecords(_varStats, d._varStats));
  const auto xpindex = static_cast<unsigned int>(MergeRecords(_xp, d._xp));
  assert(xpindex == MatrixRow(nCols));

  _weightSum += d._weightSum;
  _nRows += d._nRows;
  _regWeightSum += d._regWeightSum;
}

MatrixPairwise::MatrixPairwise(const double& missingCode) : _my(new Data(missingCode)) {}

MatrixPairwise::~MatrixPairwise() { delete _my; }

MatrixPairwise& MatrixPairwise::operator+=(DataBatch& data) {
  AddBatchToRecords(*_my, NColumns() == 0, data);
  return *this;
}

MatrixPairwise& MatrixPairwise::operator+=(const MatrixPairwise& other) {
  if (other.NRows() != 0) MergeState(*_my, NColumns() == 0, *other._my);
  return *this;
}

unsigned int MatrixPairwise::NColumns() const { return static_cast<unsigned int>(_my->_varStats.size()); }
std::uint64_t MatrixPairwise::NRows() const { return _my->_nRows; }
double MatrixPairwise::WeightSum() const { return _my->_weightSum; }
double MatrixPairwise::RegWeightSum() const { return _my->_regWeightSum; }
bool MatrixPairwise::HasRegWeights() const { return _my->_hasRegWeights; }
double MatrixPairwise::MissingCode() const { return _my->_workArea._missing; }

VarStats MatrixPairwise::Var(unsigned int col) const {
  assert(col < NColumns());
  assert(0. < WeightSum());
  return VarStats(&_my->_varStats[col]);
}

PairStats MatrixPairwise::Pair(unsigned int row, unsigned int col) const {
  assert(row < NColumns());
  assert(col < NColumns());
  assert(row != col);
  assert(0. < WeightSum());
  return PairStats(&_my->_xp[StrictTriangleCell(row, col)]);
}

}  // namespace vexa
