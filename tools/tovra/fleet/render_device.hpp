// Renders one device of a fleet and stores its text.
#pragma once

#include <string>

#include "../request.hpp"
#include "devices.hpp"
#include "texts.hpp"

namespace tovra::fleet {

// Renders a device with templates that are already in use, and stores its text. A failure is reported, with
// the device's name before each line. May be called on any thread.
outcome render_device(const device &one, const options &asked, preparation &prepared, texts &to);

} // namespace tovra::fleet
