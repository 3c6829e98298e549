// What renders have covered: each node of the templates, and each property of the data.
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
  std::map<std::string, uint64_t> withheld; // lines that were not written, by reason
  std::string never;                        // why it was not walked; begins with a place
  bool for_lack_of_data = false;            // no data led there; else a render ended or went elsewhere

  bool writes() const { return op == "print_if"; }
  // How often it did its work: for a node that prints, the lines that it wrote; for another one, its walks.
  uint64_t hits() const { return writes() ? lines : walks; }
};

// How far a property came that is not whole in the text.
enum class seen {
  nowhere,
  withheld,  // in a line that was not written because its condition was false
  condition, // in the condition of a line that was written; this counts as shown
  partly,    // some elements of an array are in lines, but not all
};

struct gap {
  std::string property;
  seen how = seen::nowhere;
  std::string by;                 // withheld: place of the node
  std::vector<uint64_t> elements; // partly: the elements that no line shows
};

// A record that is not whole in the text.
// Only gaps are listed: most properties are shown.
struct record_gaps {
  std::string uri;
  bool shown = false; // a line shows some part of it
  std::vector<gap> gaps;
};

struct path_cover {
  uint64_t records = 0, properties = 0; // that can be shown
  std::vector<record_gaps> gaps;        // in the order of the file
};

struct share {
  uint64_t covered = 0, all = 0;

  share &operator+=(const share &other);
  bool is_under(double percent) const;
  std::string percent() const; // rounded down: only full coverage is 100 %
};

using place = std::pair<uint32_t, std::string>; // line and id of a node
using file_cover = std::map<place, node_cover>;
using data_cover = std::map<std::string, path_cover>; // by path

struct report {
  std::map<std::string, file_cover> templates; // by file
  std::map<std::string, data_cover> data;

  // Adds another report: what one of the two covers is covered.
  void add(report &&other);
  // Replaces the names of all files.
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
// Reads what as_json() wrote. Throws nlohmann::json::exception.
report from_json(const std::string &text);

} // namespace tovra::coverage
