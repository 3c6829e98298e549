// Devices in an SQLite file.
#pragma once

#include <memory>
#include <string>

#include "store/devices.hpp"

namespace zu_sqlite {

// Opens nothing yet; a device that is written makes the file when there is none.
std::unique_ptr<store::device_database> database_in(std::string file);

} // namespace zu_sqlite
