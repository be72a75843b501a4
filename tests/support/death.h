#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

/// A broken precondition and the assertion that must stop the process: its text, to the space, and the
/// function that it names, as g++ prints it.
struct BrokenPrecondition {
  std::string text;
  std::string signature;
  std::function<void()> provoke;
};

/// Runs every entry in a process of its own. clang prints signatures in its own way: there the text alone is
/// compared.
inline void ExpectEachStops(const std::vector<BrokenPrecondition>& table) {
  GTEST_FLAG_SET(death_test_style, "fast");
  for (const BrokenPrecondition& broken : table) {
    SCOPED_TRACE(broken.signature + " with " + broken.text);
    std::string expected = "Assertion `" + broken.text + "' failed";
#ifndef __clang__
    expected.insert(0, broken.signature + ": ");
#endif
    EXPECT_EXIT(broken.provoke(), testing::KilledBySignal(SIGABRT), testing::HasSubstr(expected));
  }
}
