// Loads the templates, and reports where they are wrong.
#include "templates.hpp"

#include <glib.h>
#include <string_view>
#include <sys/stat.h>

#include "commands.hpp"
#include "output.hpp"
#include "qmalloc/qmalloc.h"

namespace tovra {

namespace {

constexpr const char *no_templates = "No templates are found: --templates DIR says where they are.";

bool is_irregular(const char *path) {
  struct stat about = {};
  return stat(path, &about) == 0 && !S_ISREG(about.st_mode);
}

// The directories that the library itself would use; nullopt, with the reason in `why`, when there are none.
std::optional<std::string> default_directories(std::string &why) {
  zu_do_error *error = nullptr;
  char *found = zu_tvr_template_directories(&error);
  std::optional<std::string> directories;
  if (found != nullptr) {
    directories = found;
  } else {
    why = error != nullptr ? zu_do_error_get_msg(error) : "tvr bay env var is not set";
  }
  qfree_named(found);
  zu_do_error_deref(error);
  return directories;
}

// Keeps the first fault of a load; returning false ends the load.
bool keep_first(void *into, const zu_tvr_diagnostic *fault) {
  *static_cast<std::string *>(into) = place_of(*fault) + words_of(*fault);
  return false;
}

} // namespace

bool start_library() {
  struct stops_at_end {
    ~stops_at_end() { zu_tovra_stop(); } // it cannot be started again, so only at exit
  };
  static const stops_at_end running;
  if (zu_tovra_init() && zu_tovra_trace_init() == 0) return true;
  say("tovra: the library cannot be initialised");
  return false;
}

std::string place_of(const zu_tvr_diagnostic &fault) {
  if (fault.file == nullptr) return "";
  return std::string(fault.file) + (fault.line > 0 ? ":" + std::to_string(fault.line) : "") + ": ";
}

std::string words_of(const zu_tvr_diagnostic &fault) {
  if (fault.kind == ZU_TVR_FAULT_FILE && fault.file != nullptr && is_irregular(fault.file)) {
    return "not a regular file";
  }
  std::string words = fault.message;
  if (fault.kind == ZU_TVR_FAULT_DUPLICATE) {
    const std::string file = fault.other_file != nullptr ? fault.other_file : "";
    return words + ": " + (file.empty() ? "the root" : file + ":" + std::to_string(fault.other_line)) +
           " has that id";
  } else if (fault.kind == ZU_TVR_FAULT_NO_PARENT) {
    words += std::string(": no record is '") + fault.other_id + "'";
  }
  if (fault.cause == nullptr) return words;
  return std::string_view(fault.cause).starts_with(fault.message) ? fault.cause
                                                                  : words + " (" + fault.cause + ")";
}

tree_handle load_templates(const std::optional<std::string> &directories) {
  std::string fault = "out of memory";
  tree_handle tree(zu_tvr_tree_new());
  if (tree &&
      zu_tvr_load_directory_observed(tree.get(), directories ? directories->c_str() : nullptr, keep_first,
                                     &fault) &&
      zu_tvr_resolve_links_observed(tree.get(), keep_first, &fault)) {
    return tree;
  }
  say(fault);
  if (std::string why; !directories && !default_directories(why)) say(no_templates);
  return nullptr;
}

std::optional<std::string> template_directories(const std::optional<std::string> &given) {
  if (given) return given;
  std::string why;
  auto directories = default_directories(why);
  if (!directories) {
    say(why);
    say(no_templates);
  }
  return directories;
}

std::map<const zu_tvr_node *, std::string> node_ids(const zu_tvr_tree &tree) {
  std::map<const zu_tvr_node *, std::string> ids;
  const auto enter = [](void *id, void *node, void *into) {
    (*static_cast<std::map<const zu_tvr_node *, std::string> *>(into))[static_cast<zu_tvr_node *>(node)] =
        static_cast<const char *>(id);
  };
  g_hash_table_foreach(tree.nodes, enter, &ids);
  return ids;
}

std::string place_of(const zu_tvr_node &node) {
  std::string place;
  if (const char *file = zu_tvr_node_file(&node)) {
    place += file + (":" + std::to_string(zu_tvr_node_line(&node))) + " ";
  }
  const char *id = zu_tvr_node_id(&node);
  return place + (id != nullptr ? id : "ROOT");
}

const char *op_name(const zu_tvr_node &node) {
  static constexpr const char *names[] = {"no_op",   "push_mode", "get_collection",
                                          "get_one", "iter",      "print_if"};
  return node.type < std::size(names) ? names[node.type] : "?";
}

zu_tvr_node *find_node(const zu_tvr_tree &tree, const std::string &id) {
  return static_cast<zu_tvr_node *>(g_hash_table_lookup(tree.nodes, id.c_str()));
}

} // namespace tovra
