// Data as the program reads it: files, of which those that are not regular have a bound; "-" is standard
// input
// ("yaml:-" when that is YAML), "sqlite:FILE?device=NAME" a device of a database.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "store/store.h"

namespace tovra {

struct data_deleter {
  void operator()(zu_data_ifc *data) const { data->ops->free(data); }
};
using data_handle = std::unique_ptr<zu_data_ifc, data_deleter>;

// How messages name it: standard input has no path.
std::string data_name(const std::string &path);
// Its records; none after a failure, which is said.
data_handle load_data(const std::string &path);
// Says why reading failed, if it did and more is known than a code.
void say_fault(zu_data_ifc *data);
// The text of a data file that loads, as JSON, its tokens on the lines of the file; of a device, as it is
// exported. None after a failure, which is said.
std::optional<std::string> read_good_data(const std::string &path);

} // namespace tovra
