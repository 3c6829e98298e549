// Data as the program reads it: files, of which those that are not regular have a bound; "-" is standard
// input ("yaml:-" when that is YAML), "yang:FILE" YANG data, "sqlite:FILE?device=NAME" and
// "redis://HOST/DB?prefix=P&device=NAME" a device of a database.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/store.h"

namespace tovra {

struct data_deleter {
  void operator()(zu_data_ifc *data) const { data->ops->free(data); }
};
using data_handle = std::unique_ptr<zu_data_ifc, data_deleter>;

class output;

// The modules of YANG data, which are the same for all that the process reads. Without such data they count
// as a file of classes.
struct yang_modules {
  std::vector<std::string> directories, names, secrets;
};
yang_modules &yang();
// Whether there are some that load; false after a failure, which is said.
bool has_good_modules();
// What says the same again, for a process of its own.
std::vector<std::string> yang_arguments();

inline constexpr std::string_view yang_scheme = "yang:";
inline bool is_yang(const std::string &path) {
  return path.starts_with(yang_scheme);
}

// How messages name it: standard input has no path.
std::string data_name(const std::string &path);
// The name of a device in a database; empty: the database's own.
std::string device_in(const std::string &database, const std::string &device);
// The files that it is read from; of what cannot be looked at again, none.
std::vector<std::string> data_files(const std::string &path);
// Its records, with what files of classes say too: a device of a database is then read whole. None after a
// failure, which is said.
data_handle load_data(const std::string &path, const std::vector<std::string> &classes = {});
// Data that can be loaded again.
struct loaded_data {
  std::string name;
  const std::vector<std::string> &classes;
  data_handle data;

  bool load() { return (data = load_data(name, classes)) != nullptr; }
};
// Runs a step that reads the data, and once more, on the data as it is then, each time that others changed it
// meanwhile: what the step wrote to `out` (or none) and said is dropped then. No text remains of data that
// could not be read. The step's exit status.
int in_one_state(std::vector<loaded_data> &all, output *out, const std::function<int()> &step);
// Says why reading failed, if it did and more is known than a code.
void say_fault(zu_data_ifc *data);
// The texts of a data file (empty: none is asked for) and of files of classes that load, as JSON, their
// tokens on the lines of the files; of a device, as it is exported. None after a failure, which is said.
std::optional<std::vector<std::string>> read_good_data(const std::string &path,
                                                       const std::vector<std::string> &classes = {});

} // namespace tovra
