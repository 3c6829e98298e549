// Evaluates a parsed condition over condition properties; reads the nodes only, so threads may share them.
#include "cli_exec/cond_tree.hpp"
#include "zuapi/record.hpp"
#include "zuapi/shortcuts.hpp"

namespace zu_cond {

namespace {

bool is_number(const zu_do_value *value) {
  return value->type == ZU_DO_TYPE_INT || value->type == ZU_DO_TYPE_UINT || value->type == ZU_DO_TYPE_DOUBLE;
}

// Conditions do not distinguish absent properties, missing values and null values: all become a null pointer.
zu_do_value *none_for_null(zu_do_value *value) {
  if (value == nullptr || value->type == ZU_DO_TYPE_NULL || value->type == ZU_DO_TYPE_NONE) return nullptr;
  return value;
}

// True when the display text is empty. That of an array is
// empty if the array is, or if its only element's is.
bool shows_nothing(zu_do_value *value) {
  while (none_for_null(value) != nullptr && value->type == ZU_DO_TYPE_ARRAY) {
    zu_do_vlist *elements = value->content().list;
    if (elements->length != 1) return elements->length == 0;
    value = zu_do_vlist_get_value(elements, 0);
  }
  return none_for_null(value) == nullptr || (value->type == ZU_DO_TYPE_STRING && value->length == 0);
}

bool truth_of(zu_do_value *value) {
  switch (value->type) {
  case ZU_DO_TYPE_BOOL:
    return value->content().boolean;
  case ZU_DO_TYPE_INT:
    return value->content().integer != 0;
  case ZU_DO_TYPE_DOUBLE:
    return value->content().number != 0.0;
  default:
    return !shows_nothing(value);
  }
}

// The results of an order for which a comparison is true.
enum : unsigned { below = 1, same = 2, above = 4 };

int order(zu_do_value *a, zu_do_value *b) {
  if (is_number(a) && is_number(b)) return zu_do_value_compare(a, b);
  zuapi::shown_text a_shown, b_shown;
  return a_shown.of(a).compare(b_shown.of(b));
}

// Throws std::bad_alloc.
class evaluation {
public:
  evaluation(const node *nodes, zu_do_properties *properties) : nodes_(nodes), properties_(properties) {}

  bool holds(const node &what);

private:
  const node *first(const node &group) const { return &group + 1; }
  const node *after(const node &argument) const { return nodes_ + argument.end; }
  zu_do_value *value_at(const node &what);
  bool any_argument(const node &group, bool truth);
  bool equal(const node &group);
  bool ordered(const node &group, unsigned wanted);

  const node *nodes_;
  zu_do_properties *properties_;
};

// The value of one side of a comparison, borrowed; a null value gives a null pointer. A group gives a
// boolean, whose values need no memory.
zu_do_value *evaluation::value_at(const node &what) {
  if (what.what == kind::constant) return none_for_null(what.value);
  if (what.what != kind::property) return zu_do_value_new_bool(holds(what));
  return properties_ == nullptr ? nullptr : none_for_null(zuapi::value_of(properties_, what.name));
}

bool evaluation::holds(const node &what) {
  switch (what.what) {
  case kind::all_of:
    return !any_argument(what, false);
  case kind::any_of:
    return any_argument(what, true);
  case kind::negation:
    return !holds(*first(what));
  case kind::equal:
    return equal(what);
  case kind::not_equal:
    return !equal(what);
  case kind::less:
    return ordered(what, below);
  case kind::less_or_equal:
    return ordered(what, below | same);
  case kind::greater:
    return ordered(what, above);
  case kind::greater_or_equal:
    return ordered(what, above | same);
  case kind::is_set:
    return value_at(*first(what)) != nullptr;
  case kind::constant:
  case kind::property:
    break;
  }
  zu_do_value *value = value_at(what);
  return value != nullptr && truth_of(value);
}

bool evaluation::any_argument(const node &group, bool truth) {
  const node *const end = after(group);
  for (const node *argument = first(group); argument != end; argument = after(*argument)) {
    if (holds(*argument) == truth) return true;
  }
  return false;
}

bool evaluation::equal(const node &group) {
  zu_do_value *a = value_at(*first(group));
  zu_do_value *b = value_at(*after(*first(group)));
  return a == nullptr || b == nullptr ? a == b : zu_do_value_equals(a, b);
}

bool evaluation::ordered(const node &group, unsigned wanted) {
  zu_do_value *a = value_at(*first(group));
  zu_do_value *b = value_at(*after(*first(group)));
  if (a == nullptr || b == nullptr) return false;
  const int found = order(a, b);
  return (wanted & (found < 0 ? below : found > 0 ? above : same)) != 0;
}

} // namespace

bool evaluate(const zu_cond_list &list, zu_do_properties *properties, bool *holds) noexcept {
  const node *nodes = list.nodes();
  try {
    const node &all = nodes[1].end == list.count ? nodes[1] : nodes[0]; // mostly there is only one
    *holds = evaluation(nodes, properties).holds(all);
    return true;
  } catch (const std::bad_alloc &) {
    return false;
  }
}

} // namespace zu_cond
