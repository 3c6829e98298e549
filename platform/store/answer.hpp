// Which rows of a snapshot answer a request for a collection.
#pragma once

#include <utility>

#include "store/snapshot.hpp"

namespace store {

// Rows of a snapshot: a run of it, borrowed, or picked ones in a block of the answer's own.
class answer {
public:
  answer() = default;
  ~answer() { qfree_named(own_); }
  answer(answer &&other) noexcept
      : rows_(std::exchange(other.rows_, {nullptr, 0})), form_(other.form_),
        own_(std::exchange(other.own_, nullptr)), capacity_(other.capacity_) {}
  answer &operator=(answer &&other) noexcept {
    std::swap(rows_, other.rows_);
    std::swap(form_, other.form_);
    std::swap(own_, other.own_);
    std::swap(capacity_, other.capacity_);
    return *this;
  }

  // The whole run; `form` is the shape of all its rows, or none when they have several.
  static answer of_run(run rows, zuapi::shape *form) {
    answer made;
    made.rows_ = rows;
    made.form_ = form;
    return made;
  }
  // Of picked rows of that shape, none yet.
  static answer picked(zuapi::shape *form) { return of_run({nullptr, 0}, form); }
  // Adds a row to a picked answer; false when memory is exhausted.
  bool add(zu_do_vlist *row);
  // The rows in a block of the answer's own, to be sorted or thinned out; none when memory is exhausted.
  zu_do_vlist **make_own();
  void cut(uint32_t count) { rows_.count = count; }

  const run &rows() const { return rows_; }
  zuapi::shape *form() const { return form_; }

private:
  run rows_ = {nullptr, 0};
  zuapi::shape *form_ = nullptr;
  zu_do_vlist **own_ = nullptr;
  uint32_t capacity_ = 0;
};

// The records that a collection URI names, in store order. 0 or ZU_EXHAUSTED.
int select_rows(const snapshot &data, zu_do_uri *uri, answer &found);

// Keeps the rows whose properties have the display texts of the query (or none), and sorts them by the
// properties of the list (or none). 0 or ZU_EXHAUSTED.
int refine_rows(zu_do_nvlist *query, zu_do_nlist *order_by, answer &found);

// Keeps the rows whose property has that display text. 0 or ZU_EXHAUSTED.
int keep_rows_with(std::string_view name, std::string_view text, answer &found);

} // namespace store
