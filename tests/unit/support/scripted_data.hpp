// A data interface whose answers a test writes down row by row, with codes to answer instead. It records
// every call made to it and to its interfaces and cursors.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "cli_exec/interfaces.h"
#include "support/fake_walk.hpp"
#include "support/objects.hpp"
#include "zuapi/zuapi.h"

namespace test {

// A column's cells are JSON; those of "_uri" are URI texts. A cell that is empty holds a value of no type.
inline own_table make_table(const std::vector<std::string> &columns,
                            const std::vector<std::vector<std::string>> &rows) {
  own_columns list(zu_do_ntlist_new());
  for (const auto &column : columns) {
    own_name name(column.empty() ? nullptr : zu_do_name_new(column.c_str()));
    zu_do_ntlist_add(list.get(), name.get(), ZU_DO_TYPE_NONE);
  }
  own_table table(zu_do_vtable_new_from_ntlist(list.get()));
  for (const auto &cells : rows) {
    own_list row(zu_do_vlist_new());
    for (size_t at = 0; at < cells.size(); ++at) {
      own_value value;
      if (cells[at].empty()) {
        value.reset(zu_do_value_new_none());
      } else if (columns[at] == "_uri" && cells[at][0] == '/') {
        own_uri uri(zu_do_uri_new(cells[at].c_str()));
        value.reset(zu_do_value_new_mr_uri(uri.get()));
      } else {
        value = json(cells[at]);
      }
      EXPECT_NE(value, nullptr) << cells[at];
      zu_do_vlist_add(row.get(), value.get());
    }
    zu_do_vtable_add(table.get(), row.get());
  }
  return table;
}

class scripted_data {
public:
  using preparation = std::function<void(scripted_data &)>;

  scripted_data() : data_{{&data_ops}, this}, coll_{{&coll_ops}, this}, crudx_{{&crudx_ops}, this} {}

  zu_data_ifc *get() { return &data_.ifc; }

  std::map<std::string, own_table> collections; // by URI text; others are empty
  // By URI text; the first read's record is copied into the caller's. Others are not found.
  std::map<std::string, std::string> records; // property "name"
  // What calls answer instead; 0: what they should.
  int get_coll_code = 0;
  int get_crudx_code = 0;
  int open_code = 0;
  bool open_gives_cursor = true;
  int fetch_code = 0;
  int get_code = 0;
  bool late_end = false; // the end of the data takes a fetch of its own

  std::vector<std::string> calls;
  int open_cursors = 0; // not freed

private:
  template <class Ifc>
  struct object {
    Ifc ifc;
    scripted_data *self;
  };
  struct cursor {
    object<zu_cursor> base;
    zu_do_vtable *rows; // borrowed
    size_t position;
  };
  template <class Ifc>
  static scripted_data &of(Ifc *ifc) {
    return *reinterpret_cast<object<Ifc> *>(ifc)->self;
  }
  template <class Ifc>
  static int count_none(Ifc *) {
    return 0;
  }

  static int get_coll(zu_data_ifc *ifc, zu_coll_ifc **coll) {
    of(ifc).calls.push_back("get_coll_ifc");
    if (of(ifc).get_coll_code == 0) *coll = &of(ifc).coll_.ifc;
    return of(ifc).get_coll_code;
  }
  static int get_crudx(zu_data_ifc *ifc, zu_crudx_ifc **crudx) {
    of(ifc).calls.push_back("get_crudx_ifc");
    if (of(ifc).get_crudx_code == 0) *crudx = &of(ifc).crudx_.ifc;
    return of(ifc).get_crudx_code;
  }

  static std::string hex(uint64_t flags) {
    char word[32];
    snprintf(word, sizeof word, " 0x%llx", static_cast<unsigned long long>(flags));
    return word;
  }
  static int open(zu_coll_ifc *ifc, zu_do_uri *uri, zu_do_nlist *fields, zu_do_nvlist *, zu_do_nlist *,
                  uint64_t flags, zu_cursor **opened) {
    scripted_data &self = of(ifc);
    self.calls.push_back("open " + text_of(uri) + hex(flags));
    EXPECT_EQ(zu_do_nlist_get_len(fields), 0u);
    if (self.open_gives_cursor) {
      const auto found = self.collections.find(text_of(uri));
      auto *rows = found != self.collections.end() ? found->second.get() : nullptr;
      *opened = &(new cursor{{{&cursor_ops}, &self}, rows, 0})->base.ifc;
      ++self.open_cursors;
    }
    return self.open_code;
  }

  static int fetch(zu_cursor *ifc, uint32_t count, zu_do_vtable *table) {
    auto &[base, rows, position] = *reinterpret_cast<cursor *>(ifc);
    base.self->calls.push_back("fetch " + std::to_string(count));
    if (base.self->fetch_code != 0) return base.self->fetch_code;
    if (rows == nullptr) return 1;
    const size_t length = zu_do_vtable_get_len(rows);
    const bool ended = position == length;
    zu_do_vtable_set_ntlist(table, zu_do_vtable_get_ntlist(rows));
    for (uint32_t n = 0; position < length && (count == 0 || n < count); ++n) {
      zu_do_vtable_add(table, zu_do_vtable_get(rows, position++));
    }
    return (base.self->late_end ? ended : position == length) ? 1 : 0;
  }
  static int free_cursor(zu_cursor *ifc) {
    of(ifc).calls.push_back("free");
    --of(ifc).open_cursors;
    delete reinterpret_cast<cursor *>(ifc);
    return 0;
  }
  static zu_status *cursor_status(zu_cursor *ifc) { return &of(ifc).status_.ifc; }
  static zu_status *crudx_status(zu_crudx_ifc *ifc) { return &of(ifc).status_.ifc; }
  static void clear(zu_status *ifc) { of(ifc).calls.push_back("clear"); }

  static int get_record(zu_crudx_ifc *ifc, zu_do_uri *uri, const char *config, uint64_t flags,
                        zu_do_properties *record) {
    scripted_data &self = of(ifc);
    const std::string text = text_of(uri);
    self.calls.push_back("get " + text + hex(flags) +
                         (config != nullptr ? std::string(" of ") + config : ""));
    if (self.get_code != 0) return self.get_code;
    const auto found = self.records.find(text);
    if (found == self.records.end()) return ZU_NOT_FOUND;
    return zu_do_properties_set_string(record, "name", found->second.c_str());
  }

  static constexpr zu_data_ifc_ops data_ops{nullptr, count_none<zu_data_ifc>, count_none<zu_data_ifc>,
                                            get_coll, get_crudx};
  static constexpr zu_coll_ifc_ops coll_ops{nullptr, count_none<zu_coll_ifc>, count_none<zu_coll_ifc>, open};
  static constexpr zu_cursor_ops cursor_ops{nullptr, count_none<zu_cursor>, free_cursor, fetch,
                                            cursor_status};
  static constexpr zu_crudx_ifc_ops crudx_ops{nullptr, count_none<zu_crudx_ifc>, count_none<zu_crudx_ifc>,
                                              get_record, crudx_status};
  static constexpr zu_status_ops status_ops{clear};

  object<zu_data_ifc> data_;
  object<zu_coll_ifc> coll_;
  object<zu_crudx_ifc> crudx_;
  object<zu_status> status_{{&status_ops}, this};
};

// What `walk` answered, then the errors, the calls and the traces up to a level.
inline std::vector<std::string>
scenario(const scripted_data::preparation &prepare, walk_options options, int level,
         const std::function<std::vector<std::string>(zu_tvr_walk_ctx *)> &walk) {
  scripted_data data;
  prepare(data);
  options.data = data.get();
  std::vector<std::string> all;
  trace_log traces(level);
  {
    fake_walk ctx(options);
    all = walk(ctx);
    for (const auto &error : ctx.errors) all.push_back("error " + error);
  }
  EXPECT_EQ(data.open_cursors, 0);
  all.insert(all.end(), data.calls.begin(), data.calls.end());
  all.insert(all.end(), traces.lines().begin(), traces.lines().end());
  return all;
}

} // namespace test
