// Finds the cached record that a URI template names, and remembers it.
#include "find_record.hpp"

#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

void report_exhausted(zu_tvr_walk_ctx *ctx) noexcept {
  report(ctx, ZU_EXHAUSTED, "Failed to allocate URI");
}

// Traces why there is no record.
found_record none_found(bool resolved, found_record none = {}) noexcept {
  if (resolved) {
    TVR_INFO("print node: properties for %s not found in cache", none.uri);
  } else {
    TVR_INFO("print node: could not solve dynamic URI");
  }
  return none;
}

const char *pending_of(zu_do_properties *record, const zu_tvr_walk_ctx *ctx) noexcept {
  return zu_do_value_get_string(zu_do_properties_get_value_n(record, ctx->render->pending_name.get()),
                                nullptr);
}

// The record that answers to a URI.
found_record find_by_uri(const zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, ref<zu_do_uri> resolved) noexcept {
  found_record found;
  found.held = std::move(resolved);
  found.uri = zu_do_uri_get_uri_str(found.held.get());
  auto *name = const_cast<char *>(uri->kind == URI_KIND_OBJECT ? ZU_DO_NAME_URI : ZU_DO_NAME_COLL_URI);
  found.record =
      static_cast<zu_do_properties *>(zu_tvr_stack_lookup(ctx->props_cache, found.held.get(), name));
  if (found.record == nullptr) return none_found(true, std::move(found));
  found.pending = pending_of(found.record, ctx);
  return found;
}

// The text that a template resolves to, NUL-terminated; none when it does not.
std::string_view text_of(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, named_record &named,
                         cache_source &source) noexcept {
  if (uri->is_dynamic == 0) return uri->program->start;
  named.text.clear();
  if (resolve_text(uri, ctx, named.text, source) != 0) return {};
  if (named.text.c_str() != nullptr) return named.text.view();
  TVR_ERROR("Failed to allocate URI");
  source.fail_exhausted();
  return {};
}

// By a text that need not be that of its URI.
found_record find_by_text(const zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, std::string_view text,
                          bool is_uri) noexcept {
  if (uri->is_dynamic == 0) return find_by_uri(uri, ctx, ref<zu_do_uri>::share(uri->data.uri));
  auto made = ref<zu_do_uri>::adopt(zu_do_uri_new(text.data()));
  if (made == nullptr) {
    TVR_ERROR("Failed to allocate URI");
    if (is_uri) report_exhausted(ctx);
    return none_found(false);
  }
  TVR_DEBUG("uri resolved to %s", zu_do_uri_get_uri_str(made.get()));
  return find_by_uri(uri, ctx, std::move(made));
}

// Looks up the resolved text, unless the same look-up would find again what it found last.
found_record find_by_look_up(const zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, std::string_view text,
                             named_record &named, cache_source &source) noexcept {
  if (uri->is_dynamic != 0) TVR_DEBUG("uri resolved to %s", text.data());
  const bool by_collection = uri->kind != URI_KIND_OBJECT;
  cache_answer answer;
  if (named.id == uri->program->id && named.version == source.version()) {
    answer = named.look_up.again(ctx->props_cache, {text}, by_collection);
  }
  const bool again = answer.entry != nullptr;
  if (!again) {
    answer = look_up_text(ctx->props_cache, {text}, by_collection);
  } else if (tracing(7)) {
    static_cast<void>(look_up_text(ctx->props_cache, {text}, by_collection)); // again, for its traces
  }
  source.note(answer);
  found_record found = {.record = answer.record(), .uri = text.data()};
  if (found.record == nullptr) return none_found(true, std::move(found));
  found.pending = again ? named.pending : pending_of(found.record, ctx);
  named.id = source.silent() ? uri->program->id : 0;
  named.version = source.version();
  named.record = found.record;
  named.uri = found.uri;
  named.pending = found.pending;
  named.look_up.set(answer);
  named.mark = cache_mark(ctx->props_cache, source.consulted());
  return found;
}

found_record search(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, named_record &named) noexcept {
  named.mark = {};
  cache_source source(ctx, uri->relative != 0, true);
  const std::string_view text = text_of(uri, ctx, named, source);
  if (source.exhausted()) report_exhausted(ctx);
  if (text.data() == nullptr) return none_found(false);
  const bool is_uri = uri->program->canonical && source.canonical() && text.size() < longest_canonical;
  if (is_uri && answers_texts(ctx->props_cache)) return find_by_look_up(uri, ctx, text, named, source);
  return find_by_text(uri, ctx, text, is_uri);
}

} // namespace

void render_memory_delete(zu_tvr_render_memory *memory) noexcept {
  const owned<zu_tvr_render_memory> freed(memory);
}

zu_tvr_render_memory *make_render_memory(zu_tvr_walk_ctx *ctx) noexcept {
  auto made = make_owned<zu_tvr_render_memory>();
  if (made != nullptr) made->pending_name = ref<zu_do_name>::adopt(zu_do_name_new(ZU_DO_NAME_PENDING_ATTRS));
  if (made != nullptr && made->pending_name != nullptr) ctx->render = made.release();
  return ctx->render;
}

found_record search_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  zu_tvr_render_memory *memory = render_memory(ctx);
  if (memory != nullptr && uri->resolve != resolve_uri) {
    auto resolved = ref<zu_do_uri>::adopt(uri->resolve(uri, ctx));
    return resolved != nullptr ? find_by_uri(uri, ctx, std::move(resolved)) : none_found(false);
  }
  named_record *named = memory != nullptr ? memory->named.get(uri->program->number) : nullptr;
  if (named != nullptr) return search(uri, ctx, *named);
  TVR_ERROR("Failed to allocate URI buffer");
  report_exhausted(ctx);
  return none_found(false);
}

} // namespace tvr
