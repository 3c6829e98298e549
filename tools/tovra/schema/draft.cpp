// What goes into a first file of classes: the kinds that all values have, and what all classes declare.
#include "draft.hpp"

#include <algorithm>

namespace tovra::schema {

namespace {

using check::value_kind;
using nlohmann::json;
using nlohmann::ordered_json;

bool is_secret(const json &said) {
  return said.dump().find("\"PasswordString\"") != std::string::npos;
}

// What both declare. A default was read by its type, so it is only the same with the same type.
json in_common(const json &one, const json &other) {
  json common = json::object();
  for (const auto &[member, value] : one.items()) {
    if (other.contains(member) && other[member] == value) common[member] = value;
  }
  const bool same_type = one.value("type", json()) == other.value("type", json());
  if (!same_type) common.erase("default");
  return common;
}

void add_kind(std::set<value_kind> &kinds, const json &value) {
  if (const auto kind = check::kind_of(value)) kinds.insert(*kind);
}

// The kinds that a declaration must allow, so that no file is refused.
std::set<value_kind> kinds_in(const check::property_data &all, bool may_number_texts) {
  std::set<value_kind> kinds;
  for (const value_kind kind : check::all_kinds) {
    if (all.of(kind).count != 0) kinds.insert(kind);
  }
  const size_t texts = all.of(value_kind::text).count;
  if (may_number_texts && texts != 0 && all.key_texts == texts && all.whole_texts == texts) {
    kinds.erase(value_kind::text);
    kinds.insert(value_kind::number);
  }
  return kinds;
}

} // namespace

void draft::add(const check::data_set &data) {
  for (const auto &[name, given] : data.paths) {
    const auto [at, first] = paths_.try_emplace(name);
    drawn_path &path = at->second;
    for (const std::string &key : given.keys) {
      if (std::find(path.keys.begin(), path.keys.end(), key) == path.keys.end()) path.keys.push_back(key);
    }
    for (const auto &[property, about] : given.properties) path.properties[property];
    for (auto &[property, drawn] : path.properties) {
      const auto found = given.properties.find(property);
      const bool is_said = found != given.properties.end() && found->second.said.is_object();
      const json says = is_said ? found->second.said : json::object();
      drawn.said = first ? says : in_common(drawn.said.is_object() ? drawn.said : json::object(), says);
      if (found == given.properties.end()) continue;
      drawn.all.add(found->second);
      if (const auto kind = found->second.said_kind()) drawn.said_kinds.insert(*kind);
      add_kind(drawn.said_kinds, says.value("default", json()));
      for (const json &allowed : says.value("enum", json::array())) add_kind(drawn.allowed_kinds, allowed);
    }
  }
}

std::string draft::text() const {
  std::string text = "{\n  \"classes\": {";
  const char *before_path = "\n";
  for (const auto &[name, path] : paths_) {
    text += before_path + ("    " + json(name).dump()) + ": {";
    before_path = ",\n";
    std::vector<std::string> names = path.keys;
    for (const auto &[property, drawn] : path.properties) {
      const bool is_key = std::find(path.keys.begin(), path.keys.end(), property) != path.keys.end();
      if (!is_key && !property.starts_with('_')) names.push_back(property);
    }
    const char *before = "\n";
    for (const std::string &property : names) {
      text += before + ("      " + json(property).dump()) + ": " +
              declaration(path.properties.at(property), !name.starts_with("//"));
      before = ",\n";
    }
    text += names.empty() ? "}" : "\n    }";
  }
  return text + (paths_.empty() ? "}\n}\n" : "\n  }\n}\n");
}

std::string draft::declaration(const drawn_property &of, bool may_number_texts) {
  std::set<value_kind> kinds = kinds_in(of.all, may_number_texts);
  kinds.insert(of.said_kinds.begin(), of.said_kinds.end());
  if (!kinds.contains(value_kind::array)) kinds.insert(of.allowed_kinds.begin(), of.allowed_kinds.end());
  ordered_json members = ordered_json::object();
  if (of.said.contains("type")) members["type"] = of.said["type"];
  if (kinds.size() == 1) members["kind"] = check::name_of(*kinds.begin());
  for (const char *member : {"default", "enum"}) {
    if (of.said.contains(member) && !is_secret(of.said)) members[member] = of.said[member];
  }
  std::string text;
  for (const auto &[member, value] : members.items()) {
    text += (text.empty() ? " " : ", ") + json(member).dump() + ": " + value.dump();
  }
  return text.empty() ? "{}" : "{" + text + " }";
}

} // namespace tovra::schema
