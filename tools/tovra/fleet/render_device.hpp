// One device of a fleet: rendered, and its text put where it belongs.
#pragma once

#include <string>

#include "../request.hpp"
#include "devices.hpp"

namespace tovra::fleet {

enum class outcome { changed, unchanged, failed };

// Renders a device by templates that are in use, and writes its file in the folder, unless that is its text.
// A failure is said, each line behind the device's name. Any thread.
outcome render_device(const device &one, const options &asked, preparation &prepared,
                      const std::string &folder);

} // namespace tovra::fleet
