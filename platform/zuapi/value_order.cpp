// Equality and order of values.
#include <cmath>

#include "zuapi/objects.hpp"
#include "zuapi/shortcuts.hpp"

using namespace zuapi;

namespace {

template <class T>
int order(T a, T b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

// The rank of a type in the order.
int rank(int32_t type) {
  switch (type) {
  case ZU_DO_TYPE_NONE:
  case ZU_DO_TYPE_NULL:
    return 0;
  case ZU_DO_TYPE_BOOL:
    return 1;
  case ZU_DO_TYPE_INT:
  case ZU_DO_TYPE_UINT:
  case ZU_DO_TYPE_DOUBLE:
    return 2;
  case ZU_DO_TYPE_STRING:
    return 3;
  default:
    return 4;
  }
}

// Compares an integer with a double without rounding either; a double that is no number comes first.
int order_mixed(const zu_do_value *whole, double number) {
  constexpr double two_63 = 9223372036854775808.0;
  constexpr double two_64 = 18446744073709551616.0;
  if (std::isnan(number)) return 1;
  const double floor = std::floor(number);
  int result;
  if (whole->type == ZU_DO_TYPE_UINT) {
    if (floor >= two_64) return -1;
    if (floor < 0) return 1;
    result = order(whole->content().whole, static_cast<uint64_t>(floor));
  } else {
    if (floor >= two_63) return -1;
    if (floor < -two_63) return 1;
    result = order(whole->content().integer, static_cast<int64_t>(floor));
  }
  return result == 0 && floor < number ? -1 : result;
}

int order_doubles(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return order(std::isnan(a) ? 0 : 1, std::isnan(b) ? 0 : 1);
  return order(a, b);
}

int order_numbers(const zu_do_value *a, const zu_do_value *b) {
  if (a->type == ZU_DO_TYPE_INT && b->type == ZU_DO_TYPE_INT) {
    return order(a->content().integer, b->content().integer);
  }
  if (a->type == ZU_DO_TYPE_DOUBLE) {
    if (b->type == ZU_DO_TYPE_DOUBLE) return order_doubles(a->content().number, b->content().number);
    return -order_mixed(b, a->content().number);
  }
  if (b->type == ZU_DO_TYPE_DOUBLE) return order_mixed(a, b->content().number);
  // A value of the unsigned type is above every signed one.
  if (a->type != b->type) return a->type == ZU_DO_TYPE_UINT ? 1 : -1;
  return order(a->content().whole, b->content().whole);
}

int order_texts(std::string_view a, std::string_view b) {
  return order(a.compare(b), 0);
}

bool same_elements(zu_do_vlist *a, zu_do_vlist *b) {
  if (a->length != b->length) return false;
  for (uint32_t i = 0; i < a->length; ++i) {
    if (!zu_do_value_equals(zu_do_vlist_get_value(a, i), zu_do_vlist_get_value(b, i))) return false;
  }
  return true;
}

} // namespace

bool zu_do_value_equals(zu_do_value *a, zu_do_value *b) {
  if (a == b) return true;
  if (a == nullptr || b == nullptr) return zu_do_value_get_type(a) == zu_do_value_get_type(b);
  if (a->type == ZU_DO_TYPE_BOOL && b->type == ZU_DO_TYPE_BOOL) {
    return a->content().boolean == b->content().boolean;
  }
  if (a->type != b->type) return rank(a->type) == 2 && rank(b->type) == 2 && order_numbers(a, b) == 0;
  switch (a->type) {
  case ZU_DO_TYPE_INT:
  case ZU_DO_TYPE_UINT:
    return a->content().whole == b->content().whole;
  case ZU_DO_TYPE_DOUBLE:
    return order_doubles(a->content().number, b->content().number) == 0;
  case ZU_DO_TYPE_STRING:
    return a->text() == b->text();
  case ZU_DO_TYPE_ARRAY:
    return same_elements(a->content().list, b->content().list);
  case ZU_DO_TYPE_MR_URI:
  case ZU_DO_TYPE_COLL_URI:
    return zu_do_uri_equals(a->content().uri, b->content().uri);
  default:
    return true;
  }
}

int zu_do_value_compare(zu_do_value *a, zu_do_value *b) {
  try {
    return value_order(a, b);
  } catch (const std::bad_alloc &) {
    return 0;
  }
}

int zuapi::value_order(zu_do_value *a, zu_do_value *b) {
  const int kind = rank(zu_do_value_get_type(a));
  const int other = rank(zu_do_value_get_type(b));
  if (kind != other) return order(kind, other);
  switch (kind) {
  case 0:
    return 0;
  case 1:
    return order(a->content().boolean, b->content().boolean);
  case 2:
    return order_numbers(a, b);
  case 3:
    return order_texts(a->text(), b->text());
  default: {
    shown_text a_shown, b_shown;
    return order_texts(a_shown.of(a), b_shown.of(b));
  }
  }
}
