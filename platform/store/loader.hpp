// Reads the texts of a store into a snapshot.
#pragma once

#include "store/index_builder.hpp"
#include "store/message.hpp"
#include "store/path_builder.hpp"
#include "store/record_log.hpp"
#include "json/reader.hpp"

namespace store {

namespace json = simdjson::ondemand;
using zu_json::members_of;
using zu_json::value_reader;

// Goes once over each parsed document, classes before records. The shape of a path's records is only known
// when all of them have been seen; until then a log keeps their values.
class loader {
public:
  explicit loader(snapshot &data) : data_(data), reader_("", data.memory, false), index_(data) {}

  // Adds names that are keys of a path's records, even if the records in the texts have others. Called before
  // the texts are read.
  void add_keys(std::string_view path, std::string_view keys); // a ';' after each
  // Reads a text of classes, or as the last text one with records too. It must be padded for the parser, and
  // live until all texts are read. Throws refusal, simdjson::simdjson_error (the text is not JSON) or
  // std::bad_alloc.
  void read(const named_text &from, bool classes_only);
  // Makes the snapshot; the texts are no longer needed. Throws std::bad_alloc.
  void finish();

private:
  [[noreturn]] void refuse(const char *at, std::string message) const {
    reader_.refuse(at, std::move(message));
  }
  // Refuses anything but an object, as "WHAT NAME must be an object".
  void expect_object(json::value &value, const char *what, std::string_view name);
  bool is_named(const json::field &field, std::string_view name) const;
  // Reads the classes, and the records if they come after them.
  void read_members(json::document &document);
  void read_waiting_records(json::document &document);
  // Refuses records that would need far more memory than the file, because each of them has other properties.
  void check_cells();

  void read_classes(json::value value);
  void read_class(path_builder &path, json::value value);
  void read_declaration(property &of, json::value value);
  void read_member(const property &of, declaration &given, size_t member, json::value said);
  // Adds the declaration of a property by one more text, at `start`.
  void unite(property &of, const declaration &given, const char *start);
  uint32_t path_of_class(std::string_view text, const char *at);
  std::string_view property_name(json::field &field);
  void check_property_name(std::string_view name) const;
  // Refuses a value of WHAT NAME, at `at` in the text, that the classes do not allow.
  void check_value(const char *what, const property &of, const zu_do_value &value, const char *at) const;
  // The value of a key's text, which is in the arena.
  zu_do_value key_value(const property &of, std::string_view text);
  std::string place_of(const char *at) const; // in any of the texts

  // A pattern of records' URIs.
  struct known_pattern {
    zuapi::uri_pattern of;
    uint32_t path;
    std::vector<uint32_t> keys; // the properties that the keys of the last segment are
  };
  // The record that is being read.
  struct property_place {
    const char *at; // where the file gives it, or null
    uint32_t cell;
  };

  void read_records(json::value value);
  void read_record(std::string_view text, json::value value);
  zu_do_uri *read_uri(std::string_view text, known_pattern *&pattern);
  known_pattern *find_or_add_pattern(const zu_do_uri *uri);
  void check_location(const zu_do_uri *uri) const;
  // Refuses a URI with a key that is a PasswordString by its class: URIs are shown everywhere.
  void check_keys(const zu_do_uri *uri);
  void read_property(path_builder &path, json::field &field, uint32_t &expected);
  // Compares a value with the declaration of its class: it may be refused, or be marked as the default.
  void hold_to_class(const char *what, const property &of, zu_do_value &cell, const char *at) const;
  void add_keys(path_builder &path, const known_pattern &pattern, const zu_do_uri *uri);
  void add_key(path_builder &path, uint32_t index, std::string_view encoded);
  void check_key(const property &of, const char *at, zu_do_value &given, std::string_view key) const;
  void end_record(uint32_t path);

  std::vector<named_text> sources_; // the texts that have been read, and the one that is being read
  std::string_view text_;
  bool classes_only_ = false;
  snapshot &data_;
  value_reader reader_;
  path_list paths_;
  index_builder index_;
  record_log log_;
  std::string scratch_;
  const char *at_ = nullptr; // the place in the text that is being read
  bool records_wait_ = false;

  std::vector<std::unique_ptr<known_pattern>> patterns_;
  std::unordered_map<std::string_view, known_pattern *> pattern_by_text_;
  known_pattern *recent_[4] = {}; // latest first

  std::vector<uint32_t> properties_; // the properties that the record has given
  std::vector<zu_do_value> cells_;
  std::vector<property_place> places_; // by index
};

// Reads a data file's text into a snapshot, and drops the text. `keys`: the keys of paths of which the text
// has only a part of the records, a ';' after each. Throws zu_json::refusal or std::bad_alloc.
struct path_keys {
  std::string_view path;
  std::string_view keys;
};
void load_json(infra::string &text, snapshot &data, const std::vector<path_keys> &keys = {});

} // namespace store
