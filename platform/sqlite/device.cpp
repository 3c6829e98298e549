// The records of one device of a database file, read in one transaction.
#include <map>
#include <optional>

#include "sqlite/database.hpp"
#include "sqlite/devices.hpp"
#include "zuapi/base.h"

namespace zu_sqlite {

namespace {

constexpr size_t names_told = 5;

class device_source : public store::source {
public:
  device_source(const std::string &file, const std::string &device)
      : data_(file, database::access::read), begun_(begin()), device_(find(device)) {}

  const store::path_facts *facts(const std::string &path) override {
    const known_path &found = find_path(path);
    return found.id != 0 ? &found.facts : nullptr;
  }

  void read(const store::selection &wanted, const take_record &take) override {
    using enum store::selection::kind;
    // Two paths at most: those of the root's collections.
    std::string sql = "SELECT location, relative, properties FROM record";
    // Without counts of its rows the library would rather read all of a path.
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
    statement rows(data_,
                   "SELECT location, relative, properties FROM record JOIN path ON record.path = path.id "
                   "WHERE path.device = ? ORDER BY record.position");
    rows.bind(1, device_);
    tell(rows, take);
  }

private:
  struct known_path {
    int64_t id = 0; // 0: the device has no such path
    store::path_facts facts;
  };
  static void tell(statement &rows, const take_record &take) {
    std::string uri;
    while (rows.step()) {
      uri = rows.text(0);
      uri += rows.text(1);
      take(uri, rows.text(2));
    }
  }

  // The first read fixes what is seen until the end.
  bool begin() {
    data_.run("BEGIN");
    const int64_t mark = data_.pragma("application_id");
    const int64_t version = data_.pragma("user_version");
    if (mark != layout_mark) throw store::source_failure{ZU_FAILED, "not a database of devices"};
    if (version != layout_version) {
      throw store::source_failure{ZU_FAILED, "its tables are of version " + std::to_string(version) +
                                                 ", this program reads version " +
                                                 std::to_string(layout_version)};
    }
    return true;
  }

  int64_t find(const std::string &device) {
    statement rows(data_, "SELECT id, name FROM device ORDER BY name");
    std::string names;
    size_t count = 0;
    int64_t only = 0;
    for (; rows.step(); ++count) {
      only = rows.number(0);
      if (!device.empty() && rows.text(1) == device) return only;
      if (count < names_told) names.append(count == 0 ? "" : ", ").append(rows.text(1));
    }
    if (device.empty() && count == 1) return only;
    if (count > names_told) names += ", ...";
    if (count == 0) throw store::source_failure{ZU_FAILED, "it has no device"};
    throw store::source_failure{
        ZU_FAILED,
        (device.empty() ? "?device=NAME must say which: " : "no device is '" + device + "', but: ") + names};
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
  bool begun_;
  int64_t device_;
  std::map<std::string, known_path> paths_;
};

} // namespace

std::unique_ptr<store::source> open_device(const std::string &file, const std::string &device) {
  return std::make_unique<device_source>(file, device);
}

} // namespace zu_sqlite
