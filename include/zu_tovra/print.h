/* The data of a print node, which turns the records in scope into one line of CLI text, or several. Made
 * while templates are loaded and only read afterwards, by any number of renders. */
#ifndef ZU_TOVRA_PRINT_H
#define ZU_TOVRA_PRINT_H

#include "zu_tovra/props_map.h"

ZU_TVR_BEGIN

/* Of one walk and its thread. */
typedef struct zu_tvr_print_scratch_data {
  uint8_t failed; /* 1: a property of this line has a pending failure; a marker precedes the line */

  /* Private: values and positions that the renderer keeps between the lines of this node. */
  struct zu_tvr_line_memory *memory; /* owned; null before the first line */
} zu_tvr_print_scratch_data;

typedef struct zu_tvr_print_data zu_tvr_print_data;
struct zu_tvr_print_data {
  char *format;                /* owned */
  zu_tvr_props_map *props_map; /* owned, or null */
  uint8_t newline;             /* 1: every line begins with a newline character */
  char *cond;                  /* owned, or null */
  zu_cli_cmd_op *cond_op; /* owned: the parsed condition; null without one, and when it cannot be parsed */
  zu_do_properties *eval_props; /* one reference, or null: the eval pairs of the condition */
  /* Writes the lines to the walk's output: a ZU_TVR_STEP_*. NOTHING when a record is not in scope, a value is
   * null or the condition is false; then the children are not walked either. */
  int32_t (*walk)(zu_tvr_print_data *data, zu_tvr_print_scratch_data *scratch, zu_tvr_walk_ctx *ctx);

  /* Private: what the line is compiled to at construction. */
  struct zu_tvr_line_plan *plan; /* owned */
};

/* Takes the properties map over, shares the eval properties, copies the texts; only the format must be given.
 * On failure (null, traced) the map is still the caller's. A condition that cannot be parsed is no failure
 * here: the node's condition check then fails at every walk. */
ZU_TVR_API zu_tvr_print_data *zu_tvr_print_data_new(const char *format, zu_tvr_props_map *props_map,
                                                    uint8_t newline, const char *cond,
                                                    zu_do_properties *eval_props) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_print_data_delete(zu_tvr_print_data *data) ZU_TVR_NOEXCEPT; /* null is ignored */
/* Writes a dump at `indentation` tabs. */
ZU_TVR_API void zu_tvr_print_data_print(FILE *stream, uint32_t indentation,
                                        zu_tvr_print_data *data) ZU_TVR_NOEXCEPT;
/* New scratch data for one walk; null (traced) on failure. The second frees it; null is ignored. */
ZU_TVR_API zu_tvr_print_scratch_data *zu_tvr_print_scratch_data_new(void) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_print_scratch_data_delete(zu_tvr_print_scratch_data *scratch) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
