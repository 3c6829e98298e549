// Data files as the program reads them: "-" is standard input, and what is no regular file has a bound.
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
// A whole data file as one text; none after a failure, which is said.
std::optional<std::string> read_data_text(const std::string &path);
// Its records; none after a failure, which is said.
data_handle load_data(const std::string &path);
// The same of a text that has been read.
data_handle load_data_text(const std::string &path, const std::string &text);

} // namespace tovra
