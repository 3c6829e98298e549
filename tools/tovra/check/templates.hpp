// All templates of a check. They are loaded as the library loads them, but loading continues after a refused
// line, so that one check reports all faults.
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

  // Of several records with one id, the first; null for the root.
  const record *by_id(const std::string &id) const;
  const std::vector<const record *> &children_of(const std::string &id) const; // in the order of the walk
  std::set<std::string> ids() const;

  std::map<std::string, const record *> named;
  std::map<std::string, std::vector<const record *>> children; // children of the root are under "ROOT"
};

// Gives the texts of template files. This one reads the disk; an editor has texts that are not saved yet.
class text_source {
public:
  text_source() = default;
  virtual ~text_source() = default;
  text_source(const text_source &) = delete;
  text_source &operator=(const text_source &) = delete;

  // The names of the files in a directory, in any order.
  virtual std::set<std::string> names_in(const std::string &directory, std::error_code &failure) const;
  // Returns 0, or the system's error number.
  virtual int read(const std::string &file, std::string &text) const;
};

// Loads all files of the directories. What the loader refuses, and files that it would not even read, become
// findings.
template_set load_all(const std::string &directories, findings &found, const text_source &texts = {});

} // namespace tovra::check
