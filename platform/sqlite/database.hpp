// A database file of devices: its tables, and the operations that reading and writing share.
// docs/data.md describes the columns of its tables.
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

// Every failure is thrown as store::source_failure, with the library's message.
class database {
public:
  enum class access : char { read, write }; // a missing file is made when it is opened to be written
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

  // A column of the row; one of another type is refused. Columns count from 0. `record`: the row's record, if
  // known, for the message.
  std::string_view text(int column, std::string_view record = {}) const;
  int64_t number(int column, std::string_view record = {}) const;

private:
  [[noreturn]] void refuse(int column, const char *wanted, std::string_view record) const;

  struct finalize {
    void operator()(sqlite3_stmt *made) const { sqlite3_finalize(made); }
  };
  database &in_;
  std::unique_ptr<sqlite3_stmt, finalize> made_;
};

// Replaces the device of that name in the file, in one transaction.
std::unique_ptr<store::device_writer> write_device(const std::string &file, const std::string &device);

} // namespace zu_sqlite
