// A data file as the rules see it: its paths, what their records have, and what classes declare.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tovra::check {

// Kinds of values, as classes name them.
enum class value_kind { number, boolean, text, array };
inline constexpr value_kind all_kinds[] = {value_kind::number, value_kind::boolean, value_kind::text,
                                           value_kind::array};
inline constexpr size_t kind_count = std::size(all_kinds);
const char *name_of(value_kind of);
const nlohmann::json &bare(const nlohmann::json &value);        // without its typedef
const char *words_of(value_kind of);                            // "a number"
std::optional<value_kind> kind_of(const nlohmann::json &value); // nullopt: null

// A number of records, of which messages name the first.
struct some_records {
  size_t count = 0;
  int line = 0;       // of the first record: of its URI, or of a property
  std::string record; // the URI of the first, as the file has it

  std::string others() const; // for messages: "", " and 2 more records"
};

struct property_data {
  some_records seen[kind_count]; // the records that give it, by the kind of value
  size_t key_texts = 0;          // texts that only a key of the URI gives, not the record
  size_t whole_texts = 0;        // texts that are whole numbers, as they would be printed
  size_t least_digits = 0;       // the fewest digits among those
  size_t most_digits = 0;
  bool given = false;  // a record gives it, not only a key
  bool hidden = false; // a record gives it as a password
  nlohmann::json said; // declared by classes: "kind", "default" and so on; null: no class names it

  void add(const property_data &other); // adds what is known of the same property; declarations stay

  const some_records &of(value_kind kind) const { return seen[static_cast<size_t>(kind)]; }
  std::optional<value_kind> said_kind() const;
  // True when its values may be of that kind, as far as classes and records show.
  bool may_be(value_kind kind) const;
  bool is_secret() const; // a class or a record says that it is a password
  bool is_known() const;  // a class or a record shows its kind
  std::string kinds_in_words() const;
  // True when all values are texts that are whole numbers, and some of them differ in their number of digits
  // from others or from `digits`: then their order as texts is not that of the numbers. False when a class
  // says that they are meant as texts.
  bool is_number_in_text(size_t digits = 0) const;
};

// The advice of messages about such texts.
inline constexpr char number_advice[] =
    "give numbers in the data, or say \"kind\": \"number\" in a class (\"text\" if it is meant)";

struct path_data {
  std::map<std::string, property_data> properties; // declared by a class, given by a record, or keys
  std::vector<std::string> keys;                   // of the last segment of the first record's URI
  std::string first_record;                        // URI as the file has it; empty: the path has only a class
  int number = 0;                                  // line of that record
  size_t records = 0;
  some_records other_keys;    // records with other keys
  some_records without_above; // records without a parent, though other records have one
  std::string above;          // the missing parent of the first of these

  std::set<std::string> names() const; // of the properties
};

struct data_set {
  std::string file;
  std::map<std::string, path_data> paths; // "/system/ifc"; "//locations" for locations themselves
  std::set<std::string> location_keys;    // of the URIs of all records
  bool has_schema = false;                // there are files of classes, or YANG modules
  bool has_modules = false;               // report every leaf of YANG modules that no template uses

  const path_data *find(const std::string &path) const; // or null
  // Finds a property by the name that a template has for it; null when it is unknown.
  const property_data *find(const std::string &path, const std::string &name) const;
};

// Reads a data file (an empty name: none) and files of classes. Nullopt when one does not load, which has
// been reported.
std::optional<data_set> read_data(const std::string &file, const std::vector<std::string> &classes = {});

} // namespace tovra::check
