// The documents and settings of a client, and the answers to its requests.
#include "session.hpp"

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "../fmt/nodes.hpp"
#include "../output.hpp"
#include "complete.hpp"
#include "hover.hpp"
#include "navigate.hpp"

namespace tovra::lsp {

namespace fs = std::filesystem;

namespace {

std::string folder_of(const std::string &path) {
  return fs::path(path).parent_path().string();
}

// Applies `made` to each part, and joins the results with the same separator.
template <class Do>
std::string each_directory(const std::string &directories, const Do &made) {
  std::string all;
  std::istringstream list(directories);
  for (std::string directory; std::getline(list, directory, ':');) {
    if (!directory.empty()) all += (all.empty() ? "" : ":") + made(directory);
  }
  return all;
}

// The directories as one text; clients may also send an array.
std::string directories_in(const json &given) {
  if (!given.is_array()) return given.get<std::string>();
  std::string all;
  for (const json &directory : given) all += (all.empty() ? "" : ":") + directory.get<std::string>();
  return all;
}

} // namespace

void session::notify(const char *method, json params) {
  send_({{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}});
}

void session::show(int weight, const std::string &message) {
  notify("window/showMessage", {{"type", weight}, {"message", message}});
}

// ---- Settings and workspaces ----

std::string session::absolute(const std::string &path) const {
  std::error_code failure;
  const fs::path whole = fs::path(root_) / path;
  const fs::path made = fs::weakly_canonical(whole, failure);
  return failure ? whole.string() : made.string();
}

void session::begin(const json &params) {
  std::error_code failure;
  root_ = fs::current_path(failure).string();
  json root = params.value("rootUri", json());
  const json folders = params.value("workspaceFolders", json());
  if (!root.is_string() && folders.is_array() && !folders.empty()) root = folders[0].value("uri", json());
  if (root.is_string()) root_ = path_of_uri(root).value_or(root_);
  take_settings(params.value("initializationOptions", json()));
  set_up();
}

void session::take_settings(const json &given) {
  if (!given.is_object()) return;
  settings taken;
  for (const auto &[name, value] : given.items()) {
    try {
      if (name == "templates") {
        taken.templates = directories_in(value);
      } else if (name == "data") {
        taken.data = value.get<std::string>();
      } else if (name == "classes") {
        taken.classes =
            value.is_array() ? value.get<std::vector<std::string>>() : std::vector{value.get<std::string>()};
      } else {
        show(weight_warning, "tovra: no setting is '" + name + "': there are templates, data, classes");
      }
    } catch (const json::exception &) {
      show(weight_error,
           "tovra: the setting '" + name + "' is no text" + (name != "data" ? " or array of texts" : ""));
    }
  }
  asked_ = taken;
}

void session::set_up() {
  groups_.clear();
  std::optional<std::string> directories = asked_.templates ? asked_.templates : given_.templates;
  if (!directories) {
    const kept_lines said; // no directories: each file is then checked with its own folder
    directories = template_directories(std::nullopt);
  }
  configured_ =
      each_directory(directories.value_or(""), [this](const std::string &one) { return absolute(one); });
  if (!configured_.empty()) group_of("");
  for (const auto &[path, document] : files_.documents()) group_of(path);
}

// The group of a file. Files of the configured directories (and the empty path) belong to their group;
// another file belongs to the group of its own folder.
session::group &session::group_of(const std::string &path) {
  const std::string folder = folder_of(path);
  const bool is_configured =
      path.empty() || (":" + configured_ + ":").find(":" + folder + ":") != folder.npos;
  const std::string directories = is_configured ? configured_ : folder;
  group &found = groups_[directories];
  if (!found.of) {
    const std::string &data = asked_.data.empty() ? given_.data : asked_.data;
    const bool is_theirs = is_configured || configured_.empty();
    std::string name = is_theirs ? data : "";
    const std::string file = data_file_of(name);
    if (!file.empty()) name.replace(name.find(file), file.size(), absolute(file));
    std::vector<std::string> classes;
    for (const std::string &each : asked_.classes.empty() ? given_.classes : asked_.classes) {
      if (is_theirs) classes.push_back(absolute(each));
    }
    found.of = std::make_unique<workspace>(directories, name, std::move(classes), files_, explain_);
  }
  return found;
}

workspace &session::workspace_of(const std::string &path) {
  group &found = group_of(path);
  if (found.of->refresh()) collect(found);
  return *found.of;
}

// ---- Documents ----

void session::take(const std::string &method, const json &params) {
  try {
    if (method == "textDocument/didOpen") {
      open(params);
    } else if (method == "textDocument/didChange") {
      change(params);
    } else if (method == "textDocument/didClose") {
      close(params);
    } else if (method == "workspace/didChangeConfiguration") {
      const json &given = params.at("settings");
      if (!given.is_object() || !given.contains("tovra")) return;
      take_settings(given["tovra"]);
      set_up();
    } // other notifications are not needed: changed files are found by their stamps
  } catch (const refusal &wrong) {
    show(weight_error, "tovra: " + method + ": " + wrong.what());
  } catch (const json::exception &wrong) {
    show(weight_error, "tovra: " + method + ": " + wrong.what());
  }
}

void session::open(const json &params) {
  const json &document = params.at("textDocument");
  const std::string uri = uri_in(params), path = path_in(params);
  files_.open(path, {uri, version_in(document), text(document.at("text").get<std::string>()), 0});
  group_of(path);
}

void session::change(const json &params) {
  document *open = files_.find(path_in(params));
  if (open == nullptr) throw refusal(invalid_params, uri_in(params) + " is not open");
  for (const json &change : params.at("contentChanges")) {
    const std::string with = change.at("text").get<std::string>();
    if (change.contains("range")) {
      const json &where = change["range"];
      open->text.replace({position_in(where.at("start")), position_in(where.at("end"))}, with);
    } else {
      open->text = text(with);
    }
  }
  open->version = version_in(params["textDocument"]);
  files_.changed(*open);
}

// When the last open file of such a folder is closed, the folder is no longer checked.
void session::close(const json &params) {
  const std::string path = path_in(params);
  files_.close(path);
  std::erase_if(groups_, [this](const auto &known) {
    if (known.first == configured_) return false;
    return std::none_of(files_.documents().begin(), files_.documents().end(),
                        [&](const auto &open) { return folder_of(open.first) == known.first; });
  });
}

std::vector<const running_process *> session::running() const {
  std::vector<const running_process *> all;
  for (const auto &[directories, known] : groups_) {
    if (const running_process *one = known.of->running()) all.push_back(one);
  }
  return all;
}

void session::end_renders() {
  for (auto &[directories, known] : groups_) known.of->end_render();
}

// ---- Questions ----

session::place session::place_in(const json &params) {
  const std::string path = path_in(params);
  if (files_.find(path) == nullptr) throw refusal(invalid_params, uri_in(params) + " is not open");
  const position at = position_in(params.at("position"));
  return {workspace_of(path), path, files_.text_of(path)->offset_of(at)};
}

json session::formatted(const json &params) {
  const std::string path = path_in(params);
  const document *open = files_.find(path);
  if (open == nullptr) throw refusal(invalid_params, uri_in(params) + " is not open");
  std::string why;
  const auto made = fmt::formatted_alike(open->text.bytes(), why);
  if (!made) throw refusal(request_failed, fs::path(path).filename().string() + why);
  const auto change = change_between(open->text, *made);
  if (!change) return json::array();
  return json::array({{{"range", as_json(change->where)}, {"newText", change->with}}});
}

json session::outline(const json &params) {
  const std::string path = path_in(params);
  if (files_.find(path) == nullptr) throw refusal(invalid_params, uri_in(params) + " is not open");
  return outline_of(workspace_of(path), path);
}

json session::nodes(const json &params) {
  const std::string part = params.at("query").get<std::string>();
  json all = json::array();
  for (auto &[directories, known] : groups_) {
    if (known.of->refresh()) collect(known);
    for (json &one : nodes_named(*known.of, part)) all.push_back(std::move(one));
  }
  return all;
}

json session::definition(const json &params) {
  const place at = place_in(params);
  return definition_at(at.in, at.path, at.offset);
}

json session::references(const json &params) {
  const place at = place_in(params);
  const json about = params.value("context", json::object());
  const bool with_definition = about.is_object() && about.value("includeDeclaration", json()) == true;
  return references_at(at.in, at.path, at.offset, with_definition);
}

json session::completions(const json &params) {
  const place at = place_in(params);
  return completions_at(at.in, at.path, at.offset);
}

json session::hover(const json &params) {
  const place at = place_in(params);
  return hover_at(at.in, at.path, at.offset);
}

json session::id_range(const json &params) {
  const place at = place_in(params);
  return id_range_at(at.in, at.path, at.offset);
}

json session::rename(const json &params) {
  const place at = place_in(params);
  const std::string name = params.at("newName").get<std::string>();
  if (name.empty() || name != check::trimmed(name) || name.find_first_of("\r\n") != name.npos) {
    throw refusal(invalid_params, "an id is a line of text without blanks around it");
  }
  if (at.in.set().by_id(name) != nullptr) throw refusal(request_failed, name + " is there");
  return rename_at(at.in, at.path, at.offset, name);
}

json session::answer(const std::string &method, const json &params) {
  static constexpr struct {
    const char *method;
    json (session::*answer)(const json &);
  } questions[] = {
      {"textDocument/definition", &session::definition},  {"textDocument/references", &session::references},
      {"textDocument/completion", &session::completions}, {"textDocument/hover", &session::hover},
      {"textDocument/prepareRename", &session::id_range}, {"textDocument/rename", &session::rename},
      {"textDocument/documentSymbol", &session::outline}, {"workspace/symbol", &session::nodes},
      {"textDocument/formatting", &session::formatted},
  };
  for (const auto &question : questions) {
    if (method == question.method) return (this->*question.answer)(params);
  }
  throw refusal(method_not_found, "no method is " + method);
}

} // namespace tovra::lsp
