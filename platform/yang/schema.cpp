// Loads YANG modules, and finds the paths and properties that they define.
#include "yang/schema.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>
#include <new>

#include <libyang/plugins_exts.h>

#include "infra/text.hpp"
#include "yang/statement.hpp"
#include "yang/typedefs.hpp"

namespace zu_yang {

namespace {

constexpr uint16_t inner_nodes = LYS_CONTAINER | LYS_LIST;
constexpr uint16_t term_nodes = LYS_LEAF | LYS_LEAFLIST;

// libyang's messages are stored, not printed. This cannot be set for one thread alone, because libyang resets
// that setting itself when it reads unions.
void keep_messages() {
  static std::once_flag once;
  std::call_once(once, [] { ly_log_options(LY_LOSTORE); });
}

// The file of a module that may have failed to load; else its name.
std::string file_of(const ly_ctx *of, const std::string &module) {
  char *found = nullptr;
  LYS_INFORMAT format = LYS_IN_UNKNOWN;
  lys_search_localfile(ly_ctx_get_searchdirs(of), 0, module.c_str(), nullptr, &found, &format);
  std::string file = found != nullptr ? found : "YANG module " + module;
  free(found);
  return file;
}

// The text in quotes after some words; empty when the text does not have these words.
std::string quoted_behind(std::string_view text, std::string_view words) {
  const size_t at = text.find(words);
  if (at == text.npos) return "";
  text.remove_prefix(at + words.size());
  return std::string(text.substr(0, text.rfind('"')));
}

struct told_place {
  std::string path;
  std::string line; // with a colon before it, or empty
};

// Reads the place that libyang reports as "/path", or as: Schema
// location "/path", data location "/path", line number 5. A key in
// the path may contain these words, so they are searched at the ends.
told_place place_in(std::string_view told) {
  if (told.starts_with('/')) return {std::string(told), ""};
  told_place found;
  if (told.ends_with('.')) told.remove_suffix(1);
  constexpr std::string_view words = "ine number ";
  const size_t number = told.find_last_not_of("0123456789") + 1;
  if (told.substr(0, number).ends_with(words)) {
    found.line = ":" + std::string(told.substr(number));
    told = told.substr(0, number - words.size());
  }
  found.path =
      quoted_behind(told, told.find("ata location \"") != told.npos ? "ata location \"" : "ocation \"");
  return found;
}

// A path without the keys of entries.
std::string without_keys(std::string_view path) {
  std::string plain;
  for (size_t at = 0; at < path.size(); ++at) {
    if (path[at] == '[') {
      const size_t quote = std::min(path.find_first_of("'\"]", at), path.size() - 1);
      const size_t end = path[quote] == ']' ? quote : path.find(path[quote], quote + 1);
      at = std::min(path.find(']', end), path.size() - 1);
    } else {
      plain += path[at];
    }
  }
  return plain;
}

using paths = std::set<std::string>;

// The end of a key with both kinds of quotes cannot be found: then the name of the leaf decides.
bool may_be_of(const paths &secret, std::string_view path) {
  if (secret.contains(without_keys(path))) return true;
  if (path.find('\'') == path.npos || path.find('"') == path.npos) return false;
  return std::any_of(secret.begin(), secret.end(), [path](const std::string &one) {
    const std::string name = one.substr(one.rfind('/'));
    return path.ends_with(name) || path.find(name + "[.=") != path.npos;
  });
}

// What is wrong with the syntax is shown by the text that stands there, which may be that of a secret.
std::string without_text(const ly_err_item &item, std::string words) {
  const bool of_syntax =
      item.vecode == LYVE_SYNTAX || item.vecode == LYVE_SYNTAX_JSON || item.vecode == LYVE_SYNTAX_XML;
  for (const char *names_alone : {"Opening (", "Child element ", "Top-level JSON object member "}) {
    if (!of_syntax || words.starts_with(names_alone)) return words;
  }
  const size_t first = words.find('"');
  const size_t last = words.rfind('"');
  if (first < last) words.replace(first + 1, last - first - 1, "...");
  return words;
}

std::string message_of(const ly_err_item &item, const std::string &file, const paths &secret,
                       const schema::finder &find) {
  auto [path, line] = place_in(item.path != nullptr ? item.path : "");
  std::string words = item.msg != nullptr ? item.msg : "";
  const bool is_secret = may_be_of(secret, path);
  if (is_secret) words = "the value of a secret is not valid";
  if (words == "Unexpected character \"") words = "Unexpected end-of-input"; // it names no character
  if (words.ends_with('.')) words.pop_back();
  if (!secret.empty()) words = without_text(item, std::move(words));
  if (find && line.empty() && !path.empty()) {
    position at = find(path);
    path = std::move(at.path);
    if (at.line != 0) line = ":" + std::to_string(at.line);
  }
  if (is_secret) path.resize(std::min(path.find("[.="), path.size())); // the value of a leaf-list
  return file + line + ": " + path + (path.empty() ? "" : ": ") + words;
}

// The file, and the line, of what a path of the schema leads to.
std::string place_of(const ly_ctx *of, const ly_err_item &item, const std::string &path) {
  // A deviation's path begins with the module that it is about.
  std::string module = quoted_behind(item.msg != nullptr ? item.msg : "", "from module \"");
  module = module.substr(0, module.find('"'));
  if (module.empty()) module = path.substr(1, path.find(':') - 1);
  const std::string file = file_of(of, module);
  std::ifstream in(file, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  const size_t line = statement_line(text, path);
  return line != 0 ? file + ":" + std::to_string(line) : file;
}

// The file with a module's error: a later message names what could not be parsed, or the path does.
std::string module_file(const ly_ctx *of, const ly_err_item &item, const std::string &asked) {
  const told_place told = place_in(item.path != nullptr ? item.path : "");
  if (told.line.empty() && told.path.starts_with('/')) return place_of(of, item, told.path);
  if (told.line.empty()) return "YANG module " + asked;
  for (const ly_err_item *next = item.next; next != nullptr; next = next->next) {
    for (const char *words : {"Parsing module \"", "Including \""}) { // a module, a submodule
      const std::string module = quoted_behind(next->msg != nullptr ? next->msg : "", words);
      if (!module.empty()) return file_of(of, module.substr(0, module.find('"')));
    }
  }
  return "YANG module " + asked;
}

template <class File>
[[noreturn]] void refuse_all(const ly_ctx *of, LY_ERR code, const std::string &name, File &&file_of_item,
                             const paths &secret = {}, const schema::finder &find = nullptr) {
  std::string message;
  // Searching may add further errors.
  const ly_err_item *last = of != nullptr ? ly_err_last(of) : nullptr;
  for (const ly_err_item *item = last != nullptr ? ly_err_first(of) : nullptr; item != nullptr;
       item = item == last ? nullptr : item->next) {
    if (item->no == LY_EMEM) throw std::bad_alloc();
    if (item->level != LY_LLERR) continue;
    message += (message.empty() ? "" : "\n") + message_of(*item, file_of_item(*item), secret, find);
  }
  if (code == LY_EMEM) throw std::bad_alloc();
  if (message.empty()) message = name + ": libyang failed with code " + std::to_string(code);
  throw refusal{message};
}

[[noreturn]] void refuse_module(const ly_ctx *of, LY_ERR code, const std::string &module) {
  refuse_all(of, code, "YANG module " + module,
             [&](const ly_err_item &item) { return module_file(of, item, module); });
}

// True for a node that NETCONF's access control hides from all who are not named.
bool is_denied(const lysc_node *node) {
  const auto extensions = items(node->exts);
  return std::any_of(extensions.begin(), extensions.end(), [](const lysc_ext_instance &each) {
    return std::string_view(each.def->name) == "default-deny-all" &&
           std::string_view(each.def->module->name) == "ietf-netconf-acm";
  });
}

bool is_record_data(const lysc_node *node) {
  return (node->nodetype & (inner_nodes | term_nodes)) != 0 && (node->flags & LYS_CONFIG_W) != 0;
}

std::vector<const lysc_node *> children_of(const lysc_node *parent, const lysc_module *module) {
  std::vector<const lysc_node *> found;
  const lysc_node *node = nullptr;
  while ((node = lys_getnext(node, parent, module, 0)) != nullptr) {
    if (is_record_data(node)) found.push_back(node);
  }
  return found;
}

} // namespace

void schema::refuse(LY_ERR code, std::string_view name, const finder &find) const {
  const std::string file(name);
  const auto file_of_item = [&](const ly_err_item &) -> const std::string & { return file; };
  refuse_all(context(), code, file, file_of_item, secret_paths_, find);
}

std::string path_of(const lysc_node *node) {
  const std::unique_ptr<char, void (*)(void *)> made(lysc_path(node, LYSC_PATH_DATA, nullptr, 0), free);
  if (made == nullptr) throw std::bad_alloc();
  return made.get();
}

schema::schema(const choice &chosen) : chosen_(chosen), found_(chosen.secrets.size()) {
  keep_messages();
  ly_ctx *made = nullptr;
  constexpr uint16_t options =
      LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIR_CWD | LY_CTX_SET_PRIV_PARSED | LY_CTX_EXPLICIT_COMPILE;
  const LY_ERR code = ly_ctx_new(nullptr, options, &made);
  context_.reset(made);
  if (code != LY_SUCCESS) refuse(code, "YANG modules");
  for (const std::string &each : chosen.directories) {
    const LY_ERR failed = ly_ctx_set_searchdir(made, each.c_str());
    if (failed != LY_SUCCESS && failed != LY_EEXIST) refuse(failed, "YANG modules");
  }
  if (chosen.modules.empty()) throw refusal{"YANG data need the names of their modules"};
  for (const std::string &each : chosen.modules) load(each);
  if (const LY_ERR failed = ly_ctx_compile(made); failed != LY_SUCCESS) {
    refuse_module(made, failed, chosen.modules.back());
  }
  add_places();
  hide_references();
  const auto missed = std::find(found_.begin(), found_.end(), false);
  if (missed != found_.end()) {
    throw refusal{"no leaf of the YANG modules is of the type or path \"" +
                  chosen.secrets[static_cast<size_t>(missed - found_.begin())] + "\", which is to be secret"};
  }
}

void schema::load(const std::string &module) {
  std::vector<std::string> words; // the name, and its features
  for (size_t at = 0; at <= module.size();) {
    const size_t end = std::min(module.find(':', at), module.size());
    words.push_back(module.substr(at, end - at));
    at = end + 1;
  }
  std::vector<const char *> features;
  for (size_t i = 1; i < words.size(); ++i) features.push_back(words[i].c_str());
  features.push_back(nullptr);
  const size_t at = words[0].find('@');
  const std::string name = words[0].substr(0, at);
  const std::string revision = at != name.npos ? words[0].substr(at + 1) : "";
  const lys_module *loaded = ly_ctx_load_module(
      context_.get(), name.c_str(), revision.empty() ? nullptr : revision.c_str(), features.data());
  if (loaded == nullptr) refuse_module(context_.get(), LY_EINVAL, name);
}

void schema::add_places() {
  places_.push_back({nullptr, "", "", {}});
  secret_places_.push_back(false);
  std::vector<const lysc_node *> top;
  uint32_t at = 0;
  while (const lys_module *module = ly_ctx_get_module_iter(context_.get(), &at)) {
    if (!module->implemented || module->compiled == nullptr) continue;
    for (const lysc_node *node : children_of(nullptr, module->compiled)) top.push_back(node);
  }
  add_children(0, top);
}

void schema::add_children(uint32_t parent, const std::vector<const lysc_node *> &children) {
  std::map<std::string_view, size_t> count;
  for (const lysc_node *node : children) ++count[node->name];
  for (const std::string_view own : {"_uri", "_coll_uri", "_pending_attrs"}) ++count[own]; // the store's
  for (const lysc_node *node : children) {
    const bool is_inner = (node->nodetype & inner_nodes) != 0;
    // A ':' ends the name of a property in templates.
    std::string name = count[node->name] == 1 ? "" : node->module->name;
    if (!name.empty()) name += is_inner ? ':' : '.';
    name += node->name;
    if (!is_inner) {
      add_leaf(parent, node, std::move(name));
      continue;
    }
    const auto made = static_cast<uint32_t>(places_.size());
    const std::string path = places_[parent].path + "/" + name;
    const bool secret = is_named_secret(node, path, nullptr) || secret_places_[parent];
    indexes_.emplace(node, made);
    places_.push_back({node, name, path, {}});
    secret_places_.push_back(secret);
    add_children(made, children_of(node, nullptr));
  }
}

void schema::add_leaf(uint32_t parent, const lysc_node *node, std::string name) {
  leaf made{node, std::move(name), type_name(node), (node->flags & LYS_KEY) != 0, false, false, false};
  made.of_one_kind = is_of_one_kind(made.value_type());
  // A type may have a default that is never in force, as the leaf has to be given.
  const bool is_given = (node->flags & LYS_MAND_TRUE) != 0;
  made.has_default = is_given         ? false
                     : made.is_list() ? reinterpret_cast<const lysc_node_leaflist *>(node)->dflts != nullptr
                                      : reinterpret_cast<const lysc_node_leaf *>(node)->dflt != nullptr;
  const std::string path = places_[parent].path + "/" + made.name;
  const bool named = is_named_secret(node, path, &made);
  if (named && made.key) throw refusal{path + ": a key cannot be secret: it stands in URIs"};
  if (named || (secret_places_[parent] && !made.key)) hide(made);
  note_identities(made.value_type());
  indexes_.emplace(node, static_cast<uint32_t>(places_[parent].leaves.size()));
  places_[parent].leaves.push_back(std::move(made));
}

void schema::hide(leaf &of) {
  of.secret = true;
  of.type = "PasswordString";
  secret_leaves_.insert(of.node);
  secret_paths_.insert(path_of(of.node));
}

// What refers to a secret has the same value. It may be referred to itself.
void schema::hide_references() {
  for (size_t before = 0; before != secret_leaves_.size();) {
    before = secret_leaves_.size();
    for (place &each : places_) {
      for (leaf &of : each.leaves) {
        if (!of.secret && !of.key && refers_to_secret(of.node, of.value_type())) hide(of);
      }
    }
  }
}

bool schema::refers_to_secret(const lysc_node *node, const lysc_type *type) const {
  if (type->basetype == LY_TYPE_UNION) {
    const auto types = items(reinterpret_cast<const lysc_type_union *>(type)->types);
    return std::any_of(types.begin(), types.end(),
                       [&](const lysc_type *each) { return refers_to_secret(node, each); });
  }
  if (type->basetype != LY_TYPE_LEAFREF) return false;
  const auto *reference = reinterpret_cast<const lysc_type_leafref *>(type);
  ly_set *made = nullptr; // the nodes on the way, and what it leads to
  const LY_ERR code = lys_find_expr_atoms(node, node->module, reference->path, reference->prefixes, 0, &made);
  const std::unique_ptr<ly_set, void (*)(ly_set *)> found(made,
                                                          [](ly_set *set) { ly_set_free(set, nullptr); });
  if (code != LY_SUCCESS) refuse(code, "YANG modules");
  return std::any_of(found->snodes, found->snodes + found->count,
                     [this](const lysc_node *each) { return secret_leaves_.contains(each); });
}

// True when the modules, or the user's choice, declare it secret.
bool schema::is_named_secret(const lysc_node *node, const std::string &path, const leaf *of) {
  const std::string own_path = path_of(node);
  // The extension applies to all nodes below too, so only the topmost node that has it counts as named.
  const lysc_node *above = lysc_data_parent(node);
  bool secret = (is_denied(node) && (above == nullptr || !is_denied(above))) ||
                (of != nullptr && of->type == "PasswordString");
  for (size_t i = 0; i < chosen_.secrets.size(); ++i) {
    const std::string &each = chosen_.secrets[i];
    const bool is_it =
        each.starts_with('/') ? each == path || each == own_path : of != nullptr && is_of_type(node, each);
    if (!is_it) continue;
    secret = found_[i] = true;
  }
  return secret;
}

std::string schema::classes() const {
  std::string json = "{";
  for (size_t i = 1; i < places_.size(); ++i) {
    const place &of = places_[i];
    json += i == 1 ? "\n" : ",\n";
    infra::put_quoted(json, of.path);
    json += ":{";
    for (const leaf &each : of.leaves) {
      if (&each != of.leaves.data()) json += ',';
      infra::put_quoted(json, each.name);
      json += ":" + declaration(each);
    }
    json += '}';
  }
  return json + "\n}";
}

std::string read_classes(const choice &chosen) {
  return "{\"classes\":" + schema(chosen).classes() + "}\n";
}

} // namespace zu_yang
