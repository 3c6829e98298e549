// Which rows of a snapshot answer a request: the query and the order.
#include <algorithm>

#include "store/answer.hpp"
#include "zuapi/shortcuts.hpp"

namespace store {

namespace {

// A column of rows, found again only when the shape of a row differs from that of the one before.
class column {
public:
  explicit column(zu_do_name *name) : name_(name) {}
  explicit column(std::string_view text) : name_(nullptr), text_(text) {}

  // The row's value; one without value where the row has no such property.
  zu_do_value *of(zu_do_vlist *row) {
    static zu_do_value none = zuapi::cell_none();
    zuapi::shape *form = zuapi::row_shape(row);
    if (form != form_) {
      form_ = form;
      slot_ = name_ != nullptr ? zuapi::shape_find(form, name_) : zuapi::shape_find_text(form, text_);
    }
    return slot_ < 0 ? &none : &zuapi::row_values(row)[slot_];
  }

private:
  zu_do_name *name_;
  std::string_view text_; // when there is no name
  zuapi::shape *form_ = nullptr;
  int32_t slot_ = -1;
};

// Sorts by one property. Throws std::bad_alloc: a sort must not go on with an order that is not one.
void sort_by(zu_do_name *name, zu_do_vlist **rows, uint32_t count) {
  column a(name), b(name);
  std::stable_sort(rows, rows + count, [&](zu_do_vlist *left, zu_do_vlist *right) {
    bool exhausted = false;
    const int order = zuapi::value_order(a.of(left), b.of(right), exhausted);
    if (exhausted) throw std::bad_alloc();
    return order < 0;
  });
}

int sort_rows(zu_do_nlist *order_by, answer &found) {
  zu_do_vlist **rows = found.make_own();
  if (rows == nullptr) return ZU_EXHAUSTED;
  try {
    // The last property first: a stable sort keeps what the later ones have put in order.
    for (size_t i = zu_do_nlist_get_len(order_by); i-- > 0;) {
      sort_by(zu_do_nlist_get(order_by, i), rows, found.rows().count);
    }
  } catch (const std::bad_alloc &) {
    return ZU_EXHAUSTED;
  }
  return ZU_OK;
}

} // namespace

int keep_rows_with(std::string_view name, std::string_view text, answer &found) {
  column wanted(name);
  zuapi::shown_text shown;
  const run rows = found.rows();
  // Rows are thinned out in place, in a block that is made when the first one is dropped.
  uint32_t kept = 0;
  for (uint32_t i = 0; i < rows.count; ++i) {
    zu_do_vlist *row = found.rows().rows[i];
    const std::string_view has = shown.of(wanted.of(row));
    if (has.data() == nullptr) return ZU_EXHAUSTED;
    if (has != text) continue;
    if (kept != i) {
      zu_do_vlist **own = found.make_own();
      if (own == nullptr) return ZU_EXHAUSTED;
      own[kept] = row;
    }
    ++kept;
  }
  found.cut(kept);
  return ZU_OK;
}

int refine_rows(zu_do_nvlist *query, zu_do_nlist *order_by, answer &found) {
  zu_do_iter it = {};
  if (query != nullptr) zu_do_nvlist_iter(query, &it);
  while (query != nullptr && found.rows().count != 0 && zu_do_nvlist_has_next(query, &it)) {
    zu_do_nvpair *pair = zu_do_nvlist_get_next(query, &it);
    zuapi::shown_text shown;
    const std::string_view text = shown.of(zu_do_nvpair_get_value(pair));
    if (text.data() == nullptr) return ZU_EXHAUSTED;
    const int code = keep_rows_with(zu_do_nvpair_get_name(pair), text, found);
    if (code != ZU_OK) return code;
  }
  if (zu_do_nlist_get_len(order_by) == 0 || found.rows().count < 2) return ZU_OK;
  return sort_rows(order_by, found);
}

} // namespace store
