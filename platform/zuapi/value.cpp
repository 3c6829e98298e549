// Values: making, counting and reading them.
#include "zuapi/objects.hpp"

using namespace zuapi;

namespace {

// The values that need no memory.
constinit zu_do_value the_none{ZU_DO_TYPE_NONE, 0, 0, 0, {.whole = 0}};
constinit zu_do_value the_null{ZU_DO_TYPE_NULL, 0, 0, 0, {.whole = 0}};
constinit zu_do_value the_booleans[2] = {{ZU_DO_TYPE_BOOL, 0, 0, 0, {.boolean = false}},
                                         {ZU_DO_TYPE_BOOL, 0, 0, 0, {.boolean = true}}};

// Takes a reference on the URI or list in a value.
void share_content(const zu_do_value &cell) {
  if (cell.type == ZU_DO_TYPE_ARRAY) zu_do_vlist_ref(cell.content().list);
  if (cell.type == ZU_DO_TYPE_MR_URI || cell.type == ZU_DO_TYPE_COLL_URI) zu_do_uri_ref(cell.content().uri);
}

void release_content(const zu_do_value &cell) {
  if (cell.type == ZU_DO_TYPE_ARRAY) zu_do_vlist_deref(cell.content().list);
  if (cell.type == ZU_DO_TYPE_MR_URI || cell.type == ZU_DO_TYPE_COLL_URI) zu_do_uri_deref(cell.content().uri);
}

zu_do_properties *record_of(zu_do_value *value) {
  return reinterpret_cast<zu_do_properties *>(reinterpret_cast<char *>(value) - value->spare);
}

zu_do_value *make(const zu_do_value &cell) {
  return value_make(cell, no_typedef, false);
}

// A part of the payload if the value has the wanted type, else null or 0; sets the code.
template <class Part>
Part part_of(zu_do_value *value, int8_t type, Part value_payload::*part, int *code) {
  const bool right = value != nullptr && value->type == type;
  if (code != nullptr) *code = right ? ZU_OK : ZU_FAILED;
  return right ? value->content().*part : Part{};
}

} // namespace

namespace zuapi {

zu_do_value *value_make(const zu_do_value &content, std::string_view typedef_name, bool is_default) {
  const bool is_string = content.type == ZU_DO_TYPE_STRING;
  const bool typed = typedef_name.data() != nullptr;
  if (typed && typedef_name.size() > longest_text) return nullptr;
  const size_t extra = (is_string ? size_t{content.length} + 1 : 0) +
                       (typed ? sizeof(typed_payload) + typedef_name.size() + 1 : 0);
  auto *made = allocate<counted_value>(extra);
  if (made == nullptr) return nullptr;
  made->count = 1;
  zu_do_value &cell = made->cell;
  cell = content;
  char *at = reinterpret_cast<char *>(made + 1) + (typed ? sizeof(typed_payload) : 0);
  if (is_string) {
    char *end = put_text(at, {content.as.text, content.length});
    cell = cell_string(at, content.length, typedef_name == "Text");
    at = end;
  }
  if (typed) {
    auto *block = new (made + 1) typed_payload;
    cell_set_typedef(cell, block, at);
    put_text(at, typedef_name);
  }
  cell.flags |= value_counted | (is_default ? value_default : 0);
  share_content(cell);
  return &cell;
}

zu_do_value *value_copy(zu_do_value *value) {
  return zu_do_value_new_as(value, typedef_name_of(value), (value->flags & value_default) != 0);
}

} // namespace zuapi

zu_do_value *zu_do_value_new_none(void) {
  return &the_none;
}
zu_do_value *zu_do_value_new_null(void) {
  return &the_null;
}
zu_do_value *zu_do_value_new_bool(bool value) {
  return &the_booleans[value ? 1 : 0];
}
zu_do_value *zu_do_value_new_int(int64_t value) {
  return make(cell_int(value));
}
zu_do_value *zu_do_value_new_uint(uint64_t value) {
  return make(cell_uint(value));
}
zu_do_value *zu_do_value_new_double(double value) {
  return make(cell_double(value));
}

zu_do_value *zu_do_value_new_string(const char *text) {
  return text == nullptr ? nullptr : zu_do_value_new_string_l(text, strlen(text));
}

zu_do_value *zu_do_value_new_string_l(const char *text, size_t length) {
  if (text == nullptr || length > longest_text || memchr(text, 0, length) != nullptr) return nullptr;
  return make({ZU_DO_TYPE_STRING, 0, 0, static_cast<uint32_t>(length), {.text = text}});
}

zu_do_value *zu_do_value_new_array(zu_do_vlist *elements) {
  return elements == nullptr ? nullptr : make(cell_list(elements));
}

zu_do_value *zu_do_value_new_mr_uri(zu_do_uri *uri) {
  return uri == nullptr ? nullptr : make(cell_mr_uri(uri));
}

zu_do_value *zu_do_value_new_coll_uri(zu_do_uri *uri) {
  return uri == nullptr ? nullptr : make(cell_coll_uri(uri));
}

zu_do_value *zu_do_value_new_as(zu_do_value *value, const char *typedef_name, bool is_default) {
  if (value == nullptr) return nullptr;
  const zu_do_value content{value->type, 0, 0, value->length, value->content()};
  return value_make(content, typedef_name == nullptr ? no_typedef : std::string_view(typedef_name),
                    is_default);
}

zu_do_value *zu_do_value_ref(zu_do_value *value) {
  if (value == nullptr) return nullptr;
  if ((value->flags & value_in_record) == 0) return value_share(value);
  zu_do_properties_ref(record_of(value));
  return value;
}

void zu_do_value_deref(zu_do_value *value) {
  if (value == nullptr || (value->flags & (value_counted | value_in_record)) == 0) return;
  if ((value->flags & value_counted) == 0) {
    zu_do_properties_deref(record_of(value));
  } else if (count_down(counted_value::of(value)->count)) {
    release_content(*value);
    release(counted_value::of(value));
  }
}

int32_t zu_do_value_get_type(zu_do_value *value) {
  return value == nullptr ? int32_t{ZU_DO_TYPE_NONE} : value->type;
}

const char *zu_do_value_get_typedef_name(zu_do_value *value) {
  return value == nullptr ? nullptr : typedef_name_of(value);
}

bool zu_do_value_is_default(zu_do_value *value) {
  return value != nullptr && (value->flags & value_default) != 0;
}

bool zu_do_value_is_null(zu_do_value *value) {
  return value == nullptr || value->type == ZU_DO_TYPE_NULL || value->type == ZU_DO_TYPE_NONE;
}

const char *zu_do_value_get_string(zu_do_value *value, int *code) {
  return part_of(value, ZU_DO_TYPE_STRING, &value_payload::text, code);
}

bool zu_do_value_get_bool(zu_do_value *value, int *code) {
  return part_of(value, ZU_DO_TYPE_BOOL, &value_payload::boolean, code);
}

int64_t zu_do_value_get_int(zu_do_value *value, int *code) {
  return part_of(value, ZU_DO_TYPE_INT, &value_payload::integer, code);
}

uint64_t zu_do_value_get_uint(zu_do_value *value, int *code) {
  if (value != nullptr && value->type == ZU_DO_TYPE_INT && value->content().integer >= 0) {
    return part_of(value, ZU_DO_TYPE_INT, &value_payload::whole, code);
  }
  return part_of(value, ZU_DO_TYPE_UINT, &value_payload::whole, code);
}

double zu_do_value_get_double(zu_do_value *value, int *code) {
  return part_of(value, ZU_DO_TYPE_DOUBLE, &value_payload::number, code);
}

zu_do_uri *zu_do_value_get_mr_uri(zu_do_value *value, int *code) {
  return part_of(value, ZU_DO_TYPE_MR_URI, &value_payload::uri, code);
}

zu_do_uri *zu_do_value_get_coll_uri(zu_do_value *value, int *code) {
  return part_of(value, ZU_DO_TYPE_COLL_URI, &value_payload::uri, code);
}

zu_do_vlist *zu_do_value_get_array(zu_do_value *value, int *code) {
  return part_of(value, ZU_DO_TYPE_ARRAY, &value_payload::list, code);
}
