// A program in bytes: rows into batches, batches into accumulators, accumulators into each other. Every instruction set
// of the engine must leave the bits that the plain kernels leave.

#include <tuple>

#include "fuzz/target.h"
#include "support/statistics.h"
#include "vexa/databatch.h"
#include "vexa/databatchbygroup.h"
#include "vexa/engine/engine.h"

namespace {

constexpr double kMissing = 9.0;
constexpr int kGroups = 3;
/// Each may double the rows of at most 20 batches, whose number must fit an int.
constexpr int kMostMerges = 16;

class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : _at(data), _end(data + size) {}
  bool Ended() const { return _at == _end; }
  unsigned int Next() { return Ended() ? 0U : *_at++; }

 private:
  const std::uint8_t* _at;
  const std::uint8_t* _end;
};

double ValueOf(unsigned int byte) {
  constexpr double kOdd[] = {0.0, -0.0, kMissing, kMissing, 1e9 + 0.5, -1e300, 5e-324, INFINITY, NAN, 1e-9};
  return byte < 10 ? kOdd[byte] : (static_cast<double>(byte) - 128.0) / 7.0;
}

/// Smaller batches are left to the plain kernels.
constexpr unsigned int kEngineRows = 24;
constexpr int kEngineColumns = 4;

std::string Run(Bytes program) {
  const unsigned int shape = program.Next();
  const auto columns = static_cast<int>(2 + program.Next() % 18);
  const unsigned int capacity = 1 + program.Next();
  double weight = 1.0;
  double regWeight = 1.0;
  unsigned int group = 0;
  const double* const weights = (shape & 1) != 0 ? &weight : nullptr;
  const double* const regWeights = (shape & 2) != 0 ? &regWeight : nullptr;
  vexa::DataBatch batch(static_cast<unsigned int>(columns), capacity, weights, regWeights, &group);
  vexa::DataBatchByGroup grouped(static_cast<unsigned int>(columns), capacity, weights, regWeights, &group,
                                 kGroups);
  struct Sums {
    explicit Sums(int all)
        : left(0, all),
          across(0, all / 2, all),
          symmetric(kMissing, 0, all),
          pairs(kMissing, 0, all / 2, all),
          groups(kGroups, all),
          each(kGroups, all) {}
    vexa::MatrixListwise whole;
    vexa::SMatrixListwise left;
    vexa::NSMatrixListwise across;
    vexa::MatrixPairwise missing{kMissing};
    vexa::SMatrixPairwise symmetric;
    vexa::NSMatrixPairwise pairs;
    vexa::DiscriminantMatrix groups;
    vexa::DiscIndividualMatrix each;
    auto All() { return std::tie(whole, left, across, missing, symmetric, pairs, groups, each); }
  };
  Sums sums[2] = {Sums(columns), Sums(columns)};
  int merges = 0;
  std::vector<double> row(static_cast<std::size_t>(columns));
  while (!program.Ended()) {
    const unsigned int operation = program.Next();
    Sums& target = sums[operation / 16 % 2];
    Sums& other = sums[operation / 32 % 2];
    if (operation % 16 >= 10 && operation % 16 <= 13 && batch.NRows() >= kEngineRows &&
        columns >= kEngineColumns) {
      ++reached;
    }
    switch (operation % 16) {
      default: {  // so many rows, from a few bytes
        unsigned int state = program.Next();
        const unsigned int count = program.Next();
        for (unsigned int k = 0; k < count && batch.NRows() < capacity; ++k) {
          weight =
              ValueOf(128 + state / 256 % 128);  // in sums that are not positive there is nothing to compare
          regWeight = state % 11 == 0 ? 0.0 : 1.5;
          group = state % kGroups;
          for (double& value : row) {
            state = (state * 1103515245U + 12345U) & 0x7fffffffU;
            value = ValueOf(state / 256 % 256 + (operation % 16 < 4 ? 10 : 0));
          }
          batch.AddRow(row.data());
          if (grouped.NRows() == capacity) continue;
          std::copy(row.begin(), row.end(), grouped.NextRow());
          grouped.AddRow();
        }
        break;
      }
      case 8:
        batch.Clear();
        break;
      case 9:
        grouped.Clear();
        break;
      case 10:
        target.groups += batch;
        target.missing += batch;
        target.symmetric += batch;
        target.pairs += batch;
        break;
      case 11:
        target.whole += batch;
        break;
      case 12:
        target.left += batch;
        break;
      case 13:
        target.across += batch;
        break;
      case 14:
        grouped.SortByGroup();
        target.each += grouped;
        break;
      case 15:
        if (++merges > kMostMerges) break;
        std::apply(
            [&](auto&... to) {
              std::apply([&](auto&... from) { (static_cast<void>(to += from), ...); }, other.All());
            },
            target.All());
        break;
    }
  }
  std::string bytes;
  for (Sums& each : sums)
    std::apply([&](auto&... matrix) { ((bytes += BytesOf(Statistics(matrix))), ...); }, each.All());
  for (unsigned int col = 0; col < batch.NColumns(); ++col)
    bytes += BytesOf({batch.Column(col), batch.Column(col) + batch.NRows()});
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  vexa::engine::Force("plain");
  const std::string plain = Run({data, size});
  for (const char* level : {"baseline", "v3", "v4"})
    if (vexa::engine::Force(level)) Expect(Run({data, size}) == plain, level);
  return 0;
}
