// One line of a print node that is being gathered and rendered:
// the state and the steps that the renderer's files share.
#pragma once

#include "line_plan.hpp"
#include "zu_tovra/internal/shortcuts.hpp"
#include "zu_tovra/internal/text_buffer.hpp"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

inline constexpr char no_room_for_line[] = "Failed to allocate output buffer";

struct print_job {
  zu_tvr_print_data *data;
  zu_tvr_print_scratch_data *scratch;
  zu_tvr_walk_ctx *ctx;
  const zu_tvr_line_plan *plan;
  zu_tvr_line_memory *memory;
  text_buffer *line;
  zu_do_properties *conditions = nullptr; // borrowed; null without a condition
  size_t marked = 0;                      // bytes of failure markers in front of the line
  int expansions = 0;                     // array expansions inside one another

  // The value of a slot; its `value` is null when no property fills the slot.
  const zu_do_value_facts &value_of(uint32_t slot) const noexcept {
    return memory->facts.get()[plan->slots.get()[slot].property];
  }
};

// The walk operation of print nodes: ZU_TVR_STEP_*.
int32_t walk_print(zu_tvr_print_data *data, zu_tvr_print_scratch_data *scratch,
                   zu_tvr_walk_ctx *ctx) noexcept;

// Fills the slots and the condition properties from the cached records: ZU_TVR_STEP_WALK to go on, or the
// walk's result.
int32_t gather_values(print_job &job) noexcept;

// ---- Conditions ----

// A condition reads $tvrN from a record of condition properties. A line would make and free such a record; so
// each node keeps one per walk, which is filled by position line by line. If the platform has no such
// records, each line makes a new one.

// Sets the condition properties to the gathered values; for a node with a condition. False on failure
// (traced; reported when a value cannot be set).
bool fill_conditions(print_job &job) noexcept;
// Set one condition property. False when memory is exhausted. The position no_condition is ignored.
bool set_condition(const print_job &job, uint32_t position, zu_do_value *value) noexcept;
bool set_condition(const print_job &job, uint32_t position, int32_t number) noexcept;

// Parses the node's condition into `cond_op`, which stays null (traced) when it cannot be parsed.
void make_condition(zu_tvr_print_data *data) noexcept;
bool resolve_condition(const print_job &job, bool *holds) noexcept;
// False after a failure (traced); else whether the condition holds.
inline bool check_condition(const print_job &job, bool *holds) noexcept {
  *holds = true;
  return job.data->cond == nullptr || resolve_condition(job, holds);
}

// True when the walk renders for technical support: then passwords are not shown. The argument is read each
// time and never remembered: a wrong answer would show a secret.
bool is_show_tech(const zu_tvr_walk_ctx *ctx) noexcept;

// Hands out the job's line. False when the output refuses it
// (traced) or the buffer is exhausted (also reported).
bool put_line(const print_job &job) noexcept;

// ---- Line renderer ----

// Renders the format into the line, beginning with the literal text before a slot, and completes the line.
// False on failure.
bool render_line(print_job &job, uint32_t slot) noexcept;
// How the line continues after a slot: with the next slot; not at all, because the line is complete or not
// written; or it has failed.
enum class after_slot { go_on, done, failed };

// Renders the rest of the line once per element of a slot's array, as its item's array data says.
after_slot expand_array(print_job &job, uint32_t slot) noexcept;
// Renders all elements of a slot's array into the line.
after_slot render_inline_array(print_job &job, uint32_t slot) noexcept;
// Renders the one element that the slot shows. `done` when the rest of the line is rendered only in the pass
// of the array's last element.
after_slot render_element_directly(print_job &job, uint32_t slot) noexcept;

// ---- Locations ----

// The location of a URI item's record. It is read once, for the item's first location property.
class item_location {
public:
  item_location() noexcept = default;
  ~item_location() {
    if (fields_.pairs != nullptr) locsvcs_free_nvlist(&fields_);
  }
  item_location(const item_location &) = delete;
  item_location &operator=(const item_location &) = delete;

  // The location's text as the item asks for it; null on failure (traced).
  text text_for(const zu_tvr_uri_item *uri_item, const zu_tvr_fmt_item *item, zu_do_value *value) noexcept;

private:
  bool read(const zu_tvr_uri_item *uri_item, uint32_t scheme, zu_do_value *value) noexcept;

  bool done_ = false; // the location has been read
  tarvo_location location_ = {};
  locsvcs_nvlist fields_ = {}; // empty before it is read
};

} // namespace tvr
