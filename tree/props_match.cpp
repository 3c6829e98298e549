// How look-ups on the two caches tell which record or group answers to a URI: its own, or a query on it.
#include "props_match.hpp"

#include <cstring>
#include <string_view>

#include "zu_tovra/internal/report.hpp"

namespace {

enum : uint32_t { no_property = 0, holds_uri = 1, holds_no_uri = 2 };

struct uri_property {
  uint32_t state;
  zu_do_uri *uri; // borrowed; of state holds_uri
};

// The URI that a record's property holds: of a record, or of a collection.
uri_property read_uri(zu_do_properties *record, const char *name) noexcept {
  zu_do_property *property = zu_do_properties_get_prop(record, name);
  if (property == nullptr) return {no_property, nullptr};
  zu_do_value *value = zu_do_property_get_value(property);
  int code = ZU_OK;
  zu_do_uri *uri = zu_do_value_get_mr_uri(value, &code);
  if (uri == nullptr || code != ZU_OK) {
    code = ZU_OK;
    uri = zu_do_value_get_coll_uri(value, &code);
  }
  if (uri == nullptr || code != ZU_OK) return {holds_no_uri, nullptr};
  return {holds_uri, uri};
}

std::string_view text_of(zu_do_uri *uri) noexcept {
  const char *text = zu_do_uri_get_uri_str(uri);
  return text != nullptr ? std::string_view(text, zu_do_uri_get_len(uri)) : std::string_view();
}

// The record's text is the one looked up, or a query on it.
bool answers(std::string_view record_text, std::string_view looked_up) noexcept {
  const size_t length = looked_up.size();
  if (record_text.size() < length) return false;
  if (record_text.size() > length && record_text[length] != '?') return false;
  return std::memcmp(record_text.data(), looked_up.data(), length) == 0;
}

bool record_matches(zu_do_uri *uri, zu_do_properties *record, const char *name) noexcept {
  const uri_property property = read_uri(record, name);
  if (property.state == no_property) return false;
  if (property.state == holds_no_uri) {
    TVR_ERROR("Failed to read uri from value");
    return false;
  }
  const std::string_view record_text = text_of(property.uri);
  if (record_text.data() == nullptr) {
    TVR_ERROR("Failed to read string value from URI");
    return false;
  }
  if (answers(record_text, text_of(uri))) {
    TVR_DEBUG("stack match: %s", record_text.data());
    return true;
  }
  TVR_DEBUG("stack nomatch: %s", record_text.data());
  return false;
}

} // namespace

namespace tvr {

void note_keys(zu_tvr_stack_entry *entry) noexcept {
  static constexpr const char *names[2] = {ZU_DO_NAME_URI, ZU_DO_NAME_COLL_URI};
  for (int i = 0; i < 2; ++i) {
    const uri_property property = read_uri(static_cast<zu_do_properties *>(entry->item), names[i]);
    const std::string_view text = text_of(property.uri);
    entry->keys[i] = {text.data(), static_cast<uint32_t>(text.size()), property.state};
  }
}

zu_do_properties *find_record(zu_tvr_stack *stack, const char *text, size_t length,
                              bool by_collection) noexcept {
  const std::string_view looked_up(text, length);
  for (zu_tvr_stack_entry *entry = stack->top; entry != nullptr; entry = entry->next) {
    const auto &key = entry->keys[by_collection ? 1 : 0];
    if (key.state == holds_uri && answers({key.text, key.length}, looked_up)) {
      return static_cast<zu_do_properties *>(entry->item);
    }
    if (key.state == holds_no_uri) TVR_ERROR("Failed to read uri from value");
  }
  return nullptr;
}

} // namespace tvr

extern "C" {

bool tvr_props_match(void *key, void *item, void *extra) noexcept {
  return record_matches(static_cast<zu_do_uri *>(key), static_cast<zu_do_properties *>(item),
                        static_cast<const char *>(extra));
}

bool tvr_props_group_match(void *key, void *item, void *) noexcept {
  auto *uri = static_cast<zu_do_uri *>(key);
  zu_do_properties *first = zu_do_properties_list_get(static_cast<zu_do_properties_list *>(item), 0);
  if (first == nullptr) return false;
  TVR_DEBUG("stack lookup (group): %s", zu_do_uri_get_uri_str(uri));
  return record_matches(uri, first, ZU_DO_NAME_COLL_URI);
}
}
