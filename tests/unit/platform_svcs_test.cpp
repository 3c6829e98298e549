// Locations: texts, schemes, failures; the golden cases of locations show the order.
#include <gtest/gtest.h>

#include <cstring>

#include "qmalloc/qmalloc.h"
#include "support.h"
#include "svcs/svcs.h"

namespace {

constexpr uint16_t none = 0xffff;

TEST(location, a_text_is_read_and_written) {
  for (const auto &[text, wanted] : {
           std::pair{"4294967295/65534/65534/65535", "4294967295/65534/65534/65535"},
           {"00000000000000000000000009", "9"},
           {"1/65535", "1"}, // the largest number of the field: missing
           {"1/1/1/65536", "0"},
           {"/1", "0"},
           {"1//2", "0"},
           {"0x1", "0"},
           {nullptr, "0"},
       }) {
    tarvo_location location = {99, 99, 99, 99, 0};
    tarvo_location_from_str(text, &location);
    char buffer[64] = "as it was";
    EXPECT_NE(tarvo_location_to_str_scheme(3, &location, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "as it was");
    const size_t needed = strlen(wanted) + 1;
    EXPECT_EQ(tarvo_location_to_str_scheme(0, &location, buffer, needed), 0);
    EXPECT_STREQ(buffer, wanted);
    EXPECT_NE(tarvo_location_to_str_scheme(0, &location, buffer, needed - 1), 0);
    EXPECT_NE(tarvo_location_to_str_scheme(0, &location, buffer, 0), 0);
  }
}

TEST(location, the_list_holds_all_parts) {
  const tarvo_location location = {70000, none, 3, 4, 0};
  locsvcs_nvlist list;
  ASSERT_EQ(tarvo_location_to_nv_scheme(2, &location, &list), 0);
  std::string parts;
  for (uint32_t i = 0; i < list.count; ++i) {
    EXPECT_EQ(list.pairs[i].type, uint32_t{LOCSVCS_NV_UINT32});
    parts += std::string(list.pairs[i].name) + "=" + std::to_string(list.pairs[i].value.u32) + " ";
  }
  EXPECT_EQ(parts, "rack=70000 slot=0 subslot=3 port=4 ");
  for (int times = 0; times < 2; ++times) locsvcs_free_nvlist(&list);
  for (const uint32_t scheme : {0u, 3u}) { // without memory, and an unknown one
    list = {9, nullptr};
    qmalloc_fail_nth(1, false);
    EXPECT_NE(tarvo_location_to_nv_scheme(scheme, &location, &list), 0);
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(std::pair(list.count, list.pairs), std::pair(decltype(list.count){0}, decltype(list.pairs){}));
  }
}

TEST(location, sorting_tells_what_it_is_not_given) {
  const tarvo_location locations[2] = {};
  uint32_t index[2];
  EXPECT_EQ(tarvo_location_sort(nullptr, 0, nullptr, 0), 0);
  EXPECT_NE(tarvo_location_sort(nullptr, 1, index, 0), 0);
  EXPECT_NE(tarvo_location_sort(locations, 1, nullptr, 0), 0);
}

} // namespace
