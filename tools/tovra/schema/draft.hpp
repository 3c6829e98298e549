// A first file of classes, made from data files.
#pragma once

#include <map>
#include <string>

#include "../check/data_set.hpp"

namespace tovra::schema {

// Combines several data files. The file of classes that results refuses none of them, and changes nothing
// that they give.
class draft {
public:
  void add(const check::data_set &data);
  std::string text() const; // of the file of classes

private:
  struct drawn_property {
    check::property_data all; // what the records of all files give
    nlohmann::json said;      // declared by the classes of every file that has the path
    // Over all files: the kinds of declarations with a kind and a default, and those with allowed values.
    std::set<check::value_kind> said_kinds, allowed_kinds;
  };
  struct drawn_path {
    std::vector<std::string> keys;
    std::map<std::string, drawn_property> properties;
  };

  static std::string declaration(const drawn_property &of, bool may_number_texts);

  std::map<std::string, drawn_path> paths_;
};

} // namespace tovra::schema
