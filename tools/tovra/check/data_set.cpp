// Reading a data file: the store says whether it is one, its text says what is in it.
#include "data_set.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <system_error>

#include "../output.hpp"
#include "read_file.hpp"
#include "store/store.h"
#include "uri_text.hpp"
#include "zuapi/zuapi.h"

namespace tovra::check {

namespace {

using nlohmann::ordered_json;

// Whether the store takes the text; what it refuses is said.
bool loads(const std::string &file, const std::string &text) {
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_load_text(file.c_str(), text.data(), text.size(), &error);
  if (data == nullptr) say(error != nullptr ? zu_do_error_get_msg(error) : "tovra: out of memory");
  zu_do_error_deref(error);
  if (data != nullptr) data->ops->free(data);
  return data != nullptr;
}

std::vector<std::string> key_names(zu_do_uri_segment *segment) {
  std::vector<std::string> names;
  zu_do_nvlist *keys = segment != nullptr ? zu_do_uri_segment_get_keys(segment) : nullptr;
  if (keys == nullptr) return names;
  zu_do_iter *iter = zu_do_iter_new();
  zu_do_nvlist_iter(keys, iter);
  while (zu_do_nvlist_has_next(keys, iter)) {
    names.emplace_back(zu_do_nvpair_get_name(zu_do_nvlist_get_next(keys, iter)));
  }
  zu_do_iter_deref(iter);
  return names;
}

// The line on which a record's URI stands as a member's name.
int line_of(const std::string &text, const std::string &uri) {
  const size_t at = text.find(ordered_json(uri).dump());
  if (at == text.npos) return 1;
  return 1 + static_cast<int>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
}

void take_record(data_set &data, const std::string &text, const std::string &written,
                 const ordered_json &given) {
  zu_do_uri *uri = zu_do_uri_new(written.c_str());
  if (uri == nullptr) return;
  path_data &path = data.paths[path_of(zu_do_uri_get_uri_str(uri))];
  if (path.records++ == 0) {
    path.first_record = written;
    path.number = line_of(text, written);
  }
  const auto keys = key_names(zu_do_uri_get_segment_last(uri));
  path.properties.insert(keys.begin(), keys.end());
  for (const auto &[name, value] : given.items()) {
    path.properties.insert(name);
    if (std::find(keys.begin(), keys.end(), name) == keys.end() && !name.starts_with('_'))
      path.given.insert(name);
  }
  if (zu_do_uri_is_absolute(uri)) {
    const auto places = key_names(zu_do_uri_get_segment(uri, 0));
    data.location_keys.insert(places.begin(), places.end());
  }
  zu_do_uri_deref(uri);
}

} // namespace

std::optional<data_set> read_data(const std::string &file) {
  // Once, for the store and for the rules: it may be a pipe.
  std::string text;
  if (const int failure = read_file(file, text); failure != 0) {
    say(file + ": " + std::generic_category().message(failure));
    return std::nullopt;
  }
  if (!loads(file, text)) return std::nullopt;
  const auto json = ordered_json::parse(text, nullptr, false);
  data_set data{file, {}, {"loc"}};
  if (json.is_discarded()) return data;
  if (json.contains("classes")) {
    for (const auto &[path, properties] : json["classes"].items()) {
      path_data &known = data.paths[path];
      for (const auto &[name, about] : properties.items()) known.properties.insert(name);
    }
  }
  if (json.contains("records")) {
    for (const auto &[uri, given] : json["records"].items()) take_record(data, text, uri, given);
  }
  return data;
}

} // namespace tovra::check
