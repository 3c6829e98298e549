// What a check finds, and how it is shown.
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
  std::string message; // what a render does because of it, and what to write instead

  const record *at = nullptr;        // the record that it is about, or null
  std::string about = {};            // a name: the one that was meant, or one that is never named
  std::vector<finding> follows = {}; // its consequences, in order; mending this removes them
};

class findings {
public:
  void add(finding found) { all_.push_back(std::move(found)); }
  // Sorts by file, in the order of loading, and by line. Of equal findings one is kept.
  void sort(const std::vector<std::string> &files);

  // Moves each finding under its cause, which is the one of all() that `cause_of` returns, or null. A cause
  // becomes as severe as its worst consequence.
  void fold(const std::function<const finding *(const finding &)> &cause_of);
  const std::vector<finding> &all() const { return all_; }

  bool any() const { return !all_.empty(); }
  bool any_error() const;
  // One line `FILE:LINE: error|warning [ID]: MESSAGE` for each finding; below it, indented, the places of its
  // consequences.
  std::string as_text() const;
  std::string as_json() const; // one array

private:
  std::vector<finding> all_;
};

} // namespace tovra::check
