// One device of a fleet: rendered, and its text put where it belongs.
#pragma once

#include <string>

#include "../request.hpp"
#include "devices.hpp"
#include "texts.hpp"

namespace tovra::fleet {

// Renders a device by templates that are in use, and puts its text where it belongs. A failure is said, each
// line behind the device's name. Any thread.
outcome render_device(const device &one, const options &asked, preparation &prepared, texts &to);

} // namespace tovra::fleet
