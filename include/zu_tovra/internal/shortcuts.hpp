// The shortcuts that the platform offers: absent ones are null, and the plain calls do instead.
#pragma once

#include "zuapi/shortcuts.h"

namespace tvr {

inline zu_do_shortcuts offered_shortcuts() noexcept {
  const zu_do_shortcuts *table = zu_do_get_shortcuts != nullptr ? zu_do_get_shortcuts() : nullptr;
  return table != nullptr ? *table : zu_do_shortcuts{};
}

inline const zu_do_shortcuts shortcuts = offered_shortcuts();

} // namespace tvr
