// A database file of devices: its tables, and what every use of it needs.
// docs/data.md tells what stands in each column of its tables.
#pragma once

#include <cstdint>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>

#include "store/devices.hpp"

namespace zu_sqlite {

inline constexpr int layout_version = 1;       // PRAGMA user_version
inline constexpr int layout_mark = 0x7a757476; // PRAGMA application_id

// Thrown on every failure: store::source_failure, with the words of the library.
class database {
public:
  enum class access : char { read, write }; // what is opened to be written is made when it is not there
  database(const std::string &file, access how);

  // For statements without results.
  void run(const char *sql);
  int64_t pragma(const char *name);
  sqlite3 *get() const { return handle_.get(); }
  [[noreturn]] void fail(int code) const;

private:
  struct close {
    void operator()(sqlite3 *handle) const { sqlite3_close_v2(handle); }
  };
  std::unique_ptr<sqlite3, close> handle_;
};

// A prepared statement. Texts are borrowed until the next `reset`.
class statement {
public:
  statement(database &in, const char *sql);

  statement &bind(int at, std::string_view text); // parameters count from 1
  statement &bind(int at, int64_t number);
  bool step(); // false: there are no more rows
  void run() { step(), reset(); }
  void reset();

  // Of the row; a column of another type is refused. Columns count from 0. `record` is the row's, if known.
  std::string_view text(int column, std::string_view record = {}) const;
  int64_t number(int column) const;

private:
  [[noreturn]] void refuse(int column, const char *wanted, std::string_view record) const;

  struct finalize {
    void operator()(sqlite3_stmt *made) const { sqlite3_finalize(made); }
  };
  database &in_;
  std::unique_ptr<sqlite3_stmt, finalize> made_;
};

// Puts a device in the place of what the file has under its name, in one transaction.
std::unique_ptr<store::device_writer> write_device(const std::string &file, const std::string &device);

} // namespace zu_sqlite
