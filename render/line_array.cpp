// Arrays in a line: all elements one after the other, or the rest of the line once per element (expansion).
#include "observe_line.hpp"
#include "value_text.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

constexpr int most_expansions = 64;
constexpr char no_element_text[] = "Failed to render array value";

// The array of a slot's value; null when the value is no array (traced and reported).
zu_do_vlist *take_array(const print_job &job, uint32_t slot) noexcept {
  int code = 0;
  zu_do_vlist *array = zu_do_value_get_array(job.value_of(slot).value, &code);
  if (array != nullptr && code == 0) return array;
  fail(job.ctx, code != 0 ? code : ZU_FAILED, "Failed to extract array from value", place_of(job, slot));
  return nullptr;
}

// Appends one element: its value, or its number for an item of the index kind.
bool render_element(const print_job &job, const zu_tvr_fmt_item *item, int32_t number, zu_do_value *value,
                    const char *prefix) noexcept {
  if (prefix != nullptr) job.line->add(prefix);
  if (item->kind == TVR_KIND_ARRAY_INDEX) {
    job.line->add_number(number);
    return true;
  }
  if (append_value(item, value, zu_do_value_get_type(value), job.line)) return true;
  TVR_ERROR("Failed to map value");
  return false;
}

bool render_elements(const print_job &job, uint32_t slot, const char *prefix) noexcept {
  int code = 0;
  zu_do_vlist *array = zu_do_value_get_array(job.value_of(slot).value, &code);
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
    if (number > 0) job.line->add(' ');
    if (!render_element(job, job.plan->slots.get()[slot].item, number, element, prefix)) {
      TVR_ERROR("%s", no_element_text);
      return false;
    }
  }
  return true;
}

// ---- Expansion ----

bool report_unset(const print_job &job) noexcept {
  fail(job.ctx, ZU_EXHAUSTED, "Failed to set condition property");
  return false;
}

// Sets the condition property of an item to the element or to its number.
bool set_element_condition(const print_job &job, uint32_t condition, bool as_number, zu_do_value *element,
                           int32_t number) noexcept {
  const bool set = as_number ? set_condition(job, condition, number) : set_condition(job, condition, element);
  return set || report_unset(job);
}

// Sets the element that the linked item shows further on in the line.
bool link_partner(print_job &job, const planned_slot &planned, zu_do_value *element,
                  int32_t number) noexcept {
  const int32_t partner = planned.array->partner;
  if (partner >= 0 && partner < static_cast<int32_t>(job.plan->item_count)) {
    job.memory->slots.get()[partner].element = number;
  }
  const bool as_number = planned.item->kind == TVR_KIND_ARRAY_ELEMENT;
  return set_element_condition(job, planned.partner_condition, as_number, element, number);
}

// Notes for an observer which element the current line shows, in both slots that show it.
void mark_line(const print_job &job, uint32_t slot, int32_t number) noexcept {
  const int32_t partner = job.plan->slots.get()[slot].array->partner;
  job.memory->slots.get()[slot].line_element = number;
  if (partner >= 0 && partner < static_cast<int32_t>(job.plan->item_count)) {
    job.memory->slots.get()[partner].line_element = number;
  }
}

bool expand_element(print_job &job, uint32_t slot, zu_do_value *element, int32_t number) noexcept {
  const planned_slot &planned = job.plan->slots.get()[slot];
  const bool own_is_number = planned.item->kind == TVR_KIND_ARRAY_INDEX;
  if (!set_element_condition(job, planned.condition, own_is_number, element, number)) return false;
  if (planned.array->multiline == 0 && number > 0) job.line->add(' ');
  if (!render_element(job, planned.item, number, element, planned.array->prefix)) {
    fail(job.ctx, ZU_FAILED, no_element_text, place_of(job, slot));
    return false;
  }
  if (!link_partner(job, planned, element, number)) return false;
  if (render_line(job, slot + 1)) return true;
  TVR_ERROR("Recursive rendering failed");
  return false;
}

// Renders the rest of the line once per element. With `multiline` each element starts from the line as it was
// before the first one; otherwise it continues the line.
bool expand_elements(print_job &job, uint32_t slot) noexcept {
  zu_do_vlist *array = take_array(job, slot);
  if (array == nullptr) return false;
  const bool a_line_each = job.plan->slots.get()[slot].array->multiline != 0;
  const size_t length = job.line->size();
  const size_t marked = job.marked;
  bool any = false;
  zu_do_iter it = {};
  zu_do_vlist_iter(array, &it);
  for (int32_t number = 0; zu_do_vlist_has_next(array, &it); ++number) {
    zu_do_value *element = zu_do_vlist_get_next(array, &it);
    if (zu_do_value_get_type(element) == ZU_DO_TYPE_NONE) continue;
    any = true;
    if (a_line_each) mark_line(job, slot, number);
    if (!expand_element(job, slot, element, number)) return false;
    if (!a_line_each) continue;
    job.line->cut(job.marked - marked, length);
    job.marked = marked;
  }
  if (!any && observed(job.ctx, ZU_TVR_EVENT_WITHHELD))
    observe_withheld(job.ctx, ZU_TVR_WITHHELD_EMPTY, place_of(job, slot));
  return true;
}

} // namespace

[[gnu::noinline]] after_slot render_inline_array(print_job &job, uint32_t slot) noexcept {
  const planned_slot &planned = job.plan->slots.get()[slot];
  if (render_elements(job, slot, planned.array != nullptr ? planned.array->prefix : nullptr)) {
    return after_slot::go_on;
  }
  fail(job.ctx, ZU_FAILED, "Failed to process array-type property", place_of(job, slot));
  return after_slot::failed;
}

[[gnu::noinline]] after_slot render_element_directly(print_job &job, uint32_t slot) noexcept {
  const planned_slot &planned = job.plan->slots.get()[slot];
  const int32_t element = job.memory->slots.get()[slot].element;
  zu_do_vlist *values = nullptr;
  zu_do_value *value = nullptr;
  if (planned.item->kind == TVR_KIND_ARRAY_ELEMENT) {
    values = take_array(job, slot);
    if (values == nullptr) return after_slot::failed;
    value = zu_do_vlist_get_value(values, static_cast<size_t>(element));
    if (value == nullptr) {
      TVR_ERROR("Failed to extract item %d from array", element);
      report(job.ctx, ZU_FAILED, "Failed to extract item from array", place_of(job, slot));
      return after_slot::failed;
    }
  }
  if (!render_element(job, planned.item, element, value, planned.array->prefix)) {
    fail(job.ctx, ZU_FAILED, no_element_text, place_of(job, slot));
    return after_slot::failed;
  }
  if (planned.array->multiline != 0) return after_slot::go_on;
  if (values == nullptr) values = take_array(job, slot);
  if (values == nullptr) return after_slot::failed;
  const bool is_last = static_cast<size_t>(element) + 1 >= zu_do_vlist_get_len(values);
  return is_last ? after_slot::go_on : after_slot::done;
}

[[gnu::noinline]] after_slot expand_array(print_job &job, uint32_t slot) noexcept {
  if (job.expansions >= most_expansions) {
    fail(job.ctx, ZU_FAILED, "Array expansion nested too deep", place_of(job, slot));
    return after_slot::failed;
  }
  ++job.expansions;
  const bool rendered = expand_elements(job, slot);
  --job.expansions;
  return rendered ? after_slot::done : after_slot::failed;
}

} // namespace tvr
