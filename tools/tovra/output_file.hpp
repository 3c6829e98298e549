// Files that are written whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace tovra {

// Text goes to a new file beside the old one, which it replaces when all has been written: a program that
// reads the file meanwhile, or after a failure, sees the old text or the new one, never a part. The new file
// has the permissions of the old one, and a symbolic link still leads to it. Each thread may write one file
// at a time.
class output_file {
public:
  static constexpr unsigned most_at_once = 256;

  output_file() = default;
  ~output_file(); // removes the new file unless it is in place
  output_file(const output_file &) = delete;
  output_file &operator=(const output_file &) = delete;

  // False after a failure: why() has `PATH: REASON`, and the old file is unchanged.
  bool open(const std::string &path);
  bool write(std::string_view text);
  bool put_in_place();
  int number() const { return number_; }
  const std::string &why() const { return why_; }

private:
  bool refuse(const std::string &reason);
  bool refuse(int failure);

  std::string asked_; // the path, as it was given
  std::string path_;  // after following links
  std::string why_;
  int number_ = -1;
  char *unfinished_ = nullptr; // path of the new file, kept where a signal handler finds it
};

// Writes a whole file. Returns the empty text, or after a failure `PATH: REASON`.
std::string write_file(const std::string &path, std::string_view text);

// Removes all unfinished files, for exits that run no destructors. May be called in a signal handler.
void drop_output_files();

} // namespace tovra
