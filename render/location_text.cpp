// The text of location values: a whole location in a scheme, or one field of it.
#include <cstring>

#include "print_job.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

constexpr size_t location_room = 64;

text whole_location(uint32_t scheme, const tarvo_location *location) noexcept {
  char room[location_room];
  const int code = tarvo_location_to_str_scheme(scheme, location, room, sizeof room);
  if (code == 0) return copy_text(room);
  TVR_ERROR("Failed to convert location to string (rc=%d)", code);
  return {};
}

const locsvcs_nvpair *find_field(const locsvcs_nvlist &fields, const char *name) noexcept {
  for (uint32_t i = 0; fields.pairs != nullptr && i < fields.count; ++i) {
    const locsvcs_nvpair &pair = fields.pairs[i];
    if (pair.name != nullptr && std::strcmp(pair.name, name) == 0) return &pair;
  }
  return nullptr;
}

text field_text(const locsvcs_nvpair &pair) noexcept {
  char *made = nullptr;
  int written = 0;
  switch (pair.type) {
  case LOCSVCS_NV_UINT32:
    written = zu_printf(&made, "%u", pair.value.u32);
    break;
  case LOCSVCS_NV_INT32:
    written = zu_printf(&made, "%d", pair.value.i32);
    break;
  case LOCSVCS_NV_TEXT:
    return copy_text(pair.value.text);
  case LOCSVCS_NV_CHAR:
    written = zu_printf(&made, "%c", pair.value.character);
    break;
  default:
    TVR_ERROR("Invalid location nvpair type %d", static_cast<int>(pair.type));
    return {};
  }
  if (written < 0) TVR_ERROR("Failed to convert location nvpair value to string");
  return text(made);
}

} // namespace

bool item_location::read(const zu_tvr_uri_item *uri_item, uint32_t scheme, zu_do_value *value) noexcept {
  int code = 0;
  const char *id = zu_do_value_get_string(value, &code);
  if (id == nullptr || code != 0) {
    TVR_ERROR("Failed to extract location id from value");
    return false;
  }
  TVR_DEBUG("print node: rendering location data for %s", id);
  tarvo_location_from_str(id, &location_);
  TVR_DEBUG("print node: location %s translates to %p", id, static_cast<void *>(&location_));
  if (uri_item->has_location_field == 0) return true;
  code = tarvo_location_to_nv_scheme(scheme, &location_, &fields_);
  if (code == 0) return true;
  TVR_ERROR("Failed to convert location %p to nvlist (rc=%d)", static_cast<void *>(&location_), code);
  return false;
}

text item_location::text_for(const zu_tvr_uri_item *uri_item, const zu_tvr_fmt_item *item,
                             zu_do_value *value) noexcept {
  const auto *wanted =
      item->data_kind == TVR_KIND_LOCATION ? static_cast<const zu_tvr_location_data *>(item->data) : nullptr;
  text made;
  if (wanted != nullptr) {
    if (!done_ && !read(uri_item, wanted->scheme, value)) return {};
    done_ = true;
    if (wanted->field == nullptr) {
      made = whole_location(wanted->scheme, &location_);
    } else if (const auto *pair = find_field(fields_, wanted->field)) {
      made = field_text(*pair);
    }
  }
  if (!made) TVR_ERROR("Failed to format location to string");
  return made;
}

} // namespace tvr
