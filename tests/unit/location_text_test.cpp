// The text of a location property, from services that answer with every type of field, and that fail.
#include <algorithm>

#include "render/print_job.hpp"
#include "support/objects.hpp"

// The services' answers.
namespace {
locsvcs_nvpair answer;
int code;
} // namespace
int tarvo_location_to_nv_scheme(uint32_t, const tarvo_location *, locsvcs_nvlist *list) {
  if (code != 0) return code;
  *list = {2, static_cast<locsvcs_nvpair *>(qcalloc_named(ZU_DO_AREA, 2, sizeof(locsvcs_nvpair)))};
  list->pairs[1] = answer; // the first one has no name
  return 0;
}
int tarvo_location_to_str_scheme(uint32_t, const tarvo_location *, char *buffer, size_t size) {
  std::fill_n(buffer, size - 1, 'x');
  buffer[size - 1] = '\0';
  return code;
}

namespace {

TEST(location_text, is_what_the_services_answer) {
  locsvcs_nvpair number = {LOCSVCS_NV_UINT32, "f", {.u32 = 4294967295}};
  char field[] = "f";
  const struct {
    char *field;
    locsvcs_nvpair answer;
    int code;
    std::string wanted; // or the first trace
  } cases[] = {
      {field, number, 0, "4294967295"},
      {field, {LOCSVCS_NV_INT32, "f", {.i32 = -5}}, 0, "-5"},
      {field, {LOCSVCS_NV_TEXT, "f", {.text = "CPU0"}}, 0, "CPU0"},
      {field, {LOCSVCS_NV_TEXT, "f", {.text = nullptr}}, 0, "3 (ERR): Failed to format location to string"},
      {field, {LOCSVCS_NV_CHAR, "f", {.character = 'B'}}, 0, "B"},
      {field, {9, "f", {.u32 = 1}}, 0, "3 (ERR): Invalid location nvpair type 9"},
      {field, number, 7, "to nvlist (rc=7)"},
      {nullptr, number, 0, std::string(63, 'x')},
      {nullptr, number, 7, "3 (ERR): Failed to convert location to string (rc=7)"},
  };
  const test::own_value id(zu_do_value_new_string("1/2"));
  for (const auto &row : cases) {
    const test::trace_log traces;
    answer = row.answer;
    code = row.code;
    zu_tvr_location_data data = {.scheme = TARVO_SCHEME_DEFAULT, .field = row.field};
    zu_tvr_fmt_item item = {};
    item.data = &data;
    item.data_kind = TVR_KIND_LOCATION;
    zu_tvr_uri_item uri_item = {};
    uri_item.has_location_field = row.field != nullptr;
    tvr::item_location location;
    const tvr::text text = location.text_for(&uri_item, &item, id.get());
    const std::string got = text ? text.get() : traces.lines().front();
    EXPECT_TRUE(got.ends_with(row.wanted)) << got;
  }
}

} // namespace
