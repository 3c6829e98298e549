// Classes: reads what they declare, and checks names and values of properties.
#include <algorithm>
#include <charconv>
#include <cmath>

#include "infra/text.hpp"
#include "store/loader.hpp"

namespace store {

namespace {

constexpr std::string_view member_names[] = {"type", "default", "kind", "enum"};
constexpr std::string_view kind_names[] = {"any", "number", "boolean", "text", "array"};
constexpr const char *kind_words[] = {"", "a number", "true or false", "a string", "an array"};

template <size_t count>
size_t index_of(const std::string_view (&names)[count], std::string_view name) {
  return static_cast<size_t>(std::find(names, names + count, name) - names);
}

// Null and a missing value count as any kind.
declaration::value_kind kind_of(const zu_do_value &value) {
  using enum declaration::value_kind;
  constexpr declaration::value_kind kinds[] = {any, boolean, number, number, number, text, array};
  return value.type == ZU_DO_TYPE_NONE ? any : kinds[value.type - ZU_DO_TYPE_NULL];
}

bool is_of_kind(const declaration &of, const zu_do_value &value) {
  return of.kind == declaration::any || kind_of(value) == declaration::any || kind_of(value) == of.kind;
}

template <class Use>
bool any_element(zu_do_value array, Use &&use) {
  zu_do_vlist *elements = zu_do_value_get_array(&array, nullptr);
  for (size_t i = 0; i < zu_do_vlist_get_len(elements); ++i) {
    if (use(*zu_do_vlist_get_value(elements, i))) return true;
  }
  return false;
}

bool is_allowed(const declaration &of, zu_do_value value) {
  if (of.allowed.type == ZU_DO_TYPE_NONE || kind_of(value) == declaration::any) return true;
  if (kind_of(value) == declaration::array) {
    return !any_element(value, [&](const zu_do_value &each) { return !is_allowed(of, each); });
  }
  return any_element(of.allowed, [&](zu_do_value &each) { return zu_do_value_equals(&each, &value); });
}

// As a message shows it; empty when it is null or an array.
std::string shown(zu_do_value value) {
  char room[ZU_DO_VALUE_ROOM];
  const std::string_view text = zuapi::raw_text(&value, room);
  if (text.data() == nullptr) return "";
  return kind_of(value) == declaration::text ? in_quotes(text) : std::string(text);
}

std::string list_of(const zu_do_value &values) {
  constexpr size_t longest = 200;
  std::string list;
  any_element(values, [&](const zu_do_value &each) {
    const bool is_long = list.size() > longest;
    list += (list.empty() ? "" : ", ") + (is_long ? "..." : shown(each));
    return is_long;
  });
  return list;
}

} // namespace

void loader::read_classes(json::value value) {
  for (json::field field : members_of(value)) {
    at_ = value_reader::start_of(field);
    const std::string_view name = reader_.name(field);
    path_builder &path = paths_[path_of_class(name, at_)];
    if (path.class_in == text_.data()) refuse(at_, "duplicate class " + in_quotes(path.text()));
    path.class_in = text_.data();
    json::value members = field.value();
    expect_object(members, "class ", path.text());
    read_class(path, members);
  }
}

uint32_t loader::path_of_class(std::string_view text, const char *at) {
  const char *reason = nullptr;
  zu_do_uri *uri = zuapi::uri_frozen_of(text, data_.memory, &reason);
  if (reason != nullptr) refuse(at, "bad path " + in_quotes(text) + " of a class: " + reason);
  const std::string_view path = uri->view();
  const uint32_t segments = uri->segment_count;
  const bool is_path = path.find_first_of(";?") == path.npos && segments != 0;
  if (!is_path || (uri->is_absolute() && segments != 1)) {
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

void loader::read_declaration(property &of, json::value value) {
  const std::string of_property = " of property " + in_quotes(of.name);
  expect_object(value, "the declaration of property ", of.name);
  const char *start = value_reader::start_of(value);
  declaration given;
  json::object members = members_of(value);
  // Values are read in a second pass: the type, on which they depend, may come after them.
  for (const bool values : {false, true}) {
    if (values) members.reset().value();
    for (json::field field : members) {
      at_ = value_reader::start_of(field);
      const std::string_view name = reader_.name(field);
      const size_t member = index_of(member_names, name);
      if (member == declaration::member_count) refuse(at_, "unknown member " + in_quotes(name) + of_property);
      if (!values && given.at[member] != nullptr)
        refuse(at_, "duplicate member " + in_quotes(name) + of_property);
      json::value said = field.value();
      given.at[member] = at_ = value_reader::start_of(said);
      const bool is_value = member == declaration::of_default || member == declaration::of_enum;
      if (is_value == values) read_member(of, given, member, said);
    }
  }
  const auto is_said = [](const char *at) { return at != nullptr; };
  if (std::any_of(std::begin(given.at), std::end(given.at), is_said)) unite(of, given, start);
}

void loader::read_member(const property &of, declaration &given, size_t member, json::value said) {
  const auto must_be = [&](const char *expected) {
    refuse(at_, "the " + std::string(member_names[member]) + " of property " + in_quotes(of.name) +
                    " must be " + expected);
  };
  if (member == declaration::of_default) {
    given.default_value = reader_.read(said, given.type != nullptr ? given.type : of.type(), 4);
    return;
  }
  if (member == declaration::of_enum) {
    given.allowed = reader_.read(said, nullptr, 4);
    const auto is_bad = [](const zu_do_value &each) { return shown(each).empty(); };
    if (list_of(given.allowed).empty() || any_element(given.allowed, is_bad)) {
      must_be("an array of numbers, booleans and strings");
    }
    return;
  }
  const std::string_view text = *at_ == '"' ? reader_.string(said) : std::string_view();
  if (member == declaration::of_type) {
    if (text.empty()) must_be("a string that is not empty");
    given.type = reader_.intern_type(text);
    return;
  }
  const size_t kind = index_of(kind_names, text);
  if (kind == declaration::any || kind > declaration::array) {
    must_be("\"number\", \"boolean\", \"text\" or \"array\"");
  }
  given.kind = static_cast<declaration::value_kind>(kind);
}

// Several texts may declare a property: their declarations are combined, and must not contradict each other.
void loader::unite(property &of, const declaration &given, const char *start) {
  if (of.said == nullptr) of.said = std::make_unique<declaration>();
  declaration &all = *of.said;
  zu_do_value values[] = {all.default_value, given.default_value, all.allowed, given.allowed};
  const bool same[] = {all.type == given.type, zu_do_value_equals(&values[0], &values[1]),
                       all.kind == given.kind, zu_do_value_equals(&values[2], &values[3])};
  for (size_t i = 0; i < declaration::member_count; ++i) {
    if (given.at[i] == nullptr) continue;
    // The default was read according to the type of its own text, which may be missing there.
    const bool reads_default = i == declaration::of_type && all.has_default();
    const char *before = all.at[reads_default ? size_t{declaration::of_default} : i];
    if (before != nullptr && !same[i]) {
      refuse(given.at[i], "the " + std::string(member_names[i]) + " of property " + in_quotes(of.name) +
                              " differs from that at " + place_of(before));
    }
    all.at[i] = given.at[i];
  }
  if (given.type != nullptr) all.type = given.type;
  if (given.has_default()) all.default_value = given.default_value;
  if (given.kind != declaration::any) all.kind = given.kind;
  if (given.at[declaration::of_enum] != nullptr) all.allowed = given.allowed;
  all.limited = all.limited || all.kind != declaration::any || all.at[declaration::of_enum] != nullptr;

  const auto place = [&](declaration::member which) {
    return at_ = given.at[which] != nullptr ? given.at[which] : start;
  };
  const auto is_bad = [&](const zu_do_value &each) { return !is_of_kind(all, each); };
  if (all.kind != declaration::array && any_element(all.allowed, is_bad)) {
    refuse(place(declaration::of_enum),
           "a value in the enum of property " + in_quotes(of.name) + " must be " + kind_words[all.kind]);
  }
  if (all.has_default()) check_value("property ", of, all.default_value, place(declaration::of_default));
}

void loader::check_value(const char *what, const property &of, const zu_do_value &value,
                         const char *at) const {
  const auto must_be = [&](const char *where, const std::string &expected) {
    refuse(where, what + in_quotes(of.name) + " must be " + expected);
  };
  if (of.name == ZU_DO_NAME_PENDING_ATTRS && value.type != ZU_DO_TYPE_STRING) must_be(at_, "a string");
  if (!is_of_kind(*of.said, value)) must_be(at, kind_words[of.said->kind]);
  if (is_allowed(*of.said, value)) return;
  must_be(at, zu_json::is_secret_type(of.type()) ? "one of those that its class allows"
                                                 : "one of " + list_of(of.said->allowed));
}

// A number in another form than the one it would be printed
// in ("010") is no number: URIs are compared as texts.
zu_do_value loader::key_value(const property &of, std::string_view text) {
  const char *const end = text.data() + text.size();
  const auto reads_as = [&](auto &number) {
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end;
  };
  int64_t whole = 0;
  uint64_t large = 0;
  double real = 0;
  zu_do_value value = zuapi::cell_none();
  if (of.said->kind == declaration::number) {
    if (reads_as(whole)) {
      value = zuapi::cell_int(whole);
    } else if (reads_as(large)) {
      value = zuapi::cell_uint(large);
    } else if (reads_as(real) && std::isfinite(real)) {
      value = zuapi::cell_double(real);
    }
  } else if (of.said->kind == declaration::boolean && (text == "true" || text == "false")) {
    value = zuapi::cell_bool(text == "true");
  }
  char room[ZU_DO_VALUE_ROOM];
  const bool same = value.type != ZU_DO_TYPE_NONE && zuapi::raw_text(&value, room) == text;
  if (same) return reader_.with_type(value, of.type());
  return reader_.string_cell(text.data(), text.size(), of.type());
}

std::string_view loader::property_name(json::field &field) {
  const std::string_view given = reader_.name(field);
  const std::string_view name = infra::trimmed(given);
  check_property_name(name);
  return name;
}

void loader::check_property_name(std::string_view name) const {
  if (name.empty()) refuse(at_, "a property name is empty");
  if (const size_t colon = name.find(':'); colon != name.npos) {
    // Without a blank behind it, YAML takes the value for a part of the name.
    const std::string start(name.substr(0, colon + 1));
    refuse(at_, "property name " + in_quotes(start + (start == name ? "" : "...")) + " has a ':'");
  }
  if (name == ZU_DO_NAME_URI || name == ZU_DO_NAME_COLL_URI) {
    refuse(at_, "property name " + in_quotes(name) + " is the data store's own");
  }
}

} // namespace store
