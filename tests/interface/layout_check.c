/* The order of the public records' fields is part of the interface. */
#include <zu_tovra/zu_tovra.h>

#define FIRST(record, field) _Static_assert(offsetof(record, field) == 0, #record " begins with " #field)
#define AFTER(record, before, field)                                 \
  _Static_assert(offsetof(record, before) < offsetof(record, field), \
                 #record ": " #field " stands after " #before)

FIRST(zu_tvr_node, parent);
AFTER(zu_tvr_node, parent, first_child);
AFTER(zu_tvr_node, first_child, next_sibling);
AFTER(zu_tvr_node, next_sibling, type);
AFTER(zu_tvr_node, type, data);
AFTER(zu_tvr_node, data, scratch);
AFTER(zu_tvr_node, scratch, walk);
FIRST(zu_tvr_tree, root);
AFTER(zu_tvr_tree, root, nodes);
AFTER(zu_tvr_tree, nodes, orphans);
AFTER(zu_tvr_tree, orphans, add_node);
AFTER(zu_tvr_tree, add_node, resolve_links);
AFTER(zu_tvr_tree, resolve_links, walk);
FIRST(zu_tvr_walk_ctx, node_path);
AFTER(zu_tvr_walk_ctx, node_path, data_ifc);
AFTER(zu_tvr_walk_ctx, data_ifc, coll_ifc);
AFTER(zu_tvr_walk_ctx, coll_ifc, crudx_ifc);
AFTER(zu_tvr_walk_ctx, crudx_ifc, config_name);
AFTER(zu_tvr_walk_ctx, config_name, arguments);
AFTER(zu_tvr_walk_ctx, arguments, props_cache);
AFTER(zu_tvr_walk_ctx, props_cache, props_groups_cache);
AFTER(zu_tvr_walk_ctx, props_groups_cache, mr_cache);
AFTER(zu_tvr_walk_ctx, mr_cache, mr_cache_cursor);
AFTER(zu_tvr_walk_ctx, mr_cache_cursor, starting_node);
AFTER(zu_tvr_walk_ctx, starting_node, render_defaults);
AFTER(zu_tvr_walk_ctx, render_defaults, flags);
AFTER(zu_tvr_walk_ctx, flags, fetch_count);
AFTER(zu_tvr_walk_ctx, fetch_count, tag_submodes);
AFTER(zu_tvr_walk_ctx, tag_submodes, indentation);
AFTER(zu_tvr_walk_ctx, indentation, cond_args);
AFTER(zu_tvr_walk_ctx, cond_args, cb_ctx);
AFTER(zu_tvr_walk_ctx, cb_ctx, scratch_nodes);
AFTER(zu_tvr_walk_ctx, scratch_nodes, error_cb);
AFTER(zu_tvr_walk_ctx, error_cb, output_cb);
FIRST(zu_tvr_stack, top);
AFTER(zu_tvr_stack, top, compare);
FIRST(zu_tvr_stack_entry, item);
AFTER(zu_tvr_stack_entry, item, next);
FIRST(external_ctx, tovra_context);
AFTER(external_ctx, tovra_context, cli_context);
AFTER(external_ctx, cli_context, walk_ctx);
AFTER(external_ctx, walk_ctx, config_data_ifc);
FIRST(zu_tvr_cond_args, cli_context);
AFTER(zu_tvr_cond_args, cli_context, results);
AFTER(zu_tvr_cond_args, results, cmd);
AFTER(zu_tvr_cond_args, cmd, user_io);
FIRST(zu_tvr_props_map, fmt_items);
AFTER(zu_tvr_props_map, fmt_items, num_items);
AFTER(zu_tvr_props_map, num_items, extra_props);
AFTER(zu_tvr_props_map, extra_props, uri_items);
AFTER(zu_tvr_props_map, uri_items, type_flags);
AFTER(zu_tvr_props_map, type_flags, add_uri);
AFTER(zu_tvr_props_map, add_uri, add_prop);
AFTER(zu_tvr_props_map, add_prop, add_value_map);
FIRST(zu_tvr_uri, is_dynamic);
AFTER(zu_tvr_uri, is_dynamic, kind);
AFTER(zu_tvr_uri, kind, relative);
AFTER(zu_tvr_uri, relative, data);
AFTER(zu_tvr_uri, data, resolve);
FIRST(zu_tvr_coll_data, coll_uri);
AFTER(zu_tvr_coll_data, coll_uri, query);
AFTER(zu_tvr_coll_data, query, orderby);
AFTER(zu_tvr_coll_data, orderby, location);
AFTER(zu_tvr_coll_data, location, group);
AFTER(zu_tvr_coll_data, group, execute);
AFTER(zu_tvr_coll_data, execute, iterate);
AFTER(zu_tvr_coll_data, iterate, pop);
AFTER(zu_tvr_coll_data, pop, cleanup);
FIRST(zu_tvr_print_data, format);
AFTER(zu_tvr_print_data, format, props_map);
AFTER(zu_tvr_print_data, props_map, newline);
AFTER(zu_tvr_print_data, newline, cond);
AFTER(zu_tvr_print_data, cond, cond_op);
AFTER(zu_tvr_print_data, cond_op, eval_props);
AFTER(zu_tvr_print_data, eval_props, walk);
_Static_assert(sizeof(tarvo_location) == 12, "a location record is 12 bytes");
