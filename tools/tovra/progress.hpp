// What a person at a terminal sees while something takes long.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tovra {

// Shows what is being done, and for how long, once it has taken a second: on standard error, when that is a
// terminal. Ends with its scope.
class progress {
public:
  explicit progress(std::string doing);
  ~progress();
  progress(const progress &) = delete;
  progress &operator=(const progress &) = delete;

private:
  void run();

  std::string doing_;
  std::mutex lock_;
  std::condition_variable ended_;
  bool end_ = false;
  std::thread thread_;
};

} // namespace tovra
