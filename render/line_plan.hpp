// The plan of a print node's line, and its memory.
//
// A format is rendered for every record, so it is taken apart once, when the
// node's data is made: literal texts, slots, and the properties to read. The plan
// is shared by all renders and only read. The memory belongs to one node and walk:
// the values of the current line, and where a record of the same shape has them.
#pragma once

#include <string_view>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/internal/uri_program.hpp"
#include "zu_tovra/print.h"

namespace tvr {

inline constexpr uint32_t no_condition = UINT32_MAX;

// One "%s" of the format.
struct planned_slot {
  zu_tvr_fmt_item *item;          // null: no property was put there
  const zu_tvr_array_data *array; // of an item of an array kind, else null
  uint32_t property;              // index of the last property that fills it; `property_count`: none
  uint32_t condition;             // its condition property, or no_condition
  uint32_t partner_condition;     // that of the array's partner, or no_condition
};

struct planned_property {
  zu_do_name *name; // borrowed from the map
  int32_t index;    // in the map
  uint32_t condition;
  zu_tvr_fmt_item *item; // of a format slot; null for a slot without an item and for an extra property
  bool is_extra;
};

// The properties that are read from one record.
struct planned_read {
  const zu_tvr_uri_item *item;
  const planned_property *properties;
  uint32_t count;
  uint32_t first; // of its properties among those of the plan
};

} // namespace tvr

struct zu_tvr_line_plan {
  uint64_t id = tvr::next_id();          // an address would not do: it is used again after a reload
  tvr::text texts;                       // the format, padded
  tvr::block<std::string_view> literals; // the texts around the slots, one more than these; parts of `texts`
  tvr::block<tvr::planned_slot> slots;
  uint32_t slot_count; // number of "%s"; `slots` also has room for the map's items
  uint32_t item_count; // number of the map's items
  tvr::block<tvr::planned_read> reads;
  uint32_t read_count;
  tvr::block<tvr::planned_property> properties;
  uint32_t property_count;
  tvr::block<zu_do_name *> condition_names; // "tvr0" and so on, one reference each, by condition property
  uint32_t condition_count;                 // 0 for a node without a condition
  bool has_arrays;                          // then the condition is checked for each line, not once
  bool has_partners;                        // two slots show the same element of an array

  ~zu_tvr_line_plan();
};

namespace tvr {

// The extra property with an index, searched from the given one on; null when there is none.
const zu_tvr_extra_prop *find_extra(const zu_tvr_extra_prop *from, int32_t index) noexcept;

// The plan of a print node, whose format, map, condition text
// and eval properties are set. Null when memory is exhausted.
owned<zu_tvr_line_plan> plan_line(const zu_tvr_print_data *data) noexcept;

inline bool is_array_kind(const zu_tvr_fmt_item *item) noexcept {
  return item->kind == TVR_KIND_ARRAY_ELEMENT || item->kind == TVR_KIND_ARRAY_INDEX;
}

// ---- Per node and walk ----

// The state of a format slot in the current line, beside its value.
struct slot_state {
  char *location;       // owned: the text of a location, or null
  int32_t element;      // the array element that its partner is rendering; -1: none
  int32_t line_element; // for observers: the element that the current line shows; -1: the whole value
};

// The positions of a read's properties in records of one shape. The records of a collection mostly have the
// same columns (a shape), so that a value is found by its position instead of by name.
struct read_memory {
  const void *shape;      // the shape that was read last; null: no position is known
  zu_do_properties *held; // one reference on a record of the shape: no other shape can then have its address
  bool whole;             // every property has a position
  zu_do_properties *record; // of the current line, borrowed
  const char *uri;          // of that record, borrowed
};

} // namespace tvr

struct zu_tvr_line_memory {
  uint64_t plan; // the id of the plan for which this memory was made
  tvr::block<tvr::slot_state> slots;
  uint32_t slot_count;
  tvr::block<tvr::read_memory> reads;
  uint32_t read_count;
  tvr::block<int32_t> positions;       // by property of the plan
  tvr::block<zu_do_value_facts> facts; // the same, borrowed from cached records; the last is always empty
  tvr::block<zu_do_value *> condition_values; // by condition property: borrowed; null: not set
  tvr::ref<zu_do_properties> conditions;      // the record that is filled again for each line
  tvr::ref<zu_do_value> null;                 // the value that conditions see for defaults
  tvr::text_buffer missing;                   // for an observer: the URI of a record that is not in scope

  ~zu_tvr_line_memory();
  void clear_elements() noexcept {
    for (uint32_t i = 0; i < slot_count; ++i) slots.get()[i].element = slots.get()[i].line_element = -1;
  }
};

namespace tvr {

void line_memory_delete(zu_tvr_line_memory *memory) noexcept; // null is ignored
zu_tvr_line_memory *make_line_memory(zu_tvr_print_scratch_data *scratch,
                                     const zu_tvr_line_plan *plan) noexcept;
// The node's memory for the plan, made at first use; null when memory is exhausted.
inline zu_tvr_line_memory *line_memory(zu_tvr_print_scratch_data *scratch,
                                       const zu_tvr_line_plan *plan) noexcept {
  zu_tvr_line_memory *memory = scratch->memory;
  return memory != nullptr && memory->plan == plan->id ? memory : make_line_memory(scratch, plan);
}

} // namespace tvr
