// The texts of a fleet: files in a folder, or keys in Redis.
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

// The file name for a device; no other device gets the same one. Characters that could lead out of the
// folder, hide the file or break a line are written as %HH.
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

// The device whose file has that name; nullopt when no device can have it.
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

// For each device a key with its text, and beside them a set with the names of these devices, because the
// keys of a cluster cannot be listed. The keys are on several nodes, so set and text cannot change together.
// Therefore a device is in the set from before its text is written until after it is removed, and a member
// without a text does not count.
class redis_texts : public texts {
public:
  explicit redis_texts(const std::string &place) : name_(place), at_(zu_redis::read_place(place)) {
    if (!at_.device.empty())
      throw store::source_failure{ZU_FAILED, "it names one device, not the place of all"};
  }

  bool prepare(const std::vector<std::string> &devices) override {
    return reached(about_all(), [&](zu_redis::connection &to) {
      // The short command comes first: a server that wants a password answers it clearly, but a long command
      // with nonsense.
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
    // Only a text is removed; a key of another type is not ours.
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
  // The braces put the text into the same slot of a cluster as the device's other keys with that prefix.
  std::string text_key(const std::string &device) const { return set_key() + ":{" + device + "}"; }
  static const char *about_all() { return "tovra: --out "; }

  // Runs a step over a connection that no other thread is using. After a failure the connection is dropped,
  // so that a server that was restarted does not fail the next device too. False after a failure, which is
  // reported.
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
