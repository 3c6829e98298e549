// The forms of data that the program reads: a file; "-" for standard input ("yaml:-" when that is YAML);
// "yang:FILE" for YANG data; "sqlite:FILE?device=NAME" and "redis://HOST/DB?prefix=P&device=NAME" for a
// device of a database. Files that are not regular have a greatest size.
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

// The modules of YANG data, the same for all data that the process reads. Data of another form takes them
// like a file of classes.
struct yang_modules {
  std::vector<std::string> directories, names, secrets;
};
yang_modules &yang();
// True when there are modules and they load; false also after a failure, which has been reported.
bool has_good_modules();
// The command-line arguments that name the same modules, for another process.
std::vector<std::string> yang_arguments();

inline constexpr std::string_view yang_scheme = "yang:";
inline bool is_yang(const std::string &path) {
  return path.starts_with(yang_scheme);
}

// The name that messages have for the data: standard input has no path.
std::string data_name(const std::string &path);
// The data name of a device in a database; the name of the database itself when no device is given.
std::string device_in(const std::string &database, const std::string &device);
// The files from which the data is read; standard input and servers have none.
std::vector<std::string> data_files(const std::string &path);
// Loads data, combined with files of classes; with them, a device of a database is read whole. Null after a
// failure, which has been reported.
data_handle load_data(const std::string &path, const std::vector<std::string> &classes = {});
// Data that can be loaded again after others have changed it.
struct loaded_data {
  std::string name;
  const std::vector<std::string> &classes;
  data_handle data;

  bool load() { return (data = load_data(name, classes)) != nullptr; }
};
// Runs a step that reads the data. A render reads a database in many requests, and others may write to it
// meanwhile: then the data is loaded again and the step runs once more, and what it wrote to `out` (which may
// be null) and reported before is dropped. So no text mixes two states of the data, or comes from data that
// could not be read. Returns the exit status of the step.
int in_one_state(std::vector<loaded_data> &all, output *out, const std::function<int()> &step);
// Reports why reading failed, if it did and the store knows more than an error code.
void say_fault(zu_data_ifc *data);
// The texts of a data file (an empty path: of an empty one) and of files of classes, once they are known to
// load: as JSON, each token on its line of the file; a device as the file to which it is exported. Nullopt
// after a failure, which has been reported.
std::optional<std::vector<std::string>> read_good_data(const std::string &path,
                                                       const std::vector<std::string> &classes = {});

} // namespace tovra
