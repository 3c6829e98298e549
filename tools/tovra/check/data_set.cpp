// Reading a data file: the store says whether it is one, its text says what is in it.
#include "data_set.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "../data_file.hpp"
#include "uri_text.hpp"
#include "zuapi/zuapi.h"

namespace tovra::check {

namespace {

using nlohmann::json;

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

// Finds the lines of members. Those asked for in the order of the file cost one pass over it.
class line_finder {
public:
  explicit line_finder(const std::string &text) : text_(text) {}

  // The line on which a record's URI stands as a member's name.
  int line_of(const std::string &uri) {
    const std::string member = json(uri).dump();
    size_t at = text_.find(member, at_);
    if (at == text_.npos) {
      at = text_.find(member);
      if (at == text_.npos) return 1;
      at_ = 0;
      line_ = 1;
    }
    line_ += static_cast<int>(std::count(text_.data() + at_, text_.data() + at, '\n'));
    at_ = at;
    return line_;
  }

private:
  const std::string &text_;
  size_t at_ = 0;
  int line_ = 1; // of at_
};

void take_record(data_set &data, line_finder &lines, const std::string &written, const json &given) {
  zu_do_uri *uri = zu_do_uri_new(written.c_str());
  if (uri == nullptr) return;
  path_data &path = data.paths[path_of(zu_do_uri_get_uri_str(uri))];
  if (path.records++ == 0) {
    path.first_record = written;
    path.number = lines.line_of(written);
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

void take_class(data_set &data, const std::string &path, const json &properties) {
  path_data &known = data.paths[path];
  for (const auto &[name, about] : properties.items()) known.properties.insert(name);
}

} // namespace

std::optional<data_set> read_data(const std::string &file) {
  const auto read = read_good_data(file);
  if (!read) return std::nullopt;
  const std::string &text = *read;
  data_set data{data_name(file), {}, {"loc"}};
  line_finder lines(text);
  std::string section;
  std::string member;
  // Taken one by one as they are read, and dropped: that keeps the order of the file.
  const auto take = [&](int depth, json::parse_event_t event, json &parsed) {
    if (event == json::parse_event_t::key && depth <= 2) (depth == 1 ? section : member) = parsed;
    if (event != json::parse_event_t::object_end || depth != 2) return true;
    if (section == "classes") take_class(data, member, parsed);
    if (section == "records") take_record(data, lines, member, parsed);
    return false;
  };
  [[maybe_unused]] const json emptied = json::parse(text, take, false);
  return data;
}

} // namespace tovra::check
