// Locations: texts, schemes, order.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include "qmalloc/qmalloc.h"
#include "support.h"
#include "svcs/svcs.h"

namespace {

constexpr uint16_t none = 0xffff;

std::array<uint32_t, 4> parts(const tarvo_location &l) {
  return {l.rack, l.slot, l.subslot, l.port};
}

TEST(location, a_text_gives_its_parts_or_the_defaults) {
  constexpr tarvo_location defaults = {0, none, none, 0, 0};
  const struct {
    const char *text;
    tarvo_location expected;
  } cases[] = {
      {"0", {0, none, none, 0, 0}},
      {"1.4", {1, 4, none, 0, 0}},
      {"1/2-3", {1, 2, 3, 0, 0}},
      {"1-2-3-4", {1, 2, 3, 4, 0}},
      {"00000000000000000000000009", {9, none, none, 0, 0}},
      {"4294967295/65534/65534/65535", {4294967295u, 65534, 65534, 65535, 0}},
      {"4294967296", defaults},
      {"1/65535", {1, none, none, 0, 0}}, // the largest number of the field: missing
      {"1/65536", defaults},
      {"1/1/1/65536", defaults},
      {"1/2/3/4/5", defaults},
      {"/1", defaults},
      {"1//2", defaults},
      {"0x1", defaults},
      {"1.4x", defaults},
      {nullptr, defaults},
  };
  for (const auto &c : cases) {
    tarvo_location location = {99, 99, 99, 99, 0};
    tarvo_location_from_str(c.text, &location);
    EXPECT_EQ(parts(location), parts(c.expected)) << (c.text != nullptr ? c.text : "(none)");
  }
}

TEST(location, each_scheme_writes_its_form) {
  const struct {
    tarvo_location location;
    const char *forms[3]; // by scheme number
  } cases[] = {
      {{0, none, none, 0, 0}, {"0", "0/0", "0/0/0/0"}},
      {{3, 2, none, 0, 0}, {"3/2", "3/2", "3/2/0/0"}},
      {{3, 2, 1, 9, 0}, {"3/2/1/9", "3/2", "3/2/1/9"}},
      {{3, none, 1, 0, 0}, {"3/0/1", "3/0", "3/0/1/0"}},
      {{3, none, none, 9, 0}, {"3/0/0/9", "3/0", "3/0/0/9"}},
      {{4294967295u, 65534, 65534, 65535, 0},
       {"4294967295/65534/65534/65535", "4294967295/65534", "4294967295/65534/65534/65535"}},
  };
  for (const auto &c : cases) {
    for (uint32_t scheme = 0; scheme < 3; ++scheme) {
      char buffer[64];
      ASSERT_EQ(tarvo_location_to_str_scheme(scheme, &c.location, buffer, sizeof buffer), 0);
      EXPECT_STREQ(buffer, c.forms[scheme]) << "scheme " << scheme;
      const size_t needed = strlen(c.forms[scheme]) + 1;
      EXPECT_EQ(tarvo_location_to_str_scheme(scheme, &c.location, buffer, needed), 0);
      EXPECT_NE(tarvo_location_to_str_scheme(scheme, &c.location, buffer, needed - 1), 0);
      EXPECT_NE(tarvo_location_to_str_scheme(scheme, &c.location, buffer, 0), 0);
    }
    char buffer[64] = "as it was";
    EXPECT_NE(tarvo_location_to_str_scheme(3, &c.location, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "as it was");
  }
}

TEST(location, the_list_of_every_scheme_holds_all_parts) {
  test::balanced_memory balanced;
  const tarvo_location location = {70000, none, 3, 4, 0};
  const char *names[] = {"rack", "slot", "subslot", "port"};
  const uint32_t values[] = {70000, 0, 3, 4};
  for (uint32_t scheme = 0; scheme < 3; ++scheme) {
    locsvcs_nvlist list;
    ASSERT_EQ(tarvo_location_to_nv_scheme(scheme, &location, &list), 0);
    ASSERT_EQ(list.count, 4u);
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(list.pairs[i].type, uint32_t{LOCSVCS_NV_UINT32});
      EXPECT_STREQ(list.pairs[i].name, names[i]);
      EXPECT_EQ(list.pairs[i].value.u32, values[i]);
    }
    for (int times = 0; times < 2; ++times) locsvcs_free_nvlist(&list);
  }
  for (const uint32_t scheme : {0u, 3u}) { // without memory, and an unknown one
    locsvcs_nvlist list = {9, nullptr};
    qmalloc_fail_nth(1, false);
    EXPECT_NE(tarvo_location_to_nv_scheme(scheme, &location, &list), 0);
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(list.count, 0u);
    EXPECT_EQ(list.pairs, nullptr);
  }
}

TEST(location, sorting_is_by_parts_with_missing_first_and_stable) {
  test::balanced_memory balanced;
  std::vector<tarvo_location> locations = {
      {1, 2, 3, 4, 0},       // 0
      {1, none, none, 0, 0}, // 1
      {1, 2, none, 9, 0},    // 2
      {0, 65534, 1, 1, 0},   // 3
      {1, 2, 3, 4, 7},       // 4: equal to 0, the padding does not matter
      {1, none, 5, 0, 0},    // 5
      {1, 2, 3, 0, 0},       // 6
      {65536, 0, 0, 0, 0},   // 7
      {1, 2, 3, 65535, 0},   // 8
  };
  std::vector<uint32_t> expected = {3, 1, 5, 2, 6, 0, 4, 8, 7};
  for (uint32_t i = 9; i < 1000; ++i) { // enough equal ones for any sort that is not stable to show
    locations.push_back({65537, 2, 3, 4, 0});
    expected.push_back(i);
  }
  std::vector<uint32_t> index(locations.size(), 99);
  ASSERT_EQ(tarvo_location_sort(locations.data(), 1000, index.data(), 0), 0);
  EXPECT_EQ(index, expected);

  EXPECT_EQ(tarvo_location_sort(nullptr, 0, nullptr, 0), 0);
  EXPECT_NE(tarvo_location_sort(nullptr, 1, index.data(), 0), 0);
  EXPECT_NE(tarvo_location_sort(locations.data(), 1, nullptr, 0), 0);
  qmalloc_fail_nth(1, false);
  EXPECT_NE(tarvo_location_sort(locations.data(), 2, index.data(), 0), 0);
  qmalloc_fail_nth(0, false);
}

} // namespace
