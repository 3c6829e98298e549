// The records of one device of a database file, read in one transaction.
#include <map>
#include <optional>

#include "sqlite/database.hpp"
#include "sqlite/open.hpp"
#include "store/message.hpp"
#include "store/path.hpp"
#include "zuapi/base.h"

namespace zu_sqlite {

namespace {

std::vector<std::string> names_in(database &data) {
  statement rows(data, "SELECT name FROM device ORDER BY name");
  std::vector<std::string> names;
  while (rows.step()) names.emplace_back(rows.text(0));
  return names;
}

// Begins a transaction. All its reads see the state at the first one.
void begin_to_read(database &data) {
  data.run("BEGIN");
  const int64_t mark = data.pragma("application_id");
  const int64_t version = data.pragma("user_version");
  if (mark != layout_mark) throw store::source_failure{ZU_FAILED, "not a database of devices"};
  if (version != layout_version) {
    throw store::source_failure{ZU_FAILED, "its tables are of version " + std::to_string(version) +
                                               ", this program reads version " +
                                               std::to_string(layout_version)};
  }
}

constexpr const char *records = "SELECT location, relative, properties, parent, record.position FROM record";

class device_source : public store::source {
public:
  device_source(const std::string &file, const std::string &device) : data_(file, database::access::read) {
    begin_to_read(data_);
    device_ = find(device);
  }

  const store::path_facts *facts(const std::string &path) override {
    const known_path &found = find_path(path);
    return found.id != 0 ? &found.facts : nullptr;
  }

  void read(const store::selection &wanted, const take_record &take) override {
    using enum store::selection::kind;
    // At most two paths: those of the root's collections.
    std::string sql = records;
    // The table has no statistics, so SQLite would choose to read all records of the path.
    if (wanted.of != path)
      sql += wanted.of == parent ? " INDEXED BY record_by_parent" : " INDEXED BY record_by_uri";
    sql += wanted.paths.size() == 1 ? " WHERE path = ?1" : " WHERE path IN (?1, ?3)";
    if (wanted.of != path) sql += wanted.of == parent ? " AND parent = ?2" : " AND relative = ?2";
    statement rows(data_, (sql + " ORDER BY position").c_str());
    rows.bind(1, find_path(wanted.paths.front()).id);
    if (wanted.of != path) rows.bind(2, wanted.text);
    if (wanted.paths.size() > 1) rows.bind(3, find_path(wanted.paths.back()).id);
    tell(rows, take);
  }

  std::vector<std::string> paths() override {
    statement rows(data_, "SELECT path FROM path WHERE device = ? ORDER BY position");
    rows.bind(1, device_);
    std::vector<std::string> found;
    while (rows.step()) found.emplace_back(rows.text(0));
    return found;
  }

  void read_all(const take_record &take) override {
    const std::string sql = std::string(records) + " JOIN path ON record.path = path.id "
                                                   "WHERE path.device = ? ORDER BY record.position";
    statement rows(data_, sql.c_str());
    rows.bind(1, device_);
    tell(rows, take);
  }

private:
  struct known_path {
    int64_t id = 0; // 0: the device has no such path
    store::path_facts facts;
  };
  // Others may have written what does not belong together.
  static void tell(statement &rows, const take_record &take) {
    std::string uri;
    while (rows.step()) {
      uri = rows.text(0);
      const std::string_view relative = rows.text(1);
      uri += relative;
      if (rows.text(3, uri) != store::parent_of(relative)) {
        throw store::source_failure{ZU_FAILED, "record " + store::in_quotes(uri) +
                                                   ": column parent: it is not " +
                                                   store::in_quotes(store::parent_of(relative))};
      }
      rows.number(4, uri); // its place in the order
      take(uri, rows.text(2, uri));
    }
  }

  int64_t find(const std::string &device) {
    statement row(data_, "SELECT id FROM device WHERE name = ?");
    if (!device.empty() && row.bind(1, device).step()) return row.number(0);
    const std::string only = store::only_device(names_in(data_), device);
    row.bind(1, only).step();
    return row.number(0);
  }

  const known_path &find_path(const std::string &path) {
    const auto [at, fresh] = paths_.try_emplace(path);
    if (!fresh) return at->second;
    statement rows(data_,
                   "SELECT id, pattern, keys, declared, others FROM path WHERE device = ? AND path = ?");
    rows.bind(1, device_).bind(2, path);
    if (rows.step()) {
      known_path found{rows.number(0), {}};
      found.facts.pattern = rows.text(1);
      found.facts.keys = rows.text(2);
      found.facts.declared = rows.text(3);
      found.facts.others = rows.text(4);
      at->second = std::move(found);
    }
    return at->second;
  }

  database data_;
  int64_t device_ = 0;
  std::map<std::string, known_path> paths_;
};

class devices_of_file : public store::device_database {
public:
  explicit devices_of_file(std::string file) : file_(std::move(file)) {}

  std::vector<std::string> devices() override {
    database data(file_, database::access::read);
    begin_to_read(data);
    return names_in(data);
  }
  std::unique_ptr<store::source> open(const std::string &device) override {
    return std::make_unique<device_source>(file_, device);
  }
  std::unique_ptr<store::device_writer> write(const std::string &device) override {
    return write_device(file_, device);
  }

private:
  std::string file_;
};

} // namespace

std::unique_ptr<store::device_database> database_in(std::string file) {
  return std::make_unique<devices_of_file>(std::move(file));
}

} // namespace zu_sqlite
