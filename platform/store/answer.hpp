// The rows of a snapshot that answer a request for a collection.
#pragma once

#include "store/snapshot.hpp"

namespace store {

// Rows of a snapshot: a run (consecutive rows, borrowed), or single rows that were picked.
class answer {
public:
  answer() = default;
  // The whole run; `form` is the shape of all its rows, or null when they have several.
  answer(run rows, zuapi::shape *form) : run_(rows), form_(form) {}
  answer(answer &&) = default;
  answer &operator=(answer &&) = default;

  run rows() const {
    return picked_.empty() ? run_ : run{picked_.data(), static_cast<uint32_t>(picked_.size())};
  }
  zuapi::shape *form() const { return form_; }
  // Turns the rows into picked ones, which can be added to, sorted and removed. Throws std::bad_alloc.
  infra::vector<zu_do_vlist *> &pick() {
    picked_.insert(picked_.end(), run_.rows, run_.rows + run_.count);
    run_ = {nullptr, 0};
    return picked_;
  }

private:
  run run_ = {nullptr, 0};
  zuapi::shape *form_ = nullptr;
  infra::vector<zu_do_vlist *> picked_; // in the place of the run
};

// All functions throw std::bad_alloc.

// The records that a collection URI names, in store order.
answer select_rows(const snapshot &data, zu_do_uri *uri);
// Keeps the rows whose properties have the display texts of the query (or null), and sorts them by the
// properties of the list (or null).
void refine_rows(zu_do_nvlist *query, zu_do_nlist *order_by, answer &found);
// Keeps the rows whose property has that display text.
void keep_rows_with(std::string_view name, std::string_view text, answer &found);

} // namespace store
