// Resolves URI templates: fills the keys of dynamic segments from the records and groups in scope.
#include <cstring>

#include "uri_text.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

// URI texts of more bytes are left to the URI's own constructor, which has a limit.
constexpr size_t longest_direct = 60000;

// One resolution, from the outermost template on.
struct resolution {
  zu_tvr_walk_ctx *ctx;
  zu_do_strbuf *buffer;
  bool relative;      // of the outermost template
  bool direct = true; // every value written stands in a URI as it is
};

std::string_view text_of(zu_do_strbuf *buffer) noexcept {
  const char *written = zu_do_strbuf_to_string(buffer);
  return written != nullptr ? std::string_view(written, zu_do_strbuf_get_len(buffer)) : std::string_view();
}

// Says that memory, and not the template, is why there is no URI: who asked would take it for a record that
// is not in scope.
void report_exhausted(zu_tvr_walk_ctx *ctx) noexcept {
  report(ctx, ZU_EXHAUSTED, "Failed to allocate URI");
}

// ---- Look-ups ----

void trace_look_up(const zu_tvr_dyn_uri *segment, zu_do_uri *uri) noexcept {
  if (segment->sep_type == DYN_KEY_QUERY) {
    TVR_DEBUG("stack lookup: %s", zu_do_uri_get_uri_str(uri));
  } else {
    TVR_DEBUG("stack lookup (group=%d): %s", segment->sep_type == DYN_KEY_GROUP ? 1 : 0,
              zu_do_uri_get_uri_str(uri));
  }
}

// The record, or the group's first record, whose collection URI answers to the URI.
zu_do_properties *search(const zu_tvr_dyn_uri *segment, zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept {
  auto *by = const_cast<char *>(ZU_DO_NAME_COLL_URI);
  if (segment->sep_type != DYN_KEY_GROUP) {
    return static_cast<zu_do_properties *>(zu_tvr_stack_lookup(ctx->props_cache, uri, by));
  }
  auto *group = static_cast<zu_do_properties_list *>(zu_tvr_stack_lookup(ctx->props_groups_cache, uri, by));
  return zu_do_properties_list_get_len(group) > 0 ? zu_do_properties_list_get(group, 0) : nullptr;
}

bool may_search_text(const resolution &now, const zu_tvr_dyn_uri *segment, size_t length) noexcept {
  const zu_tvr_stack *stack = now.ctx->props_cache;
  return segment->sep_type != DYN_KEY_GROUP && segment->direct != 0 && now.direct &&
         length < longest_direct && stack != nullptr && stack->find_text != nullptr && !debugging();
}

zu_do_properties *find_key_record(const resolution &now, const zu_tvr_dyn_uri *segment) noexcept {
  const look_up wanted = write_look_up(segment, now.relative, now.buffer);
  const std::string_view written = text_of(now.buffer);
  if (written.data() == nullptr) {
    TVR_ERROR("Failed to allocate string");
    report_exhausted(now.ctx);
    return nullptr;
  }
  const char *shown = written.data() + wanted.shown;
  zu_do_properties *record = nullptr;
  if (wanted.possible && may_search_text(now, segment, written.size())) {
    zu_tvr_stack *stack = now.ctx->props_cache;
    record = stack->find_text(stack, written.data() + wanted.start, written.size() - wanted.start, true);
  } else if (wanted.possible) {
    const auto uri = ref<zu_do_uri>::adopt(zu_do_uri_new(shown));
    if (!uri) {
      TVR_ERROR("Failed to allocate string");
      if (segment->direct != 0 && now.direct && written.size() < longest_direct) report_exhausted(now.ctx);
      return nullptr;
    }
    trace_look_up(segment, uri.get());
    record = search(segment, now.ctx, uri.get());
  }
  if (record == nullptr) TVR_ERROR("no match for %s", shown);
  zu_do_strbuf_truncate(now.buffer, wanted.kept);
  return record;
}

// ---- Segments ----

int32_t resolve_segment(resolution &now, zu_tvr_dyn_uri *segment) noexcept;

int32_t append_parent(resolution &now, zu_tvr_uri *parent, bool &root) noexcept {
  if (parent->is_dynamic != 0) {
    const int32_t status = resolve_segment(now, parent->data.dyn);
    if (status != 0) TVR_ERROR("Failed to resolve parent URI segment");
    return status;
  }
  const char *written = zu_do_uri_get_uri_str(parent->data.uri);
  if (written == nullptr) {
    TVR_ERROR("Failed to get URI string");
    return ZU_FAILED;
  }
  zu_do_strbuf_add_bytes(now.buffer, written, zu_do_uri_get_len(parent->data.uri));
  root = is_root(written);
  if (root) TVR_DEBUG("%s", written[1] == '\0' ? "relative root detected" : "absolute root detected");
  return 0;
}

void trace_keys(const zu_tvr_dyn_uri *segment) noexcept {
  if (!debugging()) return;
  const string_buffer keys(zu_do_strbuf_new());
  if (!keys || zu_do_nlist_to_strbuf(segment->keys, 0, keys.get()) != 0) return;
  TVR_DEBUG("uri: resolving keys after %s %s", zu_do_name_get_strname(segment->ref_name),
            zu_do_strbuf_to_string(keys.get()));
}

// An empty value, or one with a NUL in it, may not stand in a URI as it is.
bool stands_as_it_is(std::string_view value) noexcept {
  return !value.empty() && value.find("%00") == std::string_view::npos;
}

// The value of the key in the record; none (traced) when the record has no such property.
zu_do_value *take_value(zu_do_properties *record, zu_do_name *key) noexcept {
  zu_do_value *value = zu_do_properties_get_value_n(record, key);
  if (value == nullptr) TVR_ERROR("Unable to find %s in cache", zu_do_name_get_strname(key));
  return value;
}

int32_t append_key_value(resolution &now, zu_do_value *value) noexcept {
  const size_t start = zu_do_strbuf_get_len(now.buffer);
  if (zu_do_uri_value_to_keystr(value, now.buffer) != 0) {
    TVR_ERROR("Failed to add key value to buffer");
    if (text_of(now.buffer).data() == nullptr) report_exhausted(now.ctx);
    return ZU_FAILED;
  }
  const std::string_view written = text_of(now.buffer);
  if (written.size() < start || !stands_as_it_is(written.substr(start))) now.direct = false;
  return 0;
}

int32_t append_key(resolution &now, zu_do_properties *record, zu_do_name *key) noexcept {
  zu_do_strbuf_add_char(now.buffer, ';');
  const char *name = zu_do_name_get_strname(key);
  if (name == nullptr) {
    TVR_ERROR("Unexpected NULL in key name");
    return ZU_FAILED;
  }
  zu_do_value *value = take_value(record, key);
  if (value == nullptr) return ZU_NOT_FOUND;
  zu_do_strbuf_add_string(now.buffer, name);
  zu_do_strbuf_add_char(now.buffer, '=');
  return append_key_value(now, value);
}

// ---- Segments of one key whose fixed texts were put together beforehand ----

bool is_prepared(const resolution &now, const zu_tvr_dyn_uri *segment) noexcept {
  if (segment->head == nullptr || debugging()) return false;
  if (segment->parent != nullptr && segment->parent->is_dynamic != 0) return true;
  return segment->look_up != nullptr && zu_do_strbuf_get_len(now.buffer) == 0 &&
         may_search_text(now, segment, segment->look_up_length);
}

zu_do_properties *find_prepared(const resolution &now, const zu_tvr_dyn_uri *segment) noexcept {
  if (segment->look_up == nullptr) return find_key_record(now, segment);
  zu_tvr_stack *stack = now.ctx->props_cache;
  zu_do_properties *record = stack->find_text(stack, segment->look_up, segment->look_up_length, true);
  if (record == nullptr) TVR_ERROR("no match for %s", segment->look_up + segment->look_up_shown);
  return record;
}

int32_t resolve_prepared(resolution &now, zu_tvr_dyn_uri *segment) noexcept {
  if (segment->look_up == nullptr) {
    bool root = false; // below a dynamic parent there is none
    const int32_t status = append_parent(now, segment->parent, root);
    if (status != 0) return status;
  }
  zu_do_properties *record = find_prepared(now, segment);
  if (record == nullptr) {
    TVR_ERROR("Could not find props for URI resolution");
    return ZU_FAILED;
  }
  zu_do_value *value = take_value(record, zu_do_nlist_get(segment->keys, 0));
  if (value == nullptr) return ZU_NOT_FOUND;
  zu_do_strbuf_add_bytes(now.buffer, segment->head, segment->head_length);
  const int32_t status = append_key_value(now, value);
  if (status == 0) zu_do_strbuf_add_string(now.buffer, segment->tail);
  return status;
}

// ---- Any segment ----

int32_t resolve_segment(resolution &now, zu_tvr_dyn_uri *segment) noexcept {
  if (is_prepared(now, segment)) return resolve_prepared(now, segment);
  bool root = false;
  if (segment->parent != nullptr) {
    const int32_t status = append_parent(now, segment->parent, root);
    if (status != 0) return status;
  }
  trace_keys(segment);
  zu_do_properties *record = find_key_record(now, segment);
  if (record == nullptr) {
    TVR_ERROR("Could not find props for URI resolution");
    return ZU_FAILED;
  }
  if (!root) zu_do_strbuf_add_char(now.buffer, '/');
  zu_do_strbuf_add_string(now.buffer, zu_do_name_get_strname(segment->ref_name));
  zu_do_iter it = {};
  zu_do_nlist_iter(segment->keys, &it);
  while (zu_do_nlist_has_next(segment->keys, &it)) {
    const int32_t status = append_key(now, record, zu_do_nlist_get_next(segment->keys, &it));
    if (status != 0) return status;
  }
  zu_do_strbuf_add_string(now.buffer, segment->tail);
  return 0;
}

} // namespace

look_up write_look_up(const zu_tvr_dyn_uri *segment, bool relative, zu_do_strbuf *buffer) noexcept {
  const char *name = zu_do_name_get_strname(segment->ref_name);
  const std::string_view before = text_of(buffer);
  const size_t kept = before.size();
  if (segment->sep_type == DYN_KEY_QUERY) {
    const bool add_slash = kept == 0;
    if (add_slash) zu_do_strbuf_add_char(buffer, '/');
    zu_do_strbuf_add_char(buffer, '?');
    zu_do_strbuf_add_string(buffer, name);
    return {kept, 0, add_slash ? 1u : 0u, true};
  }
  const size_t slash = before.starts_with("//") ? before.find('/', 2) : std::string_view::npos;
  zu_do_strbuf_add_char(buffer, '/');
  zu_do_strbuf_add_string(buffer, name);
  if (relative) return {kept, 0, 0, true};
  // Without a location there is no path behind it, and nothing answers.
  if (slash == std::string_view::npos) return {kept, kept, kept, false};
  return {kept, slash, slash + 1, true};
}

zu_do_uri *resolve_uri(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  if (uri->is_dynamic == 0) return share_into_field(uri->data.uri);
  TVR_DEBUG("uri: attempting dynamic key resolution");
  const string_buffer buffer(zu_do_strbuf_new());
  if (!buffer) {
    TVR_ERROR("Failed to allocate URI buffer");
    report_exhausted(ctx);
    return nullptr;
  }
  zu_tvr_dyn_uri *segment = uri->data.dyn;
  if (segment->resolve_keys(segment, uri->relative, ctx, buffer.get()) != 0) {
    TVR_ERROR("Failed to resolve one or more keys in URI");
    return nullptr;
  }
  const std::string_view written = text_of(buffer.get());
  zu_do_uri *made = zu_do_uri_new(written.data());
  if (made != nullptr) {
    TVR_DEBUG("uri resolved to %s", zu_do_uri_get_uri_str(made));
    return made;
  }
  TVR_ERROR("Failed to allocate URI");
  const bool is_uri = uri->direct != 0 && written.size() < longest_direct && stands_as_it_is(written);
  if (is_uri || written.data() == nullptr) report_exhausted(ctx);
  return nullptr;
}

int32_t resolve_uri_keys(zu_tvr_dyn_uri *segment, uint8_t relative, zu_tvr_walk_ctx *ctx,
                         zu_do_strbuf *buffer) noexcept {
  resolution now = {.ctx = ctx, .buffer = buffer, .relative = relative != 0};
  return resolve_segment(now, segment);
}

resolved_text resolve_to_text(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  if (uri->is_dynamic == 0) {
    return {zu_do_uri_get_uri_str(uri->data.uri), zu_do_uri_get_len(uri->data.uri), true};
  }
  if (ctx->text == nullptr) ctx->text = zu_do_strbuf_new();
  if (ctx->text == nullptr) {
    TVR_ERROR("Failed to allocate URI buffer");
    report_exhausted(ctx);
    return {};
  }
  zu_do_strbuf_clear(ctx->text);
  resolution now = {.ctx = ctx, .buffer = ctx->text, .relative = uri->relative != 0};
  if (resolve_segment(now, uri->data.dyn) != 0) {
    TVR_ERROR("Failed to resolve one or more keys in URI");
    return {};
  }
  const std::string_view written = text_of(ctx->text);
  if (written.data() == nullptr) {
    TVR_ERROR("Failed to allocate URI");
    report_exhausted(ctx);
  }
  return {written.data(), written.size(), uri->direct != 0 && now.direct && written.size() < longest_direct};
}

} // namespace tvr
