// The table of ratios as CSV, one line after the other in one process. Each line first shows that the engine gives the
// bits of the plain kernels, and is measured only then.

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "blas.h"
#include "exported.h"
#include "interleave.h"
#include "lines.h"
#include "vexa/engine/engine.h"
#include "yardsticks.h"

namespace {

constexpr const char* kUsage =
    "usage: ratios [--level LEVEL] [--rounds N] [--lines NAME,NAME…] [--list | --probe | --export FOLDER]\n"
    "  --level   plain, baseline, v3 or v4 instead of the best of this machine\n"
    "  --rounds  of every line, at least 15; default 21\n"
    "  --list    the names of the lines and whether OpenBLAS is in them, without measuring anything\n"
    "  --probe   seconds of OpenBLAS alone, for a choice among its core types\n"
    "  --export  writes the data of the lines that other programs can be timed on\n";

struct Options {
  std::string level;
  int rounds = 21;
  std::vector<std::string> lines;  // empty: all
  bool list = false;
  bool probe = false;
  std::string folder;
};

std::vector<std::string> Split(std::string_view text) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == ',') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

std::optional<Options> Parse(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t k = 0; k < arguments.size(); ++k) {
    const std::string& name = arguments[k];
    if (name == "--list" || name == "--probe") {
      (name == "--list" ? options.list : options.probe) = true;
      continue;
    }
    if (++k == arguments.size()) return std::nullopt;
    const std::string& value = arguments[k];
    if (name == "--level") {
      options.level = value;
    } else if (name == "--lines") {
      options.lines = Split(value);
    } else if (name == "--export") {
      options.folder = value;
    } else if (name == "--rounds") {
      const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), options.rounds);
      if (error != std::errc() || *end != '\0' || options.rounds < 15) return std::nullopt;
    } else {
      return std::nullopt;
    }
  }
  return options;
}

const char* ActiveLevel() {
  const vexa::engine::Kernels* active = vexa::engine::Active();
  return active ? active->name : "plain";
}

/// Any NaN equals any other NaN.
bool SameBits(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) ||
         std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

/// Whether ours computes what it should, to the bit.
bool Verified(const bench::Line& line) {
  const std::vector<double> result = line.result();
  const std::string level = ActiveLevel();
  vexa::engine::Force("plain");
  const std::vector<double> expected = line.expected ? line.expected() : line.result();
  vexa::engine::Force(level.c_str());
  return !result.empty() && std::equal(result.begin(), result.end(), expected.begin(), expected.end(),
                                       [](double a, double b) { return SameBits(a, b); });
}

/// A number, or nothing for 0.
std::string Optional(double value) {
  if (value == 0.0) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

/// Prints the line's row. False when ours or theirs computes something wrong, which leaves it unmeasured.
bool Measure(const bench::Entry& entry, int rounds) {
  const bench::Line line = entry.make();
  const char* core = entry.blas ? bench::blas::Core() : "";
  const auto print = [&](const char* bits, const std::string& figures) {
    std::printf("%s,\"%s\",\"%s\",\"%s\",%s,%s,%s,%s,%s,%s\n", entry.name.c_str(), line.work.c_str(),
                line.shape.c_str(), line.against.c_str(), core, ActiveLevel(), bits,
                Optional(line.limit).c_str(), Optional(line.aim).c_str(), figures.c_str());
    std::fflush(stdout);
  };
  const std::string none = ",,,,,,";
  if (line.theirsIsRight && !line.theirsIsRight()) {
    std::fprintf(stderr, "ratios: %s: %s computes wrong sums\n", entry.name.c_str(), line.against.c_str());
    print("unchecked", none);
    return false;
  }
  if (line.result && !Verified(line)) {
    std::fprintf(stderr, "ratios: %s: not the bits that it should be\n", entry.name.c_str());
    print("differ", none);
    return false;
  }
  double peak = bench::SeparatePeak();
  const bench::Comparison result = bench::Interleave(line.ours, line.theirs, rounds);
  peak = std::max(peak, bench::SeparatePeak());
  const double speed = line.operations / result.ours;
  char figures[200];
  std::snprintf(figures, sizeof figures, "%.6g,%.6g,%.4f,%.4f,%.4f,%s,%s", result.ours, result.theirs,
                result.ratio, result.low, result.high, Optional(speed / 1e9).c_str(),
                Optional(speed / peak).c_str());
  print(line.result ? "same" : "", figures);
  return true;
}

bool Probe(const bench::Entry& entry, int rounds) {
  const bench::Line line = entry.make();
  if (!line.theirsIsRight()) return false;
  std::printf("%s,%s,%.6g\n", entry.name.c_str(), bench::blas::Core(), bench::Best(line.theirs, rounds));
  std::fflush(stdout);
  return true;
}

int Execute(const Options& options) {
  bench::blas::StayOnOneThread();
  if (!options.level.empty() && !vexa::engine::Force(options.level.c_str())) {
    std::fprintf(stderr, "ratios: this machine has no level %s\n", options.level.c_str());
    return 2;
  }
  if (!options.folder.empty()) return bench::Export(options.folder) ? 0 : 1;

  std::vector<bench::Entry> entries = bench::Lines();
  const auto named = [&](const std::string& name) {
    return std::find_if(entries.begin(), entries.end(),
                        [&](const bench::Entry& entry) { return entry.name == name; });
  };
  std::vector<bench::Entry> chosen;
  for (const std::string& name : options.lines) {
    const auto entry = named(name);
    if (entry == entries.end()) {
      std::fprintf(stderr, "ratios: no line %s here\n", name.c_str());
      return 2;
    }
    chosen.push_back(*entry);
  }
  if (options.lines.empty()) chosen = std::move(entries);

  bool sound = true;
  if (options.list) {
    for (const bench::Entry& entry : chosen) {
      std::printf("%s,%s\n", entry.name.c_str(), entry.blas ? "OpenBLAS" : "");
    }
  } else if (options.probe) {
    for (const bench::Entry& entry : chosen) {
      if (entry.blas) sound = Probe(entry, options.rounds) && sound;
    }
  } else {
    std::puts(
        "line,work,shape,against,core,level,bits,limit,aim,seconds,their_seconds,ratio,low,high,gflops,peak_"
        "share");
    for (const bench::Entry& entry : chosen) sound = Measure(entry, options.rounds) && sound;
  }
  return sound ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Options> options = Parse({argv + 1, argv + argc});
  if (!options) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  return Execute(*options);
}
