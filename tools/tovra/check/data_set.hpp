// A data file as the rules see it: which paths it has, and what their records give and classes say.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tovra::check {

// Of values, as classes name them.
enum class value_kind { number, boolean, text, array };
inline constexpr value_kind all_kinds[] = {value_kind::number, value_kind::boolean, value_kind::text,
                                           value_kind::array};
inline constexpr size_t kind_count = std::size(all_kinds);
const char *name_of(value_kind of);
const nlohmann::json &bare(const nlohmann::json &value);        // without typedefs
const char *words_of(value_kind of);                            // "a number"
std::optional<value_kind> kind_of(const nlohmann::json &value); // none: null

// Records of which the rules tell the first.
struct some_records {
  size_t count = 0;
  int line = 0;       // of the first: of its URI, or of a property
  std::string record; // its URI as it is written

  std::string others() const; // "", " and 2 more records"
};

struct property_data {
  some_records seen[kind_count]; // by the kinds of their values
  size_t key_texts = 0;          // of the texts: those that are keys of URIs, which the records do not give
  size_t whole_texts = 0;        // of the texts: those that are whole numbers as they would be printed
  size_t least_digits = 0;       // of these
  size_t most_digits = 0;
  bool given = false;  // by a record, keys aside
  bool hidden = false; // a record gives it as a password
  nlohmann::json said; // by classes: "kind", "default" and so on; null: no class names it

  void add(const property_data &other); // of the same property; what classes say stays

  const some_records &of(value_kind kind) const { return seen[static_cast<size_t>(kind)]; }
  std::optional<value_kind> said_kind() const;
  // Its values can be of that kind, as far as classes and records tell.
  bool may_be(value_kind kind) const;
  bool is_secret() const; // a class or a record makes it a password
  bool is_known() const;  // a class or a record tells a kind
  std::string kinds_in_words() const;
  // All values are texts that are whole numbers, of more or fewer digits than others or than that many, so
  // that their order as texts is another one; and no class says that they are meant as texts.
  bool is_number_in_text(size_t digits = 0) const;
};

// What to do about such texts.
inline constexpr char number_advice[] =
    "give numbers in the data, or say \"kind\": \"number\" in a class (\"text\" if it is meant)";

struct path_data {
  std::map<std::string, property_data> properties; // of the class, of any record, and the records' own keys
  std::vector<std::string> keys;                   // of the first record's last segment
  std::string first_record;                        // URI as it is written; empty: the path has a class only
  int number = 0;                                  // of the line of that record
  size_t records = 0;
  some_records other_keys;    // that have other ones
  some_records without_above; // whose parent has no record, though others of its path are there
  std::string above;          // what the first of these lacks

  std::set<std::string> names() const; // of the properties
};

struct data_set {
  std::string file;
  std::map<std::string, path_data> paths; // "/system/ifc"; "//locations" for locations themselves
  std::set<std::string> location_keys;    // of the locations of all records
  bool has_schema = false;                // there are files of classes, or YANG modules
  bool has_modules = false;               // all leaves of YANG modules are told that no template uses

  const path_data *find(const std::string &path) const; // or none
  // A property by the name that a template has for it.
  const property_data *find(const std::string &path, const std::string &name) const;
};

// Of a data file (empty: none) and files of classes. None when one does not load, which is said.
std::optional<data_set> read_data(const std::string &file, const std::vector<std::string> &classes = {});

} // namespace tovra::check
