// Finds the cached record that a URI template names, and remembers it.
//
// There are three ways, each slower than the one before: the remembered record (find_record.hpp), a look-up
// of the resolved text, and a look-up of a URI object by the cache's compare operation. The last is needed
// when the text need not be that of its URI, and when a host has replaced an operation.
#include "find_record.hpp"

#include <algorithm>

#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

void report_exhausted(zu_tvr_walk_ctx *ctx) noexcept {
  report(ctx, ZU_EXHAUSTED, "Failed to allocate URI");
}

void trace_unresolved() noexcept {
  TVR_INFO("print node: could not solve dynamic URI");
}

// Stores the result of a look-up; if there is a record, also its pending attributes.
void take(named_record &named, const char *uri_text, zu_do_properties *record,
          const zu_tvr_walk_ctx *ctx) noexcept {
  named.found = {record, uri_text};
  if (record == nullptr) {
    TVR_INFO("print node: properties for %s not found in cache", uri_text);
    return;
  }
  zu_do_value *pending = zu_do_properties_get_value_n(record, ctx->render->pending_name.get());
  if (pending != nullptr) named.found.pending = zu_do_value_get_string(pending, nullptr);
}

void find_by_uri(const zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, named_record &named,
                 ref<zu_do_uri> resolved) noexcept {
  named.held = std::move(resolved);
  auto *name = const_cast<char *>(uri->kind == URI_KIND_OBJECT ? ZU_DO_NAME_URI : ZU_DO_NAME_COLL_URI);
  void *found = zu_tvr_stack_lookup(ctx->props_cache, named.held.get(), name);
  take(named, zu_do_uri_get_uri_str(named.held.get()), static_cast<zu_do_properties *>(found), ctx);
}

// The text that a template resolves to, NUL-terminated; null when it cannot be resolved.
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

// Looks up by a URI object, because the text need not be that of its URI, or because the cache has a compare
// operation of the host.
void find_by_text(const zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, named_record &named, std::string_view text,
                  bool is_uri) noexcept {
  if (uri->is_dynamic == 0) return find_by_uri(uri, ctx, named, ref<zu_do_uri>::share(uri->data.uri));
  auto made = ref<zu_do_uri>::adopt(zu_do_uri_new(text.data()));
  if (made == nullptr) {
    TVR_ERROR("Failed to allocate URI");
    if (is_uri) report_exhausted(ctx);
    return trace_unresolved();
  }
  TVR_DEBUG("uri resolved to %s", zu_do_uri_get_uri_str(made.get()));
  find_by_uri(uri, ctx, named, std::move(made));
}

// Looks up the resolved text, and remembers the result.
void find_by_look_up(const zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, named_record &named, std::string_view text,
                     cache_source &source) noexcept {
  if (uri->is_dynamic != 0) TVR_DEBUG("uri resolved to %s", text.data());
  const cache_answer answer = look_up_text(ctx->props_cache, {text}, uri->kind != URI_KIND_OBJECT);
  source.note(answer);
  take(named, text.data(), answer.record(), ctx);
  if (answer.entry == nullptr) return;
  named.id = source.silent() ? uri->program->id : 0;
  named.version = source.version();
  named.look_up.set(answer);
  named.mark = cache_mark(ctx->props_cache, source.consulted());
}

void search(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, named_record &named) noexcept {
  cache_source source(ctx, uri->relative != 0, true);
  const std::string_view text = text_of(uri, ctx, named, source);
  if (source.exhausted()) report_exhausted(ctx);
  if (text.data() == nullptr) return trace_unresolved();
  const bool is_uri = uri->program->canonical && source.canonical() && text.size() < longest_canonical;
  if (is_uri && answers_texts(ctx->props_cache)) {
    find_by_look_up(uri, ctx, named, text, source);
  } else {
    find_by_text(uri, ctx, named, text, is_uri);
  }
}

// True when all steps and the look-up would find the same records again, although other records have been
// pushed above them: then the template need not be resolved again. Lines that name a list's parent profit,
// since each instance of the list pushes a record.
bool finds_again(const zu_tvr_uri *uri, const zu_tvr_walk_ctx *ctx, named_record &named) noexcept {
  const zu_tvr_uri_program &program = *uri->program;
  const zu_tvr_stack *cache = ctx->props_cache;
  if (named.id != program.id || named.found.record == nullptr || !answers_texts(cache)) return false;
  if (!named.look_up.is_there(cache)) return false;
  const std::string_view text = uri->is_dynamic != 0 ? named.text.view() : program.start;
  size_t so_far = program.start.size();
  uint64_t version = 0;
  uint32_t consulted = 0;
  for (uint32_t i = 0; i < program.step_count; ++i) {
    const uri_step &step = program.steps[i];
    const step_memory *memory = ctx->render->steps.find(step.number);
    if (memory == nullptr || memory->id != step.id || memory->before != version) return false;
    const step_look_up wanted = look_up_of(step, text.substr(0, so_far), uri->relative != 0);
    const cache_answer answer = memory->look_up.again(cache, wanted.uri, true);
    if (answer.entry == nullptr) return false;
    consulted = std::max(consulted, answer.consulted);
    so_far += memory->piece.size() + step.tail.size();
    version = memory->version;
  }
  if (version != named.version) return false;
  const cache_answer answer = named.look_up.again(cache, {text}, uri->kind != URI_KIND_OBJECT);
  if (answer.entry == nullptr) return false;
  named.mark = cache_mark(cache, std::max(consulted, answer.consulted));
  return true;
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

const found_record &search_record(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  static constexpr found_record none;
  zu_tvr_render_memory *memory = render_memory(ctx);
  named_record *named = memory != nullptr ? memory->named.get(uri->program->number) : nullptr;
  if (named == nullptr) {
    TVR_ERROR("Failed to allocate URI buffer");
    report_exhausted(ctx);
    return none;
  }
  if (uri->resolve == resolve_uri && resolves_as_compiled(uri) && finds_again(uri, ctx, *named) &&
      !tracing(7))
    return named->found;
  named->id = 0;
  named->mark = {};
  named->found = {};
  if (uri->resolve == resolve_uri) {
    search(uri, ctx, *named);
  } else if (auto resolved = ref<zu_do_uri>::adopt(uri->resolve(uri, ctx))) {
    find_by_uri(uri, ctx, *named, std::move(resolved));
  } else {
    trace_unresolved();
  }
  return named->found;
}

} // namespace tvr
