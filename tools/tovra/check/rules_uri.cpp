// Rules about single URIs.
#include <algorithm>

#include "rules.hpp"

namespace tovra::check {

namespace {

struct uri_line {
  const line *from;
  std::string uri;
};

// The URIs of a record as they are written, without refused ones.
std::vector<uri_line> uris_of(const record &record) {
  std::vector<uri_line> uris;
  if (!record.sound) return uris;
  for (const line &line : record.lines) {
    if (line.keyword == word::uri) uris.push_back({&line, trimmed(line.value)});
    if (line.keyword == word::props || line.keyword == word::location) {
      uris.push_back({&line, first_word(line.value)});
    }
  }
  return uris;
}

// The keys of a segment that come before the key that the walk fills in: the library drops them.
std::string keys_before_separator(std::string_view segment) {
  const size_t separator = segment.find_last_of("$!#");
  const size_t first = segment.find(';');
  if (separator == segment.npos || first == segment.npos) return "";
  const size_t last = segment.substr(0, separator).rfind(';');
  return last == segment.npos || last <= first ? ""
                                               : std::string(segment.substr(first + 1, last - first - 1));
}

template <class Look>
void for_segments(std::string_view uri, Look look) {
  uri = uri.substr(0, uri.find('?'));
  while (!uri.empty()) {
    const size_t end = std::min(uri.find('/'), uri.size());
    look(uri.substr(0, end));
    uri.remove_prefix(std::min(end + 1, uri.size()));
  }
}

} // namespace

// Finds lists below a key that are named by a plain path: the store refuses them.
void find_plain_paths(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    if (!record.is("get_collection")) continue;
    const zu_tvr_uri *uri = uri_of(record);
    const auto text = uri != nullptr ? pattern_of(*uri) : std::nullopt;
    if (!text || text->find('?') != text->npos || !is_keyed_below_first(*text)) continue;
    std::string list = uri->text;
    const size_t slash = list.rfind('/');
    list = list.substr(0, slash) + "?" + list.substr(slash + 1, list.find(';', slash) - slash - 1);
    tell(record, word::uri,
         "a list below a key cannot be read by its path: the data store answers error 103; write " + list +
             ", or get_one for a single record");
  }
}

// Finds single reads of lists: a record is read by its own URI.
void find_single_reads_of_lists(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    if (!record.is("get_one")) continue;
    const zu_tvr_uri *uri = uri_of(record);
    const auto text = uri != nullptr ? pattern_of(*uri) : std::nullopt;
    if (!text || text->find('?') == text->npos) continue;
    tell(record, word::uri,
         "get_one reads one record, and no record is named with '?': nothing is found; "
         "write get_collection",
         path_of(text->substr(0, text->find('?'))));
  }
}

// Finds keys that get lost: of a segment, only the key that the walk fills in and the text after it are kept.
void find_lost_keys(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    for (const uri_line &uri : uris_of(record)) {
      for_segments(uri.uri, [&](std::string_view segment) {
        const std::string lost = keys_before_separator(segment);
        if (lost.empty()) return;
        const bool dynamic = lost.find_first_of("$!#") != lost.npos;
        tell(record, uri.from->number,
             "';" + lost + "' is dropped from the segment '" + std::string(segment) + "': " +
                 (dynamic ? "a segment takes one key from a record"
                          : "constant keys stand after the one that is filled in"));
      });
    }
  }
}

// Finds bad queries: a query is made from arguments of the render, under their names.
void find_bad_queries(const subject &subject, const teller &tell) {
  for (const record &record : subject.templates.records) {
    for (const line &line : record.lines) {
      if (line.keyword != word::query || line.refused || !record.is("get_collection")) continue;
      const size_t equals = line.value.find('=');
      const std::string name = trimmed(line.value.substr(0, equals));
      const std::string value = line.value.substr(equals + 1);
      if (!value.starts_with('$')) {
        tell(record, line.number,
             "'" + value +
                 "' is no argument: a render of this node with arguments fails with error 10000; write " +
                 name + "=$" + name);
      } else if (value.substr(1) != name) {
        tell(record, line.number,
             "the argument's name is what the records are searched by: " + value.substr(1) + ", not " + name +
                 "; write " + name + "=$" + name);
      }
    }
  }
}

} // namespace tovra::check
