// The shortcuts that the platform offers: absent ones are null, and the plain calls do instead. What is asked
// per value is never null: absent, it answers as if there were no short way.
#pragma once

#include "zuapi/shortcuts.h"

namespace tvr {

inline zu_do_shortcuts offered_shortcuts() noexcept {
  const zu_do_shortcuts *table = zu_do_get_shortcuts != nullptr ? zu_do_get_shortcuts() : nullptr;
  zu_do_shortcuts offered = table != nullptr ? *table : zu_do_shortcuts{};
  // What only works together is there as a whole or not at all.
  if (offered.find_position == nullptr || offered.read_at == nullptr) {
    offered.read_at = [](zu_do_properties *, const void *, const int32_t *, uint32_t, zu_do_value_facts *) {
      return static_cast<const void *>(nullptr);
    };
  }
  if (offered.display == nullptr) {
    offered.display = [](zu_do_value *, char *, size_t *) { return static_cast<const char *>(nullptr); };
  }
  if (offered.key_form == nullptr) {
    offered.key_form = [](zu_do_value *, char *, size_t, size_t *) {
      return static_cast<const char *>(nullptr);
    };
  }
  if (offered.fill == nullptr || offered.set_at == nullptr || offered.set_int_at == nullptr) {
    offered.new_positions = nullptr;
  }
  return offered;
}

inline const zu_do_shortcuts shortcuts = offered_shortcuts();

} // namespace tvr
