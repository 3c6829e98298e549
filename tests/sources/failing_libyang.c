#define NAME "LIBYANG"
#include "failing.h"

#include <libyang/libyang.h>

FORWARD(LY_ERR, ly_ctx_new, (const char *directory, uint16_t options, struct ly_ctx **made),
        (directory, options, made), LY_EMEM)
FORWARD(LY_ERR, ly_ctx_set_searchdir, (struct ly_ctx * context, const char *directory), (context, directory),
        LY_EINT)
FORWARD(struct lys_module *, ly_ctx_load_module,
        (struct ly_ctx * context, const char *name, const char *revision, const char **features),
        (context, name, revision, features), NULL)
FORWARD(LY_ERR, ly_ctx_compile, (struct ly_ctx * context), (context), LY_EINT)
FORWARD(LY_ERR, lys_find_expr_atoms,
        (const struct lysc_node *node, const struct lys_module *module, const struct lyxp_expr *path,
         const struct lysc_prefix *prefixes, uint32_t options, struct ly_set **found),
        (node, module, path, prefixes, options, found), LY_EMEM)
FORWARD(LY_ERR, ly_in_new_memory, (const char *text, struct ly_in **made), (text, made), LY_EMEM)
FORWARD(LY_ERR, lyd_parse_data,
        (const struct ly_ctx *context, struct lyd_node *parent, struct ly_in *in, LYD_FORMAT format,
         uint32_t parse, uint32_t validate, struct lyd_node **tree),
        (context, parent, in, format, parse, validate, tree), LY_EINT)
FORWARD(LY_ERR, lyd_validate_all,
        (struct lyd_node * *tree, const struct ly_ctx *context, uint32_t options, struct lyd_node **changes),
        (tree, context, options, changes), LY_EINT)
/* What is looked for to say what is wrong. */
FORWARD(LY_ERR, lyd_find_path,
        (const struct lyd_node *data, const char *path, ly_bool output, struct lyd_node **found),
        (data, path, output, found), LY_EMEM)
FORWARD(const struct lysc_node *, lys_find_path,
        (const struct ly_ctx *context, const struct lysc_node *node, const char *path, ly_bool output),
        (context, node, path, output), NULL)
FORWARD(char *, lyd_path, (const struct lyd_node *node, LYD_PATH_TYPE type, char *room, size_t length),
        (node, type, room, length), NULL)
FORWARD(LY_ERR, lys_search_localfile,
        (const char *const *folders, ly_bool working, const char *name, const char *revision, char **found,
         LYS_INFORMAT *format),
        (folders, working, name, revision, found, format), LY_EMEM)
FORWARD(const char *, lyd_value_get_canonical, (const struct ly_ctx *context, const struct lyd_value *value),
        (context, value), NULL)
FORWARD(char *, lysc_path, (const struct lysc_node *node, LYSC_PATH_TYPE type, char *room, size_t length),
        (node, type, room, length), NULL)
