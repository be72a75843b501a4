#include "support/rows.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

double Uniform(Random& random) { return std::uniform_real_distribution<>(-0.5, 0.5)(random); }

std::size_t Below(Random& random, std::size_t limit) {
  return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
}

bool Chance(Random& random, double share) { return std::bernoulli_distribution(share)(random); }

double WildValue(Random& random) {
  constexpr double kSpecial[] = {std::numeric_limits<double>::quiet_NaN(),
                                 std::numeric_limits<double>::infinity(),
                                 -std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::denorm_min(),
                                 -0.0,
                                 0.0,
                                 1e300,
                                 -1e300};
  return Chance(random, 0.05) ? kSpecial[Below(random, std::size(kSpecial))] : Uniform(random);
}

std::vector<double> MakeColumn(Random& random, Family family, std::size_t rows) {
  std::vector<double> column(rows);
  const double fixed = Uniform(random) * 1000;
  const std::size_t run = rows == 0 ? 0 : Below(random, rows + 1);
  for (std::size_t row = 0; row < rows; ++row) {
    switch (family) {
      case Family::kUniform:
        column[row] = Uniform(random);
        break;
      case Family::kOffset:
        column[row] = 1e9 + Uniform(random);
        break;
      case Family::kConstant:
        column[row] = fixed;
        break;
      case Family::kLeadingRun:
        column[row] = row < run ? fixed : Uniform(random);
        break;
      case Family::kFewValues:
        column[row] = std::copysign(static_cast<double>(Below(random, 3)), fixed);
        if (Chance(random, 0.5) && column[row] == 0.0) column[row] = -column[row];
        break;
      case Family::kWild:
        column[row] = WildValue(random);
        break;
    }
  }
  return column;
}

/// Whether a cell is missing, cell by cell in the order of the rows of one column after the other.
class MissingPattern {
 public:
  MissingPattern(Random& random, const RowsSpec& spec) : _random(random), _spec(spec) {
    for (std::size_t row = 0; row < spec.rows; ++row) {
      _owner.push_back(Below(random, spec.columns + 1));
      for (auto& pattern : _shared) pattern.push_back(Chance(random, spec.missingRate));
    }
  }

  void NextColumn(std::size_t col) {
    _col = col;
    _whole = Chance(_random, _spec.missingRate);
    _choice = Below(_random, 3);
  }

  bool Misses(std::size_t row) {
    switch (_spec.missing) {
      case Missing::kScattered:
        return Chance(_random, _spec.missingRate);
      case Missing::kWholeColumns:
        return _whole;
      case Missing::kDisjoint:
        return _owner[row] != _col;
      case Missing::kShared:
        return _choice < 2 && _shared[_choice][row];
    }
    return false;
  }

 private:
  Random& _random;
  const RowsSpec& _spec;
  std::vector<std::size_t> _owner;
  std::vector<bool> _shared[2];
  std::size_t _col = 0;
  bool _whole = false;
  std::size_t _choice = 0;
};

void PutMissing(Random& random, const RowsSpec& spec, Rows& rows) {
  MissingPattern pattern(random, spec);
  for (std::size_t col = 0; col < spec.columns; ++col) {
    pattern.NextColumn(col);
    for (std::size_t row = 0; row < spec.rows; ++row) {
      if (!pattern.Misses(row)) continue;
      const bool negate = spec.missingCode == 0.0 && Chance(random, 0.3);
      rows.columns[col][row] = negate ? -spec.missingCode : spec.missingCode;
    }
  }
}

std::vector<double> MakeWeights(Random& random, const RowsSpec& spec) {
  std::vector<double> weights(spec.rows);
  for (double& weight : weights) {
    weight = Uniform(random) + 1.0;
    if (spec.oddWeights && Chance(random, 0.2)) weight = Chance(random, 0.5) ? 0.0 : -weight;
  }
  if (spec.oddWeights && Chance(random, 0.1)) std::fill(weights.begin(), weights.end(), 0.0);
  return weights;
}

}  // namespace

Rows Rows::Slice(std::size_t first, std::size_t size) const {
  const auto cut = [&](const auto& all) {
    using Vector = std::decay_t<decltype(all)>;
    if (all.empty()) return Vector{};
    const auto begin = all.begin() + static_cast<std::ptrdiff_t>(first);
    return Vector(begin, begin + static_cast<std::ptrdiff_t>(size));
  };
  Rows part;
  for (const auto& column : columns) part.columns.push_back(cut(column));
  part.weights = cut(weights);
  part.regWeights = cut(regWeights);
  part.groups = cut(groups);
  part.hasWeights = hasWeights;
  part.hasRegWeights = hasRegWeights;
  part.count = size;
  return part;
}

FilledBatch::FilledBatch(const Rows& rows, unsigned int spare)
    : _batch(std::make_unique<vexa::DataBatch>(
          static_cast<unsigned int>(rows.columns.size()),
          std::max(static_cast<unsigned int>(rows.count) + spare, 1U), rows.hasWeights ? &_weight : nullptr,
          rows.hasRegWeights ? &_regWeight : nullptr, rows.groups.empty() ? nullptr : &_group)) {
  std::vector<double> row(rows.columns.size());
  for (unsigned int col = 0; col < _batch->NColumns(); ++col) {
    std::fill_n(_batch->Column(col), _batch->MaxRows(), std::numeric_limits<double>::quiet_NaN());
  }
  for (std::size_t i = 0; i < rows.count; ++i) {
    for (std::size_t col = 0; col < row.size(); ++col) row[col] = rows.columns[col][i];
    if (rows.hasWeights) _weight = rows.weights[i];
    if (rows.hasRegWeights) _regWeight = rows.regWeights[i];
    if (!rows.groups.empty()) _group = rows.groups[i];
    _batch->AddRow(row.data());
  }
}

FilledGroupedBatch::FilledGroupedBatch(const Rows& rows, unsigned int maxGroup, unsigned int spare)
    : _batch(std::make_unique<vexa::DataBatchByGroup>(
          static_cast<unsigned int>(rows.columns.size()),
          std::max(static_cast<unsigned int>(rows.count) + spare, 1U), rows.hasWeights ? &_weight : nullptr,
          rows.hasRegWeights ? &_regWeight : nullptr, rows.groups.empty() ? nullptr : &_group, maxGroup)) {
  for (unsigned int col = 0; col < _batch->NColumns(); ++col) {
    std::fill_n(_batch->Column(col), _batch->MaxRows(), std::numeric_limits<double>::quiet_NaN());
  }
  Append(rows);
}

void FilledGroupedBatch::Append(const Rows& rows) {
  for (std::size_t i = 0; i < rows.count; ++i) {
    double* row = _batch->NextRow();
    for (const auto& column : rows.columns) *row++ = column[i];
    if (rows.hasWeights) _weight = rows.weights[i];
    if (rows.hasRegWeights) _regWeight = rows.regWeights[i];
    if (!rows.groups.empty()) _group = rows.groups[i];
    _batch->AddRow();
  }
  if (!rows.groups.empty()) _batch->SortByGroup();
}

std::vector<double> Contents(vexa::DataBatch& batch) {
  std::vector<double> contents;
  const auto append = [&](const double* x) {
    if (x) contents.insert(contents.end(), x, x + batch.NRows());
  };
  for (unsigned int col = 0; col < batch.NColumns(); ++col) append(batch.Column(col));
  append(batch.Weights());
  append(batch.RegWeights());
  return contents;
}

Rows MakeRows(Random& random, const RowsSpec& spec) {
  Rows rows;
  rows.count = spec.rows;
  rows.hasWeights = spec.weights;
  rows.hasRegWeights = spec.regWeights;
  for (std::size_t col = 0; col < spec.columns; ++col) {
    const auto family = static_cast<Family>(Below(random, spec.wild ? 6 : 5));
    rows.columns.push_back(MakeColumn(random, family, spec.rows));
  }
  if (spec.missingRate > 0) PutMissing(random, spec, rows);
  if (spec.weights) rows.weights = MakeWeights(random, spec);
  if (spec.regWeights) rows.regWeights = MakeWeights(random, spec);
  if (spec.groups > 0) {
    const std::size_t used = 1 + Below(random, spec.groups);
    for (std::size_t row = 0; row < spec.rows; ++row) {
      rows.groups.push_back(static_cast<unsigned int>(Below(random, used)));
    }
  }
  return rows;
}

RowsSpec RandomSpec(Random& random, std::size_t maxRows, std::size_t maxColumns) {
  RowsSpec spec;
  spec.rows = Chance(random, 0.3) ? Below(random, 8) : Below(random, maxRows + 1);
  spec.columns = 1 + Below(random, Chance(random, 0.5) ? std::min<std::size_t>(maxColumns, 8) : maxColumns);
  spec.weights = Chance(random, 0.5);
  spec.regWeights = Chance(random, 0.5);
  spec.oddWeights = Chance(random, 0.3);
  spec.wild = Chance(random, 0.2);
  return spec;
}

void AddMissing(Random& random, RowsSpec& spec) {
  constexpr double kCodes[] = {0.0, std::numeric_limits<double>::quiet_NaN(), 1.0,
                               std::numeric_limits<double>::lowest()};
  constexpr double kRates[] = {0.0, 0.02, 0.1, 0.5, 0.95, 1.0};
  spec.missingCode = kCodes[Below(random, std::size(kCodes))];
  spec.missingRate = kRates[Below(random, std::size(kRates))];
  spec.missing = static_cast<Missing>(Below(random, 4));
}

std::vector<std::size_t> RandomSplit(Random& random, std::size_t rows) {
  std::vector<std::size_t> parts;
  while (rows > 0) {
    parts.push_back(Chance(random, 0.1) ? 0 : Below(random, rows + 1));
    rows -= parts.back();
    if (parts.size() == 6) {
      parts.push_back(rows);
      break;
    }
  }
  return parts;
}
