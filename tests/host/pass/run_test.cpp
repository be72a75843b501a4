#include "pass/run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "host/table/reading.h"
#include "table/table.h"

namespace {

/// Counts rows, and finds fault with more than it is said to.
class Rows : public pass::Partial {
 public:
  Rows(std::uint64_t theCount, std::uint64_t theMost) : count(theCount), most(theMost) {}
  void Append(pass::Partial& next) override { count += static_cast<Rows&>(next).count; }
  std::optional<table::InputError> Fault() const override {
    if (count <= most) return {};
    return table::InputError("too many");
  }
  std::uint64_t count;
  std::uint64_t most;
};

/// Told each chunk's number, may throw.
using Visit = std::function<void(std::uint64_t)>;

/// Runs over 100 chunks of two rows, of which more than `most` are a fault; "" when all is well.
std::string Message(
    unsigned int threads, std::uint64_t most, const Visit& visit = [](std::uint64_t) {}) {
  struct Reducer : pass::ChunkReducer {
    Reducer(std::uint64_t theMost, const Visit& theVisit) : most(theMost), visit(theVisit) {}
    std::unique_ptr<pass::Partial> Reduce(const table::Chunk& chunk) override {
      visit(chunk.number);
      return std::make_unique<Rows>(chunk.rows, most);
    }
    std::uint64_t most;
    const Visit& visit;
  };
  std::string text = "x\n";
  for (int row = 0; row < 200; ++row) text += "1\n";
  const table_test::TempFile file(text);
  try {
    table::Input input({file.Path()});
    const pass::Outcome outcome =
        pass::Run(input, {}, {2, threads, [&] { return std::make_unique<Reducer>(most, visit); }});
    EXPECT_EQ(static_cast<const Rows&>(*outcome.partial).count, 200U);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

// Two chunks fail. Whichever does so sooner, and whether or not the other one is read at all, the first is told. The
// pauses make both orders likely; the outcome does not depend on them.
TEST(Run, TellsTheFirstFaultInTheOrderOfTheChunks) {
  for (const unsigned int threads : {1U, 2U, 3U, 7U, 16U}) {
    for (const std::uint64_t slow : {3U, 5U}) {
      const auto visit = [&](std::uint64_t number) {
        if (number != 3 && number != 5) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(number == slow ? 10 : 1));
        throw std::runtime_error(std::to_string(number));
      };
      EXPECT_EQ(Message(threads, 1'000, visit), "3") << threads << " threads";
      // Rows of chunks 0 and 1 together are too many already, of 0 to 2 just so.
      EXPECT_EQ(Message(threads, 3, visit), "too many");
      EXPECT_EQ(Message(threads, 6, visit), "3");
    }
    EXPECT_EQ(Message(threads, 199), "too many");
    EXPECT_EQ(Message(threads, 200), "");
  }
}

TEST(Run, ReadsNoFurtherThanNeeded) {
  for (const unsigned int threads : {1U, 2U, 16U}) {
    for (const bool fails : {false, true}) {
      std::atomic<std::uint64_t> visited = 0;
      const auto visit = [&](std::uint64_t) {
        ++visited;
        if (fails) throw std::bad_alloc();
      };
      EXPECT_EQ(Message(threads, 1, visit), fails ? std::bad_alloc().what() : "too many");
      EXPECT_LE(visited, threads);
    }
  }
}

}  // namespace
