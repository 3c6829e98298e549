// Arrays in a line: elements one after the other in a line, or the rest of the line once per element.
#include "print_job.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

constexpr int most_expansions = 64;
constexpr char no_element_text[] = "Failed to render array value";

// The array of a slot's value; none when it cannot be had (traced and reported).
zu_do_vlist *take_array(const print_job &job, uint32_t slot) noexcept {
  int code = 0;
  zu_do_vlist *array = zu_do_value_get_array(job.slots[slot].value, &code);
  if (array != nullptr && code == 0) return array;
  fail(job.ctx, code != 0 ? code : ZU_FAILED, "Failed to extract array from value");
  return nullptr;
}

// Appends one element: its value, or for an item of the index kind its number.
bool render_element(zu_tvr_fmt_item *item, int32_t number, zu_do_value *value, const char *prefix,
                    zu_do_strbuf *line) noexcept {
  zu_do_strbuf_add_string(line, prefix);
  if (item->kind == TVR_KIND_ARRAY_INDEX) {
    zu_do_strbuf_add_long(line, number);
    return true;
  }
  size_t length = 0;
  if (append_value(item, value, line, length)) return true;
  TVR_ERROR("Failed to map value");
  return false;
}

bool render_elements(zu_tvr_fmt_item *item, zu_do_value *value, const char *prefix,
                     zu_do_strbuf *line) noexcept {
  int code = 0;
  zu_do_vlist *array = zu_do_value_get_array(value, &code);
  if (code != 0) {
    TVR_ERROR("Failed to get array from value (rc=%d)", code);
    return false;
  }
  zu_do_iter it = {};
  zu_do_vlist_iter(array, &it);
  for (int32_t number = 0; zu_do_vlist_has_next(array, &it); ++number) {
    zu_do_value *element = zu_do_vlist_get_next(array, &it);
    if (zu_do_value_get_type(element) == ZU_DO_TYPE_NONE) {
      TVR_ERROR("Sparse arrays are not allowed without indexes");
      return false;
    }
    if (number > 0) zu_do_strbuf_add_char(line, ' ');
    if (!render_element(item, number, element, prefix, line)) {
      TVR_ERROR("%s", no_element_text);
      return false;
    }
  }
  return true;
}

// ---- Expansion ----

// One array being expanded.
struct expansion {
  print_job &job;
  uint32_t slot;
  zu_tvr_fmt_item *item;
  const zu_tvr_array_data &array;
  zu_do_strbuf *line;
};

bool report_condition(zu_tvr_walk_ctx *ctx, condition_set result) noexcept {
  if (result == condition_set::done) return true;
  if (result == condition_set::no_name) {
    fail(ctx, ZU_FAILED, "Failed to allocate condition property name");
  } else {
    fail(ctx, ZU_EXHAUSTED, "Failed to set condition property");
  }
  return false;
}

// The condition property of an item: the element, or its number.
bool set_element_condition(const print_job &job, int32_t index, bool as_number, zu_do_value *element,
                           int32_t number) noexcept {
  return report_condition(job.ctx, as_number ? set_condition_number(job, index, number)
                                             : set_condition(job, index, element));
}

// The linked item shows the same element further on in the line.
bool link_partner(const expansion &now, zu_do_value *element, int32_t number) noexcept {
  const int32_t partner = now.array.partner;
  if (partner == -1) return true;
  if (partner >= 0 && partner < now.job.map->num_items) now.job.slots[partner].element = number;
  const bool as_number = now.item->kind == TVR_KIND_ARRAY_ELEMENT;
  return set_element_condition(now.job, partner, as_number, element, number);
}

// A copy of the line so far, for a line of the element's own; none when it cannot be made.
string_buffer copy_line(zu_do_strbuf *line) noexcept {
  string_buffer copy(zu_do_strbuf_new());
  if (!copy || zu_do_strbuf_to_string(line) == nullptr ||
      zu_do_strbuf_add_bytes(copy.get(), zu_do_strbuf_to_string(line), zu_do_strbuf_get_len(line)) != 0) {
    return {};
  }
  return copy;
}

bool expand_element(const expansion &now, zu_do_value *element, int32_t number) noexcept {
  print_job &job = now.job;
  const bool own_is_number = now.item->kind == TVR_KIND_ARRAY_INDEX;
  if (!set_element_condition(job, static_cast<int32_t>(now.slot), own_is_number, element, number))
    return false;
  string_buffer own_line;
  zu_do_strbuf *target = now.line;
  if (now.array.multiline != 0) {
    own_line = copy_line(now.line);
    if (!own_line) {
      TVR_ERROR("Failed to object");
      report(job.ctx, ZU_EXHAUSTED, "Failed to allocate object");
      return false;
    }
    target = own_line.get();
  } else if (number > 0) {
    zu_do_strbuf_add_char(target, ' ');
  }
  if (!render_element(now.item, number, element, now.array.prefix, target)) {
    fail(job.ctx, ZU_FAILED, no_element_text);
    return false;
  }
  if (!link_partner(now, element, number)) return false;
  if (render_line(job, now.slot + 1, target)) return true;
  TVR_ERROR("Recursive rendering failed");
  return false;
}

bool expand_elements(const expansion &now) noexcept {
  zu_do_vlist *array = take_array(now.job, now.slot);
  if (array == nullptr) return false;
  zu_do_iter it = {};
  zu_do_vlist_iter(array, &it);
  for (int32_t number = 0; zu_do_vlist_has_next(array, &it); ++number) {
    zu_do_value *element = zu_do_vlist_get_next(array, &it);
    if (zu_do_value_get_type(element) == ZU_DO_TYPE_NONE) continue;
    if (!expand_element(now, element, number)) return false;
  }
  return true;
}

} // namespace

bool render_inline_array(print_job &job, uint32_t slot, zu_do_strbuf *line) noexcept {
  zu_tvr_fmt_item *item = job.map->fmt_items[slot];
  const zu_tvr_array_data *array = is_array_kind(item) ? array_data_of(item) : nullptr;
  const char *prefix = array != nullptr ? array->prefix : nullptr;
  if (render_elements(item, job.slots[slot].value, prefix, line)) return true;
  fail(job.ctx, ZU_FAILED, "Failed to process array-type property");
  return false;
}

bool render_element_directly(print_job &job, uint32_t slot, zu_do_strbuf *line, bool &stop) noexcept {
  zu_tvr_fmt_item *item = job.map->fmt_items[slot];
  const zu_tvr_array_data *array = array_data_of(item);
  const int32_t element = job.slots[slot].element;
  zu_do_value *value = nullptr;
  if (item->kind == TVR_KIND_ARRAY_ELEMENT) {
    zu_do_vlist *values = take_array(job, slot);
    if (values == nullptr) return false;
    value = zu_do_vlist_get_value(values, static_cast<size_t>(element));
    if (value == nullptr) {
      TVR_ERROR("Failed to extract item %d from array", element);
      report(job.ctx, ZU_FAILED, "Failed to extract item from array");
      return false;
    }
  }
  if (!render_element(item, element, value, array->prefix, line)) {
    fail(job.ctx, ZU_FAILED, no_element_text);
    return false;
  }
  if (array->multiline != 0) return true;
  zu_do_vlist *values = take_array(job, slot);
  if (values == nullptr) return false;
  stop = static_cast<size_t>(element) + 1 < zu_do_vlist_get_len(values);
  return true;
}

bool expand_array(print_job &job, uint32_t slot, const zu_tvr_array_data &array,
                  zu_do_strbuf *line) noexcept {
  if (job.expansions >= most_expansions) {
    fail(job.ctx, ZU_FAILED, "Array expansion nested too deep");
    return false;
  }
  zu_tvr_fmt_item *item = job.map->fmt_items[slot];
  ++job.expansions;
  const bool rendered = expand_elements({job, slot, item, array, line});
  --job.expansions;
  return rendered;
}

} // namespace tvr
