// The walk of a print node: gathers the values of its line, checks its condition, and renders the line.
#include "print_job.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

int32_t walk_print(zu_tvr_print_data *data, zu_tvr_print_scratch_data *scratch,
                   zu_tvr_walk_ctx *ctx) noexcept;

namespace {

// The value slots of one walk: on the stack for lines of the usual size.
class value_slots {
public:
  value_slots() noexcept = default;
  ~value_slots() {
    for (int32_t i = 0; i < count_; ++i) {
      if (slots_[i].location != nullptr) qfree_named(slots_[i].location);
    }
  }
  value_slots(const value_slots &) = delete;
  value_slots &operator=(const value_slots &) = delete;

  // `count` empty slots; false when memory is exhausted.
  bool make(int32_t count) noexcept {
    if (count > usual) {
      allocated_ = make_zeroed_array<value_slot>(static_cast<size_t>(count));
      if (!allocated_) return false;
      slots_ = allocated_.get();
    }
    for (int32_t i = 0; i < count; ++i) slots_[i] = {nullptr, nullptr, -1};
    count_ = count;
    return true;
  }
  value_slot *get() noexcept { return slots_; }

private:
  static constexpr int32_t usual = 16;

  value_slot fixed_[usual]; // only the first count_ are ever written or read
  block<value_slot> allocated_;
  value_slot *slots_ = fixed_;
  int32_t count_ = 0;
};

int32_t walk_without_properties(zu_tvr_print_data *data, zu_tvr_walk_ctx *ctx,
                                zu_do_properties *conditions) noexcept {
  TVR_INFO("print node: rendering without any properties");
  bool holds = false;
  if (!check_condition(data, ctx, conditions, holds)) {
    TVR_ERROR("Failed to verify conditions");
    return ZU_TVR_STEP_FAILED;
  }
  if (!holds) return ZU_TVR_STEP_NOTHING;
  zu_do_strbuf *line = walk_line(ctx);
  if (!start_line(data, ctx, line)) return ZU_TVR_STEP_FAILED;
  zu_do_strbuf_add_string(line, data->format);
  return put_line(ctx, line) ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_FAILED;
}

bool ask_show_tech(const zu_tvr_walk_ctx *ctx) noexcept {
  return ctx->arguments != nullptr && zu_do_properties_get_int(ctx->arguments, "_in_show_tech", nullptr) == 1;
}

// The arguments are those of the render, so that asking once per node will do.
bool is_show_tech(const print_job &job) noexcept {
  if (job.ctx->arguments == nullptr) return false;
  auto *memo = static_cast<print_memo *>(job.scratch->memo);
  if (memo == nullptr) return ask_show_tech(job.ctx);
  if (memo->show_tech < 0) memo->show_tech = ask_show_tech(job.ctx) ? 1 : 0;
  return memo->show_tech == 1;
}

// A line whose every value is default is not rendered unless defaults are.
bool has_something_to_say(const print_job &job) noexcept {
  if (job.ctx->render_defaults != 0) return true;
  const int32_t count = job.map->num_items;
  if (count == 0) {
    TVR_INFO("Empty set of values\n");
    return true;
  }
  for (int32_t i = 0; i < count; ++i) {
    zu_do_value *value = job.slots[i].value;
    if (value != nullptr && zu_do_value_is_default(value)) continue;
    TVR_INFO("Found a non-default value (index %d)\n", i);
    return true;
  }
  TVR_INFO("All values are default values. Skipping rendering");
  return false;
}

int32_t render_gathered(print_job &job) noexcept {
  if (!has_arrays(job.map)) {
    bool holds = false;
    if (!check_condition(job.data, job.ctx, job.conditions, holds)) {
      TVR_ERROR("Failed to verify condition");
      return ZU_TVR_STEP_FAILED;
    }
    if (!holds) return ZU_TVR_STEP_NOTHING;
  }
  zu_do_strbuf *line = walk_line(job.ctx);
  if (!start_line(job.data, job.ctx, line)) {
    fail(job.ctx, ZU_EXHAUSTED, "Failed to allocate output buffer");
    return ZU_TVR_STEP_FAILED;
  }
  job.show_tech = is_show_tech(job);
  TVR_DEBUG("Calling render_line: in_show_tech=[%d]\n", job.show_tech ? 1 : 0);
  if (!has_something_to_say(job) || render_line(job, 0, line)) return ZU_TVR_STEP_WALK;
  TVR_ERROR("Failed to render %s", job.data->format);
  return ZU_TVR_STEP_FAILED;
}

} // namespace

int32_t walk_print(zu_tvr_print_data *data, zu_tvr_print_scratch_data *scratch,
                   zu_tvr_walk_ctx *ctx) noexcept {
  if (ctx == nullptr) {
    TVR_ERROR("TVR Walk context is NULL");
    return ZU_TVR_STEP_FAILED;
  }
  ref<zu_do_properties> conditions; // nobody would read those of a node without a condition
  if (data->cond != nullptr) {
    conditions = ref<zu_do_properties>::adopt(zu_do_properties_new());
    if (!conditions) {
      TVR_ERROR("Failed to allocate condition properties");
      return ZU_TVR_STEP_FAILED;
    }
  }
  if (data->props_map == nullptr) return walk_without_properties(data, ctx, conditions.get());

  TVR_INFO("print node: attempting to render \"%s\"", data->format);
  value_slots slots;
  if (!slots.make(data->props_map->num_items)) {
    TVR_ERROR("Failed to allocate values buffer");
    report(ctx, ZU_EXHAUSTED, "Failed to allocate values buffer");
    return ZU_TVR_STEP_FAILED;
  }
  print_job job = {.data = data,
                   .scratch = scratch,
                   .ctx = ctx,
                   .prepared = static_cast<const prepared_print *>(data->prepared),
                   .map = data->props_map,
                   .conditions = conditions.get(),
                   .slots = slots.get(),
                   .show_tech = false,
                   .expansions = 0};
  const int32_t gathered = gather_values(job);
  return gathered == ZU_TVR_STEP_WALK ? render_gathered(job) : gathered;
}

} // namespace tvr
