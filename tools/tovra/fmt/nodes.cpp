// Writes down all nodes that a text loads to. The loader passes each node with its ids to the tree's add_node
// operation, which is replaced here by one that writes the whole node as text. Links to other nodes are left
// out, as they may lead to other files.
#include "nodes.hpp"

#include <algorithm>
#include <glib.h>
#include <map>
#include <memory>

#include "../templates.hpp"
#include "format.hpp"
#include "zu_tovra/zu_tovra.h"

namespace tovra::fmt {

namespace {

class writer {
public:
  explicit writer(std::string &into) : into_(into) {}

  writer &operator<<(const char *text) {
    into_.append(text != nullptr ? text : "(none)").append("\n");
    return *this;
  }
  writer &operator<<(int64_t number) { return *this << std::to_string(number).c_str(); }
  writer &operator<<(zu_do_name *name) {
    return *this << (name != nullptr ? zu_do_name_get_strname(name) : nullptr);
  }
  writer &operator<<(zu_do_properties *record) { return print(zu_do_print_properties, record); }

  void query(zu_do_nvlist *pairs) {
    if (pairs == nullptr) return;
    zu_do_iter at;
    zu_do_nvlist_iter(pairs, &at);
    while (zu_do_nvlist_has_next(pairs, &at)) {
      zu_do_nvpair *pair = zu_do_nvlist_get_next(pairs, &at);
      int code = 0;
      *this << zu_do_nvpair_get_name(pair) << zu_do_value_get_string(zu_do_nvpair_get_value(pair), &code);
    }
  }

  void order(zu_do_nlist *names) {
    const size_t length = names != nullptr ? zu_do_nlist_get_len(names) : 0;
    for (size_t i = 0; i < length; ++i) *this << zu_do_nlist_get(names, i);
  }

  void map(const zu_tvr_props_map *of) {
    if (of == nullptr) return;
    *this << "map" << of->num_items << of->type_flags[0] << of->type_flags[1];
    for (int32_t i = 0; i < of->num_items; ++i) slot(of->fmt_items[i]);
    for (const zu_tvr_extra_prop *extra = of->extra_props; extra != nullptr; extra = extra->next) {
      *this << "extra" << extra->name << extra->kind << extra->slot;
    }
    for (const zu_tvr_uri_item *uri = of->uri_items; uri != nullptr; uri = uri->next) {
      *this << "uri" << uri->uri->text << uri->has_location_field << uri->num_props;
      for (int32_t i = 0; i < uri->num_props; ++i) *this << uri->indices[i];
    }
  }

private:
  template <class T>
  writer &print(void (*dump)(FILE *, uint32_t, T *), T *thing) {
    if (thing == nullptr) return *this << "(none)";
    char *text = nullptr;
    size_t length = 0;
    FILE *stream = open_memstream(&text, &length);
    dump(stream, 0, thing);
    std::fclose(stream);
    const std::unique_ptr<char, void (*)(void *)> held(text, std::free);
    return *this << text;
  }

  void slot(const zu_tvr_fmt_item *item) {
    if (item == nullptr) {
      *this << "(no item)";
      return;
    }
    *this << "slot" << item->name << item->kind;
    if (item->data_kind == TVR_KIND_ARRAY_ELEMENT) {
      const auto *array = static_cast<const zu_tvr_array_data *>(item->data);
      *this << array->prefix << array->independent << array->partner << array->multiline;
    } else if (item->data_kind == TVR_KIND_LOCATION) {
      const auto *location = static_cast<const zu_tvr_location_data *>(item->data);
      *this << location->scheme << location->field;
    }
    std::map<std::string, std::string> texts;
    const auto enter = [](void *value, void *text, void *into) {
      (*static_cast<std::map<std::string, std::string> *>(into))[static_cast<char *>(value)] =
          static_cast<char *>(text);
    };
    if (item->value_map != nullptr) g_hash_table_foreach(item->value_map, enter, &texts);
    for (const auto &[value, text] : texts) *this << value.c_str() << text.c_str();
  }

  std::string &into_;
};

void write_node(writer &out, const zu_tvr_node &node) {
  out << node.type;
  switch (node.type) {
  case TVR_NODE_JUMP:
    out << static_cast<const zu_tvr_jump_data *>(node.data)->dest_id;
    break;
  case TVR_NODE_COLL: {
    const auto *list = static_cast<const zu_tvr_coll_data *>(node.data);
    out << list->coll_uri->text << list->location << list->group;
    out.query(list->query);
    out.order(list->orderby);
    break;
  }
  case TVR_NODE_CRUDX:
    out << static_cast<const zu_tvr_crudx_data *>(node.data)->uri->text;
    break;
  case TVR_NODE_PRINT: {
    const auto *line = static_cast<const zu_tvr_print_data *>(node.data);
    out << line->format << line->newline << line->cond << line->eval_props;
    out.map(line->props_map);
    break;
  }
  default:
    break;
  }
}

// The load that is being watched. It is kept here because the tree's operation has no argument for it.
struct watched_load {
  std::string *text;
  bool (*add_node)(zu_tvr_tree *, zu_tvr_node *, const char *, const char *);
};
thread_local watched_load load;

bool take_node(zu_tvr_tree *tree, zu_tvr_node *node, const char *id, const char *parent_id) {
  writer out(*load.text);
  out << "" << id << parent_id;
  write_node(out, *node);
  return load.add_node(tree, node, id, parent_id);
}

// Keeps ":LINE: MESSAGE" of the first fault; returning false ends the load.
bool keep_first(void *into, const zu_tvr_diagnostic *fault) {
  constexpr std::string_view nameless = " in file (null)";
  std::string said = words_of(*fault);
  if (const size_t at = said.find(nameless); at != said.npos) said.erase(at, nameless.size());
  *static_cast<std::string *>(into) =
      (fault->line > 0 ? ":" + std::to_string(fault->line) : "") + ": " + said;
  return false;
}

} // namespace

nodes load_nodes(const std::string &text) {
  nodes made;
  const tree_handle tree(zu_tvr_tree_new());
  load = {&made.text, tree->add_node};
  tree->add_node = take_node;
  made.loaded = zu_tvr_load_text_observed(tree.get(), nullptr, text.c_str(), keep_first, &made.refusal);
  return made;
}

std::optional<std::string> formatted_alike(const std::string &text, std::string &refusal) {
  if (const size_t nul = text.find('\0'); nul != text.npos) {
    const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(nul), '\n');
    refusal = ":" + std::to_string(line) + ": a NUL byte, after which nothing is read";
    return std::nullopt;
  }
  const nodes before = load_nodes(text);
  if (!before.loaded) {
    refusal = before.refusal;
    return std::nullopt;
  }
  std::string made = formatted(text);
  const nodes after = load_nodes(made);
  if (after.loaded && after.text == before.text) return made;
  refusal = ": formatted it would load to something else, so it is left as it is; please report this";
  return std::nullopt;
}

} // namespace tovra::fmt
