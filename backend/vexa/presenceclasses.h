#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/engine.h"

namespace vexa {

/// Which rows of each column of a batch are present, and which columns are present in the same rows. Its memory is kept
/// from batch to batch.
///
/// Columns that are missing in the same rows form a class when there are enough of them: the pairs between two classes
/// all have the same rows, so that means and sums of squares are formed once for a column instead of once for a pair,
/// and the cross-products are those of complete columns.
class PresenceClasses {
 public:
  using Word = std::uint64_t;
  /// What a smaller class would save does not pay for bringing its columns together.
  static constexpr std::size_t kMinColumns = 16;
  /// Wider classes are split, which bounds the memory that two of them take.
  static constexpr std::size_t kMaxColumns = 256;

  /// So that Find throws nothing. Throws std::bad_alloc.
  void Reserve(std::size_t columns, std::size_t rows);

  /// No class has columns on both sides of `border`.
  void Find(const engine::Kernels& kernels, const std::vector<double*>& columns, std::size_t rows,
            double missing, std::size_t border);

  std::size_t Words() const { return _words; }
  const Word* Present(std::size_t col) const { return _bits.data() + col * _words; }
  bool InClass(std::size_t col) const { return _classOf[col] != kNone; }
  std::size_t Classes() const { return _classes.size(); }
  /// The columns of a class, ascending.
  std::span<const std::size_t> Members(std::size_t index) const {
    return std::span(_members).subspan(_classes[index].begin, _classes[index].columns);
  }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  struct Class {
    std::size_t front;    ///< its first column
    std::size_t columns;  ///< how many there are
    std::size_t begin;    ///< of its members
    Word hash;
  };

  std::size_t ClassFor(std::size_t col, std::size_t border);
  void DropSmallClasses();

  std::size_t _words = 0;
  std::vector<Word> _bits;
  std::vector<Class> _classes;
  std::vector<std::size_t> _classOf;
  std::vector<std::size_t> _members;
};

}  // namespace vexa
