// The records that YANG modules define: their paths, and the properties of each path.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

#include <libyang/libyang.h>

#include "yang/document.hpp"
#include "yang/position.hpp"

namespace zu_yang {

struct context_deleter {
  void operator()(ly_ctx *context) const { ly_ctx_destroy(context); }
};
using context = std::unique_ptr<ly_ctx, context_deleter>;

// The path of a node in data.
std::string path_of(const lysc_node *node);

// True when all values of a type are of one kind.
bool is_of_one_kind(const lysc_type *type);

// A leaf or a leaf-list, which is a property of its parent's records.
struct leaf {
  const lysc_node *node;
  std::string name;
  std::string type; // typedef name, or empty
  bool key;
  bool of_one_kind; // then the class says it
  bool secret;
  bool has_default;

  bool is_list() const { return node->nodetype == LYS_LEAFLIST; }
  bool in_order_of_values() const { return is_list() && (node->flags & LYS_ORDBY_USER) == 0; }
  const lysc_type *value_type() const {
    return is_list() ? reinterpret_cast<const lysc_node_leaflist *>(node)->type
                     : reinterpret_cast<const lysc_node_leaf *>(node)->type;
  }
};

// A container or a list: a path of records. The first place is the level above all modules.
struct place {
  const lysc_node *node;
  std::string segment; // the name in URIs
  std::string path;
  std::vector<leaf> leaves;

  bool in_order_of_keys() const { return node->nodetype == LYS_LIST && (node->flags & LYS_ORDBY_USER) == 0; }
};

// The order of values: numbers by size, texts by bytes.
struct order_key {
  bool is_text;
  long double number;
  std::string_view text;

  bool operator<(const order_key &other) const {
    return std::tie(is_text, number, text) < std::tie(other.is_text, other.number, other.text);
  }
};

class schema {
public:
  explicit schema(const choice &chosen); // throws refusal

  // Throws all errors that libyang has kept of a document, a line each: `NAME:LINE: PATH: MESSAGE`, without
  // what it does not tell, and without values that are secret. std::bad_alloc when it had no memory.
  // `find` tells where the data of a path stand, for errors without a line.
  using finder = std::function<position(const std::string &path)>;
  [[noreturn]] void refuse(LY_ERR code, std::string_view name, const finder &find = nullptr) const;

  ly_ctx *context() const { return context_.get(); }
  const std::vector<place> &places() const { return places_; }
  // For a container or list the number of its place, for a leaf
  // its index in its place. The node must be one of these.
  uint32_t index_of(const lysc_node *node) const { return indexes_.at(node); }

  // The class of each path as members of a JSON object, one line each.
  std::string classes() const;
  // A value as text. If its kind is not a text, JSON has it unquoted. It lives as long as the value.
  struct shown {
    std::string_view text;
    bool is_text;
  };
  shown show(const leaf &of, const lyd_value &value) const;
  void put_value(std::string &json, const leaf &of, const lyd_value &value) const;
  // Several values of a leaf-list, in their order.
  void put_values(std::string &json, const leaf &of, std::vector<const lyd_value *> values) const;
  order_key order_of(const lyd_value &value) const;

private:
  void load(const std::string &module);
  void add_places();
  void add_children(uint32_t parent, const std::vector<const lysc_node *> &children);
  void add_leaf(uint32_t parent, const lysc_node *node, std::string name);
  bool is_named_secret(const lysc_node *node, const std::string &path, const leaf *of);
  void hide(leaf &of);
  void hide_references();
  bool refers_to_secret(const lysc_node *node, const lysc_type *type) const;
  std::string declaration(const leaf &of) const;
  std::string_view canonical(const lyd_value &value) const;
  void note_identities(const lysc_type *type);

  const choice &chosen_;
  zu_yang::context context_;
  std::vector<place> places_;
  std::vector<bool> secret_places_;
  std::unordered_map<const lysc_node *, uint32_t> indexes_;
  std::set<const lysc_node *> secret_leaves_;
  std::set<std::string> secret_paths_; // of these, in libyang's form
  std::vector<bool> found_;            // of the secrets that were chosen
  // The names of the identities that a type allows.
  using identity_names = std::map<const lysc_ident *, std::string>;
  std::unordered_map<const lysc_type *, identity_names> identities_;
};

} // namespace zu_yang
