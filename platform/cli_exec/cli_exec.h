/* The CLI execution library: commands, conditions, a host's request contexts. */
#ifndef CLI_EXEC_CLI_EXEC_H
#define CLI_EXEC_CLI_EXEC_H

#include "cli_exec/interfaces.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Small things of a request ---- */

/* What keeps the errors of a request together with its result interface. None when memory is exhausted or
 * the interface is none. */
typedef struct zu_results_array zu_results_array;
zu_results_array *zu_results_array_new(zu_result_ifc *results);
void zu_results_array_free(zu_results_array *array); /* none is ignored */

/* Reports (context, code, message). */
typedef int (*zu_cli_error_fn)(void *context, int32_t code, const char *message);

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
 * or a negative result and none in `*text`. "%s" of none is "(null)". */
int zu_printf(char **text, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* The number of a location scheme name ("DEFAULT", "SLOT", "PORT"): 0 on success, else non-zero. */
int zu_exec_str_to_location_scheme(const char *text, uint32_t *scheme);

/* ---- Conditions ----
 *     condition = ( pair / group )+              all of them must hold
 *     pair      = operand operand                the two are equal; at this level only
 *     group     = "(" op arg+ ")"
 *     arg       = operand / group
 *     operand   = "(" "eval" string ")" / "$" name / JSON number, string, true, false, null
 *     op        = and / or / not / eq / ne / lt / le / gt / ge / set
 */
typedef struct zu_cond_list zu_cond_list;

/* Parses a whole condition text: true, and a list that the caller frees or hands over. False after one call
 * of `error` (may be none) with `context`, ZU_FAILED (or ZU_EXHAUSTED) and a message with the column. */
bool parse_cond_expr_no_trailing(void *context, zu_cli_error_fn error, const char *command,
                                 const char *text, zu_cond_list **list);
void zu_cond_list_free(zu_cond_list *list); /* none is ignored */

typedef struct zu_cli_cmd_op zu_cli_cmd_op;
/* Takes the condition list over on success only; stores its other arguments unread. None on failure. */
zu_cli_cmd_op *zu_cli_cmd_op_new(uintptr_t context, zu_cli_error_fn error, int kind, int a, const char *text1,
                                 const char *text2, zu_cond_list *conditions, int b, int c, int d, int e);
void zu_cli_cmd_op_free(zu_cli_cmd_op *op); /* none is ignored */

/* Evaluates the operation's conditions over the condition properties: true, and the answer in `*holds`;
 * false only when memory is exhausted. Any number of threads may evaluate one operation. */
bool zu_cli_exec_resolve_cond(zu_cli_context *cli, zu_results_array *results, const char *command,
                              zu_cli_cmd_op *op, zu_do_properties *properties, bool *holds);

/* ---- What a host needs to make requests ---- */

/* Called with every error that is recorded, in order; the message is borrowed for the call. */
typedef void (*zu_cli_on_error_fn)(void *context, int32_t code, const char *message);

/* A CLI context over a data interface (shared), with a result interface that hands every error to
 * `on_error` (may be none), and a configuration interface without configurations. None when memory is
 * exhausted. */
zu_cli_context *zu_cli_context_new(zu_data_ifc *data, zu_cli_on_error_fn on_error, void *error_context);
/* Registers a named configuration (shared); a name that is there already is replaced. 0 or a code. */
int zu_cli_context_add_config(zu_cli_context *cli, const char *name, zu_data_ifc *data);
void zu_cli_context_free(zu_cli_context *cli); /* none is ignored */

#ifdef __cplusplus
}
#endif

#endif
