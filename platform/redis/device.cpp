// The records of one device of a Redis server.
//
// A render reads in many round trips, and others may import the device meanwhile. So each import writes the
// keys of a new version, which then becomes the device's version; keys of a version are never changed. A
// reader checks after reading that its version still exists; if not, reading begins again.
#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include "redis/layout.hpp"
#include "store/message.hpp"
#include "zuapi/base.h"

namespace zu_redis {

namespace {

using enum value::kind;

constexpr uint64_t chunk = 1000; // records of one answer

[[noreturn]] void refuse(const command &asked, const std::string &why) {
  throw store::source_failure{ZU_FAILED, shown(asked) + ": " + why};
}

[[noreturn]] void refuse_moved() {
  throw store::source_failure{ZU_FAILED, "others changed the device while it was read", true};
}

std::optional<uint64_t> number_in(std::string_view text) {
  uint64_t read = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), read);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return read;
}

// A record as a member of a path's sorted set: "RELATIVE LOCATION POSITION PROPERTIES".
struct member {
  std::string_view relative, location, properties;
  uint64_t position = 0;
};

member read_member(const command &asked, const value &told) {
  std::string_view rest = told.text();
  const auto next = [&rest] {
    const std::string_view word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(rest.size(), word.size() + 1));
    return word;
  };
  member read;
  read.relative = next();
  read.location = next();
  const auto position = number_in(next());
  read.properties = rest;
  if (!told.is(text) || !position) {
    // The rest may hold passwords.
    const std::string_view uri = told.text().substr(0, told.text().find_first_of(" {\""));
    refuse(asked, "a member is no record: " + store::in_quotes(uri));
  }
  read.position = *position;
  return read;
}

class device_source : public store::source {
public:
  device_source(const place &where, const std::string &device) : server_(where.at) {
    const std::string name =
        device.empty() ? store::only_device(names_at(server_, where.prefix), device) : device;
    check_name(name, "device's name");
    const std::string head = head_key(where.prefix, name);
    constexpr int most_tries = 5;
    for (int tries = 0; tries < most_tries; ++tries) {
      const command asked = {"HMGET", head, "layout", "version"};
      const reply told = server_.ask(asked);
      expect(asked, told, list);
      if (told.size() != 2) refuse(asked, "an answer of another type");
      if (told[1].is(none)) {
        store::only_device(names_at(server_, where.prefix), name);
        refuse(asked, "it has no version");
      }
      if (told[0].text() != layout_version)
        refuse(asked, "its layout is " + store::in_quotes(told[0].text()) + ", this program reads \"" +
                          std::string(layout_version) + "\"");
      if (read_facts(facts_key(head, told[1].text()))) return;
    }
    refuse_moved();
  }

  bool may_move() const override { return true; }

  const store::path_facts *facts(const std::string &path) override {
    const auto found = paths_.find(path);
    return found != paths_.end() ? &found->second.facts : nullptr;
  }

  void read(const store::selection &wanted, const take_record &take) override {
    using enum store::selection::kind;
    request all;
    for (const std::string &each : wanted.paths) {
      const auto found = paths_.find(each);
      if (found == paths_.end() || found->second.records == 0) continue;
      all.counts.emplace_back(records_key(facts_, each), found->second.records);
      if (wanted.of == path) {
        ask_for_all(all);
        continue;
      }
      // The range of all members with this beginning: from the
      // smallest such text to the smallest text after them.
      const std::string begin = wanted.of == record  ? wanted.text + " "
                                : wanted.text == "/" ? wanted.text
                                                     : wanted.text + "/";
      std::string end = begin;
      ++end.back();
      all.ranges.push_back({"ZRANGEBYLEX", all.counts.back().first, "[" + begin, "(" + end});
    }
    tell(all, take);
  }

  std::vector<std::string> paths() override {
    std::vector<std::pair<uint64_t, std::string>> placed;
    for (const auto &[path, known] : paths_) placed.emplace_back(known.position, path);
    std::sort(placed.begin(), placed.end());
    std::vector<std::string> found;
    found.reserve(placed.size());
    for (auto &[position, path] : placed) found.push_back(std::move(path));
    return found;
  }

  void read_all(const take_record &take) override {
    request all;
    for (const auto &[path, known] : paths_) {
      if (known.records == 0) continue;
      all.counts.emplace_back(records_key(facts_, path), known.records);
      ask_for_all(all);
    }
    tell(all, take);
  }

private:
  struct known_path {
    store::path_facts facts;
    uint64_t position = 0;
    uint64_t records = 0;
  };

  // Reads "records", and for each path "records PATH", "pattern
  // PATH" and so on. False: the version no longer exists.
  bool read_facts(const std::string &key) {
    facts_ = key;
    const command asked = {"HGETALL", key};
    const reply told = server_.ask(asked);
    expect(asked, told, list);
    if (told.size() == 0) return false;
    const auto number_of = [&](std::string_view field, std::string_view given) {
      const auto read = number_in(given);
      if (!read) refuse(asked, "field " + store::in_quotes(field) + " is no number");
      return *read;
    };
    uint64_t counted = 0;
    bool complete = false;
    for (size_t i = 0; i + 1 < told.size(); i += 2) {
      const std::string_view field = told[i].text();
      const std::string_view given = told[i + 1].text();
      const size_t split = std::min(field.find(' '), field.size());
      const std::string_view what = field.substr(0, split);
      if (split == field.size()) {
        complete = complete || what == "records";
        if (what == "records") records_ = number_of(field, given);
        continue;
      }
      known_path &path = paths_[std::string(field.substr(split + 1))];
      if (what == "position") path.position = number_of(field, given);
      if (what == "records") counted += path.records = number_of(field, given);
      if (what == "pattern") path.facts.pattern = given;
      if (what == "keys") path.facts.keys = given;
      if (what == "declared") path.facts.declared = given;
      if (what == "others") path.facts.others = given;
    }
    if (!complete) refuse(asked, "field \"records\" is missing");
    if (counted != records_) refuse(asked, "its paths do not have as many records as it tells");
    return true;
  }

  // A request that is sent in one round trip: the keys, the
  // number of records of each key, and the ranges to read.
  struct request {
    std::vector<std::pair<std::string, uint64_t>> counts;
    std::vector<command> ranges;
  };

  // Adds ranges for all records of the last key.
  static void ask_for_all(request &all) {
    const auto &[key, records] = all.counts.back();
    for (uint64_t at = 0; at < records; at += chunk)
      all.ranges.push_back({"ZRANGE", key, std::to_string(at), std::to_string(at + chunk - 1)});
  }

  // Calls `take` with the records that were asked for, in store order.
  void tell(const request &all, const take_record &take) {
    if (all.ranges.empty()) return;
    const size_t ranges = all.ranges.size();
    std::vector<command> asked = all.ranges;
    // If something else removed records, their range still
    // looks complete; so the numbers of records are compared.
    for (const auto &[key, records] : all.counts) asked.push_back({"ZCARD", key});
    asked.push_back({"EXISTS", facts_});
    const std::vector<reply> told = server_.ask_all(asked);
    expect(asked.back(), told.back(), number);
    if (told.back().number() == 0) refuse_moved();
    for (size_t i = 0; i < all.counts.size(); ++i) {
      expect(asked[ranges + i], told[ranges + i], number);
      const auto has = static_cast<uint64_t>(told[ranges + i].number());
      const uint64_t expected = all.counts[i].second;
      if (has == expected) continue;
      refuse(asked[ranges + i],
             std::to_string(has) + " records, where " + std::to_string(expected) + " are expected");
    }
    std::vector<member> found;
    for (size_t i = 0; i < ranges; ++i) {
      expect(asked[i], told[i], list);
      for (size_t k = 0; k < told[i].size(); ++k) found.push_back(read_member(asked[i], told[i][k]));
    }
    std::sort(found.begin(), found.end(),
              [](const member &a, const member &b) { return a.position < b.position; });
    std::string uri;
    for (const member &each : found) {
      uri = each.location;
      uri += each.relative;
      take(uri, each.properties);
    }
  }

  connection server_;
  std::string facts_; // the key of the version's facts
  std::map<std::string, known_path> paths_;
  uint64_t records_ = 0;
};

class devices_at : public store::device_database {
public:
  explicit devices_at(place where) : where_(std::move(where)) {}

  std::vector<std::string> devices() override {
    connection server(where_.at);
    return names_at(server, where_.prefix);
  }
  std::unique_ptr<store::source> open(const std::string &device) override {
    return std::make_unique<device_source>(where_, device);
  }
  std::unique_ptr<store::device_writer> write(const std::string &device) override {
    return write_device(where_, device);
  }

private:
  place where_;
};

} // namespace

std::vector<std::string> members_with(connection &server, const std::string &set,
                                      const std::function<command(const std::string &)> &ask) {
  const command listed = {"SMEMBERS", set};
  const reply members = server.ask(listed);
  expect(listed, members, list);
  std::vector<std::string> names;
  for (size_t i = 0; i < members.size(); ++i) names.emplace_back(members[i].text());
  std::sort(names.begin(), names.end());
  std::vector<command> asked;
  asked.reserve(names.size());
  for (const std::string &name : names) asked.push_back(ask(name));
  const std::vector<reply> there = server.ask_all(asked);
  std::vector<std::string> found;
  for (size_t i = 0; i < names.size(); ++i) {
    expect(asked[i], there[i], number);
    if (there[i].number() != 0) found.push_back(std::move(names[i]));
  }
  return found;
}

// Devices whose import was never finished are left out. A name with an '&' is refused:
// in the name of a source, options would begin there.
std::vector<std::string> names_at(connection &server, const std::string &prefix) {
  return members_with(server, devices_key(prefix), [&](const std::string &name) {
    check_name(name, ("name of a device, " + store::in_quotes(name) + ",").c_str());
    return command{"HEXISTS", head_key(prefix, name), "version"};
  });
}

std::unique_ptr<store::device_database> database_at(place where) {
  return std::make_unique<devices_at>(std::move(where));
}

} // namespace zu_redis
