// The classes of a data file: what they declare, and what names of properties are good.
#include "infra/text.hpp"
#include "store/loader.hpp"

namespace store {

void loader::read_classes(json::value value) {
  for (json::field field : members_of(value)) {
    at_ = value_reader::start_of(field);
    const std::string_view name = reader_.name(field);
    path_builder &path = paths_[path_of_class(name, at_)];
    if (path.has_class) refuse(at_, "duplicate class " + in_quotes(path.text()));
    path.has_class = true;
    json::value members = field.value();
    expect_object(members, "class ", path.text());
    read_class(path, members);
  }
}

uint32_t loader::path_of_class(std::string_view text, const char *at) {
  const char *reason = nullptr;
  zu_do_uri *uri = zuapi::uri_frozen_of(text, data_.memory, &reason);
  if (reason != nullptr) refuse(at, "bad path " + in_quotes(text) + " of a class: " + reason);
  const std::string_view path = zuapi::uri_text(uri);
  const uint32_t segments = zuapi::uri_segment_count(uri);
  const bool is_path = path.find_first_of(";?") == path.npos && segments != 0;
  if (!is_path || (zuapi::uri_is_absolute(uri) && segments != 1)) {
    refuse(at, "bad path " + in_quotes(text) + " of a class: a path has names only, without a location");
  }
  return paths_.find_or_add(path);
}

void loader::read_class(path_builder &path, json::value value) {
  std::vector<bool> seen;
  for (json::field field : members_of(value)) {
    at_ = value_reader::start_of(field);
    const std::string_view name = property_name(field);
    const uint32_t index = path.add(name, property::declared, 0, data_.memory);
    seen.resize(std::max(seen.size(), path.properties().size()));
    if (seen[index])
      refuse(at_, "duplicate property " + in_quotes(name) + " of class " + in_quotes(path.text()));
    seen[index] = true;
    read_declaration(path.properties()[index], field.value());
  }
}

void loader::read_declaration(property &declared, json::value value) {
  const std::string of = " of property " + in_quotes(declared.name);
  expect_object(value, "the declaration of property ", declared.name);
  json::object members = members_of(value);
  bool has_type = false;
  for (json::field field : members) {
    at_ = value_reader::start_of(field);
    const std::string_view name = reader_.name(field);
    if (name != "type" && name != "default") refuse(at_, "unknown member " + in_quotes(name) + of);
    bool &seen = name == "type" ? has_type : declared.has_default;
    if (seen) refuse(at_, "duplicate member " + in_quotes(name) + of);
    seen = true;
    if (name != "type") continue;
    json::value type = field.value();
    const char *type_start = value_reader::start_of(type);
    const std::string_view text = *type_start == '"' ? reader_.string(type) : std::string_view();
    if (text.empty()) refuse(type_start, "the type" + of + " must be a string that is not empty");
    declared.type = reader_.intern_type(text);
  }
  if (!declared.has_default) return;
  // The default is read once the type is known, which may stand behind it.
  members.reset().value();
  for (json::field field : members) {
    at_ = value_reader::start_of(field);
    if (reader_.name(field) != "default") continue;
    json::value given = field.value();
    at_ = value_reader::start_of(given);
    declared.default_value = reader_.read(given, declared.type, 4);
    check_own_property(declared.name, declared.default_value);
  }
}

std::string_view loader::property_name(json::field &field) {
  const std::string_view given = reader_.name(field);
  const std::string_view name = infra::trimmed(given);
  check_property_name(name);
  return name;
}

void loader::check_property_name(std::string_view name) const {
  if (name.empty()) refuse(at_, "a property name is empty");
  if (name.find(':') != name.npos) refuse(at_, "property name " + in_quotes(name) + " has a ':'");
  if (name == ZU_DO_NAME_URI || name == ZU_DO_NAME_COLL_URI) {
    refuse(at_, "property name " + in_quotes(name) + " is the data store's own");
  }
}

void loader::check_own_property(std::string_view name, const zu_do_value &value) const {
  if (name == ZU_DO_NAME_PENDING_ATTRS && value.type != ZU_DO_TYPE_STRING) {
    refuse(at_, "property " + in_quotes(name) + " must be a string");
  }
}

} // namespace store
