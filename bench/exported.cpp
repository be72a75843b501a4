#include "exported.h"

#include <cstdio>
#include <fstream>
#include <vector>

#include "batches.h"
#include "vexa/matrixlistwise.h"
#include "vexa/matrixpairwise.h"

namespace bench {

namespace {

bool Write(const std::string& path, const std::vector<double>& values) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(values.data()),
             static_cast<std::streamsize>(values.size() * sizeof(double)));
  file.close();
  if (!file) std::fprintf(stderr, "ratios: cannot write %s\n", path.c_str());
  return static_cast<bool>(file);
}

}  // namespace

bool Export(const std::string& folder) {
  const Rows complete({4096, 480});
  std::vector<double> combined(complete.weights);
  for (std::size_t row = 0; row < combined.size(); ++row) combined[row] *= complete.regWeights[row];
  Batch batch(complete);
  vexa::MatrixListwise listwise;
  listwise += *batch;
  std::vector<double> cells;
  for (unsigned int row = 0; row < listwise.NColumns(); ++row) {
    for (unsigned int col = 0; col <= row; ++col) cells.push_back(listwise.CCP(row, col));
  }

  const Rows scattered({2048, 128, false, Missing::kScattered});
  Batch pairedBatch(scattered);
  vexa::MatrixPairwise pairwise(kMissing);
  pairwise += *pairedBatch;
  std::vector<double> covariances;
  for (unsigned int row = 0; row < pairwise.NColumns(); ++row) {
    for (unsigned int col = 0; col < row; ++col) {
      const vexa::PairStats pair = pairwise.Pair(row, col);
      covariances.push_back(pair.CSCP() / (static_cast<double>(pair.NRows()) - 1.0));
    }
  }
  return Write(folder + "/complete-4096x480", complete.values) &&
         Write(folder + "/complete-weights", combined) && Write(folder + "/complete-products", cells) &&
         Write(folder + "/scattered-2048x128", scattered.values) &&
         Write(folder + "/scattered-covariances", covariances);
}

}  // namespace bench
