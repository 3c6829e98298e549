// Reading records: look-ups, walks and debug texts.
#include "zuapi/record.hpp"

using namespace zuapi;

namespace {

// True for an entry that is set and does not replace a slot.
bool is_beside(zu_do_properties *record, const zu_do_entry &entry) {
  return entry.value != nullptr && (record->form == nullptr || find_slot(record->form, entry.name) < 0);
}

// The first entry from `index` on that is a property of its own; the number of entries when there is none.
uint32_t next_beside(zu_do_properties *record, uint32_t index) {
  while (index < record->length && !is_beside(record, record->entries[index])) ++index;
  return index;
}

} // namespace

size_t zu_do_properties_get_len(zu_do_properties *record) {
  if (record == nullptr) return 0;
  if (record->form == nullptr && record->positions == 0) return record->length;
  size_t count = record->width;
  for (uint32_t i = 0; i < record->length; ++i) count += is_beside(record, record->entries[i]) ? 1 : 0;
  return count;
}

zu_do_value *zu_do_properties_get_value(zu_do_properties *record, const char *name) {
  if (record == nullptr || name == nullptr) return nullptr;
  const std::string_view text = name;
  if (const zu_do_name *known = known_name_of(text)) return value_of(record, known);
  if (record->form != nullptr) {
    const int32_t slot = shape_find_text(record->form, text);
    if (slot >= 0) return value_at(record, static_cast<uint32_t>(slot));
  }
  if (record->index.has_room()) {
    const uint32_t found = record->index.find(hash_text(text.data(), text.size()), [&](uint32_t entry) {
      return record->entries[entry].name->view() == text;
    });
    return found == UINT32_MAX ? nullptr : record->entries[found].value;
  }
  for (uint32_t i = 0; i < record->length; ++i) {
    if (record->entries[i].name->view() == text) return record->entries[i].value;
  }
  return nullptr;
}

zu_do_value *zu_do_properties_get_value_n(zu_do_properties *record, zu_do_name *name) {
  return record == nullptr || name == nullptr ? nullptr : value_of(record, name);
}

// A property is represented by its value: callers only ask a property for that.
zu_do_property *zu_do_properties_get_prop(zu_do_properties *record, const char *name) {
  return reinterpret_cast<zu_do_property *>(zu_do_properties_get_value(record, name));
}

zu_do_value *zu_do_property_get_value(zu_do_property *property) {
  return reinterpret_cast<zu_do_value *>(property);
}

const char *zu_do_properties_get_string(zu_do_properties *record, const char *name, int *code) {
  return zu_do_value_get_string(zu_do_properties_get_value(record, name), code);
}

int64_t zu_do_properties_get_int(zu_do_properties *record, const char *name, int *code) {
  return zu_do_value_get_int(zu_do_properties_get_value(record, name), code);
}

zu_do_uri *zu_do_properties_get_mr_uri(zu_do_properties *record, const char *name, int *code) {
  return zu_do_value_get_mr_uri(zu_do_properties_get_value(record, name), code);
}

zu_do_uri *zu_do_properties_get_coll_uri(zu_do_properties *record, const char *name, int *code) {
  return zu_do_value_get_coll_uri(zu_do_properties_get_value(record, name), code);
}

// The order in a view: the first entry (`_coll_uri`) if it leads, the slots, then the other entries.
void zu_do_properties_iter(zu_do_properties *record, zu_do_iter *it) {
  *it = {record, 0};
}

bool zu_do_properties_has_next(zu_do_properties *record, zu_do_iter *it) {
  if (record == nullptr) return false;
  if (it->position < size_t{record->lead} + record->width) return true;
  return next_beside(record, static_cast<uint32_t>(it->position - record->width)) < record->length;
}

zu_do_value *zu_do_properties_get_next(zu_do_properties *record, zu_do_iter *it, zu_do_name **name) {
  if (record == nullptr) return nullptr;
  const bool leads = it->position < record->lead;
  if (!leads && it->position - record->lead < record->width) {
    const auto slot = static_cast<uint32_t>(it->position++ - record->lead);
    if (name != nullptr) *name = record->form->columns.items[slot].name;
    return value_at(record, slot);
  }
  const uint32_t width = leads ? 0 : record->width;
  const uint32_t index = next_beside(record, static_cast<uint32_t>(it->position - width));
  if (index >= record->length) return nullptr;
  it->position = size_t{width} + index + 1;
  if (name != nullptr) *name = record->entries[index].name;
  return record->entries[index].value;
}

int zu_do_properties_to_strbuf(zu_do_properties *record, int mode, zu_do_strbuf *buffer) {
  (void)mode;
  if (buffer == nullptr) return ZU_FAILED;
  zu_do_iter it;
  zu_do_name *name = nullptr;
  int code = ZU_OK;
  zu_do_properties_iter(record, &it);
  for (const char *before = ""; code == ZU_OK; before = ", ") {
    zu_do_value *value = zu_do_properties_get_next(record, &it, &name);
    if (value == nullptr) break;
    zu_do_strbuf_add_string(buffer, before);
    zu_do_strbuf_add_bytes(buffer, name->text(), name->length);
    zu_do_strbuf_add_char(buffer, '=');
    code = value_to_debug_text(value, buffer);
  }
  return code;
}

void zuapi::print_pair(FILE *stream, uint32_t indentation, const char *name, const char *between,
                       zu_do_value *value) {
  zu_do_strbuf *buffer = zu_do_strbuf_new();
  zu_do_strbuf_add_tab(buffer, indentation);
  zu_do_strbuf_add_string(buffer, name);
  zu_do_strbuf_add_string(buffer, between);
  value_to_debug_text(value, buffer);
  zu_do_strbuf_add_char(buffer, '\n');
  zu_do_strbuf_print_fp(buffer, stream);
  zu_do_strbuf_deref(buffer);
}

void zu_do_print_properties(FILE *stream, uint32_t indentation, zu_do_properties *record) {
  zu_do_iter it;
  zu_do_name *name = nullptr;
  zu_do_properties_iter(record, &it);
  while (zu_do_value *value = zu_do_properties_get_next(record, &it, &name)) {
    print_pair(stream, indentation, name->text(), ": ", value);
  }
}
