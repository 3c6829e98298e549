// `tovra render`: the configuration, or the part under one node, as CLI text.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <set>
#include <sys/resource.h>

#include "check/nearest.hpp"
#include "commands.hpp"
#include "data_file.hpp"
#include "output.hpp"
#include "output_file.hpp"
#include "progress.hpp"
#include "qtrace/qtrace.h"
#include "template_stamp.hpp"
#include "templates.hpp"

namespace tovra {

namespace {

using clock = std::chrono::steady_clock;

template <auto Free>
struct free_with {
  template <class T>
  void operator()(T *thing) const {
    Free(thing);
  }
};
template <class T, auto Free>
using handle = std::unique_ptr<T, free_with<Free>>;
using properties_handle = handle<zu_do_properties, zu_do_properties_deref>;
using value_handle = handle<zu_do_value, zu_do_value_deref>;
using wrapper_handle = handle<zu_store_wrapper, zu_store_wrapper_free>;
using context_handle = handle<zu_cli_context, zu_cli_context_free>;

// One render request: the framework's side of it.
struct request {
  explicit request(output to) : text(std::move(to)) {}
  zu_tovra_context context = {}; // first, so that the library's context leads back here
  output text;
  bool errors = false;
};

bool take_text(zu_tovra_context *context, zu_cli_context *, const char *text) {
  return reinterpret_cast<request *>(context)->text.write(text);
}

void take_error(void *context, int32_t code, const char *message) {
  auto &asked = *static_cast<request *>(context);
  asked.errors = true;
  asked.text.flush();
  say("error " + std::to_string(code) + ": " + (message != nullptr ? message : ""));
}

// The walk arguments; none after wrong usage, which is said.
properties_handle walk_arguments(const options &asked) {
  properties_handle arguments(zu_do_properties_new());
  for (const auto &[name, text] : asked.arguments) {
    zu_do_properties_set_string(arguments.get(), name.c_str(), text.c_str());
  }
  for (const auto &[name, text] : asked.json_arguments) {
    zu_do_error *error = nullptr;
    const value_handle value(zu_do_value_from_json(text.data(), text.size(), &error));
    if (!value) {
      say("tovra: --arg-json " + name + ": " + (error != nullptr ? zu_do_error_get_msg(error) : "no value"));
      say("Run with --help for more information.");
      zu_do_error_deref(error);
      return nullptr;
    }
    zu_do_properties_set_value(arguments.get(), name.c_str(), value.get());
  }
  if (asked.show_tech) zu_do_properties_set_int(arguments.get(), "_in_show_tech", 1);
  return arguments;
}

// Below a node that repeats its children, a partial render narrows the first instance only.
void warn_below_repeating(const zu_tvr_tree &tree, const std::string &id) {
  const zu_tvr_node *node = find_node(tree, id);
  if (node == nullptr) return;
  const auto ids = node_ids(tree);
  for (const zu_tvr_node *above = node->parent; above != nullptr; above = above->parent) {
    if (above->type != TVR_NODE_COLL && above->type != TVR_NODE_ITER) continue;
    const auto found = ids.find(above);
    say("warning: " + id + " is below " + (found != ids.end() ? found->second : "a node") +
        ", which repeats: only its first instance is narrowed to " + id + ", later ones are rendered whole");
    return;
  }
}

// The names of the arguments that search the records of a list at which a render begins.
std::set<std::string> query_arguments(const zu_tvr_node *node) {
  std::set<std::string> names;
  if (node == nullptr || node->type != TVR_NODE_COLL) return names;
  zu_do_nvlist *query = static_cast<const zu_tvr_coll_data *>(node->data)->query;
  if (query == nullptr) return names;
  const handle<zu_do_iter, zu_do_iter_deref> iter(zu_do_iter_new());
  zu_do_nvlist_iter(query, iter.get());
  while (zu_do_nvlist_has_next(query, iter.get())) {
    const char *value =
        zu_do_value_get_string(zu_do_nvpair_get_value(zu_do_nvlist_get_next(query, iter.get())), nullptr);
    if (value != nullptr && value[0] == '$') names.insert(value + 1);
  }
  return names;
}

// Only the list at which a render begins is searched.
void warn_unused_arguments(const zu_tvr_tree &tree, const options &asked) {
  const auto used = query_arguments(find_node(tree, asked.node));
  constexpr size_t most_told = 3;
  size_t unused = 0;
  for (const auto *given : {&asked.arguments, &asked.json_arguments}) {
    for (const auto &[name, text] : *given) {
      if (used.contains(name) || name.starts_with('_') || ++unused > most_told) continue;
      say("warning: no query uses the argument " + name +
          (used.empty() ? ": only a list that is named as NODE and has a 'Query:' is searched"
                        : check::did_you_mean(name, used)));
    }
  }
  if (unused > most_told) {
    say("warning: no query uses " + std::to_string(unused - most_told) + " more arguments");
  }
}

// What a failed render is told below its error when the name of a node is none; empty when it is one.
std::string unknown_node(const zu_tvr_tree &tree, const std::string &asked) {
  const std::string id = asked.empty() ? "config" : asked;
  if (find_node(tree, id) != nullptr) return "";
  if (asked.empty()) return "  no node is 'config', where a render of everything begins";
  std::set<std::string> known;
  for (const auto &[node, name] : node_ids(tree)) known.insert(name);
  return "  no node is '" + id + "'" + check::did_you_mean(id, known);
}

std::string unknown_configuration(const options &asked) {
  if (!asked.config) return "";
  std::set<std::string> known;
  for (const auto &[name, file] : asked.named) known.insert(name);
  if (known.contains(*asked.config)) return "";
  return "  no --named gives a configuration '" + *asked.config + "'" +
         check::did_you_mean(*asked.config, known);
}

double seconds(clock::duration elapsed) {
  return std::chrono::duration<double>(elapsed).count();
}

struct timings {
  double data = 0;
  double templates = 0;
  double render = 0;
};

void say_stats(const output &text, zu_store_wrapper *wrapper, const timings &took) {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  char line[400];
  std::snprintf(line, sizeof line,
                "stats: lines=%llu bytes=%llu cursors=%llu records=%llu rows=%llu data_seconds=%.6f "
                "template_seconds=%.6f render_seconds=%.6f peak_kib=%ld",
                static_cast<unsigned long long>(text.lines()), static_cast<unsigned long long>(text.bytes()),
                static_cast<unsigned long long>(zu_store_wrapper_calls(wrapper, ZU_CALL_OPEN_CURSOR)),
                static_cast<unsigned long long>(zu_store_wrapper_calls(wrapper, ZU_CALL_GET)),
                static_cast<unsigned long long>(zu_store_wrapper_rows(wrapper)), took.data, took.templates,
                took.render, usage.ru_maxrss);
  say(line);
}

// Where an error was found, on a line below it.
void tell_place(void *, const zu_tvr_event *event) {
  if (event->node == nullptr) return;
  std::string place = "  at ";
  if (const char *file = zu_tvr_node_file(event->node)) {
    place += file + (":" + std::to_string(zu_tvr_node_line(event->node))) + " ";
  }
  const char *id = zu_tvr_node_id(event->node);
  place += id != nullptr ? id : "ROOT";
  if (event->uri != nullptr) {
    const bool is_record = std::strchr(event->uri, '?') == nullptr;
    place += std::string(is_record ? ", record " : ", collection ") + event->uri;
  }
  if (event->property != nullptr) place += std::string(", property ") + event->property;
  say(place);
}

// Lets the library load the templates, which have been loaded once before: to the same tree, or it is said.
bool load_again(const std::string &directories, const template_stamp &checked) {
  zu_do_error *error = render_tovra_reload_func();
  const std::string told = error != nullptr ? zu_do_error_get_msg(error) : "";
  zu_do_error_deref(error);
  const std::string changed = checked.difference(template_stamp(directories));
  if (changed.empty() && error == nullptr) return true;
  say(changed.empty() ? "tovra: " + told : changed + ": changed while it was read");
  return false;
}

bool run(const options &asked, zu_cli_context *cli, zu_do_properties *arguments, request &made) {
  std::optional<progress> shown;
  if (!made.text.terminal()) shown.emplace("rendering");
  const properties_handle reserved(zu_do_properties_new());
  made.context.output_fn = take_text;
  cli->render_defaults = asked.defaults;
  cli->tag_submodes = asked.tag_submodes;
  constexpr int32_t whole = 2;
  constexpr int32_t one_node = 1;
  const zu_tvr_observer observer = {tell_place, nullptr, 1u << ZU_TVR_EVENT_ERROR};
  zu_tvr_observe(&observer);
  const bool rendered =
      render_tovra_config_func(cli, &made.context, asked.node.empty() ? whole : one_node,
                               asked.node.empty() ? nullptr : asked.node.c_str(),
                               asked.config ? asked.config->c_str() : nullptr, arguments, reserved.get());
  if (made.context.cleanup_fn != nullptr) made.context.cleanup_fn(&made.context);
  zu_tvr_observe(nullptr);
  return rendered;
}

} // namespace

int render(const options &asked) {
  if (!start_library()) return failed;
  if (asked.templates) setenv("ZU_TVR_DIR", asked.templates->c_str(), 1);
  if (asked.fetch_count) setenv("ZU_TVR_COLL_FETCH_COUNT", std::to_string(*asked.fetch_count).c_str(), 1);
  const properties_handle arguments = walk_arguments(asked);
  if (!arguments) return wrong_usage;

  const auto directories = template_directories(asked.templates);
  if (!directories) return failed;
  const template_stamp checked(*directories);
  timings took;
  std::string no_node;
  auto start = clock::now();
  {
    std::optional<progress> shown(std::in_place, "loading the templates");
    const tree_handle tree = load_templates(asked.templates);
    shown.reset();
    if (!tree) return failed;
    took.templates = seconds(clock::now() - start);
    if (!asked.node.empty()) warn_below_repeating(*tree, asked.node);
    warn_unused_arguments(*tree, asked);
    no_node = unknown_node(*tree, asked.node);
  }

  start = clock::now();
  const data_handle data = load_data(asked.data);
  if (!data) return failed;
  output_file file;
  if (asked.output && !file.open(*asked.output)) return failed;
  request made(asked.output ? output(file.number(), *asked.output) : output());
  wrapper_handle wrapper(asked.stats ? zu_store_wrapper_new(data.get()) : nullptr);
  const context_handle cli(
      zu_cli_context_new(wrapper ? zu_store_wrapper_ifc(wrapper.get()) : data.get(), take_error, &made));
  for (const auto &[name, path] : asked.named) {
    const data_handle named = load_data(path);
    if (!named) return failed;
    zu_cli_context_add_config(cli.get(), name.c_str(), named.get());
  }
  took.data = seconds(clock::now() - start);

  qtrace_set_level(asked.trace);
  start = clock::now();
  if (!load_again(*directories, checked)) return failed;
  const bool rendered = run(asked, cli.get(), arguments.get(), made);
  const bool written = made.text.finish();
  took.render = seconds(clock::now() - start);
  qtrace_set_level(0);

  if (!rendered && !made.errors) take_error(&made, ZU_FAILED, "render failed, see --trace 3");
  for (const std::string &why : {no_node, unknown_configuration(asked)}) {
    if (!rendered && !why.empty()) say(why);
  }
  if (wrapper) say_stats(made.text, wrapper.get(), took);
  zu_tovra_stop();
  if (!rendered || !written || made.errors) return failed;
  return !asked.output || file.put_in_place() ? done : failed;
}

} // namespace tovra
