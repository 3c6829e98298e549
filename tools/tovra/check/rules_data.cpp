// Rules that compare templates with their data.
#include <algorithm>

#include "nearest.hpp"
#include "placed.hpp"
#include "rules.hpp"
#include "zuapi/zuapi.h"

namespace tovra::check {

namespace {

// A place where templates use a path, with the properties that they expect of its records.
struct use {
  const record *by;
  int number;
  std::string path;
  std::set<std::string> properties;
  const char *effect; // what happens when the records do not have the property
};

// Calls `look` for the keys that a record's URIs take from other records: with the line of the URI, the path
// and the property.
void for_keys(const record &record, const auto &look) {
  const auto look_in = [&look](int number, const zu_tvr_uri &uri) {
    const auto keys = look_ups_of(uri);
    if (!keys) return;
    for (const key_look_up &key : *keys) {
      if (key.wanted) look(number, path_of(*key.wanted), key.key);
    }
  };
  if (const zu_tvr_uri *uri = uri_of(record)) look_in(record.number_of(word::uri), *uri);
  const zu_tvr_uri_item *last = nullptr;
  for (const placed_property &property : placed_properties(record)) {
    if (property.item != last) look_in(property.from->number, *property.item->uri);
    last = property.item;
  }
}

// The properties by which a URI searches: "family" of "/routing/route?family=ipv4".
std::set<std::string> searched_by(const pattern &uri) {
  const size_t query = uri.find('?');
  const size_t equals = query != uri.npos ? uri.find('=', query) : uri.npos;
  if (equals == uri.npos) return {};
  return {uri.substr(query + 1, equals - query - 1)};
}

void add_read(std::vector<use> &uses, const record &record) {
  const zu_tvr_uri *uri = uri_of(record);
  const auto text = uri != nullptr ? pattern_of(*uri) : std::nullopt;
  if (!text) return;
  const std::string path = path_of(*text);
  uses.push_back({&record, record.number_of(word::uri), path, searched_by(*text), "nothing is found"});
  for (const line &line : record.lines) {
    if (line.refused) continue;
    if (line.keyword == word::orderby && !trimmed(line.value).empty()) {
      uses.push_back({&record, line.number, path, {trimmed(line.value)}, "nothing is ordered by it"});
    }
    const size_t dollar = line.keyword == word::query ? line.value.find("=$") : line.value.npos;
    if (dollar != line.value.npos) {
      uses.push_back({&record, line.number, path, {line.value.substr(dollar + 2)}, "nothing is found"});
    }
  }
}

void add_print(std::vector<use> &uses, const record &record) {
  for (const placed_property &property : placed_properties(record)) {
    const auto text = pattern_of(*property.item->uri);
    if (!text) continue;
    uses.push_back(
        {&record, property.from->number, path_of(*text), {property.name}, "the line fails with error 10000"});
  }
}

std::vector<use> all_uses(const template_set &set) {
  std::vector<use> uses;
  for (const record &record : set.records) {
    for_keys(record, [&](int number, const std::string &path, const std::string &key) {
      uses.push_back({&record, number, path, {key}, "the URI cannot be resolved"});
    });
    add_read(uses, record);
    add_print(uses, record);
  }
  return uses;
}

std::set<std::string> paths_of(const data_set &data) {
  std::set<std::string> paths;
  for (const auto &[path, about] : data.paths) paths.insert(path);
  return paths;
}

// In a relative URI "/locations" may mean the locations themselves.
bool may_be_known(const data_set &data, const std::string &path) {
  return data.paths.contains(path) || path == "//locations" || path == "/locations" || path.empty();
}

std::string unqualified(const std::string &name) {
  return name.substr(name.rfind(':') + 1);
}

std::set<std::string> paths_read(const template_set &set) {
  std::set<std::string> paths;
  for (const record &record : set.records) {
    if (auto path = path_read_by(record)) paths.insert(std::move(*path));
  }
  return paths;
}

// True when no line or record was refused. Otherwise it is not known what the templates read and print, and a
// rule about unused data would be wrong.
bool all_are_sound(const template_set &set) {
  return std::all_of(set.records.begin(), set.records.end(),
                     [](const record &record) { return record.sound; });
}

} // namespace

namespace {

// The path as messages show it: the path of the record "/" is empty.
std::string shown(const std::string &path) {
  return path.empty() ? "/" : path;
}

void tell_unknown_paths(const subject &subject, const teller &tell, bool with_schema) {
  if (subject.data == nullptr || subject.data->has_schema != with_schema) return;
  nearest_names near(paths_of(*subject.data));
  for (const record &record : subject.templates.records) {
    const auto path = path_read_by(record);
    if (!path || may_be_known(*subject.data, *path)) continue;
    tell(record, word::uri,
         "the data has no record and no class " + *path + ", and nothing is read" + near.hint(*path),
         near.nearest(*path));
  }
}

} // namespace

// Finds paths that neither a record nor a class of the data has. Other devices may have them, so it is a
// warning.
void find_unknown_paths(const subject &subject, const teller &tell) {
  tell_unknown_paths(subject, tell, false);
}

// Finds the same when files of classes declare all paths that any device has.
void find_paths_without_class(const subject &subject, const teller &tell) {
  tell_unknown_paths(subject, tell, true);
}

// Finds properties that the records of their path do not have.
void find_unknown_properties(const subject &subject, const teller &tell) {
  if (subject.data == nullptr) return;
  std::map<const path_data *, nearest_names> names;
  for (const use &use : all_uses(subject.templates)) {
    const path_data *path = subject.data->find(use.path);
    if (path == nullptr) continue;
    nearest_names &near = names.try_emplace(path, path->names()).first->second;
    for (const std::string &name : use.properties) {
      const bool of_place = use.path == "//locations" && subject.data->location_keys.contains(name);
      if (name.empty() || of_place || name.starts_with('_') || path->properties.contains(unqualified(name)))
        continue;
      tell(*use.by, use.number,
           "records of " + shown(use.path) + " have no property '" + name + "': " + use.effect +
               near.hint(name),
           use.path + " " + near.nearest(name));
    }
  }
}

// Finds records that no template reads.
void find_unread_records(const subject &subject, const teller &tell) {
  if (subject.data == nullptr || !all_are_sound(subject.templates)) return;
  const auto read = paths_read(subject.templates);
  const bool modules = subject.data->has_modules;
  for (const auto &[path, about] : subject.data->paths) {
    if (read.contains(path) || (modules ? about.properties.empty() : about.records == 0)) continue;
    std::string message = "no template reads " + shown(path);
    if (about.records != 0) {
      message += " (" + std::to_string(about.records) + (about.records == 1 ? " record)" : " records)");
    }
    const char *before = ": ";
    for (const std::string &name : modules ? about.names() : std::set<std::string>()) {
      message += before + name;
      before = ", ";
    }
    tell(subject.data->file, about.number, message, path);
  }
}

// Finds properties that no template prints or tests.
void find_unread_properties(const subject &subject, const teller &tell) {
  if (subject.data == nullptr || !all_are_sound(subject.templates)) return;
  const auto read = paths_read(subject.templates);
  std::map<std::string, std::set<std::string>> used;
  for (const use &use : all_uses(subject.templates)) {
    for (const std::string &name : use.properties) used[use.path].insert(unqualified(name));
  }
  for (const auto &[path, about] : subject.data->paths) {
    if (!read.contains(path)) continue;
    for (const auto &[name, property] : about.properties) {
      const bool counts = property.given || (subject.data->has_modules && !property.said.is_null());
      if (!counts || used[path].contains(name)) continue;
      tell(subject.data->file, about.number, "no template uses '" + name + "' of " + shown(path),
           path + " " + name);
    }
  }
}

// Finds passwords that become keys of URIs: messages show URIs.
void find_secret_keys(const subject &subject, const teller &tell) {
  if (subject.data == nullptr) return;
  for (const record &record : subject.templates.records) {
    for_keys(record, [&](int number, const std::string &path, const std::string &key) {
      const property_data *property = subject.data->find(path, key);
      if (property == nullptr || !property->is_secret()) return;
      tell(record, number,
           "'" + key + "' of " + shown(path) +
               " is a password, and a key of this URI: errors and traces show URIs");
    });
  }
}

} // namespace tovra::check
