#include "vexa/statobjects.h"

#include <memory>

#include "handles.h"
#include "records.h"

namespace vexa {

void VarStatData::Init(const double* x, const double* w, const double* rw, WorkArea& work, int n) {
  InitVariable(*this, x, w, rw, work, n);
}

void VarStatData::Update(const VarStatData& other) { MergeVariable(*this, other); }

void PairStatData::Init(const double* x0, const double* x1, const double* w, const double* rw, WorkArea& work,
                        int n) {
  InitPair(*this, x0, x1, w, rw, work, n);
}

void PairStatData::Update(const PairStatData& other) { MergePair(*this, other); }

VarStat::VarStat() : _data(new VarStatData) {}

VarStat::VarStat(VarStatData* data) : _data(data) {}

VarStat::~VarStat() {
  if (StandsAlone(this, _data)) delete _data;
}

int VarStat::NRows() const { return _data->_nRows; }
double VarStat::WeightSum() const { return _data->_weightSum; }
double VarStat::RegWeightSum() const { return _data->_regWeightSum; }
double VarStat::Mean() const { return _data->_mean; }
double VarStat::CSS() const { return _data->_css; }
double VarStat::Min() const { return _data->_min; }
double VarStat::Max() const { return _data->_max; }

VarStatData* VarStat::Data() { return _data; }

void VarStat::Update(VarStat& other) { _data->Update(*other.Data()); }

VarStat* VarStat::Copy() {
  auto copy = std::make_unique<VarStat>();
  *copy->_data = *_data;
  return copy.release();
}

void VarStat::Init(const double* x, const double* w, const double* rw, WorkArea& work, int n) {
  _data->Init(x, w, rw, work, n);
}

PairStat::PairStat() : _data(new PairStatData) {}

PairStat::PairStat(PairStatData* data) : _data(data) {}

PairStat::~PairStat() {
  if (StandsAlone(this, _data)) delete _data;
}

int PairStat::NRows() const { return _data->_nRows; }
double PairStat::WeightSum() const { return _data->_weightSum; }
double PairStat::RegWeightSum() const { return _data->_regWeightSum; }
double PairStat::Mean0() const { return _data->_mean0; }
double PairStat::Mean1() const { return _data->_mean1; }
double PairStat::CSS0() const { return _data->_css0; }
double PairStat::CSS1() const { return _data->_css1; }
double PairStat::CSCP() const { return _data->_cscp; }

PairStatData* PairStat::Data() { return _data; }

void PairStat::Update(PairStat& other) { _data->Update(*other.Data()); }

PairStat* PairStat::Copy() {
  auto copy = std::make_unique<PairStat>();
  *copy->_data = *_data;
  return copy.release();
}

void PairStat::Init(const double* x0, const double* x1, const double* w, const double* rw, WorkArea& work,
                    int n) {
  _data->Init(x0, x1, w, rw, work, n);
}

}  // namespace vexa
