#ifndef HOST_COMMAND_MESSAGES_H
#define HOST_COMMAND_MESSAGES_H

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace command {

/// Standard error: one line per message, and a progress line that they do not get mixed up with. Any thread.
class Messages {
 public:
  /// Takes the line that shows how far a run has come: at most ten times a second on a terminal, where it stays
  /// one line; elsewhere a line of its own per second.
  void Progress(std::uint64_t rows, std::uint64_t bytes, std::uint64_t totalBytes);
  /// Removes the progress line; on other than a terminal, adds its last state.
  void EndProgress();

  void Note(std::string_view sentence);
  void Error(std::string_view sentence);
  /// An error that is told without any more memory.
  void OutOfMemory();

  static bool IsTerminal();

 private:
  using Clock = std::chrono::steady_clock;

  void Write(std::string_view line);
  std::string ProgressLine() const;
  void ShowProgress();

  std::mutex _mutex;
  const bool _isTerminal = IsTerminal();
  const Clock::time_point _start = Clock::now();
  Clock::time_point _lastShown = _start;
  bool _isShown = false;
  std::uint64_t _rows = 0;
  std::uint64_t _bytes = 0;
  std::uint64_t _totalBytes = 0;
};

}  // namespace command

#endif
