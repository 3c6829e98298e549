// The record that is being read, and making a node from it.
#pragma once

#include "load.hpp"
#include "zu_tovra/internal/file_name.hpp"
#include "zu_tovra/props_map.h"
#include "zu_tovra/tree.h"
#include "zu_tovra/uri.h"

namespace tvr::loader {

// The values that are reset for each record; null and 0 until a line sets them.
struct record_lines {
  int32_t format_slots = 0;
  uint8_t newline = 0;
  unique<zu_tvr_uri, zu_tvr_uri_delete> uri;
  ref<zu_do_nvlist> query;
  unique<zu_tvr_props_map, zu_tvr_props_map_delete> props_map;
  text cond;
  ref<zu_do_properties> eval_props;
  ref<zu_do_nlist> orderby;
  text location_scheme;
  uint8_t group = 0;
  uint32_t op_line = 0;   // of the record's own "Op:"; 0: it has none
  bool lost_line = false; // a line of the record was refused
};

// The values that the lines have set. The two ids are emptied after each record; `op` and `format` stay and
// apply to the next record too; `lang_version` and `first_line` are those of the whole text.
struct tvr_parse_data : record_lines {
  growable cmd_id;
  growable parent_cmd_id;
  growable op;
  growable format;
  uint32_t cmd_line = 0; // the line of `cmd_id`
  int32_t lang_version = 0;
  bool first_line = true;
};

// One parse, of a file or of a text in memory.
struct parse_context {
  load_context &load;
  zu_tvr_tree *tree;
  const char *file; // null for a text in memory
  zu_do_error **error;
  growable line = {}; // the current line, without its line feed
  owned<tvr_parse_data> data = nullptr;
  uint32_t line_number = 1;        // of the current line
  file_name shared_file = nullptr; // the same as `file`, for the nodes
};

// Null when memory is exhausted (traced and stored as an error).
owned<tvr_parse_data> new_parse_data(zu_do_error **error) noexcept;

// Makes the record's node, adds it to the tree and starts a new record. Without an id (before the first
// "Cmd:" line) there is no record yet: what the lines have set stays for it. False: the load ends.
bool complete_record(parse_context &parse) noexcept;

} // namespace tvr::loader
