#include "support/death.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

#include "support/rows.h"
#include "vexa/DiscriminantMatrix.h"
#include "vexa/DscIndividualMatrix.h"
#include "vexa/databatch.h"
#include "vexa/databatchbygroup.h"
#include "vexa/matrixlistwise.h"
#include "vexa/matrixpairwise.h"
#include "vexa/nsmatrixlistwise.h"
#include "vexa/nsmatrixpairwise.h"
#include "vexa/smatrixlistwise.h"
#include "vexa/smatrixpairwise.h"

namespace {

Rows Sample(std::size_t rows, std::size_t columns, bool weights = false, bool regWeights = false) {
  Random random(1);
  RowsSpec spec;
  spec.rows = rows;
  spec.columns = columns;
  spec.weights = weights;
  spec.regWeights = regWeights;
  return MakeRows(random, spec);
}

/// The same with one group per row, in turn.
Rows Grouped(std::size_t rows, std::size_t columns, unsigned int groups) {
  Rows sample = Sample(rows, columns);
  for (unsigned int row = 0; row < rows; ++row) sample.groups.push_back(row % groups);
  return sample;
}

/// Rows that weigh nothing.
Rows Weightless(std::size_t rows, std::size_t columns) {
  Rows sample = Sample(rows, columns, true);
  sample.weights.assign(rows, 0.0);
  return sample;
}

template <class Matrix, class... Shape>
std::shared_ptr<Matrix> Filled(const Rows& rows, Shape... shape) {
  auto matrix = std::make_shared<Matrix>(shape...);
  *matrix += *FilledBatch(rows);
  return matrix;
}

/// Initialises a state of this shape twice.
template <class Matrix, class... Shape>
auto Twice(const Rows& rows, Shape... shape) {
  return [=] {
    typename Matrix::Data data(shape...);
    for (int time = 0; time < 2; ++time) {
      if constexpr (std::is_same_v<Matrix, vexa::DiscIndividualMatrix>) {
        data.Init(*FilledGroupedBatch(rows, 2));
      } else {
        data.Init(*FilledBatch(rows));
      }
    }
  };
}

/// The members of a class as g++ prints them.
struct Of {
  std::string name;

  std::string Init(const std::string& batch = "vexa::DataBatch") const {
    return "void " + name + "::Data::Init(" + batch + "&)";
  }
  std::string Update() const { return "void " + name + "::Data::Update(vexa::DataBatch&)"; }
  std::string Merge() const { return "void " + name + "::Data::Update(const " + name + "::Data&)"; }
  std::string Get(const std::string& call, const std::string& type = "double") const {
    return type + ' ' + name + "::" + call + " const";
  }
};

// The text of an assertion is its condition, so that one way to break it is enough.

const char* const kColumn = "double* vexa::DataBatch::Column(unsigned int)";

TEST(Death, Batch) {
  const char* constructor =
      "vexa::DataBatch::DataBatch(unsigned int, unsigned int, const double*, const double*, const unsigned "
      "int*)";
  ExpectEachStops({
      {"0 < nColumns", constructor, [] { vexa::DataBatch(0, 0, nullptr, nullptr, nullptr); }},
      {"0 < nRows", constructor, [] { vexa::DataBatch(1, 0, nullptr, nullptr, nullptr); }},
      {"_nRows < _maxRows", "void vexa::DataBatch::AddRow(const double*)",
       [] { FilledBatch(Sample(3, 2))->AddRow(Sample(2, 1).columns[0].data()); }},
      {"nRows <= _maxRows - _nRows",
       "void vexa::DataBatch::AddRows(const double*, unsigned int, std::size_t)",
       [] { FilledBatch(Sample(3, 2))->AddRows(Sample(2, 1).columns[0].data(), 1, 2); }},
      {"colNum < _nColumns", kColumn, [] { FilledBatch(Sample(3, 2))->Column(2); }},
  });
}

TEST(Death, GroupedBatch) {
  using vexa::DataBatchByGroup;
  const char* constructor =
      "vexa::DataBatchByGroup::DataBatchByGroup(unsigned int, unsigned int, const double*, const double*, "
      "const unsigned int*, unsigned int)";
  const char* addRow = "void vexa::DataBatchByGroup::AddRow()";
  const char* groupCount = "unsigned int vexa::DataBatchByGroup::groupCount(unsigned int)";
  unsigned int group = 0;
  DataBatchByGroup one(2, 1, nullptr, nullptr, &group, 3);
  DataBatchByGroup ungrouped(2, 1, nullptr, nullptr, nullptr, 3);
  ExpectEachStops({
      {"0 < nColumns", constructor, [] { DataBatchByGroup(0, 0, nullptr, nullptr, nullptr, 0); }},
      {"0 < nRows", constructor, [] { DataBatchByGroup(1, 0, nullptr, nullptr, nullptr, 0); }},
      {"_nRows < _maxRows", addRow, [&] { one.AddRow(), one.AddRow(); }},
      {"tmpGroupVal<_maxGroup", addRow, [&] { group = 3, one.AddRow(); }},
      {"_pGroup!=0", "void vexa::DataBatchByGroup::SortByGroup()", [&] { ungrouped.SortByGroup(); }},
      {"group < _maxGroup", groupCount, [&] { one.groupCount(3); }},
      {"_pGroup!=0", groupCount, [&] { ungrouped.groupCount(0); }},
      {"colNum < _nColumns", "double* vexa::DataBatchByGroup::Column(unsigned int)", [&] { one.Column(2); }},
  });
}

TEST(Death, Listwise) {
  using vexa::MatrixListwise;
  const Of of{"vexa::MatrixListwise"};
  const std::string mean = of.Get("Mean(unsigned int)");
  const std::string ccp = of.Get("CCP(unsigned int, unsigned int)");
  MatrixListwise empty;
  const auto two = Filled<MatrixListwise>(Sample(5, 2));
  const auto weightless = Filled<MatrixListwise>(Weightless(5, 2));
  ExpectEachStops({
      {"!_xp", of.Init(), Twice<MatrixListwise>(Sample(5, 2))},
      {"_means.size() == d._means.size()", of.Merge(), [&] { *two += *FilledBatch(Sample(5, 3)); }},
      {"_hasRegWeights == d._hasRegWeights", of.Merge(),
       [&] { *two += *FilledBatch(Sample(5, 2, false, true)); }},
      {"col < NColumns()", mean, [&] { empty.Mean(0); }},
      {"0. < WeightSum()", mean, [&] { weightless->Mean(0); }},
      {"row < NColumns()", ccp, [&] { empty.CCP(0, 0); }},
      {"col < NColumns()", ccp, [&] { two->CCP(0, 2); }},
      {"0. < WeightSum()", ccp, [&] { weightless->CCP(0, 0); }},
  });
}

/// What both listwise blocks test alike. make(first, end) gives an empty block over a run of columns, or two.
template <class Make>
std::vector<BrokenPrecondition> ListwiseBlockTable(const Of& of, Make make) {
  const auto filled = [=](int col0, int col2, const Rows& rows) {
    auto block = make(col0, col2);
    *block += *FilledBatch(rows);
    return block;
  };
  const auto empty = make(1, 4);
  const auto full = filled(1, 4, Sample(5, 5));
  const auto weightless = filled(1, 4, Weightless(5, 5));
  const auto merged = [=](int col0, int col2, bool regWeights = false) {
    return [=] { *full += *filled(col0, col2, Sample(5, 5, false, regWeights)); };
  };
  const std::string range = "c < _my->_col2 && c >= _my->_col0";
  const std::string weight = "0. < WeightSum()";
  const std::string ccp = of.Get("CCP(int, int)");
  return {
      {"_means.size() == d._means.size()", of.Merge(), merged(0, 4)},
      {"_hasRegWeights == d._hasRegWeights", of.Merge(), merged(1, 4, true)},
      {"_col0 == d._col0 && _col1 == d._col1 && _col2 == d._col2", of.Merge(), merged(0, 3)},
      {range, of.Get("Mean(int)"), [=] { full->Mean(0); }},
      {range, of.Get("Min(int)"), [=] { full->Min(4); }},
      {range, of.Get("Max(int)"), [=] { full->Max(0); }},
      {weight, of.Get("Mean(int)"), [=] { weightless->Mean(1); }},
      {weight, of.Get("Min(int)"), [=] { empty->Min(1); }},
      {"_my->_xp", of.Get("Max(int)"), [=] { empty->Max(1); }},
      {"row < _my->_col2 && row >= _my->_col0", ccp, [=] { full->CCP(0, 1); }},
      {"col < _my->_col2 && col >= _my->_col0", ccp, [=] { full->CCP(1, 4); }},
      {weight, ccp, [=] { weightless->CCP(1, 1); }},
  };
}

TEST(Death, SymmetricBlock) {
  using vexa::SMatrixListwise;
  const Of of{"vexa::SMatrixListwise"};
  const auto over = [](int col0, int col2) { return std::make_shared<SMatrixListwise>(col0, col2); };
  const auto first = [](int col0, int col2) {
    return [=] { Filled<SMatrixListwise>(Sample(5, 3), col0, col2); };
  };
  ExpectEachStops(ListwiseBlockTable(of, over));
  ExpectEachStops({
      {"!_xp", of.Init(), Twice<SMatrixListwise>(Sample(5, 2), 0, 0)},
      {"_col0 == 0 && _col1 == 0", of.Init(), first(2, 0)},
      {"_col0==_col1 && _col0>=0", of.Init(), first(-1, 2)},
      {"_col2 <= nCols && _col2>_col0", of.Init(), first(1, 4)},
  });
}

TEST(Death, RectangularBlock) {
  using vexa::NSMatrixListwise;
  const Of of{"vexa::NSMatrixListwise"};
  const auto over = [](int col0, int col2) {
    return std::make_shared<NSMatrixListwise>(col0, col0 + 1, col2);
  };
  const auto first = [](int col0, int col1, int col2) {
    return [=] { Filled<NSMatrixListwise>(Sample(5, 5), col0, col1, col2); };
  };
  const auto full = Filled<NSMatrixListwise>(Sample(5, 5), 1, 3, 5);
  ExpectEachStops(ListwiseBlockTable(of, over));
  ExpectEachStops({
      {"!_xp", of.Init(), Twice<NSMatrixListwise>(Sample(5, 2), 0, 1, 2)},
      {"_col0<_col1 && _col1<_col2", of.Init(), first(2, 1, 3)},
      {"_col2 <= (int)data.NColumns()", of.Init(), first(0, 2, 6)},
      {"colNum < _nColumns", kColumn, first(-1, 2, 5)},
      {"left < _my->_col1 && right >= _my->_col1", of.Get("CCP(int, int)"), [&] { full->CCP(4, 3); }},
  });
}

TEST(Death, DiscriminantMatrix) {
  using vexa::DiscriminantMatrix;
  const Of of{"vexa::DiscriminantMatrix"};
  const auto full = Filled<DiscriminantMatrix>(Grouped(6, 3, 2), 2, 3);
  DiscriminantMatrix empty(2, 3);
  const std::string weight = "0. < WeightSum()";
  const std::string sumX1 = of.Get("sumX1(int, int)");
  const std::string sumX2 = of.Get("sumX2(int, int)");
  const std::string tssp = of.Get("TSSP(int, int)");
  ExpectEachStops({
      {"(!_sumX1)&&(!_sumX2)&&(!_TSSP)", of.Init(), Twice<DiscriminantMatrix>(Grouped(6, 2, 2), 2, 2)},
      {"nCols == _nVar", of.Init(), [&] { *full += *FilledBatch(Grouped(6, 2, 2)); }},
      {"groups", of.Init(), [&] { *full += *FilledBatch(Sample(6, 3)); }},
      {"_nVar == d._nVar && _nGroup == d._nGroup", of.Merge(),
       [&] { *full += *Filled<DiscriminantMatrix>(Grouped(6, 3, 3), 3, 3); }},
      {"c < NGroup() && c >= 0", of.Get("sumW(int)"), [&] { full->sumW(2); }},
      {weight, of.Get("sumW(int)"), [&] { empty.sumW(1); }},
      {"group < NGroup() && group >= 0", sumX1, [&] { full->sumX1(-1, 0); }},
      {"var < NVar() && var >= 0", sumX1, [&] { full->sumX1(0, 3); }},
      {weight, sumX1, [&] { empty.sumX1(0, 0); }},
      {"group < NGroup() && group >= 0", sumX2, [&] { full->sumX2(2, 0); }},
      {"var < NVar() && var >= 0", sumX2, [&] { full->sumX2(0, -1); }},
      {weight, sumX2, [&] { empty.sumX2(0, 0); }},
      {"row < NVar() && row >= 0", tssp, [&] { full->TSSP(3, 0); }},
      {"col < NVar() && col >= 0", tssp, [&] { full->TSSP(0, 3); }},
      {weight, tssp, [&] { empty.TSSP(1, 0); }},
      {"row != col", tssp, [&] { full->TSSP(1, 1); }},
  });
}

TEST(Death, DiscIndividualMatrix) {
  using vexa::DiscIndividualMatrix;
  const Of of{"vexa::DiscIndividualMatrix"};
  const std::string init = of.Init("vexa::DataBatchByGroup");
  const std::string packed = of.Get("TSSP(int, int)");
  const std::string cell = of.Get("TSSP(int, int, int)");
  DiscIndividualMatrix full(2, 3);
  const auto add = [&](const Rows& rows, unsigned int maxGroup) {
    return [&, rows, maxGroup] { full += *FilledGroupedBatch(rows, maxGroup); };
  };
  add(Grouped(6, 3, 2), 2)();
  DiscIndividualMatrix empty(2, 3);
  DiscIndividualMatrix more(3, 3);
  more += *FilledGroupedBatch(Grouped(6, 3, 3), 3);
  const std::string weight = "0. < WeightSum()";
  ExpectEachStops({
      {"!_TSSP", init, Twice<DiscIndividualMatrix>(Grouped(6, 2, 2), 2, 2)},
      {"nCols == _nVar", init, add(Grouped(6, 2, 2), 2)},
      {"std::cmp_less_equal(batch.MaxGroup(), _nGroup)", init, add(Grouped(6, 3, 2), 3)},
      {"tsspIndex == nCellsCrossProduct", init, add(Sample(6, 3), 0)},
      {"_pGroup!=0", "unsigned int vexa::DataBatchByGroup::groupCount(unsigned int)", add(Sample(6, 3), 2)},
      {"_nVar == d._nVar && _nGroup == d._nGroup", of.Merge(), [&] { full += more; }},
      {"false", "virtual vexa::MatrixBase& vexa::DiscIndividualMatrix::operator+=(vexa::DataBatch&)",
       [&] { empty += *FilledBatch(Sample(0, 3)); }},
      {"0 <= tsspIndex && tsspIndex < countMatrix", packed, [&] { full.TSSP(-1, 0); }},
      {"groupVal < NGroup() && groupVal >= 0", packed, [&] { full.TSSP(9, 2); }},
      {weight, packed, [&] { empty.TSSP(0, 0); }},
      {"row <= NVar() && row >= 0", cell, [&] { full.TSSP(4, 0, 0); }},
      {"col <= NVar() && col >= 0", cell, [&] { full.TSSP(0, 4, 0); }},
      {"groupVal < NGroup() && groupVal >= 0", cell, [&] { full.TSSP(0, 0, -1); }},
      {weight, cell, [&] { empty.TSSP(3, 3, 0); }},
  });
}

TEST(Death, Pairwise) {
  using vexa::MatrixPairwise;
  const Of of{"vexa::MatrixPairwise"};
  const std::string var = of.Get("Var(unsigned int)", "vexa::VarStats");
  const std::string pair = of.Get("Pair(unsigned int, unsigned int)", "vexa::PairStats");
  MatrixPairwise empty(9.0);
  const Rows regWeights = Sample(5, 2, false, true);
  const auto two = Filled<MatrixPairwise>(Sample(5, 2), 9.0);
  const auto weightless = Filled<MatrixPairwise>(Weightless(5, 2), 9.0);
  ExpectEachStops({
      {"!_xp.size()", of.Init(), Twice<MatrixPairwise>(Sample(5, 2), 9.0)},
      {"_hasRegWeights == data.HasRegWeights()", of.Update(), [&] { *two += *FilledBatch(regWeights); }},
      {"_varStats.size() == nCols", of.Update(), [&] { *two += *FilledBatch(Sample(5, 3)); }},
      {"_varStats.size() == d._varStats.size()", of.Merge(),
       [&] { *two += *Filled<MatrixPairwise>(Sample(5, 3), 9.0); }},
      {"_hasRegWeights == d._hasRegWeights", of.Merge(),
       [&] { *two += *Filled<MatrixPairwise>(regWeights, 9.0); }},
      {"col < NColumns()", var, [&] { empty.Var(0); }},
      {"0. < WeightSum()", var, [&] { weightless->Var(0); }},
      {"row < NColumns()", pair, [&] { two->Pair(2, 2); }},
      {"col < NColumns()", pair, [&] { two->Pair(1, 2); }},
      {"row != col", pair, [&] { weightless->Pair(1, 1); }},
      {"0. < WeightSum()", pair, [&] { weightless->Pair(1, 0); }},
  });
}

/// What both pairwise blocks test alike. fill(rows, first, end) gives a block over a run of columns, or two.
template <class Fill>
std::vector<BrokenPrecondition> PairwiseBlockTable(const Of& of, Fill fill) {
  const std::string var = of.Get("Var(int)", "vexa::VarStat&");
  const std::string pair = of.Get("Pair(int, int)", "vexa::PairStat&");
  const auto full = fill(Sample(5, 5), 1, 4);
  const auto weightless = fill(Weightless(5, 5), 1, 4);
  const Rows regWeights = Sample(5, 5, false, true);
  return {
      {"_hasRegWeights == data.HasRegWeights()", of.Update(), [=] { *full += *FilledBatch(regWeights); }},
      {"_varStats.size() == nCols", of.Update(), [=] { fill(Sample(5, 5), 4, 2); }},
      {"colNum < _nColumns", kColumn, [=] { fill(Sample(5, 5), -1, 4); }},
      {"colNum < _nColumns", kColumn, [=] { fill(Sample(5, 5), 1, 6); }},
      {"_varStats.size() == d._varStats.size()", of.Merge(), [=] { *full += *fill(regWeights, 1, 5); }},
      {"_hasRegWeights == d._hasRegWeights", of.Merge(), [=] { *full += *fill(regWeights, 1, 4); }},
      {"col < Col2() && col >= Col0()", var, [=] { full->Var(0); }},
      {"0. < WeightSum()", var, [=] { weightless->Var(1); }},
      {"row < _my->_col2 && row >= _my->_col0", pair, [=] { full->Pair(0, 0); }},
      {"col < _my->_col2 && col >= _my->_col0", pair, [=] { full->Pair(1, 0); }},
      {"row != col", pair, [=] { weightless->Pair(1, 1); }},
      {"0. < WeightSum()", pair, [=] { weightless->Pair(3, 1); }},
  };
}

TEST(Death, SymmetricPairwiseBlock) {
  using vexa::SMatrixPairwise;
  const Of of{"vexa::SMatrixPairwise"};
  ExpectEachStops(PairwiseBlockTable(of, [](const Rows& rows, int col0, int col2) {
    return Filled<SMatrixPairwise>(rows, 9.0, col0, col2);
  }));
  ExpectEachStops({{"!_xp.size()", of.Init(), Twice<SMatrixPairwise>(Sample(5, 2), 9.0, 0, 2)}});
}

TEST(Death, RectangularPairwiseBlock) {
  using vexa::NSMatrixPairwise;
  const Of of{"vexa::NSMatrixPairwise"};
  const auto over = [](const Rows& rows, int col0, int col1, int col2) {
    return Filled<NSMatrixPairwise>(rows, 9.0, col0, col1, col2);
  };
  const auto full = over(Sample(5, 4), 0, 2, 4);
  const char* cells = "xpi == (_col1-_col0)*(_col2-_col1)";
  const std::string pair = of.Get("Pair(int, int)", "vexa::PairStat&");
  ExpectEachStops(PairwiseBlockTable(
      of, [=](const Rows& rows, int col0, int col2) { return over(rows, col0, col0 + 1, col2); }));
  ExpectEachStops({
      {"!_xp.size()", of.Init(), Twice<NSMatrixPairwise>(Sample(5, 2), 9.0, 0, 1, 2)},
      {cells, of.Update(), [=] { over(Sample(40, 30), 0, 30, 20); }},
      {cells, of.Update(), [=] { over(Sample(40, 30), 10, 0, 30); }},
      {"_xp.size() == d._xp.size()", of.Merge(), [=] { *full += *over(Sample(5, 4), 0, 1, 4); }},
      {"left < _my->_col1 && right >= _my->_col1", pair, [=] { full->Pair(2, 3); }},
  });
}

}  // namespace
