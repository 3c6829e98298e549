// Keeps the properties of a file's records until the whole file is known.
#include "store/record_log.hpp"

#include <algorithm>

namespace store {

void record_log::add(uint32_t path, const std::vector<uint32_t> &properties,
                     const std::vector<zu_do_value> &cells) {
  if (path >= last_of_path_.size()) last_of_path_.resize(path + size_t{1}, no_id);
  uint32_t &last = last_of_path_[path];
  const auto count = static_cast<uint32_t>(properties.size());
  const bool same = last != no_id && outlines_[last + 1] == count &&
                    std::equal(properties.begin(), properties.end(), outlines_.begin() + last + 2);
  if (!same) {
    last = static_cast<uint32_t>(outlines_.size());
    outlines_.insert(outlines_.end(), {path, count});
    outlines_.insert(outlines_.end(), properties.begin(), properties.end());
  }
  records_.push_back(last);
  values_.insert(values_.end(), cells.begin(), cells.end());
}

// Replaces the indices in the outlines by slots, which are known once the paths are finished.
void record_log::name_slots(path_list &paths) {
  for (size_t at = 0; at < outlines_.size();) {
    const std::vector<property> &properties = paths[outlines_[at]].properties();
    const size_t end = at + 2 + outlines_[at + 1];
    for (at += 2; at < end; ++at) outlines_[at] = properties[outlines_[at]].slot;
  }
}

void record_log::place(snapshot &data, path_list &paths, const index_builder &index) {
  name_slots(paths);
  data.records.reserve(records_.size());
  for (const uint32_t outline : records_) {
    const path_builder &path = paths[outlines_[outline]];
    zu_do_uri *uri = index.uri(static_cast<uint32_t>(data.records.size()));
    zu_do_vlist *row = zuapi::row_make(data.memory, path.form(), uri);
    data.records.push_back(row);
    zu_do_value *values = zuapi::row_values(row);
    const std::vector<zu_do_value> &cells = path.template_cells();
    std::copy(cells.begin(), cells.end(), values + 1);
    const uint32_t *slots = outlines_.data() + outline + 2;
    for (uint32_t i = 0; i < outlines_[outline + 1]; ++i) {
      values[slots[i]] = values_.front();
      values_.pop_front(); // its memory is needed for the records
    }
  }
}

} // namespace store
