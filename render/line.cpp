// The line renderer: walks a format, renders its slots and hands the finished line out.
#include <cstring>

#include "print_job.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

constexpr char failure_marker[] = "! The command below had failures during processing\n";
constexpr char no_room_for_line[] = "Failed to allocate output buffer";

// What to do after a slot.
enum class after_slot { go_on, done, failed };

after_slot done_when(bool rendered) noexcept {
  return rendered ? after_slot::done : after_slot::failed;
}
after_slot go_on_when(bool rendered) noexcept {
  return rendered ? after_slot::go_on : after_slot::failed;
}

// ---- Slots ----

// Once a password was hidden, so is every plain value after it in the pass.
void check_password(const print_job &job, zu_do_value *value, bool &hide) noexcept {
  if (!job.show_tech && !debugging()) return;
  const char *type = zu_do_value_get_typedef_name(value);
  TVR_DEBUG("password override check: typedef_name=[%s] in_show_tech=[%d]\n", type, job.show_tech ? 1 : 0);
  if (!job.show_tech || type == nullptr || std::strcmp(type, "PasswordString") != 0) return;
  TVR_INFO("password override: typedef_name=[%s] in_show_tech=[%d]\n", type, job.show_tech ? 1 : 0);
  hide = true;
}

after_slot render_plain(print_job &job, uint32_t slot, bool hide, zu_do_strbuf *line) noexcept {
  if (hide) {
    zu_do_strbuf_add_string(line, "<removed>");
    return after_slot::go_on;
  }
  size_t length = 0;
  if (!append_value(job.map->fmt_items[slot], job.slots[slot].value, line, length)) {
    fail(job.ctx, ZU_FAILED, "Failed to map value");
    return after_slot::failed;
  }
  if (length > 0) return after_slot::go_on;
  TVR_ERROR("Render value empty string '%s' - stop", zu_do_strbuf_to_string(line));
  return after_slot::done;
}

after_slot render_directly(print_job &job, uint32_t slot, bool hide, zu_do_strbuf *line) noexcept {
  const zu_tvr_fmt_item *item = job.map->fmt_items[slot];
  bool stop = false;
  switch (item->kind) {
  case TVR_KIND_PLAIN:
    return render_plain(job, slot, hide, line);
  case TVR_KIND_LOCATION:
    zu_do_strbuf_add_string(line, job.slots[slot].location);
    return after_slot::go_on;
  case TVR_KIND_ARRAY_ELEMENT:
  case TVR_KIND_ARRAY_INDEX:
    if (array_data_of(item) == nullptr) break;
    if (!render_element_directly(job, slot, line, stop)) return after_slot::failed;
    return stop ? after_slot::done : after_slot::go_on;
  default:
    break;
  }
  fail(job.ctx, ZU_FAILED, "Invalid type");
  return after_slot::failed;
}

bool has_value(const print_job &job, uint32_t slot) noexcept {
  return slot < static_cast<uint32_t>(job.map->num_items) && job.map->fmt_items[slot] != nullptr &&
         job.slots[slot].value != nullptr;
}

after_slot report_missing_value(const print_job &job, uint32_t slot) noexcept {
  const bool known = slot < static_cast<uint32_t>(job.map->num_items) && job.map->fmt_items[slot] != nullptr;
  const char *name = known ? zu_do_name_get_strname(job.map->fmt_items[slot]->name) : nullptr;
  TVR_ERROR("Missing value for property: %s", name != nullptr ? name : "*unknown*");
  report(job.ctx, ZU_FAILED, "Unable to find property");
  return after_slot::failed;
}

after_slot render_slot(print_job &job, uint32_t slot, bool &hide, zu_do_strbuf *line) noexcept {
  if (!has_value(job, slot)) return report_missing_value(job, slot);
  const zu_tvr_fmt_item *item = job.map->fmt_items[slot];
  const value_slot &filled = job.slots[slot];
  check_password(job, filled.value, hide);
  const bool one_value =
      filled.element >= 0 ||
      (item->kind == TVR_KIND_PLAIN ? zu_do_value_get_type(filled.value) != ZU_DO_TYPE_ARRAY
                                    : !is_array_kind(item) || array_data_of(item) == nullptr);
  if (one_value) return render_directly(job, slot, hide, line);
  const zu_tvr_array_data *array = array_data_of(item);
  if (array == nullptr || item->kind == TVR_KIND_PLAIN ||
      (array->independent != 0 && array->multiline == 0)) {
    return go_on_when(render_inline_array(job, slot, line));
  }
  return done_when(expand_array(job, slot, *array, line));
}

// ---- Completion ----

// Puts the failure marker, as a line of its own, before the line.
bool add_failure_marker(const print_job &job, zu_do_strbuf *line) noexcept {
  const string_buffer marked(zu_do_strbuf_new());
  if (!start_line(job.data, job.ctx, marked.get())) {
    TVR_ERROR("Failed to add message to the output");
    return false;
  }
  const char *so_far = zu_do_strbuf_to_string(line);
  if (so_far == nullptr) return true; // handing it out tells
  zu_do_strbuf_add_string(marked.get(), failure_marker);
  zu_do_strbuf_add_string(marked.get(), so_far);
  const char *both = zu_do_strbuf_to_string(marked.get());
  if (both == nullptr) {
    fail(job.ctx, ZU_EXHAUSTED, no_room_for_line);
    return false;
  }
  zu_do_strbuf_clear(line);
  zu_do_strbuf_add_string(line, both);
  return true;
}

bool complete_line(const print_job &job, zu_do_strbuf *line) noexcept {
  if (has_arrays(job.map)) {
    bool holds = false;
    if (!check_condition(job.data, job.ctx, job.conditions, holds)) {
      TVR_ERROR("Failed to verify conditions");
      return false;
    }
    if (!holds) return true;
  }
  if (job.scratch->failed != 0 && !add_failure_marker(job, line)) return false;
  return put_line(job.ctx, line);
}

} // namespace

bool start_line(const zu_tvr_print_data *data, zu_tvr_walk_ctx *ctx, zu_do_strbuf *line) noexcept {
  if (line == nullptr) {
    fail(ctx, ZU_EXHAUSTED, no_room_for_line);
    return false;
  }
  if (data->newline != 0) zu_do_strbuf_add_char(line, '\n');
  zu_do_strbuf_add_fill(line, ' ', ctx->indentation);
  return true;
}

zu_do_strbuf *walk_line(zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx->line == nullptr) ctx->line = zu_do_strbuf_new();
  if (ctx->line != nullptr) zu_do_strbuf_clear(ctx->line);
  return ctx->line;
}

bool put_line(zu_tvr_walk_ctx *ctx, zu_do_strbuf *line) noexcept {
  const char *so_far = zu_do_strbuf_to_string(line);
  if (so_far == nullptr) {
    fail(ctx, ZU_EXHAUSTED, no_room_for_line);
    return false;
  }
  if (ctx->output_cb(ctx->cb_ctx, so_far)) return true;
  TVR_ERROR("Failed to execute output function");
  return false;
}

bool render_line(print_job &job, uint32_t slot, zu_do_strbuf *line) noexcept {
  bool hide = false;
  for (;; ++slot) {
    const format_run &literal = job.prepared->runs[slot];
    if (literal.length > 0) zu_do_strbuf_add_bytes(line, literal.text, literal.length);
    if (slot == job.prepared->slot_count) return complete_line(job, line);
    const after_slot next = render_slot(job, slot, hide, line);
    if (next != after_slot::go_on) return next == after_slot::done;
  }
}

} // namespace tvr
