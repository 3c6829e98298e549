// Rules about formats, and the properties that fill their slots.
#include <algorithm>
#include <map>

#include "cli_exec/cli_exec.h"
#include "cond_text.hpp"
#include "placed.hpp"
#include "rules.hpp"
#include "uri_text.hpp"

namespace tovra::check {

namespace {

// The "Fmt:" line of a record, if it comes after the properties, whose line counts the slots of the format.
const line *format_after_properties(const record &record) {
  const auto properties = record.property_lines();
  const line *format = record.find(word::fmt);
  if (properties.empty() || format == nullptr) return nullptr;
  return format->number > properties.front()->number ? format : nullptr;
}

bool prints(const record &record) {
  return !record.id.empty() && record.is("print_if");
}

bool has_slot(const std::vector<placed_property> &placed, size_t slot) {
  return std::any_of(placed.begin(), placed.end(), [slot](const placed_property &property) {
    return static_cast<size_t>(property.slot) == slot;
  });
}

// True when there is a tab between properties, outside a quoted prefix, with text after it.
bool has_tab_between_properties(const line &line) {
  const std::string uri = first_word(line.value);
  const size_t start = std::min(line.value.find(uri), line.value.size());
  const std::string_view properties = std::string_view(line.value).substr(start + uri.size());
  bool quoted = false;
  bool in_property = false;
  bool after_tab = false;
  for (const char c : properties) {
    if (c == '"') quoted = !quoted;
    if (c == ' ' && !quoted) {
      in_property = after_tab = false;
    } else if (c == '\t' && !quoted) {
      after_tab = in_property;
    } else if (after_tab) {
      return true;
    } else {
      in_property = true;
    }
  }
  return false;
}

} // namespace

// Finds tabs between properties: only spaces separate them, so text after a tab is lost or refused.
void find_tabs(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    for (const line &line : record.lines) {
      if (line.keyword != word::props || !has_tab_between_properties(line)) continue;
      tell(record, line.number,
           "a tab does not separate properties, and what stands behind it is not read as one; write a space");
    }
  }
}

// Finds properties before their format: the properties map gets as many slots as the format before it has.
void find_props_before_fmt(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    const zu_tvr_props_map *map = map_of(record);
    const line *format = format_after_properties(record);
    if (map == nullptr || format == nullptr) continue;
    if (static_cast<size_t>(map->num_items) == count_slots(record.format)) continue;
    tell(record, format->number,
         "'Fmt:' stands after the properties, which are counted against the format before it: the line fails "
         "with error 10000; move 'Fmt:' before line " +
             std::to_string(record.property_lines().front()->number));
  }
}

// Finds a "%s" that no property fills: the line fails.
void find_empty_slots(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    if (map_of(record) == nullptr || format_after_properties(record) != nullptr) continue;
    const auto placed = placed_properties(record);
    const size_t slots = count_slots(record.format);
    for (size_t slot = 0; slot < slots; ++slot) {
      if (has_slot(placed, slot)) continue;
      tell(record, record.find(word::fmt) != nullptr ? word::fmt : word::dest,
           "no property fills slot " + std::to_string(slot) + " of '" + record.format +
               "': the line fails with error 10000; write PROPERTY:" + std::to_string(slot) +
               (record.find(word::fmt) == nullptr ? " and a 'Fmt:' of its own" : ""));
    }
  }
}

// Finds formats with slots but without properties: they are printed unchanged.
void find_formats_without_properties(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    if (!prints(record) || !record.sound || map_of(record) != nullptr || count_slots(record.format) == 0)
      continue;
    tell(record, word::fmt, "'%s' is printed as it stands: no 'Props:' or 'Location:' fills it");
  }
}

// Finds properties beyond the slots of the format: they only matter to the condition.
void find_unused_properties(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    const zu_tvr_props_map *map = map_of(record);
    if (map == nullptr || format_after_properties(record) != nullptr) continue;
    const line *cond = record.find(word::cond);
    const auto names = cond != nullptr ? names_in(cond->value) : std::set<std::string>();
    std::map<const line *, std::string> unused;
    for (const placed_property &property : placed_properties(record)) {
      if (property.slot < map->num_items || names.contains("tvr" + std::to_string(property.slot))) continue;
      std::string &told = unused[property.from];
      told += (told.empty() ? "" : ", ") + property.name + ":" + std::to_string(property.slot);
    }
    for (const auto &[from, properties] : unused) {
      tell(record, from->number, "neither a slot of the format nor a condition ($tvrN) uses " + properties);
    }
  }
}

// Finds lines in which the loader found fewer properties than they seem to have.
void find_counts(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    const zu_tvr_props_map *map = map_of(record);
    if (map == nullptr) continue;
    const auto lines = record.property_lines();
    const zu_tvr_uri_item *item = map->uri_items;
    for (size_t i = 0; item != nullptr && i < lines.size(); item = item->next, ++i) {
      const auto read = std::count_if(item->indices, item->indices + item->num_props,
                                      [](int32_t slot) { return slot >= 0; });
      if (read == item->num_props || has_tab_between_properties(*lines[i])) continue;
      tell(record, lines[i]->number,
           "looks like " + std::to_string(item->num_props) + " properties, but " + std::to_string(read) +
               (read == 1 ? " is" : " are") +
               " read; separate them by spaces, and end each after its last field");
    }
  }
}

// Finds location schemes that the platform does not have.
void find_location_schemes(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    if (!record.sound) continue;
    for (const line &line : record.lines) {
      if (line.keyword != word::location) continue;
      const size_t colon =
          line.value.find(':', line.value.find(first_word(line.value)) + first_word(line.value).size());
      const std::string scheme = colon != line.value.npos ? first_word(line.value.substr(colon + 1)) : "";
      uint32_t number = 0;
      if (zu_exec_str_to_location_scheme(scheme.c_str(), &number) == 0) continue;
      tell(record, line.number, "no location scheme is '" + scheme + "', and DEFAULT takes its place");
    }
  }
}

} // namespace tovra::check
