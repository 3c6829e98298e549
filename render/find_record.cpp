// Finds the cached record that a URI template names, and remembers it.
#include "find_record.hpp"

#include <algorithm>

#include "zu_tovra/internal/report.hpp"

zu_tvr_render_memory::~zu_tvr_render_memory() {
  for (uint32_t i = 0; i < named_count; ++i) tvr::owned<tvr::named_record>(named.get()[i]).reset();
}

namespace tvr {
namespace {

void report_exhausted(zu_tvr_walk_ctx *ctx) noexcept {
  report(ctx, ZU_EXHAUSTED, "Failed to allocate URI");
}

bool make_room(zu_tvr_render_memory *memory, uint32_t place) noexcept {
  const uint32_t count = std::max({place + 1, 2 * memory->named_count, 64u});
  auto grown = make_zeroed_array<named_record *>(count);
  if (!grown) return false;
  std::copy_n(memory->named.get(), memory->named_count, grown.get());
  memory->named = std::move(grown);
  memory->named_count = count;
  return true;
}

// Where a program's record is remembered; none when memory is exhausted.
named_record *memory_of(zu_tvr_walk_ctx *ctx, const zu_tvr_uri_program *program) noexcept {
  zu_tvr_render_memory *memory = render_memory(ctx);
  if (memory == nullptr) return nullptr;
  const uint32_t place = zu_tvr_render_memory::place_of(program, ctx->props_cache);
  if (place >= memory->named_count && !make_room(memory, place)) return nullptr;
  named_record *&named = memory->named.get()[place];
  if (named == nullptr) named = make_owned<named_record>().release();
  if (named == nullptr || named->program == program) return named;
  named->program = program;
  named->mark = {};
  return named;
}

const char *name_of_property(const zu_tvr_uri *uri) noexcept {
  return uri->kind == URI_KIND_OBJECT ? ZU_DO_NAME_URI : ZU_DO_NAME_COLL_URI;
}

zu_do_properties *look_up(const zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, zu_do_uri *resolved) noexcept {
  auto *name = const_cast<char *>(name_of_property(uri));
  return static_cast<zu_do_properties *>(zu_tvr_stack_lookup(ctx->props_cache, resolved, name));
}

// The rest of a search: what the record says of itself, or what is traced when there is none.
found_record conclude(found_record found, bool resolved) noexcept {
  if (!resolved) {
    TVR_INFO("print node: could not solve dynamic URI");
  } else if (found.record == nullptr) {
    TVR_INFO("print node: properties for %s not found in cache", found.uri);
  } else {
    found.pending = zu_do_properties_get_string(found.record, ZU_DO_NAME_PENDING_ATTRS, nullptr);
  }
  return found;
}

// By a resolve operation that is not the library's own.
found_record find_by_operation(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  found_record found;
  found.held = ref<zu_do_uri>::adopt(uri->resolve(uri, ctx));
  const bool resolved = static_cast<bool>(found.held);
  if (resolved) found.record = look_up(uri, ctx, found.held.get());
  found.uri = zu_do_uri_get_uri_str(found.held.get());
  return conclude(std::move(found), resolved);
}

// The text that a template resolves to, NUL-terminated; none when it does not.
std::string_view text_of(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, named_record &named,
                         cache_source &source) noexcept {
  if (uri->is_dynamic == 0) return {zu_do_uri_get_uri_str(uri->data.uri), zu_do_uri_get_len(uri->data.uri)};
  named.text.clear();
  if (resolve_text(uri, ctx, named.text, source) != 0) return {};
  if (named.text.c_str() != nullptr) return named.text.view();
  TVR_ERROR("Failed to allocate URI");
  source.fail_exhausted();
  return {};
}

// By a text that need not be that of its URI.
found_record find_by_uri(const zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, std::string_view written,
                         bool is_uri) noexcept {
  const bool is_static = uri->is_dynamic == 0;
  found_record found;
  found.held =
      is_static ? ref<zu_do_uri>::share(uri->data.uri) : ref<zu_do_uri>::adopt(zu_do_uri_new(written.data()));
  const bool resolved = static_cast<bool>(found.held);
  if (resolved) {
    found.uri = zu_do_uri_get_uri_str(found.held.get());
    if (!is_static) TVR_DEBUG("uri resolved to %s", found.uri);
    found.record = look_up(uri, ctx, found.held.get());
  } else {
    TVR_ERROR("Failed to allocate URI");
    if (is_uri) report_exhausted(ctx);
  }
  return conclude(std::move(found), resolved);
}

found_record search(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, named_record &named) noexcept {
  const zu_tvr_uri_program &program = *uri->program;
  named.mark = {};
  cache_source source(ctx, uri->relative != 0, true);
  const std::string_view resolved = text_of(uri, ctx, named, source);
  if (source.exhausted()) report_exhausted(ctx);
  if (resolved.data() == nullptr) return conclude({}, false);
  const bool is_uri = program.canonical && source.canonical() && resolved.size() < longest_canonical;
  if (!is_uri || !answers_texts(ctx->props_cache)) return find_by_uri(uri, ctx, resolved, is_uri);

  if (uri->is_dynamic != 0) TVR_DEBUG("uri resolved to %s", resolved.data());
  const cache_answer answer = look_up_text(ctx->props_cache, {resolved}, uri->kind != URI_KIND_OBJECT);
  source.note(answer);
  found_record found = conclude({.record = answer.record, .uri = resolved.data()}, true);
  if (found.record != nullptr && source.silent()) {
    named.record = found.record;
    named.uri = found.uri;
    named.pending = found.pending;
    named.mark = cache_mark(ctx->props_cache, source.consulted());
  }
  return found;
}

} // namespace

void render_memory_delete(zu_tvr_render_memory *memory) noexcept {
  const owned<zu_tvr_render_memory> freed(memory);
}

zu_tvr_render_memory *make_render_memory(zu_tvr_walk_ctx *ctx) noexcept {
  ctx->render = make_owned<zu_tvr_render_memory>().release();
  return ctx->render;
}

found_record search_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  if (uri->resolve != resolve_uri) return find_by_operation(uri, ctx);
  named_record *named = memory_of(ctx, uri->program);
  if (named != nullptr) return search(uri, ctx, *named);
  TVR_ERROR("Failed to allocate URI buffer");
  report_exhausted(ctx);
  return conclude({}, false);
}

} // namespace tvr
