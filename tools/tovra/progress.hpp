// What a person at a terminal sees while something takes long.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tovra {

// Shows what is being done, and for how long, once it has taken a second: on standard error, when that is a
// terminal. Ends with its scope. One that begins while another lives shows nothing.
class progress {
public:
  explicit progress(std::string doing);
  explicit progress(std::function<std::string()> doing); // asked again each second, on another thread
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
