#include "pass/run.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <utility>
#include <vector>

#include "vexa/driver.h"

namespace pass {
namespace {

/// A run as the driver sees it. The faults of chunks do not go through the driver, which would throw the first in
/// time: they are kept with their chunk's number, and which one counts is settled when all chunks have been brought.
class Problem : public vexa::ProblemBase {
 public:
  Problem(table::Input& input, const Options& options, const Plan& plan)
      : _input(input), _options(options), _plan(plan) {}

  vexa::ProblemWorker* CreateWorker() override;

  /// What one worker has to bring.
  struct Load {
    std::vector<Node> nodes;                    ///< finished, for the tree
    std::vector<std::pair<Node, Node>> merges;  ///< taken from the tree, to be merged
    std::exception_ptr fault;
    std::uint64_t faultChunk = 0;
  };

  /// Empties the load's nodes and fault, and adds merges to it.
  void Bring(Load& load);
  /// Finds the next chunk and its number; false when there is none or no more are wanted. Under the read lock.
  bool Read(table::Chunk& chunk, std::uint64_t& number);
  /// After the run.
  Outcome Finish();

 private:
  bool ReadInput(table::Chunk& chunk);
  bool IsStopped() { return _options.stopped && _options.stopped(); }
  void Keep(std::exception_ptr fault, std::uint64_t chunk);

  table::Input& _input;
  const Options& _options;
  const Plan& _plan;

  std::uint64_t _chunks = 0;  // read so far
  std::uint64_t _rows = 0;
  bool _complete = true;

  // A worker may merge while another one reads, and the driver's two locks do not keep these two apart.
  std::mutex _mutex;
  MergeTree _tree;
  std::exception_ptr _fault;  // of those brought so far, the first in the order of the chunks
  std::uint64_t _faultChunk = 0;
  bool _readsOn = true;
};

class Worker : public vexa::ProblemWorker {
 public:
  Worker(Problem& problem, std::unique_ptr<ChunkReducer> reducer)
      : _problem(problem), _reducer(std::move(reducer)) {}

  bool ReadBatch() override {
    _problem.Bring(_load);
    return _problem.Read(_chunk, _number);
  }

  void ProcessBatch() override {
    if (!Merge()) return;
    try {
      _load.nodes.push_back({0, _number, _reducer->Reduce(_chunk)});
    } catch (...) {
      _load.fault = std::current_exception();
      _load.faultChunk = _number;
    }
  }

  void MergeResult() override {
    do {
      Merge();
      _problem.Bring(_load);
    } while (!_load.merges.empty());
  }

 private:
  /// False if that failed.
  bool Merge() {
    while (!_load.merges.empty()) {
      try {
        _load.nodes.push_back(MergeTree::Merge(std::move(_load.merges.back())));
        _load.merges.pop_back();
      } catch (...) {
        // Of what is lost the first chunk counts.
        const auto first = [](const std::pair<Node, Node>& merge) { return merge.first.FirstChunk(); };
        _load.fault = std::current_exception();
        _load.faultChunk = first(_load.merges.front());
        for (const auto& merge : _load.merges) _load.faultChunk = std::min(_load.faultChunk, first(merge));
        _load.merges.clear();
        return false;
      }
    }
    return true;
  }

  Problem& _problem;
  std::unique_ptr<ChunkReducer> _reducer;
  table::Chunk _chunk;
  std::uint64_t _number = 0;
  Problem::Load _load;
};

vexa::ProblemWorker* Problem::CreateWorker() { return new Worker(*this, _plan.makeReducer()); }

void Problem::Bring(Load& load) {
  const std::lock_guard lock(_mutex);
  if (load.fault) {
    Keep(std::exchange(load.fault, nullptr), load.faultChunk);
    _readsOn = false;
  }
  for (Node& node : load.nodes) {
    if (node.partial->Fault()) _readsOn = false;
    if (auto merge = _tree.Bring(std::move(node))) load.merges.push_back(std::move(*merge));
  }
  load.nodes.clear();
}

bool Problem::Read(table::Chunk& chunk, std::uint64_t& number) {
  {
    const std::lock_guard lock(_mutex);
    if (!_readsOn) return false;
  }
  number = _chunks;
  try {
    if (!ReadInput(chunk)) return false;
  } catch (...) {
    // All chunks before this place have been read, so that an earlier fault, if there is one, will be brought.
    const std::lock_guard lock(_mutex);
    Keep(std::current_exception(), number);
    return false;
  }
  ++_chunks;
  return true;
}

bool Problem::ReadInput(table::Chunk& chunk) {
  if (IsStopped() || !_input.Next(chunk, _plan.chunkRows)) {
    _complete = !IsStopped();
    return false;
  }
  _rows += chunk.rows;
  if (_options.progress) _options.progress({_rows, _input.BytesRead(), _input.TotalBytes()});
  return true;
}

void Problem::Keep(std::exception_ptr fault, std::uint64_t chunk) {
  if (_fault && _faultChunk <= chunk) return;
  _fault = std::move(fault);
  _faultChunk = chunk;
}

Outcome Problem::Finish() {
  std::unique_ptr<Partial> partial = _tree.TakeBefore(_fault ? _faultChunk : _chunks);
  if (partial != nullptr)
    if (const auto fault = partial->Fault()) throw table::InputError(*fault);
  if (_fault) std::rethrow_exception(_fault);
  return {std::move(partial), _complete};
}

}  // namespace

Outcome Run(table::Input& input, const Options& options, const Plan& plan) {
  Problem problem(input, options, plan);
  vexa::Driver(&problem, static_cast<int>(plan.threads));
  return problem.Finish();
}

}  // namespace pass
