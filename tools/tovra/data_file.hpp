// Data files as the program reads them: "-" is standard input ("yaml:-" when that is YAML), and what is no
// regular file has a bound.
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

// How messages name a data file: standard input has no path.
std::string data_name(const std::string &path);
// Its records; none after a failure, which is said.
data_handle load_data(const std::string &path);
// The text of a data file that is one: as JSON, its tokens on the lines of the file. None after a failure,
// which is said.
std::optional<std::string> read_good_data(const std::string &path);

} // namespace tovra
