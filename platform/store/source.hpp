// A source: it holds the records of a device outside this process, and gives the ones that are asked for.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace store {

// Thrown by a source that cannot answer, and when its answer is no correct data.
struct source_failure {
  int code; // of zuapi/base.h
  std::string message;
  bool moved = false; // others changed the device meanwhile: opened again it can be read
};

// The facts that a source knows about a path. They describe all its records, so that a snapshot of a few
// records has the same columns as one of all.
struct path_facts {
  std::string
      pattern;      // of all its records in relative form (zuapi::uri_pattern); empty when they have several
  std::string keys; // of the records' last segments, in the order first seen, a ';' after each
  std::string declared; // by the class: the members of a JSON object, a name and a declaration each
  std::string others;   // likewise, the other properties of records, in the order first seen
};

// Records of a path: all of them, those below a parent, or one. A parent or record is named by the relative
// form of its text, which selects it in every location.
struct selection {
  enum class kind : char { path, parent, record };
  kind of;
  std::vector<std::string> paths;
  std::string text;
};

// Used by one thread at a time. All answers show the device
// at one moment: what others write later is not seen.
class source {
public:
  using take_record = std::function<void(std::string_view uri, std::string_view properties)>;

  virtual ~source() = default;
  // The facts about a path, valid as long as the source; null when there is neither class nor record of the
  // path. All functions throw source_failure or std::bad_alloc.
  virtual const path_facts *facts(const std::string &path) = 0;
  // Calls `take` with the records in store order: the canonical URI, and a JSON object.
  virtual void read(const selection &wanted, const take_record &take) = 0;
  // All paths; and all records, in the same way.
  virtual std::vector<std::string> paths() = 0;
  virtual void read_all(const take_record &take) = 0;
  // True when reading may fail because others change the device.
  virtual bool may_move() const { return false; }
};

} // namespace store
