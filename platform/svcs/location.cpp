// Locations: their text, their order, and their parts as a name/value list.
#include "svcs/svcs.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "qmalloc/qmalloc.h"

static_assert(sizeof(tarvo_location) == 12);

namespace {

constexpr uint16_t missing = 0xffff;
constexpr tarvo_location no_location = {0, missing, missing, 0, 0};

bool is_digit(char byte) {
  return byte >= '0' && byte <= '9';
}

// Reads the decimal number at `text` and steps over it; false without digits or above `largest`.
bool read_number(const char *&text, uint64_t largest, uint32_t &number) {
  if (!is_digit(*text)) return false;
  uint64_t value = 0;
  for (; is_digit(*text); ++text) {
    value = value * 10 + static_cast<uint64_t>(*text - '0');
    if (value > largest) return false;
  }
  number = static_cast<uint32_t>(value);
  return true;
}

bool read_location(const char *text, tarvo_location &location) {
  static constexpr uint64_t largest[4] = {UINT32_MAX, UINT16_MAX, UINT16_MAX, UINT16_MAX};
  uint32_t parts[4] = {0, missing, missing, 0};
  for (int part = 0;; ++text) {
    if (part == 4 || !read_number(text, largest[part], parts[part])) return false;
    ++part;
    if (*text == '\0') break;
    if (*text != '/' && *text != '.' && *text != '-') return false;
  }
  location = {parts[0], static_cast<uint16_t>(parts[1]), static_cast<uint16_t>(parts[2]),
              static_cast<uint16_t>(parts[3]), 0};
  return true;
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

// The parts packed in the order of comparison; a missing part wraps to 0, in front of all numbers. The
// position makes every key different, which is what makes the sort stable.
struct sort_key {
  uint64_t rack_slot_subslot;
  uint64_t port_position;

  bool operator<(const sort_key &other) const {
    return rack_slot_subslot != other.rack_slot_subslot ? rack_slot_subslot < other.rack_slot_subslot
                                                        : port_position < other.port_position;
  }
};

sort_key key_of(const tarvo_location &location, uint32_t position) {
  const auto slot = static_cast<uint16_t>(location.slot + 1);
  const auto subslot = static_cast<uint16_t>(location.subslot + 1);
  return {uint64_t{location.rack} << 32 | uint64_t{slot} << 16 | subslot,
          uint64_t{location.port} << 32 | position};
}

} // namespace

void tarvo_location_from_str(const char *text, tarvo_location *location) {
  if (text == nullptr || !read_location(text, *location)) *location = no_location;
}

int tarvo_location_sort(const tarvo_location *locations, uint32_t count, uint32_t *index, int) {
  if (count == 0) return 0;
  if (locations == nullptr || index == nullptr) return 1;
  auto *keys = static_cast<sort_key *>(qmalloc_named(ZU_DO_AREA, count * sizeof(sort_key)));
  if (keys == nullptr) return 1;
  for (uint32_t position = 0; position < count; ++position) {
    keys[position] = key_of(locations[position], position);
  }
  std::sort(keys, keys + count);
  for (uint32_t place = 0; place < count; ++place) {
    index[place] = static_cast<uint32_t>(keys[place].port_position);
  }
  qfree_named(keys);
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
  const struct {
    const char *name;
    uint32_t value;
  } parts[] = {{"rack", location->rack},
               {"slot", or_zero(location->slot)},
               {"subslot", or_zero(location->subslot)},
               {"port", location->port}};
  auto *pairs =
      static_cast<locsvcs_nvpair *>(qcalloc_named(ZU_DO_AREA, std::size(parts), sizeof(locsvcs_nvpair)));
  if (pairs == nullptr) return 1;
  for (size_t part = 0; part < std::size(parts); ++part) {
    pairs[part].type = LOCSVCS_NV_UINT32;
    pairs[part].name = parts[part].name;
    pairs[part].value.u32 = parts[part].value;
  }
  *list = {static_cast<uint32_t>(std::size(parts)), pairs};
  return 0;
}

void locsvcs_free_nvlist(locsvcs_nvlist *list) {
  if (list == nullptr) return;
  qfree_named(list->pairs);
  *list = {};
}
