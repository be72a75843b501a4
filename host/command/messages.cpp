#include "command/messages.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "render/number.h"

namespace command {
namespace {

constexpr std::string_view kProgram = "vexa-stats: ";
constexpr std::string_view kClearLine = "\r\x1b[K";
constexpr std::chrono::milliseconds kRedraw(100);
constexpr std::chrono::milliseconds kNewLine(1000);

std::string Size(double bytes) {
  constexpr std::array<const char*, 5> kUnits = {"B", "kB", "MB", "GB", "TB"};
  std::size_t unit = 0;
  for (; bytes >= 999.5 && unit + 1 < kUnits.size(); ++unit) bytes /= 1000.0;
  return fmt::format("{:.{}f} {}", bytes, unit > 0 && bytes < 9.95 ? 1 : 0, kUnits[unit]);
}

std::string Duration(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::llround(seconds));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} h {:02} min", whole / 3600, whole % 3600 / 60);
}

}  // namespace

bool Messages::IsTerminal() { return isatty(STDERR_FILENO) == 1; }

void Messages::Progress(std::uint64_t rows, std::uint64_t bytes, std::uint64_t totalBytes) {
  const std::lock_guard lock(_mutex);
  _rows = rows;
  _bytes = bytes;
  _totalBytes = totalBytes;
  const Clock::time_point now = Clock::now();
  if (now - _lastShown < (_isTerminal ? kRedraw : kNewLine)) return;
  _lastShown = now;
  ShowProgress();
}

void Messages::EndProgress() {
  const std::lock_guard lock(_mutex);
  if (_isTerminal) {
    if (_isShown) Write(kClearLine);
  } else if (_bytes > 0) {
    ShowProgress();
  }
  _isShown = false;
  _bytes = 0;
}

void Messages::Note(std::string_view sentence) {
  const std::lock_guard lock(_mutex);
  Write(fmt::format("{}{}{}\n", _isShown ? kClearLine : "", kProgram, sentence));
  _isShown = false;
}

void Messages::Error(std::string_view sentence) { Note(fmt::format("error: {}", sentence)); }

void Messages::OutOfMemory() {
  const std::lock_guard lock(_mutex);
  if (_isShown) Write(kClearLine);
  Write("vexa-stats: error: out of memory\n");
  _isShown = false;
}

void Messages::ShowProgress() {
  _isShown = _isTerminal;
  Write(_isTerminal ? fmt::format("{}{}", kClearLine, ProgressLine())
                    : fmt::format("{}{}\n", kProgram, ProgressLine()));
}

std::string Messages::ProgressLine() const {
  const double seconds = std::max(std::chrono::duration<double>(Clock::now() - _start).count(), 1e-3);
  const auto bytes = static_cast<double>(_bytes);
  const double rate = bytes / seconds;
  std::string line = fmt::format("{} rows, {}", render::Grouped(_rows), Size(bytes));
  if (_totalBytes > 0) {
    const auto total = static_cast<double>(_totalBytes);
    line = fmt::format("{:.0f} %: {} of {}", 100.0 * std::min(bytes / total, 1.0), line, Size(total));
  }
  line += fmt::format(", {}/s", Size(rate));
  if (_totalBytes > _bytes && seconds > 1.0)
    line += fmt::format(", {} left", Duration(static_cast<double>(_totalBytes - _bytes) / rate));
  return line;
}

void Messages::Write(std::string_view line) {
  // When standard error cannot be written there is nobody left to tell.
  for (std::string_view rest = line; !rest.empty();) {
    const ssize_t count = write(STDERR_FILENO, rest.data(), rest.size());
    if (count <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace command
