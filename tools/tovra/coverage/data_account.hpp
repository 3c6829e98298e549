// Finds which properties of a data file came into the text of a render.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "report.hpp"
#include "store/store.h"
#include "zu_tovra/zu_tovra.h"

namespace tovra::coverage {

// Keeps account of every property of every record of the data. That a template reads a record does not mean
// that it shows all its properties; so each line that is observed is taken apart into the values that it
// read.
class data_account {
public:
  data_account() = default;
  data_account(const data_account &) = delete;
  data_account &operator=(const data_account &) = delete;

  // Reads all of a store, which must outlive this object. Returns 0 or an error code.
  int read(zu_data_ifc *data);

  void written(const zu_tvr_event &line);
  void withheld(const zu_tvr_event &line);
  data_cover result() const;

private:
  // The state of a cell, which is one property of one record. A property that no line can show, or that has
  // the default of its class, is not counted.
  enum class state : uint8_t { not_counted, nowhere, withheld, condition, partly, whole };

  struct path_account {
    std::string path;
    std::vector<std::string> columns; // names
    std::unordered_map<std::string_view, uint32_t> column;
    uint32_t first = 0, count = 0; // of its records
  };
  struct record_account {
    zu_do_vlist *row;
    uint32_t path;
    bool shown;
    size_t cells; // index of its first cell
  };

  void take_path(std::string_view path, zu_do_vtable *records);
  void take_record(zu_do_vlist *row);
  const record_account *find(const char *uri);
  // The cell to which a value belongs, or null; sets `last_`.
  state *cell_of(const zu_tvr_observed_value &value);
  void note_element(state *cell, const zu_tvr_observed_value &value);
  record_gaps gaps_of(const record_account &record) const;
  gap gap_of(size_t cell, const std::string &property) const;

  std::deque<path_account> paths_; // a deque, as pointers into it are kept
  std::vector<record_account> records_;
  std::vector<state> cells_;
  std::unordered_map<std::string_view, uint32_t> by_uri_;
  std::unordered_map<std::string_view, uint32_t> by_relative_uri_; // of records in locations
  std::unordered_map<size_t, std::vector<bool>> elements_;         // by cell: the elements that lines show
  std::unordered_map<size_t, const zu_tvr_node *> withheld_by_;    // by cell
  // The record of the last value, and its URI: the next value is often of the same record.
  record_account *last_ = nullptr;
  std::string_view last_uri_;
};

} // namespace tovra::coverage
