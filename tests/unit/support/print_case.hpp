// A print node over records made by hand, walked with records of their own and with views of rows, and again
// with what the first walk remembered.
#pragma once

#include <glib.h>
#include <gtest/gtest.h>

#include "support.h"
#include "support/fake_walk.hpp"
#include "support/records.hpp"
#include "zu_tovra/entry.h"
#include "zu_tovra/print.h"
#include "zu_tovra/uri.h"

namespace test {

// A property of a URI item, as a template's "Props:" line gives it.
struct shown_property {
  std::string name;
  int32_t kind = TVR_KIND_PLAIN;
  int32_t slot = 0;
  const char *prefix = nullptr;
  bool multiline = false;
  bool independent = false;
  int32_t partner = -1;
  const char *scheme = "DEFAULT";
  const char *field = nullptr;
};

struct uri_line {
  std::string uri;
  std::vector<shown_property> properties;
  int32_t room = 0; // properties announced; 0: as many as there are
};

// What most cases leave as it is.
struct print_options {
  const char *condition = nullptr;
  std::vector<property> value_map = {}; // of slot 0
  bool newline = false;
  uint32_t indentation = 0;
  std::vector<property> arguments = {};
  int slots = -1; // of the properties map; -1: as many as the format has
  int refuse_nth = 0;
  bool condition_arguments = true;
  void (*alter_map)(zu_tvr_props_map *map) = nullptr; // what no template makes, but another builder may
};

struct print_case {
  std::string name;
  std::string format;
  std::vector<uri_line> uris; // null: a node without a properties map
  std::vector<record_text> records;
  std::string expected; // of the first walk, as outcome::text gives it
  print_options with = {};
};

inline int count_slots(const std::string &format) {
  int count = 0;
  for (size_t at = format.find("%s"); at != format.npos; at = format.find("%s", at + 2)) ++count;
  return count;
}

inline zu_tvr_props_map *map_of(const print_case &given) {
  if (given.uris.empty()) return nullptr;
  zu_tvr_props_map *map =
      zu_tvr_props_map_new(given.with.slots >= 0 ? given.with.slots : count_slots(given.format));
  for (const auto &line : given.uris) {
    const auto room = line.room > 0 ? line.room : static_cast<int32_t>(line.properties.size());
    auto *item = map->add_uri(map, line.uri.c_str(), room);
    EXPECT_NE(item, nullptr) << line.uri;
    for (const auto &p : line.properties) {
      EXPECT_TRUE(map->add_prop(map, item, name_of(p.name).get(), p.kind, p.slot, p.prefix, p.multiline,
                                p.independent, p.scheme, p.field, p.partner))
          << p.name;
    }
  }
  if (!given.with.value_map.empty()) {
    GHashTable *table = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    for (const auto &[from, to] : given.with.value_map) {
      g_hash_table_insert(table, g_strdup(from.c_str()), g_strdup(to.c_str()));
    }
    EXPECT_TRUE(map->add_value_map(map, 0, table));
  }
  if (given.with.alter_map != nullptr) given.with.alter_map(map);
  return map;
}

// What one walk of a node did.
struct outcome {
  int32_t step = 0;
  std::string output;
  std::string reports;
  std::string errors; // traced, of levels 3 and 4

  // "STEP OUTPUT", and then a line each for what was reported ("! ") and traced.
  std::string text() const { return std::to_string(step) + " " + output + "\n" + reports + errors; }
};

inline int ignore_error(void *, int32_t, const char *) {
  return 0;
}

// A node with its records in scope, ready to be walked any number of times.
class print_stage {
public:
  print_stage(const print_case &given, bool as_rows) : given_(given) {
    data_ = zu_tvr_print_data_new(given.format.c_str(), map_of(given), given.with.newline,
                                  given.with.condition, nullptr);
    EXPECT_NE(data_, nullptr);
    scratch_ = zu_tvr_print_scratch_data_new();
    command_ = zu_cli_cmd_new(nullptr, ignore_error, "show");
    cond_args_.cmd = command_;
    const made_record arguments({"", "", given.with.arguments}, false);
    walk_ = std::make_unique<fake_walk>(walk_options{
        .arguments = arguments.get(), .cond_args = given.with.condition_arguments ? &cond_args_ : nullptr});
    walk_->ctx()->indentation = given.with.indentation;
    for (const auto &record : given.records) {
      records_.push_back(std::make_unique<made_record>(record, as_rows));
      zu_tvr_push_props_to_cache(walk_->ctx(), records_.back()->get(), 0, 0);
    }
  }
  ~print_stage() {
    walk_.reset();
    zu_tvr_print_scratch_data_delete(scratch_);
    zu_tvr_print_data_delete(data_);
    zu_cli_cmd_deref(command_);
  }
  print_stage(const print_stage &) = delete;
  print_stage &operator=(const print_stage &) = delete;

  outcome run() { return run(scratch_); }
  outcome run(zu_tvr_print_scratch_data *scratch) {
    const trace_log traces(4);
    walk_->clear();
    walk_->offered = 0;
    walk_->refuse_nth = given_.with.refuse_nth;
    outcome got;
    got.step = data_->walk(data_, scratch, walk_->ctx());
    got.output = walk_->text();
    for (const auto &error : walk_->errors) got.reports += "! " + error + "\n";
    for (const auto &line : traces.lines()) got.errors += line.substr(2) + "\n";
    return got;
  }

  zu_tvr_print_data *data() { return data_; }
  zu_tvr_print_scratch_data *scratch() { return scratch_; }
  zu_do_properties *arguments() { return walk_->ctx()->arguments; }

private:
  const print_case given_;
  zu_tvr_print_data *data_ = nullptr;
  zu_tvr_print_scratch_data *scratch_ = nullptr;
  zu_cli_cmd *command_ = nullptr;
  zu_tvr_cond_args cond_args_ = {};
  std::vector<std::unique_ptr<made_record>> records_;
  std::unique_ptr<fake_walk> walk_;
};

inline void check(const print_case &given) {
  SCOPED_TRACE(given.name);
  for (const bool as_rows : {false, true}) {
    const balanced_memory balanced;
    print_stage stage(given, as_rows);
    for (const int time : {1, 2}) {
      ASSERT_EQ(stage.run().text(), given.expected) << "time " << time << (as_rows ? ", rows" : ", records");
    }
  }
}

} // namespace test
