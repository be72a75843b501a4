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

double Value(Random& random, Family family, double fixed) {
  switch (family) {
    case Family::kUniform:
    case Family::kLeadingRun:
      return Uniform(random);
    case Family::kOffset:
      return 1e9 + Uniform(random);
    case Family::kConstant:
      return fixed;
    case Family::kFewValues: {
      const auto value = static_cast<double>(Below(random, 3));
      return std::copysign(value, value == 0.0 ? Uniform(random) : fixed);
    }
    case Family::kWild:
      return WildValue(random);
  }
  return 0.0;
}

std::vector<double> MakeColumn(Random& random, Family family, std::size_t rows) {
  std::vector<double> column(rows);
  const double fixed = Uniform(random) * 1000;
  for (double& value : column) value = Value(random, family, fixed);
  if (family == Family::kLeadingRun) std::fill_n(column.begin(), Below(random, rows + 1), fixed);
  return column;
}

void PutMissing(Random& random, const RowsSpec& spec, Rows& rows) {
  std::vector<std::size_t> owner;
  std::vector<bool> shared[2];
  for (std::size_t row = 0; row < spec.rows; ++row) {
    owner.push_back(Below(random, spec.columns + 1));
    for (auto& pattern : shared) pattern.push_back(Chance(random, spec.missingRate));
  }
  for (std::size_t col = 0; col < spec.columns; ++col) {
    const bool whole = Chance(random, spec.missingRate);
    const std::size_t choice = Below(random, 3);
    const auto misses = [&](std::size_t row) {
      if (spec.missing == Missing::kScattered) return Chance(random, spec.missingRate);
      if (spec.missing == Missing::kWholeColumns) return whole;
      if (spec.missing == Missing::kDisjoint) return owner[row] != col;
      return choice < 2 && shared[choice][row];
    };
    for (std::size_t row = 0; row < spec.rows; ++row) {
      if (!misses(row)) continue;
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
