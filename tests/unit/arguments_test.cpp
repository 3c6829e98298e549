// Mandatory arguments: one that is missing ends the process and is named, wherever a host can leave it out.
#include <gtest/gtest.h>

#include <functional>

#include "support.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "tree/walk.hpp"
#include "zu_tovra/zu_tovra.h"

namespace {

// Arguments that only have to be given: no operation is called on them.
struct given {
  zu_tvr_tree *tree = zu_tvr_tree_new();
  zu_tvr_node *node = tree->root;
  zu_tvr_props_map *map = zu_tvr_props_map_new(2);
  zu_tvr_uri_item *item = map->add_uri(map, "/a", 1);
  test::own_name name{zu_do_name_new("a")};
  zu_do_error *error = nullptr;
  test::fake_walk walk;

  ~given() {
    zu_tvr_props_map_delete(map);
    zu_tvr_tree_delete(tree);
  }
};

bool add_prop(zu_tvr_props_map *map, const given &g, zu_tvr_uri_item *item, zu_do_name *name, int32_t kind) {
  return g.map->add_prop(map, item, name, kind, 0, nullptr, 0, 0, nullptr, nullptr, -1);
}

bool tell_nothing(void *, const zu_tvr_diagnostic *) {
  return true;
}

zu_tvr_walk_ctx *new_walk(given &g, zu_tvr_error_fn error, zu_tvr_output_fn output) {
  return zu_tvr_walk_ctx_new(g.walk->data_ifc, nullptr, nullptr, 0, 0, 0, 0, nullptr, nullptr, error, output);
}

const struct {
  const char *name;
  std::function<void(given &)> call;
} calls[] = {
    {"external_ctx", [](given &) { zu_tvr_cond_args_new(nullptr); }},
    {"cond_args", [](given &) { zu_tvr_cond_args_delete(nullptr); }},
    {"cleanup_context", [](given &) { tovra_cleanup_hook(nullptr); }},

    {"tree", [](given &g) { zu_tvr_load_directory(nullptr, "", &g.error); }},
    {"error", [](given &g) { zu_tvr_load_directory(g.tree, "", nullptr); }},
    {"tree", [](given &g) { zu_tvr_load_file(nullptr, "/no", &g.error); }},
    {"path_to_file", [](given &g) { zu_tvr_load_file(g.tree, nullptr, &g.error); }},
    {"error", [](given &g) { zu_tvr_load_file(g.tree, "/no", nullptr); }},
    {"tree", [](given &g) { zu_tvr_load_meta_from_str(nullptr, "", &g.error); }},
    {"data_str", [](given &g) { zu_tvr_load_meta_from_str(g.tree, nullptr, &g.error); }},
    {"error", [](given &g) { zu_tvr_load_meta_from_str(g.tree, "", nullptr); }},

    {"tell", [](given &) { zu_tvr_check_templates("", nullptr, nullptr); }},
    {"text", [](given &g) { zu_tvr_load_text_observed(g.tree, "", nullptr, tell_nothing, nullptr); }},
    {"error", [](given &) { zu_tvr_template_directories(nullptr); }},

    {"map", [](given &g) { g.map->add_uri(nullptr, "/a", 1); }},
    {"uri", [](given &g) { g.map->add_uri(g.map, nullptr, 1); }},
    {"map", [](given &g) { add_prop(nullptr, g, g.item, g.name.get(), 1); }},
    {"uri_item", [](given &g) { add_prop(g.map, g, nullptr, g.name.get(), 1); }},
    {"name", [](given &g) { add_prop(g.map, g, g.item, nullptr, 1); }},
    {"location_scheme", [](given &g) { add_prop(g.map, g, g.item, g.name.get(), TVR_KIND_LOCATION); }},
    {"map", [](given &g) { g.map->add_value_map(nullptr, 0, nullptr); }},
    {"stream", [](given &g) { zu_tvr_props_map_print(nullptr, 0, g.map); }},

    {"dest_id", [](given &) { zu_tvr_node_new_jump(nullptr); }},
    {"coll_uri", [](given &) { zu_tvr_node_new_coll(nullptr, nullptr, nullptr, nullptr, 0); }},
    {"uri", [](given &) { zu_tvr_node_new_crudx(nullptr); }},
    {"location_scheme", [](given &) { zu_tvr_node_new_iter(nullptr); }},
    {"format", [](given &) { zu_tvr_node_new_print(nullptr, nullptr, 0, nullptr, nullptr); }},
    {"node", [](given &) { zu_tvr_node_delete(nullptr); }},
    {"parent", [](given &g) { zu_tvr_node_connect_parent(nullptr, g.node); }},
    {"child", [](given &g) { zu_tvr_node_connect_parent(g.node, nullptr); }},
    {"oldest_node", [](given &g) { zu_tvr_node_connect_siblings(nullptr, g.node); }},
    {"new_node", [](given &g) { zu_tvr_node_connect_siblings(g.node, nullptr); }},
    {"stream", [](given &g) { zu_tvr_node_print(nullptr, 0, g.node); }},
    {"node", [](given &) { zu_tvr_node_print(stderr, 0, nullptr); }},
    {"node", [](given &g) { g.node->walk(nullptr, g.walk); }},
    {"ctx", [](given &g) { g.node->walk(g.node, nullptr); }},
    {"node", [](given &g) { tvr_node_walk_children(nullptr, g.walk); }},
    {"ctx", [](given &g) { tvr_node_walk_children(g.node, nullptr); }},

    {"tree", [](given &g) { g.tree->add_node(nullptr, g.node, "a", nullptr); }},
    {"node", [](given &g) { g.tree->add_node(g.tree, nullptr, "a", nullptr); }},
    {"id", [](given &g) { g.tree->add_node(g.tree, g.node, nullptr, nullptr); }},
    {"tree", [](given &g) { g.tree->resolve_links(nullptr); }},
    {"tree", [](given &g) { g.tree->walk(nullptr, nullptr, g.walk); }},
    {"ctx", [](given &g) { g.tree->walk(g.tree, nullptr, nullptr); }},
    {"tree", [](given &) { zu_tvr_tree_delete(nullptr); }},
    {"fp", [](given &g) { zu_tvr_tree_print(nullptr, 0, g.tree); }},
    {"tree", [](given &) { zu_tvr_tree_print(stderr, 0, nullptr); }},

    {"error_cb", [](given &g) { new_walk(g, nullptr, g.walk->output_cb); }},
    {"output_cb", [](given &g) { new_walk(g, g.walk->error_cb, nullptr); }},
    {"ctx", [](given &) { zu_tvr_walk_ctx_clear(nullptr); }},
    {"ctx", [](given &) { zu_tvr_walk_ctx_delete(nullptr); }},
    {"stream", [](given &g) { zu_tvr_walk_ctx_print(nullptr, 0, g.walk); }},
    {"ctx", [](given &) { zu_tvr_walk_ctx_print(stderr, 0, nullptr); }},
};

TEST(arguments, that_are_missing_are_named) {
  given g;
  for (const auto &row : calls) {
    const std::string message = std::string("^zu_tovra: missing mandatory argument: ") + row.name + "\n";
    EXPECT_DEATH(row.call(g), message) << "row " << &row - calls;
  }
}

} // namespace
