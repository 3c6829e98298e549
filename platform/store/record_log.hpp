// What the records of a file give, kept until all of the file is known.
#pragma once

#include <memory>
#include <vector>

#include "store/index_builder.hpp"
#include "store/path_builder.hpp"

namespace store {

// The values of records in the order of the file, each with the index of its property. Records of a path
// mostly give the same properties in the same order: only the first of such a run notes which. Throws
// std::bad_alloc.
class record_log {
public:
  void add(uint32_t path, const std::vector<uint32_t> &properties, const std::vector<zu_do_value> &cells);

  // Writes every record in its final shape and place. The values are gone then.
  void place(snapshot &data, path_list &paths, const index_builder &index);

private:
  static constexpr size_t smallest_chunk = 64;
  static constexpr size_t largest_chunk = size_t{64} << 10;

  void push(const zu_do_value &cell);
  const zu_do_value &next();
  void name_slots(path_list &paths);

  std::vector<uint32_t> outlines_;     // path, number of properties, their indices; and so on
  std::vector<uint32_t> last_of_path_; // where in them, or no_id
  std::vector<uint32_t> records_;      // the outline of each
  std::vector<array<zu_do_value>> chunks_;
  size_t written_ = 0; // values of the last chunk
  size_t reading_ = 0; // the chunk that is being read, and how many values of it have been
  size_t read_ = 0;
};

} // namespace store
