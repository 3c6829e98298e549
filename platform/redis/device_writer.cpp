// Writing a device to a Redis server: first the keys of a new version, in parts; at the end one script makes
// it the device's version. So readers never see half a device.
#include <random>

#include "redis/layout.hpp"
#include "store/path.hpp"
#include "zuapi/base.h"

namespace zu_redis {

namespace {

// The keys of an import that was never finished expire. A replaced version stays for renders that began with
// it, until the next one is replaced. Its records expire later than its facts, because readers check by the
// facts whether the version exists.
constexpr const char *unfinished_seconds = "3600";
constexpr const char *facts_seconds = "60";
constexpr const char *records_seconds = "120";

// KEYS: the records of a path; ARGV: its first member, and seconds.
constexpr const char *begin_script = R"(
local added = redis.call('ZADD', KEYS[1], 0, ARGV[1])
redis.call('EXPIRE', KEYS[1], ARGV[2])
return added)";

// KEYS: of the device, of the version's facts, of the records of its paths; ARGV: version, layout, seconds
// for old facts and records, the fields of the facts and their values. What can fail comes before what
// changes anything.
constexpr const char *finish_script = R"(
local head, facts = KEYS[1], KEYS[2]
local known = redis.call('HMGET', head, 'layout', 'version', 'before')
if known[1] and known[1] ~= ARGV[2] then
  return redis.error_reply('ERR the device has the layout ' .. known[1])
end
for i = 3, #KEYS do
  if redis.call('EXISTS', KEYS[i]) == 0 then return redis.error_reply('ERR ' .. KEYS[i] .. ' has gone') end
end
for i = 5, #ARGV, 2 do redis.call('HSET', facts, ARGV[i], ARGV[i + 1]) end
for i = 3, #KEYS do redis.call('PERSIST', KEYS[i]) end
redis.call('HSET', head, 'layout', ARGV[2], 'version', ARGV[1], 'before', known[2] or '')
local function each_key(version, step)
  local old = head .. ':' .. version
  local fields = redis.pcall('HKEYS', old)
  for _, field in ipairs(fields.err and {} or fields) do
    if field:sub(1, 8) == 'records ' then step(old .. ':' .. field:sub(9), ARGV[4]) end
  end
  step(old, ARGV[3])
end
if known[3] and known[3] ~= '' then each_key(known[3], function(key) redis.call('UNLINK', key) end) end
if known[2] then each_key(known[2], function(key, seconds) redis.call('EXPIRE', key, seconds) end) end
return redis.status_reply('OK'))";

// KEYS and the first of ARGV as above, for a script whose answer was lost: 1 when it has run; otherwise it
// will never run.
constexpr const char *abandon_script = R"(
local known = redis.pcall('HMGET', KEYS[1], 'version', 'before')
if known[1] == ARGV[1] or known[2] == ARGV[1] then return 1 end
for i = 2, #KEYS do redis.call('UNLINK', KEYS[i]) end
return 0)";

std::string new_version() {
  static constexpr char digits[] = "0123456789abcdef";
  std::random_device random;
  std::string made;
  while (made.size() < 16) made += digits[random() % 16];
  return made;
}

class key_writer : public store::device_writer {
public:
  key_writer(const place &where, const std::string &device)
      : at_(where.at), server_(where.at), devices_(devices_key(where.prefix)), device_(device),
        head_(head_key(where.prefix, device)), version_(new_version()), facts_(facts_key(head_, version_)) {}

  void add(const store::given_path &path) override {
    paths_.push_back({path, records_key(facts_, path.path), {}, 0});
  }

  void add(const store::given_record &record) override {
    constexpr size_t most = size_t{1} << 20;
    const store::uri_halves halves(record.uri, record.absolute);
    std::string member(halves.relative);
    member.append(" ").append(halves.location).append(" ").append(std::to_string(records_++)).append(" ");
    member += record.properties;
    waiting_bytes_ += member.size();
    paths_[record.path].waiting.push_back(std::move(member));
    if (waiting_bytes_ > most) write_waiting();
  }

  void finish() override {
    write_waiting();
    // A name without a version is no device yet.
    const command listed = {"SADD", devices_, device_};
    expect(listed, server_.ask(listed), value::kind::number);
    command done = {"EVAL", finish_script, "", head_, facts_};
    for (const written_path &path : paths_) {
      if (path.written != 0) done.push_back(path.key);
    }
    done[2] = std::to_string(done.size() - 3);
    done.insert(done.end(), {version_, std::string(layout_version), facts_seconds, records_seconds});
    done.insert(done.end(), {"records", std::to_string(records_)});
    for (size_t i = 0; i < paths_.size(); ++i) {
      const store::given_path &path = paths_[i].given;
      const auto add_field = [&](const char *what, const std::string &told) {
        done.insert(done.end(), {what + (" " + path.path), told});
      };
      add_field("position", std::to_string(i));
      add_field("records", std::to_string(paths_[i].written));
      add_field("pattern", path.facts.pattern);
      add_field("keys", path.facts.keys);
      add_field("declared", path.facts.declared);
      add_field("others", path.facts.others);
    }
    try {
      expect(done, server_.ask(done), value::kind::status);
    } catch (...) {
      if (!was_done()) throw;
    }
  }

private:
  struct written_path {
    store::given_path given;
    std::string key;
    std::vector<std::string> waiting;
    uint64_t written;
  };

  // Called when the answer was lost: true when the device was written.
  bool was_done() {
    command asked = {"EVAL", abandon_script, "", head_, facts_};
    for (const written_path &path : paths_) asked.push_back(path.key);
    asked[2] = std::to_string(asked.size() - 3);
    asked.push_back(version_);
    try {
      return connection(at_).ask(asked).number() == 1;
    } catch (const store::source_failure &failure) {
      throw store::source_failure{failure.code,
                                  "it is not known whether the device was changed: " + failure.message};
    }
  }

  void write_waiting() {
    constexpr size_t most_members = 500;
    std::vector<command> asked;
    std::vector<int64_t> added; // by each
    for (written_path &path : paths_) {
      size_t at = 0;
      if (path.written == 0 && !path.waiting.empty()) {
        asked.push_back(
            {"EVAL", begin_script, "1", path.key, std::move(path.waiting[at++]), unfinished_seconds});
        added.push_back(1);
      }
      while (at < path.waiting.size()) {
        const size_t end = std::min(path.waiting.size(), at + most_members);
        command &members = asked.emplace_back(command{"ZADD", path.key});
        added.push_back(static_cast<int64_t>(end - at));
        for (; at < end; ++at) {
          members.emplace_back("0");
          members.push_back(std::move(path.waiting[at]));
        }
      }
      path.written += path.waiting.size();
      path.waiting.clear();
    }
    waiting_bytes_ = 0;
    const std::vector<reply> told = server_.ask_all(asked);
    for (size_t i = 0; i < asked.size(); ++i) {
      expect(asked[i], told[i], value::kind::number);
      if (told[i].number() != added[i])
        throw store::source_failure{ZU_FAILED, shown(asked[i]) + ": not all records were taken"};
    }
  }

  address at_;
  connection server_;
  std::string devices_, device_;
  std::string head_, version_, facts_;
  std::vector<written_path> paths_;
  size_t waiting_bytes_ = 0;
  uint64_t records_ = 0;
};

} // namespace

std::unique_ptr<store::device_writer> write_device(const place &where, const std::string &device) {
  check_name(device, "device's name");
  return std::make_unique<key_writer>(where, device);
}

} // namespace zu_redis
