// Looks up typedefs by the rules of YANG: with a prefix in an imported module, otherwise in the enclosing
// nodes, in the module and in its submodules.
#include "yang/typedefs.hpp"

#include <string_view>

namespace zu_yang {

namespace {

struct found_typedef {
  const lysp_tpdf *of = nullptr;
  const lysp_node *scope = nullptr; // where names in it are looked up first
};

const lysp_tpdf *find_among(const lysp_tpdf *typedefs, std::string_view name) {
  for (const lysp_tpdf &each : items(typedefs)) {
    if (each.name == name) return &each;
  }
  return nullptr;
}

const lysp_tpdf *find_in(const lysp_module *module, std::string_view name) {
  if (module == nullptr) return nullptr;
  if (const lysp_tpdf *found = find_among(module->typedefs, name)) return found;
  for (const lysp_include &each : items(module->includes)) {
    const lysp_tpdf *found = each.submodule != nullptr ? find_among(each.submodule->typedefs, name) : nullptr;
    if (found != nullptr) return found;
  }
  return nullptr;
}

std::string_view prefix_of(const lysp_module *module) {
  return module->is_submod != 0 ? reinterpret_cast<const lysp_submodule *>(module)->prefix
                                : module->mod->prefix;
}

found_typedef find(const lysp_node *scope, const lysp_type &type) {
  const std::string_view written = type.name;
  const size_t colon = written.find(':');
  const std::string_view name = written.substr(colon + 1); // npos + 1 is 0
  if (colon != written.npos && written.substr(0, colon) != prefix_of(type.pmod)) {
    for (const lysp_import &each : items(type.pmod->imports)) {
      if (each.prefix == written.substr(0, colon)) return {find_in(each.module->parsed, name), nullptr};
    }
    return {};
  }
  for (const lysp_node *node = scope; node != nullptr; node = node->parent) {
    if (const lysp_tpdf *found = find_among(lysp_node_typedefs(node), name)) return {found, node};
  }
  const lysp_tpdf *found = find_in(type.pmod, name);
  return {found != nullptr ? found : find_in(type.pmod->mod->parsed, name), nullptr};
}

const lysp_type &type_of(const lysp_node *node) {
  return node->nodetype == LYS_LEAFLIST ? reinterpret_cast<const lysp_node_leaflist *>(node)->type
                                        : reinterpret_cast<const lysp_node_leaf *>(node)->type;
}

bool is_of_type(const lysp_node *scope, const lysp_type *type, std::string_view name) {
  for (found_typedef found; (found = find(scope, *type)).of != nullptr;) {
    const std::string qualified = std::string(found.of->type.pmod->mod->name) + ":" + found.of->name;
    if (name == found.of->name || name == qualified) return true;
    type = &found.of->type;
    scope = found.scope;
  }
  for (const lysp_type &each : items(type->types)) {
    if (is_of_type(scope, &each, name)) return true;
  }
  return false;
}

} // namespace

std::string type_name(const lysc_node *node) {
  const auto *written = static_cast<const lysp_node *>(node->priv);
  const lysp_tpdf *found = written != nullptr ? find(written, type_of(written)).of : nullptr;
  return found != nullptr ? found->name : "";
}

bool is_of_type(const lysc_node *node, const std::string &name) {
  const auto *written = static_cast<const lysp_node *>(node->priv);
  return written != nullptr && is_of_type(written, &type_of(written), name);
}

} // namespace zu_yang
