// The paths of a file while it is read: the properties of each path's records, and their order.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/snapshot.hpp"
#include "zuapi/uri_pattern.hpp"

namespace store {

// The declaration of a property by classes.
struct declaration {
  enum member : uint8_t { of_type, of_default, of_kind, of_enum, member_count };
  enum value_kind : uint8_t { any, number, boolean, text, array };

  const char *at[member_count] = {}; // the place in a text where each is declared, or null
  const char *type = nullptr;        // typedef name, or null
  value_kind kind = any;             // of all values
  bool limited = false;              // not every value is good
  zu_do_value default_value = zuapi::cell_none();
  zu_do_value allowed = zuapi::cell_none(); // an array of all values, or of arrays' elements

  bool has_default() const { return at[of_default] != nullptr; }
};

// A property of the records of one path.
struct property {
  enum place : uint8_t { key, declared, other };

  std::string_view name;             // in the arena
  bool plain;                        // it stands in a file as it is, without escapes
  place order;                       // keys come first in a shape, then what the class declares
  uint32_t rank;                     // among those of its place
  uint32_t slot;                     // in the shape, once that is made
  std::unique_ptr<declaration> said; // null: no class says anything

  const char *type() const { return said != nullptr ? said->type : nullptr; }
};

// One path. Records of a path mostly give their properties in the same order, so a property is searched first
// at the place after the one before it.
class path_builder {
public:
  explicit path_builder(std::string text) : text_(std::move(text)) {}

  const std::string &text() const { return text_; }
  std::vector<property> &properties() { return properties_; }

  // The index of a property, or no_id. `expected` is the index at which it is searched first.
  uint32_t find(std::string_view name, uint32_t expected) const;
  // The same; a missing property is added, and one with a later place is moved up.
  uint32_t add(std::string_view name, property::place order, uint32_t expected, infra::arena &memory);

  // Adds a pattern of the URIs of its records, with the first record that has it.
  void add_pattern(const zuapi::uri_pattern &pattern, uint32_t record);
  // The path as the snapshot keeps it, without records.
  path_entry entry(std::string_view text) const {
    return {text, form_, {nullptr, 0}, same_keys_, same_locations_, first_located_};
  }

  const char *class_in = nullptr; // the last text that had a class for it, or null
  uint32_t record_count = 0;

  // The number of cells of all records.
  uint64_t cell_count() const { return uint64_t{record_count} * (properties_.size() + 1); }

  // Makes the shape (`_uri` first) and the cells of a record without properties. The snapshot becomes the
  // owner of the shape and its names, and has room for them. Throws std::bad_alloc.
  void finish(snapshot &data);
  zuapi::shape *form() const { return form_; }
  const std::vector<zu_do_value> &template_cells() const { return template_cells_; }

private:
  std::string text_;
  std::vector<property> properties_;
  uint32_t ranks_[3] = {};
  std::unordered_map<std::string_view, uint32_t> by_name_;
  zuapi::shape *form_ = nullptr;
  std::vector<zu_do_value> template_cells_; // without `_uri`
  std::optional<std::string> keys_;         // of the first pattern, below its location
  std::string location_;                    // of the first pattern that has one
  bool same_keys_ = true;
  bool same_locations_ = true;
  uint32_t first_located_ = no_id;
};

// All paths of a file, by text.
class path_list {
public:
  uint32_t find_or_add(std::string_view text);
  // True when the property is a PasswordString by the class of that path.
  bool is_secret(std::string_view path, std::string_view name) const;
  path_builder &operator[](uint32_t id) { return *paths_[id]; }
  uint32_t size() const { return static_cast<uint32_t>(paths_.size()); }

  // Makes all shapes and the snapshot's table of paths. Throws std::bad_alloc.
  void finish(snapshot &data);

private:
  std::vector<std::unique_ptr<path_builder>> paths_;
  std::unordered_map<std::string_view, uint32_t> by_text_;
};

} // namespace store
