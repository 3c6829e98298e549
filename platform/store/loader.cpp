// Reads a data file: its members, and every record.
#include "store/loader.hpp"

#include <algorithm>
#include <exception>
#include <functional>

#include "store/path.hpp"
#include "zuapi/shortcuts.hpp"

namespace store {

void loader::read(const named_text &from, bool classes_only) {
  sources_.push_back(from);
  const std::string_view text = text_ = from.text;
  const size_t capacity = text.size() + simdjson::SIMDJSON_PADDING;
  classes_only_ = classes_only;
  reader_.start(at_ = text.data());
  json::parser parser;
  json::document document = parser.iterate(text.data(), text.size(), capacity).value();
  at_ = document.current_location().value();
  if (*at_ != '{') refuse(at_, "the file must hold one object");
  std::exception_ptr fault;
  try {
    read_members(document);
  } catch (const std::bad_alloc &) {
    throw;
  } catch (...) {
    fault = std::current_exception();
  }
  if (records_wait_) { // what is wrong with them comes first in the file
    fault == nullptr ? document.rewind()
                     : void(document = parser.iterate(text.data(), text.size(), capacity).value());
    read_waiting_records(document);
  }
  if (fault != nullptr) std::rethrow_exception(fault);
  check_cells();
}

void loader::add_keys(std::string_view path, std::string_view keys) {
  path_builder &of = paths_[paths_.find_or_add(path)];
  for (size_t end = 0; (end = keys.find(';')) != keys.npos; keys.remove_prefix(end + 1)) {
    of.add(keys.substr(0, end), property::key, 0, data_.memory);
  }
}

void loader::check_cells() {
  constexpr uint64_t always = uint64_t{1} << 24;
  constexpr uint64_t a_byte = 64;
  uint64_t left = always + a_byte * text_.size();
  for (uint32_t i = 0; i < paths_.size(); ++i) {
    path_builder &path = paths_[i];
    if (path.cell_count() > left) {
      refuse(text_.data(), "too many values: " + std::to_string(path.record_count) + " records of " +
                               in_quotes(path.text()) + " with " + std::to_string(path.properties().size()) +
                               " properties each");
    }
    left -= path.cell_count();
  }
}

std::string loader::place_of(const char *at) const {
  const auto holds = [at](const named_text &each) {
    return !std::less<>()(at, each.text.data()) && std::less<>()(at, each.text.data() + each.text.size());
  };
  const named_text &found = *std::find_if(sources_.begin(), sources_.end(), holds);
  return found.place_of(static_cast<size_t>(at - found.text.data()));
}

void loader::finish() {
  paths_.finish(data_);
  log_.place(data_, paths_, index_);
  index_.finish();
}

void loader::expect_object(json::value &value, const char *what, std::string_view name) {
  const char *start = value_reader::start_of(value);
  if (*start != '{') refuse(start, what + in_quotes(name) + " must be an object");
}

bool loader::is_named(const json::field &field, std::string_view name) const {
  // A name may be longer than the bytes that may still be read.
  const char *const end = text_.data() + text_.size() + simdjson::SIMDJSON_PADDING;
  const auto room = static_cast<size_t>(end - field.key().raw());
  return name.size() < room && field.key().unsafe_is_equal(name.size(), name);
}

void loader::read_members(json::document &document) {
  bool has_classes = false;
  bool has_records = false;
  const char *start = at_;
  for (json::field field : members_of(document)) {
    at_ = value_reader::start_of(field);
    const std::string_view name = reader_.name(field);
    if (name != "classes" && (name != "records" || classes_only_)) {
      refuse(at_, "unknown member " + in_quotes(name) +
                      (classes_only_ ? " of a file of classes" : " of the file"));
    }
    bool &seen = name == "classes" ? has_classes : has_records;
    if (seen) refuse(at_, "duplicate member " + in_quotes(name) + " of the file");
    seen = true;
    json::value value = field.value();
    expect_object(value, "member ", name);
    if (name == "classes") {
      read_classes(value);
    } else if (has_classes) {
      read_records(value);
    } else {
      records_wait_ = true;
    }
  }
  if (!(classes_only_ ? has_classes : has_records)) {
    refuse(start, std::string("the file has no member ") + (classes_only_ ? "\"classes\"" : "\"records\""));
  }
  const auto behind = document.current_location(); // an error at the end of the text
  if (behind.error() == simdjson::SUCCESS)
    refuse(behind.value_unsafe(), "text after the end of the document");
}

void loader::read_waiting_records(json::document &document) {
  for (json::field field : members_of(document)) {
    if (reader_.name(field) == "records") return read_records(field.value());
  }
}

void loader::read_records(json::value value) {
  for (json::field field : members_of(value)) {
    at_ = value_reader::start_of(field);
    read_record(reader_.name(field), field.value());
  }
}

void loader::read_record(std::string_view text, json::value value) {
  const char *start = at_;
  known_pattern *pattern = nullptr;
  zu_do_uri *uri = read_uri(text, pattern);
  index_.prepare(uri, pattern->path);
  expect_object(value, "record ", text);
  path_builder &path = paths_[pattern->path];
  uint32_t expected = 0;
  for (json::field field : members_of(value)) read_property(path, field, expected);
  at_ = start;
  add_keys(path, *pattern, uri);
  if (!index_.add(uri, pattern->path)) refuse(start, "duplicate record " + in_quotes(uri->view()));
  end_record(pattern->path);
}

zu_do_uri *loader::read_uri(std::string_view text, known_pattern *&pattern) {
  zu_do_uri *uri = nullptr;
  size_t rank = 0;
  for (; uri == nullptr && rank < std::size(recent_) && recent_[rank] != nullptr; ++rank) {
    pattern = recent_[rank];
    uri = pattern->of.make(text, data_.memory);
  }
  if (uri == nullptr) {
    const char *reason = nullptr;
    uri = zuapi::uri_frozen_of(text, data_.memory, &reason);
    if (reason != nullptr) refuse(at_, "bad URI " + in_quotes(text) + ": " + reason);
    if (zu_do_uri_is_coll_uri(uri)) refuse(at_, "URI " + in_quotes(text) + " of a record has a query");
    pattern = find_or_add_pattern(uri);
    pattern->of.note(uri->view());
    rank = std::size(recent_);
  }
  while (--rank > 0) recent_[rank] = recent_[rank - 1];
  recent_[0] = pattern;
  if (pattern->of.absolute()) check_location(uri);
  return uri;
}

loader::known_pattern *loader::find_or_add_pattern(const zu_do_uri *uri) {
  zuapi::uri_pattern::write_text(uri->view(), scratch_);
  const auto found = pattern_by_text_.find(scratch_);
  if (found != pattern_by_text_.end()) return found->second;
  patterns_.push_back(std::make_unique<known_pattern>(known_pattern{zuapi::uri_pattern(uri), 0, {}}));
  known_pattern *made = patterns_.back().get();
  pattern_by_text_.emplace(made->of.text(), made);
  check_keys(uri);

  scratch_.resize(uri->view().size());
  scratch_.resize(path_of(uri->view(), made->of.absolute(), scratch_.data()));
  made->path = paths_.find_or_add(scratch_);
  path_builder &path = paths_[made->path];
  path.add_pattern(made->of, index_.count());
  if (uri->segment_count == 0) return made;
  const std::string_view name = uri->last_name();
  auto at = static_cast<uint32_t>(name.data() + name.size() - uri->view().data());
  for (zuapi::uri_key key; zuapi::uri_next_key(uri->view(), at, key);) {
    check_property_name(key.name);
    made->keys.push_back(path.add(key.name, property::key, 0, data_.memory));
  }
  return made;
}

void loader::check_keys(const zu_do_uri *uri) {
  const bool absolute = uri->is_absolute();
  size_t start = absolute ? 2 : 1;
  for (uint32_t i = 0; i < uri->segment_count; ++i) {
    const size_t end = std::min(uri->view().find('/', start), uri->view().size());
    const std::string path = path_text(uri->view().substr(0, end), absolute);
    auto at = static_cast<uint32_t>(std::min(uri->view().find(';', start), end));
    for (zuapi::uri_key key; zuapi::uri_next_key(uri->view(), at, key);) {
      if (!paths_.is_secret(path, key.name)) continue;
      refuse(at_, "key " + in_quotes(key.name) + " of URI " + in_quotes(zuapi::uri_pattern(uri).text()) +
                      " is a PasswordString");
    }
    start = end + 1;
  }
}

void loader::check_location(const zu_do_uri *uri) const {
  constexpr size_t longest = 15;
  const std::string_view segment = split_location(uri->view()).location;
  auto at = static_cast<uint32_t>(std::min(segment.find(';'), segment.size()));
  zuapi::uri_key key;
  if (!zuapi::uri_next_key(segment, at, key)) return;
  std::string location(key.value.size(), '\0');
  if (zuapi::uri_decode_value(key.value, location.data()) > longest) {
    refuse(at_, "the location of " + in_quotes(uri->view()) + " is longer than 15 bytes");
  }
}

void loader::read_property(path_builder &path, json::field &field, uint32_t &expected) {
  at_ = value_reader::start_of(field);
  const std::vector<property> &known = path.properties();
  uint32_t index = expected;
  if (expected >= known.size() || !known[expected].plain || !is_named(field, known[expected].name)) {
    index = path.add(property_name(field), property::other, expected, data_.memory);
  }
  expected = index + 1;
  if (index >= places_.size()) places_.resize(known.size());
  const property &of = known[index];
  if (places_[index].at != nullptr) refuse(at_, "duplicate property " + in_quotes(of.name));
  places_[index] = {at_, static_cast<uint32_t>(cells_.size())};
  properties_.push_back(index);
  json::value given = field.value();
  const char *value_at = of.said != nullptr ? value_reader::start_of(given) : nullptr;
  zu_do_value &cell = cells_.emplace_back(reader_.read(given, of.type(), 3));
  if (of.said != nullptr) hold_to_class("property ", of, cell, value_at);
}

void loader::hold_to_class(const char *what, const property &of, zu_do_value &cell, const char *at) const {
  if (of.said->limited) check_value(what, of, cell, at);
  zu_do_value given = of.said->default_value;
  if (of.said->has_default() && zu_do_value_equals(&cell, &given)) zuapi::cell_set_default(cell);
}

// The keys of the last segment are properties too.
void loader::add_keys(path_builder &path, const known_pattern &pattern, const zu_do_uri *uri) {
  const size_t first = pattern.of.value_count() - pattern.keys.size();
  for (size_t i = 0; i < pattern.keys.size(); ++i) {
    add_key(path, pattern.keys[i], pattern.of.value(uri->view(), first + i));
  }
}

void loader::add_key(path_builder &path, uint32_t index, std::string_view encoded) {
  char *text = data_.memory.take_text(encoded.size());
  const size_t length = zuapi::uri_decode_value(encoded, text);
  text[length] = '\0';
  const property &of = path.properties()[index];
  if (index < places_.size() && places_[index].at != nullptr) {
    check_key(of, places_[index].at, cells_[places_[index].cell], {text, length});
    return;
  }
  properties_.push_back(index);
  zu_do_value &cell = cells_.emplace_back(of.said != nullptr ? key_value(of, {text, length})
                                                             : reader_.string_cell(text, length, nullptr));
  if (of.said != nullptr) hold_to_class("key ", of, cell, at_);
}

void loader::check_key(const property &of, const char *at, zu_do_value &given, std::string_view key) const {
  if (zu_json::is_secret_type(zu_do_value_get_typedef_name(&given))) {
    refuse(at, "key " + in_quotes(of.name) + " of the URI is a PasswordString");
  }
  char room[ZU_DO_VALUE_ROOM];
  const std::string_view text = zuapi::raw_text(&given, room);
  if (text.data() == nullptr || text != key) {
    refuse(at, "property " + in_quotes(of.name) + " contradicts the key " + in_quotes(key) + " of the URI");
  }
}

void loader::end_record(uint32_t path) {
  ++paths_[path].record_count;
  log_.add(path, properties_, cells_);
  for (const uint32_t index : properties_) {
    if (index < places_.size()) places_[index].at = nullptr;
  }
  properties_.clear();
  cells_.clear();
}

void load_json(infra::string &text, snapshot &data, const std::vector<path_keys> &keys) {
  const std::string_view padded = zu_json::padded(text);
  loader reader(data);
  for (const path_keys &each : keys) reader.add_keys(each.path, each.keys);
  zu_json::read_json(padded, [&] { reader.read({"", padded, nullptr}, false); });
  infra::string().swap(text); // before the records take its memory
  reader.finish();
}

} // namespace store
