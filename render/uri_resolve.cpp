// Resolves URI templates: fills their keys from the records and groups in scope.
#include <algorithm>

#include "uri_resolve.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/shortcuts.hpp"

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
  if (!tracing(7)) return;
  if (step.where == DYN_KEY_QUERY) {
    TVR_DEBUG("stack lookup: %.*s%.*s", width(uri.first), uri.first.data(), width(uri.second),
              uri.second.data());
  } else {
    TVR_DEBUG("stack lookup (group=%d): %.*s%.*s", step.where == DYN_KEY_GROUP ? 1 : 0, width(uri.first),
              uri.first.data(), width(uri.second), uri.second.data());
  }
}

void trace_no_match(const uri_step &step, const step_look_up &wanted) noexcept {
  TVR_ERROR("no match for %.*s%.*s", width(wanted.from), wanted.from.data(), width(step.look_up),
            step.look_up.data());
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
  const size_t percent = value.find('%');
  return !value.empty() && (percent == value.npos || value.find("%00", percent) == value.npos);
}

} // namespace

void cache_source::note(const cache_answer &answer) noexcept {
  consulted_ = std::max(consulted_, answer.consulted);
  silent_ = silent_ && answer.silent;
}

// Looks up by a URI object: the text of the URI that is made
// may differ from the given one, or no URI can be made.
zu_do_properties *cache_source::find_by_uri(const uri_step &step, const step_look_up &wanted,
                                            bool is_uri) noexcept {
  silent_ = false;
  text_buffer shown;
  shown.add(wanted.from);
  shown.add(step.look_up);
  const char *written = shown.c_str();
  const auto uri = ref<zu_do_uri>::adopt(zu_do_uri_new(written));
  if (uri == nullptr) {
    TVR_ERROR("Failed to allocate string");
    exhausted_ = written == nullptr || is_uri;
    return nullptr;
  }
  trace_look_up(step, {zu_do_uri_get_uri_str(uri.get())});
  zu_do_properties *record = search(step, ctx_, uri.get());
  if (record == nullptr) trace_no_match(step, wanted);
  return record;
}

// The value of a key; null (traced) when the record has no such property.
static zu_do_value *value_of_key(zu_do_properties *record, zu_do_name *key) noexcept {
  zu_do_value *value = zu_do_properties_get_value_n(record, key);
  if (value == nullptr) TVR_ERROR("Unable to find %s in cache", zu_do_name_get_strname(key));
  return value;
}

// Appends a further key; the name of the first is in the step's head.
int32_t cache_source::append_key(zu_do_name *key, zu_do_properties *record, text_buffer &out) noexcept {
  const char *name = zu_do_name_get_strname(key);
  if (name == nullptr) {
    TVR_ERROR("Unexpected NULL in key name");
    return ZU_FAILED;
  }
  zu_do_value *value = value_of_key(record, key);
  if (value == nullptr) return ZU_NOT_FOUND;
  out.add(';');
  out.add(name);
  out.add('=');
  return append_value(value, out);
}

int32_t cache_source::append_value(zu_do_value *value, text_buffer &out) noexcept {
  char room[256];
  size_t length = 0;
  const char *shown = shortcuts.key_form(value, room, sizeof room, &length);
  if (shown == nullptr) return append_through_buffer(value, out);
  // What is borrowed has no byte that is escaped.
  if (length == 0 || (shown == room && !stands_as_it_is({shown, length}))) canonical_ = false;
  out.add({shown, length});
  return 0;
}

int32_t cache_source::append_through_buffer(zu_do_value *value, text_buffer &out) noexcept {
  const string_buffer buffer(zu_do_strbuf_new());
  if (!buffer || zu_do_uri_value_to_keystr(value, buffer.get()) != 0) {
    TVR_ERROR("Failed to add key value to buffer");
    if (zu_do_strbuf_to_string(buffer.get()) == nullptr) fail_exhausted();
    return ZU_FAILED;
  }
  const std::string_view shown(zu_do_strbuf_to_string(buffer.get()), zu_do_strbuf_get_len(buffer.get()));
  if (!stands_as_it_is(shown)) canonical_ = false;
  out.add(shown);
  return 0;
}

cache_source::cache_source(zu_tvr_walk_ctx *ctx, bool relative, bool as_compiled) noexcept
    : ctx_(ctx), memory_(render_memory(ctx)), relative_(relative), canonical_(as_compiled) {
  if (!as_compiled) version_ = next_version();
}

// Writes the step's last result, if the step would find the same record now.
bool cache_source::take_again(const step_memory &memory, const uri_step &step, const looked_up &wanted,
                              text_buffer &out) noexcept {
  if (memory.id != step.id || memory.before != version_ || !memory.look_up.is_there(ctx_->props_cache)) {
    return false;
  }
  const cache_answer answer = memory.look_up.again(ctx_->props_cache, wanted, by_collection);
  if (answer.entry == nullptr) return false;
  if (tracing(7)) {
    trace_look_up(step, wanted);
    static_cast<void>(look_up_text(ctx_->props_cache, wanted, by_collection)); // only for its traces
  }
  note(answer);
  out.add(memory.piece.view());
  canonical_ = memory.canonical;
  version_ = memory.version;
  return true;
}

int32_t cache_source::take(const uri_step &step, text_buffer &out) noexcept {
  trace_keys(step);
  if (out.failed()) {
    TVR_ERROR("Failed to allocate string");
    fail_exhausted();
  }
  const step_look_up wanted = look_up_of(step, out.view(), relative_);
  const bool is_uri = step.canonical && canonical_ && out.size() + step.look_up.size() < longest_canonical;
  const bool by_text =
      is_uri && wanted.possible && step.where != DYN_KEY_GROUP && answers_texts(ctx_->props_cache);
  step_memory *memory = by_text && memory_ != nullptr ? memory_->steps.get(step.number) : nullptr;
  if (memory != nullptr && take_again(*memory, step, wanted.uri, out)) return 0;

  cache_answer answer;
  zu_do_properties *record = nullptr;
  if (exhausted_) {
    // Nothing is looked up.
  } else if (wanted.possible && !by_text) {
    record = find_by_uri(step, wanted, is_uri);
  } else {
    if (by_text) {
      trace_look_up(step, wanted.uri);
      answer = look_up_text(ctx_->props_cache, wanted.uri, by_collection);
      note(answer);
      record = answer.record();
    }
    if (record == nullptr) trace_no_match(step, wanted);
  }
  if (record == nullptr) {
    TVR_ERROR("Could not find props for URI resolution");
    return ZU_FAILED;
  }
  zu_do_value *value = value_of_key(record, step.key);
  if (value == nullptr) return ZU_NOT_FOUND;
  const uint64_t before = version_;
  version_ = next_version();
  const size_t start = out.size();
  out.add(step.head);
  int32_t status = append_value(value, out);
  for (size_t i = 1; status == 0 && i < zu_do_nlist_get_len(step.keys); ++i) {
    status = append_key(zu_do_nlist_get(step.keys, i), record, out);
  }
  if (status != 0 || memory == nullptr || out.failed()) return status;
  memory->piece.clear();
  memory->piece.add({out.view().data() + start, out.size() - start});
  memory->id = memory->piece.failed() ? 0 : step.id;
  memory->before = before;
  memory->version = version_;
  memory->canonical = canonical_;
  memory->look_up.set(answer);
  return 0;
}

namespace {

// Resolves by an operation of the host.
int32_t call_foreign(zu_tvr_dyn_uri *segment, cache_source &source, uint8_t relative, zu_tvr_walk_ctx *ctx,
                     text_buffer &out) noexcept {
  source.distrust();
  const string_buffer buffer(zu_do_strbuf_new());
  if (buffer == nullptr || zu_do_strbuf_add_bytes(buffer.get(), out.view().data(), out.size()) != 0) {
    TVR_ERROR("Failed to allocate URI buffer");
    source.fail_exhausted();
    return ZU_FAILED;
  }
  const int32_t status = segment->resolve_keys(segment, relative, ctx, buffer.get());
  const char *written = zu_do_strbuf_to_string(buffer.get());
  if (written == nullptr) source.fail_exhausted();
  out.clear();
  if (written != nullptr) out.add({written, zu_do_strbuf_get_len(buffer.get())});
  return status;
}

// Runs the program up to and including a segment's step. If a host has replaced the operation of a parent,
// that operation is called in the place of all steps up to the parent's.
int32_t run_segment(const zu_tvr_dyn_uri *segment, cache_source &source, uint8_t relative,
                    zu_tvr_walk_ctx *ctx, text_buffer &out) noexcept {
  const zu_tvr_uri_program &program = *segment->program;
  uint32_t at = 0;
  int32_t status = 0;
  for (zu_tvr_dyn_uri *parent = parent_of(segment); parent != nullptr; parent = parent_of(parent)) {
    if (parent->resolve_keys == resolve_uri_keys) continue;
    at = parent->step;
    status = call_foreign(parent, source, relative, ctx, out);
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
  if (status == 0) status = run_uri_program(program, at, segment->step + 1, out, source);
  for (; status != 0 && at < segment->step; ++at) TVR_ERROR("Failed to resolve parent URI segment");
  return status;
}

} // namespace

int32_t resolve_text(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx, text_buffer &out, cache_source &source) noexcept {
  TVR_DEBUG("uri: attempting dynamic key resolution");
  zu_tvr_dyn_uri *segment = uri->data.dyn;
  const int32_t status = segment->resolve_keys == resolve_uri_keys
                             ? run_segment(segment, source, uri->relative, ctx, out)
                             : call_foreign(segment, source, uri->relative, ctx, out);
  if (status != 0) TVR_ERROR("Failed to resolve one or more keys in URI");
  return status;
}

zu_do_uri *resolve_uri(zu_tvr_uri *uri, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(uri);
  if (uri->is_dynamic == 0) return share_into_field(uri->data.uri);
  TVR_ASSERT(ctx);
  zu_tvr_render_memory *memory = render_memory(ctx);
  text_buffer out;
  if (memory != nullptr) out.swap(memory->spare); // taken out: a host's operation may resolve another URI
  out.clear();
  cache_source source(ctx, uri->relative != 0, true);
  zu_do_uri *made = nullptr;
  if (resolve_text(uri, ctx, out, source) == 0) {
    made = zu_do_uri_new(out.c_str());
    if (made != nullptr) {
      TVR_DEBUG("uri resolved to %s", zu_do_uri_get_uri_str(made));
    } else {
      TVR_ERROR("Failed to allocate URI");
    }
  }
  if (memory != nullptr) out.swap(memory->spare);
  return made;
}

int32_t resolve_uri_keys(zu_tvr_dyn_uri *segment, uint8_t relative, zu_tvr_walk_ctx *ctx,
                         zu_do_strbuf *buffer) noexcept {
  TVR_ASSERT_NAMED(segment, "uri");
  TVR_ASSERT(ctx);
  TVR_ASSERT(buffer);
  const size_t before = zu_do_strbuf_get_len(buffer);
  text_buffer out;
  out.add({zu_do_strbuf_to_string(buffer), before});
  cache_source source(ctx, relative != 0, before == 0 && segment->program->relative == (relative != 0));
  const int32_t status = run_segment(segment, source, relative, ctx, out);
  if (out.failed() || out.size() < before) return ZU_FAILED;
  const std::string_view written = out.view().substr(before);
  if (zu_do_strbuf_add_bytes(buffer, written.data(), written.size()) != 0 && status == 0) return ZU_FAILED;
  return status;
}

} // namespace tvr
