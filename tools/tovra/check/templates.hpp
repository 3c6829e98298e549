// All templates of a check: loaded as the library loads them, but on past what it refuses.
#pragma once

#include <deque>
#include <map>
#include <set>
#include <system_error>

#include "../templates.hpp"
#include "finding.hpp"
#include "source.hpp"

namespace tovra::check {

struct template_set {
  std::vector<std::string> files; // in the order of loading
  std::deque<record> records;
  tree_handle tree;

  // Without the root; of several with one id the first.
  const record *by_id(const std::string &id) const;
  const std::vector<const record *> &children_of(const std::string &id) const; // in the order of the walk
  std::set<std::string> ids() const;

  std::map<std::string, const record *> named;
  std::map<std::string, std::vector<const record *>> children; // of the root under "ROOT"
};

// Where the texts of template files come from: here the disk. An editor has texts that are not saved.
class text_source {
public:
  text_source() = default;
  virtual ~text_source() = default;
  text_source(const text_source &) = delete;
  text_source &operator=(const text_source &) = delete;

  // The names of the files of a directory, in any order.
  virtual std::set<std::string> names_in(const std::string &directory, std::error_code &failure) const;
  // 0, or the system's error number.
  virtual int read(const std::string &file, std::string &text) const;
};

// Loads every file of the directories. What is refused, and what the loader would not even read, is found.
template_set load_all(const std::string &directories, findings &found, const text_source &texts = {});

} // namespace tovra::check
