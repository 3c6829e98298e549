// What renders covered: of the templates each node, of the data each property.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tovra::coverage {

struct node_cover {
  std::string op;
  uint64_t walks = 0, lines = 0, records = 0, errors = 0;
  bool conditional = false;                 // it has a condition
  std::map<std::string, uint64_t> withheld; // lines, by why they were not written
  std::string never;                        // why it was not walked, place first
  bool for_lack_of_data = false;            // that is why; else a render ended before, or went elsewhere

  bool writes() const { return op == "print_if"; }
  // How often it did what it is there for: a node that writes wrote a line, another one was walked.
  uint64_t hits() const { return writes() ? lines : walks; }
};

// How far a property came that is not whole in the text.
enum class seen {
  nowhere,
  withheld,  // in a line that was not written, for its condition was false
  condition, // in the condition of a line that was written: it counts as shown
  partly,    // some elements of an array are in lines
};

struct gap {
  std::string property;
  seen how = seen::nowhere;
  std::string by;                 // withheld: the place of the node
  std::vector<uint64_t> elements; // partly: those that no line shows
};

// A record that is not whole in the text.
struct record_gaps {
  std::string uri;
  bool shown = false; // a line shows something of it
  std::vector<gap> gaps;
};

struct path_cover {
  uint64_t records = 0, properties = 0; // that have something to show
  std::vector<record_gaps> gaps;        // in the order of the file
};

struct share {
  uint64_t covered = 0, all = 0;

  share &operator+=(const share &other);
  bool is_under(double percent) const;
  std::string percent() const; // never rounded up
};

using place = std::pair<uint32_t, std::string>; // line and id of a node
using file_cover = std::map<place, node_cover>;
using data_cover = std::map<std::string, path_cover>; // by path

struct report {
  std::map<std::string, file_cover> templates; // by file
  std::map<std::string, data_cover> data;

  // What either of them covers is covered.
  void add(report &&other);
  // Gives every file another name.
  void rename(const std::function<std::string(const std::string &)> &name);
  share nodes() const;
  share properties() const;
};

share nodes_of(const file_cover &file);
share properties_of(const data_cover &data);

enum class form { text, json, lcov };
const std::map<std::string, form> &forms(); // by name
std::string as_text(const report &told, form how);

std::string as_words(const report &told);
std::string as_json(const report &told);
std::string as_lcov(const report &told);
// Of what as_json() gives. Throws nlohmann::json::exception.
report from_json(const std::string &text);

} // namespace tovra::coverage
