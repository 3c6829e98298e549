// The walk of a print node: gathers the values of its line, checks its condition, and renders the line. In a
// line with arrays the condition is checked for each element, since it may read the element.
#include "find_record.hpp"
#include "observe_line.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

// Takes the walk's line buffer and writes the start of a line: the newline character if the node has one, and
// the indentation. False (traced and reported) when memory is exhausted.
[[gnu::always_inline]] inline bool start_line(print_job &job) noexcept {
  zu_tvr_render_memory *memory = render_memory(job.ctx);
  job.line = memory != nullptr ? &memory->line : nullptr;
  if (memory != nullptr && memory->line.start_line(job.data->newline != 0, job.ctx->indentation)) return true;
  return fail(job.ctx, ZU_EXHAUSTED, no_room_for_line);
}

int32_t walk_without_properties(print_job &job) noexcept {
  TVR_INFO("print node: rendering without any properties");
  ref<zu_do_properties> nothing_set;
  if (job.data->cond != nullptr) nothing_set = ref<zu_do_properties>::adopt(zu_do_properties_new());
  job.conditions = nothing_set.get();
  if (job.data->cond != nullptr && job.conditions == nullptr) {
    TVR_ERROR("Failed to allocate condition properties");
    return ZU_TVR_STEP_FAILED;
  }
  bool holds = false;
  if (!check_condition(job, &holds)) {
    TVR_ERROR("Failed to verify conditions");
    return ZU_TVR_STEP_FAILED;
  }
  if (!holds) return ZU_TVR_STEP_NOTHING;
  if (!start_line(job)) return ZU_TVR_STEP_FAILED;
  job.line->add(job.data->format);
  return put_line(job) ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_FAILED;
}

// False for a line whose values are all defaults, unless defaults are rendered.
bool has_something_to_say(const print_job &job) noexcept {
  if (job.ctx->render_defaults != 0) return true;
  const uint32_t count = job.plan->item_count;
  if (count == 0) {
    TVR_INFO("Empty set of values\n");
    return true;
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (job.value_of(i).is_default) continue;
    TVR_INFO("Found a non-default value (index %d)\n", static_cast<int>(i));
    return true;
  }
  TVR_INFO("All values are default values. Skipping rendering");
  observe_withheld(job.ctx, ZU_TVR_WITHHELD_DEFAULTS);
  return false;
}

int32_t render_gathered(print_job &job) noexcept {
  if (job.data->cond != nullptr && !fill_conditions(job)) return ZU_TVR_STEP_FAILED;
  if (!job.plan->has_arrays) {
    bool holds = false;
    if (!check_condition(job, &holds)) {
      TVR_ERROR("Failed to verify condition");
      return ZU_TVR_STEP_FAILED;
    }
    if (!holds) return ZU_TVR_STEP_NOTHING;
  }
  if (!start_line(job)) {
    fail(job.ctx, ZU_EXHAUSTED, no_room_for_line); // again, for a node with properties
    return ZU_TVR_STEP_FAILED;
  }
  TVR_DEBUG("Calling render_line: in_show_tech=[%d]\n", is_show_tech(job.ctx) ? 1 : 0);
  if (!has_something_to_say(job) || render_line(job, 0)) return ZU_TVR_STEP_WALK;
  TVR_ERROR("Failed to render %s", job.data->format);
  return ZU_TVR_STEP_FAILED;
}

int32_t walk_with_properties(print_job &job) noexcept {
  TVR_INFO("print node: attempting to render \"%s\"", job.data->format);
  if (job.memory == nullptr) {
    fail(job.ctx, ZU_EXHAUSTED, "Failed to allocate values buffer");
    return ZU_TVR_STEP_FAILED;
  }
  // The elements of the line before matter only to partners and observers.
  if (job.plan->has_partners || job.ctx->observed != 0) job.memory->clear_elements();
  const int32_t gathered = gather_values(job);
  return gathered == ZU_TVR_STEP_WALK ? render_gathered(job) : gathered;
}

} // namespace

bool is_show_tech(const zu_tvr_walk_ctx *ctx) noexcept {
  return ctx->arguments != nullptr && zu_do_properties_get_int(ctx->arguments, "_in_show_tech", nullptr) == 1;
}

int32_t walk_print(zu_tvr_print_data *data, zu_tvr_print_scratch_data *scratch,
                   zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx == nullptr) {
    TVR_ERROR("TVR Walk context is NULL");
    return ZU_TVR_STEP_FAILED;
  }
  print_job job = {
      .data = data, .scratch = scratch, .ctx = ctx, .plan = data->plan, .memory = nullptr, .line = nullptr};
  if (data->props_map != nullptr) job.memory = line_memory(scratch, data->plan);
  return data->props_map == nullptr ? walk_without_properties(job) : walk_with_properties(job);
}

} // namespace tvr
