// Evaluates a parsed condition over condition properties; reads the nodes only, so threads may share them.
#include <cstring>
#include <memory>
#include <string_view>

#include "cli_exec/cond_tree.hpp"
#include "zuapi/properties.h"
#include "zuapi/strbuf.h"
#include "zuapi/value.h"

namespace zu_cond {

namespace {

// A side of a comparison: a value, null, or the boolean that a group yields.
struct side {
  zu_do_value *value; // borrowed; none: null, or a boolean
  bool is_boolean;
  bool boolean;

  bool is_null() const { return value == nullptr && !is_boolean; }
};

// The display text of a side; only what cannot be shown in place needs memory.
class display_text {
public:
  // False when memory is exhausted.
  bool take(const side &shown) {
    if (shown.is_boolean) {
      text_ = shown.boolean ? "true" : "false";
      return true;
    }
    size_t length = 0;
    if (const char *text = zu_do_value_display(shown.value, room_, &length)) {
      text_ = {text, length};
      return true;
    }
    buffer_.reset(zu_do_strbuf_new());
    if (buffer_ == nullptr || zu_do_value_to_strbuf(shown.value, 0, buffer_.get()) != 0) return false;
    text_ = {zu_do_strbuf_to_string(buffer_.get()), zu_do_strbuf_get_len(buffer_.get())};
    return true;
  }
  std::string_view text() const { return text_; }

private:
  struct releaser {
    void operator()(zu_do_strbuf *buffer) const { zu_do_strbuf_deref(buffer); }
  };
  char room_[ZU_DO_VALUE_ROOM];
  std::unique_ptr<zu_do_strbuf, releaser> buffer_;
  std::string_view text_;
};

bool is_number(zu_do_value *value) {
  const int32_t type = zu_do_value_get_type(value);
  return type == ZU_DO_TYPE_INT || type == ZU_DO_TYPE_UINT || type == ZU_DO_TYPE_DOUBLE;
}

// Whether the display text is empty. That of an array is when the array is, or when its one element's is.
bool shows_nothing(zu_do_value *value) {
  while (zu_do_value_get_type(value) == ZU_DO_TYPE_ARRAY) {
    zu_do_vlist *elements = zu_do_value_get_array(value, nullptr);
    const size_t length = zu_do_vlist_get_len(elements);
    if (length != 1) return length == 0;
    value = zu_do_vlist_get_value(elements, 0);
  }
  if (zu_do_value_is_null(value)) return true;
  if (zu_do_value_get_type(value) != ZU_DO_TYPE_STRING) return false;
  return zu_do_value_get_string(value, nullptr)[0] == '\0';
}

bool truth_of(zu_do_value *value) {
  switch (zu_do_value_get_type(value)) {
  case ZU_DO_TYPE_BOOL:
    return zu_do_value_get_bool(value, nullptr);
  case ZU_DO_TYPE_INT:
    return zu_do_value_get_int(value, nullptr) != 0;
  case ZU_DO_TYPE_DOUBLE:
    return zu_do_value_get_double(value, nullptr) != 0.0;
  default:
    return !shows_nothing(value);
  }
}

class evaluation {
public:
  evaluation(const node *nodes, zu_do_properties *properties) : nodes_(nodes), properties_(properties) {}

  bool holds(uint32_t index);
  bool exhausted() const { return exhausted_; }

private:
  side side_at(uint32_t index);
  bool any_argument(uint32_t group, bool truth);
  bool equal(uint32_t group);
  int order(const side &a, const side &b);
  template <typename Wanted>
  bool ordered(uint32_t group, Wanted wanted);

  const node *nodes_;
  zu_do_properties *properties_;
  bool exhausted_ = false;
};

side evaluation::side_at(uint32_t index) {
  const node &what = nodes_[index];
  zu_do_value *value = nullptr;
  if (what.what == kind::constant) {
    value = what.value;
  } else if (what.what == kind::property) {
    value = zu_do_properties_get_value_n(properties_, what.name);
  } else {
    return {nullptr, true, holds(index)};
  }
  return {zu_do_value_is_null(value) ? nullptr : value, false, false};
}

bool evaluation::holds(uint32_t index) {
  switch (nodes_[index].what) {
  case kind::all_of:
    return !any_argument(index, false);
  case kind::any_of:
    return any_argument(index, true);
  case kind::negation:
    return !holds(index + 1);
  case kind::equal:
    return equal(index);
  case kind::not_equal:
    return !equal(index);
  case kind::less:
    return ordered(index, [](int order) { return order < 0; });
  case kind::less_or_equal:
    return ordered(index, [](int order) { return order <= 0; });
  case kind::greater:
    return ordered(index, [](int order) { return order > 0; });
  case kind::greater_or_equal:
    return ordered(index, [](int order) { return order >= 0; });
  case kind::is_set:
    return !side_at(index + 1).is_null();
  case kind::constant:
  case kind::property:
    break;
  }
  zu_do_value *value = side_at(index).value;
  return value != nullptr && truth_of(value);
}

bool evaluation::any_argument(uint32_t group, bool truth) {
  for (uint32_t i = group + 1; i < nodes_[group].end; i = nodes_[i].end) {
    if (holds(i) == truth) return true;
  }
  return false;
}

bool evaluation::equal(uint32_t group) {
  const side a = side_at(group + 1);
  const side b = side_at(nodes_[group + 1].end);
  if (a.is_null() || b.is_null()) return a.is_null() && b.is_null();
  if (a.is_boolean && b.is_boolean) return a.boolean == b.boolean;
  if (!a.is_boolean && !b.is_boolean) return zu_do_value_equals(a.value, b.value);
  zu_do_value *value = a.is_boolean ? b.value : a.value;
  return zu_do_value_get_type(value) == ZU_DO_TYPE_BOOL &&
         zu_do_value_get_bool(value, nullptr) == (a.is_boolean ? a.boolean : b.boolean);
}

template <typename Wanted>
bool evaluation::ordered(uint32_t group, Wanted wanted) {
  const side a = side_at(group + 1);
  const side b = side_at(nodes_[group + 1].end);
  return !a.is_null() && !b.is_null() && wanted(order(a, b));
}

int evaluation::order(const side &a, const side &b) {
  if (is_number(a.value) && is_number(b.value)) return zu_do_value_compare(a.value, b.value);
  display_text a_text, b_text;
  if (!a_text.take(a) || !b_text.take(b)) {
    exhausted_ = true;
    return 0;
  }
  return a_text.text().compare(b_text.text());
}

} // namespace

bool evaluate(const zu_cond_list &list, zu_do_properties *properties, bool *holds) noexcept {
  evaluation run(list.nodes(), properties);
  const bool answer = run.holds(0);
  if (run.exhausted()) return false;
  *holds = answer;
  return true;
}

} // namespace zu_cond
