// Finds the cached record that a URI item of a print node names.
//
// Lines of one node, and nodes with equal templates, ask for the same records while the caches stand as they
// are. So a record that was found is remembered with the stamps of both caches' tops; what is not found is
// looked for, and traced, again.
#include "find_record.hpp"

#include <cstring>

#include "uri_text.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

// Information traces name URIs, which the quick steps do not make.
bool quick_steps_will_do(const zu_tvr_walk_ctx *ctx) noexcept {
  return !qtrace_module_test(g_zu_tovra_trace_module_id, 6) && ctx->props_cache != nullptr &&
         ctx->props_cache->top != nullptr && ctx->props_cache->find_text != nullptr;
}

uint64_t top_stamp(const zu_tvr_stack *stack) noexcept {
  return stack != nullptr && stack->top != nullptr ? stack->top->stamp : 0;
}

bool is_same_template(const zu_tvr_uri *a, const zu_tvr_uri *b) noexcept {
  return a == b || (a != nullptr && a->hash == b->hash && a->length == b->length &&
                    std::memcmp(a->text, b->text, b->length) == 0);
}

bool holds_uri(zu_do_value *value) noexcept {
  const int32_t type = zu_do_value_get_type(value);
  return value == nullptr || type == ZU_DO_TYPE_MR_URI || type == ZU_DO_TYPE_COLL_URI;
}

// True when no look-up meets a record whose URI property holds no URI, which would be traced every time.
bool look_ups_are_silent(const zu_tvr_uri *uri, const zu_tvr_walk_ctx *ctx) noexcept {
  for (const auto *entry = ctx->props_cache->top; entry != nullptr; entry = entry->next) {
    if (entry->keys[0].state == 2 || entry->keys[1].state == 2) return false;
  }
  if (uri->uses_groups == 0 || ctx->props_groups_cache == nullptr) return true;
  for (const auto *entry = ctx->props_groups_cache->top; entry != nullptr; entry = entry->next) {
    auto *first = zu_do_properties_list_get(static_cast<zu_do_properties_list *>(entry->item), 0);
    if (!holds_uri(zu_do_properties_get_value(first, ZU_DO_NAME_COLL_URI))) return false;
  }
  return true;
}

} // namespace

zu_do_properties *record_finder::find() noexcept {
  if (!quick_steps_will_do(ctx_)) return find_plainly();
  const uint64_t props_stamp = ctx_->props_cache->top->stamp;
  const uint64_t groups_stamp = top_stamp(ctx_->props_groups_cache);
  auto &memory = ctx_->found[template_->hash % ZU_TVR_FOUND_RECORDS];
  if (memory.props_stamp == props_stamp && memory.groups_stamp == groups_stamp && memory.uri != nullptr &&
      is_same_template(memory.uri, template_)) {
    return memory.record;
  }
  zu_do_properties *record = find_quickly();
  if (record != nullptr && look_ups_are_silent(template_, ctx_)) {
    memory = {template_, props_stamp, groups_stamp, record};
  }
  return record;
}

zu_do_properties *record_finder::look_up(zu_do_uri *uri) noexcept {
  auto *by = const_cast<char *>(by_collection() ? ZU_DO_NAME_COLL_URI : ZU_DO_NAME_URI);
  return static_cast<zu_do_properties *>(zu_tvr_stack_lookup(ctx_->props_cache, uri, by));
}

zu_do_properties *record_finder::find_plainly() noexcept {
  uri_ = ref<zu_do_uri>::adopt(template_->resolve(template_, ctx_));
  if (!uri_) {
    TVR_INFO("print node: could not solve dynamic URI");
    return nullptr;
  }
  zu_do_properties *record = look_up(uri_.get());
  if (record == nullptr) {
    TVR_INFO("print node: properties for %s not found in cache", zu_do_uri_get_uri_str(uri_.get()));
  }
  return record;
}

zu_do_properties *record_finder::find_quickly() noexcept {
  const resolved_text resolved = resolve_to_text(template_, ctx_);
  if (resolved.text == nullptr) return nullptr;
  text_ = resolved.text;
  if (resolved.direct) {
    zu_tvr_stack *stack = ctx_->props_cache;
    return stack->find_text(stack, resolved.text, resolved.length, by_collection());
  }
  uri_ = ref<zu_do_uri>::adopt(zu_do_uri_new(resolved.text));
  if (!uri_) {
    TVR_ERROR("Failed to allocate URI");
    return nullptr;
  }
  return look_up(uri_.get());
}

const char *record_finder::uri_text() noexcept {
  if (!uri_ && text_ == nullptr) uri_ = ref<zu_do_uri>::adopt(template_->resolve(template_, ctx_));
  return uri_ ? zu_do_uri_get_uri_str(uri_.get()) : text_;
}

} // namespace tvr
