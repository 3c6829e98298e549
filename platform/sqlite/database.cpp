// The operations on a database file that reading and writing share.
#include "sqlite/database.hpp"

#include "store/message.hpp"
#include "zuapi/base.h"

namespace zu_sqlite {

namespace {

constexpr int wait_for_others = 10000; // milliseconds

} // namespace

database::database(const std::string &file, access how) {
  const int flags = how == access::read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  sqlite3 *handle = nullptr;
  // The library takes some names for other things than files: ":memory:", "file:a?mode=memory".
  const std::string name = file.starts_with('/') ? file : "./" + file;
  const int code = sqlite3_open_v2(name.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  handle_.reset(handle);
  if (handle == nullptr) throw std::bad_alloc();
  if (code != SQLITE_OK) fail(code);
  sqlite3_busy_timeout(handle, wait_for_others);
}

void database::fail(int code) const {
  if ((code & 0xff) == SQLITE_NOMEM) throw std::bad_alloc();
  const bool told = sqlite3_errcode(handle_.get()) == code; // the message is that of the last call
  std::string message = told ? sqlite3_errmsg(handle_.get()) : sqlite3_errstr(code);
  if ((code & 0xff) == SQLITE_READONLY)
    message += " (to read it, too, takes permission to write in its folder)";
  throw store::source_failure{code == SQLITE_CANTOPEN ? ZU_CANNOT_OPEN : ZU_FAILED, std::move(message)};
}

void database::run(const char *sql) {
  if (const int code = sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr); code != SQLITE_OK)
    fail(code);
}

int64_t database::pragma(const char *name) {
  statement asked(*this, ("PRAGMA " + std::string(name)).c_str());
  return asked.step() ? asked.number(0) : 0;
}

statement::statement(database &in, const char *sql) : in_(in) {
  sqlite3_stmt *made = nullptr;
  if (const int code = sqlite3_prepare_v2(in.get(), sql, -1, &made, nullptr); code != SQLITE_OK)
    in.fail(code);
  made_.reset(made);
}

statement &statement::bind(int at, std::string_view text) {
  const char *start = text.data() != nullptr ? text.data() : "";
  const int code = sqlite3_bind_text64(made_.get(), at, start, text.size(), SQLITE_STATIC, SQLITE_UTF8);
  if (code != SQLITE_OK) in_.fail(code);
  return *this;
}

statement &statement::bind(int at, int64_t number) {
  if (const int code = sqlite3_bind_int64(made_.get(), at, number); code != SQLITE_OK) in_.fail(code);
  return *this;
}

bool statement::step() {
  const int code = sqlite3_step(made_.get());
  if (code != SQLITE_ROW && code != SQLITE_DONE) in_.fail(code);
  return code == SQLITE_ROW;
}

void statement::reset() {
  sqlite3_reset(made_.get()); // a failure has been reported by the step
}

void statement::refuse(int column, const char *wanted, std::string_view record) const {
  const char *name = sqlite3_column_name(made_.get(), column);
  if (name == nullptr) throw std::bad_alloc();
  const std::string of = record.empty() ? "" : "record " + store::in_quotes(record) + ": ";
  throw store::source_failure{ZU_FAILED, of + "column " + name + ": a row has no " + wanted + " there"};
}

std::string_view statement::text(int column, std::string_view record) const {
  if (sqlite3_column_type(made_.get(), column) != SQLITE_TEXT) refuse(column, "text", record);
  const unsigned char *start = sqlite3_column_text(made_.get(), column);
  if (start == nullptr) throw std::bad_alloc();
  return {reinterpret_cast<const char *>(start),
          static_cast<size_t>(sqlite3_column_bytes(made_.get(), column))};
}

int64_t statement::number(int column, std::string_view record) const {
  if (sqlite3_column_type(made_.get(), column) != SQLITE_INTEGER) refuse(column, "whole number", record);
  return sqlite3_column_int64(made_.get(), column);
}

} // namespace zu_sqlite
