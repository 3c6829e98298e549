// The places for the texts of a fleet.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tovra::fleet {

enum class outcome { changed, unchanged, failed };

// The texts of devices. Each is there whole or not at all. Errors are reported.
class texts {
public:
  virtual ~texts() = default;
  // Prepares the place for the texts of these devices.
  virtual bool prepare(const std::vector<std::string> &devices) = 0;
  // Stores a text, unless it is there already. May be called on any thread.
  virtual outcome put(const std::string &device, const std::string &text) = 0;
  // The devices that have a text, sorted; nullopt after a failure.
  virtual std::optional<std::vector<std::string>> devices() = 0;
  // Returns the devices whose texts were removed: not all of them after a failure.
  virtual std::vector<std::string> remove(const std::vector<std::string> &devices) = 0;
};

// A folder, or keys of a server, named redis://HOST:PORT/DB?prefix=P. Null when the name is wrong.
std::unique_ptr<texts> texts_at(const std::string &place);

} // namespace tovra::fleet
