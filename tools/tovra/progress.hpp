// What a person at a terminal sees while something takes long.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tovra {

// Shows on standard error, when that is a terminal, what is being done and for how long, after the first
// second. Ends with its scope. While one is shown, another one shows nothing.
class progress {
public:
  explicit progress(std::string doing);
  explicit progress(std::function<std::string()> doing); // called each second, on another thread
  ~progress();
  progress(const progress &) = delete;
  progress &operator=(const progress &) = delete;

private:
  void run();

  std::function<std::string()> doing_;
  std::mutex lock_;
  std::condition_variable ended_;
  bool end_ = false;
  std::thread thread_;
};

} // namespace tovra
