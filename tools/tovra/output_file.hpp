// Files that are written whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace tovra {

// Text goes to a new file beside the one asked for, which takes its place when all is well: whoever reads
// that one sees the old text or the new one, never a part. A file that is there keeps its rights, and a link
// to it stays one. Each thread may write one.
class output_file {
public:
  static constexpr unsigned most_at_once = 256;

  output_file() = default;
  ~output_file(); // removes what has not taken its place
  output_file(const output_file &) = delete;
  output_file &operator=(const output_file &) = delete;

  // False: why() says `PATH: REASON`, and the old file is as it was.
  bool open(const std::string &path);
  bool write(std::string_view text);
  bool put_in_place();
  int number() const { return number_; }
  const std::string &why() const { return why_; }

private:
  bool refuse(const std::string &reason);
  bool refuse(int failure);

  std::string asked_; // the path, as it was given
  std::string path_;  // links followed
  std::string why_;
  int number_ = -1;
  char *unfinished_ = nullptr; // the new file's path, where a signal handler finds it
};

// Writes a file at once; else says why not, `PATH: REASON`.
std::string write_file(const std::string &path, std::string_view text);

// Removes all files that are being written: for ends of the program that destroy nothing. May be called in a
// signal handler.
void drop_output_files();

} // namespace tovra
