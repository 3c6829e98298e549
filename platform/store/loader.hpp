// Reads a data file's text into a snapshot.
#pragma once

#include "store/message.hpp"
#include "store/path_builder.hpp"
#include "store/snapshot.hpp"
#include "zuapi/json_value.hpp"

namespace store {

namespace json = simdjson::ondemand;
using zuapi::members_of;
using zuapi::value_reader;

// Two walks over one parsed document: the first learns the classes, the paths and which properties their
// records give, so that the second can write every record once, in its final shape and place.
class loader {
public:
  // The text must be readable `capacity` bytes far, as the parser asks for.
  loader(const char *text, size_t length, size_t capacity, snapshot &data)
      : text_(text), length_(length), capacity_(capacity), data_(data), reader_(text, data.memory, false),
        at_(text) {}

  // Throws refusal, simdjson::simdjson_error (the text is not JSON) or std::bad_alloc.
  void load();

private:
  [[noreturn]] void refuse(const char *at, std::string message) const {
    reader_.refuse(at, std::move(message));
  }
  void read();
  // Refuses anything but an object, as "WHAT NAME must be an object".
  void expect_object(json::value &value, const char *what, std::string_view name);

  static bool is_named(const json::field &field, std::string_view name);

  // The first walk.
  void survey(json::object file);
  void survey_classes(json::value value);
  void survey_class(path_builder &path, json::value value);
  void survey_declaration(property &declared, json::value value);
  void survey_records(json::value value);
  path_builder &survey_uri(const zuapi::uri_scan &scan);
  uint32_t path_of_class(std::string_view text, const char *at);
  std::string_view property_name(json::field &field);
  void check_property_name(std::string_view name) const;
  void check_own_property(std::string_view name, const zu_do_value &value) const;

  // The second walk.
  json::object rewound_records(json::document &document);
  [[noreturn]] void refuse_duplicate(json::document &document, uint32_t id);
  void read_record(path_builder &path, std::string_view uri_text, json::value value);
  void read_property(path_builder &path, json::field &field, uint32_t &expected);
  void mark_default(const property &of, zu_do_value &cell) const;
  void add_keys(path_builder &path);
  void add_key(const property &of, std::string_view encoded);
  void check_key(const property &of, zu_do_value &given, std::string_view key) const;
  void check_location() const;

  const char *text_;
  size_t length_;
  size_t capacity_;
  snapshot &data_;
  value_reader reader_;
  path_list paths_;
  std::vector<uint32_t> path_ids_; // of the records, in order
  std::string scratch_;
  std::string path_text_;
  const char *at_; // what is being read

  // The record that is being read.
  zuapi::store_record *record_ = nullptr;
  std::vector<const char *> given_at_; // where the file gives the property of a slot, or none
};

} // namespace store
