// Keeps the properties of a file's records until the whole file is known.
#pragma once

#include <deque>
#include <vector>

#include "store/index_builder.hpp"
#include "store/path_builder.hpp"

namespace store {

// The values of records in the order of the file, each with the index of its property. Records of a path
// mostly give the same properties in the same order: then only the first of them stores the indices (its
// outline). Throws std::bad_alloc.
class record_log {
public:
  void add(uint32_t path, const std::vector<uint32_t> &properties, const std::vector<zu_do_value> &cells);

  // Writes every record in its final shape and place, and drops the values.
  void place(snapshot &data, path_list &paths, const index_builder &index);

private:
  void name_slots(path_list &paths);

  std::vector<uint32_t> outlines_;     // path, number of properties, their indices; and so on
  std::vector<uint32_t> last_of_path_; // where in them, or no_id
  std::vector<uint32_t> records_;      // the outline of each
  std::deque<zu_do_value> values_;
};

} // namespace store
