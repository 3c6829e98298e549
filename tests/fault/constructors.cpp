// The exported functions that make an object for a host.
// After a failure they return null and trace the reason.
#include "driver.hpp"

#include <memory>

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/zu_tovra.h"

namespace fault {

namespace {

using namespace tvr;

using uri_template = unique<zu_tvr_uri, zu_tvr_uri_delete>;
using properties_map = unique<zu_tvr_props_map, zu_tvr_props_map_delete>;
using node_handle = unique<zu_tvr_node, zu_tvr_node_delete>;

// What the constructors are given; made before anything fails.
struct given_things {
  given_things() { zu_do_properties_set_string(record, "k", "a text to quote"); }
  zu_do_name *name = zu_do_name_new("k");
  zu_do_properties *record = zu_do_properties_new();
  zu_do_nvlist *query = zu_do_nvlist_new();
  zu_do_nlist *names = zu_do_nlist_new();
};

const given_things &given() {
  static const given_things things;
  return things;
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

bool nodes() {
  const auto list = [](zu_tvr_uri *uri) {
    return zu_tvr_node_new_coll(uri, given().query, given().names, "DEFAULT", 1);
  };
  return node_handle(zu_tvr_node_new_noop()) && node_handle(zu_tvr_node_new_jump("there")) &&
         node_handle(zu_tvr_node_new_iter("DEFAULT")) &&
         node_of(uri_template(zu_tvr_uri_new("/a?b")), +list) &&
         node_of(uri_template(zu_tvr_uri_new("/a/b;k=$")), zu_tvr_node_new_crudx) && print_node();
}

bool map() {
  const uri_template uri(zu_tvr_uri_new("//locations;loc=$/a/b;k=!/c;d=#?e"));
  const properties_map made(uri ? zu_tvr_props_map_new(3) : nullptr);
  if (!made) return false;
  zu_tvr_props_map *map = made.get();
  zu_tvr_uri_item *item = map->add_uri(map, "/a/b;k=$", 4);
  return item != nullptr && map->add_prop(map, item, given().name, 2, 0, "p", 0, 1, nullptr, nullptr, 1) &&
         map->add_prop(map, item, given().name, 3, 1, nullptr, 0, 1, nullptr, nullptr, 0) &&
         map->add_prop(map, item, given().name, 4, 2, nullptr, 0, 0, "DEFAULT", "rack", -1) &&
         map->add_prop(map, item, given().name, 1, 9, nullptr, 0, 0, nullptr, nullptr, -1);
}

} // namespace

void each_constructor(const taker &take) {
  for (const auto &[name, made] : {std::pair("nodes", &nodes), {"map", &map}}) {
    take({.name = std::string("constructors/") + name,
          .body = [make = made](outcome &got) { got.done = make(); },
          .kinds = memory_kinds()});
  }
}

} // namespace fault
