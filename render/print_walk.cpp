// The walk of a print node: gathers the values of its line, checks its condition, and renders the line.
#include "find_record.hpp"
#include "observe_line.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

namespace {

int32_t walk_without_properties(print_job &job) noexcept {
  TVR_INFO("print node: rendering without any properties");
  bool holds = false;
  if (!check_condition(job, &holds)) {
    TVR_ERROR("Failed to verify conditions");
    return ZU_TVR_STEP_FAILED;
  }
  if (!holds) return ZU_TVR_STEP_NOTHING;
  job.line = start_line(job.data, job.ctx);
  if (job.line == nullptr) return ZU_TVR_STEP_FAILED;
  job.line->add(job.data->format);
  return put_line(job) ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_FAILED;
}

// A line whose every value is default is not rendered unless defaults are.
bool has_something_to_say(const print_job &job) noexcept {
  if (job.ctx->render_defaults != 0) return true;
  const uint32_t count = job.plan->item_count;
  if (count == 0) {
    TVR_INFO("Empty set of values\n");
    return true;
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (job.memory->slots.get()[i].facts.is_default) continue;
    TVR_INFO("Found a non-default value (index %d)\n", static_cast<int>(i));
    return true;
  }
  TVR_INFO("All values are default values. Skipping rendering");
  observe_withheld(job.ctx, ZU_TVR_WITHHELD_DEFAULTS);
  return false;
}

int32_t render_gathered(print_job &job) noexcept {
  if (!job.plan->has_arrays) {
    bool holds = false;
    if (!check_condition(job, &holds)) {
      TVR_ERROR("Failed to verify condition");
      return ZU_TVR_STEP_FAILED;
    }
    if (!holds) return ZU_TVR_STEP_NOTHING;
  }
  job.line = start_line(job.data, job.ctx);
  if (job.line == nullptr) {
    fail(job.ctx, ZU_EXHAUSTED, "Failed to allocate output buffer");
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
  job.memory->clear_slots();
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
  if (data->cond != nullptr && !job.conditions.start(data->plan, job.memory)) {
    TVR_ERROR("Failed to allocate condition properties");
    return ZU_TVR_STEP_FAILED;
  }
  return data->props_map == nullptr ? walk_without_properties(job) : walk_with_properties(job);
}

} // namespace tvr
