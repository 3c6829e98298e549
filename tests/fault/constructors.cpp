// The exported functions that make something. A failed one gives none and traces why.
#include "driver.hpp"

#include <cstring>
#include <memory>
#include <sstream>

#include "store/store.h"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/zu_tovra.h"

namespace fault {

namespace {

using namespace tvr;

using uri_template = unique<zu_tvr_uri, zu_tvr_uri_delete>;
using properties_map = unique<zu_tvr_props_map, zu_tvr_props_map_delete>;
using node_handle = unique<zu_tvr_node, zu_tvr_node_delete>;
using tree_handle = unique<zu_tvr_tree, zu_tvr_tree_delete>;
using walk_handle = unique<zu_tvr_walk_ctx, zu_tvr_walk_ctx_delete>;

// What the constructors are given; made before anything fails.
struct given_things {
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_load_text("none", R"({"records": {}})", 15, &error);
  zu_cli_context *cli = zu_cli_context_new(
      data, [](void *, int32_t, const char *) {}, nullptr);
  zu_do_name *name = zu_do_name_new("k");
  zu_do_uri *uri = zu_do_uri_new("//locations;loc=1/a/b;k=1");
  zu_do_properties *record = zu_do_properties_new();
  zu_do_value *text = nullptr;
  zu_do_nvlist *query = zu_do_nvlist_new();
  zu_do_nlist *names = zu_do_nlist_new();
};

const given_things &given() {
  static const given_things things = [] {
    given_things made;
    zu_do_properties_set_mr_uri(made.record, ZU_DO_NAME_URI, made.uri);
    zu_do_properties_set_string(made.record, "k", "a text to quote");
    made.text = zu_do_properties_get_value(made.record, "k");
    return made;
  }();
  return things;
}

// Prints into the outcome's text.
template <class Print>
void dump(outcome &got, Print print) {
  char *text = nullptr;
  size_t size = 0;
  FILE *stream = open_memstream(&text, &size);
  print(stream);
  fclose(stream);
  for (std::istringstream lines(text); std::getline(lines, got.text.emplace_back());) {
  }
  free(text);
}

walk_handle new_walk(outcome &got) {
  const auto report = [](void *context, int32_t code, const char *message) {
    static_cast<outcome *>(context)->errors.push_back(std::to_string(code) + " " + message);
    return 0;
  };
  return walk_handle(zu_tvr_walk_ctx_new(given().data, nullptr, given().record, 0, 0, 0, 0, nullptr, &got,
                                         report, [](void *, const char *) { return true; }));
}

// A node takes what it is made of; one that cannot be made takes nothing.
template <class Part>
node_handle node_of(Part part, zu_tvr_node *(*make)(typename Part::pointer)) {
  node_handle node(part ? make(part.get()) : nullptr);
  if (node) (void)part.release();
  return node;
}

// A condition that cannot be kept makes every walk of the node fail, so the operation counts.
bool print_node() {
  const node_handle node = node_of(properties_map(zu_tvr_props_map_new(1)), [](zu_tvr_props_map *map) {
    return zu_tvr_node_new_print("line %s", map, 1, R"((and (set $tvr0) (eq $tvr0 "x")))", given().record);
  });
  return node && static_cast<zu_tvr_print_data *>(node->data)->cond_op != nullptr;
}

bool nodes(outcome &) {
  const auto list = [](zu_tvr_uri *uri) {
    return zu_tvr_node_new_coll(uri, given().query, given().names, "DEFAULT", 1);
  };
  return node_handle(zu_tvr_node_new_noop()) && node_handle(zu_tvr_node_new_jump("there")) &&
         node_handle(zu_tvr_node_new_iter("DEFAULT")) &&
         node_of(uri_template(zu_tvr_uri_new("/a?b")), +list) &&
         node_of(uri_template(zu_tvr_uri_new("/a/b;k=$")), zu_tvr_node_new_crudx) && print_node();
}

bool scratch(outcome &) {
  using of_collection = unique<zu_tvr_coll_scratch_data, zu_tvr_coll_scratch_data_delete>;
  using of_iteration = unique<zu_tvr_iter_scratch_data, zu_tvr_iter_scratch_data_delete>;
  using of_print = unique<zu_tvr_print_scratch_data, zu_tvr_print_scratch_data_delete>;
  return of_collection(zu_tvr_coll_scratch_data_new()) && of_iteration(zu_tvr_iter_scratch_data_new()) &&
         of_print(zu_tvr_print_scratch_data_new());
}

bool map(outcome &got) {
  const uri_template uri(zu_tvr_uri_new("//locations;loc=$/a/b;k=!/c;d=#?e"));
  const properties_map made(uri ? zu_tvr_props_map_new(3) : nullptr);
  if (!made) return false;
  zu_tvr_props_map *map = made.get();
  zu_tvr_uri_item *item = map->add_uri(map, "/a/b;k=$", 4);
  if (item == nullptr || !map->add_prop(map, item, given().name, 2, 0, "p", 0, 1, nullptr, nullptr, 1) ||
      !map->add_prop(map, item, given().name, 3, 1, nullptr, 0, 1, nullptr, nullptr, 0) ||
      !map->add_prop(map, item, given().name, 4, 2, nullptr, 0, 0, "DEFAULT", "rack", -1) ||
      !map->add_prop(map, item, given().name, 1, 9, nullptr, 0, 0, nullptr, nullptr, -1)) {
    return false;
  }
  dump(got, [&](FILE *stream) { zu_tvr_props_map_print(stream, 1, map); });
  return true;
}

bool mapped_value(outcome &got) {
  zu_tvr_fmt_item item = {};
  char *made = nullptr;
  const bool done = zu_tvr_props_map_fmt_item_map_value(&item, given().text, &made);
  const text held(made);
  if (done) got.text.emplace_back(made);
  return done;
}

bool stack(outcome &got) {
  zu_tvr_stack *stack = zu_tvr_stack_new(nullptr);
  if (stack == nullptr) return false;
  const bool done = zu_tvr_stack_push(stack, &got) && zu_tvr_stack_push(stack, &got);
  zu_tvr_stack_delete(stack, nullptr);
  return done;
}

bool walk(outcome &got) {
  const walk_handle ctx = new_walk(got);
  return ctx && zu_tvr_push_props_group_to_cache(ctx.get(), given().record, 0) &&
         zu_tvr_push_props_group_to_cache(ctx.get(), given().record, 1) &&
         zu_tvr_push_props_to_cache(ctx.get(), given().record, 1, 0) == 3 &&
         ref<zu_do_uri>::adopt(generate_coll_uri_from_mr_uri(ctx.get(), given().uri));
}

bool of_a_request(outcome &got) {
  external_ctx request = {};
  request.cli_context = given().cli;
  const unique<zu_tvr_cond_args, zu_tvr_cond_args_delete> made(zu_tvr_cond_args_new(&request));
  return made && text(zu_tovra_create_key_from_ptr(&got));
}

// Orphans, their parent and a jump.
bool tree(outcome &) {
  const tree_handle tree(zu_tvr_tree_new());
  if (!tree) return false;
  const auto add = [&](zu_tvr_node *made, const char *id, const char *parent) {
    node_handle node(made);
    if (!node || !tree->add_node(tree.get(), node.get(), id, parent)) return false;
    (void)node.release();
    return true;
  };
  return add(zu_tvr_node_new_noop(), "a", "c") && add(zu_tvr_node_new_jump("a"), "b", "c") &&
         add(zu_tvr_node_new_noop(), "c", nullptr) && tree->resolve_links(tree.get());
}

bool from_text(outcome &got) {
  const tree_handle tree(zu_tvr_tree_new());
  if (!tree) return false;
  zu_do_error *error = nullptr;
  const bool done =
      zu_tvr_load_meta_from_str(tree.get(), "Cmd: config\nOp: push_mode\nDest: config\n", &error);
  if (error != nullptr) {
    got.errors.push_back(std::to_string(zu_do_error_get_code(error)) + " " + zu_do_error_get_msg(error));
  }
  zu_do_error_deref(error);
  return done;
}

bool dumped_node(outcome &got) {
  zu_tvr_node node = {}; // without data
  dump(got, [&](FILE *stream) { zu_tvr_node_print(stream, 1, &node); });
  return true;
}

} // namespace

void each_constructor(const taker &take) {
  using constructor = bool (*)(outcome &);
  for (const auto &[name, made] : std::initializer_list<std::pair<const char *, constructor>>{
           {"nodes", nodes},
           {"scratch", scratch},
           {"map", map},
           {"mapped-value", mapped_value},
           {"stack", stack},
           {"walk", walk},
           {"of-a-request", of_a_request},
           {"tree", tree},
           {"from-text", from_text},
           {"dumped-node", dumped_node},
       }) {
    const auto body = [make = made](outcome &got) { got.done = make(got); };
    take({.name = std::string("constructors/") + name,
          .body = body,
          .look = [](outcome &) {},
          .again = body,
          .restore = [] {},
          .kinds = memory_kinds()});
  }
}

} // namespace fault
