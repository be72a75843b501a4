#include "pass/mergetree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

/// Spells out how it came about.
class Spelling : public pass::Partial {
 public:
  explicit Spelling(std::string theText) : text(std::move(theText)) {}
  void Append(pass::Partial& next) override { text = '(' + text + static_cast<Spelling&>(next).text + ')'; }
  std::string text;
};

std::string Spell(const std::unique_ptr<pass::Partial>& partial) {
  return partial ? static_cast<Spelling&>(*partial).text : "";
}

/// The tree over [first, end): the left side holds the largest power of two that leaves something to the right.
std::string Expected(std::uint64_t first, std::uint64_t end) {
  if (first == end) return "";
  if (end - first == 1) return std::to_string(first) + ' ';
  const std::uint64_t middle = first + std::bit_floor(end - first - 1);
  return '(' + Expected(first, middle) + Expected(middle, end) + ')';
}

// Workers take chunks up in order and finish them, and their merges, in any order. A chunk may never be finished: then
// what stands before it still makes a tree.
TEST(MergeTree, IsTheSameForEveryOrderOfCompletion) {
  std::mt19937 random(1);
  for (int round = 0; round < 400; ++round) {
    const std::uint64_t chunks = random() % 70;
    const std::size_t workers = 1 + random() % 16;
    const std::uint64_t failing = round % 2 == 0 ? chunks : random() % (chunks + 1);
    pass::MergeTree tree;
    std::uint64_t next = 0;
    std::size_t most = 0;
    std::vector<std::vector<pass::Node>> hands;  // what a busy worker will bring, one by one
    while (next < chunks || !hands.empty()) {
      if (next < chunks && hands.size() < workers && random() % 3 != 0) {
        hands.emplace_back();
        if (next != failing) {
          hands.back().push_back({0, next, std::make_unique<Spelling>(std::to_string(next) + ' ')});
        }
        ++next;
      } else if (!hands.empty()) {
        const std::size_t hand = random() % hands.size();
        if (hands[hand].empty()) {
          hands.erase(hands.begin() + static_cast<std::ptrdiff_t>(hand));
          continue;
        }
        pass::Node node = std::move(hands[hand].back());
        hands[hand].pop_back();
        if (auto merge = tree.Bring(std::move(node)))
          hands[hand].push_back(pass::MergeTree::Merge(std::move(*merge)));
        std::size_t nodes = tree.Waiting();
        for (const auto& held : hands) nodes += held.size();
        most = std::max(most, nodes);
      }
    }
    if (failing == chunks) {
      EXPECT_LE(most, workers + (workers + 1) * static_cast<std::size_t>(std::bit_width(chunks)));
    }
    EXPECT_EQ(Spell(tree.TakeBefore(failing)), Expected(0, failing)) << chunks << " chunks";
    EXPECT_EQ(tree.Waiting(), 0U);
  }
}

}  // namespace
