#include "pass/run.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "host/table/reading.h"
#include "table/table.h"

namespace {

/// Finds fault with its rows or not.
class Rows : public pass::Partial {
 public:
  explicit Rows(bool areTooMany) : _areTooMany(areTooMany) {}
  void Append(pass::Partial& /*next*/) override {}
  std::optional<table::InputError> Fault() const override {
    if (_areTooMany) return table::InputError("too many");
    return {};
  }

 private:
  bool _areTooMany;
};

/// Told each chunk's number; may throw, or say that its rows are too many.
using Visit = std::function<bool(std::uint64_t)>;

/// The message of a run over 100 chunks.
std::string Message(unsigned int threads, const Visit& visit) {
  struct Reducer : pass::ChunkReducer {
    explicit Reducer(const Visit& theVisit) : visit(theVisit) {}
    std::unique_ptr<pass::Partial> Reduce(const table::Chunk& chunk) override {
      return std::make_unique<Rows>(visit(chunk.number));
    }
    const Visit& visit;
  };
  std::string text = "x\n";
  for (int row = 0; row < 200; ++row) text += "1\n";
  const table_test::TempFile file(text);
  table::Input input({file.Path()});
  try {
    pass::Run(input, {}, {2, threads, [&] { return std::make_unique<Reducer>(visit); }});
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

// Two chunks fail, each a little later than the other in turn. The pauses make both orders likely; the outcome does not
// depend on them. That rows which are too many count as well is tried where there are some.
TEST(Run, TellsTheFirstFaultInTheOrderOfTheChunks) {
  for (const unsigned int threads : {1U, 2U, 3U, 7U, 16U}) {
    for (const std::uint64_t slow : {3U, 5U}) {
      const auto visit = [&](std::uint64_t number) {
        if (number != 3 && number != 5) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(number == slow ? 10 : 1));
        throw std::runtime_error(std::to_string(number));
      };
      EXPECT_EQ(Message(threads, visit), "3") << threads << " threads";
    }
  }
}

TEST(Run, ReadsNoFurtherThanToAFault) {
  for (const unsigned int threads : {1U, 2U, 16U}) {
    for (const bool fails : {false, true}) {
      std::atomic<unsigned int> visited = 0;
      const auto visit = [&](std::uint64_t /*number*/) {
        ++visited;
        if (fails) throw std::bad_alloc();
        return true;
      };
      EXPECT_EQ(Message(threads, visit), fails ? std::bad_alloc().what() : "too many");
      EXPECT_LE(visited, threads);
    }
  }
}

}  // namespace
