// What a check finds, and how it is told.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tovra::check {

enum class severity { warning, error };

struct finding {
  std::string file;
  int line = 0; // 0: the file as a whole
  severity weight = severity::error;
  std::string id;
  std::string message; // what happens at a render, and what to write instead
};

class findings {
public:
  void add(finding found) { all_.push_back(std::move(found)); }
  // By file, in the order in which the files were loaded, and line; one of several that say the same.
  void sort(const std::vector<std::string> &files);

  const std::vector<finding> &all() const { return all_; }
  bool any() const { return !all_.empty(); }
  bool any_error() const;
  std::string as_text() const; // FILE:LINE: error|warning [ID]: MESSAGE, a line each
  std::string as_json() const; // one array

private:
  std::vector<finding> all_;
};

} // namespace tovra::check
