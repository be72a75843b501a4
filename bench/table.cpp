// bench_table write ROWS COLUMNS: prints a CSV file of random numbers with six significant digits.
// bench_table parse FILE THREADS: prints the seconds that parsing alone takes, without reading, checks or sums: the
// bytes of such a file lie in memory, are split at newlines into a part for each thread, and fast_float reads one
// number after the other.

#include <fast_float/fast_float.h>
#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "clock.h"

namespace {

void Write(std::size_t rows, std::size_t columns) {
  std::mt19937_64 draw(7);
  std::normal_distribution<double> normal(10.0, 5.0);
  std::string text;
  for (std::size_t col = 1; col <= columns; ++col) text += fmt::format("{}x{}", col > 1 ? "," : "", col);
  for (std::size_t row = 0; row < rows; ++row) {
    text += '\n';
    for (std::size_t col = 0; col < columns; ++col)
      fmt::format_to(std::back_inserter(text), "{}{:.6g}", col > 0 ? "," : "", normal(draw));
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
      throw std::runtime_error("the table cannot be written");
    text.clear();
  }
  std::putchar('\n');
}

/// The sum of all numbers, so that none of them is left out.
double Parse(std::string_view bytes) {
  double sum = 0.0;
  const char* const end = bytes.data() + bytes.size();
  for (const char* at = bytes.data(); at != end;) {
    double value = 0.0;
    const auto [stop, error] = fast_float::from_chars(at, end, value);
    if (error != std::errc() || stop == end) throw std::runtime_error("something is no number");
    sum += value;
    at = stop + 1;  // a delimiter or a newline
  }
  return sum;
}

double SecondsToParse(const char* path, std::size_t threads) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (bytes.empty() || bytes.back() != '\n') throw std::runtime_error("there is no such table");
  std::string_view rest(bytes);
  rest.remove_prefix(rest.find('\n') + 1);  // the header
  return bench::Seconds(
      [&] {
        std::vector<double> sums(threads);
        std::vector<std::thread> workers;
        for (std::size_t worker = 0; worker < threads; ++worker) {
          const std::size_t share = rest.size() / (threads - worker);
          const std::string_view part = rest.substr(0, rest.find('\n', share - 1) + 1);
          workers.emplace_back([&sum = sums[worker], part] { sum = Parse(part); });
          rest.remove_prefix(part.size());
        }
        for (std::thread& worker : workers) worker.join();
        bench::Keep(sums.data());
      },
      bench::Clock::kWall);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view work = argc == 4 ? argv[1] : "";
  try {
    if (work == "write") {
      Write(std::strtoul(argv[2], nullptr, 10), std::strtoul(argv[3], nullptr, 10));
    } else if (work == "parse") {
      fmt::print("{:.9f}\n", SecondsToParse(argv[2], std::strtoul(argv[3], nullptr, 10)));
    } else {
      fmt::print(stderr, "usage: {0} write ROWS COLUMNS\n       {0} parse FILE THREADS\n", argv[0]);
      return 2;
    }
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}: {}\n", argv[0], error.what());
    return 1;
  }
}
