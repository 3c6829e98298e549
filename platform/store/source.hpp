// What holds the records of a device outside this process, and gives those that are asked for.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace store {

// Thrown by a source that cannot answer, and for what it answers when that is no good data.
struct source_failure {
  int code; // of zuapi/base.h
  std::string message;
  bool moved = false; // others changed the device meanwhile: opened again it can be read
};

// What a source knows of a path that it has: what the records of the path are made of, whichever of them are
// read.
struct path_facts {
  std::string
      pattern;      // of all its records in relative form (zuapi::uri_pattern); empty when they have several
  std::string keys; // of the records' last segments, in the order first seen, a ';' after each
  std::string declared; // by the class: the members of a JSON object, a name and a declaration each
  std::string others;   // likewise, what records give beside, in the order first seen
};

// Records of paths: all of them, those below a parent, or one. A parent and a record are named by their text
// in relative form, and so are those of every location.
struct selection {
  enum class kind : char { path, parent, record };
  kind of;
  std::vector<std::string> paths;
  std::string text;
};

// Used by one thread at a time. All answers are those of one moment: what others write meanwhile is not seen.
class source {
public:
  using take_record = std::function<void(std::string_view uri, std::string_view properties)>;

  virtual ~source() = default;
  // None when there is neither class nor record of that path; good as long as the source. All functions throw
  // source_failure or std::bad_alloc.
  virtual const path_facts *facts(const std::string &path) = 0;
  // Tells the records in store order: the canonical URI, and a JSON object.
  virtual void read(const selection &wanted, const take_record &take) = 0;
  // All paths, and all records, likewise.
  virtual std::vector<std::string> paths() = 0;
  virtual void read_all(const take_record &take) = 0;
  // Whether reading may fail because others changed the device.
  virtual bool may_move() const { return false; }
};

} // namespace store
