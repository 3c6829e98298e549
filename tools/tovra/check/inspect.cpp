// A whole check: loads all files, follows all ways, applies all rules.
#include "inspect.hpp"

namespace tovra::check {

inspection inspect(const std::string &directories, const data_set *data, const text_source &texts) {
  inspection made;
  made.set = load_all(directories, made.found, texts);
  made.ways = follow(made.set);
  run_rules({made.set, made.ways, data}, made.found);
  return made;
}

} // namespace tovra::check
