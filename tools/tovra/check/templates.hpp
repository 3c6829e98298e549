// All templates of a check: loaded as the library loads them, but on past what it refuses.
#pragma once

#include <deque>
#include <map>
#include <set>

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

// Loads every file of the directories. What is refused, and what the loader would not even read, is found.
template_set load_all(const std::string &directories, findings &found);

} // namespace tovra::check
