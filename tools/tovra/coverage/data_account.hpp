// Which properties of a data file a render brought into its text.
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

class data_account {
public:
  data_account() = default;
  data_account(const data_account &) = delete;
  data_account &operator=(const data_account &) = delete;

  // Reads all of a store, which outlives it: 0, or the code of a failure.
  int read(zu_data_ifc *data);

  void written(const zu_tvr_event &line);
  void withheld(const zu_tvr_event &line);
  data_cover result() const;

private:
  // Of a cell: a property of a record. One that says nothing, or no more than its class does, is not counted.
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
    size_t cells; // where its own begin
  };

  void take_path(std::string_view path, zu_do_vtable *records);
  void take_record(zu_do_vlist *row);
  const record_account *find(const char *uri);
  // The cell that a value is of, or none; sets `last_`.
  state *cell_of(const zu_tvr_observed_value &value);
  void note_element(state *cell, const zu_tvr_observed_value &value);
  record_gaps gaps_of(const record_account &record) const;
  gap gap_of(size_t cell, const std::string &property) const;

  std::deque<path_account> paths_; // which stay where they are
  std::vector<record_account> records_;
  std::vector<state> cells_;
  std::unordered_map<std::string_view, uint32_t> by_uri_;
  std::unordered_map<std::string_view, uint32_t> by_relative_uri_; // of records in locations
  std::unordered_map<size_t, std::vector<bool>> elements_;         // by cell: those that lines show
  std::unordered_map<size_t, const zu_tvr_node *> withheld_by_;    // by cell
  record_account *last_ = nullptr;                                 // that a value was of, and its URI
  std::string_view last_uri_;
};

} // namespace tovra::coverage
