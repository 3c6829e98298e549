// The order of the public records' fields is part of the interface.
#include <cstddef>
#include <initializer_list>

#include <zu_tovra/zu_tovra.h>

namespace {

constexpr bool rises_from_zero(std::initializer_list<size_t> offsets) {
  size_t next = 0;
  for (const size_t offset : offsets) {
    if (next == 0 ? offset != 0 : offset < next) return false;
    next = offset + 1;
  }
  return true;
}

#define AT(field) offsetof(record, field)
#define FIELDS_OF(type, ...)                              \
  struct order_of_##type {                                \
    using record = type;                                  \
    static_assert(rises_from_zero({__VA_ARGS__}), #type); \
  };

FIELDS_OF(zu_tvr_node, AT(parent), AT(first_child), AT(next_sibling), AT(type), AT(data), AT(scratch),
          AT(walk))
FIELDS_OF(zu_tvr_tree, AT(root), AT(nodes), AT(orphans), AT(add_node), AT(resolve_links), AT(walk))
FIELDS_OF(zu_tvr_walk_ctx, AT(node_path), AT(data_ifc), AT(coll_ifc), AT(crudx_ifc), AT(config_name),
          AT(arguments), AT(props_cache), AT(props_groups_cache), AT(mr_cache), AT(mr_cache_cursor),
          AT(starting_node), AT(render_defaults), AT(flags), AT(fetch_count), AT(tag_submodes),
          AT(indentation), AT(cond_args), AT(cb_ctx), AT(scratch_nodes), AT(error_cb), AT(output_cb))
FIELDS_OF(zu_tvr_stack, AT(top), AT(compare))
FIELDS_OF(zu_tvr_stack_entry, AT(item), AT(next))
FIELDS_OF(external_ctx, AT(tovra_context), AT(cli_context), AT(walk_ctx), AT(config_data_ifc))
FIELDS_OF(zu_tvr_cond_args, AT(cli_context), AT(results), AT(cmd), AT(user_io))
FIELDS_OF(zu_tvr_props_map, AT(fmt_items), AT(num_items), AT(extra_props), AT(uri_items), AT(type_flags),
          AT(add_uri), AT(add_prop), AT(add_value_map))
FIELDS_OF(zu_tvr_uri, AT(is_dynamic), AT(kind), AT(relative), AT(data), AT(resolve))
FIELDS_OF(zu_tvr_coll_data, AT(coll_uri), AT(query), AT(orderby), AT(location), AT(group), AT(execute),
          AT(iterate), AT(pop), AT(cleanup))
FIELDS_OF(zu_tvr_print_data, AT(format), AT(props_map), AT(newline), AT(cond), AT(cond_op), AT(eval_props),
          AT(walk))

static_assert(sizeof(tarvo_location) == 12, "a location record is 12 bytes");

} // namespace
