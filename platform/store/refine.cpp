// Applies the query and the order of a request to rows of a snapshot.
#include <algorithm>

#include "store/answer.hpp"
#include "zuapi/shortcuts.hpp"

namespace store {

namespace {

// A column of rows. Its position is searched again only when a row has another shape than the row before.
class column {
public:
  explicit column(zu_do_name *name) : name_(name) {}
  explicit column(std::string_view text) : name_(nullptr), text_(text) {}

  // The row's value; a value of type NONE when the row has no such property.
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

// Comparing throws when memory is exhausted: with an inconsistent order the sort must not continue.
void sort_by(zu_do_name *name, infra::vector<zu_do_vlist *> &rows) {
  column a(name), b(name);
  std::stable_sort(rows.begin(), rows.end(), [&](zu_do_vlist *left, zu_do_vlist *right) {
    return zuapi::value_order(a.of(left), b.of(right)) < 0;
  });
}

} // namespace

void keep_rows_with(std::string_view name, std::string_view text, answer &found) {
  column wanted(name);
  zuapi::shown_text shown;
  std::erase_if(found.pick(), [&](zu_do_vlist *row) { return shown.of(wanted.of(row)) != text; });
}

void refine_rows(zu_do_nvlist *query, zu_do_nlist *order_by, answer &found) {
  zu_do_iter it = {};
  zu_do_nvlist_iter(query, &it);
  while (found.rows().count != 0 && zu_do_nvlist_has_next(query, &it)) {
    zu_do_nvpair *pair = zu_do_nvlist_get_next(query, &it);
    zuapi::shown_text shown;
    keep_rows_with(zu_do_nvpair_get_name(pair), shown.of(zu_do_nvpair_get_value(pair)), found);
  }
  if (found.rows().count < 2) return;
  // Sorts by the last property first: a stable sort then keeps that order among equal values of the others.
  for (size_t i = zu_do_nlist_get_len(order_by); i-- > 0;) {
    sort_by(zu_do_nlist_get(order_by, i), found.pick());
  }
}

} // namespace store
