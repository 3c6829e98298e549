// Writing a device into a database file.
#include "sqlite/database.hpp"
#include "store/path.hpp"
#include "zuapi/base.h"

namespace zu_sqlite {

namespace {

constexpr const char *tables = R"(
CREATE TABLE device (
  id INTEGER PRIMARY KEY,
  name TEXT NOT NULL UNIQUE);
CREATE TABLE path (
  id INTEGER PRIMARY KEY,
  device INTEGER NOT NULL REFERENCES device,
  position INTEGER NOT NULL,
  path TEXT NOT NULL,
  pattern TEXT NOT NULL,
  keys TEXT NOT NULL,
  declared TEXT NOT NULL,
  others TEXT NOT NULL,
  UNIQUE (device, path));
CREATE TABLE record (
  path INTEGER NOT NULL REFERENCES path,
  position INTEGER NOT NULL,
  location TEXT NOT NULL,
  relative TEXT NOT NULL,
  parent TEXT NOT NULL,
  properties TEXT NOT NULL,
  PRIMARY KEY (path, position)) WITHOUT ROWID;
CREATE UNIQUE INDEX record_by_uri ON record (path, relative, location);
CREATE INDEX record_by_parent ON record (path, parent, position);
)";

// Opens the file, makes missing tables, and begins a transaction for writing.
database opened(const std::string &file) {
  database data(file, database::access::write);
  if (data.pragma("schema_version") == 0)
    data.run("PRAGMA journal_mode = WAL"); // readers are not blocked by a writer
  data.run("BEGIN IMMEDIATE");
  const int64_t mark = data.pragma("application_id");
  const int64_t version = data.pragma("user_version");
  if (mark == 0 && version == 0 && data.pragma("schema_version") == 0) {
    data.run(tables);
    data.run(("PRAGMA application_id = " + std::to_string(layout_mark)).c_str());
    data.run(("PRAGMA user_version = " + std::to_string(layout_version)).c_str());
  } else if (mark != layout_mark) {
    throw store::source_failure{ZU_FAILED, "a database of something else"};
  } else if (version != layout_version) {
    throw store::source_failure{ZU_FAILED, "its tables are of version " + std::to_string(version)};
  }
  return data;
}

class file_writer : public store::device_writer {
public:
  file_writer(const std::string &file, const std::string &device)
      : data_(opened(file)),
        add_path_(data_, "INSERT INTO path (device, position, path, pattern, keys, declared, others) "
                         "VALUES (?, ?, ?, ?, ?, ?, ?)"),
        add_record_(data_, "INSERT INTO record VALUES (?, ?, ?, ?, ?, ?)") {
    drop_old(device);
    statement add(data_, "INSERT INTO device (name) VALUES (?)");
    add.bind(1, device).run();
    device_ = sqlite3_last_insert_rowid(data_.get());
  }

  void add(const store::given_path &path) override {
    add_path_.bind(1, device_).bind(2, static_cast<int64_t>(path_ids_.size())).bind(3, path.path);
    add_path_.bind(4, path.facts.pattern).bind(5, path.facts.keys).bind(6, path.facts.declared);
    add_path_.bind(7, path.facts.others).run();
    path_ids_.push_back(sqlite3_last_insert_rowid(data_.get()));
  }

  void add(const store::given_record &record) override {
    const store::uri_halves halves(record.uri, record.absolute);
    add_record_.bind(1, path_ids_[record.path]).bind(2, position_++).bind(3, halves.location);
    add_record_.bind(4, halves.relative).bind(5, store::parent_of(halves.relative));
    add_record_.bind(6, record.properties).run();
  }

  void finish() override { data_.run("COMMIT"); }

private:
  void drop_old(const std::string &device) {
    for (const char *sql : {"DELETE FROM record WHERE path IN (SELECT path.id FROM path JOIN device ON "
                            "path.device = device.id WHERE device.name = ?)",
                            "DELETE FROM path WHERE device = (SELECT id FROM device WHERE name = ?)",
                            "DELETE FROM device WHERE name = ?"}) {
      statement(data_, sql).bind(1, device).run();
    }
  }

  database data_;
  std::vector<int64_t> path_ids_;
  int64_t device_ = 0;
  int64_t position_ = 0;
  statement add_path_;
  statement add_record_;
};

} // namespace

std::unique_ptr<store::device_writer> write_device(const std::string &file, const std::string &device) {
  return std::make_unique<file_writer>(file, device);
}

} // namespace zu_sqlite
