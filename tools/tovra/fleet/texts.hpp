// Where the texts of a fleet stand.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tovra::fleet {

enum class outcome { changed, unchanged, failed };

// The texts of devices, each whole or not there. What is wrong is said.
class texts {
public:
  virtual ~texts() = default;
  // Makes room for those of these devices.
  virtual bool prepare(const std::vector<std::string> &devices) = 0;
  // Puts a text into its place, unless it is there already. Any thread.
  virtual outcome put(const std::string &device, const std::string &text) = 0;
  // The devices that have one, sorted; none after a failure.
  virtual std::optional<std::vector<std::string>> devices() = 0;
  // Those that have been removed, which are fewer after a failure.
  virtual std::vector<std::string> remove(const std::vector<std::string> &devices) = 0;
};

// Files of a folder, or keys of a server whose name is redis://HOST:PORT/DB?prefix=P. None: it is no good
// name.
std::unique_ptr<texts> texts_at(const std::string &place);

} // namespace tovra::fleet
