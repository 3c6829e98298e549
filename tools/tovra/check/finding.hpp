// What a check finds, and how it is told.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::check {

enum class severity { warning, error };

struct record;

struct finding {
  std::string file;
  int line = 0; // 0: the file as a whole
  severity weight = severity::error;
  std::string id;
  std::string message; // what happens at a render, and what to write instead

  const record *at = nullptr;        // the record that it is about, if it is about one
  std::string about = {};            // a name: that was meant, or that nothing names
  std::vector<finding> follows = {}; // what follows from it, in order; each is gone when this is mended
};

class findings {
public:
  void add(finding found) { all_.push_back(std::move(found)); }
  // By file, in the order in which the files were loaded, and line; one of several that say the same.
  void sort(const std::vector<std::string> &files);

  // Puts findings under the one of all that `cause_of` gives for them, or none. A cause is as grave as what
  // follows from it.
  void fold(const std::function<const finding *(const finding &)> &cause_of);
  const std::vector<finding> &all() const { return all_; }

  bool any() const { return !all_.empty(); }
  bool any_error() const;
  // FILE:LINE: error|warning [ID]: MESSAGE, a line each; below it, indented, the places of what follows from
  // it.
  std::string as_text() const;
  std::string as_json() const; // one array

private:
  std::vector<finding> all_;
};

} // namespace tovra::check
