// Finds which properties of a data file came into the text of a render.
#include "data_account.hpp"

#include <algorithm>

#include "../templates.hpp"
#include "zuapi/zuapi.h"

namespace tovra::coverage {

namespace {

std::string_view uri_of(zu_do_vlist *row) {
  return zu_do_uri_get_uri_str(zu_do_value_get_mr_uri(zu_do_vlist_get_value(row, 0), nullptr));
}

// True when the last segment of the record's URI has a key with that name.
bool is_key(std::string_view uri, std::string_view name) {
  std::string_view segment = uri.substr(uri.rfind('/') + 1);
  for (size_t at = segment.find(';'); at != segment.npos; at = segment.find(';')) {
    segment.remove_prefix(at + 1);
    if (segment.starts_with(name) && segment.substr(name.size()).starts_with('=')) return true;
  }
  return false;
}

// True for null, an empty text and an empty array: no line can show them.
bool says_nothing(zu_do_value *value) {
  switch (zu_do_value_get_type(value)) {
  case ZU_DO_TYPE_NONE:
  case ZU_DO_TYPE_NULL:
    return true;
  case ZU_DO_TYPE_STRING:
    return zu_do_value_get_string(value, nullptr)[0] == '\0';
  case ZU_DO_TYPE_ARRAY:
    return zu_do_vlist_get_len(zu_do_value_get_array(value, nullptr)) == 0;
  default:
    return false;
  }
}

// The part of an absolute URI after its location; empty for a relative URI.
std::string_view relative_part(std::string_view uri) {
  const size_t end = uri.starts_with("//") ? uri.find('/', 2) : uri.npos;
  return end != uri.npos ? uri.substr(end) : std::string_view();
}

// A location that was put into scope is observed with the URI of its collection, without one of its own. If
// the value is its key, the URI of its own record can be made here. Empty for other values.
std::string place_uri(const zu_tvr_observed_value &value) {
  constexpr std::string_view collection = "//?";
  const std::string_view record = value.record;
  const char *key = record.starts_with(collection) ? zu_do_value_get_string(value.value, nullptr) : nullptr;
  if (key == nullptr) return "";
  return "//" + std::string(record.substr(collection.size())) + ";" + value.property + "=" + key;
}

} // namespace

int data_account::read(zu_data_ifc *data) {
  const auto take = [](void *self, const char *path, size_t length, zu_do_vtable *records) {
    static_cast<data_account *>(self)->take_path({path, length}, records);
  };
  return zu_store_each_path(data, take, this);
}

void data_account::take_path(std::string_view path, zu_do_vtable *records) {
  path_account &account = paths_.emplace_back();
  account.path = path;
  zu_do_ntlist *columns = zu_do_vtable_get_ntlist(records);
  for (size_t i = 0; i < zu_do_ntlist_get_len(columns); ++i) {
    account.columns.emplace_back(
        zu_do_name_get_unqualified(zu_do_ntcolumn_get_name(zu_do_ntlist_get(columns, i))));
  }
  for (const std::string &name : account.columns) {
    account.column.emplace(name, static_cast<uint32_t>(account.column.size()));
  }
  account.first = static_cast<uint32_t>(records_.size());
  account.count = static_cast<uint32_t>(zu_do_vtable_get_len(records));
  for (uint32_t i = 0; i < account.count; ++i) take_record(zu_do_vtable_get(records, i));
}

void data_account::take_record(zu_do_vlist *row) {
  const path_account &path = paths_.back();
  const std::string_view uri = uri_of(row);
  const auto number = static_cast<uint32_t>(records_.size());
  by_uri_.emplace(uri, number);
  if (const auto relative = relative_part(uri); !relative.empty()) by_relative_uri_.emplace(relative, number);
  records_.push_back({row, static_cast<uint32_t>(paths_.size() - 1), false, cells_.size()});
  for (size_t i = 0; i < path.columns.size(); ++i) {
    zu_do_value *value = zu_do_vlist_get_value(row, i);
    const bool counts =
        !path.columns[i].starts_with('_') && !zu_do_value_is_default(value) && !says_nothing(value);
    cells_.push_back(counts ? state::nowhere : state::not_counted);
  }
}

// Looks for the relative URI too: a record that is read without a location has it, in whatever location it
// is.
const data_account::record_account *data_account::find(const char *uri) {
  if (last_ != nullptr && last_uri_ == uri) return last_;
  for (const auto *table : {&by_uri_, &by_relative_uri_}) {
    const auto found = table->find(uri);
    if (found == table->end()) continue;
    last_ = &records_[found->second];
    last_uri_ = found->first;
    return last_;
  }
  return nullptr;
}

data_account::state *data_account::cell_of(const zu_tvr_observed_value &value) {
  if (value.record == nullptr) return nullptr;
  const std::string of_place = place_uri(value);
  const record_account *record = find(of_place.empty() ? value.record : of_place.c_str());
  if (record == nullptr) return nullptr;
  const path_account &path = paths_[record->path];
  const auto column = path.column.find(value.property);
  return column != path.column.end() ? &cells_[record->cells + column->second] : nullptr;
}

void data_account::note_element(state *cell, const zu_tvr_observed_value &value) {
  zu_do_vlist *all = zu_do_value_get_array(value.value, nullptr);
  std::vector<bool> &shown = elements_[static_cast<size_t>(cell - cells_.data())];
  if (shown.empty()) {
    shown.resize(zu_do_vlist_get_len(all));
    for (size_t i = 0; i < shown.size(); ++i) shown[i] = says_nothing(zu_do_vlist_get_value(all, i));
  }
  shown[static_cast<size_t>(value.element)] = true;
  *cell = std::max(*cell, state::partly);
}

void data_account::written(const zu_tvr_event &line) {
  for (uint32_t i = 0; i < line.value_count; ++i) {
    const zu_tvr_observed_value &value = line.values[i];
    state *cell = cell_of(value);
    if (cell == nullptr) continue;
    last_->shown = true;
    if (*cell == state::not_counted || *cell == state::whole) continue;
    if (value.in_format == 0) {
      *cell = std::max(*cell, state::condition);
    } else if (value.element < 0) {
      *cell = state::whole;
    } else {
      note_element(cell, value);
    }
  }
}

void data_account::withheld(const zu_tvr_event &line) {
  for (uint32_t i = 0; i < line.value_count; ++i) {
    state *cell = cell_of(line.values[i]);
    if (cell == nullptr || *cell != state::nowhere) continue;
    *cell = state::withheld;
    withheld_by_[static_cast<size_t>(cell - cells_.data())] = line.node;
  }
}

gap data_account::gap_of(size_t cell, const std::string &property) const {
  gap made{property, seen::nowhere, "", {}};
  switch (cells_[cell]) {
  case state::withheld:
    made.how = seen::withheld;
    made.by = place_of(*withheld_by_.at(cell));
    break;
  case state::condition:
    made.how = seen::condition;
    break;
  case state::partly: {
    made.how = seen::partly;
    const std::vector<bool> &shown = elements_.at(cell);
    for (size_t i = 0; i < shown.size(); ++i) {
      if (!shown[i]) made.elements.push_back(i);
    }
    break;
  }
  default:
    break;
  }
  return made;
}

// A key counts as shown as soon as a line shows anything of its record, whose name it is.
record_gaps data_account::gaps_of(const record_account &record) const {
  const path_account &path = paths_[record.path];
  record_gaps made{std::string(uri_of(record.row)), record.shown, {}};
  for (size_t i = 0; i < path.columns.size(); ++i) {
    const size_t cell = record.cells + i;
    if (cells_[cell] == state::not_counted || cells_[cell] == state::whole) continue;
    if (record.shown && is_key(made.uri, path.columns[i])) continue;
    gap found = gap_of(cell, path.columns[i]);
    if (found.how != seen::partly || !found.elements.empty()) made.gaps.push_back(std::move(found));
  }
  return made;
}

data_cover data_account::result() const {
  data_cover made;
  for (const path_account &path : paths_) {
    path_cover cover;
    for (uint32_t i = path.first; i < path.first + path.count; ++i) {
      const auto cells = cells_.begin() + static_cast<ptrdiff_t>(records_[i].cells);
      const auto counted = std::count_if(cells, cells + static_cast<ptrdiff_t>(path.columns.size()),
                                         [](state of) { return of != state::not_counted; });
      if (counted == 0) continue;
      ++cover.records;
      cover.properties += static_cast<uint64_t>(counted);
      if (record_gaps gaps = gaps_of(records_[i]); !gaps.gaps.empty()) cover.gaps.push_back(std::move(gaps));
    }
    if (cover.records != 0) made.emplace(path.path, std::move(cover));
  }
  return made;
}

} // namespace tovra::coverage
