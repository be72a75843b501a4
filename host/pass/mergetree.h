#ifndef HOST_PASS_MERGETREE_H
#define HOST_PASS_MERGETREE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "table/inputerror.h"

namespace pass {

/// What the rows of one or more chunks that follow each other were reduced to.
class Partial {
 public:
  virtual ~Partial() = default;
  /// Takes in what the chunks right behind its own were reduced to.
  virtual void Append(Partial& next) = 0;
  /// What is wrong with these rows taken together, such as too many of them. It stays wrong with more rows.
  virtual std::optional<table::InputError> Fault() const { return {}; }
};

/// A partial result's place in the merge tree: it covers the chunks from index × 2^level on, 2^level of them.
struct Node {
  unsigned int level;
  std::uint64_t index;
  std::unique_ptr<Partial> partial;

  std::uint64_t FirstChunk() const { return index << level; }
};

/// Merges the chunks' results in a fixed binary tree over their numbers, whatever the order in which they are
/// finished: of each level, 2k and 2k + 1, left += right.
///
/// The tree only pairs what is finished. Whoever brings the second of two neighbours takes both away, merges them
/// without any lock and brings the result back as a new node.
///
/// While chunks are taken up in the order of their numbers by n workers, no more than about n × log2(chunks)
/// nodes wait. No locks.
class MergeTree {
 public:
  /// Keeps the node, or returns the merge that it makes possible: left and right neighbour.
  std::optional<std::pair<Node, Node>> Bring(Node node);
  /// Appends the right neighbour to the left one, which becomes the node above.
  static Node Merge(std::pair<Node, Node> neighbours);

  /// The result of the chunks before number `end`, null if there are none. All of them must have been brought, and
  /// no merge may be under way. Leaves the tree empty.
  std::unique_ptr<Partial> TakeBefore(std::uint64_t end);

 private:
  /// By level and index.
  std::map<std::pair<unsigned int, std::uint64_t>, std::unique_ptr<Partial>> _waiting;
};

}  // namespace pass

#endif
