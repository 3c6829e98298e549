/* The data of a print node, which turns the records in scope into one line, or several, of CLI text. */
#ifndef ZU_TOVRA_PRINT_H
#define ZU_TOVRA_PRINT_H

#include "zu_tovra/props_map.h"

ZU_TVR_BEGIN

/* Of one walk. */
typedef struct zu_tvr_print_scratch_data {
  uint8_t failed; /* a record reported a pending failure for a property of the line being rendered */

  /* Private: what the renderer remembers of the line plan that was rendered last. */
  struct zu_tvr_line_memory *memory; /* owned; none before the first line */
} zu_tvr_print_scratch_data;

typedef struct zu_tvr_print_data zu_tvr_print_data;
struct zu_tvr_print_data {
  char *format;                 /* owned */
  zu_tvr_props_map *props_map;  /* owned, or none */
  uint8_t newline;              /* every line begins with a newline character */
  char *cond;                   /* owned, or none */
  zu_cli_cmd_op *cond_op;       /* owned, or none: the parsed condition */
  zu_do_properties *eval_props; /* one reference, or none */
  /* Renders: ZU_TVR_STEP_*. */
  int32_t (*walk)(zu_tvr_print_data *data, zu_tvr_print_scratch_data *scratch, zu_tvr_walk_ctx *ctx);

  /* Private: what the line is compiled to at construction. */
  struct zu_tvr_line_plan *plan; /* owned */
};

/* Takes the properties map over, shares the eval properties, copies the texts. On failure (none, traced)
 * the map is still the caller's. A condition that cannot be parsed does not fail it: the node's condition
 * check then fails at every walk. */
ZU_TVR_API zu_tvr_print_data *zu_tvr_print_data_new(const char *format, zu_tvr_props_map *props_map,
                                                    uint8_t newline, const char *cond,
                                                    zu_do_properties *eval_props) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_print_data_delete(zu_tvr_print_data *data) ZU_TVR_NOEXCEPT; /* none is ignored */
ZU_TVR_API void zu_tvr_print_data_print(FILE *stream, uint32_t indentation,
                                        zu_tvr_print_data *data) ZU_TVR_NOEXCEPT;
ZU_TVR_API zu_tvr_print_scratch_data *zu_tvr_print_scratch_data_new(void) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_print_scratch_data_delete(zu_tvr_print_scratch_data *scratch) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
