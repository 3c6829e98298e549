// A print node's line, compiled when its data is made: the format's literal texts, its slots, and what is
// read for them. Also what is remembered of it for each node and walk.
#pragma once

#include <string_view>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/uri_program.hpp"
#include "zu_tovra/print.h"

namespace tvr {

inline constexpr uint32_t no_condition = UINT32_MAX;

// A "%s" of the format.
struct planned_slot {
  zu_tvr_fmt_item *item;          // none: no property was put there
  const zu_tvr_array_data *array; // of an array kind that has it, else none
  uint32_t property;              // of the plan's properties: the last that fills it; `property_count`: none
  uint32_t condition;             // its condition property, or no_condition
  uint32_t partner_condition;     // that of the array's partner, or no_condition
};

struct planned_property {
  zu_do_name *name; // borrowed from the map
  int32_t index;    // in the map
  uint32_t condition;
  zu_tvr_fmt_item *item; // of a format slot; none when it has none, and for an extra property
  bool is_extra;
};

// What is read from one record.
struct planned_read {
  const zu_tvr_uri_item *item;
  const planned_property *properties;
  uint32_t count;
  uint32_t first; // of its properties among those of the plan
};

} // namespace tvr

struct zu_tvr_line_plan {
  uint64_t id = tvr::next_id();          // of this plan, ever: addresses are used again
  tvr::text texts;                       // the format, padded
  tvr::block<std::string_view> literals; // one more than slots; of `texts`
  tvr::block<tvr::planned_slot> slots;
  uint32_t slot_count; // of the format; `slots` has room for the map's items too
  uint32_t item_count; // of the map
  tvr::block<tvr::planned_read> reads;
  uint32_t read_count;
  tvr::block<tvr::planned_property> properties;
  uint32_t property_count;
  tvr::block<zu_do_name *> condition_names; // "tvr0" and so on, one reference each, by condition property
  uint32_t condition_count;                 // 0 for a node without a condition
  bool has_arrays;                          // the condition is tested per line
  bool has_partners;                        // an array's elements show elsewhere in the line too

  ~zu_tvr_line_plan();
};

namespace tvr {

// The extra property that carries an index, searched from one on; none when there is none.
const zu_tvr_extra_prop *find_extra(const zu_tvr_extra_prop *from, int32_t index) noexcept;

// The data's format, map, condition text and eval properties are set. None when memory is exhausted.
owned<zu_tvr_line_plan> plan_line(const zu_tvr_print_data *data) noexcept;

inline bool is_array_kind(const zu_tvr_fmt_item *item) noexcept {
  return item->kind == TVR_KIND_ARRAY_ELEMENT || item->kind == TVR_KIND_ARRAY_INDEX;
}

// ---- Per node and walk ----

// What a format item shows beside its value.
struct slot_state {
  char *location;       // owned: the text of a location, or none
  int32_t element;      // array element being rendered; -1: none
  int32_t line_element; // the one that the line at hand is for; -1: the line shows the whole value
};

// Where the properties of a read stand in records of the shape seen last, and the record of the line at hand.
struct read_memory {
  const void *shape;      // none: nothing is known
  zu_do_properties *held; // one reference: while it is held the shape's address is of no other
  bool whole;             // every property has a position
  zu_do_properties *record;
  const char *uri; // of the record
};

} // namespace tvr

struct zu_tvr_line_memory {
  uint64_t plan; // the id of what all of this was made for
  tvr::block<tvr::slot_state> slots;
  uint32_t slot_count;
  tvr::block<tvr::read_memory> reads;
  uint32_t read_count;
  tvr::block<int32_t> positions;              // by property of the plan
  tvr::block<zu_do_value_facts> facts;        // the same, borrowed from cached records; behind them, of none
  tvr::block<zu_do_value *> condition_values; // by condition property: borrowed; none: not set
  tvr::ref<zu_do_properties> conditions;      // filled line by line, when the platform has such records
  tvr::ref<zu_do_value> null;                 // what defaults count as, for a plan with conditions
  tvr::text_buffer missing; // while the walk is observed: the URI of a record that is missing

  ~zu_tvr_line_memory();
  void clear_elements() noexcept {
    for (uint32_t i = 0; i < slot_count; ++i) slots.get()[i].element = slots.get()[i].line_element = -1;
  }
};

namespace tvr {

void line_memory_delete(zu_tvr_line_memory *memory) noexcept; // null is ignored
zu_tvr_line_memory *make_line_memory(zu_tvr_print_scratch_data *scratch,
                                     const zu_tvr_line_plan *plan) noexcept;
// The node's memory of the plan, made on first use; none when memory is exhausted.
inline zu_tvr_line_memory *line_memory(zu_tvr_print_scratch_data *scratch,
                                       const zu_tvr_line_plan *plan) noexcept {
  zu_tvr_line_memory *memory = scratch->memory;
  return memory != nullptr && memory->plan == plan->id ? memory : make_line_memory(scratch, plan);
}

} // namespace tvr
