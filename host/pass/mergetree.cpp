#include "pass/mergetree.h"

#include <algorithm>
#include <cassert>
#include <vector>

namespace pass {

std::optional<std::pair<Node, Node>> MergeTree::Bring(Node node) {
  const auto neighbour = _waiting.find({node.level, node.index ^ 1});
  if (neighbour == _waiting.end()) {
    const bool isNew = _waiting.emplace(std::pair(node.level, node.index), std::move(node.partial)).second;
    assert(isNew);
    return {};
  }
  Node other{node.level, node.index ^ 1, std::move(neighbour->second)};
  _waiting.erase(neighbour);
  if (node.index < other.index) return std::pair(std::move(node), std::move(other));
  return std::pair(std::move(other), std::move(node));
}

Node MergeTree::Merge(std::pair<Node, Node> neighbours) {
  auto& [left, right] = neighbours;
  left.partial->Append(*right.partial);
  return {left.level + 1, left.index / 2, std::move(left.partial)};
}

std::unique_ptr<Partial> MergeTree::TakeBefore(std::uint64_t end) {
  std::vector<Node> nodes;
  for (auto& [place, partial] : _waiting) {
    const auto [level, index] = place;
    if ((index + 1) << level <= end) nodes.push_back({level, index, std::move(partial)});
  }
  _waiting.clear();
  // What has no right neighbour stands for the node above as well: so the smaller, later ones come together first.
  std::sort(nodes.begin(), nodes.end(), [](const Node& a, const Node& b) { return a.level > b.level; });
  std::uint64_t covered = 0;
  for (const Node& node : nodes) {
    assert(node.FirstChunk() == covered);
    covered += std::uint64_t{1} << node.level;
  }
  assert(covered == end);
  std::unique_ptr<Partial> whole;
  for (auto node = nodes.rbegin(); node != nodes.rend(); ++node) {
    if (whole != nullptr) node->partial->Append(*whole);
    whole = std::move(node->partial);
  }
  return whole;
}

}  // namespace pass
