// The line renderer: goes through the slots of a format, renders each, and hands out the finished line.
#include <cstring>

#include "find_record.hpp"
#include "observe_line.hpp"
#include "value_text.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

constexpr char failure_marker[] = "! The command below had failures during processing\n";

// ---- Slots ----

// Sets `*hide` at a password that must not be shown. Every
// plain value after it in the pass is then hidden too.
void check_password(const print_job &job, const zu_do_value_facts &facts, bool *hide) noexcept {
  const char *type = facts.has_typedef ? zu_do_value_get_typedef_name(facts.value) : nullptr;
  TVR_DEBUG("password override check: typedef_name=[%s] in_show_tech=[%d]\n", type,
            is_show_tech(job.ctx) ? 1 : 0);
  if (type == nullptr || std::strcmp(type, "PasswordString") != 0 || !is_show_tech(job.ctx)) return;
  TVR_INFO("password override: typedef_name=[%s] in_show_tech=[%d]\n", type, 1);
  *hide = true;
}

[[gnu::always_inline]] inline after_slot render_plain(print_job &job, const zu_tvr_fmt_item *item,
                                                      const zu_do_value_facts &facts, uint32_t slot,
                                                      bool hide) noexcept {
  if (hide) {
    job.line->add("<removed>");
    return after_slot::go_on;
  }
  const size_t length = job.line->size();
  if (!append_value(item, facts.value, facts.type, job.line)) {
    fail(job.ctx, ZU_FAILED, "Failed to map value", place_of(job, slot));
    return after_slot::failed;
  }
  // A buffer that has failed is reported in put_line.
  if (job.line->size() > length || job.line->failed()) return after_slot::go_on;
  TVR_ERROR("Render value empty string '%s' - stop", job.line->c_str());
  if (observed(job.ctx, ZU_TVR_EVENT_WITHHELD))
    observe_withheld(job.ctx, ZU_TVR_WITHHELD_EMPTY, place_of(job, slot));
  return after_slot::done;
}

after_slot render_directly(print_job &job, uint32_t slot, bool hide) noexcept {
  const planned_slot &planned = job.plan->slots.get()[slot];
  switch (planned.item->kind) {
  case TVR_KIND_PLAIN:
    return render_plain(job, planned.item, job.value_of(slot), slot, hide);
  case TVR_KIND_LOCATION:
    job.line->add(job.memory->slots.get()[slot].location);
    return after_slot::go_on;
  default:
    if (planned.array != nullptr) return render_element_directly(job, slot);
  }
  fail(job.ctx, ZU_FAILED, "Invalid type", place_of(job, slot));
  return after_slot::failed;
}

after_slot report_missing_value(const print_job &job, uint32_t slot) noexcept {
  const zu_tvr_fmt_item *item = job.plan->slots.get()[slot].item;
  const char *name = item != nullptr ? zu_do_name_get_strname(item->name) : nullptr;
  TVR_ERROR("Missing value for property: %s", name != nullptr ? name : "*unknown*");
  report(job.ctx, ZU_FAILED, "Unable to find property", place_of(job, slot));
  return after_slot::failed;
}

after_slot render_slot(print_job &job, uint32_t slot, bool *hide) noexcept {
  const planned_slot &planned = job.plan->slots.get()[slot];
  const zu_do_value_facts &facts = job.value_of(slot);
  if (facts.value == nullptr) return report_missing_value(job, slot);
  check_password(job, facts, hide);
  const bool is_plain = planned.item->kind == TVR_KIND_PLAIN;
  if (is_plain && facts.type != ZU_DO_TYPE_ARRAY) return render_plain(job, planned.item, facts, slot, *hide);
  if ((!is_plain && planned.array == nullptr) || job.memory->slots.get()[slot].element >= 0) {
    return render_directly(job, slot, *hide);
  }
  if (is_plain || (planned.array->independent != 0 && planned.array->multiline == 0)) {
    return render_inline_array(job, slot);
  }
  return expand_array(job, slot);
}

// ---- Completion ----

// Inserts the failure marker, a line of its own, before the line.
bool add_failure_marker(print_job &job) noexcept {
  text_buffer marker;
  if (marker.start_line(job.data->newline != 0, job.ctx->indentation)) marker.add(failure_marker);
  if (marker.failed()) {
    fail(job.ctx, ZU_EXHAUSTED, no_room_for_line);
    TVR_ERROR("Failed to add message to the output");
    return false;
  }
  job.line->insert({marker.c_str(), marker.size()});
  job.marked += marker.size();
  return true;
}

bool complete_line(print_job &job) noexcept {
  if (job.plan->has_arrays) {
    bool holds = false;
    if (!check_condition(job, &holds)) {
      TVR_ERROR("Failed to verify conditions");
      return false;
    }
    if (!holds) return true;
  }
  if (job.scratch->failed != 0 && !add_failure_marker(job)) return false;
  return put_line(job);
}

} // namespace

bool put_line(const print_job &job) noexcept {
  zu_tvr_walk_ctx *ctx = job.ctx;
  const char *so_far = job.line->c_str();
  if (so_far == nullptr) {
    fail(ctx, ZU_EXHAUSTED, no_room_for_line);
    return false;
  }
  if (observed(ctx, ZU_TVR_EVENT_LINE)) observe_line(job, so_far);
  if (ctx->output_cb(ctx->cb_ctx, so_far)) return true;
  TVR_ERROR("Failed to execute output function");
  return false;
}

bool render_line(print_job &job, uint32_t slot) noexcept {
  const std::string_view *const literals = job.plan->literals.get();
  const uint32_t end = job.plan->slot_count;
  text_buffer &line = *job.line;
  bool hide = false;
  for (;; ++slot) {
    line.add_padded(literals[slot]);
    if (slot == end) return complete_line(job);
    const after_slot next = render_slot(job, slot, &hide);
    if (next != after_slot::go_on) return next == after_slot::done;
  }
}

} // namespace tvr
