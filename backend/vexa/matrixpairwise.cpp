#include "vexa/matrixpairwise.h"

#include "records.h"

namespace vexa {

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

}  // namespace vexa
