// A tree that keeps no structure: it takes nodes, in order, and describes them, so that what a template text
// makes can be compared as text.
#pragma once

#include <glib.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "support/stream_text.hpp"
#include "zu_tovra/coll.h"
#include "zu_tovra/crudx.h"
#include "zu_tovra/jump.h"
#include "zu_tovra/print.h"
#include "zu_tovra/tree.h"

namespace test {

inline std::string describe_item(const zu_tvr_fmt_item *item) {
  if (item == nullptr) return "-";
  std::string out = item->name != nullptr ? zu_do_name_get_strname(item->name) : "?";
  out += ":" + std::to_string(item->kind);
  if (item->data_kind == TVR_KIND_ARRAY_ELEMENT) {
    const auto &data = *static_cast<const zu_tvr_array_data *>(item->data);
    out += "(";
    if (data.prefix != nullptr) out += std::string("'") + data.prefix + "' ";
    if (data.multiline != 0) out += "multiline ";
    if (data.independent != 0) out += "independent ";
    out += std::to_string(data.partner) + ")";
  } else if (item->data_kind == TVR_KIND_LOCATION) {
    const auto &data = *static_cast<const zu_tvr_location_data *>(item->data);
    out += "(" + std::to_string(data.scheme) + (data.field != nullptr ? std::string(" ") + data.field : "") +
           ")";
  }
  if (item->value_map != nullptr) {
    std::map<std::string, std::string> sorted;
    GHashTableIter at;
    void *key = nullptr, *value = nullptr;
    g_hash_table_iter_init(&at, item->value_map);
    while (g_hash_table_iter_next(&at, &key, &value)) {
      sorted[static_cast<char *>(key)] = static_cast<char *>(value);
    }
    out += "{";
    for (const auto &[from, to] : sorted) out += (out.back() == '{' ? "" : ",") + from + "=" + to;
    out += "}";
  }
  return out;
}

// `[ITEM ITEM ...] +EXTRA... URI<INDICES>... `, nothing for none.
inline std::string describe_map(const zu_tvr_props_map *map) {
  if (map == nullptr) return "";
  std::string out = " [";
  for (int32_t i = 0; i < map->num_items; ++i) out += (i > 0 ? " " : "") + describe_item(map->fmt_items[i]);
  out += "]";
  for (const auto *extra = map->extra_props; extra != nullptr; extra = extra->next) {
    out += std::string(" +") + zu_do_name_get_strname(extra->name) + ":" + std::to_string(extra->kind) + "@" +
           std::to_string(extra->slot);
  }
  for (const auto *item = map->uri_items; item != nullptr; item = item->next) {
    out += std::string(" ") + item->uri->text + "<";
    for (int32_t i = 0; i < item->num_props; ++i)
      out += (i > 0 ? " " : "") + std::to_string(item->indices[i]);
    out += item->has_location_field != 0 ? ">field" : ">";
  }
  return out;
}

inline std::string describe_print(const zu_tvr_print_data &data) {
  std::string out = std::string("print '") + data.format + "'";
  if (data.newline != 0) out += " newline";
  if (data.cond != nullptr) out += std::string(" cond'") + data.cond + "'";
  if (data.eval_props != nullptr) out += " evals" + std::to_string(zu_do_properties_get_len(data.eval_props));
  return out + describe_map(data.props_map);
}

// As the library shows it, its lines joined, and what it does not show.
inline std::string describe_coll(zu_tvr_coll_data &data) {
  std::string out = stream_text([&](FILE *stream) { zu_tvr_coll_data_print(stream, 0, &data); });
  std::replace(out.begin(), out.end(), '\n', '|');
  if (data.orderby != nullptr) out += " by";
  for (size_t at = 0; at < zu_do_nlist_get_len(data.orderby); ++at) {
    out += std::string(" ") + zu_do_name_get_strname(zu_do_nlist_get(data.orderby, at));
  }
  return "coll " + out + (data.location != 0 ? " location" : "") + (data.group != 0 ? " group" : "");
}

inline std::string describe(const zu_tvr_node *node) {
  switch (node->type) {
  case TVR_NODE_NOOP:
    return "no_op";
  case TVR_NODE_JUMP:
    return std::string("jump ") + static_cast<zu_tvr_jump_data *>(node->data)->dest_id;
  case TVR_NODE_COLL:
    return describe_coll(*static_cast<zu_tvr_coll_data *>(node->data));
  case TVR_NODE_CRUDX:
    return std::string("get ") + static_cast<zu_tvr_crudx_data *>(node->data)->uri->text;
  case TVR_NODE_ITER:
    return "iter";
  default:
    return describe_print(*static_cast<zu_tvr_print_data *>(node->data));
  }
}

// Each node becomes one line, `ID < PARENT: DESCRIPTION`, and is deleted.
class recording_tree {
public:
  recording_tree() {
    tree_.self = this;
    tree_.add_node = add;
  }
  recording_tree(const recording_tree &) = delete;
  recording_tree &operator=(const recording_tree &) = delete;

  operator zu_tvr_tree *() { return &tree_; }
  std::string nodes; // one line each

private:
  struct record : zu_tvr_tree {
    recording_tree *self;
  };

  static bool add(zu_tvr_tree *tree, zu_tvr_node *node, const char *id, const char *parent_id) {
    recording_tree &self = *static_cast<record *>(tree)->self;
    self.nodes += std::string(id) + " < " + parent_id + ": " + describe(node) + "\n";
    zu_tvr_node_delete(node);
    return true;
  }

  record tree_{};
};

} // namespace test
