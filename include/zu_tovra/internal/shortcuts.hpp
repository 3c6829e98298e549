// The shortcuts that the platform offers: absent ones are null, and the plain calls do instead.
#pragma once

#include "zuapi/shortcuts.h"

namespace tvr {

inline zu_do_shortcuts offered_shortcuts() noexcept {
  const zu_do_shortcuts *table = zu_do_get_shortcuts != nullptr ? zu_do_get_shortcuts() : nullptr;
  if (table == nullptr) return {};
  zu_do_shortcuts offered = *table;
  // What only works together is there as a whole or not at all.
  if (offered.find_position == nullptr) offered.read_at = nullptr;
  if (offered.fill == nullptr || offered.set_at == nullptr || offered.set_int_at == nullptr) {
    offered.new_positions = nullptr;
  }
  return offered;
}

inline const zu_do_shortcuts shortcuts = offered_shortcuts();

} // namespace tvr
