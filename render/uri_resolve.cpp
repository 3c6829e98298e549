// Resolves URI templates: fills their keys from the records and groups in scope.
#include <algorithm>

#include "uri_resolve.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

constexpr bool by_collection = true;

int width(std::string_view text) noexcept {
  return static_cast<int>(text.size());
}

void trace_keys(const uri_step &step) noexcept {
  if (!tracing(7)) return;
  const string_buffer keys(zu_do_strbuf_new());
  if (!keys || zu_do_nlist_to_strbuf(step.keys, 0, keys.get()) != 0) return;
  const std::string_view name = step.look_up.substr(1);
  TVR_DEBUG("uri: resolving keys after %.*s %s", width(name), name.data(),
            zu_do_strbuf_to_string(keys.get()));
}

void trace_look_up(const uri_step &step, const looked_up &uri) noexcept {
  if (step.where == DYN_KEY_QUERY) {
    TVR_DEBUG("stack lookup: %.*s%.*s", width(uri.first), uri.first.data(), width(uri.second),
              uri.second.data());
  } else {
    TVR_DEBUG("stack lookup (group=%d): %.*s%.*s", step.where == DYN_KEY_GROUP ? 1 : 0, width(uri.first),
              uri.first.data(), width(uri.second), uri.second.data());
  }
}

// The record, or the group's first record, whose collection URI answers to the URI.
zu_do_properties *search(const uri_step &step, zu_tvr_walk_ctx *ctx, zu_do_uri *uri) noexcept {
  auto *by = const_cast<char *>(ZU_DO_NAME_COLL_URI);
  if (step.where != DYN_KEY_GROUP) {
    return static_cast<zu_do_properties *>(zu_tvr_stack_lookup(ctx->props_cache, uri, by));
  }
  auto *group = static_cast<zu_do_properties_list *>(zu_tvr_stack_lookup(ctx->props_groups_cache, uri, by));
  return zu_do_properties_list_get_len(group) > 0 ? zu_do_properties_list_get(group, 0) : nullptr;
}

zu_tvr_dyn_uri *parent_of(const zu_tvr_dyn_uri *segment) noexcept {
  const zu_tvr_uri *parent = segment->parent;
  return parent != nullptr && parent->is_dynamic != 0 ? parent->data.dyn : nullptr;
}

// An empty value, or one with a NUL in it, may not stand in a URI as it is.
bool stands_as_it_is(std::string_view value) noexcept {
  return !value.empty() && value.find("%00") == std::string_view::npos;
}

} // namespace

void cache_source::note(const cache_answer &answer) noexcept {
  consulted_ = std::max(consulted_, answer.consulted);
  silent_ = silent_ && answer.silent;
}

// By the URI's own constructor: what it makes of the text may be another text, or nothing. True when a search
// was made.
bool cache_source::find_by_uri(const uri_step &step, const step_look_up &wanted, bool is_uri,
                               zu_do_properties **record) noexcept {
  note_foreign();
  const string_buffer shown(zu_do_strbuf_new());
  zu_do_strbuf_add_bytes(shown.get(), wanted.from.data(), wanted.from.size());
  zu_do_strbuf_add_bytes(shown.get(), step.look_up.data(), step.look_up.size());
  const char *written = zu_do_strbuf_to_string(shown.get());
  const auto uri = ref<zu_do_uri>::adopt(zu_do_uri_new(written));
  if (!uri) {
    TVR_ERROR("Failed to allocate string");
    if (written == nullptr || is_uri) fail_exhausted();
    return false;
  }
  trace_look_up(step, {zu_do_uri_get_uri_str(uri.get())});
  *record = search(step, ctx_, uri.get());
  return true;
}

zu_do_properties *cache_source::find(const uri_step &step, std::string_view so_far) noexcept {
  const step_look_up wanted = look_up_of(step, so_far, relative_);
  const bool is_uri = step.canonical && canonical_ && so_far.size() + step.look_up.size() < longest_canonical;
  zu_do_properties *record = nullptr;
  bool searched = true;
  if (wanted.possible && is_uri && step.where != DYN_KEY_GROUP && answers_texts(ctx_->props_cache)) {
    trace_look_up(step, wanted.uri);
    const cache_answer answer = look_up_text(ctx_->props_cache, wanted.uri, by_collection);
    note(answer);
    record = answer.record;
  } else if (wanted.possible) {
    searched = find_by_uri(step, wanted, is_uri, &record);
  }
  if (record == nullptr && searched) {
    TVR_ERROR("no match for %.*s%.*s", width(wanted.from), wanted.from.data(), width(step.look_up),
              step.look_up.data());
  }
  return record;
}

int32_t cache_source::append_value(zu_do_value *value, zu_do_strbuf *buffer) noexcept {
  const size_t start = zu_do_strbuf_get_len(buffer);
  if (zu_do_uri_value_to_keystr(value, buffer) != 0) {
    TVR_ERROR("Failed to add key value to buffer");
    if (text_of(buffer).data() == nullptr) fail_exhausted();
    return ZU_FAILED;
  }
  const std::string_view written = text_of(buffer);
  if (written.size() < start || !stands_as_it_is(written.substr(start))) canonical_ = false;
  return 0;
}

int32_t cache_source::take(const uri_step &step, zu_do_strbuf *buffer) noexcept {
  trace_keys(step);
  const std::string_view so_far = text_of(buffer);
  if (so_far.data() == nullptr) {
    TVR_ERROR("Failed to allocate string");
    fail_exhausted();
  }
  zu_do_properties *record = exhausted_ ? nullptr : find(step, so_far);
  if (record == nullptr) {
    TVR_ERROR("Could not find props for URI resolution");
    return ZU_FAILED;
  }
  zu_do_value *value = zu_do_properties_get_value_n(record, step.key);
  if (value == nullptr) {
    TVR_ERROR("Unable to find %s in cache", zu_do_name_get_strname(step.key));
    return ZU_NOT_FOUND;
  }
  zu_do_strbuf_add_bytes(buffer, step.head.data(), step.head.size());
  return append_value(value, buffer);
}

int32_t run_segment(zu_tvr_dyn_uri *segment, cache_source &source, uint8_t relative, zu_tvr_walk_ctx *ctx,
                    zu_do_strbuf *buffer) noexcept {
  const zu_tvr_uri_program &program = *segment->program;
  // A parent's own operation stands for all the steps up to it.
  uint32_t at = 0;
  int32_t status = 0;
  for (zu_tvr_dyn_uri *parent = parent_of(segment); parent != nullptr; parent = parent_of(parent)) {
    if (parent->resolve_keys == resolve_uri_keys) continue;
    source.distrust();
    at = parent->step;
    status = parent->resolve_keys(parent, relative, ctx, buffer);
    if (status == 0) ++at;
    break;
  }
  if (at == 0 && status == 0 && !program.has_start) {
    TVR_ERROR("Failed to get URI string");
    status = ZU_FAILED;
  }
  if (at == 0 && status == 0 && is_root(program.start)) {
    TVR_DEBUG("%s", program.start.size() == 1 ? "relative root detected" : "absolute root detected");
  }
  if (status == 0) status = run_uri_program(program, at, segment->step + 1, buffer, source);
  for (; status != 0 && at < segment->step; ++at) TVR_ERROR("Failed to resolve parent URI segment");
  return status;
}

zu_do_uri *resolve_uri(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  if (uri->is_dynamic == 0) return share_into_field(uri->data.uri);
  TVR_ASSERT(ctx);
  TVR_DEBUG("uri: attempting dynamic key resolution");
  const string_buffer buffer(zu_do_strbuf_new());
  if (!buffer) {
    TVR_ERROR("Failed to allocate URI buffer");
    return nullptr;
  }
  zu_tvr_dyn_uri *segment = uri->data.dyn;
  if (segment->resolve_keys(segment, uri->relative, ctx, buffer.get()) != 0) {
    TVR_ERROR("Failed to resolve one or more keys in URI");
    return nullptr;
  }
  zu_do_uri *made = zu_do_uri_new(zu_do_strbuf_to_string(buffer.get()));
  if (made != nullptr) {
    TVR_DEBUG("uri resolved to %s", zu_do_uri_get_uri_str(made));
  } else {
    TVR_ERROR("Failed to allocate URI");
  }
  return made;
}

int32_t resolve_uri_keys(zu_tvr_dyn_uri *segment, uint8_t relative, zu_tvr_walk_ctx *ctx,
                         zu_do_strbuf *buffer) noexcept {
  TVR_ASSERT_NAMED(segment, "uri");
  TVR_ASSERT(ctx);
  TVR_ASSERT(buffer);
  const bool as_compiled = zu_do_strbuf_get_len(buffer) == 0 && segment->program->relative == (relative != 0);
  cache_source source(ctx, relative != 0, as_compiled);
  return run_segment(segment, source, relative, ctx, buffer);
}

} // namespace tvr
