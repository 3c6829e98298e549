// Checks the layout of the records that hosts and the library share: they are compiled apart and must agree
// on every offset.
#include <cstddef>
#include <type_traits>

#include "cli_exec/cli_exec.h"

namespace {

constexpr size_t word = sizeof(void *);

// The slot of a table, counted in pointers from its start.
#define SLOT(table, member) (offsetof(table, member) / word)
#define IS_OBJECT(type)                                                                              \
  static_assert(std::is_standard_layout_v<type> && offsetof(type, ops) == 0 && sizeof(type) == word, \
                #type " is a pointer to its table")

IS_OBJECT(zu_data_ifc);
IS_OBJECT(zu_coll_ifc);
IS_OBJECT(zu_cursor);
IS_OBJECT(zu_crudx_ifc);
IS_OBJECT(zu_status);
IS_OBJECT(zu_result_ifc);
IS_OBJECT(zu_config_ifc);

static_assert(SLOT(zu_data_ifc_ops, ref) == 1 && SLOT(zu_data_ifc_ops, free) == 2);
static_assert(SLOT(zu_data_ifc_ops, get_coll_ifc) == 3 && SLOT(zu_data_ifc_ops, get_crudx_ifc) == 4);
static_assert(sizeof(zu_data_ifc_ops) == 5 * word);

static_assert(SLOT(zu_coll_ifc_ops, ref) == 1 && SLOT(zu_coll_ifc_ops, free) == 2);
static_assert(SLOT(zu_coll_ifc_ops, open_cursor) == 3);
static_assert(sizeof(zu_coll_ifc_ops) == 4 * word);

static_assert(SLOT(zu_cursor_ops, ref) == 1 && SLOT(zu_cursor_ops, free) == 2);
static_assert(SLOT(zu_cursor_ops, fetch) == 3 && SLOT(zu_cursor_ops, status) == 4);
static_assert(sizeof(zu_cursor_ops) == 5 * word);

static_assert(SLOT(zu_crudx_ifc_ops, ref) == 1 && SLOT(zu_crudx_ifc_ops, free) == 2);
static_assert(SLOT(zu_crudx_ifc_ops, get) == 3 && SLOT(zu_crudx_ifc_ops, status) == 4);
static_assert(sizeof(zu_crudx_ifc_ops) == 5 * word);

static_assert(SLOT(zu_status_ops, clear) == 0 && sizeof(zu_status_ops) == word);

static_assert(SLOT(zu_result_ifc_ops, set_error) == 2 && SLOT(zu_result_ifc_ops, set_error_object) == 4);
static_assert(sizeof(zu_result_ifc_ops) == 5 * word);

static_assert(SLOT(zu_config_ifc_ops, get_config) == 1 && sizeof(zu_config_ifc_ops) == 2 * word);

static_assert(std::is_standard_layout_v<zu_cli_context>);
static_assert(SLOT(zu_cli_context, config_ifc) == 1 && SLOT(zu_cli_context, result_ifc) == 2);
static_assert(SLOT(zu_cli_context, data_ifc) == 3 && SLOT(zu_cli_context, user_data) == 4);
static_assert(offsetof(zu_cli_context, render_defaults) == 5 * word);
static_assert(offsetof(zu_cli_context, tag_submodes) == offsetof(zu_cli_context, render_defaults) + 1,
              "the flag bytes are adjacent");
static_assert(sizeof(zu_cli_context::render_defaults) == 1 && sizeof(zu_cli_context::tag_submodes) == 1);

static_assert(std::is_standard_layout_v<zu_tovra_context>);
static_assert(SLOT(zu_tovra_context, cleanup_ctx) == 1 && SLOT(zu_tovra_context, cleanup_fn) == 2);
static_assert(SLOT(zu_tovra_context, output_fn) == 3 && sizeof(zu_tovra_context) == 4 * word);

#undef IS_OBJECT
#undef SLOT

} // namespace
