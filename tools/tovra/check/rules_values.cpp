// Rules about the values of a data file, and about templates that expect other values.
#include "placed.hpp"
#include "rules.hpp"

namespace tovra::check {

namespace {

void for_paths(const subject &subject, const auto &look) {
  if (subject.data == nullptr) return;
  for (const auto &[path, about] : subject.data->paths) look(path, about);
}

// The kind that a property should have: the kind of its default, or of the values of most records.
value_kind main_kind(const property_data &property, bool by_default) {
  if (by_default) return *kind_of(property.said["default"]);
  value_kind most = value_kind::number;
  for (const value_kind kind : all_kinds) {
    if (property.of(kind).count > property.of(most).count) most = kind;
  }
  return most;
}

std::string records(size_t count) {
  return std::to_string(count) + (count == 1 ? " record" : " records");
}

} // namespace

// Finds values of another kind than the default, or than the values of most records.
void find_mixed_kinds(const subject &subject, const teller &tell) {
  if (subject.data != nullptr && subject.data->has_modules) return; // which checked the types
  for_paths(subject, [&](const std::string &path, const path_data &about) {
    for (const auto &[name, property] : about.properties) {
      if (property.said_kind() || name.starts_with('_')) continue;
      const bool by_default = property.said.contains("default") && kind_of(property.said["default"]);
      const value_kind expected = main_kind(property, by_default);
      for (const value_kind kind : all_kinds) {
        const some_records &odd = property.of(kind);
        if (kind == expected || odd.count == 0) continue;
        const bool is_array = kind == value_kind::array || expected == value_kind::array;
        tell(subject.data->file, odd.line,
             "'" + name + "' of " + odd.record + odd.others() + " is " + words_of(kind) + ", but " +
                 (by_default ? "the default of " + path + " is "
                             : "that of " + records(property.of(expected).count) + " ") +
                 words_of(expected) +
                 (is_array ? ": an array is printed and tested by its elements"
                           : ": the two are never equal, and in order apart") +
                 "; write " + words_of(expected));
      }
    }
  });
}

// Finds records of one path whose last segments have different keys.
void find_other_keys(const subject &subject, const teller &tell) {
  const auto listed = [](const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) text += ";" + name;
    return text.empty() ? std::string("no key") : "'" + text + "'";
  };
  for_paths(subject, [&](const std::string &path, const path_data &about) {
    if (about.other_keys.count == 0) return;
    tell(subject.data->file, about.other_keys.line,
         about.other_keys.record + about.other_keys.others() + " of " + path + " has other keys than " +
             about.first_record + ", which has " + listed(about.keys) +
             ": what names the one by its keys does not find the other");
  });
}

// Finds records whose parent is missing, though other records of the path have one.
void find_records_without_parent(const subject &subject, const teller &tell) {
  for_paths(subject, [&](const std::string &, const path_data &about) {
    const some_records &lost = about.without_above;
    if (lost.count == 0) return;
    tell(subject.data->file, lost.line,
         "no record is " + about.above + ", which " + lost.record + lost.others() +
             " is below: a walk over the records of that list does not come to it");
  });
}

// Finds numbers that are texts in ordered lists: they are sorted as texts.
void find_ordered_texts(const subject &subject, const teller &tell) {
  if (subject.data == nullptr) return;
  for (const record &record : subject.templates.records) {
    const zu_tvr_uri *uri = record.is("get_collection") ? uri_of(record) : nullptr;
    const auto text = uri != nullptr ? pattern_of(*uri) : std::nullopt;
    if (!text) continue;
    for (const line &line : record.lines) {
      if (line.keyword != word::orderby || line.refused) continue;
      const std::string name = trimmed(line.value);
      const property_data *property = subject.data->find(path_of(*text), name);
      if (property == nullptr || !property->is_number_in_text()) continue;
      tell(record, line.number,
           "the numbers in '" + name + "' of " + path_of(*text) +
               " are texts, and come in the order of texts, 10 before 9; " + number_advice);
    }
  }
}

// Finds layouts for arrays on properties that are not arrays.
void find_scalars_as_arrays(const subject &subject, const teller &tell) {
  if (subject.data == nullptr) return;
  for (const record &record : subject.templates.records) {
    for (const placed_property &property : placed_properties(record)) {
      const auto uri = pattern_of(*property.item->uri);
      const bool as_array = property.kind == TVR_KIND_ARRAY_ELEMENT && !property.name.empty();
      const auto *about = uri && as_array ? subject.data->find(path_of(*uri), property.name) : nullptr;
      if (about == nullptr || !about->is_known() || about->may_be(value_kind::array)) continue;
      tell(record, property.from->number,
           "'" + property.name + "' of " + path_of(*uri) + " is " + about->kinds_in_words() +
               ", never an array: the line fails with error 10000; write " + property.name + ":" +
               std::to_string(property.slot));
    }
  }
}

} // namespace tovra::check
