#include "support/death.h"

#include <gtest/gtest.h>

#include <memory>

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

/// The rows weigh nothing.
Rows Weightless(Rows rows) {
  rows.hasWeights = true;
  rows.weights.assign(rows.count, 0.0);
  return rows;
}

TEST(Death, Batch) {
  const char* constructor =
      "vexa::DataBatch::DataBatch(unsigned int, unsigned int, const double*, const double*, const unsigned "
      "int*)";
  ExpectEachStops({
      {"0 < nColumns", constructor, [] { vexa::DataBatch(0, 0, nullptr, nullptr, nullptr); }},
      {"0 < nRows", constructor, [] { vexa::DataBatch(1, 0, nullptr, nullptr, nullptr); }},
      {"_nRows < _maxRows", "void vexa::DataBatch::AddRow(const double*)",
       [] {
         FilledBatch full(Sample(3, 2));
         const double row[2] = {};
         full->AddRow(row);
       }},
      {"colNum < _nColumns", "double* vexa::DataBatch::Column(unsigned int)",
       [] { FilledBatch(Sample(3, 2))->Column(2); }},
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
      {"_nRows < _maxRows", addRow,
       [&] {
         one.AddRow();
         one.AddRow();
       }},
      {"tmpGroupVal<_maxGroup", addRow,
       [&] {
         group = 3;
         one.AddRow();
       }},
      {"_pGroup!=0", "void vexa::DataBatchByGroup::SortByGroup()", [&] { ungrouped.SortByGroup(); }},
      {"group < _maxGroup", groupCount, [&] { one.groupCount(3); }},
      {"_pGroup!=0", groupCount, [&] { ungrouped.groupCount(0); }},
      {"colNum < _nColumns", "double* vexa::DataBatchByGroup::Column(unsigned int)", [&] { one.Column(2); }},
  });
}

TEST(Death, Listwise) {
  using vexa::MatrixListwise;
  const char* update = "void vexa::MatrixListwise::Data::Update(const vexa::MatrixListwise::Data&)";
  const char* mean = "double vexa::MatrixListwise::Mean(unsigned int) const";
  const char* ccp = "double vexa::MatrixListwise::CCP(unsigned int, unsigned int) const";
  MatrixListwise empty;
  MatrixListwise two;
  two += *FilledBatch(Sample(5, 2));
  MatrixListwise weightless;
  weightless += *FilledBatch(Weightless(Sample(5, 2)));
  ExpectEachStops({
      {"!_xp", "void vexa::MatrixListwise::Data::Init(vexa::DataBatch&)",
       [] {
         MatrixListwise::Data data;
         data.Init(*FilledBatch(Sample(5, 2)));
         data.Init(*FilledBatch(Sample(5, 2)));
       }},
      {"_means.size() == d._means.size()", update, [&] { two += *FilledBatch(Sample(5, 3)); }},
      {"_hasRegWeights == d._hasRegWeights", update, [&] { two += *FilledBatch(Sample(5, 2, false, true)); }},
      {"col < NColumns()", mean, [&] { empty.Mean(0); }},
      {"0. < WeightSum()", mean, [&] { weightless.Mean(0); }},
      {"row < NColumns()", ccp, [&] { empty.CCP(0, 0); }},
      {"col < NColumns()", ccp, [&] { two.CCP(0, 2); }},
      {"0. < WeightSum()", ccp, [&] { weightless.CCP(0, 0); }},
  });
}

TEST(Death, SymmetricBlock) {
  using vexa::SMatrixListwise;
  const std::string init = "void vexa::SMatrixListwise::Data::Init(vexa::DataBatch&)";
  const std::string update = "void vexa::SMatrixListwise::Data::Update(const vexa::SMatrixListwise::Data&)";
  const std::string ccp = "double vexa::SMatrixListwise::CCP(int, int) const";
  const std::string of = "double vexa::SMatrixListwise::";
  SMatrixListwise empty(1, 3);
  SMatrixListwise full(1, 3);
  full += *FilledBatch(Sample(5, 4));
  SMatrixListwise elsewhere(0, 2);
  elsewhere += *FilledBatch(Sample(5, 4));
  SMatrixListwise weightless(1, 3);
  weightless += *FilledBatch(Weightless(Sample(5, 4)));
  const auto first = [](int col0, int col2) {
    return [=] { SMatrixListwise(col0, col2) += *FilledBatch(Sample(5, 3)); };
  };
  const char* range = "c < _my->_col2 && c >= _my->_col0";
  ExpectEachStops({
      {"!_xp", init,
       [] {
         SMatrixListwise::Data data(0, 0);
         data.Init(*FilledBatch(Sample(5, 2)));
         data.Init(*FilledBatch(Sample(5, 2)));
       }},
      {"_col0 == 0 && _col1 == 0", init, first(2, 0)},
      {"_col0==_col1 && _col0>=0", init, first(-1, 2)},
      {"_col2 <= nCols && _col2>_col0", init, first(1, 4)},
      {"_col2 <= nCols && _col2>_col0", init, first(2, 2)},
      {"_col2 <= nCols && _col2>_col0", init, first(0, -1)},
      {"_means.size() == d._means.size()", update,
       [&] {
         SMatrixListwise wider(0, 3);
         wider += *FilledBatch(Sample(5, 4));
         full += wider;
       }},
      {"_hasRegWeights == d._hasRegWeights", update,
       [&] { full += *FilledBatch(Sample(5, 4, false, true)); }},
      {"_col0 == d._col0 && _col1 == d._col1 && _col2 == d._col2", update, [&] { full += elsewhere; }},
      {range, of + "Mean(int) const", [&] { full.Mean(0); }},
      {range, of + "Mean(int) const", [&] { full.Mean(3); }},
      {range, of + "Min(int) const", [&] { full.Min(3); }},
      {range, of + "Max(int) const", [&] { full.Max(0); }},
      {"0. < WeightSum()", of + "Mean(int) const", [&] { weightless.Mean(1); }},
      {"0. < WeightSum()", of + "Min(int) const", [&] { empty.Min(1); }},
      {"_my->_xp", of + "Max(int) const", [&] { empty.Max(1); }},
      {"row < _my->_col2 && row >= _my->_col0", ccp, [&] { full.CCP(0, 1); }},
      {"col < _my->_col2 && col >= _my->_col0", ccp, [&] { full.CCP(1, 3); }},
      {"0. < WeightSum()", ccp, [&] { weightless.CCP(1, 1); }},
  });
}

TEST(Death, RectangularBlock) {
  using vexa::NSMatrixListwise;
  const std::string init = "void vexa::NSMatrixListwise::Data::Init(vexa::DataBatch&)";
  const std::string update = "void vexa::NSMatrixListwise::Data::Update(const vexa::NSMatrixListwise::Data&)";
  const std::string ccp = "double vexa::NSMatrixListwise::CCP(int, int) const";
  const std::string of = "double vexa::NSMatrixListwise::";
  NSMatrixListwise empty(1, 3, 5);
  NSMatrixListwise full(1, 3, 5);
  full += *FilledBatch(Sample(5, 5));
  NSMatrixListwise elsewhere(1, 2, 5);
  elsewhere += *FilledBatch(Sample(5, 5));
  NSMatrixListwise weightless(1, 3, 5);
  weightless += *FilledBatch(Weightless(Sample(5, 5)));
  const auto first = [](int col0, int col1, int col2) {
    return [=] { NSMatrixListwise(col0, col1, col2) += *FilledBatch(Sample(5, 5)); };
  };
  const char* runs = "_col0<_col1 && _col1<_col2";
  const char* range = "c < _my->_col2 && c >= _my->_col0";
  const char* apart = "left < _my->_col1 && right >= _my->_col1";
  ExpectEachStops({
      {"!_xp", init,
       [] {
         NSMatrixListwise::Data data(0, 1, 2);
         data.Init(*FilledBatch(Sample(5, 2)));
         data.Init(*FilledBatch(Sample(5, 2)));
       }},
      {runs, init, first(0, 0, 3)},
      {runs, init, first(0, 3, 3)},
      {runs, init, first(2, 1, 3)},
      {"_col2 <= (int)data.NColumns()", init, first(0, 2, 6)},
      {"colNum < _nColumns", "double* vexa::DataBatch::Column(unsigned int)", first(-1, 2, 5)},
      {"_means.size() == d._means.size()", update,
       [&] {
         NSMatrixListwise wider(0, 3, 5);
         wider += *FilledBatch(Sample(5, 5));
         full += wider;
       }},
      {"_hasRegWeights == d._hasRegWeights", update,
       [&] { full += *FilledBatch(Sample(5, 5, false, true)); }},
      {"_col0 == d._col0 && _col1 == d._col1 && _col2 == d._col2", update, [&] { full += elsewhere; }},
      {range, of + "Mean(int) const", [&] { full.Mean(5); }},
      {range, of + "Min(int) const", [&] { full.Min(0); }},
      {range, of + "Max(int) const", [&] { full.Max(5); }},
      {"0. < WeightSum()", of + "Mean(int) const", [&] { weightless.Mean(1); }},
      {"0. < WeightSum()", of + "Min(int) const", [&] { weightless.Min(1); }},
      {"_my->_xp", of + "Max(int) const", [&] { empty.Max(1); }},
      {"row < _my->_col2 && row >= _my->_col0", ccp, [&] { full.CCP(5, 1); }},
      {"col < _my->_col2 && col >= _my->_col0", ccp, [&] { full.CCP(1, 0); }},
      {"0. < WeightSum()", ccp, [&] { weightless.CCP(1, 3); }},
      {apart, ccp, [&] { full.CCP(1, 2); }},
      {apart, ccp, [&] { full.CCP(4, 3); }},
  });
}

TEST(Death, DiscriminantMatrix) {
  using vexa::DiscriminantMatrix;
  const std::string init = "void vexa::DiscriminantMatrix::Data::Init(vexa::DataBatch&)";
  const std::string of = "double vexa::DiscriminantMatrix::";
  DiscriminantMatrix full(2, 3);
  full += *FilledBatch(Grouped(6, 3, 2));
  DiscriminantMatrix empty(2, 3);
  const std::string weight = "0. < WeightSum()";
  ExpectEachStops({
      {"(!_sumX1)&&(!_sumX2)&&(!_TSSP)", init,
       [] {
         DiscriminantMatrix::Data data(2, 2);
         data.Init(*FilledBatch(Grouped(6, 2, 2)));
         data.Init(*FilledBatch(Grouped(6, 2, 2)));
       }},
      {"nCols == _nVar", init, [&] { full += *FilledBatch(Grouped(6, 2, 2)); }},
      {"nCols == _nVar", init, [] { DiscriminantMatrix() += *FilledBatch(Grouped(6, 2, 2)); }},
      {"groups", init, [&] { full += *FilledBatch(Sample(6, 3)); }},
      {"_nVar == d._nVar && _nGroup == d._nGroup",
       "void vexa::DiscriminantMatrix::Data::Update(const vexa::DiscriminantMatrix::Data&)",
       [&] {
         DiscriminantMatrix more(3, 3);
         more += *FilledBatch(Grouped(6, 3, 3));
         full += more;
       }},
      {"c < NGroup() && c >= 0", of + "sumW(int) const", [&] { full.sumW(2); }},
      {weight, of + "sumW(int) const", [&] { empty.sumW(1); }},
      {"group < NGroup() && group >= 0", of + "sumX1(int, int) const", [&] { full.sumX1(-1, 0); }},
      {"var < NVar() && var >= 0", of + "sumX1(int, int) const", [&] { full.sumX1(0, 3); }},
      {weight, of + "sumX1(int, int) const", [&] { empty.sumX1(0, 0); }},
      {"group < NGroup() && group >= 0", of + "sumX2(int, int) const", [&] { full.sumX2(2, 0); }},
      {"var < NVar() && var >= 0", of + "sumX2(int, int) const", [&] { full.sumX2(0, -1); }},
      {weight, of + "sumX2(int, int) const", [&] { empty.sumX2(0, 0); }},
      {"row < NVar() && row >= 0", of + "TSSP(int, int) const", [&] { full.TSSP(3, 0); }},
      {"col < NVar() && col >= 0", of + "TSSP(int, int) const", [&] { full.TSSP(0, 3); }},
      {weight, of + "TSSP(int, int) const", [&] { empty.TSSP(1, 0); }},
      {"row != col", of + "TSSP(int, int) const", [&] { full.TSSP(1, 1); }},
  });
}

TEST(Death, DiscIndividualMatrix) {
  using vexa::DiscIndividualMatrix;
  const std::string init = "void vexa::DiscIndividualMatrix::Data::Init(vexa::DataBatchByGroup&)";
  const std::string packed = "double vexa::DiscIndividualMatrix::TSSP(int, int) const";
  const std::string cell = "double vexa::DiscIndividualMatrix::TSSP(int, int, int) const";
  const std::string ungrouped =
      "virtual vexa::MatrixBase& vexa::DiscIndividualMatrix::operator+=(vexa::DataBatch&)";
  DiscIndividualMatrix full(2, 3);
  full += *FilledGroupedBatch(Grouped(6, 3, 2), 2);
  DiscIndividualMatrix empty(2, 3);
  const std::string weight = "0. < WeightSum()";
  const std::string index = "0 <= tsspIndex && tsspIndex < countMatrix";
  ExpectEachStops({
      {"!_TSSP", init,
       [] {
         DiscIndividualMatrix::Data data(2, 2);
         data.Init(*FilledGroupedBatch(Grouped(6, 2, 2), 2));
         data.Init(*FilledGroupedBatch(Grouped(6, 2, 2), 2));
       }},
      {"nCols == _nVar", init, [&] { full += *FilledGroupedBatch(Grouped(6, 2, 2), 2); }},
      {"std::cmp_less_equal(batch.MaxGroup(), _nGroup)", init,
       [&] { full += *FilledGroupedBatch(Grouped(6, 3, 2), 3); }},
      {"tsspIndex == nCellsCrossProduct", init, [&] { full += *FilledGroupedBatch(Sample(6, 3), 0); }},
      {"_pGroup!=0", "unsigned int vexa::DataBatchByGroup::groupCount(unsigned int)",
       [&] { full += *FilledGroupedBatch(Sample(6, 3), 2); }},
      {"_nVar == d._nVar && _nGroup == d._nGroup",
       "void vexa::DiscIndividualMatrix::Data::Update(const vexa::DiscIndividualMatrix::Data&)",
       [&] {
         DiscIndividualMatrix more(3, 3);
         more += *FilledGroupedBatch(Grouped(6, 3, 3), 3);
         full += more;
       }},
      {"false", ungrouped, [&] { full += *FilledBatch(Grouped(6, 3, 2)); }},
      {"false", ungrouped, [&] { empty += *FilledBatch(Sample(0, 3)); }},
      {index, packed, [&] { full.TSSP(10, 0); }},
      {index, packed, [&] { full.TSSP(-1, 0); }},
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
  const std::string update = "void vexa::MatrixPairwise::Data::Update(vexa::DataBatch&)";
  const std::string merge = "void vexa::MatrixPairwise::Data::Update(const vexa::MatrixPairwise::Data&)";
  const std::string var = "vexa::VarStats vexa::MatrixPairwise::Var(unsigned int) const";
  const std::string pair = "vexa::PairStats vexa::MatrixPairwise::Pair(unsigned int, unsigned int) const";
  MatrixPairwise empty(9.0);
  MatrixPairwise two(9.0);
  two += *FilledBatch(Sample(5, 2));
  MatrixPairwise three(9.0);
  three += *FilledBatch(Sample(5, 3));
  MatrixPairwise weighted(9.0);
  weighted += *FilledBatch(Sample(5, 2, false, true));
  MatrixPairwise weightless(9.0);
  weightless += *FilledBatch(Weightless(Sample(5, 2)));
  ExpectEachStops({
      {"!_xp.size()", "void vexa::MatrixPairwise::Data::Init(vexa::DataBatch&)",
       [] {
         MatrixPairwise::Data data(9.0);
         data.Init(*FilledBatch(Sample(5, 2)));
         data.Init(*FilledBatch(Sample(5, 2)));
       }},
      {"_hasRegWeights == data.HasRegWeights()", update,
       [&] { two += *FilledBatch(Sample(5, 2, false, true)); }},
      {"_varStats.size() == nCols", update, [&] { two += *FilledBatch(Sample(5, 3)); }},
      {"_varStats.size() == d._varStats.size()", merge, [&] { two += three; }},
      {"_hasRegWeights == d._hasRegWeights", merge, [&] { two += weighted; }},
      {"col < NColumns()", var, [&] { empty.Var(0); }},
      {"0. < WeightSum()", var, [&] { weightless.Var(0); }},
      {"row < NColumns()", pair, [&] { two.Pair(2, 2); }},
      {"col < NColumns()", pair, [&] { two.Pair(1, 2); }},
      {"row != col", pair, [&] { weightless.Pair(1, 1); }},
      {"0. < WeightSum()", pair, [&] { weightless.Pair(1, 0); }},
  });
}

/// What both pairwise blocks test alike. make(missing, first, end) gives a block over a run of columns, or two.
template <class Block, class Make>
std::vector<BrokenPrecondition> PairwiseBlockTable(const std::string& name, const Make& make) {
  const std::string update = "void vexa::" + name + "::Data::Update(vexa::DataBatch&)";
  const std::string merge = "void vexa::" + name + "::Data::Update(const vexa::" + name + "::Data&)";
  const std::string var = "vexa::VarStat& vexa::" + name + "::Var(int) const";
  const std::string pair = "vexa::PairStat& vexa::" + name + "::Pair(int, int) const";
  const auto filled = [make](int col0, int col2, const Rows& rows) {
    auto block = std::shared_ptr<Block>(make(col0, col2));
    *block += *FilledBatch(rows);
    return block;
  };
  const auto full = filled(1, 4, Sample(5, 5));
  const auto weightless = filled(1, 4, Weightless(Sample(5, 5)));
  const auto merged = [full, filled](int col2, bool regWeights) {
    *full += *filled(1, col2, Sample(5, 5, false, regWeights));
  };
  const char* rowRange = "row < _my->_col2 && row >= _my->_col0";
  const char* colRange = "col < _my->_col2 && col >= _my->_col0";
  return {
      {"_hasRegWeights == data.HasRegWeights()", update,
       [=] { *full += *FilledBatch(Sample(5, 5, true, true)); }},
      {"_varStats.size() == nCols", update, [=] { filled(4, 2, Sample(5, 5)); }},
      {"colNum < _nColumns", "double* vexa::DataBatch::Column(unsigned int)",
       [=] { filled(1, 4, Sample(5, 3)); }},
      {"colNum < _nColumns", "double* vexa::DataBatch::Column(unsigned int)",
       [=] { filled(-1, 4, Sample(5, 5)); }},
      {"_varStats.size() == d._varStats.size()", merge, [=] { merged(5, true); }},
      {"_hasRegWeights == d._hasRegWeights", merge, [=] { merged(4, true); }},
      {"col < Col2() && col >= Col0()", var, [=] { full->Var(0); }},
      {"col < Col2() && col >= Col0()", var, [=] { full->Var(4); }},
      {"0. < WeightSum()", var, [=] { weightless->Var(1); }},
      {rowRange, pair, [=] { full->Pair(0, 0); }},
      {rowRange, pair, [=] { full->Pair(4, 4); }},
      {colRange, pair, [=] { full->Pair(1, 0); }},
      {colRange, pair, [=] { full->Pair(1, 4); }},
      {"row != col", pair, [=] { weightless->Pair(1, 1); }},
      {"0. < WeightSum()", pair, [=] { weightless->Pair(3, 1); }},
  };
}

TEST(Death, SymmetricPairwiseBlock) {
  using vexa::SMatrixPairwise;
  ExpectEachStops(PairwiseBlockTable<SMatrixPairwise>(
      "SMatrixPairwise", [](int col0, int col2) { return new SMatrixPairwise(9.0, col0, col2); }));
  ExpectEachStops({{"!_xp.size()", "void vexa::SMatrixPairwise::Data::Init(vexa::DataBatch&)", [] {
                      SMatrixPairwise::Data data(9.0, 0, 2);
                      data.Init(*FilledBatch(Sample(5, 2)));
                      data.Init(*FilledBatch(Sample(5, 2)));
                    }}});
}

TEST(Death, RectangularPairwiseBlock) {
  using vexa::NSMatrixPairwise;
  ExpectEachStops(PairwiseBlockTable<NSMatrixPairwise>("NSMatrixPairwise", [](int col0, int col2) {
    return new NSMatrixPairwise(9.0, col0, col0 + 1, col2);
  }));
  const std::string pair = "vexa::PairStat& vexa::NSMatrixPairwise::Pair(int, int) const";
  const std::string addBatch = "void vexa::NSMatrixPairwise::Data::Update(vexa::DataBatch&)";
  NSMatrixPairwise full(9.0, 0, 2, 4);
  full += *FilledBatch(Sample(5, 4));
  NSMatrixPairwise elsewhere(9.0, 0, 1, 4);
  elsewhere += *FilledBatch(Sample(5, 4));
  ExpectEachStops({
      {"!_xp.size()", "void vexa::NSMatrixPairwise::Data::Init(vexa::DataBatch&)",
       [] {
         NSMatrixPairwise::Data data(9.0, 0, 1, 2);
         data.Init(*FilledBatch(Sample(5, 2)));
         data.Init(*FilledBatch(Sample(5, 2)));
       }},
      {"xpi == (_col1-_col0)*(_col2-_col1)", addBatch,
       [] { NSMatrixPairwise(9.0, 0, 30, 20) += *FilledBatch(Sample(40, 30)); }},
      {"xpi == (_col1-_col0)*(_col2-_col1)", addBatch,
       [] { NSMatrixPairwise(9.0, 10, 0, 30) += *FilledBatch(Sample(40, 30)); }},
      {"_xp.size() == d._xp.size()",
       "void vexa::NSMatrixPairwise::Data::Update(const vexa::NSMatrixPairwise::Data&)",
       [&] { full += elsewhere; }},
      {"left < _my->_col1 && right >= _my->_col1", pair, [&] { full.Pair(1, 0); }},
      {"left < _my->_col1 && right >= _my->_col1", pair, [&] { full.Pair(2, 3); }},
  });
}

}  // namespace
