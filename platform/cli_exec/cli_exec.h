/* The CLI execution library: commands, conditions, a host's request contexts. */
#ifndef CLI_EXEC_CLI_EXEC_H
#define CLI_EXEC_CLI_EXEC_H

#include "cli_exec/interfaces.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Objects of a request ---- */

/* Watches a result interface: it counts the errors that are recorded there and keeps the last one. Only an
 * interface made by zu_cli_context_new can be watched; for another one the array keeps the errors that this
 * library reports. The interface is borrowed; it may end before the array, together with its context. Null
 * when memory is exhausted or the interface is null. */
typedef struct zu_results_array zu_results_array;
zu_results_array *zu_results_array_new(zu_result_ifc *results);
void zu_results_array_free(zu_results_array *array); /* null is ignored */
uint32_t zu_results_array_get_len(zu_results_array *array);
/* Borrowed until the next error; null when there is none, or there was no memory to copy it. */
zu_do_error *zu_results_array_get_last(zu_results_array *array);

/* Reports (context, code, message). */
typedef int (*zu_cli_error_fn)(void *context, int32_t code, const char *message);

/* A command: a copy of its name, and the function to which it
 * reports. Null when the name is null or memory is exhausted. */
typedef struct zu_cli_cmd zu_cli_cmd;
zu_cli_cmd *zu_cli_cmd_new(void *context, zu_cli_error_fn error, const char *name);
void zu_cli_cmd_deref(zu_cli_cmd *command);
const char *zu_cli_cmd_get_name(zu_cli_cmd *command); /* borrowed */

/* The framework's user-I/O record. */
typedef struct zu_cli_user_io {
  void *input;
  void *output;
  void *error;
  uint64_t flags;
} zu_cli_user_io;

/* A new formatted text, charged to the library's area (0x2800000) and freed with qfree_named; its length,
 * or a negative result and null in `*text`. "%s" of null is "(null)". */
int zu_printf(char **text, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* The number of a location scheme ("DEFAULT", "SLOT" or "PORT",
 * in capitals): 0, or non-zero and `*scheme` is unchanged. */
int zu_exec_str_to_location_scheme(const char *text, uint32_t *scheme);

/* ---- Conditions ----
 *     condition = ( pair / group )+              all of them must be true
 *     pair      = operand operand                the two are equal; at this level only
 *     group     = "(" op arg+ ")"
 *     arg       = operand / group
 *     operand   = "(" "eval" string ")" / "$" name / JSON number, string, true, false, null
 *     op        = and / or / not / eq / ne / lt / le / gt / ge / set
 *
 * Blanks separate; groups nest at most 64 deep. An eval string that is '$' and a name names a property, one
 * from '{' to '}' is a value from JSON (zu_do_value_from_json), any other is that string. A property name has
 * no blanks, control bytes, quotes or parentheses.
 *
 * A property that is absent, without value or null is null. `eq` and `ne` compare values, numbers by size;
 * `lt`, `le`, `gt`, `ge` compare numbers by size and anything else by display text, byte by byte, and are
 * false when either side is null; `set` is true for what is not null. A group in the place of a value is a
 * boolean; an operand in the place of a truth is true unless it is null, false, 0 or shows as no text.
 */
typedef struct zu_cond_list zu_cond_list;

/* Parses a whole condition text: true, and a list that the caller frees or hands over. False after one call
 * of `error` (may be null) with `context`, ZU_FAILED (or ZU_EXHAUSTED) and a message that ends with the
 * column, in bytes from 1; then `*list` is null. A text of null counts as empty, which is not a condition. */
bool parse_cond_expr_no_trailing(void *context, zu_cli_error_fn error, const char *command, const char *text,
                                 zu_cond_list **list);
void zu_cond_list_free(zu_cond_list *list); /* null is ignored */

typedef struct zu_cli_cmd_op zu_cli_cmd_op;
/* Takes the condition list over on success only; stores its other arguments unread. Null on failure. */
zu_cli_cmd_op *zu_cli_cmd_op_new(uintptr_t context, zu_cli_error_fn error, int kind, int a, const char *text1,
                                 const char *text2, zu_cond_list *conditions, int b, int c, int d, int e);
void zu_cli_cmd_op_free(zu_cli_cmd_op *op); /* null is ignored */

/* Evaluates the operation's conditions over the condition properties (null: no property is set): true, and
 * the result in `*holds`, which is true for an operation without conditions. False only when memory is
 * exhausted, which is reported through `results` (may be null); the other arguments are not read. Any number
 * of threads may evaluate one operation, each with its own results and properties. */
bool zu_cli_exec_resolve_cond(zu_cli_context *cli, zu_results_array *results, const char *command,
                              zu_cli_cmd_op *op, zu_do_properties *properties, bool *holds);

/* ---- What a host needs to make requests ---- */

/* Called with every error that is recorded, in order; the message is borrowed for the call. */
typedef void (*zu_cli_on_error_fn)(void *context, int32_t code, const char *message);

/* A CLI context over a data interface (shared; may be null), with a result interface that hands every error
 * to `on_error` (may be null), and a configuration interface without configurations. The host may set the
 * other members, and replace these interfaces by its own. Null when memory is exhausted or the data interface
 * refuses the reference. */
zu_cli_context *zu_cli_context_new(zu_data_ifc *data, zu_cli_on_error_fn on_error, void *error_context);
/* Adds a named configuration (shared) to a context made by zu_cli_context_new, or replaces the one of that
 * name. 0, or a code and no change. */
int zu_cli_context_add_config(zu_cli_context *cli, const char *name, zu_data_ifc *data);
void zu_cli_context_free(zu_cli_context *cli); /* null is ignored */

#ifdef __cplusplus
}
#endif

#endif
