// What the renderer of print nodes shares among its files: what is prepared per node, remembered per render
// and gathered per line.
#pragma once

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/print.h"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

// ---- Per node: made with the print data, read-only afterwards ----

// Literal text of the format; each but the last is followed by a slot ("%s").
struct format_run {
  const char *text; // in the print data's format
  size_t length;
};

struct prepared_print {
  format_run *runs; // slot_count + 1
  uint32_t slot_count;
  uint32_t cond_name_count; // 0 for a node without a condition
  zu_do_name **cond_names;  // "tvr0", "tvr1" and so on
  zu_do_name *pending;      // of a record's pending attributes
};

// None when memory is exhausted.
prepared_print *prepare_print(const char *format, const zu_tvr_props_map *map, bool has_cond) noexcept;
void delete_prepared(prepared_print *prepared) noexcept;

// ---- Per node and render: where the properties of a URI item stand in records of the last shape seen ----

struct slot_memo {
  zu_do_name *name; // compared only; none: not looked for yet
  int32_t slot;     // -1: not in the shape
};

struct item_memo {
  const void *shape;      // none: nothing remembered
  zu_do_properties *held; // one reference: while it is held the shape's address is of no other
  int32_t pending_slot;
  int32_t count;
  slot_memo *slots; // by position in the URI item
};

struct print_memo {
  int32_t show_tech; // of the walk's arguments: -1 not asked yet
  uint32_t item_count;
  item_memo *items; // in the order of the map's URI items
};

// The node's memo, made on first use; none when memory is exhausted, which only costs time.
print_memo *memo_of(zu_tvr_print_scratch_data *scratch, const zu_tvr_props_map *map) noexcept;
void delete_memo(print_memo *memo) noexcept;

// ---- Per line ----

// The value of a format item.
struct value_slot {
  zu_do_value *value; // borrowed from a cached record, or none
  char *location;     // owned: the text of a location, or none
  int32_t element;    // array element being rendered; -1: none
};

struct print_job {
  zu_tvr_print_data *data;
  zu_tvr_print_scratch_data *scratch;
  zu_tvr_walk_ctx *ctx;
  const prepared_print *prepared;
  zu_tvr_props_map *map;
  zu_do_properties *conditions; // none for a node without a condition
  value_slot *slots;            // one per format item
  bool show_tech;
  int expansions; // array expansions inside one another
};

// Fills the slots and the condition properties from the cached records: ZU_TVR_STEP_WALK to go on, or the
// walk's result.
int32_t gather_values(print_job &job) noexcept;

// Condition properties. `not_set` and `no_name`: memory is exhausted; nothing traced.
enum class condition_set { done, no_name, not_set };
condition_set set_condition(const print_job &job, int32_t index, zu_do_value *value) noexcept;
condition_set set_condition_null(const print_job &job, int32_t index) noexcept;
condition_set set_condition_number(const print_job &job, int32_t index, int32_t number) noexcept;
// The name of a condition property: prepared, or kept in `made`; none when memory is exhausted.
zu_do_name *condition_name(const print_job &job, int32_t index, ref<zu_do_name> &made) noexcept;

// Parses the node's condition into `cond_op`, which stays none (traced) when it cannot be.
void make_condition(zu_tvr_print_data *data) noexcept;
// False after a failure (traced); else whether the condition holds.
bool check_condition(zu_tvr_print_data *data, zu_tvr_walk_ctx *ctx, zu_do_properties *conditions,
                     bool &holds) noexcept;

// Writes the start of a line: the newline character of the node, and the indentation. False (traced and
// reported) when the buffer is none.
bool start_line(const zu_tvr_print_data *data, zu_tvr_walk_ctx *ctx, zu_do_strbuf *line) noexcept;
// The walk's own line buffer, emptied; none when it cannot be made.
zu_do_strbuf *walk_line(zu_tvr_walk_ctx *ctx) noexcept;
// Hands a line out. False (traced, an exhausted buffer reported) when it is not taken.
bool put_line(zu_tvr_walk_ctx *ctx, zu_do_strbuf *line) noexcept;

// ---- Line renderer ----

// Renders the format from a slot's literal text on into the line, and completes the line. False on failure.
bool render_line(print_job &job, uint32_t slot, zu_do_strbuf *line) noexcept;
// Renders the rest of the line once per element of a slot's array, as its item's array data says.
bool expand_array(print_job &job, uint32_t slot, const zu_tvr_array_data &array, zu_do_strbuf *line) noexcept;
// Renders all elements of a slot's array into the line.
bool render_inline_array(print_job &job, uint32_t slot, zu_do_strbuf *line) noexcept;
// Renders the one element that the slot names; `*stop` when the rest of the line is left to the pass of the
// array's last element.
bool render_element_directly(print_job &job, uint32_t slot, zu_do_strbuf *line, bool &stop) noexcept;

inline bool is_array_kind(const zu_tvr_fmt_item *item) noexcept {
  return item->kind == TVR_KIND_ARRAY_ELEMENT || item->kind == TVR_KIND_ARRAY_INDEX;
}
// The array data of an item of an array kind; none when it has none.
inline const zu_tvr_array_data *array_data_of(const zu_tvr_fmt_item *item) noexcept {
  return item->data_kind == TVR_KIND_ARRAY_ELEMENT ? static_cast<const zu_tvr_array_data *>(item->data)
                                                   : nullptr;
}
inline bool has_arrays(const zu_tvr_props_map *map) noexcept {
  return (map->type_flags[0] & TVR_MAP_HAS_ELEMENT) != 0 || (map->type_flags[1] & TVR_MAP_HAS_INDEX) != 0;
}

// Appends what a value shows as, mapped or quoted, and its length. False on failure.
bool append_value(zu_tvr_fmt_item *item, zu_do_value *value, zu_do_strbuf *line, size_t &length) noexcept;

// ---- Locations ----

// The location of the record of a URI item, read at the item's first location property.
class item_location {
public:
  item_location() noexcept = default;
  ~item_location();
  item_location(const item_location &) = delete;
  item_location &operator=(const item_location &) = delete;

  // The location's text as the item asks for it; none on failure (traced).
  text text_for(const zu_tvr_uri_item *uri_item, const zu_tvr_fmt_item *item, zu_do_value *value) noexcept;

private:
  bool read(const zu_tvr_uri_item *uri_item, uint32_t scheme, zu_do_value *value) noexcept;

  bool done_ = false;
  tarvo_location location_ = {};
  locsvcs_nvlist fields_ = {};
};

} // namespace tvr
