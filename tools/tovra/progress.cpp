// What a person at a terminal sees while something takes long.
#include "progress.hpp"

#include <atomic>
#include <chrono>
#include <system_error>
#include <unistd.h>

#include "output.hpp"

namespace tovra {

static std::atomic<bool> shown = false; // only one at a time is shown

progress::progress(std::string doing) : progress([doing = std::move(doing)] { return doing; }) {}

progress::progress(std::function<std::string()> doing) : doing_(std::move(doing)) {
  if (isatty(STDERR_FILENO) != 1 || shown.exchange(true)) return;
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error &) {
    shown = false; // if no thread can be started, nothing is shown
  }
}

progress::~progress() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard ours(lock_);
    end_ = true;
  }
  ended_.notify_one();
  thread_.join();
  show_status("");
  shown = false;
}

void progress::run() {
  std::unique_lock ours(lock_);
  for (int seconds = 1; !ended_.wait_for(ours, std::chrono::seconds(1), [this] { return end_; }); ++seconds) {
    show_status(doing_() + " ... " + std::to_string(seconds) + " s");
  }
}

} // namespace tovra
