// A file that is written whole or not at all.
#pragma once

#include <string>

namespace tovra {

// Text goes to a new file beside the one asked for, which takes its place when all is well: whoever reads
// that one sees the old text or the new one, never a part. Only one is open at a time.
class output_file {
public:
  output_file() = default;
  ~output_file(); // removes what has not taken its place
  output_file(const output_file &) = delete;
  output_file &operator=(const output_file &) = delete;

  bool open(const std::string &path); // false: said
  int number() const { return number_; }
  bool put_in_place(); // false: said, and the old file is as it was

private:
  std::string path_; // of the file asked for, links followed
  int number_ = -1;
};

// Removes a file that is being written: for ends of the program that destroy nothing. May be called in a
// signal handler.
void drop_output_file();

} // namespace tovra
