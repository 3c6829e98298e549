// Locations: their text, their order, and their parts as a name/value list.
#include "svcs/svcs.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <numeric>
#include <string_view>
#include <tuple>

#include "qmalloc/qmalloc.h"

static_assert(sizeof(tarvo_location) == 12);

namespace {

constexpr uint16_t missing = 0xffff;
constexpr tarvo_location no_location = {0, missing, missing, 0, 0};

// Reads the decimal number at the front of a text and steps over it; false without one, or when it does not
// fit.
template <class Number>
bool read_number(std::string_view &text, Number &number) {
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  text.remove_prefix(static_cast<size_t>(read.ptr - text.data()));
  return read.ec == std::errc();
}

bool read_location(std::string_view text, tarvo_location &location) {
  if (!read_number(text, location.rack)) return false;
  for (uint16_t *part : {&location.slot, &location.subslot, &location.port}) {
    if (text.empty()) return true;
    if (text.find_first_of("/.-") != 0) return false;
    text.remove_prefix(1);
    if (!read_number(text, *part)) return false;
  }
  return text.empty();
}

unsigned or_zero(uint16_t part) {
  return part == missing ? 0u : part;
}

// How many parts are left when those missing at the end are dropped.
int part_count(const tarvo_location &location) {
  if (location.port != 0) return 4;
  if (location.subslot != missing) return 3;
  return location.slot != missing ? 2 : 1;
}

// What the order goes by: a missing part wraps to 0, in front of all numbers; the position keeps it stable.
auto order_of(const tarvo_location &location, uint32_t position) {
  const auto slot = static_cast<uint16_t>(location.slot + 1);
  const auto subslot = static_cast<uint16_t>(location.subslot + 1);
  return std::tuple(location.rack, slot, subslot, location.port, position);
}

} // namespace

void tarvo_location_from_str(const char *text, tarvo_location *location) {
  *location = no_location;
  if (text == nullptr || !read_location(text, *location)) *location = no_location;
}

int tarvo_location_sort(const tarvo_location *locations, uint32_t count, uint32_t *index, int) {
  if (count == 0) return 0;
  if (locations == nullptr || index == nullptr) return 1;
  std::iota(index, index + count, 0u);
  std::sort(index, index + count, [locations](uint32_t a, uint32_t b) {
    return order_of(locations[a], a) < order_of(locations[b], b);
  });
  return 0;
}

int tarvo_location_to_str_scheme(uint32_t scheme, const tarvo_location *location, char *buffer, size_t size) {
  if (scheme > TARVO_SCHEME_PORT) return 1;
  const int fixed_count = scheme == TARVO_SCHEME_SLOT ? 2 : 4;
  const int parts = scheme == TARVO_SCHEME_DEFAULT ? part_count(*location) : fixed_count;
  char text[sizeof "4294967295/65535/65535/65535"];
  int length = snprintf(text, sizeof text, "%u", location->rack);
  const unsigned rest[] = {or_zero(location->slot), or_zero(location->subslot), location->port};
  for (int part = 1; part < parts; ++part) {
    length += snprintf(text + length, sizeof text - static_cast<size_t>(length), "/%u", rest[part - 1]);
  }
  if (static_cast<size_t>(length) >= size) return 1;
  memcpy(buffer, text, static_cast<size_t>(length) + 1);
  return 0;
}

int tarvo_location_to_nv_scheme(uint32_t scheme, const tarvo_location *location, locsvcs_nvlist *list) {
  *list = {};
  if (scheme > TARVO_SCHEME_PORT) return 1;
  const locsvcs_nvpair parts[] = {{LOCSVCS_NV_UINT32, "rack", {location->rack}},
                                  {LOCSVCS_NV_UINT32, "slot", {or_zero(location->slot)}},
                                  {LOCSVCS_NV_UINT32, "subslot", {or_zero(location->subslot)}},
                                  {LOCSVCS_NV_UINT32, "port", {location->port}}};
  void *pairs = qmalloc_named(ZU_DO_AREA, sizeof parts);
  if (pairs == nullptr) return 1;
  std::memcpy(pairs, parts, sizeof parts);
  *list = {static_cast<uint32_t>(std::size(parts)), static_cast<locsvcs_nvpair *>(pairs)};
  return 0;
}

void locsvcs_free_nvlist(locsvcs_nvlist *list) {
  if (list == nullptr) return;
  qfree_named(list->pairs);
  *list = {};
}
