// Loads what a render needs, and runs it.
#include "request.hpp"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <utility>

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

// Warns about a partial render below a node that repeats its children: it gives only the first instance.
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

// The names of the arguments that select records of the list at which a render begins.
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

// Warns about arguments without effect: only the list at which a render begins uses them.
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

} // namespace

bool gathered::take_text(std::string_view piece) {
  if (piece.empty()) return true;
  if (!any_ && piece.front() == '\n') piece.remove_prefix(1);
  any_ = true;
  text_ += piece;
  return true;
}

void gathered::take_error(const zu_tovra::error &error) {
  say_error(error);
}

std::string gathered::take() {
  return std::exchange(text_, {}) + (std::exchange(any_, false) ? "\n" : "");
}

std::string unknown_node(const zu_tvr_tree &tree, const std::string &asked) {
  const std::string id = asked.empty() ? "config" : asked;
  if (find_node(tree, id) != nullptr) return "";
  if (asked.empty()) return "no node is 'config', where a render of everything begins";
  std::set<std::string> known;
  for (const auto &[node, name] : node_ids(tree)) known.insert(name);
  return "no node is '" + id + "'" + check::did_you_mean(id, known);
}

void say_error(const zu_tovra::error &error) {
  say("error " + std::to_string(error.code) + ": " + error.message);
  if (error.node.empty()) return;
  std::string place = "  at ";
  if (!error.file.empty()) place += error.file + ":" + std::to_string(error.line) + " ";
  place += error.node;
  if (!error.uri.empty()) {
    place += (error.uri.find('?') == error.uri.npos ? ", record " : ", collection ") + error.uri;
  }
  if (!error.property.empty()) place += ", property " + error.property;
  say(place);
}

properties_handle preparation::arguments() const {
  properties_handle arguments(zu_do_properties_new());
  for (const auto &[name, text] : asked_.arguments) {
    zu_do_properties_set_string(arguments.get(), name.c_str(), text.c_str());
  }
  for (const auto &[name, text] : asked_.json_arguments) {
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
  if (asked_.show_tech) zu_do_properties_set_int(arguments.get(), "_in_show_tech", 1);
  return arguments;
}

bool preparation::load_templates() {
  directories_ = template_directories(asked_.templates);
  if (!directories_) return false;
  checked_.emplace(*directories_);
  const auto start = clock::now();
  {
    const progress shown("loading the templates");
    tree_ = tovra::load_templates(asked_.templates);
  }
  if (!tree_) return false;
  seconds_ = seconds_since(start);
  if (!asked_.node.empty()) warn_below_repeating(*tree_, asked_.node);
  warn_unused_arguments(*tree_, asked_);
  no_node_ = unknown_node(*tree_, asked_.node);
  return true;
}

int preparation::load() {
  if (!start_library()) return failed;
  if (asked_.templates) setenv("ZU_TVR_DIR", asked_.templates->c_str(), 1);
  if (asked_.fetch_count) setenv("ZU_TVR_COLL_FETCH_COUNT", std::to_string(*asked_.fetch_count).c_str(), 1);
  if (!arguments()) return wrong_usage;
  return load_templates() ? done : failed;
}

bool preparation::put_in_use() {
  zu_do_error *error = render_tovra_reload_func();
  const std::string told = error != nullptr ? zu_do_error_get_msg(error) : "";
  zu_do_error_deref(error);
  const std::string changed = checked_->difference(template_stamp(*directories_));
  if (changed.empty() && error == nullptr) return true;
  say(changed.empty() ? "tovra: " + told : changed + ": changed while it was read");
  return false;
}

bool request::take_data(const std::string &name) {
  return all_data_.emplace_back(loaded_data{name, asked_.classes, nullptr}).load();
}

bool request::load_configurations() {
  const auto start = clock::now();
  if (!take_data(asked_.data)) return false;
  for (const auto &[name, path] : asked_.named) {
    if (!take_data(path)) return false;
  }
  took_.data = seconds_since(start);
  return true;
}

int request::attempt(output *out, const std::function<int()> &step) {
  return in_one_state(all_data_, out, [&] {
    zu_data_ifc *data = all_data_.front().data.get();
    renderer_.reset();
    if (asked_.stats) wrapper_.reset(zu_store_wrapper_new(data));
    renderer_.emplace(wrapper_ ? zu_store_wrapper_ifc(wrapper_.get()) : data);
    for (size_t i = 0; i < asked_.named.size(); ++i)
      renderer_->add_config(asked_.named[i].first.c_str(), all_data_[i + 1].data.get());
    return step();
  });
}

std::optional<std::string> request::whole_text(gathered &into) {
  std::string whole;
  const int status = attempt(nullptr, [&] {
    const bool good = render(into);
    whole = into.take();
    return good ? done : failed;
  });
  return status == done ? std::optional(std::move(whole)) : std::nullopt;
}

int request::load() {
  if (own_) {
    if (const int status = own_->load(); status != done) return status;
    took_.templates = own_->seconds();
  }
  arguments_ = prepared_.arguments();
  return load_configurations() ? done : failed;
}

zu_data_ifc *request::store() const {
  zu_data_ifc *found = asked_.config ? nullptr : all_data_.front().data.get();
  for (size_t i = 0; i < asked_.named.size(); ++i) {
    if (asked_.config == asked_.named[i].first)
      found = all_data_[i + 1].data.get(); // of several with one name, the last one counts
  }
  return found;
}

bool request::render(receiver &to, const zu_tvr_observer *observer) {
  qtrace_set_level(asked_.trace);
  const auto start = clock::now();
  if (own_ && !own_->put_in_use()) return false;
  bool refused = false;
  bool told = false;
  const bool whole = renderer_->render(
      {.node = asked_.node.empty() ? nullptr : asked_.node.c_str(),
       .config = asked_.config ? asked_.config->c_str() : nullptr,
       .arguments = arguments_.get(),
       .defaults = asked_.defaults,
       .submode_tags = asked_.tag_submodes,
       .observer = observer},
      [&](std::string_view piece) { return !(refused = !to.take_text(piece)); },
      [&](const zu_tovra::error &error) {
        told = true;
        to.take_error(error);
      });
  took_.render = seconds_since(start);
  qtrace_set_level(0);
  if (whole) return true;
  if (!told && !refused) to.take_error({.code = ZU_FAILED, .message = "render failed, see --trace 3"});
  for (const std::string &why : {prepared_.no_node(), unknown_configuration(asked_)}) {
    if (!why.empty()) say("  " + why);
  }
  for (const loaded_data &each : all_data_) say_fault(each.data.get());
  return false;
}

} // namespace tovra
