// One render as the host makes it.
#include "request.hpp"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>

#include "check/nearest.hpp"
#include "output.hpp"
#include "progress.hpp"
#include "qtrace/qtrace.h"

namespace tovra {

namespace {

using clock = std::chrono::steady_clock;

double seconds_since(clock::time_point start) {
  return std::chrono::duration<double>(clock::now() - start).count();
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
  for (const zu_tvr_node *above = node->parent; above != nullptr; above = above->parent) {
    if (above->type != TVR_NODE_COLL && above->type != TVR_NODE_ITER) continue;
    say("warning: " + id + " is below " + zu_tvr_node_id(above) +
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
  const iterator_handle iter(zu_do_iter_new());
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

std::string unknown_configuration(const options &asked) {
  if (!asked.config) return "";
  std::set<std::string> known;
  for (const auto &[name, file] : asked.named) known.insert(name);
  if (known.contains(*asked.config)) return "";
  return "no --named gives a configuration '" + *asked.config + "'" +
         check::did_you_mean(*asked.config, known);
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

// What the framework's side of a render leads back to.
struct framework {
  zu_tovra_context context = {}; // first, so that the library's context leads back here
  receiver *to = nullptr;
};

bool take_text(zu_tovra_context *context, zu_cli_context *, const char *text) {
  return reinterpret_cast<framework *>(context)->to->take_text(text);
}

} // namespace

std::string unknown_node(const zu_tvr_tree &tree, const std::string &asked) {
  const std::string id = asked.empty() ? "config" : asked;
  if (find_node(tree, id) != nullptr) return "";
  if (asked.empty()) return "no node is 'config', where a render of everything begins";
  std::set<std::string> known;
  for (const auto &[node, name] : node_ids(tree)) known.insert(name);
  return "no node is '" + id + "'" + check::did_you_mean(id, known);
}

void say_error(int32_t code, const char *message) {
  say("error " + std::to_string(code) + ": " + (message != nullptr ? message : ""));
}

void say_place(const zu_tvr_event &event) {
  if (event.node == nullptr) return;
  std::string place = "  at " + place_of(*event.node);
  if (event.uri != nullptr) {
    const bool is_record = std::strchr(event.uri, '?') == nullptr;
    place += std::string(is_record ? ", record " : ", collection ") + event.uri;
  }
  if (event.property != nullptr) place += std::string(", property ") + event.property;
  say(place);
}

request::~request() {
  zu_tovra_stop();
}

bool request::load_arguments() {
  arguments_ = walk_arguments(asked_);
  return arguments_ != nullptr;
}

bool request::load_templates() {
  directories_ = template_directories(asked_.templates);
  if (!directories_) return false;
  checked_.emplace(*directories_);
  const auto start = clock::now();
  {
    const progress shown("loading the templates");
    tree_ = tovra::load_templates(asked_.templates);
  }
  if (!tree_) return false;
  took_.templates = seconds_since(start);
  if (!asked_.node.empty()) warn_below_repeating(*tree_, asked_.node);
  warn_unused_arguments(*tree_, asked_);
  no_node_ = unknown_node(*tree_, asked_.node);
  return true;
}

bool request::load_configurations() {
  const auto start = clock::now();
  data_ = load_data(asked_.data);
  if (!data_) return false;
  if (asked_.stats) wrapper_.reset(zu_store_wrapper_new(data_.get()));
  const auto take_error = [](void *self, int32_t code, const char *message) {
    auto *asked = static_cast<request *>(self);
    asked->errors_ = true;
    asked->to_->take_error(code, message);
  };
  cli_.reset(
      zu_cli_context_new(wrapper_ ? zu_store_wrapper_ifc(wrapper_.get()) : data_.get(), take_error, this));
  for (const auto &[name, path] : asked_.named) {
    const data_handle named = load_data(path);
    if (!named) return false;
    zu_cli_context_add_config(cli_.get(), name.c_str(), named.get());
  }
  took_.data = seconds_since(start);
  return true;
}

int request::load() {
  if (!start_library()) return failed;
  if (asked_.templates) setenv("ZU_TVR_DIR", asked_.templates->c_str(), 1);
  if (asked_.fetch_count) setenv("ZU_TVR_COLL_FETCH_COUNT", std::to_string(*asked_.fetch_count).c_str(), 1);
  if (!load_arguments()) return wrong_usage;
  return load_templates() && load_configurations() ? done : failed;
}

bool request::run(receiver &to) {
  framework made;
  made.context.output_fn = take_text;
  made.to = &to;
  const properties_handle reserved(zu_do_properties_new());
  cli_->render_defaults = asked_.defaults;
  cli_->tag_submodes = asked_.tag_submodes;
  constexpr int32_t whole = 2;
  constexpr int32_t one_node = 1;
  const bool rendered = render_tovra_config_func(
      cli_.get(), &made.context, asked_.node.empty() ? whole : one_node,
      asked_.node.empty() ? nullptr : asked_.node.c_str(), asked_.config ? asked_.config->c_str() : nullptr,
      arguments_.get(), reserved.get());
  if (made.context.cleanup_fn != nullptr) made.context.cleanup_fn(&made.context);
  return rendered;
}

bool request::render(receiver &to, const zu_tvr_observer *observer) {
  const auto tell = [](void *, const zu_tvr_event *event) { say_place(*event); };
  const zu_tvr_observer places = {tell, nullptr, 1u << ZU_TVR_EVENT_ERROR};
  to_ = &to;
  errors_ = false;
  qtrace_set_level(asked_.trace);
  const auto start = clock::now();
  if (!load_again(*directories_, *checked_)) return false;
  zu_tvr_observe(observer != nullptr ? observer : &places);
  const bool rendered = run(to);
  took_.render = seconds_since(start);
  zu_tvr_observe(nullptr);
  qtrace_set_level(0);
  if (rendered) return !errors_;
  if (!errors_) to.take_error(ZU_FAILED, "render failed, see --trace 3");
  for (const std::string &why : {no_node_, unknown_configuration(asked_)}) {
    if (!why.empty()) say("  " + why);
  }
  return false;
}

} // namespace tovra
