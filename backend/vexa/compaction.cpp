#include "vexa/compaction.h"

#include <cstddef>

namespace vexa {

namespace {

/// The weights of the kept rows: nothing at all for null weights.
class KeptWeights {
 public:
  KeptWeights(const double* weights, std::size_t rows, std::vector<double>& kept)
      : _weights(weights), _kept(kept) {
    _kept.resize(weights ? rows : 0);
  }

  void Keep(std::size_t row, std::size_t place) {
    if (_weights) _kept[place] = _weights[row];
  }
  void Cut(std::size_t count) {
    if (_weights) _kept.resize(count);
  }

 private:
  const double* _weights;
  std::vector<double>& _kept;
};

}  // namespace

void CopyNonmissing(const double* x, const double* weights, const double* regWeights, double missing, int n,
                    std::vector<double>& outX, std::vector<double>& outWeights,
                    std::vector<double>& outRegWeights) {
  const auto rows = static_cast<std::size_t>(n);
  outX.resize(rows);
  KeptWeights cases(weights, rows, outWeights);
  KeptWeights regs(regWeights, rows, outRegWeights);
  std::size_t count = 0;
  for (std::size_t row = 0; row < rows; ++row) {
    if (x[row] == missing) continue;
    outX[count] = x[row];
    cases.Keep(row, count);
    regs.Keep(row, count);
    ++count;
  }
  outX.resize(count);
  cases.Cut(count);
  regs.Cut(count);
}

void CopyCompletePairs(const double* x, const double* y, const double* weights, const double* regWeights,
                       double missing, int n, std::vector<double>& outX, std::vector<double>& outY,
                       std::vector<double>& outWeights, std::vector<double>& outRegWeights) {
  const auto rows = static_cast<std::size_t>(n);
  outX.resize(rows);
  outY.resize(rows);
  KeptWeights cases(weights, rows, outWeights);
  KeptWeights regs(regWeights, rows, outRegWeights);
  std::size_t count = 0;
  for (std::size_t row = 0; row < rows; ++row) {
    if (x[row] == missing || y[row] == missing) continue;
    outX[count] = x[row];
    outY[count] = y[row];
    cases.Keep(row, count);
    regs.Keep(row, count);
    ++count;
  }
  outX.resize(count);
  outY.resize(count);
  cases.Cut(count);
  regs.Cut(count);
}

}  // namespace vexa
