// The texts of a fleet: files of a folder, or keys in Redis.
#include "texts.hpp"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <system_error>

#include "../check/read_file.hpp"
#include "../data_file.hpp"
#include "../output.hpp"
#include "../output_file.hpp"
#include "redis/open.hpp"
#include "reported.hpp"
#include "zuapi/base.h"

namespace tovra::fleet {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view text_suffix = ".txt";

bool is_escaped(std::string_view name, size_t at) {
  const auto byte = static_cast<unsigned char>(name[at]);
  return byte < 0x20 || byte == 0x7f || byte == '/' || byte == '%' || (byte == '.' && at == 0);
}

// The name of a device's file, which no other name gives: what could lead out of the folder, hide the file or
// break a line is written as %HH.
std::string file_name_of(const std::string &device) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string name;
  for (size_t at = 0; at < device.size(); ++at) {
    const auto byte = static_cast<unsigned char>(device[at]);
    if (is_escaped(device, at)) {
      name += {'%', digits[byte >> 4], digits[byte & 15]};
    } else {
      name += device[at];
    }
  }
  return name.append(text_suffix);
}

int digit_value(char digit) {
  const size_t at = std::string_view("0123456789ABCDEF").find(digit);
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

// The name of which that is the file; none when no name gives it.
std::optional<std::string> device_of_file(std::string_view file) {
  if (!file.ends_with(text_suffix)) return std::nullopt;
  const std::string_view coded = file.substr(0, file.size() - text_suffix.size());
  std::string name;
  for (size_t at = 0; at < coded.size(); ++at) {
    if (coded[at] != '%') {
      name += coded[at];
    } else {
      const int high = at + 2 < coded.size() ? digit_value(coded[at + 1]) : -1;
      const int low = at + 2 < coded.size() ? digit_value(coded[at + 2]) : -1;
      if (high < 0 || low < 0) return std::nullopt;
      name += static_cast<char>(high * 16 + low);
      at += 2;
    }
  }
  return file_name_of(name) == file ? std::optional(name) : std::nullopt;
}

bool refuse(const std::string &place, const std::string &why) {
  say("tovra: --out " + data_name(place) + ": " + why);
  return false;
}

// A file `NAME.txt` for each device.
class folder_texts : public texts {
public:
  explicit folder_texts(std::string folder) : folder_(std::move(folder)) {}

  bool prepare(const std::vector<std::string> &) override {
    std::error_code failure;
    fs::create_directories(folder_, failure);
    return !failure || refuse(folder_, failure.message());
  }

  outcome put(const std::string &device, const std::string &text) override {
    const std::string file = file_of(device);
    std::string old;
    if (check::read_file(file, old) == 0 && old == text) return outcome::unchanged;
    const std::string why = write_file(file, text);
    if (!why.empty()) say(why);
    return why.empty() ? outcome::changed : outcome::failed;
  }

  std::optional<std::vector<std::string>> devices() override {
    std::vector<std::string> names;
    std::error_code failure;
    for (fs::directory_iterator entry(folder_, failure), last; !failure && entry != last;
         entry.increment(failure)) {
      if (auto name = device_of_file(entry->path().filename().string())) names.push_back(std::move(*name));
    }
    if (failure && !refuse(folder_, failure.message())) return std::nullopt;
    std::sort(names.begin(), names.end());
    return names;
  }

  std::vector<std::string> remove(const std::vector<std::string> &devices) override {
    std::vector<std::string> removed;
    for (const std::string &name : devices) {
      std::error_code failure;
      fs::remove(file_of(name), failure);
      if (failure) {
        say(file_of(name) + ": " + failure.message());
      } else {
        removed.push_back(name);
      }
    }
    return removed;
  }

private:
  std::string file_of(const std::string &device) const { return folder_ + "/" + file_name_of(device); }

  std::string folder_;
};

// A key with the text for each device, and a set of the devices that have one, as the keys of a cluster
// cannot be listed. They are on several nodes, so a device is in the set before it has a text, and as long:
// one that has none does not count.
class redis_texts : public texts {
public:
  explicit redis_texts(const std::string &place) : name_(place), at_(zu_redis::read_place(place)) {
    if (!at_.device.empty())
      throw store::source_failure{ZU_FAILED, "it names one device, not the place of all"};
  }

  bool prepare(const std::vector<std::string> &devices) override {
    return reached(about_all(), [&](zu_redis::connection &to) {
      // A server that wants a password calls a long command garbled.
      std::vector<zu_redis::command> asked = {{"SCARD", set_key()}, {"SADD", set_key()}};
      asked[1].insert(asked[1].end(), devices.begin(), devices.end());
      const std::vector<zu_redis::reply> told = to.ask_all(asked);
      for (size_t i = 0; i < asked.size(); ++i) zu_redis::expect(asked[i], told[i], kind::number);
    });
  }

  outcome put(const std::string &device, const std::string &text) override {
    outcome made = outcome::failed;
    reached("", [&](zu_redis::connection &to) {
      const zu_redis::command old = {"GET", text_key(device)}, now = {"SET", text_key(device), text};
      const zu_redis::reply told = to.ask(old);
      const bool none = told.is(kind::none);
      if (!none) zu_redis::expect(old, told, kind::text);
      const bool same = !none && told.text() == text;
      if (!same) zu_redis::expect(now, to.ask(now), kind::status);
      made = same ? outcome::unchanged : outcome::changed;
    });
    return made;
  }

  std::optional<std::vector<std::string>> devices() override {
    std::optional<std::vector<std::string>> names;
    reached(about_all(), [&](zu_redis::connection &to) {
      names = zu_redis::members_with(to, set_key(), [this](const std::string &name) {
        return zu_redis::command{"EXISTS", text_key(name)};
      });
    });
    return names;
  }

  std::vector<std::string> remove(const std::vector<std::string> &devices) override {
    // What is no text is not taken for one.
    static constexpr char script[] = R"(
local length = redis.pcall('STRLEN', KEYS[1])
return type(length) == 'table' and length or redis.call('UNLINK', KEYS[1]))";
    std::vector<std::string> removed;
    if (devices.empty()) return removed;
    reached(about_all(), [&](zu_redis::connection &to) {
      std::vector<zu_redis::command> asked;
      asked.reserve(devices.size());
      for (const std::string &name : devices) asked.push_back({"EVAL", script, "1", text_key(name)});
      const std::vector<zu_redis::reply> told = to.ask_all(asked);
      zu_redis::command unlisted = {"SREM", set_key()};
      for (size_t i = 0; i < asked.size(); ++i) {
        if (told[i].is(kind::number)) removed.push_back(devices[i]);
      }
      unlisted.insert(unlisted.end(), removed.begin(), removed.end());
      if (!removed.empty()) zu_redis::expect(unlisted, to.ask(unlisted), kind::number);
      for (size_t i = 0; i < asked.size(); ++i) zu_redis::expect(asked[i], told[i], kind::number);
    });
    return removed;
  }

private:
  using kind = zu_redis::value::kind;

  std::string set_key() const { return at_.prefix + ":texts"; }
  // In the slot of what the device has under that prefix.
  std::string text_key(const std::string &device) const { return set_key() + ":{" + device + "}"; }
  static const char *about_all() { return "tovra: --out "; }

  // Runs a step over a connection that no other thread uses. One that failed is not used again, so that the
  // next device does not fail of a server that was restarted. False after a failure, which is said.
  template <class Step>
  bool reached(const char *before, Step &&step) {
    return reported(before + data_name(name_), [&] {
      std::unique_ptr<zu_redis::connection> to;
      {
        const std::lock_guard alone(lock_);
        if (!free_.empty()) {
          to = std::move(free_.back());
          free_.pop_back();
        }
      }
      if (to == nullptr) to = std::make_unique<zu_redis::connection>(at_.at);
      step(*to);
      const std::lock_guard alone(lock_);
      free_.push_back(std::move(to));
    });
  }

  std::string name_;
  zu_redis::place at_;
  std::mutex lock_;
  std::vector<std::unique_ptr<zu_redis::connection>> free_;
};

} // namespace

std::unique_ptr<texts> texts_at(const std::string &place) {
  if (!zu_redis::is_place(place)) return std::make_unique<folder_texts>(place);
  std::unique_ptr<texts> made;
  reported("tovra: --out " + data_name(place), [&] { made = std::make_unique<redis_texts>(place); });
  return made;
}

} // namespace tovra::fleet
