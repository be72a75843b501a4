#include "support/death.h"

#include <gtest/gtest.h>

#include "support/rows.h"
#include "vexa/databatch.h"
#include "vexa/databatchbygroup.h"
#include "vexa/matrixlistwise.h"

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
  Rows zeros = Sample(5, 2, true);
  zeros.weights.assign(5, 0.0);
  weightless += *FilledBatch(zeros);
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

}  // namespace
