// The records cache: pushes a record, if wanted with its
// location and the members of the groups around it; pops it.
//
// Records of one location belong together although they are in different collections (a card and its ports).
// So a node that walks by location brings more than its own record into scope: a record of the location's
// keys, for templates that name "//?locations", and of each group the first member in that location.
#include <cstring>
#include <string_view>

#include "stack.hpp"
#include "zu_tovra/internal/observed.hpp"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/records_cache.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/shortcuts.hpp"

namespace {

using tvr::fail;
using tvr::ref;
using tvr::report;

// Puts a record on the cache with a reference of the cache's own; false (traced) when memory is exhausted.
bool push_record(zu_tvr_stack *cache, zu_do_properties *record) noexcept {
  zu_tvr_stack_entry *entry = tvr::push_entry(cache, record);
  if (entry == nullptr) return false;
  entry->item = tvr::share_into_field(record);
  if (tvr::shortcuts.revision_of != nullptr) entry->revision = tvr::shortcuts.revision_of(record);
  return true;
}

// Traces at debug level which record is pushed. The text is only built then, since it is the whole record.
void trace_record(const char *what, zu_do_properties *record) noexcept {
  if (!tvr::tracing(7)) return;
  const tvr::string_buffer buffer(zu_do_strbuf_new());
  zu_do_properties_to_strbuf(record, 0, buffer.get());
  TVR_DEBUG("stack%s: %s", what, zu_do_strbuf_to_string(buffer.get()));
}

// The record's own URI, borrowed; null (reported) when the record has no URI.
zu_do_uri *own_uri(zu_tvr_walk_ctx *ctx, zu_do_properties *record) noexcept {
  zu_do_value *value = zu_do_properties_get_value(record, ZU_DO_NAME_URI);
  if (value == nullptr) {
    fail(ctx, ZU_FAILED, "Failed to find URI in props");
    return nullptr;
  }
  int code = ZU_OK;
  zu_do_uri *uri = zu_do_value_get_mr_uri(value, &code);
  if (uri != nullptr && code == ZU_OK) return uri;
  if (code == ZU_OK) code = ZU_FAILED;
  TVR_ERROR("Failed to get URI from value of type %d (rc=%d)", zu_do_value_get_type(value), code);
  report(ctx, code, "Failed to get URI from value");
  return nullptr;
}

// Whether the location segment of a root URI has keys; that of a relative URI's root always has.
bool has_location_keys(zu_do_uri *root) noexcept {
  return !zu_do_uri_is_absolute(root) || std::strchr(zu_do_uri_get_uri_str(root), ';') != nullptr;
}

// Fills a record with the keys of a root URI's location; false (reported) on failure.
bool fill_location_instance(zu_tvr_walk_ctx *ctx, zu_do_properties *instance, zu_do_uri *locations,
                            zu_do_uri *root) noexcept {
  const int code = zu_do_properties_set_coll_uri(instance, ZU_DO_NAME_COLL_URI, locations);
  if (code != ZU_OK) {
    TVR_ERROR("Failed to add URI to props (rc=%d)", code);
    return report(ctx, code, "Failed to add URI to props");
  }
  zu_do_uri_segment *segment = zu_do_uri_get_segment(root, 0);
  if (segment == nullptr) {
    TVR_ERROR("Failed to get segment 0 from %s", zu_do_uri_get_uri_str(root));
    return report(ctx, ZU_FAILED, "Failed to get segment from URI");
  }
  zu_do_nvlist *keys = zu_do_uri_segment_get_keys(segment);
  if (keys == nullptr && has_location_keys(root)) return fail(ctx, ZU_EXHAUSTED, "Failed to allocate memory");
  zu_do_iter it{};
  zu_do_nvlist_iter(keys, &it);
  while (zu_do_nvlist_has_next(keys, &it)) {
    zu_do_nvpair *key = zu_do_nvlist_get_next(keys, &it);
    const int set =
        zu_do_properties_set_value(instance, zu_do_nvpair_get_name(key), zu_do_nvpair_get_value(key));
    if (set != ZU_OK) return fail(ctx, ZU_EXHAUSTED, "Failed to allocate memory");
  }
  return true;
}

// Pushes the record of the root's location; false (reported) on failure.
bool push_location_instance(zu_tvr_walk_ctx *ctx, zu_do_uri *root) noexcept {
  const auto locations = ref<zu_do_uri>::adopt(zu_do_uri_new("//?locations"));
  const auto instance = ref<zu_do_properties>::adopt(zu_do_properties_new());
  if (root == nullptr || !locations || !instance) return fail(ctx, ZU_EXHAUSTED, "Failed to allocate memory");
  if (!fill_location_instance(ctx, instance.get(), locations.get(), root)) return false;
  trace_record(": pushing location instance to cache", instance.get());
  return push_record(ctx->props_cache, instance.get()) ||
         fail(ctx, ZU_FAILED, "Failed to push location props to cache");
}

// Pushes the first member of a group whose URI is under the root, if there is one, and counts it; false
// (reported) on failure.
bool push_group_member(zu_tvr_walk_ctx *ctx, zu_do_properties_list *group, std::string_view root,
                       uint32_t *pushed) noexcept {
  zu_do_iter it{};
  zu_do_properties_list_iter(group, &it);
  while (zu_do_properties_list_has_next(group, &it)) {
    zu_do_properties *member = zu_do_properties_list_get_next(group, &it);
    int code = ZU_OK;
    zu_do_uri *uri = zu_do_properties_get_mr_uri(member, ZU_DO_NAME_URI, &code);
    if (uri == nullptr || code != ZU_OK) {
      TVR_ERROR("Failed to extract URI from props");
      return report(ctx, code != ZU_OK ? code : ZU_FAILED, "Failed to extract URI from props");
    }
    const std::string_view text(zu_do_uri_get_uri_str(uri), zu_do_uri_get_len(uri));
    if (!text.starts_with(root)) continue;
    trace_record(" push (from group)", member);
    ++*pushed;
    return push_record(ctx->props_cache, member) ||
           report(ctx, ZU_FAILED, "Failed to add properties to cache");
  }
  return true;
}

// Pushes the record of the given record's location, and a member of every group, from the innermost to the
// outermost. False (reported) on failure; the entries that were pushed are then still on the cache.
bool push_location(zu_tvr_walk_ctx *ctx, zu_do_properties *record, bool skip_top_group,
                   uint32_t *pushed) noexcept {
  zu_do_uri *uri = own_uri(ctx, record);
  if (uri == nullptr) return false;
  const auto root = ref<zu_do_uri>::adopt(zu_do_uri_new_absolute_root_from_uri(uri));
  if (!push_location_instance(ctx, root.get())) return false;
  ++*pushed;
  const std::string_view root_text(zu_do_uri_get_uri_str(root.get()), zu_do_uri_get_len(root.get()));
  const zu_tvr_stack *groups = ctx->props_groups_cache;
  zu_tvr_stack_entry *entry = groups != nullptr ? groups->top : nullptr;
  if (entry != nullptr && skip_top_group) entry = entry->next;
  for (; entry != nullptr; entry = entry->next) {
    auto *group = static_cast<zu_do_properties_list *>(entry->item);
    if (!push_group_member(ctx, group, root_text, pushed)) return false;
  }
  return true;
}

} // namespace

uint32_t zu_tvr_push_props_to_cache(zu_tvr_walk_ctx *ctx, zu_do_properties *record, uint8_t with_location,
                                    uint8_t skip_top_group) noexcept {
  TVR_ASSERT(ctx);
  zu_tvr_stack *&cache = ctx->props_cache;
  if (cache == nullptr) cache = zu_tvr_stack_new(tvr_props_match);
  if (cache == nullptr) {
    fail(ctx, ZU_EXHAUSTED, "Failed to allocate property cache");
    return 0;
  }
  if (!push_record(cache, record)) {
    report(ctx, ZU_FAILED, "Failed to add properties to cache");
    return 0;
  }
  if (tvr::observed(ctx, ZU_TVR_EVENT_RECORD)) tvr::observe_record(ctx, record);
  uint32_t pushed = 1;
  if (with_location == 0) return pushed;
  return push_location(ctx, record, skip_top_group != 0, &pushed) ? pushed : 0;
}

void zu_tvr_pop_props_from_cache(zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(ctx);
  TVR_ASSERT_NAMED(ctx->props_cache, "stack");
  auto record =
      ref<zu_do_properties>::adopt(static_cast<zu_do_properties *>(zu_tvr_stack_pop(ctx->props_cache)));
  if (!record) fail(ctx, ZU_FAILED, "Failed to pop from properties cache");
}
