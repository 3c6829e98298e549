/* Loaded before libyang: the call of it whose number stands in FAIL_LIBYANG fails; the calls are counted into
 * the file that COUNT_LIBYANG names. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <libyang/libyang.h>
#include <stdio.h>
#include <stdlib.h>

static long calls;
static int depth; /* calls that libyang makes of itself do not count */

__attribute__((destructor)) static void tell(void) {
  const char *name = getenv("COUNT_LIBYANG");
  FILE *file = name != NULL ? fopen(name, "w") : NULL;
  if (file == NULL) return;
  fprintf(file, "%ld", calls);
  fclose(file);
}

static int fails(void) {
  const char *wanted = getenv("FAIL_LIBYANG");
  return ++calls == (wanted != NULL ? atol(wanted) : 0);
}

#define FORWARD(type, name, parameters, arguments, failure) \
  type name parameters {                                    \
    type(*next) parameters;                                 \
    *(void **)&next = dlsym(RTLD_NEXT, #name);              \
    if (depth == 0 && fails()) return failure;              \
    ++depth;                                                \
    type result = next arguments;                           \
    --depth;                                                \
    return result;                                          \
  }

FORWARD(LY_ERR, ly_ctx_new, (const char *directory, uint16_t options, struct ly_ctx **made),
        (directory, options, made), LY_EMEM)
FORWARD(LY_ERR, ly_ctx_set_searchdir, (struct ly_ctx * context, const char *directory), (context, directory),
        LY_EINT)
FORWARD(struct lys_module *, ly_ctx_load_module,
        (struct ly_ctx * context, const char *name, const char *revision, const char **features),
        (context, name, revision, features), NULL)
FORWARD(LY_ERR, ly_ctx_compile, (struct ly_ctx * context), (context), LY_EINT)
FORWARD(LY_ERR, ly_in_new_memory, (const char *text, struct ly_in **made), (text, made), LY_EMEM)
FORWARD(LY_ERR, lyd_parse_data,
        (const struct ly_ctx *context, struct lyd_node *parent, struct ly_in *in, LYD_FORMAT format,
         uint32_t parse, uint32_t validate, struct lyd_node **tree),
        (context, parent, in, format, parse, validate, tree), LY_EINT)
FORWARD(LY_ERR, lyd_validate_all,
        (struct lyd_node * *tree, const struct ly_ctx *context, uint32_t options, struct lyd_node **changes),
        (tree, context, options, changes), LY_EINT)
FORWARD(const char *, lyd_value_get_canonical, (const struct ly_ctx *context, const struct lyd_value *value),
        (context, value), NULL)
FORWARD(char *, lysc_path, (const struct lysc_node *node, LYSC_PATH_TYPE type, char *room, size_t length),
        (node, type, room, length), NULL)
