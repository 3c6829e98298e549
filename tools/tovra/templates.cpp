// Loading the templates with an eye on the trace: it tells the file and the line that an error object does
// not.
#include "templates.hpp"

#include <cstdlib>
#include <glib.h>
#include <string_view>
#include <sys/stat.h>

#include "commands.hpp"
#include "output.hpp"
#include "qtrace/qtrace.h"

namespace tovra {

namespace {

constexpr const char *no_templates = "No templates are found: --templates DIR says where they are.";
constexpr int trace_errors = 3;
constexpr int trace_information = 6; // the level at which the loader names its files

// What the trace of a load told.
struct load_watch {
  std::optional<std::string> directories; // as the library took them from its arguments or its environment
  std::string place;                      // file and line, or the file, or the directory that was being read
  bool irregular = false;                 // the place is a file that is no regular one
  std::string last_error;                 // without its prefix

  static void take(void *self, int level, const char *message) {
    static_cast<load_watch *>(self)->look(level, message);
  }

private:
  static bool begins(std::string_view message, std::string_view prefix, std::string_view &rest) {
    if (!message.starts_with(prefix)) return false;
    rest = message.substr(prefix.size());
    return true;
  }

  void look(int level, std::string_view message) {
    std::string_view rest;
    if (begins(message, "(info): loader loading from dir: ", rest)) {
      place = rest;
      directories = place;
    } else if (begins(message, "(info): loader loading file: ", rest)) {
      place = rest;
      irregular = is_irregular(place);
    } else if (begins(message, "(ERR): Loading terminated at ", rest) ||
               begins(message, "(ERR): Unable to open dir ", rest) ||
               begins(message, "(ERR): Unable to read dir ", rest)) {
      place = rest;
    } else if (level <= trace_errors) {
      last_error = begins(message, "(ERR): ", rest) ? rest : message;
    }
  }

  static bool is_irregular(const std::string &path) {
    struct stat about = {};
    return stat(path.c_str(), &about) == 0 && !S_ISREG(about.st_mode);
  }
};

bool load_into(zu_tvr_tree *tree, const char *directories, load_watch &watch) {
  zu_do_error *error = nullptr;
  const bool loaded = zu_tvr_load_directory(tree, directories, &error);
  if (error != nullptr) {
    watch.last_error = zu_do_error_get_msg(error);
    zu_do_error_deref(error);
    return false;
  }
  if (!loaded) return false;
  watch.place.clear(); // an unresolved link is no single file's fault
  return tree->resolve_links(tree);
}

} // namespace

bool start_library() {
  if (zu_tovra_init() && zu_tovra_trace_init() == 0) return true;
  say("tovra: the library cannot be initialised");
  return false;
}

tree_handle load_templates(const std::optional<std::string> &directories) {
  load_watch watch;
  qtrace_set_sink(load_watch::take, &watch);
  qtrace_set_level(trace_information);
  tree_handle tree(zu_tvr_tree_new());
  const bool loaded = tree && load_into(tree.get(), directories ? directories->c_str() : nullptr, watch);
  qtrace_set_level(0);
  qtrace_set_sink(nullptr, nullptr);
  if (loaded) return tree;
  if (watch.irregular) watch.last_error = "not a regular file";
  say(watch.place.empty() ? watch.last_error : watch.place + ": " + watch.last_error);
  if (!directories && !watch.directories) say(no_templates);
  return nullptr;
}

std::optional<std::string> template_directories(const std::optional<std::string> &given) {
  if (given) return given;
  load_watch watch;
  qtrace_set_sink(load_watch::take, &watch);
  qtrace_set_level(trace_information);
  const tree_handle tree(zu_tvr_tree_new());
  // Only the loader knows its rule. The first node ends the load: what is in the files is not wanted yet.
  tree->add_node = [](zu_tvr_tree *, zu_tvr_node *, const char *, const char *) { return false; };
  zu_do_error *error = nullptr;
  (void)zu_tvr_load_directory(tree.get(), nullptr, &error);
  zu_do_error_deref(error);
  qtrace_set_level(0);
  qtrace_set_sink(nullptr, nullptr);
  if (!watch.directories) {
    say(watch.last_error);
    say(no_templates);
  }
  return watch.directories;
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

zu_tvr_node *find_node(const zu_tvr_tree &tree, const std::string &id) {
  return static_cast<zu_tvr_node *>(g_hash_table_lookup(tree.nodes, id.c_str()));
}

} // namespace tovra
